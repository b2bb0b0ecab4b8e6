// What the system tells a program that runs in the background: to stop, and to read its settings again.
#pragma once

#include <cstdint>

namespace rampart::platform {

enum class ServiceSignal { kNone, kStop, kReload };

// From now on these wishes are noted instead of ending the process: SIGTERM and SIGINT are a stop, SIGHUP is
// a reload; on Windows the console's events and a named event are a stop. A second interrupt by hand ends the
// process at once, with the exit code 6.
void CatchServiceSignals();
// The wishes before this call, other than the console's, were meant for a program that ran before. Called
// once it is clear that this one is the service.
void ForgetEarlierStop();
// Waits for a wish, for WakeServiceWait or for `timeoutMs`. A stop is told at every call from its first on, a
// reload once. One thread calls.
ServiceSignal WaitForServiceSignal(uint32_t timeoutMs);
// As if the system had told this process to stop. Any thread may call.
void StopThisService();
// Ends the wait that goes on, or the next one. Any thread may call.
void WakeServiceWait();

}  // namespace rampart::platform
