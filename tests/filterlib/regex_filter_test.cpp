#include <gtest/gtest.h>

#include <thread>

#include "interfaces/filterlib.h"

namespace rampart {
namespace {

bool FileFits(const CString& entry, const CString& path) {
    return RegexFilter::MatchUIBoostFilter(RegexFilter::ChangeFilePathToBoostRegexFilter(entry, 0), path) !=
           0;
}

bool FolderFits(const CString& entry, const CString& path) {
    return RegexFilter::MatchUIBoostFilter(RegexFilter::ChangeFilePathToBoostRegexFilter(entry, 1), path) !=
           0;
}

TEST(FileEntry, ANameCountsAtAnyDepthAndAsAWhole) {
    EXPECT_TRUE(FileFits(_T("*.tmp"), _T("C:\\a\\b\\x.TMP")));
    EXPECT_TRUE(FileFits(_T("*.tmp"), _T("C:\\.tmp")));
    EXPECT_FALSE(FileFits(_T("*.tmp"), _T("C:\\a\\x.tmp.bak")));
    EXPECT_FALSE(FileFits(_T("*.tmp"), _T("C:\\a.tmp\\x.txt")));
    EXPECT_TRUE(FileFits(_T("Thumbs.db"), _T("D:\\pics\\thumbs.DB")));
    EXPECT_FALSE(FileFits(_T("Thumbs.db"), _T("D:\\pics\\mythumbs.db")));
    EXPECT_FALSE(FileFits(_T("Thumbs.db"), _T("D:\\pics\\thumbsxdb")));
    EXPECT_TRUE(FileFits(_T(" ~$*.doc? "), _T("C:\\~$letter.docx")));
    EXPECT_FALSE(FileFits(_T("a?c"), _T("C:\\a\\c")));
    EXPECT_TRUE(FileFits(_T("\u00c4*"), _T("C:\\\u00e4pfel")));
    EXPECT_TRUE(FileFits(_T("x(1)+[a]{2}^.txt"), _T("C:\\x(1)+[A]{2}^.txt")));
}

TEST(FileEntry, APathCountsAtItsPlaceOnly) {
    EXPECT_TRUE(FileFits(_T("C:\\x\\y.txt"), _T("c:\\X\\Y.txt")));
    EXPECT_FALSE(FileFits(_T("C:\\x\\y.txt"), _T("D:\\C\\x\\y.txt")));
    EXPECT_TRUE(FileFits(_T("C:\\x\\*.log"), _T("C:\\x\\a.log")));
    EXPECT_FALSE(FileFits(_T("C:\\x\\*.log"), _T("C:\\x\\deep\\a.log")));
    EXPECT_TRUE(FileFits(_T("C:/x/*.log"), _T("C:\\x\\a.log")));
    EXPECT_TRUE(FileFits(_T("D:\\x\\*"), _T("D:\\x\\deep\\a")));
    EXPECT_TRUE(FileFits(_T("D:\\x\\*.*"), _T("D:\\x\\noextension")));
    EXPECT_FALSE(FileFits(_T("D:\\x\\*"), _T("D:\\x2\\a")));
    EXPECT_TRUE(FileFits(_T("logs\\*.txt"), _T("C:\\a\\logs\\b.txt")));
    EXPECT_FALSE(FileFits(_T("logs\\*.txt"), _T("C:\\a\\mylogs\\b.txt")));
    EXPECT_TRUE(FileFits(_T("\\work\\*.log"), _T("E:\\work\\a.log")));
    EXPECT_FALSE(FileFits(_T("\\work\\*.log"), _T("E:\\x\\work\\a.log")));
    EXPECT_TRUE(FileFits(_T("\\\\nas\\music\\*.wav"), _T("\\\\NAS\\music\\a.wav")));
    EXPECT_TRUE(FileFits(_T("*"), _T("C:\\a\\b")));
}

TEST(FolderEntry, NamesTheFolderAndAllBelowIt) {
    EXPECT_TRUE(FolderFits(_T("cache"), _T("C:\\a\\Cache\\")));
    EXPECT_TRUE(FolderFits(_T("cache\\"), _T("C:\\a\\Cache\\deep\\")));
    EXPECT_FALSE(FolderFits(_T("cache"), _T("C:\\a\\mycache\\")));
    EXPECT_FALSE(FolderFits(_T("cache"), _T("C:\\a\\cache2\\")));
    EXPECT_TRUE(FolderFits(_T("C:\\x\\y"), _T("C:\\x\\y\\")));
    EXPECT_FALSE(FolderFits(_T("C:\\x\\y"), _T("C:\\x\\")));
    EXPECT_TRUE(FolderFits(_T("C:\\x\\*"), _T("C:\\x\\any\\")));
    EXPECT_FALSE(FolderFits(_T("C:\\x\\*"), _T("C:\\x\\")));
    EXPECT_TRUE(FolderFits(_T(".Trash-*"), _T("C:\\media\\.trash-1000\\")));
    EXPECT_TRUE(FolderFits(_T("D:\\"), _T("D:\\")));
    EXPECT_TRUE(FolderFits(_T("D:\\"), _T("D:\\sub\\")));
}

TEST(Entry, OddTextsFitNothingAndBreakNothing) {
    for (LPCTSTR entry : {_T(""), _T("  "), _T("\\"), _T("\\\\\\")}) {
        EXPECT_FALSE(FileFits(entry, _T("C:\\a"))) << CString(entry).ToUtf8();
        EXPECT_FALSE(FolderFits(entry, _T("C:\\a\\"))) << CString(entry).ToUtf8();
    }
    EXPECT_FALSE(RegexFilter::MatchUIBoostFilter(_T("("), _T("C:\\a")));
    EXPECT_FALSE(RegexFilter::MatchUIBoostFilter(_T("a"), _T("C:\\a")));  // as a whole
}

TEST(Entry, BytesThatAreNoTextAreCharactersToo) {
    const CString path = CString(_T("C:\\x")) + TCHAR(0xDCFF) + _T("y\\\xDBFF") + _T(".tmp");
    EXPECT_TRUE(FileFits(_T("*.tmp"), path));
    EXPECT_TRUE(FileFits(path, path));
    EXPECT_TRUE(FileFits(_T("C:\\x?y\\?.tmp"), path));
    EXPECT_TRUE(FileFits(_T("?"), _T("C:\\\xD83D\xDE00")));
}

class AccountLists : public testing::Test {
protected:
    ~AccountLists() override { RegexFilter::InitBoostRegex({}, {}); }
};

TEST_F(AccountLists, AreMatchedAsOneAndReplacedAsAWhole) {
    EXPECT_FALSE(RegexFilter::MatchBoostFileFilter(_T("C:\\a.tmp")));
    std::vector<CString> files, folders;
    RegexFilter::StoreRegexFilterToVector(_T("|*.tmp| *.bak ||C:\\x\\*"), files, 0);
    RegexFilter::StoreRegexServerFilterToVector(_T("cache|regex:.*\\\\t[0-9]+\\\\|REGEX:("), folders, 1);
    EXPECT_EQ(files.size(), 3u);
    ASSERT_EQ(folders.size(), 3u);
    EXPECT_EQ(folders[1], _T(".*\\\\t[0-9]+\\\\"));
    EXPECT_EQ(RegexFilter::InitBoostRegex(files, folders), 5);  // one is no expression
    EXPECT_TRUE(RegexFilter::MatchBoostFileFilter(_T("C:\\a.TMP")));
    EXPECT_TRUE(RegexFilter::MatchBoostFileFilter(_T("C:\\x\\y\\z")));
    EXPECT_FALSE(RegexFilter::MatchBoostFileFilter(_T("C:\\a.txt")));
    EXPECT_TRUE(RegexFilter::MatchBoostFolderFilter(_T("C:\\Cache\\")));
    EXPECT_TRUE(RegexFilter::MatchBoostFolderFilter(_T("C:\\t17\\")));
    EXPECT_FALSE(RegexFilter::MatchBoostFolderFilter(_T("C:\\t17\\x\\")));
    EXPECT_FALSE(RegexFilter::MatchBoostFileFilter(_T("C:\\Cache\\x")));

    EXPECT_EQ(RegexFilter::InitBoostRegex({_T(".*\\.txt")}, {}), 1);
    EXPECT_TRUE(RegexFilter::MatchBoostFileFilter(_T("C:\\a.txt")));
    EXPECT_FALSE(RegexFilter::MatchBoostFileFilter(_T("C:\\a.tmp")));
    EXPECT_FALSE(RegexFilter::MatchBoostFolderFilter(_T("C:\\Cache\\")));
}

TEST_F(AccountLists, AThousandEntriesStillFindTheOne) {
    std::vector<CString> files;
    for (int index = 0; index < 1000; index++) {
        files.push_back(
            RegexFilter::ChangeFilePathToBoostRegexFilter(FormatText(_T("*pattern%d*.x?z"), index), 0));
    }
    EXPECT_EQ(RegexFilter::InitBoostRegex(files, {}), 1000);
    EXPECT_TRUE(RegexFilter::MatchBoostFileFilter(_T("C:\\some\\folder\\my pattern999 file.xyz")));
    EXPECT_FALSE(RegexFilter::MatchBoostFileFilter(_T("C:\\some\\folder\\my pattern999 file.xyzz")));
    for (int index = 0; index < 200; index++) {
        const CString path = FormatText(_T("C:\\folder %d\\patter %d pattern%d.xz"), index, index * 7, index);
        EXPECT_FALSE(RegexFilter::MatchBoostFileFilter(path));
    }
}

TEST_F(AccountLists, MayBeReplacedWhileScansAskThem) {
    RegexFilter::InitBoostRegex({_T(".*\\.tmp")}, {});
    std::atomic<bool> stop = false;
    std::vector<std::thread> scans;
    for (int index = 0; index < 3; index++) {
        scans.emplace_back([&] {
            while (!stop) {
                EXPECT_TRUE(RegexFilter::MatchBoostFileFilter(_T("C:\\x\\a.tmp")));
                EXPECT_FALSE(RegexFilter::MatchBoostFileFilter(_T("C:\\x\\a.txt")));
                EXPECT_TRUE(FileFits(_T("*.log"), _T("C:\\x\\a.log")));
            }
        });
    }
    for (int round = 0; round < 100; round++) {
        RegexFilter::InitBoostRegex({_T(".*\\.tmp"), FormatText(_T("x%d"), round)}, {});
    }
    stop = true;
    for (std::thread& scan : scans) {
        scan.join();
    }
}

}  // namespace
}  // namespace rampart
