// What sockets of this machine need beyond Asio.
#pragma once

#include <cstdint>

namespace rampart::platform {

// Before a socket is bound: its port becomes the program's own, also right after another program left it.
// Takes the system's number of the socket; false if the system refuses.
bool ClaimPort(uintptr_t socket);

// No program that this one starts gets the socket.
void KeepFromChildren(uintptr_t socket);

}  // namespace rampart::platform
