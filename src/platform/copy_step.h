// When a copy calls its progress: often enough that a cancel is heard at once, and seldom enough that the
// work since the last call can be measured in milliseconds.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace rampart::platform {

class CopyStep {
public:
    static constexpr uint64_t kSmallest = 8 * 1024 * 1024;  // bytes, whatever time they take
    static constexpr uint64_t kLargest = 64 * 1024 * 1024;  // bytes, however fast they are
    static constexpr uint64_t kLongEnoughMs = 50;           // between the two
    static constexpr uint64_t kLongestMs = 250;             // however few they are
    static constexpr uint64_t kPiece = 1024 * 1024;         // so much is moved between two looks at the time

    // A step begins behind the first `moved` bytes.
    void Begin(uint64_t moved) {
        m_begin = moved;
        m_beginMs = CurrentClock().MonotonicMilliseconds();
    }
    bool IsOver(uint64_t moved) const {
        const uint64_t bytes = moved - m_begin;
        if (bytes == 0 || bytes >= kLargest) {
            return bytes != 0;
        }
        const uint64_t ms = CurrentClock().MonotonicMilliseconds() - m_beginMs;
        return ms >= (bytes >= kSmallest ? kLongEnoughMs : kLongestMs);
    }

private:
    uint64_t m_begin = 0;
    uint64_t m_beginMs = 0;
};

}  // namespace rampart::platform
