// Over libfuse's low level interface, in which a file is what was once looked up and not a path: whoever is
// in a folder, or reads a file, stays with what it was, also when the path leads to something newer. With a
// loop of our own: the library's ends neither at once nor safely when another thread asks for it.
#define FUSE_USE_VERSION 35

#include "platform/tree_mount.h"

#include <fcntl.h>
#include <fuse_log.h>
#include <fuse_lowlevel.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

#include "platform/posix/attributes_at.h"
#include "platform/posix/mounted_nodes.h"
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

constexpr size_t kThreads = 4;
constexpr std::chrono::milliseconds kAskPeriod{100};
constexpr int64_t kNanoseconds = 1'000'000'000;
constexpr uint64_t kStatBlock = 512;
constexpr uint32_t kPieceBytes = 4096;
// Of an entry that is not looked up yet; one with number 0 would be passed over.
constexpr fuse_ino_t kUnknownNumber = 0xffffffff;
// How long the system may believe a name, and what was told of a file: where it lasts, and where it does not.
constexpr double kLastingSeconds = 60;
constexpr double kShortSeconds = 1;

// What an operation works on.
struct Shown {
    MountedTree& tree;
    MountedNodes nodes;
};

Shown& ShownBy(fuse_req_t request) {
    return *static_cast<Shown*>(fuse_req_userdata(request));
}

int ErrnoOf(MountedAnswer answer) {
    switch (answer) {
        case MountedAnswer::kDone:
            return 0;
        case MountedAnswer::kNotFound:
            return ENOENT;
        case MountedAnswer::kWrongKind:
            return EINVAL;
        default:
            return EIO;
    }
}

// Runs `body(shown, path)`, which answers the request itself or gives the errno for it. Nothing that is
// thrown goes into the library.
template <typename Body>
void Serve(fuse_req_t request, fuse_ino_t node, Body&& body) {
    int error = EIO;
    try {
        Shown& shown = ShownBy(request);
        Text path;
        error = shown.nodes.PathOf(node, path) ? body(shown, path) : ESTALE;
    } catch (...) {
        error = EIO;
    }
    if (error != 0) {
        fuse_reply_err(request, error);
    }
}

timespec TimeOf(int64_t nanoseconds) {
    const int64_t rest = (nanoseconds % kNanoseconds + kNanoseconds) % kNanoseconds;
    return {(nanoseconds - rest) / kNanoseconds, rest};
}

mode_t KindOf(MountedStatus::Kind kind) {
    switch (kind) {
        case MountedStatus::Kind::kFolder:
            return S_IFDIR;
        case MountedStatus::Kind::kLink:
            return S_IFLNK;
        case MountedStatus::Kind::kSpecial:
            return S_IFIFO;
        default:
            return S_IFREG;
    }
}

mode_t OwnRights(MountedStatus::Kind kind) {
    return kind == MountedStatus::Kind::kLink ? 0777 : kind == MountedStatus::Kind::kFolder ? 0700 : 0600;
}

struct stat StatOf(const MountedStatus& status) {
    struct stat result {};
    result.st_mode = KindOf(status.kind) | OwnRights(status.kind);
    result.st_nlink = 1;
    result.st_uid = geteuid();
    result.st_gid = getegid();
    result.st_size = static_cast<off_t>(status.size);
    result.st_blksize = kPieceBytes;
    result.st_blocks = static_cast<blkcnt_t>((status.size + kStatBlock - 1) / kStatBlock);
    result.st_mtim = result.st_atim = TimeOf(status.writeTime);
    result.st_ctim = TimeOf(status.changeTime);
    const Attributes* const kept = status.attributes.get();
    if (kept != nullptr && kept->system == Attributes::kPosix && kept->mode != 0) {
        const bool isSpecial = status.kind == MountedStatus::Kind::kSpecial;
        result.st_mode = (isSpecial ? kept->mode & S_IFMT : KindOf(status.kind)) | (kept->mode & 07777);
        result.st_uid = OwnerNumber(*kept);
        result.st_gid = GroupNumber(*kept);
        result.st_rdev = isSpecial ? kept->device : 0;
        if (kept->farWriteSeconds != 0) {
            result.st_mtim = {kept->farWriteSeconds, kept->farWriteNanoseconds};
        }
    }
    return result;
}

// ---- What the library calls ----

struct stat StatOf(const MountedStatus& status, fuse_ino_t node) {
    struct stat result = StatOf(status);
    result.st_ino = node;
    return result;
}

