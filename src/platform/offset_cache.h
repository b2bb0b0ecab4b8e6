// The local offsets of hours that one thread asked for.
#pragma once

#include <array>
#include <cstdint>

namespace rampart::platform {

// An hour that begins and ends with one offset has no change in it. Once a minute the cache is emptied and
// the time zone read again, since a machine may travel while the process lives.
class OffsetCache {
public:
    // `readZone()` makes the system look at its time zone again, `ask(utcSeconds)` gives the offset of an
    // instant.
    template <class ReadZone, class Ask>
    int32_t Find(int64_t utcSeconds, uint64_t nowMilliseconds, ReadZone&& readZone, Ask&& ask) {
        const uint64_t check = nowMilliseconds / kZoneCheckMilliseconds;
        if (check != m_check) {
            m_check = check;
            m_hours.fill({});
            readZone();
        }
        if (utcSeconds < -kFarAway || utcSeconds > kFarAway) {
            return ask(utcSeconds);  // the ends of its hour may not fit
        }
        const int64_t hour = utcSeconds / kHour - (utcSeconds % kHour < 0 ? 1 : 0);
        Hour& cached = m_hours[static_cast<uint64_t>(hour) % m_hours.size()];
        if (cached.valid && cached.hour == hour) {
            return cached.offset;
        }
        const int32_t first = ask(hour * kHour);
        if (first != ask(hour * kHour + kHour - 1)) {
            return ask(utcSeconds);
        }
        cached = {hour, first, true};
        return first;
    }

private:
    static constexpr uint64_t kZoneCheckMilliseconds = 60'000;
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

}  // namespace rampart::platform
