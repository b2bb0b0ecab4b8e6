// BackupSocketConnection: one end of the connection between the GUI and the service.
#pragma once

#include <memory>

#include "interfaces/baselib.h"
#include "link/reply_fields.h"

// A message is an archive: command, direction (2 is the reply to a waiting call, any other value a request)
// and message type, four bytes each, then what the command carries.
//
// Messages arrive on the receive thread of the connection; every other operation may be called from any
// thread, and none throws. A host overrides HandleRequestCommand and, where it is not a BackupSocketClient,
// SendBuffer and SocketEvent.
class VAULTLIB_API BackupSocketConnection : public SocketObserver,
                                            public rampart::ReplyFields<BackupSocketConnection> {
public:
    static constexpr int kReplyDirection = 2;

    BackupSocketConnection();
    BackupSocketConnection(BackupSocketConnection const&) = delete;
    BackupSocketConnection& operator=(BackupSocketConnection const&) = delete;

    void SocketEvent(SocketEventParams* params) override;
    // The awaited reply ends the wait; anything else is a request, a reply that nobody awaits too. A message
    // without a whole header is dropped.
    void SocketDataReceived(char* data, int size) override;
    ~BackupSocketConnection() override;
    // The archive stands behind the header. A wait for a reply on this connection is refused inside it, with
    // a line in the debug log: the thread that runs it is the one that receives.
    virtual void HandleRequestCommand(CArchive& archive, int command);
    // As those of SendSocketMessageMethods.
    virtual int SendBuffer(unsigned char* const buffer, int size);
    virtual int SendSocketPackageAndWait(unsigned char* const buffer, int size,
                                         SocketCommands const& command);
    virtual int SendSocketPackage(unsigned char* const buffer, int size, SocketCommands const& command);

    int GetConnectionPort() const { return m_nPort; }
    void SetConnectionPort(int port) { m_nPort = port; }

    int m_nPort = 2000;
    HANDLE m_hWaitEvent;  // auto-reset
    SocketCommands m_waitCommand = kNoSocketCommand;
    CCriticalSection m_lock;  // a call that waits
    std::unique_ptr<unsigned char[]> m_pResult;
    int m_nResultSize = 0;
    int m_bRecvSuccess = 0;
    // The fields of the wait; a leaf, never held during a call outside.
    mutable CCriticalSection m_resultLock;
};
