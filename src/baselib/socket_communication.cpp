#include <limits>

#include "baselib/text_table.h"
#include "framework/guarded.h"
#include "interfaces/sockets.h"
#include "platform/error.h"
#include "platform/frame_socket.h"

using namespace rampart;
using platform::FrameSocket;

namespace {

constexpr uint32_t kConnectTimeoutMs = 10'000;

}  // namespace

// A connection and what is known of its receive thread. Held by that thread and by who writes, so that it
// outlives its place in the object.
struct SocketCommunication::Link {
    explicit Link(std::unique_ptr<FrameSocket> connection) : socket(std::move(connection)) {}

    const std::unique_ptr<FrameSocket> socket;
    Word<DWORD> receiver = 0;  // the number of the receive thread
    bool isEndTold = false;    // the receive thread's
    bool isStarted = false;    // this and the next: guarded by the object's mutex
    bool hasEnded = false;
};

// What a receive thread is started with.
struct SocketCommunication::Receiver {
    SocketCommunication& owner;
    const std::shared_ptr<Link> link;
};

struct SocketCommunication::Impl {
    std::shared_ptr<Link> Present() const {
        MutexLock lock(mutex);
        return link;
    }

    void ReceiverEnded(Link& ended) {
        MutexLock lock(mutex);
        ended.hasEnded = true;
        receivers--;
        changed.notify_all();
    }

    Word<bool> isServer = false;
    Word<int> index = 0;
    mutable Mutex mutex;
    std::condition_variable_any changed;  // a receive thread ended
    std::shared_ptr<Link> link RAMPART_GUARDED_BY(mutex);
    int receivers RAMPART_GUARDED_BY(mutex) = 0;  // threads that run
};

SocketCommunication::SocketCommunication() : m_impl(std::make_unique<Impl>()) {}

SocketCommunication::~SocketCommunication() {
    Finish();
}

void SocketCommunication::SetServerMode(bool isServer) {
    m_impl->isServer = isServer;
}

bool SocketCommunication::IsServerMode() const {
    return m_impl->isServer;
}

void SocketCommunication::SetSocketIndex(int index) {
    m_impl->index = index;
}

int SocketCommunication::GetSocketIndex() const {
    return m_impl->index;
}

bool SocketCommunication::ConnectToServer(CString const& address, CString const& port, int family, int type) {
    return Guarded(_T("Error: ConnectToServer"), false, [&] {
        const int number = ParseInteger(port);
        if (IsServerMode() || family != kAddressFamily || type != kStream || number <= 0 ||
            number > std::numeric_limits<uint16_t>::max()) {
            platform::SetLastError(platform::kInvalidParameter);
            return false;
        }
        ReInitSocketCommunition();
        auto socket =
            FrameSocket::Connect({address.ToUtf8(), static_cast<uint16_t>(number)}, kConnectTimeoutMs);
        if (!socket) {
            return false;
        }
        Attach(std::move(socket));
        return true;
    });
}

bool SocketCommunication::Start() {
    return Guarded(_T("Error: Start"), false, [&] {
        std::unique_ptr<Receiver> receiver;
        {
            MutexLock lock(m_impl->mutex);
            if (!m_impl->link || m_impl->link->isStarted) {
                return false;
            }
            receiver.reset(new Receiver{*this, m_impl->link});
            receiver->link->isStarted = true;
            m_impl->receivers++;
        }
        const AFX_THREADPROC run = [](LPVOID argument) -> UINT {
            const std::unique_ptr<Receiver> receiver(static_cast<Receiver*>(argument));
            Link& link = *receiver->link;
            Guarded(_T("Error: receive thread"), [&] { receiver->owner.Receive(link); });
            receiver->owner.m_impl->ReceiverEnded(link);
            return 0;
        };
        if (!StartThread(run, receiver.get())) {
            m_impl->ReceiverEnded(*receiver->link);
            return false;
        }
        static_cast<void>(receiver.release());  // the thread's own
        return true;
    });
}

bool SocketCommunication::IsValid() const {
    const std::shared_ptr<Link> link = m_impl->Present();
    return link && link->socket->IsOpen();
}

int SocketCommunication::ReInitSocketCommunition() {
    std::shared_ptr<Link> link;
    {
        MutexLock lock(m_impl->mutex);
        link = std::exchange(m_impl->link, nullptr);
    }
    if (link) {
        Guarded(_T("Error: ReInitSocketCommunition"), [&] { End(*link); });
    }
    return 1;
}

bool SocketCommunication::WriteData(const unsigned char* data, int size, DWORD timeoutMs, int messageSize) {
    return Guarded(_T("Error: WriteData"), false, [&] {
        const std::shared_ptr<Link> link = m_impl->Present();
        if (size < 0 || messageSize != size || (!data && size > 0)) {
            platform::SetLastError(platform::kInvalidParameter);
            return false;
        }
        return link && link->socket->Write(data, static_cast<size_t>(size), timeoutMs);
    });
}

bool SocketCommunication::GetPeerName(SockAddrIn& address) const {
    return Guarded(_T("Error: GetPeerName"), false, [&] {
        const std::shared_ptr<Link> link = m_impl->Present();
        if (!link) {
            return false;
        }
        const platform::SocketEndpoint peer = link->socket->Peer();
        address = SockAddrIn(CString::FromUtf8(peer.address), peer.port);
        return true;
    });
}

void SocketCommunication::Finish() {
    ReInitSocketCommunition();
    std::unique_lock lock(m_impl->mutex);
    m_impl->changed.wait(lock, [this] { return m_impl->receivers == 0; });
}

void SocketCommunication::Attach(std::unique_ptr<FrameSocket> socket) {
    auto link = std::make_shared<Link>(std::move(socket));
    {
        MutexLock lock(m_impl->mutex);
        std::swap(m_impl->link, link);
    }
    if (link) {  // of another thread that connected at the same time
        End(*link);
    }
}

// The receive thread.
void SocketCommunication::Receive(Link& link) {
    link.receiver = CurrentThreadId();
    std::vector<char> message;
    while (link.socket->Read(message)) {
        message.reserve(1);  // so that an empty message has an address too
        OnDataReceived(message.data(), static_cast<int>(message.size()));
    }
    TellEnd(link, platform::LastError());
}

// Closes a connection that has been taken out of the object, and sees to it that its observers are told.
void SocketCommunication::End(Link& link) {
    link.socket->Close();
    if (link.receiver == CurrentThreadId()) {
        TellEnd(link, platform::kRequestAborted);
        return;
    }
    std::unique_lock lock(m_impl->mutex);
    m_impl->changed.wait(lock, [&] { return !link.isStarted || link.hasEnded; });
}

// On the receive thread, once for each connection: so that a later one is never taken for the one that ended.
void SocketCommunication::TellEnd(Link& link, unsigned long error) {
    if (!std::exchange(link.isEndTold, true)) {
        SocketEventParams params{GetSocketIndex(), {}, error};
        const platform::SocketEndpoint peer = link.socket->Peer();
        params.m_peer = SockAddrIn(CString::FromUtf8(peer.address), peer.port);
        OnSocketEvent(&params);
    }
}
