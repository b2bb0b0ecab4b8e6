#include "platform/system_clock.h"

#include <errno.h>
#include <time.h>

namespace rampart::platform {
namespace {

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr uint64_t kZoneCheckMilliseconds = 60'000;

timespec Read(clockid_t clock) {
    timespec time;
    clock_gettime(clock, &time);
    return time;
}

int32_t AskLocalOffset(int64_t utcSeconds) {
    const time_t instant = utcSeconds;
    tm local;
    return localtime_r(&instant, &local) != nullptr ? static_cast<int32_t>(local.tm_gmtoff) : 0;
}

// The offsets of hours that this thread asked for. An hour that begins and ends with one offset has no change
// in it. Once a minute the cache is emptied and the time zone read again, since a machine may travel while
// the process lives.
class OffsetCache {
public:
    int32_t Find(int64_t utcSeconds, uint64_t nowMilliseconds) {
        const uint64_t check = nowMilliseconds / kZoneCheckMilliseconds;
        if (check != m_check) {
            m_check = check;
            m_hours.fill({});
            tzset();
        }
        if (utcSeconds < -kFarAway || utcSeconds > kFarAway) {
            return AskLocalOffset(utcSeconds);  // the ends of its hour may not fit
        }
        const int64_t hour = utcSeconds / kHour - (utcSeconds % kHour < 0 ? 1 : 0);
        Hour& cached = m_hours[static_cast<uint64_t>(hour) % m_hours.size()];
        if (cached.valid && cached.hour == hour) {
            return cached.offset;
        }
        const int32_t first = AskLocalOffset(hour * kHour);
        if (first != AskLocalOffset(hour * kHour + kHour - 1)) {
            return AskLocalOffset(utcSeconds);
        }
        cached = {hour, first, true};
        return first;
    }

private:
    static constexpr int64_t kHour = 3600;
    static constexpr int64_t kFarAway = int64_t{1} << 60;
    struct Hour {
        int64_t hour = 0;
        int32_t offset = 0;
        bool valid = false;
    };
    std::array<Hour, 64> m_hours;
    uint64_t m_check = ~uint64_t{0};
};

class PosixClock : public Clock {
public:
    int64_t NowNanoseconds() override {
        const timespec now = Read(CLOCK_REALTIME);
        return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
    }

    uint64_t MonotonicMilliseconds() override {
        const timespec now = Read(CLOCK_MONOTONIC);
        return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1'000'000;
    }

    void Sleep(uint32_t milliseconds) override {
        timespec left = {static_cast<time_t>(milliseconds / 1000),
                         static_cast<long>(milliseconds % 1000) * 1'000'000};
        while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
        }
    }

    int32_t LocalOffset(int64_t utcSeconds) override {
        thread_local OffsetCache cache;
        const timespec now = Read(CLOCK_MONOTONIC_COARSE);
        return cache.Find(utcSeconds, static_cast<uint64_t>(now.tv_sec) * 1000);
    }
};

}  // namespace

Clock& SystemClock() {
    static PosixClock clock;
    return clock;
}

}  // namespace rampart::platform
