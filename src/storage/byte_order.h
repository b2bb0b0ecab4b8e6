// Numbers as bytes, least significant first.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace rampart {

template <std::unsigned_integral Number>
void AppendLittleEndian(std::string& bytes, Number value) {
    char raw[sizeof(Number)];
    for (size_t i = 0; i < sizeof(Number); ++i) {
        raw[i] = static_cast<char>(value >> (8 * i));
    }
    bytes.append(raw, sizeof(Number));
}

// `bytes` holds a whole number at `at`.
template <std::unsigned_integral Number>
Number LittleEndianAt(std::string_view bytes, size_t at) {
    Number value = 0;
    for (size_t i = 0; i < sizeof(Number); ++i) {
        value |= static_cast<Number>(static_cast<Number>(static_cast<uint8_t>(bytes[at + i])) << (8 * i));
    }
    return value;
}

}  // namespace rampart
