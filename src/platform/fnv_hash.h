// The hash FNV-1a, for names and numbers that must be the same in every process and at every start.
#pragma once

#include <cstdint>
#include <type_traits>

namespace rampart::platform {

// Over the units of a text, each as it is: bytes or 16-bit characters.
template <class Units>
uint32_t Fnv32(const Units& units) {
    uint32_t hash = 2166136261u;
    for (const auto unit : units) {
        hash = (hash ^ static_cast<std::make_unsigned_t<std::remove_cv_t<decltype(unit)>>>(unit)) * 16777619u;
    }
    return hash;
}

template <class Units>
uint64_t Fnv64(const Units& units) {
    uint64_t hash = 14695981039346656037u;
    for (const auto unit : units) {
        hash = (hash ^ static_cast<std::make_unsigned_t<std::remove_cv_t<decltype(unit)>>>(unit)) *
               1099511628211u;
    }
    return hash;
}

}  // namespace rampart::platform
