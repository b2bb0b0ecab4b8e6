// What a HANDLE names: an object that threads wait for, and the functions that take handles.
//
// A handle is safe to use at any time, also after its object is gone: functions then refuse it, or, for a
// thread, answer as for one that has ended.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "framework/types.h"

namespace rampart {

namespace platform {
class MessageWait;
}

inline constexpr DWORD kWaitSignaled = 0;
inline constexpr DWORD kWaitTimedOut = 258;
inline constexpr DWORD kWaitFailed = ~DWORD{0};
inline constexpr DWORD kStillActive = 259;

// The mark for "no handle" beside null.
inline const HANDLE kInvalidHandle = reinterpret_cast<HANDLE>(~uintptr_t{0});

// An event. All operations may be called from any thread, and what a thread did before it signals is seen by
// the one whose wait that ends.
class VAULTLIB_API Waitable {
public:
    // With `manualReset` a signal stays until Reset and frees all who wait; otherwise one wait uses it up.
    Waitable(bool manualReset, bool signaled) : m_manualReset(manualReset), m_signaled(signaled) {}
    Waitable(const Waitable&) = delete;
    Waitable& operator=(const Waitable&) = delete;
    virtual ~Waitable() = default;

    void Signal();
    void Reset();
    // True when signalled within the time.
    bool Wait(DWORD timeoutMs);
    // The same on a thread that dispatches messages meanwhile; the time-out is that of `messages`. Throws
    // what they throw.
    bool Wait(platform::MessageWait& messages);

private:
    class MessageWaiter;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<platform::MessageWait*> m_messageWaits;  // that go on
    const bool m_manualReset;
    bool m_signaled;
};

// Enters an object into the process's table, which keeps it until CloseHandle. Never null.
VAULTLIB_API HANDLE OpenHandle(std::shared_ptr<Waitable> object);
// Null if the handle names nothing any more.
VAULTLIB_API std::shared_ptr<Waitable> FromHandle(HANDLE handle);

VAULTLIB_API HANDLE CreateEventHandle(bool manualReset, bool signaled);

// 1 on success, 0 for a handle that names no such object. Those who wait for an event that is closed go on
// waiting until their time ends. Closing a thread's handle changes nothing: the table drops it by itself
// after the thread has ended.
VAULTLIB_API BOOL SetEvent(HANDLE event);
VAULTLIB_API BOOL ResetEvent(HANDLE event);
VAULTLIB_API BOOL CloseHandle(HANDLE handle);

// kWaitSignaled, kWaitTimedOut, or kWaitFailed for a handle that names nothing. `timeoutMs` 0 only asks,
// kWaitForever never gives up. The wait begins with a safe point (framework/safe_point.h).
VAULTLIB_API DWORD WaitForObject(HANDLE handle, DWORD timeoutMs);
// The same; a thread that has windows dispatches their messages meanwhile.
VAULTLIB_API DWORD WaitForObjectWithMessages(HANDLE handle, DWORD timeoutMs);

}  // namespace rampart
