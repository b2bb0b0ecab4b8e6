#include "platform/folder_handle.h"

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>

#include "platform/posix/attributes_at.h"
#include "platform/posix/file_status.h"
#include "platform/posix/native.h"
#include "platform/posix/open_files.h"

namespace rampart::platform {
namespace {

constexpr mode_t kPrivateFolderMode = 0700;
constexpr mode_t kPrivateFileMode = 0600;
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// The native name; empty with LastError set when it is none, or a way.
std::string SingleName(TextView name) {
    std::string native = NameToNative(name);
    // A backslash parts names here; one in a native name has a character of its own.
    if (native.empty() || name.find(_T('\\')) != TextView::npos || native == "." || native == ".." ||
        native.find_first_of(std::string_view("/\0", 2)) != std::string::npos) {
        SetLastError(kInvalidName);
        return {};
    }
    return native;
}

class PosixFolder : public FolderHandle {
public:
    explicit PosixFolder(Descriptor fd) : m_fd(std::move(fd)) {}

    std::shared_ptr<FolderHandle> OpenFolder(TextView name) override {
        const std::string native = SingleName(name);
        if (native.empty()) {
            return nullptr;
        }
        Descriptor fd = OpenNative(native);
        if (!fd && errno == EACCES && OwnFolder(native)) {
            // Not through a link: the system refuses that here, and a folder cannot become one.
            fchmodat(m_fd.Get(), native.c_str(), kPrivateFolderMode, AT_SYMLINK_NOFOLLOW);
            fd = OpenNative(native);
        }
        if (!fd) {
            FailWithErrno(errno == ELOOP ? ENOTDIR : errno);
            return nullptr;
        }
        struct stat status;
        if (fstat(fd.Get(), &status) == 0 && status.st_uid == geteuid() &&
            (status.st_mode & kPrivateFolderMode) != kPrivateFolderMode) {
            fchmod(fd.Get(), (status.st_mode & 07777) | kPrivateFolderMode);
        }
        return std::make_shared<PosixFolder>(std::move(fd));
    }

    bool MakeFolder(TextView name) override {
        return WithName(
            name, [&](const char* native) { return mkdirat(m_fd.Get(), native, kPrivateFolderMode) == 0; });
    }

    std::unique_ptr<FileHandle> MakeFile(TextView name) override {
        const std::string native = SingleName(name);
        return native.empty() ? nullptr
                              : OpenRegular(native, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, kPrivateFileMode);
    }

    std::unique_ptr<FileHandle> OpenFile(TextView name, bool fromDisk) override {
        const std::string native = SingleName(name);
        if (native.empty()) {
            return nullptr;
        }
        if (fromDisk) {
            const Descriptor fd(OpenPlain(native, O_RDONLY | O_NOFOLLOW, 0));
            if (fd) {
                posix_fadvise(fd.Get(), 0, 0, POSIX_FADV_DONTNEED);
            }
        }
        return OpenRegular(native, O_RDONLY | O_NOFOLLOW, 0);
    }

    bool MakeLink(TextView name, const std::string& target) override {
        return WithName(
            name, [&](const char* native) { return symlinkat(target.c_str(), m_fd.Get(), native) == 0; });
    }

    bool ReadLink(TextView name, std::string& target) override {
        return WithName(name, [&](const char* native) {
            target.resize(PATH_MAX + 1);
            const ssize_t length = readlinkat(m_fd.Get(), native, target.data(), target.size());
            target.resize(length < 0 ? 0 : static_cast<size_t>(length));
            return length >= 0;
        });
    }

    bool MakeHardLink(TextView name, FolderHandle& source, TextView sourceName) override {
        const std::string from = SingleName(sourceName);
        const int sourceFd = static_cast<PosixFolder&>(source).m_fd.Get();
        return !from.empty() && WithName(name, [&](const char* native) {
            return linkat(sourceFd, from.c_str(), m_fd.Get(), native, 0) == 0;
        });
    }

