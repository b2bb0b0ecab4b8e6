#include "framework/case_folding.h"

#include <map>
#include <set>

#include "framework/cstring.h"
#include "print_text.h"

using rampart::CompareNoCase;
using rampart::Text;
using rampart::TextView;

namespace {

Text FromCode(uint32_t code) {
    if (code < 0x10000) {
        return Text(1, static_cast<TCHAR>(code));
    }
    const TCHAR pair[] = {static_cast<TCHAR>(0xD800 + ((code - 0x10000) >> 10)),
                          static_cast<TCHAR>(0xDC00 + ((code - 0x10000) & 0x3FF))};
    return Text(pair, 2);
}

}  // namespace

TEST(CaseFolding, FoldingTwiceChangesNothingAndKeepsLength) {
    for (uint32_t code = 0; code < 0x110000; ++code) {
        const Text folded = rampart::FoldCase(FromCode(code));
        ASSERT_EQ(rampart::FoldCase(folded), folded) << std::hex << code;
        Text lower = FromCode(code);
        rampart::MakeLowerCase(lower.data(), lower.size());
        Text upper = FromCode(code);
        rampart::MakeUpperCase(upper.data(), upper.size());
        ASSERT_EQ(lower.size(), upper.size());
        if (code != 0x130 && code != 0x131) {
            ASSERT_TRUE(rampart::EqualNoCase(lower, upper)) << std::hex << code;
        }
    }
}

// A vault is used from more than one system: names that meet on one meet on every other.
TEST(CaseFolding, TablesAreTheSameOnEverySystem) {
    uint64_t checksum = 14695981039346656037u;
    const auto add = [&](const Text& text) {
        for (const TCHAR unit : text) {
            checksum = (checksum ^ unit) * 1099511628211u;
        }
    };
    for (uint32_t code = 0; code < 0x20000; ++code) {  // no letter behind has a case
        const Text text = FromCode(code);
        add(rampart::FoldCase(text));
        if (code < 0x10000) {
            add(Text(1, rampart::FoldCharacter(text[0])));
        }
        Text lower = text, upper = text;
        rampart::MakeLowerCase(lower.data(), lower.size());
        rampart::MakeUpperCase(upper.data(), upper.size());
        add(lower);
        add(upper);
    }
    EXPECT_EQ(checksum, 8331866918345633551u);
}

TEST(CaseFolding, LettersOfManyScriptsMeetAndOthersStayApart) {
    const std::pair<TextView, TextView> equal[] = {
        {_T("ABC xyz"), _T("abc XYZ")},
        {_T("\u00C4\u00D6\u00DC"), _T("\u00E4\u00F6\u00FC")},
        {_T("\u03A3\u03C2"), _T("\u03C3\u03C3")},  // all three sigmas
        {_T("\u0416"), _T("\u0436")},              // Cyrillic
        {_T("\u212A"), _T("k")},                   // Kelvin sign
        {_T("\u017F"), _T("s")},                   // long s
        {_T("\u1E9E"), _T("\u00DF")},              // sharp s
        {_T("\U00010400"), _T("\U00010428")},      // Deseret, outside the first plane
    };
    for (const auto& [left, right] : equal) {
        EXPECT_EQ(CompareNoCase(left, right), 0) << CString(left).ToUtf8();
        EXPECT_EQ(rampart::HashNoCase(left), rampart::HashNoCase(right)) << CString(left).ToUtf8();
    }
    const std::pair<TextView, TextView> different[] = {
        {_T("a"), _T("\u00E4")},  {_T("i"), _T("\u0130")}, {_T("i"), _T("\u0131")},
        {_T("ss"), _T("\u00DF")}, {_T("a"), _T("ab")},     {_T("\U00010400"), _T("\U00010401")},
    };
    for (const auto& [left, right] : different) {
        EXPECT_NE(CompareNoCase(left, right), 0) << CString(left).ToUtf8();
    }
}

TEST(CaseFolding, OrderIsThatOfLowerCase) {
    EXPECT_EQ(CompareNoCase(_T("A_"), _T("ab")), -1);  // by upper case it would be 1
    EXPECT_EQ(CompareNoCase(_T("b"), _T("A")), 1);
    EXPECT_EQ(CompareNoCase(_T(""), _T("A")), -1);
    EXPECT_EQ(CString(_T("Zebra")).CompareNoCase(_T("zebra")), 0);
    const TCHAR lone[] = {0xD801, 'x', 0};
    EXPECT_EQ(CompareNoCase(lone, lone), 0);
    EXPECT_NE(CompareNoCase(TextView(lone, 1), _T("\U00010400")), 0);
}

TEST(CaseFolding, SearchAndContainersIgnoreCase) {
    EXPECT_TRUE(rampart::StartsWithNoCase(_T("C:\\Users"), _T("c:\\")));
    EXPECT_FALSE(rampart::StartsWithNoCase(_T("c:"), _T("c:\\")));
    EXPECT_TRUE(rampart::EndsWithNoCase(_T("file.PART"), _T(".part")));
    EXPECT_EQ(rampart::FindNoCase(_T("one TWO two"), _T("Two")), 4u);
    EXPECT_EQ(rampart::FindNoCase(_T("one TWO two"), _T("Two"), 5), 8u);
    EXPECT_EQ(rampart::FindNoCase(_T("one"), _T("ones")), TextView::npos);
    std::map<CString, int, rampart::NoCaseLess> map = {{_T("Name"), 1}};
    EXPECT_EQ(map.count(TextView(_T("NAME"))), 1u);
    std::set<CString, rampart::NoCaseLess> set = {_T("a"), _T("A"), _T("b")};
    EXPECT_EQ(set.size(), 2u);
}
