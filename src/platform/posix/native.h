// What the files of this folder share: descriptors that close themselves, error numbers, native paths.
#pragma once

#include <errno.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "platform/error.h"
#include "platform/path_mapping.h"

namespace rampart::platform {

// Owns a file descriptor. Closing keeps errno.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~Descriptor() {
        if (m_fd >= 0) {
            const int error = errno;
            close(m_fd);
            errno = error;
        }
    }
    int Get() const { return m_fd; }
    int Release() { return std::exchange(m_fd, -1); }
    explicit operator bool() const { return m_fd >= 0; }

private:
    int m_fd;
};

// Repeats a system call that a signal interrupted.
template <class Call>
auto Retry(Call&& call) -> decltype(call()) {
    while (true) {
        const auto result = call();
        if (result != -1 || errno != EINTR) {
            return result;
        }
    }
}

uint32_t ErrorOfErrno(int error);

// Sets LastError and returns false.
bool FailWithErrno(int error);
// The same for a call that was given a path: a missing parent folder is told from a missing file.
bool FailOnPath(int error, const std::string& nativePath);

// All levels, this user's alone; success if the folder exists already.
bool MakeFolders(const std::string& native);

// SIGINT, SIGTERM and SIGHUP go to `handler`. From then on a reader that went away is an error of a write,
// not the end of the process.
void CatchSignals(void (*handler)(int));
// Of a program that is interrupted by hand a second time.
inline constexpr int kInterruptedExitCode = 6;

// Moves all bytes unless the file ends, a device fails or the disk is full; -1 with errno set on a failure.
int64_t ReadFully(int fd, uint64_t offset, void* buffer, size_t size);
int64_t WriteFully(int fd, uint64_t offset, const void* buffer, size_t size);

// The content of a small file. False with errno set when it cannot be read.
bool ReadWholeFile(const std::string& nativePath, std::string& content);
// The same of a file of /proc or /sys; empty when it cannot be read.
std::string ReadSystemFile(const std::string& nativePath);

}  // namespace rampart::platform
