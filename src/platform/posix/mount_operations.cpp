#include "platform/posix/mount_operations.h"

#include <fcntl.h>
#include <sys/statvfs.h>

#include <cstring>

#include "platform/path_mapping.h"
#include "platform/posix/mounted_status.h"

namespace rampart::platform {
namespace {

// Of an entry that is not looked up yet; one with number 0 would be passed over.
constexpr fuse_ino_t kUnknownNumber = 0xffffffff;
// How long the system may believe a name, and what was told of a file: where it lasts, and where it does not.
constexpr double kLastingSeconds = 60;
constexpr double kShortSeconds = 1;

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
            info->fh = shown.files.Add(std::move(file));
            info->keep_cache = 1;
            if (fuse_reply_open(request, info) != 0) {
                shown.files.Close(info->fh);
            }
        }
        return ErrnoOf(answer);
    });
}

void OnRead(fuse_req_t request, fuse_ino_t node, size_t size, off_t offset, fuse_file_info* info) {
    Serve(request, node, [&](Shown& shown, const Text&) {
        std::string bytes;
        if (!shown.files.Get(info->fh)->Read(static_cast<uint64_t>(offset), size, bytes)) {
            return EIO;
        }
        fuse_reply_buf(request, bytes.data(), bytes.size());
        return 0;
    });
}

void OnRelease(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
    ShownBy(request).files.Close(info->fh);
    fuse_reply_err(request, 0);
}

void OnOpenFolder(fuse_req_t request, fuse_ino_t node, fuse_file_info* info) {
    Serve(request, node, [&](Shown& shown, const Text& path) {
        auto folder = std::make_shared<OpenFolder>();
        const MountedAnswer answer =
            shown.tree.List(path, [&](const Text& name, const MountedStatus& status) {
                folder->entries.emplace_back(name, status);
            });
        if (answer == MountedAnswer::kDone) {
            info->fh = shown.folders.Add(folder);
            if (fuse_reply_open(request, info) != 0) {
                shown.folders.Close(info->fh);
            }
        }
        return ErrnoOf(answer);
    });
}

void OnReleaseFolder(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
    ShownBy(request).folders.Close(info->fh);
    fuse_reply_err(request, 0);
}

// Entries from number `offset` on, as many as there is room for; the first two are the folder and the one
// above. `withStatus`: each is looked up, too.
void List(fuse_req_t request, fuse_ino_t node, size_t size, off_t offset, fuse_file_info* info,
          bool withStatus) {
    Serve(request, node, [&](Shown& shown, const Text&) {
        const std::shared_ptr<const OpenFolder> folder = shown.folders.Get(info->fh);
        const auto& entries = folder->entries;
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
    statistics.f_bsize = statistics.f_frsize = kMountedBlockBytes;
    statistics.f_namemax = NAME_MAX;
    statistics.f_flag = ST_RDONLY;
    fuse_reply_statfs(request, &statistics);
}

}  // namespace

fuse_lowlevel_ops MountOperations() {
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

}  // namespace rampart::platform
