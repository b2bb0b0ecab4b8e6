#include "framework/case_folding.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>

namespace rampart {
namespace {

constexpr uint32_t kFirstSupplementary = 0x10000;
constexpr uint32_t kSmallSharpS = 0xDF;
constexpr uint32_t kCapitalDottedI = 0x130;
constexpr uint32_t kSmallDotlessI = 0x131;

bool IsHighSurrogate(uint32_t unit) {
    return (unit & 0xFC00) == 0xD800;
}
bool IsLowSurrogate(uint32_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}
bool IsSurrogate(uint32_t unit) {
    return (unit & 0xF800) == 0xD800;
}

uint32_t Combine(uint32_t high, uint32_t low) {
    return kFirstSupplementary + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// A mapping must not change how many units a character takes.
uint32_t SameWidth(uint32_t mapped, uint32_t original) {
    return (mapped >= kFirstSupplementary) == (original >= kFirstSupplementary) ? mapped : original;
}

uint32_t LowerCode(uint32_t code) {
    return SameWidth(static_cast<uint32_t>(utf8proc_tolower(static_cast<utf8proc_int32_t>(code))), code);
}

uint32_t UpperCode(uint32_t code) {
    if (code == kSmallSharpS) {
        return code;  // it has no capital of one character in common use
    }
    return SameWidth(static_cast<uint32_t>(utf8proc_toupper(static_cast<utf8proc_int32_t>(code))), code);
}

// Lower case of upper case joins all forms of a letter, the final sigma too. The Turkish i's are letters of
// their own.
uint32_t FoldCode(uint32_t code) {
    if (code == kCapitalDottedI || code == kSmallDotlessI) {
        return code;
    }
    return LowerCode(UpperCode(code));
}

using UnitTable = std::array<uint16_t, kFirstSupplementary>;

const UnitTable& FoldTable() {
    static const UnitTable table = [] {
        UnitTable filled;
        for (uint32_t code = 0; code < filled.size(); ++code) {
            filled[code] = static_cast<uint16_t>(IsSurrogate(code) ? code : FoldCode(code));
        }
        return filled;
    }();
    return table;
}

constexpr bool IsAscii(TCHAR unit) {
    return unit < 0x80;
}

constexpr TCHAR FoldAscii(TCHAR unit) {
    return unit >= 'A' && unit <= 'Z' ? static_cast<TCHAR>(unit + ('a' - 'A')) : unit;
}

// The code point whose unit stands at `index`, if it is half of a valid pair; `isHigh` says which half.
bool PairAt(TextView text, size_t index, uint32_t& code, bool& isHigh) {
    const uint32_t unit = text[index];
    isHigh = IsHighSurrogate(unit);
    if (isHigh) {
        if (index + 1 == text.size() || !IsLowSurrogate(text[index + 1])) {
            return false;
        }
        code = Combine(unit, text[index + 1]);
        return true;
    }
    if (index == 0 || !IsHighSurrogate(text[index - 1])) {
        return false;
    }
    code = Combine(text[index - 1], unit);
    return true;
}

TCHAR FoldSurrogate(TextView text, size_t index) {
    uint32_t code = 0;
    bool isHigh = false;
    if (!PairAt(text, index, code, isHigh)) {
        return text[index];
    }
    const uint32_t offset = FoldCode(code) - kFirstSupplementary;
    return static_cast<TCHAR>(isHigh ? 0xD800 + (offset >> 10) : 0xDC00 + (offset & 0x3FF));
}

TCHAR FoldAt(TextView text, size_t index) {
    const TCHAR unit = text[index];
    if (IsAscii(unit)) {
        return FoldAscii(unit);
    }
    return IsSurrogate(unit) ? FoldSurrogate(text, index) : static_cast<TCHAR>(FoldTable()[unit]);
}

bool SameFolded(TextView left, size_t leftIndex, TextView right, size_t rightIndex) {
    const TCHAR unit = left[leftIndex];
    if (unit == right[rightIndex] && !IsSurrogate(unit)) {
        return true;
    }
    return FoldAt(left, leftIndex) == FoldAt(right, rightIndex);
}

bool MatchesAt(TextView text, size_t start, TextView part) {
    for (size_t index = 0; index < part.size(); ++index) {
        if (!SameFolded(text, start + index, part, index)) {
            return false;
        }
    }
    return true;
}

template <class Mapping>
void MapCase(TCHAR* text, size_t length, Mapping mapping) {
    for (size_t index = 0; index < length; ++index) {
        const uint32_t unit = text[index];
        if (!IsSurrogate(unit)) {
            text[index] = static_cast<TCHAR>(mapping(unit));
        } else if (IsHighSurrogate(unit) && index + 1 < length && IsLowSurrogate(text[index + 1])) {
            const uint32_t offset = mapping(Combine(unit, text[index + 1])) - kFirstSupplementary;
            text[index] = static_cast<TCHAR>(0xD800 + (offset >> 10));
            text[++index] = static_cast<TCHAR>(0xDC00 + (offset & 0x3FF));
        }
    }
}

}  // namespace

TCHAR FoldCharacter(TCHAR character) {
    return FoldAt(TextView(&character, 1), 0);
}

Text FoldCase(TextView text) {
    Text folded(text.size(), TCHAR());
    for (size_t index = 0; index < text.size(); ++index) {
        folded[index] = FoldAt(text, index);
    }
    return folded;
}

int CompareNoCase(TextView left, TextView right) {
    const size_t common = std::min(left.size(), right.size());
    for (size_t index = 0; index < common; ++index) {
        if (!SameFolded(left, index, right, index)) {
            return FoldAt(left, index) < FoldAt(right, index) ? -1 : 1;
        }
    }
    return left.size() == right.size() ? 0 : left.size() < right.size() ? -1 : 1;
}

bool EqualNoCase(TextView left, TextView right) {
    return left.size() == right.size() && MatchesAt(left, 0, right);
}

bool StartsWithNoCase(TextView text, TextView prefix) {
    return text.size() >= prefix.size() && MatchesAt(text, 0, prefix);
}

bool EndsWithNoCase(TextView text, TextView suffix) {
    return text.size() >= suffix.size() && MatchesAt(text, text.size() - suffix.size(), suffix);
}

size_t FindNoCase(TextView text, TextView part, size_t start) {
    for (; start <= text.size() && text.size() - start >= part.size(); ++start) {
        if (MatchesAt(text, start, part)) {
            return start;
        }
    }
    return TextView::npos;
}

size_t HashNoCase(TextView text) {
    uint64_t hash = 0x9E3779B97F4A7C15u ^ text.size();
    for (size_t index = 0; index < text.size(); ++index) {
        hash = (hash ^ FoldAt(text, index)) * 0x9FB21C651E98DF25u;
        hash ^= hash >> 32;
    }
    return static_cast<size_t>(hash);
}

void MakeLowerCase(TCHAR* text, size_t length) {
    MapCase(text, length, LowerCode);
}

void MakeUpperCase(TCHAR* text, size_t length) {
    MapCase(text, length, UpperCode);
}

}  // namespace rampart
