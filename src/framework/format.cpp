#include "framework/format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

#include "framework/cstring.h"

namespace rampart {
namespace {

constexpr int kWidestField = 4096;
constexpr int kFinestPrecision = 350;
constexpr int kDefaultRealPrecision = 6;
constexpr size_t kNoPosition = 0;

// What stands between a percent sign and its letter.
struct Conversion {
    bool leftAligned = false;
    bool plusSign = false;
    bool blankSign = false;
    bool alternate = false;
    bool zeroFilled = false;
    int width = 0;
    int precision = -1;  // none
    int bits = 32;
    size_t position = kNoPosition;  // counted from 1
    TCHAR letter = 0;
    bool sound = true;  // false when a width or precision asked for an argument that is not there
};

class Formatter {
public:
    Formatter(Text& out, TextView format, const FormatArgument* arguments, size_t count)
        : m_out(out), m_format(format), m_arguments(arguments), m_count(count) {}

    void Run() {
        while (m_at < m_format.size()) {
            const size_t percent = std::min(m_format.find(TCHAR('%'), m_at), m_format.size());
            m_out += m_format.substr(m_at, percent - m_at);
            m_at = percent;
            if (m_at < m_format.size()) {
                Convert();
            }
        }
    }

private:
    void Convert() {
        const size_t start = m_at++;
        const Conversion conversion = Parse();
        if (conversion.letter == '%') {
            m_out += TCHAR('%');
        } else if (!Render(conversion)) {
            m_out += m_format.substr(start, m_at - start);
            m_out += _T("<?>");
        }
    }

    // --- Reading the format ---

    TCHAR Peek(size_t ahead = 0) const {
        return m_at + ahead < m_format.size() ? m_format[m_at + ahead] : TCHAR();
    }

    bool Skip(TCHAR unit) {
        const bool there = m_at < m_format.size() && m_format[m_at] == unit;
        m_at += there;
        return there;
    }

    static bool IsDigit(TCHAR unit) { return unit >= '0' && unit <= '9'; }

    int ReadNumber() {
        constexpr int kEnough = 1'000'000;
        int number = 0;
        for (; IsDigit(Peek()); ++m_at) {
            number = std::min(number * 10 + (Peek() - '0'), kEnough);
        }
        return number;
    }

    // "12$"; nothing is read if that is not there.
    size_t ReadPosition() {
        const size_t start = m_at;
        const int number = ReadNumber();
        if (m_at > start && Skip('$')) {
            return static_cast<size_t>(std::max(number, 1)) + (number == 0 ? m_count : 0);
        }
        m_at = start;
        return kNoPosition;
    }

    // A number or `*`; `sound` becomes false if the star finds no integer.
    int ReadCount(bool& sound) {
        if (!Skip('*')) {
            return ReadNumber();
        }
        const FormatArgument* argument = Fetch(ReadPosition());
        if (!argument || argument->kind != FormatArgument::Kind::kInteger) {
            sound = false;
            return 0;
        }
        return std::clamp(static_cast<int>(static_cast<uint32_t>(argument->bits)), -kWidestField,
                          kWidestField);
    }

    void ReadFlags(Conversion& conversion) {
        for (;; ++m_at) {
            switch (Peek()) {
                case '-':
                    conversion.leftAligned = true;
                    break;
                case '+':
                    conversion.plusSign = true;
                    break;
                case ' ':
                    conversion.blankSign = true;
                    break;
                case '#':
                    conversion.alternate = true;
                    break;
                case '0':
                    conversion.zeroFilled = true;
                    break;
                default:
                    return;
            }
        }
    }

    int ReadSize() {
        struct SizePrefix {
            TextView text;
            int bits;
        };
        static constexpr SizePrefix kPrefixes[] = {
            {_T("hh"), 8}, {_T("h"), 16}, {_T("ll"), 64}, {_T("l"), 32}, {_T("I64"), 64}, {_T("I32"), 32},
            {_T("I"), 64}, {_T("j"), 64}, {_T("z"), 64},  {_T("t"), 64}, {_T("L"), 64},   {_T("w"), 32},
        };
        for (const SizePrefix& prefix : kPrefixes) {
            if (m_format.substr(m_at).starts_with(prefix.text)) {
                m_at += prefix.text.size();
                return prefix.bits;
            }
        }
        return 32;
    }

