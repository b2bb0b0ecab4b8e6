// When two last-write times count as equal.
#pragma once

#include <cstdint>

namespace rampart {

inline constexpr int64_t kDaylightShiftSeconds = 3600;

// The difference is taken as 32-bit seconds. Equal within `span`, or off by one hour within `span`: a file
// that only moved by a daylight-saving hour did not change. Within a negative span nothing is equal.
inline bool TimesAgree(int64_t a, int64_t b, int32_t span) {
    uint32_t const difference = static_cast<uint32_t>(a) - static_cast<uint32_t>(b);
    int64_t const distance = difference > 0x80000000u ? 0u - difference : difference;
    return distance <= span ||
           (distance >= kDaylightShiftSeconds - span && distance <= kDaylightShiftSeconds + span);
}

}  // namespace rampart
