#include "interfaces/sockets.h"

int SocketUtilities::GetLocalAddress(TCHAR* buffer, int size) {
    constexpr rampart::TextView kLoopback = _T("127.0.0.1");
    if (!buffer || size <= static_cast<int>(kLoopback.size())) {
        return 0;
    }
    buffer[kLoopback.copy(buffer, kLoopback.size())] = TCHAR(0);
    return 1;
}
