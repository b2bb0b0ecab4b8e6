// A Unix-domain socket for each receiver, in the user's runtime folder. A message is a header and its texts;
// so is an answer.
#include "platform/message_channel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cstring>
#include <thread>

#include "platform/message_frame.h"
#include "platform/posix/native.h"
#include "platform/posix/standard_folders.h"
#include "platform/process.h"

namespace rampart::platform {
namespace {

constexpr int kRestMs = 100;  // before a connection that could not be taken is tried again

std::string SocketName(TextView name) {
    return PlainReceiverName(name) + ".socket";
}

// The address of a socket in a folder, by way of an open descriptor of the folder: an address holds 107
// bytes, which a path may exceed.
class SocketAddress {
public:
    explicit SocketAddress(TextView name) : m_file(SocketName(name)) {
        const std::string folder = RuntimeFolder();
        if (!folder.empty()) {
            m_folder = Descriptor(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        }
        m_address.sun_family = AF_UNIX;
        const std::string path = "/proc/self/fd/" + std::to_string(m_folder.Get()) + "/" + m_file;
        memcpy(m_address.sun_path, path.c_str(), std::min(path.size(), sizeof m_address.sun_path - 1));
    }
    bool IsValid() const { return static_cast<bool>(m_folder); }
    const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&m_address); }
    static socklen_t Size() { return sizeof(sockaddr_un); }
    void RemoveFile() const { unlinkat(m_folder.Get(), m_file.c_str(), 0); }
    bool MakePrivate() const { return fchmodat(m_folder.Get(), m_file.c_str(), 0600, 0) == 0; }

private:
    std::string m_file;
    Descriptor m_folder;
    sockaddr_un m_address = {};
};

Descriptor NewSocket() {
    return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

void SetTimeouts(int fd, uint32_t milliseconds) {
    timeval time = {};
    time.tv_sec = milliseconds / 1000;
    time.tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

bool FailOnSocket() {
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
        SetLastError(kWaitTimeout);
        return false;
    }
    return FailWithErrno(errno);
}

class SocketConnection : public MessageConnection {
public:
    explicit SocketConnection(int fd) : m_fd(fd) {}

    bool Send(const void* bytes, size_t size) override {
        const char* next = static_cast<const char*>(bytes);
        while (size > 0) {
            const ssize_t sent = Retry([&] { return send(m_fd, next, size, MSG_NOSIGNAL); });
            if (sent <= 0) {
                return FailOnSocket();
            }
            next += sent;
            size -= static_cast<size_t>(sent);
        }
        return true;
    }

    bool Receive(void* bytes, size_t size) override {
        char* next = static_cast<char*>(bytes);
        while (size > 0) {
            const ssize_t got = Retry([&] { return recv(m_fd, next, size, 0); });
            if (got < 0) {
                return FailOnSocket();
            }
            if (got == 0) {
                SetLastError(kInputOutputError);  // the other end is gone
                return false;
            }
            next += got;
            size -= static_cast<size_t>(got);
        }
        return true;
    }

private:
    const int m_fd;
};

// The folder lets nobody else in; this holds even where its mode was widened.
bool IsOwnUser(int fd) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == geteuid() || peer.uid == 0);
}

class PosixMessageReceiver : public MessageReceiver {
public:
    PosixMessageReceiver(std::unique_ptr<NamedMutex> name, SocketAddress address, Descriptor listener,
                         Descriptor stop, Handler handler)
        : m_name(std::move(name)),
          m_address(std::move(address)),
          m_listener(std::move(listener)),
          m_stop(std::move(stop)),
          m_handler(std::move(handler)),
          m_thread([this] { Serve(); }) {}

    ~PosixMessageReceiver() override {
        eventfd_write(m_stop.Get(), 1);
        m_thread.join();
        m_address.RemoveFile();
    }

private:
    void Serve() {
        while (true) {
            pollfd waits[2] = {{m_listener.Get(), POLLIN, 0}, {m_stop.Get(), POLLIN, 0}};
            if (Retry([&] { return poll(waits, 2, -1); }) < 0 || waits[1].revents != 0) {
                return;
            }
            const Descriptor connection(accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (!connection) {
                poll(&waits[1], 1, kRestMs);  // no descriptor is free: the sender waits in the queue
            } else if (IsOwnUser(connection.Get())) {
                SetTimeouts(connection.Get(), kReceiveTimeoutMs);
                SocketConnection socket(connection.Get());
                AnswerMessage(socket, m_handler);
            }
        }
    }

    const std::unique_ptr<NamedMutex> m_name;
    const SocketAddress m_address;
    const Descriptor m_listener;
    const Descriptor m_stop;
    const Handler m_handler;
    std::thread m_thread;  // last, so that all else is there when it runs
};

}  // namespace

std::unique_ptr<MessageReceiver> MessageReceiver::Open(TextView name, Handler handler) {
    // The mutex says whose the name is; the file of a receiver that died tells nothing.
    auto mutex = NamedMutex::Create(_T("Receiver-") + FromUtf8(SocketName(name)));
    if (!mutex) {
        return nullptr;
    }
    SocketAddress address(name);
    Descriptor listener = NewSocket();
    Descriptor stop(eventfd(0, EFD_CLOEXEC));
    if (!address.IsValid()) {
        SetLastError(kAccessDenied);
        return nullptr;
    }
    address.RemoveFile();
    if (!listener || !stop || bind(listener.Get(), address.Get(), SocketAddress::Size()) != 0 ||
        !address.MakePrivate() || listen(listener.Get(), SOMAXCONN) != 0) {
        FailWithErrno(errno);
        return nullptr;
    }
    return std::make_unique<PosixMessageReceiver>(std::move(mutex), std::move(address), std::move(listener),
                                                  std::move(stop), std::move(handler));
}

bool SendChannelMessage(TextView receiver, const ChannelMessage& message, uint32_t timeoutMs,
                        ChannelReply& reply) {
    if (!IsSendable(message)) {
        return false;
    }
    const SocketAddress address(receiver);
    const Descriptor connection = NewSocket();
    if (!address.IsValid() || !connection) {
        SetLastError(address.IsValid() ? static_cast<uint32_t>(kTooManyOpenFiles)
                                       : static_cast<uint32_t>(kAccessDenied));
        return false;
    }
    SetTimeouts(connection.Get(), timeoutMs);
    if (Retry([&] { return connect(connection.Get(), address.Get(), SocketAddress::Size()); }) != 0) {
        if (errno == ENOENT || errno == ECONNREFUSED) {
            SetLastError(kFileNotFound);
            return false;
        }
        return FailOnSocket();
    }
    SocketConnection socket(connection.Get());
    return ExchangeMessage(socket, message, reply);
}

}  // namespace rampart::platform
