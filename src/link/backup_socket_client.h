// BackupSocketClient: the end that connects.
#pragma once

#include "link/backup_socket_connection.h"

// A derived class calls DisconnectFromServer in its destructor, since its overrides are called until then.
class VAULTLIB_API BackupSocketClient : public BackupSocketConnection {
public:
    ~BackupSocketClient() override;

    // The connection ended: who waits wakes with failure, and the socket is as before ConnectToServer.
    void SocketEvent(SocketEventParams* params) override;
    // Nonzero if the message was sent, and when the connection broke meanwhile, which raises SocketEvent.
    int SendBuffer(unsigned char* const buffer, int size) override;
    virtual int IsBackupServiceRunnin();
    // Called at the end of a connection, on its receive thread; ConnectToServer may be called from it.
    virtual void InvalidateConnection() {}

    void InitSocketClient(int index);
    // To the port of GetConnectionPort. Ends a connection that there is.
    bool ConnectToServer();
    // Returns when no override runs or will run for the connection any more; not so from inside one.
    void DisconnectFromServer();
    SocketConnection* GetSocketConnectioned() { return &m_socket; }

    SocketConnection m_socket;
    CString m_strLocalAddress;
    SockAddrIn m_peerAddress;
    CCriticalSection m_peerLock;  // guards m_peerAddress while threads connect
    CCriticalSection m_sendLock;
};
