// Single code points in UTF-8 and UTF-16, for the conversions of this room.
#pragma once

#include <string>
#include <string_view>

#include "platform/text.h"

namespace rampart::platform {

inline bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
inline bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The code point at `at`, which moves behind it. A surrogate without its other half stands for itself.
inline char32_t TakeCodePoint(TextView text, size_t& at) {
    const char32_t first = static_cast<char16_t>(text[at++]);
    if (!IsHighSurrogate(first) || at == text.size()) {
        return first;
    }
    const char32_t second = static_cast<char16_t>(text[at]);
    if (!IsLowSurrogate(second)) {
        return first;
    }
    at++;
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

inline void AppendUtf16(Text& text, char32_t codePoint) {
    if (codePoint < 0x10000) {
        text.push_back(static_cast<TCHAR>(codePoint));
        return;
    }
    text.push_back(static_cast<TCHAR>(0xD800 + ((codePoint - 0x10000) >> 10)));
    text.push_back(static_cast<TCHAR>(0xDC00 + ((codePoint - 0x10000) & 0x3FF)));
}

// A surrogate is written like any other code point of its size.
inline void AppendUtf8(std::string& bytes, char32_t codePoint) {
    const auto tail = [](char32_t bits) { return static_cast<char>(0x80 | (bits & 0x3F)); };
    if (codePoint < 0x80) {
        bytes.push_back(static_cast<char>(codePoint));
    } else if (codePoint < 0x800) {
        bytes.push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
        bytes.push_back(tail(codePoint));
    } else if (codePoint < 0x10000) {
        bytes.push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
        bytes.push_back(tail(codePoint >> 6));
        bytes.push_back(tail(codePoint));
    } else {
        bytes.push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
        bytes.push_back(tail(codePoint >> 12));
        bytes.push_back(tail(codePoint >> 6));
        bytes.push_back(tail(codePoint));
    }
}

struct DecodedUtf8 {
    char32_t codePoint = 0;
    size_t length = 0;  // 0: the first byte does not begin a valid sequence
};

// Decodes the first sequence of non-empty `bytes`. Overlong forms and values past U+10FFFF are invalid,
// surrogates are unless `surrogates` lets them through.
inline DecodedUtf8 DecodeUtf8(std::string_view bytes, bool surrogates) {
    const auto lead = static_cast<unsigned char>(bytes[0]);
    if (lead < 0x80) {
        return {lead, 1};
    }
    const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || bytes.size() < length) {
        return {};
    }
    char32_t codePoint = lead & (0x7F >> length);
    for (size_t i = 1; i < length; i++) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if ((byte & 0xC0) != 0x80) {
            return {};
        }
        codePoint = (codePoint << 6) | (byte & 0x3F);
    }
    const bool overlong = (length == 3 && codePoint < 0x800) || (length == 4 && codePoint < 0x10000);
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (overlong || codePoint > 0x10FFFF || (surrogate && !surrogates)) {
        return {};
    }
    return {codePoint, length};
}

}  // namespace rampart::platform
