// What the programs of one user need from each other and from the system: names that one of them holds,
// requests from one to another, and the signals of a program in the background.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "framework/framework.h"

namespace rampart {

// A name that one program of this user holds at a time; free again when its holder ends, however it ends.
class VAULTLIB_API HeldName {
public:
    // Null when it is held already, here or elsewhere.
    static std::unique_ptr<HeldName> Take(CString const& name);
    static bool IsHeld(CString const& name);
    virtual ~HeldName();
};

// Answers requests under a name as long as it lives. The bytes of requests and answers are the hosts' own.
class VAULTLIB_API RequestReceiver {
public:
    // Called on a thread of the receiver's own, one request at a time. What it throws becomes an empty
    // answer.
    using Handler = std::function<std::string(std::string const& request)>;
    // Null when another program answers under the name.
    static std::unique_ptr<RequestReceiver> Open(CString const& name, Handler handler);
    virtual ~RequestReceiver();  // waits for a handler that runs
};

// False when nobody answers under the name, or not within `timeoutMs`.
VAULTLIB_API bool SendRequest(CString const& receiver, std::string const& request, unsigned int timeoutMs,
                              std::string& answer);

enum class ServiceSignal { kNone, kStop, kReload };

// From now on the system's wish to stop (SIGTERM, SIGINT; the console's events) and to read again (SIGHUP) is
// noted instead of ending the process.
VAULTLIB_API void CatchServiceSignals();
// Wishes before this call, other than the console's, were meant for a service that ran before. Called once it
// is clear that this program is the service.
VAULTLIB_API void ForgetEarlierStop();
// Waits for a wish, for WakeServiceWait or for `timeoutMs`. A stop is told at every call from its first on, a
// reload once. One thread calls.
VAULTLIB_API ServiceSignal WaitForServiceSignal(unsigned int timeoutMs);
// As if the system had told this process to stop. Any thread may call.
VAULTLIB_API void StopThisService();
// Ends the wait that goes on, or the next one. Any thread may call.
VAULTLIB_API void WakeServiceWait();

}  // namespace rampart
