#include "progresslib/speed_meter.h"

#include <algorithm>

namespace rampart {
namespace {

int64_t BytesPerSecond(int64_t bytes, uint64_t milliseconds) {
    const double seconds = static_cast<double>(std::max<uint64_t>(milliseconds, 1)) / 1000;
    return static_cast<int64_t>(static_cast<double>(bytes) / seconds);
}

}  // namespace

void SpeedMeter::Restart(uint32_t now) {
    m_begin = now;
    m_pausedMs = 0;
    m_pausedAt = now;
    m_slots = {};
}

void SpeedMeter::AddBytes(uint32_t now, int64_t bytes) {
    const uint64_t number = ActiveMs(now) / kSlotMs;
    Slot& slot = m_slots[number % kSlots];
    if (slot.number != number) {
        slot = {number, 0};
    }
    slot.bytes += bytes;
}

void SpeedMeter::Pause(uint32_t now) {
    if (!m_paused) {
        m_paused = true;
        m_pausedAt = now;
    }
}

void SpeedMeter::Resume(uint32_t now) {
    if (m_paused) {
        m_paused = false;
        m_pausedMs += now - m_pausedAt;
    }
}

uint64_t SpeedMeter::ActiveMs(uint32_t now) const {
    const uint64_t all = (m_paused ? m_pausedAt : now) - m_begin;
    return all > m_pausedMs ? all - m_pausedMs : 0;
}

int64_t SpeedMeter::RecentSpeed(uint32_t now) const {
    if (m_paused) {
        return 0;
    }
    const uint64_t active = ActiveMs(now);
    const uint64_t present = active / kSlotMs;
    const uint64_t oldest = present >= kSlots ? present - kSlots + 1 : 0;
    int64_t bytes = 0;
    for (const Slot& slot : m_slots) {
        bytes += slot.number >= oldest && slot.number <= present ? slot.bytes : 0;
    }
    return BytesPerSecond(bytes, std::max(active - oldest * kSlotMs, kSlotMs));
}

int64_t SpeedMeter::AverageSpeed(uint32_t now, int64_t bytes) const {
    return BytesPerSecond(bytes, std::max(ActiveMs(now), kSlotMs));
}

}  // namespace rampart
