#include <gtest/gtest.h>

#include <set>

#include "interfaces/baselib.h"
#include "platform/error.h"

namespace rampart {
namespace {

TEST(TextLists, ABarListIsSplitAndEmptyPartsFallAway) {
    CStringList list;
    StrToStrList(_T("||a| b |||c|"), list);
    std::vector<CString> texts;
    RestoreCStrListToVector(list, texts);
    EXPECT_EQ(texts, (std::vector<CString>{_T("a"), _T(" b "), _T("c")}));
    StrToStrList(_T(""), list);
    EXPECT_EQ(list.GetCount(), 3);
    ASSERT_NE(StringListFindNoCase(list, _T("C")), nullptr);
    EXPECT_EQ(list.GetAt(StringListFindNoCase(list, _T("C"))), _T("c"));
    EXPECT_EQ(StringListFindNoCase(list, _T("b")), nullptr);
    EXPECT_TRUE(VectorFindNoCase(_T("A"), texts));
    EXPECT_FALSE(VectorFindNoCase(_T("x"), texts));
}

TEST(SizeText, ShowsTheUnitThatFits) {
    EXPECT_EQ(FormatSizeToString(0, 0), _T("0 B"));
    EXPECT_EQ(FormatSizeToString(1023, 0), _T("1023 B"));
    EXPECT_EQ(FormatSizeToString(1024, 0), _T("1.00 KB"));
    EXPECT_EQ(FormatSizeToString(1536 * 1024, 0), _T("1.50 MB"));
    EXPECT_EQ(FormatSizeToString(1024 * 1024 - 1, 0), _T("1.00 MB"));
    EXPECT_EQ(FormatSizeToString(9223372036854775807LL, 0), _T("8.00 EB"));
    EXPECT_EQ(FormatSizeToString(-2048, 0), _T("-2.00 KB"));
}

TEST(SizeText, ReadsBackWhatItShowsAndPlainNumbers) {
    EXPECT_EQ(StringToSize(_T("1.50 MB")), 1536 * 1024);
    EXPECT_EQ(StringToSize(_T(" 1023 B ")), 1023);
    EXPECT_EQ(StringToSize(_T("2kb")), 2048);
    EXPECT_EQ(StringToSize(_T("3 g")), 3LL << 30);
    EXPECT_EQ(StringToSize(_T("9223372036854775807")), 9223372036854775807LL);
    EXPECT_EQ(StringToSize(_T("9007199254740993")), 9007199254740993LL);
    EXPECT_EQ(StringToSize(_T("99999999999999999999 EB")), 9223372036854775807LL);
    EXPECT_EQ(StringToSize(_T("-1 KB")), -1024);
    for (LPCTSTR text : {_T(""), _T("x"), _T("1 XB"), _T("."), _T("-"), _T("MB")}) {
        EXPECT_EQ(StringToSize(text), 0) << CString(text).ToUtf8();
    }
}

TEST(Streams, TimesAndListsComeBackAndHaveTheirWidth) {
    CMemFile file;
    {
        CArchive archive(&file, CArchive::store);
        StoreCTime(CTime(-5), archive);
        CStringList list;
        list.AddTail(_T("a"));
        list.AddTail(_T(""));
        StoreStringList(list, archive);
        StoreVectorIntoCArchive({_T("x"), CString(_T('y'), 300)}, archive);
        StoreVectorIntoCArchive({}, archive);
    }
    EXPECT_EQ(file.GetLength(), 8u + 4 + (4 + 2) + 4 + 4 + (4 + 2) + (6 + 600) + 4);
    file.SeekToBegin();
    CArchive archive(&file, CArchive::load);
    CTime time;
    std::vector<CString> texts{_T("old")};
    LoadCTime(time, archive);
    EXPECT_EQ(time.GetTime(), -5);
    LoadCArchiveToVector(archive, texts);
    EXPECT_EQ(texts, (std::vector<CString>{_T("a"), _T("")}));
    LoadCArchiveToVector(archive, texts);
    EXPECT_EQ(texts, (std::vector<CString>{_T("x"), CString(_T('y'), 300)}));
    LoadCArchiveToVector(archive, texts);
    EXPECT_TRUE(texts.empty());
    EXPECT_THROW(LoadCArchiveToVector(archive, texts), CArchiveException);
}

TEST(Streams, ACountThatIsALieEndsWithTheStream) {
    CMemFile file;
    {
        CArchive archive(&file, CArchive::store);
        archive << DWORD{0xFFFFFFFF} << CString(_T("only one"));
    }
    file.SeekToBegin();
    CArchive archive(&file, CArchive::load);
    std::vector<CString> texts;
    EXPECT_THROW(LoadCArchiveToVector(archive, texts), CArchiveException);
}

TEST(Identifiers, AreWellFormedAndDiffer) {
    std::set<CString> seen;
    for (int index = 0; index < 100; index++) {
        const CString guid = CreateGUID();
        ASSERT_EQ(guid.GetLength(), 36);
        EXPECT_EQ(guid[8], _T('-'));
        EXPECT_EQ(guid[14], _T('4'));
        EXPECT_NE(TextView(_T("89AB")).find(guid[19]), TextView::npos);
        seen.insert(guid);
    }
    EXPECT_EQ(seen.size(), 100u);
}

TEST(ErrorText, OfTheLastErrorAndOfAnother) {
    platform::SetLastError(platform::kDiskFull);
    EXPECT_EQ(GetLastErrorMsg(), GetLastErrorMsgEx(112));
    EXPECT_FALSE(GetLastErrorMsgEx(99999).IsEmpty());
}

}  // namespace
}  // namespace rampart
