#include "framework/format.h"

#include <cstdio>
#include <random>

#include "framework/atomic_word.h"
#include "framework/cstring.h"
#include "print_text.h"

using rampart::FormatText;
using rampart::Text;
using rampart::TextView;

TEST(Format, ShowsTheArgumentsBitsAsTheConversionSays) {
    EXPECT_EQ(FormatText(_T("%d"), 3000000000u), _T("-1294967296"));
    EXPECT_EQ(FormatText(_T("%u"), -1), _T("4294967295"));
    EXPECT_EQ(FormatText(_T("%d"), 0x100000007LL), _T("7"));
    EXPECT_EQ(FormatText(_T("%ld %lu"), 0x1FFFFFFFFLL, -1L), _T("-1 4294967295"));
    EXPECT_EQ(FormatText(_T("%I64d %lld %I64u"), -5, 3000000000u, -1LL),
              _T("-5 3000000000 18446744073709551615"));
    EXPECT_EQ(FormatText(_T("%hd %hhu"), 65537, 258), _T("1 2"));
    EXPECT_EQ(FormatText(_T("%x %X %#x %o"), 255, 255, 255, 8), _T("ff FF 0xff 10"));
    EXPECT_EQ(FormatText(_T("%I64d"), std::numeric_limits<int64_t>::min()), _T("-9223372036854775808"));
    EXPECT_EQ(FormatText(_T("%d"), std::numeric_limits<int>::min()), _T("-2147483648"));
    EXPECT_EQ(FormatText(_T("%d %d"), true, TCHAR('A')), _T("1 65"));
    rampart::Word<int> word = 42;
    EXPECT_EQ(FormatText(_T("%d"), word), _T("42"));
}

TEST(Format, TakesTextsOfEveryKind) {
    const CString text(_T("text"));
    EXPECT_EQ(FormatText(_T("%s|%s|%s"), text, _T("plain"), Text(_T("own"))), _T("text|plain|own"));
    EXPECT_EQ(FormatText(_T("%S %s"), "narrow \xC3\xA4", std::string("s")), _T("narrow \u00E4 s"));
    EXPECT_EQ(FormatText(_T("%s %S"), static_cast<LPCTSTR>(nullptr), static_cast<const char*>(nullptr)),
              _T("(null) (null)"));
    EXPECT_EQ(FormatText(_T("[%6s][%-6s][%.2s]"), text, text, text), _T("[  text][text  ][te]"));
    EXPECT_EQ(FormatText(_T("%c%C%c"), 'a', TCHAR(0x20AC), 'b'), _T("a\u20ACb"));
    EXPECT_EQ(FormatText(_T("%C:"), L'c'), _T("c:"));
    const TCHAR unterminated[] = {'a', 'b', 'c'};
    EXPECT_EQ(FormatText(_T("%.3s"), &unterminated[0]), _T("abc"));
    EXPECT_EQ(FormatText(_T("100%% %s"), CString()), _T("100% "));
}

TEST(Format, PositionsWidthsAndPrecisions) {
    EXPECT_EQ(FormatText(_T("%2$s %1$s %2$d"), _T("a"), 5), _T("%2$s<?> a 5"));
    EXPECT_EQ(FormatText(_T("%3$d-%1$d-%2$d"), 1, 2, 3), _T("3-1-2"));
    EXPECT_EQ(FormatText(_T("[%*d][%-*d][%.*f]"), 4, 7, 4, 7, 1, 2.25), _T("[   7][7   ][2.2]"));
    EXPECT_EQ(FormatText(_T("%2$*1$d"), 5, 42), _T("   42"));
    EXPECT_EQ(FormatText(_T("[%*d]"), -4, 7), _T("[7   ]"));
    EXPECT_EQ(FormatText(_T("%.2d/%.2d/%d %.2d"), 3, 4, 2024, 11), _T("03/04/2024 11"));
    EXPECT_EQ(FormatText(_T("%.6d"), -12), _T("-000012"));
    EXPECT_EQ(FormatText(_T("%05d %+d % d %-5d|"), -42, 7, 7, 7), _T("-0042 +7  7 7    |"));
}

TEST(Format, RealNumbersLookLikePrintf) {
    const double values[] = {0.0,   -0.0, 1.0,    -1.5,    2.5,     0.1,      1e-5,     123456789.0,
                             1e100, 1e22, 5e-324, 1.7e308, 0.00012, 99999.95, 1234.5678};
    const char* formats[] = {"%f",  "%.0f", "%.3f", "%10.2f",  "%-12.1f|",
                             "%+e", "%.3E", "%g",   "%012.4f", "% .10g"};
    for (const double value : values) {
        for (const char* format : formats) {
            char expected[512];
            std::snprintf(expected, sizeof expected, format, value);
            EXPECT_EQ(FormatText(CString::FromUtf8(format), value).ToUtf8(), expected)
                << format << " " << value;
        }
    }
    EXPECT_EQ(FormatText(_T("%5f|%F"), std::numeric_limits<double>::infinity(),
                         std::numeric_limits<double>::quiet_NaN()),
              _T("  inf|NAN"));
}