// Notes one look-up of the node, which the system takes back with OnForget.
fuse_entry_param EntryOf(Shown& shown, fuse_ino_t parent, const Text& name, const MountedStatus& status) {
    fuse_entry_param entry{};
    const bool hasOwnPath = !status.lastingPath.empty();
    entry.ino = hasOwnPath ? shown.nodes.Look(0, status.lastingPath) : shown.nodes.Look(parent, name);
    entry.attr = StatOf(status, entry.ino);
    entry.attr_timeout = kShortSeconds;
    entry.entry_timeout = kShortSeconds;
    if (!hasOwnPath && shown.nodes.IsLasting(entry.ino)) {
        entry.attr_timeout = entry.entry_timeout = kLastingSeconds;
    }
    return entry;
}

void OnLookUp(fuse_req_t request, fuse_ino_t parent, const char* nativeName) {
    Serve(request, parent, [&](Shown& shown, Text& path) {
        const Text name = NameToEngine(nativeName);
        MountedStatus status;
        path += _T("\\") + name;
        const MountedAnswer answer = shown.tree.Status(path, status);
        if (answer == MountedAnswer::kDone) {
            const fuse_entry_param entry = EntryOf(shown, parent, name, status);
            if (fuse_reply_entry(request, &entry) != 0) {
                shown.nodes.Forget(entry.ino, 1);
            }
        }
        return ErrnoOf(answer);
    });
}

void OnForget(fuse_req_t request, fuse_ino_t node, uint64_t lookUps) {
    ShownBy(request).nodes.Forget(node, lookUps);
    fuse_reply_none(request);
}

void OnForgetMany(fuse_req_t request, size_t count, fuse_forget_data* forgotten) {
    for (size_t i = 0; i < count; ++i) {
        ShownBy(request).nodes.Forget(forgotten[i].ino, forgotten[i].nlookup);
    }
    fuse_reply_none(request);
}

void OnGetStatus(fuse_req_t request, fuse_ino_t node, fuse_file_info*) {
    Serve(request, node, [&](Shown& shown, const Text& path) {
        MountedStatus status;
        const MountedAnswer answer = shown.tree.Status(path, status);
        if (answer == MountedAnswer::kDone) {
            const struct stat told = StatOf(status, node);
            fuse_reply_attr(request, &told, shown.nodes.IsLasting(node) ? kLastingSeconds : kShortSeconds);
        }
        return ErrnoOf(answer);
    });
}

void OnReadLink(fuse_req_t request, fuse_ino_t node) {
    Serve(request, node, [&](Shown& shown, const Text& path) {
        std::string target;
        const MountedAnswer answer = shown.tree.ReadLink(path, target);
        if (answer == MountedAnswer::kDone) {
            fuse_reply_readlink(request, target.c_str());
        }
        return ErrnoOf(answer);
    });
}

void OnOpen(fuse_req_t request, fuse_ino_t node, fuse_file_info* info) {
    Serve(request, node, [&](Shown& shown, const Text& path) {
        if ((info->flags & O_ACCMODE) != O_RDONLY) {
            return EROFS;
        }
        std::unique_ptr<MountedFile> file;
        const MountedAnswer answer = shown.tree.Open(path, file);
        if (answer == MountedAnswer::kDone) {
            info->fh = reinterpret_cast<uint64_t>(file.get());
            info->keep_cache = 1;
            if (fuse_reply_open(request, info) == 0) {
                static_cast<void>(file.release());  // the library keeps it as a number, until OnRelease
            }
        }
        return ErrnoOf(answer);
    });
}

void OnRead(fuse_req_t request, fuse_ino_t node, size_t size, off_t offset, fuse_file_info* info) {
    Serve(request, node, [&](Shown&, const Text&) {
        std::string bytes;
        if (!reinterpret_cast<MountedFile*>(info->fh)->Read(static_cast<uint64_t>(offset), size, bytes)) {
            return EIO;
        }
        fuse_reply_buf(request, bytes.data(), bytes.size());
        return 0;
    });
}

void OnRelease(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
    delete reinterpret_cast<MountedFile*>(info->fh);
    fuse_reply_err(request, 0);
}

// A folder as it was when somebody began to list it.
struct OpenFolder {
    std::vector<std::pair<Text, MountedStatus>> entries;
};

