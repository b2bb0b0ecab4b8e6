// How a thread stands still while the user has paused the work.
#pragma once

#include "interfaces/baselib.h"

namespace rampart {

inline constexpr DWORD kPauseStepMs = 100;

// What every long loop asks: the user logs off, or the application stops.
inline bool IsAppEnding() {
    return MiscUtil::IsAppStopping() || MiscUtil::IsAppLoggingOff();
}

}  // namespace rampart
