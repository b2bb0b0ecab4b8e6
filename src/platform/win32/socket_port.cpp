#include "platform/socket_port.h"

// winsock2.h comes before windows.h
#include <winsock2.h>

#include <windows.h>

namespace rampart::platform {

// Without the option another program may take the port over while this one listens.
bool ClaimPort(uintptr_t socket) {
    const BOOL on = TRUE;
    return setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                      reinterpret_cast<const char*>(&on), sizeof on) == 0;
}

void KeepFromChildren(uintptr_t socket) {
    ::SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
}

}  // namespace rampart::platform
