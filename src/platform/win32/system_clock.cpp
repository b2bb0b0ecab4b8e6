#include "platform/system_clock.h"

#include "platform/immortal.h"
#include "platform/offset_cache.h"
#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

constexpr int64_t kFirstSecond = -11'644'473'600;  // 1601-01-01
constexpr int64_t kLastSecond = 910'670'515'199;   // the end of 30827

// The rules of the time zone; each thread reads its own.
class ZoneRules {
public:
    void Read() { GetDynamicTimeZoneInformation(&m_zone); }

    int32_t Offset(int64_t utcSeconds) {
        const int64_t instant = std::clamp(utcSeconds, kFirstSecond, kLastSecond);
        const BrokenDownTime utc = ToUtcTime(instant);
        const SYSTEMTIME system = {static_cast<WORD>(utc.year),    static_cast<WORD>(utc.month),
                                   static_cast<WORD>(utc.weekday), static_cast<WORD>(utc.day),
                                   static_cast<WORD>(utc.hour),    static_cast<WORD>(utc.minute),
                                   static_cast<WORD>(utc.second),  0};
        TIME_ZONE_INFORMATION rules;
        SYSTEMTIME local;
        if (GetTimeZoneInformationForYear(system.wYear, &m_zone, &rules) == 0 ||
            SystemTimeToTzSpecificLocalTime(&rules, &system, &local) == 0) {
            return static_cast<int32_t>(-60 * m_zone.Bias);
        }
        return static_cast<int32_t>(FromUtcTime({local.wYear, local.wMonth, local.wDay, local.wHour,
                                                 local.wMinute, local.wSecond, 0}) -
                                    instant);
    }

private:
    DYNAMIC_TIME_ZONE_INFORMATION m_zone = {};
};

class WindowsClock : public Clock {
public:
    int64_t NowNanoseconds() override {
        FILETIME now;
        GetSystemTimePreciseAsFileTime(&now);
        return NanosecondsOf(now);
    }

    uint64_t MonotonicMilliseconds() override {
        static const int64_t frequency = [] {
            LARGE_INTEGER value;
            QueryPerformanceFrequency(&value);
            return value.QuadPart;
        }();
        LARGE_INTEGER now;
        QueryPerformanceCounter(&now);
        return static_cast<uint64_t>(now.QuadPart / frequency * 1000 +
                                     now.QuadPart % frequency * 1000 / frequency);
    }

    void Sleep(uint32_t milliseconds) override {
        // The largest number would mean for ever.
        ::Sleep(std::min<DWORD>(milliseconds, INFINITE - 1));
    }

    int32_t LocalOffset(int64_t utcSeconds) override {
        thread_local ZoneRules rules;
        thread_local OffsetCache cache;
        return cache.Find(
            utcSeconds, GetTickCount64(), [] { rules.Read(); },
            [](int64_t instant) { return rules.Offset(instant); });
    }
};

}  // namespace

Clock& SystemClock() {
    static Immortal<WindowsClock> clock;  // threads ask it while the process ends
    return *clock;
}

}  // namespace rampart::platform