    bool MakeSpecial(TextView name, const Attributes& attributes) override {
        const mode_t kind = attributes.mode & S_IFMT;
        const bool isDevice = kind == S_IFCHR || kind == S_IFBLK;
        if (attributes.system != Attributes::kPosix || (!isDevice && kind != S_IFIFO && kind != S_IFSOCK)) {
            SetLastError(kNotSupported);
            return false;
        }
        return WithName(name, [&](const char* native) {
            return mknodat(m_fd.Get(), native, kind | kPrivateFileMode,
                           isDevice ? static_cast<dev_t>(attributes.device) : 0) == 0;
        });
    }

    bool QueryStatus(TextView name, FileStatus& status) override {
        return WithName(name,
                        [&](const char* native) { return ReadStatus(m_fd.Get(), native, native, status); });
    }

    std::unique_ptr<DirectoryReader> List(bool withStatus) override {
        Descriptor fd(Retry([&] { return openat(m_fd.Get(), ".", kFolderFlags); }));
        auto reader = fd ? ReaderOf(std::move(fd), withStatus) : nullptr;
        if (!reader) {
            FailWithErrno(errno);
        }
        return reader;
    }

    bool Rename(TextView from, TextView to, bool replace) override {
        const std::string source = SingleName(from);
        return !source.empty() && WithName(to, [&](const char* target) {
            if (replace) {
                return renameat(m_fd.Get(), source.c_str(), m_fd.Get(), target) == 0;
            }
            if (renameat2(m_fd.Get(), source.c_str(), m_fd.Get(), target, RENAME_NOREPLACE) == 0) {
                return true;
            }
            // A file system that cannot say "only if nothing is there" links instead.
            return errno == EINVAL && linkat(m_fd.Get(), source.c_str(), m_fd.Get(), target, 0) == 0 &&
                   unlinkat(m_fd.Get(), source.c_str(), 0) == 0;
        });
    }

    bool Remove(TextView name) override {
        return WithName(name, [&](const char* native) { return unlinkat(m_fd.Get(), native, 0) == 0; });
    }

    bool ApplyAttributes(TextView name, std::string_view bytes, const ApplyOptions& options,
                         std::vector<std::string>& missed) override {
        const std::string native = name.empty() ? std::string(".") : SingleName(name);
        if (native.empty()) {
            missed.emplace_back("attributes");
            return false;
        }
        return ApplyAttributesAt(m_fd.Get(), native.c_str(), bytes, options, missed);
    }

    bool SyncFileSystem() override { return syncfs(m_fd.Get()) == 0 || FailWithErrno(errno); }

private:
    template <class Call>
    static bool WithName(TextView name, const Call& call) {
        const std::string native = SingleName(name);
        return !native.empty() && (call(native.c_str()) || FailWithErrno(errno));
    }

    Descriptor OpenNative(const std::string& native) const {
        return Descriptor(
            Retry([&] { return openat(m_fd.Get(), native.c_str(), kFolderFlags | O_NOFOLLOW); }));
    }

    bool OwnFolder(const std::string& native) const {
        struct stat status;
        const bool isOwn = fstatat(m_fd.Get(), native.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                           S_ISDIR(status.st_mode) && status.st_uid == geteuid();
        errno = EACCES;
        return isOwn;
    }

    int OpenPlain(const std::string& native, int flags, mode_t mode) const {
        return Retry([&] {
            return openat(m_fd.Get(), native.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
        });
    }

    std::unique_ptr<FileHandle> OpenRegular(const std::string& native, int flags, mode_t mode) const {
        Descriptor fd(OpenPlain(native, flags, mode));
        if (!fd) {
            FailWithErrno(errno);
            return nullptr;
        }
        return FileOf(std::move(fd), native);
    }

    const Descriptor m_fd;
};

}  // namespace

bool IsFileName(TextView name) {
    return !SingleName(name).empty();
}

std::shared_ptr<FolderHandle> FolderHandle::Open(TextView path) {
    const std::string native = ToNativePath(path);
    if (native.empty()) {
        return nullptr;
    }
    Descriptor fd(Retry([&] { return open(native.c_str(), kFolderFlags); }));
    if (!fd) {
        FailOnPath(errno, native);
        return nullptr;
    }
    return std::make_shared<PosixFolder>(std::move(fd));
}

}  // namespace rampart::platform