void OnOpenFolder(fuse_req_t request, fuse_ino_t node, fuse_file_info* info) {
    Serve(request, node, [&](Shown& shown, const Text& path) {
        auto folder = std::make_unique<OpenFolder>();
        const MountedAnswer answer =
            shown.tree.List(path, [&](const Text& name, const MountedStatus& status) {
                folder->entries.emplace_back(name, status);
            });
        if (answer == MountedAnswer::kDone) {
            info->fh = reinterpret_cast<uint64_t>(folder.get());
            if (fuse_reply_open(request, info) == 0) {
                static_cast<void>(folder.release());
            }
        }
        return ErrnoOf(answer);
    });
}

void OnReleaseFolder(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
    delete reinterpret_cast<OpenFolder*>(info->fh);
    fuse_reply_err(request, 0);
}

// Entries from number `offset` on, as many as there is room for; the first two are the folder and the one
// above. `withStatus`: each is looked up, too.
void List(fuse_req_t request, fuse_ino_t node, size_t size, off_t offset, fuse_file_info* info,
          bool withStatus) {
    Serve(request, node, [&](Shown& shown, const Text&) {
        const auto& entries = reinterpret_cast<OpenFolder*>(info->fh)->entries;
        std::string buffer(size, '\0');
        size_t used = 0;
        for (auto at = static_cast<size_t>(offset); at < entries.size() + 2; ++at) {
            fuse_entry_param entry{};
            const bool isDots = at < 2;
            const std::string name = isDots ? std::string(at + 1, '.') : NameToNative(entries[at - 2].first);
            entry.attr.st_mode = S_IFDIR;
            entry.attr.st_ino = kUnknownNumber;
            if (!isDots && withStatus) {
                entry = EntryOf(shown, node, entries[at - 2].first, entries[at - 2].second);
            } else if (!isDots) {
                entry.attr = StatOf(entries[at - 2].second, kUnknownNumber);
            }
            const auto next = static_cast<off_t>(at + 1);
            char* const place = buffer.data() + used;
            const size_t needed =
                withStatus ? fuse_add_direntry_plus(request, place, size - used, name.c_str(), &entry, next)
                           : fuse_add_direntry(request, place, size - used, name.c_str(), &entry.attr, next);
            if (needed > size - used) {
                if (entry.ino != 0) {
                    shown.nodes.Forget(entry.ino, 1);
                }
                break;
            }
            used += needed;
        }
        fuse_reply_buf(request, buffer.data(), used);
        return 0;
    });
}

void OnList(fuse_req_t request, fuse_ino_t node, size_t size, off_t offset, fuse_file_info* info) {
    List(request, node, size, offset, info, false);
}

void OnListWithStatus(fuse_req_t request, fuse_ino_t node, size_t size, off_t offset, fuse_file_info* info) {
    List(request, node, size, offset, info, true);
}

// An answer of which the caller may ask the length alone.
int Give(fuse_req_t request, const std::string& bytes, size_t size) {
    if (size == 0) {
        fuse_reply_xattr(request, bytes.size());
        return 0;
    }
    if (bytes.size() > size) {
        return ERANGE;
    }
    fuse_reply_buf(request, bytes.data(), bytes.size());
    return 0;
}

void OnGetExtended(fuse_req_t request, fuse_ino_t node, const char* name, size_t size) {
    Serve(request, node, [&](Shown& shown, const Text& path) {
        MountedStatus status;
        if (const MountedAnswer answer = shown.tree.Status(path, status); answer != MountedAnswer::kDone) {
            return ErrnoOf(answer);
        }
        for (const auto& [key, value] :
             status.attributes ? status.attributes->extended : Attributes().extended) {
            if (key == name) {
                return Give(request, value, size);
            }
        }
        return ENODATA;
    });
}

void OnListExtended(fuse_req_t request, fuse_ino_t node, size_t size) {
    Serve(request, node, [&](Shown& shown, const Text& path) {
        MountedStatus status;
        if (const MountedAnswer answer = shown.tree.Status(path, status); answer != MountedAnswer::kDone) {
            return ErrnoOf(answer);
        }
        std::string names;
        if (status.attributes) {
            for (const auto& [key, value] : status.attributes->extended) {
                names.append(key).push_back('\0');
            }
        }
        return Give(request, names, size);
    });
}

void OnStatistics(fuse_req_t request, fuse_ino_t) {
    struct statvfs statistics {};
    statistics.f_bsize = statistics.f_frsize = kPieceBytes;
    statistics.f_namemax = NAME_MAX;
    statistics.f_flag = ST_RDONLY;
    fuse_reply_statfs(request, &statistics);
}

