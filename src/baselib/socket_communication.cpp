#include <limits>
#include <set>

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

// A connection. Held by its receive thread and by who writes, so that it outlives its place in the object.
struct SocketCommunication::Link {
    explicit Link(std::unique_ptr<FrameSocket> connection) : socket(std::move(connection)) {}

    const std::unique_ptr<FrameSocket> socket;
    int receiver = 0;  // the number of its receive thread once there is one; guarded by the object's mutex
    bool isEndTold = false;  // the receive thread's
};

// What a receive thread is started with.
struct SocketCommunication::Receiver {
    SocketCommunication& owner;
    const std::shared_ptr<Link> link;
    const int number;

    static thread_local const Receiver* current;  // of the thread that asks; null for any other thread
};

thread_local const SocketCommunication::Receiver* SocketCommunication::Receiver::current = nullptr;

// A receive thread ends its own connection only and never waits for another thread of the object. Every other
// thread that ends a connection waits for the receive threads that run, and meanwhile none of them connects.
struct SocketCommunication::Impl {
    std::shared_ptr<Link> Present() const {
        MutexLock lock(mutex);
        return link;
    }

    void ReceiverEnded(int receiver) {
        MutexLock lock(mutex);
        receivers.erase(receiver);
        changed.notify_all();
    }

    Word<bool> isServer = false;
    Word<int> index = 0;
    mutable Mutex mutex;
    std::condition_variable_any changed;  // a receive thread ended
    std::shared_ptr<Link> link RAMPART_GUARDED_BY(mutex);
    std::set<int> receivers RAMPART_GUARDED_BY(mutex);  // the numbers of those that run
    int lastReceiver RAMPART_GUARDED_BY(mutex) = 0;
    int endings RAMPART_GUARDED_BY(mutex) = 0;  // threads that end a connection and wait
};

SocketCommunication::SocketCommunication() : m_impl(std::make_unique<Impl>()) {}

SocketCommunication::~SocketCommunication() {
    ReInitSocketCommunition();
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
        return socket && Attach(std::move(socket));
    });
}

bool SocketCommunication::Start() {
    return Guarded(_T("Error: Start"), false, [&] {
        std::unique_ptr<Receiver> receiver;
        int number = 0;
        {
            MutexLock lock(m_impl->mutex);
            if (!m_impl->link || m_impl->link->receiver != 0) {
                return false;
            }
            number = m_impl->lastReceiver + 1;
            receiver.reset(new Receiver{*this, m_impl->link, number});
            m_impl->receivers.insert(number);
            m_impl->lastReceiver = m_impl->link->receiver = number;
        }
        const AFX_THREADPROC run = [](LPVOID argument) -> UINT {
            const std::unique_ptr<Receiver> receiver(static_cast<Receiver*>(argument));
            SocketCommunication& owner = receiver->owner;
            const int number = receiver->number;
            Receiver::current = receiver.get();
            owner.Receive(*receiver->link);
            owner.m_impl->ReceiverEnded(number);
            return 0;
        };
        if (!StartThread(run, receiver.get())) {
            receiver->link->socket->Close();
            m_impl->ReceiverEnded(number);
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
    Guarded(_T("Error: ReInitSocketCommunition"), [&] {
        if (IsReceiving()) {
            EndOwn();
        } else {
            EndAndWait();
        }
    });
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

// Whether the thread that asks is a receive thread of this object.
bool SocketCommunication::IsReceiving() const {
    return Receiver::current && &Receiver::current->owner == this;
}

bool SocketCommunication::Attach(std::unique_ptr<FrameSocket> socket) {
    auto link = std::make_shared<Link>(std::move(socket));
    MutexLock lock(m_impl->mutex);
    const bool isTaken = m_impl->link && m_impl->link->socket->IsOpen();
    if (isTaken || (IsReceiving() && m_impl->endings > 0)) {
        platform::SetLastError(isTaken ? platform::kAlreadyExists : platform::kRequestAborted);
        return false;
    }
    std::swap(m_impl->link, link);
    return true;
}

// On a receive thread: ends the connection it belongs to, unless another thread has taken that already.
void SocketCommunication::EndOwn() {
    const std::shared_ptr<Link>& own = Receiver::current->link;
    {
        MutexLock lock(m_impl->mutex);
        if (m_impl->link != own) {
            return;
        }
        m_impl->link = nullptr;
    }
    own->socket->Close();
    TellEnd(*own, platform::kRequestAborted);
}

void SocketCommunication::EndAndWait() {
    std::unique_lock lock(m_impl->mutex);
    const std::shared_ptr<Link> link = std::exchange(m_impl->link, nullptr);
    const int last = m_impl->lastReceiver;
    m_impl->endings++;
    lock.unlock();
    if (link) {
        Guarded(_T("Error: EndAndWait"), [&] { link->socket->Close(); });
    }
    lock.lock();
    m_impl->changed.wait(lock,
                         [&] { return m_impl->receivers.empty() || *m_impl->receivers.begin() > last; });
    m_impl->endings--;
}

// The receive thread.
void SocketCommunication::Receive(Link& link) {
    unsigned long error = platform::kNotEnoughMemory;
    Guarded(_T("Error: Receive"), [&] {
        std::vector<char> message;
        while (link.socket->Read(message)) {
            message.reserve(1);  // so that an empty message has an address too
            OnDataReceived(message.data(), static_cast<int>(message.size()));
        }
        error = platform::LastError();
    });
    // In any case closed before the end is told: an observer may wait for one that writes.
    Guarded(_T("Error: Receive"), [&] { link.socket->Close(); });
    Guarded(_T("Error: Receive"), [&] { TellEnd(link, error); });
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
