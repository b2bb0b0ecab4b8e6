// Over libfuse's high level interface, with a loop of our own: the library's ends neither at once nor safely
// when another thread asks for it.
#define FUSE_USE_VERSION 35

#include "platform/tree_mount.h"

#include <fcntl.h>
#include <fuse.h>
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
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

constexpr size_t kThreads = 4;
constexpr std::chrono::milliseconds kAskPeriod{100};
constexpr int64_t kNanoseconds = 1'000'000'000;
constexpr uint64_t kStatBlock = 512;
constexpr uint32_t kPieceBytes = 4096;

MountedTree& Tree() {
    return *static_cast<MountedTree*>(fuse_get_context()->private_data);
}

// "/latest/docs" with engine names.
Text EnginePath(const char* path) {
    Text engine;
    for (const char* at = path; *at != '\0';) {
        const size_t length = std::strcspn(at, "/");
        if (length != 0) {
            engine += _T('\\');
            engine += NameToEngine({at, length});
        }
        at += length + (at[length] == '/' ? 1 : 0);
    }
    return engine;
}

int ErrnoOf(MountedAnswer answer) {
    switch (answer) {
        case MountedAnswer::kDone:
            return 0;
        case MountedAnswer::kNotFound:
            return -ENOENT;
        case MountedAnswer::kWrongKind:
            return -EINVAL;
        default:
            return -EIO;
    }
}

// Nothing that is thrown goes into the library.
template <typename Body>
int Edge(Body&& body) {
    try {
        return body();
    } catch (...) {
        return -EIO;
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

int OnGetStatus(const char* path, struct stat* status, fuse_file_info*) {
    return Edge([&] {
        MountedStatus found;
        const MountedAnswer answer = Tree().Status(EnginePath(path), found);
        if (answer == MountedAnswer::kDone) {
            *status = StatOf(found);
        }
        return ErrnoOf(answer);
    });
}

int OnList(const char* path, void* buffer, fuse_fill_dir_t fill, off_t, fuse_file_info*, fuse_readdir_flags) {
    return Edge([&] {
        fill(buffer, ".", nullptr, 0, fuse_fill_dir_flags{});
        fill(buffer, "..", nullptr, 0, fuse_fill_dir_flags{});
        return ErrnoOf(Tree().List(EnginePath(path), [&](const Text& name, const MountedStatus& status) {
            const struct stat entry = StatOf(status);
            fill(buffer, NameToNative(name).c_str(), &entry, 0, FUSE_FILL_DIR_PLUS);
        }));
    });
}

int OnReadLink(const char* path, char* buffer, size_t size) {
    return Edge([&] {
        std::string target;
        const MountedAnswer answer = Tree().ReadLink(EnginePath(path), target);
        if (answer == MountedAnswer::kDone) {
            const size_t length = std::min(target.size(), size - 1);
            std::memcpy(buffer, target.data(), length);
            buffer[length] = '\0';
        }
        return ErrnoOf(answer);
    });
}

int OnOpen(const char* path, fuse_file_info* info) {
    return Edge([&] {
        if ((info->flags & O_ACCMODE) != O_RDONLY) {
            return -EROFS;
        }
        std::unique_ptr<MountedFile> file;
        const MountedAnswer answer = Tree().Open(EnginePath(path), file);
        info->fh = reinterpret_cast<uint64_t>(file.release());
        return ErrnoOf(answer);
    });
}

int OnRead(const char*, char* buffer, size_t size, off_t offset, fuse_file_info* info) {
    return Edge([&] {
        std::string bytes;
        if (!reinterpret_cast<MountedFile*>(info->fh)->Read(static_cast<uint64_t>(offset), size, bytes)) {
            return -EIO;
        }
        std::memcpy(buffer, bytes.data(), bytes.size());
        return static_cast<int>(bytes.size());
    });
}

int OnRelease(const char*, fuse_file_info* info) {
    delete reinterpret_cast<MountedFile*>(info->fh);  // the library owned it as a number
    return 0;
}

// An answer of which the caller may ask the length alone.
int Give(const std::string& bytes, char* buffer, size_t size) {
    if (size == 0) {
        return static_cast<int>(bytes.size());
    }
    if (bytes.size() > size) {
        return -ERANGE;
    }
    std::memcpy(buffer, bytes.data(), bytes.size());
    return static_cast<int>(bytes.size());
}

int OnGetExtended(const char* path, const char* name, char* buffer, size_t size) {
    return Edge([&] {
        MountedStatus status;
        const MountedAnswer answer = Tree().Status(EnginePath(path), status);
        if (answer != MountedAnswer::kDone || !status.attributes) {
            return answer != MountedAnswer::kDone ? ErrnoOf(answer) : -ENODATA;
        }
        for (const auto& [key, value] : status.attributes->extended) {
            if (key == name) {
                return Give(value, buffer, size);
            }
        }
        return -ENODATA;
    });
}

int OnListExtended(const char* path, char* buffer, size_t size) {
    return Edge([&] {
        MountedStatus status;
        const MountedAnswer answer = Tree().Status(EnginePath(path), status);
        std::string names;
        if (answer == MountedAnswer::kDone && status.attributes) {
            for (const auto& [key, value] : status.attributes->extended) {
                names.append(key).push_back('\0');
            }
        }
        return answer == MountedAnswer::kDone ? Give(names, buffer, size) : ErrnoOf(answer);
    });
}

int OnStatistics(const char*, struct statvfs* statistics) {
    *statistics = {};
    statistics->f_bsize = statistics->f_frsize = kPieceBytes;
    statistics->f_namemax = NAME_MAX;
    statistics->f_flag = ST_RDONLY;
    return 0;
}

fuse_operations Operations() {
    fuse_operations operations{};
    operations.getattr = &OnGetStatus;
    operations.readlink = &OnReadLink;
    operations.open = &OnOpen;
    operations.read = &OnRead;
    operations.release = &OnRelease;
    operations.readdir = &OnList;
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
    explicit FuseMount(fuse* mounted)
        : m_fuse(mounted), m_session(fuse_get_session(mounted)), m_wake(eventfd(0, EFD_CLOEXEC)) {
        const int fd = fuse_session_fd(m_session);
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
    ~FuseMount() override {
        fuse_unmount(m_fuse);
        fuse_destroy(m_fuse);
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

    fuse* const m_fuse;
    fuse_session* const m_session;
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
    std::string program = "rampart";
    std::string option = "-o";
    std::string options = "ro,nosuid,nodev,fsname=rampart,subtype=rampart";
    char* arguments[] = {program.data(), option.data(), options.data()};
    fuse_args list = FUSE_ARGS_INIT(static_cast<int>(std::size(arguments)), arguments);
    static const fuse_operations operations = Operations();
    fuse* const made = fuse_new(&list, &operations, sizeof operations, &tree);
    fuse_opt_free_args(&list);
    const std::string native = ToNativePath(folder);
    if (made == nullptr || fuse_mount(made, native.c_str()) != 0) {
        reason = LastLog();
        if (made != nullptr) {
            fuse_destroy(made);
        }
        return nullptr;
    }
    return std::make_unique<FuseMount>(made);
}

}  // namespace rampart::platform