    Conversion Parse() {
        Conversion conversion;
        conversion.position = ReadPosition();
        ReadFlags(conversion);
        conversion.width = ReadCount(conversion.sound);
        if (conversion.width < 0) {
            conversion.leftAligned = true;
            conversion.width = -conversion.width;
        }
        conversion.width = std::min(conversion.width, kWidestField);
        if (Skip('.')) {
            conversion.precision = std::max(ReadCount(conversion.sound), -1);
        }
        conversion.bits = ReadSize();
        conversion.letter = Peek();
        m_at = std::min(m_at + 1, m_format.size());
        return conversion;
    }

    // --- Taking arguments ---

    const FormatArgument* Fetch(size_t position) {
        const size_t index = position == kNoPosition ? m_next++ : position - 1;
        return index < m_count ? &m_arguments[index] : nullptr;
    }

    // --- Writing ---

    bool Render(const Conversion& conversion) {
        if (conversion.letter == 0) {
            return false;
        }
        const FormatArgument* argument = Fetch(conversion.position);
        if (!argument || !conversion.sound) {
            return false;
        }
        switch (conversion.letter) {
            case 'd':
            case 'i':
            case 'u':
            case 'o':
            case 'x':
            case 'X':
                return RenderInteger(conversion, *argument);
            case 'c':
            case 'C':
                return RenderCharacter(conversion, *argument);
            case 's':
            case 'S':
                return RenderText(conversion, *argument);
            case 'f':
            case 'F':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
                return RenderReal(conversion, *argument);
            case 'p':
                return RenderPointer(conversion, *argument);
            default:
                return false;
        }
    }

    void Pad(const Conversion& conversion, TextView field) {
        const size_t width = static_cast<size_t>(conversion.width);
        const size_t missing = width > field.size() ? width - field.size() : 0;
        m_out.append(conversion.leftAligned ? 0 : missing, TCHAR(' '));
        m_out += field;
        m_out.append(conversion.leftAligned ? missing : 0, TCHAR(' '));
    }

    // A sign or base mark, then digits, with zeros between them if the flags say so.
    void PadNumber(const Conversion& conversion, std::string_view mark, std::string_view digits,
                   bool zeroFilled) {
        Text field(mark.begin(), mark.end());
        const size_t width = static_cast<size_t>(conversion.width);
        const size_t length = mark.size() + digits.size();
        if (zeroFilled && !conversion.leftAligned && width > length) {
            field.append(width - length, TCHAR('0'));
        }
        field.append(digits.begin(), digits.end());
        Pad(conversion, field);
    }

    static std::string_view SignMark(const Conversion& conversion, bool negative) {
        return negative ? "-" : conversion.plusSign ? "+" : conversion.blankSign ? " " : "";
    }

    static void Upper(std::string& text) {
        for (char& character : text) {
            character =
                character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
        }
    }

    bool RenderInteger(const Conversion& conversion, const FormatArgument& argument) {
        uint64_t value = argument.bits;
        if (argument.kind == FormatArgument::Kind::kPointer) {
            value = reinterpret_cast<uintptr_t>(argument.pointer);
        } else if (argument.kind != FormatArgument::Kind::kInteger) {
            return false;
        }
        const int unused = 64 - conversion.bits;
        value = value << unused >> unused;
        const bool isSigned = conversion.letter == 'd' || conversion.letter == 'i';
        const bool negative = isSigned && (value >> (conversion.bits - 1)) != 0;
        if (negative) {
            value = (~value + 1) << unused >> unused;
        }
        const bool isHex = conversion.letter == 'x' || conversion.letter == 'X';
        std::string digits = Digits(value,
                                    isHex                      ? 16
                                    : conversion.letter == 'o' ? 8
                                                               : 10,
                                    conversion.precision);
        std::string mark(isSigned ? SignMark(conversion, negative) : std::string_view());
        if (conversion.alternate && isHex && value != 0) {
            mark = "0x";
        } else if (conversion.alternate && conversion.letter == 'o' && !digits.starts_with('0')) {
            mark = "0";
        }
        if (conversion.letter == 'X') {
            Upper(digits);
            Upper(mark);
        }
        PadNumber(conversion, mark, digits, conversion.zeroFilled && conversion.precision < 0);
        return true;
    }

