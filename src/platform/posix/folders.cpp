// Names in folders: made, removed, renamed, made durable.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include "platform/file_system.h"
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

constexpr mode_t kNewFolderMode = 0700;  // see the files: nobody else's to enter

bool IsFolder(const std::string& native) {
    struct stat status;
    return stat(native.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// For file systems that cannot rename without replacing: not atomic, but never replaces what was there
// before.
int RenameToFreeName(const std::string& from, const std::string& to) {
    struct stat status;
    if (lstat(to.c_str(), &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return errno == ENOENT ? rename(from.c_str(), to.c_str()) : -1;
}

}  // namespace

bool MakeFolders(const std::string& native) {
    if (mkdir(native.c_str(), kNewFolderMode) == 0) {
        return true;
    }
    if (errno == ENOENT) {
        const size_t slash = native.rfind('/');
        return slash != std::string::npos && slash != 0 && MakeFolders(native.substr(0, slash)) &&
               (mkdir(native.c_str(), kNewFolderMode) == 0 || (errno == EEXIST && IsFolder(native)) ||
                FailWithErrno(errno));
    }
    // A root that is read-only or belongs to somebody else says so before it says that the folder exists.
    const int error = errno;
    return IsFolder(native) || FailWithErrno(error);
}

bool CreateFolder(TextView path) {
    const std::string native = ToNativePath(path);
    return !native.empty() && (mkdir(native.c_str(), kNewFolderMode) == 0 || FailOnPath(errno, native));
}

bool CreateFolders(TextView path) {
    const std::string native = ToNativePath(path);
    return !native.empty() && MakeFolders(native);
}

bool KeepPrivate(TextView path) {
    const std::string native = ToNativePath(path);
    struct stat status;
    if (native.empty() || lstat(native.c_str(), &status) != 0) {
        return !native.empty() && FailOnPath(errno, native);
    }
    const mode_t rights = status.st_mode & 07777;
    const bool wide = (rights & (S_IRWXG | S_IRWXO)) != 0 && !S_ISLNK(status.st_mode);
    return !wide || status.st_uid != geteuid() || chmod(native.c_str(), rights & ~(S_IRWXG | S_IRWXO)) == 0 ||
           FailOnPath(errno, native);
}

bool RemoveFile(TextView path) {
    const std::string native = ToNativePath(path);
    return !native.empty() && (unlink(native.c_str()) == 0 || FailOnPath(errno, native));
}

bool RemoveEmptyFolder(TextView path) {
    const std::string native = ToNativePath(path);
    return !native.empty() &&
           (rmdir(native.c_str()) == 0 || FailOnPath(errno == EEXIST ? ENOTEMPTY : errno, native));
}

bool RenamePath(TextView from, TextView to, bool replace) {
    const std::string source = ToNativePath(from);
    const std::string target = ToNativePath(to);
    if (source.empty() || target.empty()) {
        return false;
    }
    int result;
    if (replace) {
        result = rename(source.c_str(), target.c_str());
    } else {
        result = renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
        if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {
            result = RenameToFreeName(source, target);
        }
    }
    if (result == 0) {
        return true;
    }
    const int error = errno;
    return error == ENOENT && access(source.c_str(), F_OK) == 0 ? FailOnPath(error, target)
                                                                : FailOnPath(error, source);
}

bool SyncFolder(TextView path) {
    const std::string native = ToNativePath(path);
    if (native.empty()) {
        return false;
    }
    const Descriptor folder(open(native.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        return FailOnPath(errno, native);
    }
    // A file system that cannot sync a folder has nothing to make durable there.
    return fsync(folder.Get()) == 0 || errno == EINVAL || errno == ENOTSUP || FailWithErrno(errno);
}

}  // namespace rampart::platform
