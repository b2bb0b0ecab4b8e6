#include "filterlib/filter_text.h"

#include <platform_thread_object.h>
#include <cstdint>

namespace rampart {
namespace {

constexpr uint32_t kPlaneOfLoneSurrogates = 0x100000;

bool IsHighSurrogate(TCHAR unit) {
    return (unit & 0xFC00) == 0xD800;
}

bool IsLowSurrogate(TCHAR unit) {
    return (unit & 0xFC00) == 0xDC00;
}

// The character at `index`, which moves behind it.
uint32_t NextCharacter(platform::TextView text, size_t& index) {
    const TCHAR unit = text[index++];
    if (IsHighSurrogate(unit) && index < text.size() && IsLowSurrogate(text[index])) {
        return 0x10000 + ((uint32_t{unit} & 0x3FF) << 10) + (uint32_t{text[index++]} & 0x3FF);
    }
    return IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kPlaneOfLoneSurrogates + unit : unit;
}

char* WriteCharacter(uint32_t character, char* out) {
    const auto tail = [&](int shift) { return static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        *out++ = static_cast<char>(character);
    } else if (character < 0x800) {
        *out++ = static_cast<char>(0xC0 | (character >> 6));
        *out++ = tail(0);
    } else if (character < 0x10000) {
        *out++ = static_cast<char>(0xE0 | (character >> 12));
        *out++ = tail(6);
        *out++ = tail(0);
    } else {
        *out++ = static_cast<char>(0xF0 | (character >> 18));
        *out++ = tail(12);
        *out++ = tail(6);
        *out++ = tail(0);
    }
    return out;
}

}  // namespace

void AppendFilterText(platform::TextView text, std::string& utf8) {
    constexpr size_t kMostBytesPerUnit = 4;
    const size_t begin = utf8.size();
    utf8.resize(begin + text.size() * kMostBytesPerUnit);
    char* out = utf8.data() + begin;
    for (size_t index = 0; index < text.size();) {
        if (text[index] < 0x80) {
            *out++ = static_cast<char>(text[index++]);
        } else {
            out = WriteCharacter(NextCharacter(text, index), out);
        }
    }
    utf8.resize(static_cast<size_t>(out - utf8.data()));
}

std::string_view FilterText(platform::TextView text) {
    auto& buffer = platform::ThreadObject<std::string>([] { return std::string(); });
    buffer.clear();
    AppendFilterText(text, buffer);
    return buffer;
}

}  // namespace rampart
