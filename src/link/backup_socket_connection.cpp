#include "link/backup_socket_connection.h"

#include <utility>

#include "link/reply_wait.h"

using namespace rampart;

namespace {

constexpr int kArchiveBuffer = 4096;

// The connection whose message the calling thread is handling.
thread_local const BackupSocketConnection* t_receiving = nullptr;

class ReceivingScope {
public:
    explicit ReceivingScope(const BackupSocketConnection* connection)
        : m_outer(std::exchange(t_receiving, connection)) {}
    ReceivingScope(const ReceivingScope&) = delete;
    ReceivingScope& operator=(const ReceivingScope&) = delete;
    ~ReceivingScope() { t_receiving = m_outer; }

private:
    const BackupSocketConnection* const m_outer;
};

void LogIfEmpty(int command, int size) {
    if (size < 1) {
        CString line;
        line.Format(_T("CMD:%d is null"), command);
        DebugLine(line);
    }
}

void LogRequest(int messageType, int command) {
    CString line;
    line.Format(_T("Recv msgType:%d, commandType:%d"), messageType, command);
    DebugLine(line);
}

}  // namespace

BackupSocketConnection::BackupSocketConnection() : m_hWaitEvent(CreateEventHandle(false, false)) {}

BackupSocketConnection::~BackupSocketConnection() {
    CloseHandle(m_hWaitEvent);
}

void BackupSocketConnection::SocketEvent(SocketEventParams*) {}

void BackupSocketConnection::SocketDataReceived(char* data, int size) {
    if (!data) {
        DebugLine(_T("CMD: buffer is null."));
        return;
    }
    Guarded(_T("Error: SocketDataReceived"), [&] {
        const ReceivingScope scope(this);
        CMemFile memory(reinterpret_cast<BYTE*>(data), static_cast<UINT>(std::max(size, 0)));
        CArchive archive(&memory, CArchive::load, kArchiveBuffer);
        int32_t command = 0, direction = 0, messageType = 0;
        archive >> command >> direction >> messageType;
        if (direction != kReplyDirection ||
            !TakeReply(*this, static_cast<SocketCommands>(command), data, size)) {
            if (!IsSilentCommand(command)) {
                LogRequest(messageType, command);
            }
            HandleRequestCommand(archive, command);
        }
        archive.Close();
        memory.Close();
    });
}

void BackupSocketConnection::HandleRequestCommand(CArchive&, int) {}

int BackupSocketConnection::SendBuffer(unsigned char* const, int) {
    return 0;
}

int BackupSocketConnection::SendSocketPackageAndWait(unsigned char* const buffer, int size,
                                                     SocketCommands const& command) {
    if (t_receiving == this) {
        DebugLine(_T("CMD: a handler must not wait for a reply on its own connection"));
        return 0;
    }
    return SendAndWait(*this, buffer, size, command, LogIfEmpty);
}

int BackupSocketConnection::SendSocketPackage(unsigned char* const buffer, int size, SocketCommands const&) {
    return SendOnly(*this, buffer, size);
}
