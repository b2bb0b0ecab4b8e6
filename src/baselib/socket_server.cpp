#include <limits>

#include "framework/guarded.h"
#include "interfaces/sockets.h"
#include "platform/error.h"
#include "platform/frame_socket.h"

using namespace rampart;

struct SocketServer::Impl {
    std::unique_ptr<platform::FrameListener> listener;
};

SocketServer::SocketServer(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

SocketServer::~SocketServer() = default;

std::unique_ptr<SocketServer> SocketServer::Open(int port, PeerHandler handler) {
    return Guarded(_T("Error: SocketServer"), nullptr, [&]() -> std::unique_ptr<SocketServer> {
        if (port < 0 || port > std::numeric_limits<uint16_t>::max()) {
            platform::SetLastError(platform::kInvalidParameter);
            return nullptr;
        }
        auto take = [handler = std::move(handler)](std::unique_ptr<platform::FrameSocket> socket) {
            Guarded(_T("Error: SocketServer"), [&] {
                auto peer = std::make_unique<SocketConnection>();
                peer->SetServerMode(true);
                peer->Attach(std::move(socket));
                handler(std::move(peer));
            });
        };
        auto impl = std::make_unique<Impl>();
        impl->listener = platform::FrameListener::Open(static_cast<uint16_t>(port), std::move(take));
        return impl->listener ? std::unique_ptr<SocketServer>(new SocketServer(std::move(impl))) : nullptr;
    });
}

int SocketServer::GetPort() const {
    return m_impl->listener->Port();
}
