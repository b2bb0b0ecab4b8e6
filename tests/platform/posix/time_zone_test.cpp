#include <stdlib.h>
#include <time.h>

#include "platform/clock.h"
#include "support/scripted_clock.h"

namespace rampart::platform {
namespace {

using test::Utc;

// In a process of its own, because the zone is read once a minute only.
void CheckZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
    for (int64_t instant = Utc(2024, 1, 1); instant < Utc(2025, 1, 1); instant += 1799) {
        const time_t raw = instant;
        tm expected;
        localtime_r(&raw, &expected);
        const BrokenDownTime local = ToLocalTime(instant);
        if (local.day != expected.tm_mday || local.hour != expected.tm_hour ||
            local.minute != expected.tm_min || local.second != expected.tm_sec ||
            local.weekday != expected.tm_wday) {
            fprintf(stderr, "wrong at %lld\n", static_cast<long long>(instant));
            _exit(1);
        }
    }
    const int64_t twice = FromLocalTime({2024, 10, 27, 2, 30});
    _exit(twice == Utc(2024, 10, 27, 0, 30) ? 0 : 2);
}

TEST(SystemClock, GivesTheOffsetsOfTheZone) {
    EXPECT_EXIT(CheckZone("CET-1CEST,M3.5.0,M10.5.0/3"), testing::ExitedWithCode(0), "");
    // A change at an instant that is no full hour.
    EXPECT_EXIT(CheckZone("XST-2:45XDT-3:15,M3.5.0/2:10,M10.5.0/3:20"), testing::ExitedWithCode(2), "");
}

TEST(SystemClock, RunsForward) {
    Clock& clock = CurrentClock();
    const uint64_t ticks = clock.MonotonicMilliseconds();
    const int64_t now = clock.NowNanoseconds();
    SleepMilliseconds(3);
    EXPECT_GE(clock.MonotonicMilliseconds(), ticks + 2);
    EXPECT_GT(clock.NowNanoseconds(), now);
}

}  // namespace
}  // namespace rampart::platform
