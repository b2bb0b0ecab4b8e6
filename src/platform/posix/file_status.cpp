#include "platform/posix/file_status.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>

#include "platform/clock.h"
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr unsigned kWanted =
    STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_ATIME | STATX_MTIME | STATX_CTIME | STATX_BTIME | STATX_INO;

int64_t Nanoseconds(const statx_timestamp& time) {
    if (!FitsNanoseconds(time.tv_sec)) {
        return time.tv_sec < 0 ? -INT64_MAX : INT64_MAX;  // the least value means that there is no time
    }
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

uint32_t KindBit(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return 0;
        case S_IFDIR:
            return kDirectory;
        case S_IFLNK:
            return kReparsePoint;
        case S_IFSOCK:
            return kSpecial | kSocket;
        default:
            return kSpecial;
    }
}

bool ReadStatx(int directory, const char* path, int flags, FileStatus& status) {
    struct statx raw;
    if (statx(directory, path, flags | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, kWanted, &raw) != 0) {
        return false;
    }
    status.attributes = KindBit(raw.stx_mode);
    if ((raw.stx_attributes_mask & raw.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
        status.attributes |= kMountRoot;
    }
    if ((raw.stx_mode & kAnyWrite) == 0) {
        status.attributes |= kReadOnly;
    }
    status.size = status.IsRegularFile() || status.IsLink() ? raw.stx_size : 0;
    status.accessTime = Nanoseconds(raw.stx_atime);
    status.writeTime = Nanoseconds(raw.stx_mtime);
    status.changeTime = Nanoseconds(raw.stx_ctime);
    const bool hasBirth = (raw.stx_mask & STATX_BTIME) != 0 && raw.stx_btime.tv_sec != 0;
    status.creationTime =
        hasBirth ? Nanoseconds(raw.stx_btime) : std::min(Nanoseconds(raw.stx_ctime), status.writeTime);
    status.fileId = raw.stx_ino;
    status.volumeId = makedev(raw.stx_dev_major, raw.stx_dev_minor);
    return true;
}

}  // namespace

bool FitsNanoseconds(int64_t seconds) {
    constexpr int64_t kFarthest = INT64_MAX / kNanosecondsPerSecond - 1;
    return seconds >= -kFarthest && seconds <= kFarthest;
}

std::string_view LastName(std::string_view nativePath) {
    return nativePath.substr(nativePath.rfind('/') + 1);
}

uint32_t HiddenBit(std::string_view name) {
    return name.starts_with('.') ? uint32_t{kHidden} : 0;
}

bool ReadStatus(int directory, const char* path, std::string_view name, FileStatus& status) {
    if (!ReadStatx(directory, path, 0, status)) {
        return false;
    }
    status.attributes |= HiddenBit(name);
    return true;
}

bool ReadStatus(int fd, FileStatus& status) {
    return ReadStatx(fd, "", AT_EMPTY_PATH, status);
}

uint32_t AttributesOfEntry(unsigned char type, std::string_view name) {
    return HiddenBit(name) | KindBit(DTTOIF(type));
}

bool QueryStatus(TextView path, FileStatus& status) {
    const std::string native = ToNativePath(path);
    if (native.empty()) {
        return false;
    }
    return ReadStatus(AT_FDCWD, native.c_str(), LastName(native), status) || FailOnPath(errno, native);
}

bool SetAttributes(TextView path, uint32_t attributes) {
    const std::string native = ToNativePath(path);
    if (native.empty()) {
        return false;
    }
    struct stat status;
    if (lstat(native.c_str(), &status) != 0) {
        return FailOnPath(errno, native);
    }
    if (S_ISLNK(status.st_mode)) {
        return FailWithErrno(ELOOP);
    }
    const mode_t old = status.st_mode & 07777;
    mode_t mode = old;
    if ((attributes & kReadOnly) != 0) {
        mode &= ~kAnyWrite;
    } else if ((old & kAnyWrite) == 0) {
        mode |= S_IWUSR;
    }
    return mode == old || fchmodat(AT_FDCWD, native.c_str(), mode, 0) == 0 || FailWithErrno(errno);
}

bool CopyAccessRights(TextView from, TextView to) {
    const std::string source = ToNativePath(from);
    const std::string target = ToNativePath(to);
    struct stat status;
    if (source.empty() || target.empty()) {
        return false;
    }
    if (stat(source.c_str(), &status) != 0) {
        return FailOnPath(errno, source);
    }
    return fchmodat(AT_FDCWD, target.c_str(), status.st_mode & 0777, 0) == 0 || FailOnPath(errno, target);
}

bool ReadLink(TextView path, std::string& target) {
    const std::string native = ToNativePath(path);
    if (native.empty()) {
        return false;
    }
    target.resize(256);
    while (true) {
        const ssize_t length = readlink(native.c_str(), target.data(), target.size());
        if (length < 0) {
            return FailOnPath(errno, native);
        }
        if (static_cast<size_t>(length) < target.size()) {
            target.resize(static_cast<size_t>(length));
            return true;
        }
        target.resize(target.size() * 2);
    }
}

Text LinkTarget(TextView path) {
    constexpr int kMostLinks = 40;
    std::filesystem::path target = ToNativePath(path);
    std::error_code error;
    for (int links = 0; links < kMostLinks; links++) {
        if (target.empty() || !std::filesystem::is_symlink(target, error)) {
            return ToEnginePath(target.native());
        }
        target = target.parent_path() / std::filesystem::read_symlink(target, error);
    }
    FailWithErrno(ELOOP);
    return {};
}

bool SameFile(TextView a, TextView b) {
    FileStatus first;
    FileStatus second;
    return QueryStatus(a, first) && QueryStatus(b, second) && first.fileId == second.fileId &&
           first.volumeId == second.volumeId;
}

}  // namespace rampart::platform
