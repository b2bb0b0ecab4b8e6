// Contract of baselib's sockets: whole messages over TCP between processes of this machine. Nothing listens
// on or connects to another address than the loopback's.
//
// No operation throws. Those of a connection may be called from any thread, also from inside its observers,
// but for its destructor.
#pragma once

#include <functional>
#include <memory>

#include "framework/framework.h"

namespace rampart {
template <class Observer>
class ObserverCalls;
namespace platform {
class FrameSocket;
}
}  // namespace rampart

class VAULTLIB_API SockAddrIn {
public:
    SockAddrIn() = default;
    SockAddrIn(CString const& address, int port) : m_address(address), m_port(port) {}
    bool operator==(SockAddrIn const& other) const = default;

    CString m_address;  // "127.0.0.1"
    int m_port = 0;
};

// The end of a connection.
struct SocketEventParams {
    int m_socketIndex = 0;
    SockAddrIn m_peer;
    unsigned long m_error = 0;  // 1235 when it was closed from this side
};

// Called on the receive thread of a connection, one call at a time; what it throws becomes a line in the
// debug log.
class VAULTLIB_API SocketObserver {
public:
    // Once for every connection that was started, whichever side ended it.
    virtual void SocketEvent(SocketEventParams* params) = 0;
    // One whole message. The bytes may be changed and are valid during the call; never null.
    virtual void SocketDataReceived(char* data, int size) = 0;
    virtual ~SocketObserver() = default;
};

// The observers of a connection, which stay the callers'. They may come and go at any time, also during a
// call to one of them.
class VAULTLIB_API ManageSocketObserver {
public:
    ManageSocketObserver();
    ~ManageSocketObserver();
    ManageSocketObserver(ManageSocketObserver const&) = delete;
    ManageSocketObserver& operator=(ManageSocketObserver const&) = delete;

    bool AddObserver(SocketObserver* observer);  // false for null and for one that is there already
    // Returns when no other thread is inside an observer; a call from inside one does not wait. False for one
    // that is not there.
    bool RemoveObserver(SocketObserver* observer);
    void NotifySocketEvent(SocketEventParams* params);
    void NotifyDataReceived(char* data, int size);

private:
    CPtrList m_list;
    std::unique_ptr<rampart::ObserverCalls<SocketObserver>> m_observers;
};

// One end of a connection, and its receive thread.
class VAULTLIB_API SocketCommunication {
public:
    static constexpr int kAddressFamily = 2;  // the internet's
    static constexpr int kStream = 1;

    SocketCommunication();
    virtual ~SocketCommunication();
    SocketCommunication(SocketCommunication const&) = delete;
    SocketCommunication& operator=(SocketCommunication const&) = delete;

    // In server mode the end belongs to a SocketServer and does not connect.
    void SetServerMode(bool isServer);
    bool IsServerMode() const;
    // A number of the host's own, which events carry.
    void SetSocketIndex(int index);
    int GetSocketIndex() const;

    // First ends a connection that there is. `port` is a number as text; `family` and `type` are the
    // constants above. False with the last error: 2 when nobody answers there, 183 when another thread has
    // connected meanwhile (that connection stays), 1235 from inside an observer while another thread ends
    // connections.
    bool ConnectToServer(CString const& address, CString const& port, int family, int type);
    // Begins to receive. False without a connection, for one that was started, and when no thread can be
    // had, which ends the connection.
    bool Start();
    bool IsValid() const;  // connected, as far as known
    // Back to the state before ConnectToServer. When it returns, observers have been told of the end of this
    // connection and of those before it, and none is called for them any more. From inside an observer it
    // ends the connection that the observer is called for and no later one, and the observer's return is the
    // last of it. Always nonzero.
    int ReInitSocketCommunition();
    // Sends `size` bytes as one message, whole and never mixed with another. `messageSize` is the size of the
    // message and must be the same; at most 64 MiB. `timeoutMs` ~0 waits as long as it takes; a message that
    // could not be sent in time ends the connection. False if it was not sent.
    bool WriteData(const unsigned char* data, int size, DWORD timeoutMs, int messageSize);
    bool GetPeerName(SockAddrIn& address) const;  // false without a connection

protected:
    // On the receive thread. A class that overrides these calls ReInitSocketCommunition in its destructor.
    virtual void OnSocketEvent(SocketEventParams* params) = 0;
    virtual void OnDataReceived(char* data, int size) = 0;

private:
    friend class SocketServer;
    struct Link;
    struct Receiver;
    struct Impl;

    bool IsReceiving() const;
    bool Attach(std::unique_ptr<rampart::platform::FrameSocket> socket);
    void EndOwn();
    void EndAndWait();
    void Receive(Link& link);
    void TellEnd(Link& link, unsigned long error);

    std::unique_ptr<Impl> m_impl;
};

// A connection and its observers. Must not be destroyed from inside one of them.
class VAULTLIB_API SocketConnection : public SocketCommunication, public ManageSocketObserver {
public:
    ~SocketConnection() override;

protected:
    void OnSocketEvent(SocketEventParams* params) override;
    void OnDataReceived(char* data, int size) override;
};

// Takes connections on the loopback address.
class VAULTLIB_API SocketServer {
public:
    // Called for each peer on a thread of the server's own. The connection is the handler's: it adds
    // observers and calls Start.
    using PeerHandler = std::function<void(std::unique_ptr<SocketConnection> peer)>;

    // `port` 0 takes a free one. Null with the last error 183 when another program listens there.
    static std::unique_ptr<SocketServer> Open(int port, PeerHandler handler);
    // Takes no more peers and waits for a handler that runs; not from inside the handler. Connections go on.
    ~SocketServer();
    int GetPort() const;

private:
    struct Impl;
    explicit SocketServer(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_impl;
};

class VAULTLIB_API SocketUtilities {
public:
    // The system's sockets are set up at their first use and go with the process, so both only succeed.
    // For hosts that call them at their start and end.
    static int InitWinSock() { return 1; }
    static int CleanWinSock() { return 1; }
    // The address that both ends use. Nonzero if the buffer of `size` characters holds it.
    static int GetLocalAddress(TCHAR* buffer, int size);
};
