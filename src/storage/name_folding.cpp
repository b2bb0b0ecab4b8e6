#include "storage/name_folding.h"

#include <utf8proc.h>

#include <algorithm>

namespace rampart {
namespace {

constexpr utf8proc_int32_t kCapitalDottedI = 0x130;
constexpr utf8proc_int32_t kSmallDotlessI = 0x131;

// By way of the capital, so that both small sigmas and the long s meet their common form.
utf8proc_int32_t FoldCharacter(utf8proc_int32_t character) {
    if (character == kCapitalDottedI || character == kSmallDotlessI) {
        return character;
    }
    return utf8proc_tolower(utf8proc_toupper(character));
}

std::string FoldUnicode(std::string_view name) {
    std::string folded;
    folded.reserve(name.size());
    const auto* at = reinterpret_cast<const utf8proc_uint8_t*>(name.data());
    auto left = static_cast<utf8proc_ssize_t>(name.size());
    while (left > 0) {
        utf8proc_int32_t character = 0;
        utf8proc_ssize_t length = utf8proc_iterate(at, left, &character);
        if (length <= 0) {
            folded.push_back(static_cast<char>(*at));
            length = 1;
        } else {
            utf8proc_uint8_t encoded[4];
            const utf8proc_ssize_t size = utf8proc_encode_char(FoldCharacter(character), encoded);
            folded.append(reinterpret_cast<const char*>(encoded), static_cast<size_t>(size));
        }
        at += length;
        left -= length;
    }
    return folded;
}

}  // namespace

std::string FoldCase(std::string_view name) {
    const bool ascii =
        std::all_of(name.begin(), name.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
    if (!ascii) {
        return FoldUnicode(name);
    }
    std::string folded(name);
    for (char& c : folded) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c + ('a' - 'A'));
        }
    }
    return folded;
}

bool EqualNoCase(std::string_view a, std::string_view b) {
    return a == b || FoldCase(a) == FoldCase(b);
}

}  // namespace rampart
