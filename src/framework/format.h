// Formatting of text by printf-like format texts, safe against a format that does not fit its arguments.
#pragma once

#include <cstddef>
#include <string_view>

#include "framework/types.h"

class CString;

namespace rampart {

// One argument of a format call with its type. Texts are referred to, not copied: it lives no longer than the
// call.
class VAULTLIB_API FormatArgument {
public:
    enum class Kind : uint8_t { kInteger, kReal, kText, kNarrowText, kPointer };

    FormatArgument(bool value) : FormatArgument(uint64_t{value}, Exact()) {}
    FormatArgument(char value) : FormatArgument(static_cast<unsigned char>(value)) {}
    FormatArgument(signed char value) : FormatArgument(Widen(value), Exact()) {}
    FormatArgument(unsigned char value) : FormatArgument(uint64_t{value}, Exact()) {}
    FormatArgument(TCHAR value) : FormatArgument(uint64_t{value}, Exact()) {}
    FormatArgument(short value) : FormatArgument(Widen(value), Exact()) {}
    FormatArgument(unsigned short value) : FormatArgument(uint64_t{value}, Exact()) {}
    FormatArgument(int value) : FormatArgument(Widen(value), Exact()) {}
    FormatArgument(unsigned int value) : FormatArgument(uint64_t{value}, Exact()) {}
    FormatArgument(long value) : FormatArgument(Widen(value), Exact()) {}
    FormatArgument(unsigned long value) : FormatArgument(uint64_t{value}, Exact()) {}
    FormatArgument(long long value) : FormatArgument(Widen(value), Exact()) {}
    FormatArgument(unsigned long long value) : FormatArgument(uint64_t{value}, Exact()) {}
    FormatArgument(float value) : FormatArgument(static_cast<double>(value)) {}
    FormatArgument(double value) : kind(Kind::kReal) { real = value; }
    FormatArgument(long double value) : FormatArgument(static_cast<double>(value)) {}
    FormatArgument(const TCHAR* value) : kind(Kind::kText), length(kUntilTerminator) { text = value; }
    FormatArgument(TextView value) : kind(Kind::kText), length(value.size()) {
        text = value.empty() ? EmptyText() : value.data();
    }
    FormatArgument(const CString& value);
    FormatArgument(const char* value) : kind(Kind::kNarrowText), length(kUntilTerminator) { narrow = value; }
    FormatArgument(std::string_view value) : kind(Kind::kNarrowText), length(value.size()) {
        narrow = value.empty() ? "" : value.data();
    }
    FormatArgument(const void* value) : kind(Kind::kPointer) { pointer = value; }
    FormatArgument(std::nullptr_t) : FormatArgument(static_cast<const void*>(nullptr)) {}

    static constexpr size_t kUntilTerminator = ~size_t{0};

    union {
        uint64_t bits = 0;  // sign-extended where the type was signed
        double real;
        const TCHAR* text;   // null is possible
        const char* narrow;  // UTF-8; null is possible
        const void* pointer;
    };
    Kind kind;
    size_t length = 0;  // of a text, in its characters

private:
    struct Exact {};
    FormatArgument(uint64_t value, Exact) : bits(value), kind(Kind::kInteger) {}
    static uint64_t Widen(int64_t value) { return static_cast<uint64_t>(value); }
    static const TCHAR* EmptyText();
};

// Appends `format` with its conversions replaced. Conversions: %d %i %u %o %x %X %c %C %s %S %f %F %e %E %g
// %G %p %%, flags "-+ #0", width and precision as numbers or `*`, sizes h hh l ll w j z t L I I32 I64,
// positions as in %1$s.
//
// An integer is shown as the conversion says: without a size, with l and with I32 its low 32 bits, with ll,
// I64, j, z, t and I all 64, with h 16 and with hh 8. %s and %S take a text of either character type; null
// shows as "(null)". %c takes any integer as a character number. A conversion that is unknown, has no
// argument or does not fit its argument shows as its own text followed by "<?>". Width and precision are
// clipped to 4096 and 350. Never throws but for lack of memory.
VAULTLIB_API void AppendFormatted(Text& out, TextView format, const FormatArgument* arguments, size_t count);

}  // namespace rampart
