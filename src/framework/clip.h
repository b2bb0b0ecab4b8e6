// Lengths and places that callers give as signed numbers, brought into range.
#pragma once

#include <algorithm>
#include <cstddef>

namespace rampart {

inline size_t Clip(int value, size_t most) {
    return value < 0 ? 0 : std::min(static_cast<size_t>(value), most);
}

}  // namespace rampart