TEST(Format, IntegersLookLikePrintf) {
    std::mt19937 random(3);
    for (int round = 0; round < 20'000; ++round) {
        const char conversion = "diuoxX"[random() % 6];
        const bool isSigned = conversion == 'd' || conversion == 'i';
        std::string format = "%";
        // What a flag does that means nothing for the conversion differs between the systems.
        for (const char flag : {'-', '0', isSigned ? '+' : '#', isSigned ? ' ' : '-'}) {
            format += random() % 4 == 0 && (flag != '#' || conversion != 'u') ? std::string(1, flag) : "";
        }
        format += random() % 2 ? std::to_string(random() % 12 + 1) : "";
        format += random() % 3 == 0 ? "." + std::to_string(random() % 12) : "";
        const bool longer = random() % 2 != 0;
        format += longer ? "ll" : "";
        format += conversion;
        const uint64_t value = (uint64_t{random()} << 32 | random()) >> random() % 64;
        char expected[64];
        if (longer) {
            std::snprintf(expected, sizeof expected, format.c_str(), static_cast<long long>(value));
        } else {
            std::snprintf(expected, sizeof expected, format.c_str(), static_cast<int>(value));
        }
        ASSERT_EQ(FormatText(CString::FromUtf8(format), value).ToUtf8(), expected) << format << " " << value;
    }
}

TEST(Format, MistakesShowAndReadNothing) {
    EXPECT_EQ(FormatText(_T("%s %s"), _T("one")), _T("one %s<?>"));
    EXPECT_EQ(FormatText(_T("%s"), 5), _T("%s<?>"));
    EXPECT_EQ(FormatText(_T("%d %d"), _T("text"), 7), _T("%d<?> 7"));
    EXPECT_EQ(FormatText(_T("%5.2f"), 1), _T("%5.2f<?>"));
    EXPECT_EQ(FormatText(_T("%n|%d"), 1, 2), _T("%n<?>|2"));
    EXPECT_EQ(FormatText(_T("50%"), 1), _T("50%<?>"));
    EXPECT_EQ(FormatText(_T("%ll")), _T("%ll<?>"));
    EXPECT_EQ(FormatText(_T("%0$s %9$s %99999999999999999999$d"), _T("a")),
              _T("%0$s<?> %9$s<?> %99999999999999999999$d<?>"));
    EXPECT_EQ(FormatText(_T("%*d"), _T("wide"), 4), _T("%*d<?>"));
    EXPECT_EQ(FormatText(_T("%.*s"), 3), _T("%.*s<?>"));
    EXPECT_EQ(FormatText(_T("%c"), _T("x")), _T("%c<?>"));
    EXPECT_EQ(FormatText(_T("%99999999999d"), 1).GetLength(), 4096);
    EXPECT_EQ(FormatText(_T("%.99999999999d"), 1).GetLength(), 350);
    EXPECT_LE(FormatText(_T("%.99999999999f"), 1e308).GetLength(), 700);
    EXPECT_EQ(FormatText(_T("%*d"), std::numeric_limits<int>::min(), 1).GetLength(), 4096);
}

// Texts of the letters that mean something to the formatter, with arguments of every kind. The sum over the
// results says that they depend on nothing but format and arguments, on every system; only an address is
// another each time.
TEST(Format, RandomFormatsAreSurvivedAndGiveTheSameEverywhere) {
    std::mt19937 random(11);
    constexpr TextView kLetters = _T("%%%%%%1290$*.-+# lhIjztLw64dsScCuxXofFeEgGpn\u20AC");
    uint64_t checksum = 14695981039346656037u;
    for (int round = 0; round < 1'000'000; ++round) {
        Text format;
        for (size_t length = random() % 14; length > 0; --length) {
            format += kLetters[random() % kLetters.size()];
        }
        const CString text =
            FormatText(format, _T("text"), 5, -1LL, 2.5, "narrow", static_cast<void*>(nullptr),
                       static_cast<LPCTSTR>(nullptr), TCHAR('c'));
        ASSERT_LE(text.GetLength(), 15 * 4200);
        if (format.find('p') != Text::npos) {
            continue;
        }
        checksum = (checksum ^ static_cast<uint64_t>(text.GetLength())) * 1099511628211u;
        for (int index = 0; index < std::min(text.GetLength(), 20); ++index) {
            checksum = (checksum ^ text[index]) * 1099511628211u;
        }
    }
    EXPECT_EQ(checksum, 14061230051835107216u);
}
