#include "platform/socket_port.h"

#include <fcntl.h>
#include <sys/socket.h>

namespace rampart::platform {

// Here a port that somebody listens on is never shared, and the option lifts the wait for old connections.
bool ClaimPort(uintptr_t socket) {
    const int on = 1;
    return setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0;
}

void KeepFromChildren(uintptr_t socket) {
    fcntl(static_cast<int>(socket), F_SETFD, FD_CLOEXEC);
}

}  // namespace rampart::platform
