// An observer of a connection that keeps what arrives, and a server whose peers a test takes one by one.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

#include "interfaces/baselib.h"

namespace rampart::test {

// Things that one thread puts and another takes.
template <class Thing>
class Handover {
public:
    void Put(Thing thing) {
        std::lock_guard lock(m_mutex);
        m_things.push_back(std::move(thing));
        m_changed.notify_all();
    }
    // Waits for the next one.
    Thing Take() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_things.empty(); });
        Thing thing = std::move(m_things.front());
        m_things.pop_front();
        return thing;
    }
    size_t Count() const {
        std::lock_guard lock(m_mutex);
        return m_things.size();
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Thing> m_things;
};

class SocketInbox : public SocketObserver {
public:
    void SocketEvent(SocketEventParams* params) override { events.Put(*params); }
    void SocketDataReceived(char* data, int size) override {
        messages.Put(std::string(data, static_cast<size_t>(size)));
    }

    Handover<std::string> messages;
    Handover<SocketEventParams> events;
};

class LoopbackServer {
public:
    int Port() const { return m_server->GetPort(); }
    std::unique_ptr<SocketConnection> TakePeer() { return m_peers.Take(); }

private:
    Handover<std::unique_ptr<SocketConnection>> m_peers;
    std::unique_ptr<SocketServer> m_server = SocketServer::Open(
        0, [this](std::unique_ptr<SocketConnection> peer) { m_peers.Put(std::move(peer)); });
};

inline bool Connect(SocketConnection& client, LoopbackServer const& server) {
    CString port;
    port.Format(_T("%d"), server.Port());
    return client.ConnectToServer(_T("127.0.0.1"), port, SocketCommunication::kAddressFamily,
                                  SocketCommunication::kStream);
}

inline bool Send(SocketCommunication& socket, std::string const& message) {
    return socket.WriteData(reinterpret_cast<const unsigned char*>(message.data()),
                            static_cast<int>(message.size()), kWaitForever, static_cast<int>(message.size()));
}

}  // namespace rampart::test
