#include "platform/clock.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>

#include "platform/system_clock.h"

namespace rampart::platform {
namespace {

constexpr int64_t kSecondsPerMinute = 60;
constexpr int64_t kSecondsPerHour = 3600;
constexpr int64_t kSecondsPerDay = 86400;

std::atomic<Clock*> currentClock = nullptr;

int64_t FloorDivide(int64_t value, int64_t by) {
    return value / by - (value % by < 0 ? 1 : 0);
}

// Days since 1970-01-01 in the proleptic Gregorian calendar. Years are counted from March, so that the leap
// day ends one; 400 of them are an era of 146097 days.
int64_t DaysFromDate(int64_t year, int64_t month, int64_t day) {
    year += FloorDivide(month - 1, 12);
    month = (month - 1) - FloorDivide(month - 1, 12) * 12;  // 0 is January
    const int64_t marchYear = year - (month < 2 ? 1 : 0);
    const int64_t era = FloorDivide(marchYear, 400);
    const int64_t yearOfEra = marchYear - era * 400;
    const int64_t dayOfYear = (153 * ((month + 10) % 12) + 2) / 5;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear + (day - 1) - 719468;
}

// The inverse of DaysFromDate.
void DateFromDays(int64_t days, BrokenDownTime& time) {
    days += 719468;
    const int64_t era = FloorDivide(days, 146097);
    const int64_t dayOfEra = days - era * 146097;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t marchMonth = (5 * dayOfYear + 2) / 153;
    time.day = static_cast<int>(dayOfYear - (153 * marchMonth + 2) / 5 + 1);
    time.month = static_cast<int>(marchMonth < 10 ? marchMonth + 3 : marchMonth - 9);
    time.year = static_cast<int>(yearOfEra + era * 400 + (time.month <= 2 ? 1 : 0));
}

}  // namespace

Clock& CurrentClock() {
    Clock* clock = currentClock.load(std::memory_order_acquire);
    return clock != nullptr ? *clock : SystemClock();
}

void SetClock(Clock* clock) {
    currentClock.store(clock, std::memory_order_release);
}

int64_t NowSeconds() {
    return FloorDivide(CurrentClock().NowNanoseconds(), kNanosecondsPerSecond);
}

uint32_t TickCount() {
    return static_cast<uint32_t>(CurrentClock().MonotonicMilliseconds());
}

void SleepMilliseconds(uint32_t milliseconds) {
    CurrentClock().Sleep(milliseconds);
}

BrokenDownTime ToUtcTime(int64_t utcSeconds) {
    const int64_t days = FloorDivide(utcSeconds, kSecondsPerDay);
    const int64_t seconds = utcSeconds - days * kSecondsPerDay;
    BrokenDownTime time;
    DateFromDays(days, time);
    time.hour = static_cast<int>(seconds / kSecondsPerHour);
    time.minute = static_cast<int>(seconds / kSecondsPerMinute % 60);
    time.second = static_cast<int>(seconds % 60);
    time.weekday = static_cast<int>((days + 4) - FloorDivide(days + 4, 7) * 7);  // 1970-01-01 was a Thursday
    return time;
}

int64_t FromUtcTime(const BrokenDownTime& wall) {
    return DaysFromDate(wall.year, wall.month, wall.day) * kSecondsPerDay + wall.hour * kSecondsPerHour +
           wall.minute * kSecondsPerMinute + wall.second;
}

BrokenDownTime ToLocalTime(int64_t utcSeconds) {
    return ToUtcTime(utcSeconds + CurrentClock().LocalOffset(utcSeconds));
}

int64_t FromLocalTime(const BrokenDownTime& wall) {
    Clock& clock = CurrentClock();
    const int64_t local = FromUtcTime(wall);
    // No offset reaches a day, so the instants a day to either side bracket every instant that shows this
    // wall time.
    const int64_t before = clock.LocalOffset(local - kSecondsPerDay);
    const int64_t after = clock.LocalOffset(local + kSecondsPerDay);
    // The larger offset gives the earlier instant. The third one finds a short-lived offset inside the
    // bracket.
    const int64_t between = clock.LocalOffset(local - before);
    std::array<int64_t, 3> offsets = {before, after, between};
    std::sort(offsets.begin(), offsets.end(), std::greater<>());
    for (const int64_t offset : offsets) {
        if (clock.LocalOffset(local - offset) == offset) {
            return local - offset;
        }
    }
    return local - before;
}

}  // namespace rampart::platform
