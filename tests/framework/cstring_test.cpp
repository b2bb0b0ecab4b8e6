#include "framework/cstring.h"

#include <random>
#include <thread>
#include <unordered_set>

#include "framework/cexception.h"
#include "print_text.h"

using rampart::Text;
using rampart::TextView;

TEST(StringBuffer, CopiesShareUntilOneChanges) {
    CString first(_T("shared text"));
    CString second = first;
    EXPECT_EQ(first.GetString(), second.GetString());
    second.SetAt(0, 'S');
    EXPECT_EQ(first, CString(_T("shared text")));
    EXPECT_EQ(second, CString(_T("Shared text")));

    // Each way to change a text must part it from its copy.
    const CString original(_T(" aXbXc "));
    const std::vector<std::function<void(CString&)>> changes = {
        [](CString& text) { text += 'x'; },
        [](CString& text) { text.MakeUpper(); },
        [](CString& text) { text.MakeReverse(); },
        [](CString& text) { text.Replace('X', '-'); },
        [](CString& text) { text.Replace(_T("X"), _T("--")); },
        [](CString& text) { text.Remove('X'); },
        [](CString& text) { text.Insert(1, _T("new")); },
        [](CString& text) { text.Delete(0, 2); },
        [](CString& text) { text.Trim(); },
        [](CString& text) { text.Truncate(2); },
        [](CString& text) { text.GetBuffer(1)[0] = '!'; },
        [](CString& text) { text.Empty(); },
        [](CString& text) { text = _T("other"); },
    };
    for (size_t index = 0; index < changes.size(); ++index) {
        CString copy = original;
        changes[index](copy);
        EXPECT_NE(copy, original) << "change " << index;
        EXPECT_EQ(original, CString(_T(" aXbXc "))) << "change " << index;
    }
}

TEST(StringBuffer, TextMayBeMadeOfItself) {
    CString text(_T("abc"));
    text += text;
    EXPECT_EQ(text, _T("abcabc"));
    text.Preallocate(100);
    text += text.GetString() + 3;
    EXPECT_EQ(text, _T("abcabcabc"));
    text = text.GetString() + 7;
    EXPECT_EQ(text, _T("bc"));
    text.Insert(1, text);
    EXPECT_EQ(text, _T("bbcc"));
    text.Replace(text, text + text);
    EXPECT_EQ(text, _T("bbccbbcc"));
    text.Trim(text);
    EXPECT_TRUE(text.IsEmpty());
    text = _T("%s!");
    text.Format(text, text);
    EXPECT_EQ(text, _T("%s!!"));
}

TEST(StringBuffer, GetBufferGivesRoomAndReleaseFindsTheEnd) {
    CString text(_T("abc"));
    const CString copy = text;
    LPTSTR buffer = text.GetBuffer(10);
    std::copy_n(_T("0123456789"), 11, buffer);
    text.ReleaseBuffer();
    EXPECT_EQ(text, _T("0123456789"));
    EXPECT_EQ(copy, _T("abc"));
    text.GetBuffer();
    text.ReleaseBuffer(4);
    EXPECT_EQ(text, _T("0123"));
    EXPECT_THROW(text.ReleaseBuffer(1'000'000), CInvalidArgException);
    CString untouched;
    untouched.ReleaseBuffer(5);
    EXPECT_TRUE(untouched.IsEmpty());
    EXPECT_EQ(untouched.GetString()[0], 0);
}

