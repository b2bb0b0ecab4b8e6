// The one place that reads the clock. Tests set it, the time zone included.
#pragma once

#include <cstdint>

namespace rampart::platform {

inline constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;

struct BrokenDownTime {
    int year = 0;   // full year
    int month = 0;  // 1 to 12
    int day = 0;    // 1 to 31
    int hour = 0, minute = 0, second = 0;
    int weekday = 0;  // 0 is Sunday
};

class Clock {
public:
    virtual ~Clock() = default;
    virtual int64_t NowNanoseconds() = 0;  // since 1970-01-01 00:00 UTC
    virtual uint64_t MonotonicMilliseconds() = 0;
    virtual void Sleep(uint32_t milliseconds) = 0;
    // Seconds to add to the UTC instant `utcSeconds` for the local wall time.
    virtual int32_t LocalOffset(int64_t utcSeconds) = 0;
};

// The clock in force; never null.
Clock& CurrentClock();
// Null gives the system's clock back. Only while no other thread runs.
void SetClock(Clock* clock);

// Whole seconds since 1970 UTC, rounded down.
int64_t NowSeconds();
uint32_t TickCount();  // milliseconds, wraps after 49 days
void SleepMilliseconds(uint32_t milliseconds);

// Local wall time of an instant, and back. A wall time that exists twice is the first instant; one that does
// not exist takes the offset from before the gap. Fields out of range are carried.
BrokenDownTime ToLocalTime(int64_t utcSeconds);
int64_t FromLocalTime(const BrokenDownTime& wall);
BrokenDownTime ToUtcTime(int64_t utcSeconds);
int64_t FromUtcTime(const BrokenDownTime& wall);

}  // namespace rampart::platform
