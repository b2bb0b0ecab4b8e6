#include "link/send_socket_message_methods.h"

#include "link/reply_wait.h"

using namespace rampart;

namespace {

void LogCommand(int command, int size) {
    CString line;
    line.Format(size < 1 ? _T("CMD: %d size is 0") : _T("CMD: %d"), command);
    DebugLine(line);
}

}  // namespace

SendSocketMessageMethods::SendSocketMessageMethods() : m_hWaitEvent(CreateEventHandle(false, false)) {}

SendSocketMessageMethods::~SendSocketMessageMethods() {
    CloseHandle(m_hWaitEvent);
}

int SendSocketMessageMethods::SendBuffer(unsigned char* const, int) {
    return 0;
}

int SendSocketMessageMethods::SendSocketPackageAndWait(unsigned char* const buffer, int size,
                                                       SocketCommands const& command) {
    return SendAndWait(*this, buffer, size, command, LogCommand);
}

int SendSocketMessageMethods::SendSocketPackage(unsigned char* const buffer, int size,
                                                SocketCommands const&) {
    return SendOnly(*this, buffer, size);
}
