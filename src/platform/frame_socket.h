// Whole messages over TCP between processes of this machine. On the wire each message is its length in four
// bytes, low byte first, and its bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace rampart::platform {

inline constexpr uint32_t kLargestFrame = 64 << 20;  // bytes
inline constexpr uint32_t kNoTimeLimit = ~uint32_t{0};

struct SocketEndpoint {
    std::string address;  // "127.0.0.1"
    uint16_t port = 0;
};

// One end of a connection. Write, Close and the questions may be called from any thread, Read from one at a
// time. A failure sets LastError.
class FrameSocket {
public:
    // Only to an address of this machine's loopback. Null with kFileNotFound when nobody listens there, with
    // kWaitTimeout when nobody answers in time.
    static std::unique_ptr<FrameSocket> Connect(const SocketEndpoint& server, uint32_t timeoutMs);
    // Closes; no call may be under way.
    virtual ~FrameSocket() = default;

    // One message; messages of several threads do not mix. False with kFileTooLarge for one above the limit.
    // Any other failure, also the end of the time, closes: the other end may have got a part.
    virtual bool Write(const void* bytes, size_t size, uint32_t timeoutMs) = 0;
    // Waits for a message. False once the connection has ended, from this side or from the other; a length
    // above the limit ends it.
    virtual bool Read(std::vector<char>& message) = 0;
    // Ends what waits in Read and Write.
    virtual void Close() = 0;
    // False once an end of the connection was noticed on this side.
    virtual bool IsOpen() const = 0;
    virtual SocketEndpoint Peer() const = 0;
};

// Waits for connections on the loopback address, which no other machine reaches.
class FrameListener {
public:
    // Called on a thread of the listener's own for each connection.
    using Handler = std::function<void(std::unique_ptr<FrameSocket> peer)>;

    // `port` 0 takes a free one. Null with kAlreadyExists when another program listens there.
    static std::unique_ptr<FrameListener> Open(uint16_t port, Handler handler);
    // Waits for a handler that runs; it must not destroy the listener.
    virtual ~FrameListener() = default;
    virtual uint16_t Port() const = 0;
};

}  // namespace rampart::platform
