// When a file's last-write time is the one that was stored.
#pragma once

#include <cstdint>

namespace rampart {

// As far as the file system that gave `there` can tell: some know only tenths of a microsecond.
inline bool IsSameTime(int64_t there, int64_t stored) {
    constexpr int64_t kCoarse = 100;
    return there == stored || (there % kCoarse == 0 && stored - there > 0 && stored - there < kCoarse);
}

}  // namespace rampart
