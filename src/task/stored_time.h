// The two time forms: the raw clock, and the stored form in which a task keeps its dates.
#pragma once

#include "framework/framework.h"
#include "interfaces/baselib.h"

namespace rampart {

inline constexpr int kSecondsOfMinute = 60;

inline CTime RawNow() {
    return NowRaw();
}

inline CTime ToStored(CTime raw) {
    TimeUtil::LocalTimeToUtcTime(raw);
    return raw;
}

inline CTime ToRaw(CTime stored) {
    TimeUtil::UtcTimeToLocalTime(stored);
    return stored;
}

inline CTime StoredNow() {
    return ToStored(RawNow());
}

// The present minute in stored form. A moment that the calendar does not reach gives itself plus a second.
inline CTime StoredMinute() {
    CTime const now = StoredNow();
    return now - CTimeSpan(now.GetSecond());
}

// Both ends belong to the window.
inline bool LiesWithin(CTime const& time, CTime const& begin, CTime const& end) {
    return begin <= time && time <= end;
}

// The mark against which a first backup is measured: a backup date after it means that a backup was made.
inline CTime FirstBackupMark() {
    return CTime(1971, 1, 1, 1, 1, 1);
}

}  // namespace rampart
