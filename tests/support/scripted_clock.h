// A clock that a test sets: the time, the time zone, and sleeps that cost no time.
#pragma once

#include <cstdint>
#include <iterator>
#include <map>
#include <mutex>
#include <thread>

#include "platform/clock.h"

namespace rampart::test {

// The clock in force as long as it lives. The time stands still but for sleeps and for what the test does.
// Any thread may read it and sleep.
class ScriptedClock : public platform::Clock {
public:
    explicit ScriptedClock(int64_t utcSeconds, int32_t offset = 0)
        : m_now(utcSeconds * kNanoseconds), m_firstOffset(offset) {
        platform::SetClock(this);
    }
    ScriptedClock(const ScriptedClock&) = delete;
    ScriptedClock& operator=(const ScriptedClock&) = delete;
    ~ScriptedClock() override { platform::SetClock(nullptr); }

    void SetSeconds(int64_t utcSeconds) {
        std::lock_guard lock(m_mutex);
        m_now = utcSeconds * kNanoseconds;
    }

    // The monotonic clock goes along, which it does not when the time is set.
    void Advance(int64_t seconds) { AdvanceMilliseconds(static_cast<uint64_t>(seconds) * 1000); }

    void AdvanceMilliseconds(uint64_t milliseconds) {
        std::lock_guard lock(m_mutex);
        m_now += static_cast<int64_t>(milliseconds) * 1'000'000;
        m_ticks += milliseconds;
    }

    // From the instant on, local time is UTC plus `offset` seconds.
    void AddZoneChange(int64_t utcSeconds, int32_t offset) {
        std::lock_guard lock(m_mutex);
        m_changes[utcSeconds] = offset;
    }

    uint64_t SleptMilliseconds() {
        std::lock_guard lock(m_mutex);
        return m_slept;
    }

    int64_t NowNanoseconds() override {
        std::lock_guard lock(m_mutex);
        return m_now;
    }

    uint64_t MonotonicMilliseconds() override {
        std::lock_guard lock(m_mutex);
        return m_ticks;
    }

    void Sleep(uint32_t milliseconds) override {
        AdvanceMilliseconds(milliseconds);
        {
            std::lock_guard lock(m_mutex);
            m_slept += milliseconds;
        }
        std::this_thread::yield();
    }

    int32_t LocalOffset(int64_t utcSeconds) override {
        std::lock_guard lock(m_mutex);
        const auto next = m_changes.upper_bound(utcSeconds);
        return next == m_changes.begin() ? m_firstOffset : std::prev(next)->second;
    }

private:
    static constexpr int64_t kNanoseconds = 1'000'000'000;

    std::mutex m_mutex;  // guards what follows
    int64_t m_now;
    uint64_t m_ticks = 1'000'000;
    uint64_t m_slept = 0;
    const int32_t m_firstOffset;
    std::map<int64_t, int32_t> m_changes;
};

// Seconds since 1970 of a date and time in UTC.
inline int64_t Utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    return platform::FromUtcTime({year, month, day, hour, minute, second, 0});
}

}  // namespace rampart::test
