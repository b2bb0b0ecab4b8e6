// Threads that nobody waits for.
#pragma once

#include <functional>

namespace rampart::platform {

// Runs `body` on a thread of its own, which frees all that it has by itself. False with
// LastError set when the system gives no thread.
bool StartDetachedThread(std::function<void()> body);

}  // namespace rampart::platform
