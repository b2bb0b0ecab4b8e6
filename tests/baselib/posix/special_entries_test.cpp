// Links, pipes and sockets in a source, and folders that cannot be read.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "interfaces/baselib.h"
#include "support/temp_tree.h"

namespace rampart {
namespace {

CString EntryPath(const test::TempFolder& folder, std::string_view relative = "") {
    return CString(TextView(folder.Engine(relative)));
}

class SpecialEntries : public testing::Test {
protected:
    SpecialEntries() {
        std::filesystem::create_symlink(m_tree.Path("outside"), m_tree.Path("in/link-to-folder"));
        std::filesystem::create_symlink(m_tree.Path("in/a"), m_tree.Path("in/link-to-file"));
        EXPECT_EQ(mkfifo(m_tree.Native("in/pipe").c_str(), 0600), 0);
        SetSkippedEntrySink(
            [](SkippedEntry const& entry, void* context) {
                (*static_cast<std::map<CString, CString>*>(context))[PathUtilities::GetFileName(entry.path)] =
                    entry.isError ? _T("error") : entry.reason;
            },
            &m_skipped);
    }
    ~SpecialEntries() override { SetSkippedEntrySink(nullptr, nullptr); }

    test::TempTree m_tree{{"in/a", "1"}, {"in/x/b", "2"}, {"outside/precious", "3"}};
    std::map<CString, CString> m_skipped;
};

TEST_F(SpecialEntries, ArePassedOverAndNoted) {
    KXFileFind finder;
    int count = 0;
    for (int working = finder.FindFile(EntryPath(m_tree, "in") + _T("\\*.*")); working; count++) {
        working = finder.FindNextFileW();
    }
    EXPECT_EQ(count, 4) << "two files and two links";
    EXPECT_EQ(m_skipped, (std::map<CString, CString>{{_T("pipe"), _T("named pipe, socket or device")}}));
    CFileInfo const link(EntryPath(m_tree, "in/link-to-folder"));
    EXPECT_TRUE(link.m_exists);
    EXPECT_EQ(FileKind::kLink, link.m_kind);
    EXPECT_FALSE(link.m_isFolder);
    EXPECT_EQ(FileKind::kFile, CFileInfo(EntryPath(m_tree, "in/a")).m_kind);
    EXPECT_FALSE(KXFile::FileExists(EntryPath(m_tree, "in/pipe")));
    EXPECT_FALSE(KXFolder::IsDirectory(EntryPath(m_tree, "in/link-to-folder")));
    EXPECT_TRUE(PathUtilities::IsExisting(EntryPath(m_tree, "in/link-to-folder")));
}

TEST_F(SpecialEntries, AreNeitherCountedNorFollowedNorCopied) {
    EXPECT_EQ(KXFolder::GetFolderSize(EntryPath(m_tree, "in"), 0), 2);
    EXPECT_TRUE(KXFolder::CopyFolder(EntryPath(m_tree, "in"), EntryPath(m_tree, "copy")));
    EXPECT_FALSE(m_tree.Exists("copy/link-to-folder"));
    EXPECT_TRUE(KXFolder::DeleteDirectory(EntryPath(m_tree, "in"), 0));
    EXPECT_FALSE(m_tree.Exists("in"));
    EXPECT_EQ(m_tree.Read("outside/precious"), "3");
}

TEST_F(SpecialEntries, ALinkToAFolderIsDeletedAsALink) {
    EXPECT_TRUE(KXFolder::DeleteDirectory(EntryPath(m_tree, "in/link-to-folder"), 0));
    EXPECT_FALSE(m_tree.Exists("in/link-to-folder"));
    EXPECT_EQ(m_tree.Read("outside/precious"), "3");
}

TEST_F(SpecialEntries, AFolderThatCannotBeReadIsAnError) {
    m_skipped.clear();
    KXFileFind finder;
    EXPECT_FALSE(finder.FindFile(EntryPath(m_tree, "in/a") + _T("\\*.*")));
    EXPECT_EQ(m_skipped, (std::map<CString, CString>{{_T("a"), _T("error")}}));
}

TEST_F(SpecialEntries, NamesThatAreNoTextAreListedAndFound) {
    const std::string odd = m_tree.Native("in/x") +
                            "/\xFF"
                            "a:b*?";
    std::ofstream(odd) << "odd";
    KXFileFind finder;
    CString found;
    for (int working = finder.FindFile(EntryPath(m_tree, "in/x") + _T("\\*")); working;) {
        working = finder.FindNextFileW();
        if (finder.GetFileName() != _T("b")) {
            found = finder.GetFilePath();
        }
    }
    EXPECT_EQ(KXFile::GetFileLength(found), 3);
    EXPECT_TRUE(finder.FindFile(found));
    EXPECT_TRUE(KXFolder::ForceDelFile(found));
    EXPECT_FALSE(std::filesystem::exists(odd));
}

}  // namespace
}  // namespace rampart
