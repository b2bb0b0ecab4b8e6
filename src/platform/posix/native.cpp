#include "platform/posix/native.h"

#include <fcntl.h>
#include <signal.h>

#include <csignal>

namespace rampart::platform {
namespace {

struct ErrorPair {
    int error;
    uint32_t number;
};

constexpr ErrorPair kErrors[] = {
    {ENOENT, kFileNotFound},
    {ENOTDIR, kPathNotFound},
    {EMFILE, kTooManyOpenFiles},
    {ENFILE, kTooManyOpenFiles},
    {EACCES, kAccessDenied},
    {EPERM, kAccessDenied},
    {EISDIR, kAccessDenied},
    {ELOOP, kAccessDenied},
    {EBADF, kInvalidHandle},
    {ENOMEM, kNotEnoughMemory},
    {EXDEV, kNotSameDevice},
    {EROFS, kWriteProtected},
    {ENXIO, kNotReady},
    {ENODEV, kNotReady},
    {ENOMEDIUM, kNotReady},
    {EBUSY, kSharingViolation},
    {ETXTBSY, kSharingViolation},
    {EWOULDBLOCK, kSharingViolation},
    {EOPNOTSUPP, kNotSupported},
    {ENOSYS, kNotSupported},
    {EHOSTDOWN, kBadNetworkPath},
    {EHOSTUNREACH, kBadNetworkPath},
    {ENETUNREACH, kBadNetworkPath},
    {ENETDOWN, kBadNetworkPath},
    {ESTALE, kBadNetworkPath},
    {ETIMEDOUT, kBadNetworkPath},
    {ENOTCONN, kBadNetworkPath},
    {EINVAL, kInvalidParameter},
    {ENOSPC, kDiskFull},
    {EDQUOT, kDiskFull},
    {EILSEQ, kInvalidName},
    {ENOTEMPTY, kDirectoryNotEmpty},
    {EEXIST, kAlreadyExists},
    {ENAMETOOLONG, kNameTooLong},
    {EFBIG, kFileTooLarge},
    {EIO, kInputOutputError},
    {ECANCELED, kRequestAborted},
};

}  // namespace

uint32_t ErrorOfErrno(int error) {
    for (const ErrorPair& pair : kErrors) {
        if (pair.error == error) {
            return pair.number;
        }
    }
    return error == 0 ? kNoError : kOther;
}

bool FailWithErrno(int error) {
    SetLastError(ErrorOfErrno(error));
    return false;
}

void CatchSignals(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(signal, &action, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

bool FailOnPath(int error, const std::string& nativePath) {
    const size_t slash = nativePath.find_last_of('/');
    if (error == ENOENT && slash != std::string::npos && slash != 0 &&
        access(nativePath.substr(0, slash).c_str(), F_OK) != 0 && errno == ENOENT) {
        SetLastError(kPathNotFound);
        return false;
    }
    return FailWithErrno(error);
}

int64_t ReadFully(int fd, uint64_t offset, void* buffer, size_t size) {
    size_t done = 0;
    while (done < size) {
        const ssize_t moved = Retry([&] {
            return pread(fd, static_cast<char*>(buffer) + done, size - done,
                         static_cast<off_t>(offset + done));
        });
        if (moved < 0) {
            return -1;
        }
        if (moved == 0) {
            break;
        }
        done += static_cast<size_t>(moved);
    }
    return static_cast<int64_t>(done);
}

int64_t WriteFully(int fd, uint64_t offset, const void* buffer, size_t size) {
    size_t done = 0;
    while (done < size) {
        const ssize_t moved = Retry([&] {
            return pwrite(fd, static_cast<const char*>(buffer) + done, size - done,
                          static_cast<off_t>(offset + done));
        });
        if (moved < 0) {
            return -1;
        }
        done += static_cast<size_t>(moved);
    }
    return static_cast<int64_t>(done);
}

bool ReadWholeFile(const std::string& nativePath, std::string& content) {
    content.clear();
    const Descriptor file(Retry([&] { return open(nativePath.c_str(), O_RDONLY | O_CLOEXEC); }));
    if (!file) {
        return false;
    }
    char buffer[16384];
    while (true) {
        const ssize_t moved = Retry([&] { return read(file.Get(), buffer, sizeof buffer); });
        if (moved <= 0) {
            return moved == 0;
        }
        content.append(buffer, static_cast<size_t>(moved));
    }
}

std::string ReadSystemFile(const std::string& nativePath) {
    std::string content;
    return ReadWholeFile(nativePath, content) ? content : std::string();
}

}  // namespace rampart::platform