    static std::string Digits(uint64_t value, int base, int precision) {
        if (value == 0 && precision == 0) {
            return std::string();
        }
        char buffer[24];
        const std::to_chars_result end = std::to_chars(std::begin(buffer), std::end(buffer), value, base);
        std::string digits(buffer, end.ptr);
        const size_t wanted = static_cast<size_t>(std::clamp(precision, 0, kFinestPrecision));
        if (digits.size() < wanted) {
            digits.insert(0, wanted - digits.size(), '0');
        }
        return digits;
    }

    bool RenderCharacter(const Conversion& conversion, const FormatArgument& argument) {
        if (argument.kind != FormatArgument::Kind::kInteger) {
            return false;
        }
        const TCHAR character = static_cast<TCHAR>(argument.bits);
        Pad(conversion, {&character, 1});
        return true;
    }

    template <class Character>
    static std::basic_string_view<Character> Bounded(const Character* text, size_t length, int precision) {
        const size_t most = precision < 0 ? FormatArgument::kUntilTerminator : static_cast<size_t>(precision);
        if (length == FormatArgument::kUntilTerminator) {
            for (length = 0; length < most && text[length] != 0; ++length) {
            }
        }
        return {text, std::min(length, most)};
    }

    bool RenderText(const Conversion& conversion, const FormatArgument& argument) {
        const bool isNarrow = argument.kind == FormatArgument::Kind::kNarrowText;
        if (!isNarrow && argument.kind != FormatArgument::Kind::kText) {
            return false;
        }
        if (isNarrow ? !argument.narrow : !argument.text) {
            Pad(conversion, TextView(_T("(null)")));
        } else if (isNarrow) {
            Pad(conversion,
                platform::FromUtf8(Bounded(argument.narrow, argument.length, conversion.precision)));
        } else {
            Pad(conversion, Bounded(argument.text, argument.length, conversion.precision));
        }
        return true;
    }

    bool RenderReal(const Conversion& conversion, const FormatArgument& argument) {
        if (argument.kind != FormatArgument::Kind::kReal) {
            return false;
        }
        const TCHAR letter = static_cast<TCHAR>(conversion.letter | 0x20);  // lower case
        const std::chars_format form = letter == 'f'   ? std::chars_format::fixed
                                       : letter == 'e' ? std::chars_format::scientific
                                                       : std::chars_format::general;
        const int precision = conversion.precision < 0 ? kDefaultRealPrecision
                                                       : std::min(conversion.precision, kFinestPrecision);
        char buffer[kFinestPrecision + 400];  // the longest has 309 digits before its point
        const std::to_chars_result end =
            std::to_chars(std::begin(buffer), std::end(buffer), std::fabs(argument.real), form, precision);
        std::string digits(buffer, end.ptr);
        if (conversion.alternate && letter == 'f' && precision == 0) {
            digits += '.';
        }
        if (conversion.letter != letter) {
            Upper(digits);
        }
        PadNumber(conversion, SignMark(conversion, std::signbit(argument.real)), digits,
                  conversion.zeroFilled && std::isfinite(argument.real));
        return true;
    }

    bool RenderPointer(const Conversion& conversion, const FormatArgument& argument) {
        uint64_t value = argument.bits;
        switch (argument.kind) {
            case FormatArgument::Kind::kInteger:
                break;
            case FormatArgument::Kind::kPointer:
                value = reinterpret_cast<uintptr_t>(argument.pointer);
                break;
            case FormatArgument::Kind::kText:
                value = reinterpret_cast<uintptr_t>(argument.text);
                break;
            case FormatArgument::Kind::kNarrowText:
                value = reinterpret_cast<uintptr_t>(argument.narrow);
                break;
            case FormatArgument::Kind::kReal:
                return false;
        }
        std::string digits = Digits(value, 16, 16);
        Upper(digits);
        PadNumber(conversion, "", digits, false);
        return true;
    }

    Text& m_out;
    const TextView m_format;
    const FormatArgument* const m_arguments;
    const size_t m_count;
    size_t m_at = 0;
    size_t m_next = 0;
};

}  // namespace

FormatArgument::FormatArgument(const CString& value) : FormatArgument(value.View()) {}

const TCHAR* FormatArgument::EmptyText() {
    return _T("");
}

void AppendFormatted(Text& out, TextView format, const FormatArgument* arguments, size_t count) {
    Formatter(out, format, arguments, count).Run();
}

}  // namespace rampart