TEST(StringBuffer, DistinctObjectsOnManyThreadsMayShare) {
    const CString common(_T("text of all threads"));
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([copy = common, number, &wrong] {
            for (int round = 0; round < 2000; ++round) {
                CString mine = copy;
                std::vector<CString> more(4, mine);
                mine += static_cast<TCHAR>('0' + number);
                wrong += more.back() != copy || mine.GetLength() != copy.GetLength() + 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(common, _T("text of all threads"));
}

TEST(StringOperators, MixWithPlainTextsAndCharacters) {
    const CString a(_T("a"));
    EXPECT_EQ(a + _T("b") + 'c' + a, _T("abca"));
    EXPECT_EQ(_T("x") + a, _T("xa"));
    EXPECT_EQ(TCHAR('y') + a, _T("ya"));
    EXPECT_TRUE(a == _T("a") && _T("a") == a && a != _T("b") && a < _T("b") && _T("A") < a &&
                a >= CString(_T("a")));
    EXPECT_TRUE(CString() == static_cast<LPCTSTR>(nullptr));
    EXPECT_EQ(CString(TextView()), CString());
    const TextView view = a;
    EXPECT_EQ(view, TextView(_T("a")));
    const CString withNull(_T("a\0b"), 3);
    EXPECT_EQ(withNull.GetLength(), 3);
    EXPECT_NE(withNull, a);
    std::unordered_set<CString> set = {a, withNull, _T("a")};
    EXPECT_EQ(set.size(), 2u);
}

TEST(StringParts, OutOfRangeIsClippedAndBadIndexThrows) {
    const CString text(_T("hello"));
    EXPECT_EQ(text.Mid(1, 3), _T("ell"));
    EXPECT_EQ(text.Mid(-5, 2), _T("he"));
    EXPECT_EQ(text.Mid(3, 100), _T("lo"));
    EXPECT_EQ(text.Mid(9), CString());
    EXPECT_EQ(text.Left(-1), CString());
    EXPECT_EQ(text.Left(99), text);
    EXPECT_EQ(text.Right(2), _T("lo"));
    EXPECT_EQ(text.Right(-2), CString());
    EXPECT_EQ(text[5], 0);
    EXPECT_THROW(text.GetAt(6), CInvalidArgException);
    EXPECT_THROW(text.GetAt(-1), CInvalidArgException);
    EXPECT_THROW(CString(text).SetAt(5, 'x'), CInvalidArgException);
    EXPECT_EQ(CString('z', 3), _T("zzz"));
    EXPECT_EQ(CString('z', -3), CString());
}

TEST(StringParts, TokenizePassesSeparatorsOver) {
    const CString text(_T(";;a;b c;;d"));
    std::vector<CString> parts;
    int place = 0;
    for (CString part = text.Tokenize(_T("; "), place); place != -1; part = text.Tokenize(_T("; "), place)) {
        parts.push_back(part);
    }
    EXPECT_EQ(parts, (std::vector<CString>{_T("a"), _T("b"), _T("c"), _T("d")}));
    EXPECT_EQ(text.Tokenize(_T(";"), place), CString());
    place = 3;
    EXPECT_EQ(text.Tokenize(_T(""), place), _T(";b c;;d"));
    EXPECT_EQ(text.Tokenize(_T(""), place), CString());
    EXPECT_EQ(place, -1);
    EXPECT_EQ(CString(_T("aabc")).SpanIncluding(_T("ab")), _T("aab"));
    EXPECT_EQ(CString(_T("aabc")).SpanExcluding(_T("cb")), _T("aa"));
}

TEST(StringSearch, FindsFromThePlaceGiven) {
    const CString path(_T("C:\\one\\two\\one"));
    EXPECT_EQ(path.Find('\\'), 2);
    EXPECT_EQ(path.Find('\\', 3), 6);
    EXPECT_EQ(path.Find(_T("one"), 4), 11);
    EXPECT_EQ(path.Find(_T("one"), 99), -1);
    EXPECT_EQ(path.Find('C', -1), -1);
    EXPECT_EQ(path.Find(_T("ONE")), -1);
    EXPECT_EQ(path.ReverseFind('\\'), 10);
    EXPECT_EQ(path.ReverseFind('/'), -1);
    EXPECT_EQ(path.FindOneOf(_T("w\\")), 2);
}

TEST(StringChanges, CountsAndLengthsComeBack) {
    CString text(_T("one, two, three"));
    EXPECT_EQ(text.Replace(_T(", "), _T("")), 2);
    EXPECT_EQ(text, _T("onetwothree"));
    EXPECT_EQ(text.Replace(_T("e"), _T("ee")), 3);
    EXPECT_EQ(text.Replace(_T(""), _T("x")), 0);
    EXPECT_EQ(text.Replace('e', 'i'), 6);
    EXPECT_EQ(text.Remove('i'), 6);
    EXPECT_EQ(text, _T("ontwothr"));
    EXPECT_EQ(text.Delete(2, 3), 5);
    EXPECT_EQ(text.Delete(3, 99), 3);
    EXPECT_EQ(text, _T("ont"));
    EXPECT_EQ(text.Insert(99, _T("!")), 4);
    EXPECT_EQ(text.Insert(-1, '>'), 5);
    EXPECT_EQ(text, _T(">ont!"));
    EXPECT_EQ(text.MakeReverse(), _T("!tno>"));
}

TEST(StringChanges, TrimTakesBlanksCharactersAndSets) {
    EXPECT_EQ(CString(_T("\t \u3000 x y\u00A0\r\n")).Trim(), _T("x y"));
    EXPECT_EQ(CString(_T("  ")).Trim(), CString());
    EXPECT_EQ(CString(_T("\\\\a\\")).Trim('\\'), _T("a"));
    EXPECT_EQ(CString(_T("\\/a/")).TrimRight(_T("/\\")), _T("\\/a"));
    EXPECT_EQ(CString(_T("\\/a/")).TrimLeft(_T("/\\")), _T("a/"));
}

// The same random edits on a CString and on a plain text must agree.
TEST(StringChanges, AgreeWithPlainTextOverManyEdits) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        CString text;
        Text plain;
        std::vector<std::pair<CString, Text>> copies;
        for (int step = 0; step < 60; ++step) {
            const size_t place = random() % (plain.size() + 1);
            const TCHAR unit = static_cast<TCHAR>('a' + random() % 4);
            switch (random() % 6) {
                case 0:
                    text += unit;
                    plain += unit;
                    break;
                case 1: {
                    const CString part = text.Mid(static_cast<int>(place));
                    text += part;
                    plain += Text(plain.substr(place));
                    break;
                }
                case 2:
                    text.Insert(static_cast<int>(place), unit);
                    plain.insert(place, 1, unit);
                    break;
                case 3:
                    text.Delete(static_cast<int>(place), 2);
                    plain.erase(place, 2);
                    break;
                case 4:
                    copies.emplace_back(text, plain);
                    break;
                default:
                    text.Truncate(static_cast<int>(place % 40));
                    plain.resize(std::min(plain.size(), place % 40));
                    break;
            }
            ASSERT_EQ(text.View(), TextView(plain));
            ASSERT_EQ(text.GetString()[text.GetLength()], 0);
        }
        for (const auto& [copy, expected] : copies) {
            ASSERT_EQ(copy.View(), TextView(expected));
        }
    }
}

TEST(StringConversion, Utf8ComesBack) {
    const CString text(_T("Grün \u20AC \U0001F600"));
    EXPECT_EQ(CString::FromUtf8(text.ToUtf8()), text);
    EXPECT_EQ(text.ToUtf8(), "Gr\xC3\xBCn \xE2\x82\xAC \xF0\x9F\x98\x80");
}