fuse_lowlevel_ops Operations() {
    fuse_lowlevel_ops operations{};
    operations.lookup = &OnLookUp;
    operations.forget = &OnForget;
    operations.forget_multi = &OnForgetMany;
    operations.getattr = &OnGetStatus;
    operations.readlink = &OnReadLink;
    operations.open = &OnOpen;
    operations.read = &OnRead;
    operations.release = &OnRelease;
    operations.opendir = &OnOpenFolder;
    operations.readdir = &OnList;
    operations.readdirplus = &OnListWithStatus;
    operations.releasedir = &OnReleaseFolder;
    operations.getxattr = &OnGetExtended;
    operations.listxattr = &OnListExtended;
    operations.statfs = &OnStatistics;
    return operations;
}

// ---- The mount ----

std::mutex s_logMutex;
std::string s_lastLog;  // guarded by s_logMutex

void OnLog(fuse_log_level, const char* format, va_list arguments) {
    char line[512];
    std::vsnprintf(line, sizeof line, format, arguments);
    std::lock_guard lock(s_logMutex);
    s_lastLog = line;
    while (!s_lastLog.empty() && s_lastLog.back() == '\n') {
        s_lastLog.pop_back();
    }
}

std::string LastLog() {
    std::lock_guard lock(s_logMutex);
    return s_lastLog.empty() ? std::string("unknown reason") : s_lastLog;
}

class FuseMount : public TreeMount {
public:
    explicit FuseMount(MountedTree& tree) : m_shown{tree, {}}, m_wake(eventfd(0, EFD_CLOEXEC)) {}
    ~FuseMount() override {
        if (m_isMounted) {
            fuse_session_unmount(m_session);
        }
        if (m_session != nullptr) {
            fuse_session_destroy(m_session);
        }
    }

    bool Mount(const std::string& folder) {
        std::string program = "rampart";
        std::string option = "-o";
        std::string options = "ro,nosuid,nodev,fsname=rampart,subtype=rampart";
        char* arguments[] = {program.data(), option.data(), options.data()};
        fuse_args list = FUSE_ARGS_INIT(static_cast<int>(std::size(arguments)), arguments);
        static const fuse_lowlevel_ops operations = Operations();
        m_session = fuse_session_new(&list, &operations, sizeof operations, &m_shown);
        fuse_opt_free_args(&list);
        m_isMounted = m_session != nullptr && fuse_session_mount(m_session, folder.c_str()) == 0;
        if (m_isMounted) {
            const int fd = fuse_session_fd(m_session);
            fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
        }
        return m_isMounted;
    }

    void Serve(const std::function<bool()>& goOn) override {
        m_running = kThreads;
        std::vector<std::thread> threads;
        for (size_t i = 0; i < kThreads; ++i) {
            threads.emplace_back([this] {
                Answer();
                std::lock_guard lock(m_mutex);
                --m_running;
                m_ended.notify_all();
            });
        }
        std::unique_lock lock(m_mutex);
        while (m_running == kThreads && goOn()) {
            m_ended.wait_for(lock, kAskPeriod);
        }
        lock.unlock();
        fuse_session_exit(m_session);
        const uint64_t wake = 1;
        [[maybe_unused]] const ssize_t told = write(m_wake.Get(), &wake, sizeof wake);
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

private:
    void Answer() {
        fuse_buf buffer{};
        pollfd sources[] = {{fuse_session_fd(m_session), POLLIN, 0}, {m_wake.Get(), POLLIN, 0}};
        while (!fuse_session_exited(m_session)) {
            if (Retry([&] { return poll(sources, std::size(sources), -1); }) < 0 || sources[1].revents != 0) {
                break;
            }
            const int received = fuse_session_receive_buf(m_session, &buffer);
            if (received > 0) {
                fuse_session_process_buf(m_session, &buffer);
            } else if (received != -EAGAIN && received != -EINTR) {
                break;  // unmounted
            }
        }
        std::free(buffer.mem);
    }

    Shown m_shown;
    fuse_session* m_session = nullptr;
    bool m_isMounted = false;
    const Descriptor m_wake;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    size_t m_running = 0;  // guarded by m_mutex
};

}  // namespace

bool TreeMount::IsAvailable(std::string& reason) {
    if (access("/dev/fuse", F_OK) == 0) {
        return true;
    }
    reason = "this system has no /dev/fuse, which mounting needs";
    return false;
}

std::unique_ptr<TreeMount> TreeMount::Mount(TextView folder, MountedTree& tree, std::string& reason) {
    fuse_set_log_func(&OnLog);
    auto mount = std::make_unique<FuseMount>(tree);
    if (!mount->Mount(ToNativePath(folder))) {
        reason = LastLog();
        return nullptr;
    }
    return mount;
}

}  // namespace rampart::platform
