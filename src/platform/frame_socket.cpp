// All operations of all sockets run on one thread, the loop's; the calls of the interface begin one there and
// wait for its end. So a call can be ended by another thread on every system, and no socket is ever touched
// by two threads at once.
#include "platform/frame_socket.h"

#include <array>
#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <future>
#include <mutex>
#include <thread>

#include "platform/clock.h"
#include "platform/error.h"
#include "platform/immortal.h"
#include "platform/socket_port.h"
#include "platform/thread.h"

namespace rampart::platform {
namespace {

namespace asio = boost::asio;
using Tcp = asio::ip::tcp;
using Code = boost::system::error_code;

constexpr size_t kPiece = 1 << 20;  // a claimed length is believed only so far before the bytes are there
constexpr uint32_t kAcceptRestMs = 100;  // before a connection that could not be taken is tried again

class Loop {
public:
    Loop() {
        if (!StartDetachedThread([this] { Run(); })) {
            throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
        }
    }
    asio::io_context& Context() { return m_context; }

private:
    void Run() {
        for (;;) {
            try {
                m_context.run();  // until the process is gone
            } catch (...) {       // of one operation, whose caller has ended it; the others go on
            }
        }
    }

    asio::io_context m_context{1};
    const asio::executor_work_guard<asio::io_context::executor_type> m_work{m_context.get_executor()};
};

// Never destroyed: its thread runs until the process is gone.
asio::io_context& Context() {
    static Immortal<Loop> loop;
    return loop->Context();
}

uint32_t ErrorOf(const Code& code) {
    if (code == asio::error::connection_refused) {
        return kFileNotFound;
    }
    if (code == asio::error::address_in_use || code == asio::error::access_denied) {
        return kAlreadyExists;
    }
    if (code == asio::error::no_descriptors) {
        return kTooManyOpenFiles;
    }
    if (code == asio::error::operation_aborted || code == asio::error::bad_descriptor) {
        return kRequestAborted;
    }
    return kInputOutputError;
}

bool Fail(uint32_t error) {
    SetLastError(error);
    return false;
}

// Has the loop begin an operation and waits for its end. When the time runs out, `cancel` must end it.
template <class Begin, class Cancel>
Code Await(uint32_t timeoutMs, Begin&& begin, Cancel&& cancel) {
    // Shared, so that it lives until the loop's thread has left it too.
    auto ended = std::make_shared<std::promise<Code>>();
    std::future<Code> end = ended->get_future();
    asio::post(Context(), [&begin, ended = std::move(ended)] {
        begin([ended](const Code& code, auto&&...) { ended->set_value(code); });
    });
    if (timeoutMs != kNoTimeLimit &&
        end.wait_for(std::chrono::milliseconds(timeoutMs)) != std::future_status::ready) {
        cancel();
        end.wait();
        return asio::error::timed_out;
    }
    return end.get();
}

template <class Begin>
Code Await(Begin&& begin) {
    return Await(kNoTimeLimit, begin, [] {});
}

template <class Call>
void RunInLoop(Call&& call) {
    Await([&](const auto& ended) {
        call();
        ended(Code());
    });
}

SocketEndpoint EndpointOf(const Tcp::endpoint& endpoint) {
    return {endpoint.address().to_string(), endpoint.port()};
}

class AsioFrameSocket : public FrameSocket {
public:
    explicit AsioFrameSocket(Tcp::socket socket) : m_socket(std::move(socket)) {
        RunInLoop([this] {
            Code ignored;
            KeepFromChildren(static_cast<uintptr_t>(m_socket.native_handle()));
            m_socket.set_option(Tcp::no_delay(true), ignored);
            m_peer = EndpointOf(m_socket.remote_endpoint(ignored));
        });
    }

    ~AsioFrameSocket() override {
        Close();
        RunInLoop([] {});  // what Close began is done
    }

    bool Write(const void* bytes, size_t size, uint32_t timeoutMs) override {
        if (size > kLargestFrame) {
            return Fail(kFileTooLarge);
        }
        std::array<unsigned char, 4> length;
        for (size_t index = 0; index < length.size(); index++) {
            length[index] = static_cast<unsigned char>(size >> (8 * index));
        }
        const std::array<asio::const_buffer, 2> parts{asio::buffer(length), asio::buffer(bytes, size)};
        std::lock_guard lock(m_writing);
        return EndUnless(Await(
            timeoutMs, [&](auto ended) { asio::async_write(m_socket, parts, std::move(ended)); },
            [this] { Disconnect(); }));
    }

