// Bytes written out by hand as pairs of hexadecimal digits, and back.
#pragma once

#include <cctype>
#include <string>
#include <string_view>

namespace rampart::test {

// Whatever is no digit only separates.
inline std::string FromHex(std::string_view text) {
    std::string bytes;
    int high = -1;
    for (const char c : text) {
        if (!std::isxdigit(static_cast<unsigned char>(c))) {
            continue;
        }
        const int digit = c <= '9' ? c - '0' : (c & 7) + 9;
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<char>(high * 16 + digit));
            high = -1;
        }
    }
    return bytes;
}

// For messages of a comparison that fails.
inline std::string ToHex(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const char c : bytes) {
        text.push_back(kDigits[static_cast<unsigned char>(c) >> 4]);
        text.push_back(kDigits[c & 15]);
        text.push_back(' ');
    }
    return text;
}

}  // namespace rampart::test
