#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "platform/clock.h"
#include "platform/posix/attributes_at.h"
#include "platform/posix/file_status.h"
#include "platform/posix/native.h"
#include "platform/posix/open_files.h"

namespace rampart::platform {
namespace {

// Whatever the user's mask allows: what this program keeps of files is nobody else's to read.
constexpr mode_t kNewFileMode = 0600;

timespec ToTimespec(int64_t nanoseconds) {
    if (nanoseconds == -1) {
        return {0, UTIME_OMIT};
    }
    const int64_t seconds =
        nanoseconds / kNanosecondsPerSecond - (nanoseconds % kNanosecondsPerSecond < 0 ? 1 : 0);
    return {seconds, static_cast<long>(nanoseconds - seconds * kNanosecondsPerSecond)};
}

class PosixFileHandle : public FileHandle {
public:
    PosixFileHandle(Descriptor fd, std::string_view name) : m_fd(std::move(fd)), m_name(name) {}

    int64_t ReadAt(uint64_t offset, void* buffer, size_t size) override {
        return Checked(ReadFully(m_fd.Get(), offset, buffer, size));
    }

    int64_t WriteAt(uint64_t offset, const void* buffer, size_t size) override {
        return Checked(WriteFully(m_fd.Get(), offset, buffer, size));
    }

    bool GetSize(uint64_t& size) override {
        struct stat status;
        if (fstat(m_fd.Get(), &status) != 0) {
            return FailWithErrno(errno);
        }
        size = static_cast<uint64_t>(status.st_size);
        return true;
    }

    bool SetSize(uint64_t size) override {
        return Done(Retry([&] { return ftruncate(m_fd.Get(), static_cast<off_t>(size)); }));
    }

    bool Sync() override {
        return Done(Retry([&] { return fdatasync(m_fd.Get()); }));
    }

    bool QueryStatus(FileStatus& status) override {
        if (!ReadStatus(m_fd.Get(), status)) {
            return FailWithErrno(errno);
        }
        status.attributes |= HiddenBit(m_name);
        return true;
    }

    std::string ReadAttributes() override {
        std::string bytes = platform::ReadAttributes(m_fd.Get());
        if (bytes.empty()) {
            FailWithErrno(errno);
        }
        return bytes;
    }

    bool SetTimes(int64_t, int64_t accessTime, int64_t writeTime) override {
        const timespec times[2] = {ToTimespec(accessTime), ToTimespec(writeTime)};
        return Done(futimens(m_fd.Get(), times));
    }

    bool TryLock(bool exclusive) override {
        return Done(Retry([&] { return flock(m_fd.Get(), (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB); }));
    }

    bool Lock() override {
        return Done(Retry([&] { return flock(m_fd.Get(), LOCK_EX); }));
    }

private:
    static bool Done(int result) { return result == 0 || FailWithErrno(errno); }

    static int64_t Checked(int64_t moved) {
        if (moved < 0) {
            FailWithErrno(errno);
        }
        return moved;
    }

    const Descriptor m_fd;
    const std::string m_name;
};

int OpenFlags(uint32_t mode) {
    // Without blocking, so that a pipe with nobody at its other end cannot hold the caller up.
    int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    flags |= (mode & kOpenWrite) == 0 ? O_RDONLY : (mode & kOpenRead) == 0 ? O_WRONLY : O_RDWR;
    flags |= (mode & kOpenFollowLink) == 0 ? O_NOFOLLOW : 0;
    flags |= (mode & kOpenCreate) != 0 ? O_CREAT : 0;
    flags |= (mode & kOpenExclusive) != 0 ? O_EXCL : 0;
    return flags;
}

}  // namespace

std::unique_ptr<FileHandle> FileOf(Descriptor fd, std::string_view name) {
    struct stat status;
    if (fstat(fd.Get(), &status) != 0) {
        FailWithErrno(errno);
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        SetLastError(kAccessDenied);
        return nullptr;
    }
    return std::make_unique<PosixFileHandle>(std::move(fd), name);
}

std::unique_ptr<FileHandle> FileHandle::Open(TextView path, uint32_t mode) {
    const std::string native = ToNativePath(path);
    return native.empty() ? nullptr : OpenNative(native, mode);
}

std::unique_ptr<FileHandle> FileHandle::OpenNative(const std::string& nativePath, uint32_t mode) {
    Descriptor fd(Retry([&] { return open(nativePath.c_str(), OpenFlags(mode), kNewFileMode); }));
    if (!fd) {
        FailOnPath(errno, nativePath);
        return nullptr;
    }
    std::unique_ptr<FileHandle> file = FileOf(std::move(fd), LastName(nativePath));
    if (!file) {
        return nullptr;
    }
    if ((mode & kOpenTruncate) != 0 && !file->SetSize(0)) {
        return nullptr;
    }
    return file;
}

}  // namespace rampart::platform
