// Safe points: where a thread that was suspended stops.
//
// SuspendThread only asks. The thread stops at its next safe point, and never while it holds a lock of this
// room, so a suspended thread keeps nobody else from going on.
#pragma once

#include "framework/types.h"

namespace rampart {

// Blocks while the calling thread is suspended, unless it holds a lock. Costs a few nanoseconds otherwise.
// Called by Sleep and WaitForObject; long work calls it between two files and in progress callbacks.
VAULTLIB_API void SafePoint();

// Sleeps on the platform's clock, with a safe point before and after.
VAULTLIB_API void Sleep(DWORD milliseconds);

// While one lives its thread passes safe points without stopping. Locks of this room hold one; other locks,
// such as an event that is used as a lock, do so by themselves.
class VAULTLIB_API SafePointHold {
public:
    SafePointHold() { Begin(); }
    ~SafePointHold() { End(); }
    SafePointHold(const SafePointHold&) = delete;
    SafePointHold& operator=(const SafePointHold&) = delete;

    // For locks whose ends are not in one scope; in pairs, on one thread.
    static void Begin();
    static void End();
};

}  // namespace rampart
