// SendSocketMessageMethods: what a sender of messages offers: sending, and sending with a wait for the reply.
#pragma once

#include <memory>

#include "link/reply_fields.h"

// Derived classes know a connection: they override SendBuffer, and when the awaited reply arrives they store
// it and call SetRecvMessageSuccess and SetWaitResultEvent. No operation throws.
class VAULTLIB_API SendSocketMessageMethods : public rampart::ReplyFields<SendSocketMessageMethods> {
public:
    SendSocketMessageMethods();
    SendSocketMessageMethods(SendSocketMessageMethods const&) = delete;
    SendSocketMessageMethods& operator=(SendSocketMessageMethods const&) = delete;

    // Nonzero if the message was sent.
    virtual int SendBuffer(unsigned char* const buffer, int size);
    // Sends and waits, without limit, for the reply with that command; then the result holds the whole frame.
    // 0 when it could not be sent and when the connection ended meanwhile. One call at a time.
    virtual int SendSocketPackageAndWait(unsigned char* const buffer, int size,
                                         SocketCommands const& command);
    virtual int SendSocketPackage(unsigned char* const buffer, int size, SocketCommands const& command);
    virtual ~SendSocketMessageMethods();

    HANDLE m_hWaitEvent;  // auto-reset
    SocketCommands m_waitCommand = kNoSocketCommand;
    CCriticalSection m_lock;  // a call that waits
    std::unique_ptr<unsigned char[]> m_pResult;
    int m_nResultSize = 0;
    int m_bRecvSuccess = 0;
    // The fields of the wait; a leaf, never held during a call outside.
    mutable CCriticalSection m_resultLock;
};
