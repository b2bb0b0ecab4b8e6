#include "platform/system_clock.h"

#include <errno.h>
#include <time.h>

#include "platform/immortal.h"
#include "platform/offset_cache.h"

namespace rampart::platform {
namespace {

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
        return cache.Find(utcSeconds, static_cast<uint64_t>(now.tv_sec) * 1000, &tzset, &AskLocalOffset);
    }
};

}  // namespace

Clock& SystemClock() {
    static Immortal<PosixClock> clock;  // threads ask it while the process ends
    return *clock;
}

}  // namespace rampart::platform
