// The speed cap of reading sources, and the callback of a copy to the cache: pause, cancel, the cap, and what
// the display shows.
#pragma once

#include "framework/framework.h"

namespace rampart {

inline constexpr unsigned long kCopyGoOn = 0;
inline constexpr unsigned long kCopyStop = 2;

// `progress` is a CTaskPrgClass or null. Has the shape of CopyRoutine.
unsigned long CopyProgressRoutine(__int64 totalBytes, __int64 movedBytes, void* progress);

// After a file was read in place of a copy, in so many milliseconds: rests when the speed cap says so.
void RestAfterRead(uint32_t elapsedMs);

// Percent of the time that copying may take, for a setting of "CopySpeedCap".
int CopyDuty(int cap);

// For this process, instead of the setting: the percent of the time that copying may take, 1 to 100; 0 takes
// it back.
VAULTLIB_API void LimitCopyDuty(int percent);

// How long a copy rests after a stretch of work, so that it keeps to its share of the time. Rests that are
// too short to take are carried as a debt, and one rest never exceeds two seconds.
class CopyRest {
public:
    // Milliseconds to sleep now.
    uint32_t After(uint32_t elapsedMs, int duty);

private:
    double m_debtMs = 0.0;
};

}  // namespace rampart