    bool Read(std::vector<char>& message) override {
        std::array<unsigned char, 4> length;
        message.clear();
        if (!ReadInto(length.data(), length.size())) {
            return false;
        }
        size_t left = 0;
        for (size_t index = 0; index < length.size(); index++) {
            left |= static_cast<size_t>(length[index]) << (8 * index);
        }
        if (left > kLargestFrame) {
            Disconnect();
            return Fail(kFileTooLarge);
        }
        while (left > 0) {
            const size_t piece = std::min(left, kPiece);
            message.resize(message.size() + piece);
            if (!ReadInto(message.data() + message.size() - piece, piece)) {
                return false;
            }
            left -= piece;
        }
        return true;
    }

    void Close() override {
        m_isClosedHere = true;
        Disconnect();
    }

    bool IsOpen() const override { return m_open; }
    SocketEndpoint Peer() const override { return m_peer; }

private:
    bool ReadInto(void* bytes, size_t size) {
        return EndUnless(Await(
            [&](auto ended) { asio::async_read(m_socket, asio::buffer(bytes, size), std::move(ended)); }));
    }

    bool EndUnless(const Code& code) {
        if (!code) {
            return true;
        }
        Disconnect();
        // What the system says of a call that another thread has ended differs.
        return Fail(m_isClosedHere                   ? uint32_t{kRequestAborted}
                    : code == asio::error::timed_out ? uint32_t{kWaitTimeout}
                                                     : ErrorOf(code));
    }

    void Disconnect() {
        m_open = false;
        asio::post(Context(), [this] {
            Code ignored;
            m_socket.cancel(ignored);  // first: a shutdown may wait for what is being sent
            m_socket.shutdown(Tcp::socket::shutdown_both, ignored);
            m_socket.close(ignored);
        });
    }

    Tcp::socket m_socket;  // the loop's
    SocketEndpoint m_peer;
    std::atomic<bool> m_open = true;
    std::atomic<bool> m_isClosedHere = false;
    std::mutex m_writing;
};

class AsioFrameListener : public FrameListener {
public:
    AsioFrameListener(Tcp::acceptor acceptor, Handler handler)
        : m_acceptor(std::move(acceptor)),
          m_port(m_acceptor.local_endpoint().port()),
          m_handler(std::move(handler)),
          m_thread([this] { Serve(); }) {}

    ~AsioFrameListener() override {
        m_stopping = true;
        RunInLoop([this] {
            Code ignored;
            m_acceptor.close(ignored);
        });
        m_thread.join();
    }

    uint16_t Port() const override { return m_port; }

private:
    void Serve() {
        while (!m_stopping) {
            if (!TakeOne() && !m_stopping) {
                // No descriptor or memory is free: the peer waits in the queue.
                SleepMilliseconds(kAcceptRestMs);
            }
        }
    }

    bool TakeOne() {
        try {
            Tcp::socket socket(Context());
            if (Await([&](auto ended) { m_acceptor.async_accept(socket, std::move(ended)); })) {
                return false;
            }
            m_handler(std::make_unique<AsioFrameSocket>(std::move(socket)));
            return true;
        } catch (...) {
            return false;
        }
    }

    Tcp::acceptor m_acceptor;  // the loop's
    const uint16_t m_port;
    const Handler m_handler;
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;  // last, so that all else is there when it runs
};

}  // namespace

std::unique_ptr<FrameSocket> FrameSocket::Connect(const SocketEndpoint& server, uint32_t timeoutMs) {
    Code code;
    const auto address = asio::ip::make_address(server.address, code);
    if (code || !address.is_loopback()) {
        SetLastError(kInvalidParameter);
        return nullptr;
    }
    Tcp::socket socket(Context());
    code = Await(
        timeoutMs,
        [&](auto ended) { socket.async_connect(Tcp::endpoint(address, server.port), std::move(ended)); },
        [&] {
            asio::post(Context(), [&] {
                Code ignored;
                socket.close(ignored);
            });
        });
    if (code) {
        SetLastError(code == asio::error::timed_out ? uint32_t{kWaitTimeout} : ErrorOf(code));
        return nullptr;
    }
    return std::make_unique<AsioFrameSocket>(std::move(socket));
}

std::unique_ptr<FrameListener> FrameListener::Open(uint16_t port, Handler handler) {
    Tcp::acceptor acceptor(Context());
    Code code;
    acceptor.open(Tcp::v4(), code);
    if (!code) {
        KeepFromChildren(static_cast<uintptr_t>(acceptor.native_handle()));
    }
    if (!code && !ClaimPort(static_cast<uintptr_t>(acceptor.native_handle()))) {
        code = asio::error::access_denied;
    }
    if (!code) {
        acceptor.bind(Tcp::endpoint(asio::ip::address_v4::loopback(), port), code);
    }
    if (!code) {
        acceptor.listen(Tcp::acceptor::max_listen_connections, code);
    }
    if (code) {
        SetLastError(ErrorOf(code));
        return nullptr;
    }
    return std::make_unique<AsioFrameListener>(std::move(acceptor), std::move(handler));
}

}  // namespace rampart::platform
