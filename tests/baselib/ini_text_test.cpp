#include "baselib/ini_text.h"

#include <gtest/gtest.h>

namespace rampart {
namespace {

using platform::Text;
using platform::TextView;

// The value that counts, the last one; "(none)" if there is none.
Text ValueOf(std::string_view utf8, TextView section, TextView key) {
    Text value = _T("(none)");
    for (const IniEntry& entry : ParseIni(utf8)) {
        if (entry.section == section && entry.key == key) {
            value = entry.value;
        }
    }
    return value;
}

TEST(IniText, ReadsWhatEditorsLeaveBehind) {
    constexpr std::string_view kText =
        "\xEF\xBB\xBF; comment = no value\r\n"
        "orphan=1\r\n"
        "  [ A ]  \r\n"
        "\tkey\t=  two words ; not a comment \r\n"
        "path=C:\\temp\\new=1\r\n"
        "empty=\r\n"
        "just a line\r\n"
        "# key = other\r\n"
        "[B\n"
        "n\xC3\xA4me = gr\xC3\xBC\xC3\x9F"
        "e";
    EXPECT_EQ(ValueOf(kText, _T(""), _T("orphan")), _T("1"));
    EXPECT_EQ(ValueOf(kText, _T("A"), _T("key")), _T("two words ; not a comment"));
    EXPECT_EQ(ValueOf(kText, _T("A"), _T("path")), _T("C:\\temp\\new=1"));
    EXPECT_EQ(ValueOf(kText, _T("A"), _T("empty")), _T(""));
    EXPECT_EQ(ValueOf(kText, _T("B"), _T("n\u00e4me")), _T("gr\u00fc\u00dfe"));
    EXPECT_EQ(ParseIni(kText).size(), 5u);
    EXPECT_TRUE(ParseIni("").empty());
}

TEST(IniText, PuttingAValueInKeepsEverythingElse) {
    constexpr std::string_view kText = "; mine\r\n[A]\r\nkey = old ; why\r\n\r\n; of B\r\n[B]\r\nkey = b\r\n";
    EXPECT_EQ(WithIniValue(kText, _T("a"), _T("KEY"), _T("new")),
              "; mine\r\n[A]\r\nKEY = new\r\n\r\n; of B\r\n[B]\r\nkey = b\r\n");
    EXPECT_EQ(WithIniValue(kText, _T("A"), _T("more"), _T("1")),
              "; mine\r\n[A]\r\nkey = old ; why\nmore = 1\r\n\r\n; of B\r\n[B]\r\nkey = b\r\n");
    EXPECT_EQ(WithIniValue("[A]\nkey=1", _T("C"), _T("key"), _T("2")), "[A]\nkey=1\n\n[C]\nkey = 2\n");
    EXPECT_EQ(WithIniValue("", _T("C"), _T("key"), _T("2")), "[C]\nkey = 2\n");
    EXPECT_EQ(WithIniValue("[A]", _T("A"), _T("key"), _T("2")), "[A]\nkey = 2");
}

TEST(IniText, RefusesWhatWouldBreakTheFile) {
    EXPECT_FALSE(WithIniValue("", _T("A"), _T("key"), _T("two\nlines")));
    EXPECT_FALSE(WithIniValue("", _T("A"), _T("a=b"), _T("1")));
    EXPECT_FALSE(WithIniValue("", _T("A"), _T(";key"), _T("1")));
    EXPECT_FALSE(WithIniValue("", _T("A]"), _T("key"), _T("1")));
    EXPECT_FALSE(WithIniValue("", _T("A"), _T(""), _T("1")));
}

TEST(IniText, EveryValueComesBackAsItWasPutIn) {
    for (const TextView value : {_T(""), _T("plain"), _T(" blanks "), _T("\"quoted\""), _T("\"half"),
                                 _T("; x"), _T("\\\\nas\\share\\"), _T("\t"), _T("[x]"), _T("\"\"")}) {
        const auto text = WithIniValue("[A]\nkey = old\n", _T("A"), _T("key"), value);
        ASSERT_TRUE(text);
        EXPECT_EQ(Text(UnquotedIniValue(ValueOf(*text, _T("A"), _T("key")))), Text(value)) << *text;
    }
}

TEST(IniText, EscapesStandForWhatTheySay) {
    EXPECT_EQ(UnescapedIniValue(_T("a\\nb\\tc\\\\d\\\"e")), _T("a\nb\tc\\d\"e"));
    EXPECT_EQ(UnescapedIniValue(_T("\"kept \"")), _T("kept "));
    EXPECT_EQ(UnescapedIniValue(_T("\"%s\" is \"%s\"")), _T("\"%s\" is \"%s\""));
    EXPECT_EQ(UnescapedIniValue(_T("C:\\x \\")), _T("C:\\x \\"));
    EXPECT_EQ(UnescapedIniValue(_T("\"")), _T("\""));
}

}  // namespace
}  // namespace rampart
