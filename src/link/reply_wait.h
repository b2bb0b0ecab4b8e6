// How a message is sent, with and without a wait for its reply. `Sender` is one of ReplyFields.
#pragma once

#include "link/reply_fields.h"

namespace rampart {

template <class Sender>
int SendOnly(Sender& sender, unsigned char* buffer, int size) {
    return Guarded(_T("Error: SendSocketPackage"), 0, [&] {
        if (sender.SendBuffer(buffer, size)) {
            return 1;
        }
        DebugLine(_T("CMD: failed to send."));
        return 0;
    });
}

// Awaits the reply to a command from now on; nothing is left of an earlier one.
template <class Sender>
void BeginWait(Sender& sender, SocketCommands command) {
    CriticalLock lock(sender.m_resultLock);
    ResetEvent(sender.m_hWaitEvent);
    sender.m_bRecvSuccess = 0;
    sender.ClearReicveBuffer();
    sender.m_waitCommand = command;
}

// 1 if a reply has come and is there as a whole: one for which there was no memory is none.
template <class Sender>
int EndWait(Sender& sender) {
    CriticalLock lock(sender.m_resultLock);
    sender.m_waitCommand = kNoSocketCommand;
    if (!sender.m_pResult && sender.m_nResultSize > 0) {
        sender.m_nResultSize = 0;
        sender.m_bRecvSuccess = 0;
    }
    return sender.m_bRecvSuccess;
}

template <class Sender>
int SendAndWait(Sender& sender, unsigned char* buffer, int size, SocketCommands command,
                void (*logSending)(int command, int size)) {
    // Not watched: a call waits for its reply as long as it takes, and so do those behind it.
    CKorvaneAutoLock lock(&sender.m_lock, _T("SendDataAndWaitingResult"), 0);
    return Guarded(_T("Error: SendSocketPackageAndWait"), 0, [&] {
        if (!IsSilentCommand(command)) {
            logSending(command, size);
        }
        BeginWait(sender, command);
        if (!sender.SendBuffer(buffer, size)) {
            EndWait(sender);
            DebugLine(_T("CMD: failed to send buffer"));
            sender.SetWaitResultEvent();
            return 0;
        }
        MyWaitForSingleObject(sender.m_hWaitEvent, kWaitForever);
        return EndWait(sender);
    });
}

// Takes a frame that is the awaited reply; false for any other.
template <class Sender>
bool TakeReply(Sender& sender, SocketCommands command, char* frame, int size) {
    CriticalLock lock(sender.m_resultLock);
    if (command == kNoSocketCommand || command != sender.m_waitCommand) {
        return false;
    }
    sender.SetResultSize(size);
    sender.SetResultBuffer(frame);
    sender.m_bRecvSuccess = 1;
    sender.m_waitCommand = kNoSocketCommand;  // a second reply is none
    sender.SetWaitResultEvent();
    return true;
}

}  // namespace rampart
