// The operations on the fields of a sender that waits for replies. The fields themselves stand in the sender:
// m_hWaitEvent, m_waitCommand, m_pResult, m_nResultSize, m_bRecvSuccess, and m_resultLock for all of them.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>

#include "framework/framework.h"
#include "link/socket_commands.h"
#include "task/engine_text.h"

namespace rampart {

// `Sender` derives from it. Any thread may call, and nothing throws.
template <class Sender>
class ReplyFields {
public:
    // The result of the last wait, the sender's until the next one begins.
    unsigned char* GetResultBuffer() { return Own().m_pResult.get(); }
    int GetResultSize() const {
        CriticalLock lock(Own().m_resultLock);
        return Own().m_nResultSize;
    }
    int IsRecvMessageSuccessful() const {
        CriticalLock lock(Own().m_resultLock);
        return Own().m_bRecvSuccess;
    }
    void SetRecvMessageSuccess(int success) {
        CriticalLock lock(Own().m_resultLock);
        Own().m_bRecvSuccess = success;
    }
    void SetResultSize(int size) {
        CriticalLock lock(Own().m_resultLock);
        Own().m_nResultSize = size;
    }
    // A copy of as many bytes as the result size says; without the memory for it there is no result. Null
    // changes nothing and leaves a line in the debug log.
    void SetResultBuffer(char* buffer) {
        Guarded(_T("Error: SetResultBuffer"), [&] {
            if (!buffer) {
                DebugLine(_T("CMD: buffer is null."));
                return;
            }
            CriticalLock lock(Own().m_resultLock);
            const auto size = static_cast<size_t>(std::max(Own().m_nResultSize, 0));
            Own().m_pResult.reset();
            Own().m_pResult = std::make_unique<unsigned char[]>(size);
            memcpy(Own().m_pResult.get(), buffer, size);
        });
    }
    void ClearReicveBuffer() {
        CriticalLock lock(Own().m_resultLock);
        Own().m_pResult.reset();
        Own().m_nResultSize = 0;
    }

    // The command whose reply is awaited, under both names.
    void SetWaitResultCommand(SocketCommands const& command) {
        CriticalLock lock(Own().m_resultLock);
        Own().m_waitCommand = command;
    }
    void SetSocketCommandsType(SocketCommands const& command) { SetWaitResultCommand(command); }
    SocketCommands GetSocketCommandsType() const {
        CriticalLock lock(Own().m_resultLock);
        return Own().m_waitCommand;
    }
    void SetWaitResultEvent() { SetEvent(Own().m_hWaitEvent); }  // wakes who waits

private:
    Sender& Own() { return static_cast<Sender&>(*this); }
    Sender const& Own() const { return static_cast<Sender const&>(*this); }
};

}  // namespace rampart
