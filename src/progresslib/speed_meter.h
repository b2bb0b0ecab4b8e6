// SpeedMeter: bytes a second lately and since the beginning, with pauses left out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace rampart {

// Times are ticks in milliseconds that the caller reads; they may wrap. One thread at a time.
class SpeedMeter {
public:
    explicit SpeedMeter(uint32_t now) { Restart(now); }

    // Forgets everything but a pause, which goes on.
    void Restart(uint32_t now);
    void AddBytes(uint32_t now, int64_t bytes);
    void Pause(uint32_t now);
    void Resume(uint32_t now);

    bool IsPaused() const { return m_paused; }
    uint32_t Begin() const { return m_begin; }
    // Milliseconds since the beginning, without pauses.
    uint64_t ActiveMs(uint32_t now) const;
    // Bytes a second over the last seconds; 0 in a pause.
    int64_t RecentSpeed(uint32_t now) const;
    // Of `bytes` moved since the beginning.
    int64_t AverageSpeed(uint32_t now, int64_t bytes) const;

private:
    static constexpr uint64_t kSlotMs = 250;
    static constexpr size_t kSlots = 16;

    struct Slot {
        uint64_t number = 0;  // of the stretch of active time that it stands for
        int64_t bytes = 0;
    };

    uint32_t m_begin = 0;
    uint64_t m_pausedMs = 0;
    bool m_paused = false;
    uint32_t m_pausedAt = 0;
    std::array<Slot, kSlots> m_slots;
};

}  // namespace rampart
