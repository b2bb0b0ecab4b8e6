#include <fcntl.h>
#include <sys/stat.h>

#include "platform/posix/native.h"
#include "platform/posix/standard_folders.h"
#include "platform/process.h"

namespace rampart::platform {
namespace {

constexpr size_t kLongestName = 200;

// Every name gives a file name of its own; the kernel frees the lock on it when the last descriptor goes.
std::string LockFile(TextView name) {
    std::string file;
    for (const char byte : ToUtf8(name)) {
        if (isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '-' || byte == '_') {
            file.push_back(byte);
        } else {
            constexpr char kDigits[] = "0123456789abcdef";
            file.append({'%', kDigits[(byte >> 4) & 15], kDigits[byte & 15]});
        }
    }
    if (file.size() > kLongestName) {
        return {};
    }
    const std::string folder = RuntimeFolder();
    return folder.empty() ? folder : folder + '/' + file + ".lock";
}

// A lock of the open file and not of the process, so that two objects of one process exclude each other too.
struct flock WholeFileLock() {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

class PosixNamedMutex : public NamedMutex {
public:
    explicit PosixNamedMutex(Descriptor fd) : m_fd(std::move(fd)) {}

private:
    const Descriptor m_fd;
};

}  // namespace

std::unique_ptr<NamedMutex> NamedMutex::Create(TextView name) {
    const std::string file = LockFile(name);
    if (file.empty()) {
        SetLastError(kInvalidName);
        return nullptr;
    }
    Descriptor fd(Retry([&] { return open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600); }));
    if (!fd) {
        FailOnPath(errno, file);
        return nullptr;
    }
    struct flock lock = WholeFileLock();
    if (Retry([&] { return fcntl(fd.Get(), F_OFD_SETLK, &lock); }) != 0) {
        FailWithErrno(errno == EAGAIN || errno == EACCES ? EEXIST : errno);
        return nullptr;
    }
    return std::make_unique<PosixNamedMutex>(std::move(fd));
}

bool NamedMutex::Exists(TextView name) {
    const std::string file = LockFile(name);
    const Descriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    struct flock lock = WholeFileLock();
    return fd && fcntl(fd.Get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

}  // namespace rampart::platform
