#include <gtest/gtest.h>

#include <map>

#include "baselib/whole_file.h"
#include "interfaces/baselib.h"
#include "platform/error.h"
#include "platform/process.h"
#include "support/temp_tree.h"

namespace rampart {
namespace {

using test::TempFolder;
using test::TempTree;

CString Path(const TempFolder& folder, std::string_view relative = "") {
    return CString(TextView(folder.Engine(relative)));
}

TEST(FileInfo, SaysWhatOneFileIsLike) {
    TempTree tree({{"a.bin", "12345"}, {"folder/", ""}});
    tree.SetWriteTime("a.bin", 1700000000'999999999);
    const CFileInfo file(Path(tree, "a.bin"));
    EXPECT_TRUE(file.m_exists);
    EXPECT_EQ(file.m_size, 5);
    EXPECT_EQ(file.m_lastWriteTime.GetTime(), 1700000000);
    EXPECT_FALSE(file.m_isFolder);

    tree.SetWriteTime("a.bin", -500'000'000);
    EXPECT_EQ(CFileInfo(Path(tree, "a.bin")).m_lastWriteTime.GetTime(), -1);

    EXPECT_TRUE(CFileInfo(Path(tree, "folder") + _T("\\")).m_isFolder);
    const CFileInfo absent(Path(tree, "b"));
    EXPECT_FALSE(absent.m_exists);
    EXPECT_EQ(absent.m_lastWriteTime.GetTime(), 0);
    EXPECT_FALSE(CFileInfo(_T("")).m_exists);
}

TEST(File, OpensWithoutThrowingAndSaysWhatIsThere) {
    TempTree tree({{"a", "12345"}, {"folder/", ""}});
    KXFile file(Path(tree, "missing"), CFile::modeRead | CFile::shareDenyNone);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(file.Open(Path(tree, "folder"), 64, nullptr));
    ASSERT_TRUE(file.Open(Path(tree, "new"), 4161, nullptr));
    file.Write("abc", 3);
    file.Close();
    EXPECT_EQ(tree.Read("new"), "abc");
    EXPECT_EQ(KXFile::GetFileLength(Path(tree, "a")), 5);
    EXPECT_EQ(KXFile::GetFileLength(Path(tree, "folder")), 0);
    EXPECT_FALSE(KXFile::FileExists(Path(tree, "folder")));
    EXPECT_TRUE(KXFile::CopyFileW(Path(tree, "a"), Path(tree, "new")));
    EXPECT_EQ(tree.Read("new"), "12345");
    EXPECT_TRUE(KXFile::DeleteFileW(Path(tree, "new")));
    EXPECT_FALSE(KXFile::DeleteFileW(Path(tree, "new")));
}

TEST(File, RenamingNeverDestroysAnotherFile) {
    TempTree tree({{"a", "1"}, {"b", "2"}});
    EXPECT_FALSE(PathUtilities::RenameFile(Path(tree, "a"), Path(tree, "b")));
    EXPECT_EQ(tree.Read("b"), "2");
    EXPECT_TRUE(PathUtilities::RenameFile(Path(tree, "a"), Path(tree, "c")));
    EXPECT_EQ(tree.Read("c"), "1");
}

TEST(Folder, IsMadeOnAllLevelsAndMadeAgainAfterItVanished) {
    TempFolder folder;
    const CString path = Path(folder, "x/y/z");
    EXPECT_TRUE(KXFolder::RCreateDirectory(path));
    EXPECT_TRUE(KXFolder::RCreateDirectory(path + _T("\\")));
    std::filesystem::remove_all(folder.Path("x"));
    EXPECT_TRUE(KXFolder::RCreateDirectory(path));
    EXPECT_TRUE(folder.Exists("x/y/z"));
    folder.Write("file", "");
    EXPECT_FALSE(KXFolder::RCreateDirectory(Path(folder, "file/below")));
    EXPECT_FALSE(KXFolder::RCreateDirectory(Path(folder, "file")));
    EXPECT_FALSE(KXFolder::RCreateDirectory(_T("")));
}

TEST(Folder, IsDirectoryTellsAFileFromWhatCannotBeAsked) {
    TempTree tree({{"a", ""}, {"folder/", ""}});
    platform::SetLastError(5);
    EXPECT_FALSE(KXFolder::IsDirectory(Path(tree, "a")));
    EXPECT_EQ(platform::LastError(), 0u);
    EXPECT_TRUE(KXFolder::IsDirectory(Path(tree, "folder") + _T("\\")));
    EXPECT_FALSE(KXFolder::IsDirectory(Path(tree, "missing")));
    EXPECT_EQ(platform::LastError(), platform::kFileNotFound);
    EXPECT_FALSE(KXFolder::IsDirectory(_T("")));
    EXPECT_NE(platform::LastError(), 0u);
}

TEST(Folder, DeletingTakesAllThatIsBelow) {
    TempTree tree({{"x/a", "1"}, {"x/y/b", "2"}, {"x/y/z/c", "3"}, {"x/empty/", ""}, {"keep", "4"}});
    std::filesystem::permissions(tree.Path("x/a"), std::filesystem::perms::owner_read);
    std::filesystem::permissions(tree.Path("x/y"),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    EXPECT_EQ(KXFolder::GetFolderSize(Path(tree, "x"), 0), 3);
    EXPECT_TRUE(KXFolder::DeleteDirectory(Path(tree, "x") + _T("\\"), 0));
    EXPECT_FALSE(tree.Exists("x"));
    EXPECT_TRUE(KXFolder::DeleteDirectory(Path(tree, "x"), 0));
    EXPECT_TRUE(KXFolder::DeleteDirectory(Path(tree, "keep"), 0));
    EXPECT_FALSE(tree.Exists("keep"));
}

TEST(Folder, ARootIsNeverDeleted) {
    for (LPCTSTR path :
         {_T(""), _T("\\"), _T("C:"), _T("C:\\"), _T("C:\\\\"), _T("\\\\nas\\share"), _T("\\\\?\\C:\\")}) {
        EXPECT_FALSE(KXFolder::DeleteDirectory(path, 0)) << CString(path).ToUtf8();
    }
}

TEST(Folder, CopyTakesTheWholeTreeOverWhatIsThere) {
    TempTree tree(
        {{"from/a", "1"}, {"from/x/b", "2"}, {"from/empty/", ""}, {"to/a", "old"}, {"to/other", "3"}});
    EXPECT_TRUE(KXFolder::CopyFolder(Path(tree, "from"), Path(tree, "to")));
    EXPECT_EQ(tree.Read("to/a"), "1");
    EXPECT_EQ(tree.Read("to/x/b"), "2");
    EXPECT_EQ(tree.Read("to/other"), "3");
    EXPECT_TRUE(tree.Exists("to/empty"));
    EXPECT_FALSE(KXFolder::CopyFolder(Path(tree, "from"), Path(tree, "from/x/below")));
    EXPECT_FALSE(KXFolder::CopyFolder(Path(tree, "missing"), Path(tree, "to2")));
}

TEST(Folder, ScanGivesFullPaths) {
    TempTree tree({{"a", ""}, {"b", ""}, {"x/c", ""}});
    KXFolder folder(Path(tree));
    ASSERT_EQ(folder.m_subFileCount, 2);
    ASSERT_EQ(folder.m_subFolderCount, 1);
    EXPECT_EQ(folder.GetSubFolders()[0], Path(tree, "x"));
    EXPECT_EQ(KXFolder(Path(tree, "missing")).m_subFileCount, 0);
}

// The names found by a pattern, in the way every caller loops.
std::map<CString, __int64> Found(const CString& pattern) {
    std::map<CString, __int64> found;
    KXFileFind finder;
    int working = finder.FindFile(pattern);
    while (working) {
        working = finder.FindNextFileW();
        EXPECT_FALSE(finder.IsDots());
        EXPECT_EQ(finder.GetFilePath(),
                  PathUtilities::Append(PathUtilities::GetParentFolder(pattern), finder.GetFileName()));
        found[finder.GetFileName()] = finder.IsDirectory() ? -1 : finder.GetLength();
    }
    return found;
}

TEST(FileFind, ListsAFolderByAllOrSomeNames) {
    TempTree tree(
        {{"a.txt", "1"}, {"B.TXT", "22"}, {"noextension", ""}, {".hidden", "333"}, {"sub/c.txt", "4"}});
    const std::map<CString, __int64> all{
        {_T("a.txt"), 1}, {_T("B.TXT"), 2}, {_T("noextension"), 0}, {_T(".hidden"), 3}, {_T("sub"), -1}};
    EXPECT_EQ(Found(Path(tree) + _T("\\*.*")), all);
    EXPECT_EQ(Found(Path(tree) + _T("\\*")), all);
    KXFileFind finder;
    ASSERT_TRUE(finder.FindFile(Path(tree) + _T("\\\\a.*")));
    finder.FindNextFileW();
    EXPECT_EQ(finder.GetFilePath(), Path(tree, "a.txt"));
    EXPECT_EQ(Found(Path(tree) + _T("\\*.txt")),
              (std::map<CString, __int64>{{_T("a.txt"), 1}, {_T("B.TXT"), 2}}));
    EXPECT_EQ(Found(Path(tree, "a.txt")), (std::map<CString, __int64>{{_T("a.txt"), 1}}));
    EXPECT_EQ(Found(Path(tree, "sub")), (std::map<CString, __int64>{{_T("sub"), -1}}));
    EXPECT_TRUE(Found(Path(tree, "sub") + _T("\\*.pdf")).empty());
    EXPECT_TRUE(Found(Path(tree, "missing") + _T("\\*.*")).empty());
    EXPECT_TRUE(Found(Path(tree, "missing")).empty());
    EXPECT_TRUE(Found(_T("")).empty());
    EXPECT_FALSE(Found(_T("C:\\*.*")).empty());
}

TEST(FileFind, NothingIsReadBeforeTheFirstStepAndBehindTheLast) {
    TempTree tree({{"a", "1"}});
    KXFileFind finder;
    EXPECT_EQ(finder.GetFileName(), _T(""));
    EXPECT_FALSE(finder.FindNextFileW());
    EXPECT_TRUE(finder.FindFile(Path(tree) + _T("\\*")));
    EXPECT_EQ(finder.GetFilePath(), _T(""));
    EXPECT_FALSE(finder.FindNextFileW());
    EXPECT_EQ(finder.GetFileName(), _T("a"));
    EXPECT_FALSE(finder.FindNextFileW());
    EXPECT_EQ(finder.GetFileName(), _T(""));
}

TEST(FileFind, AFolderOfManyEntriesIsListedWhole) {
    TempFolder folder;
    constexpr int kCount = 3000;
    for (int index = 0; index < kCount; index++) {
        folder.Write("f" + std::to_string(index), "");
    }
    EXPECT_EQ(Found(Path(folder) + _T("\\*.*")).size(), static_cast<size_t>(kCount));
}

TEST(WholeFile, OneBeyondTheLimitIsTooLarge) {
    TempTree tree({{"a", "0123456789"}});
    std::string content;
    EXPECT_TRUE(ReadWholeFile(tree.Engine("a"), 10, content));
    EXPECT_EQ(content, "0123456789");
    platform::SetLastError(platform::kNoError);
    EXPECT_FALSE(ReadWholeFile(tree.Engine("a"), 9, content));
    EXPECT_EQ(platform::LastError(), platform::kFileTooLarge);
    EXPECT_FALSE(ReadWholeFile(tree.Engine("none"), 9, content));
    EXPECT_EQ(platform::LastError(), platform::kFileNotFound);
}

TEST(Drives, TheSystemLiesOnADriveOfItsOwnChoice) {
    CString drive;
    EXPECT_NE(GetSystemDriver(drive), 0);
    const std::string told = platform::EnvironmentVariable("SystemDrive");  // Windows says so there too
    EXPECT_EQ(drive.ToUtf8(), told.empty() ? "C:" : told);
    EXPECT_TRUE(KXFolder::IsDirectory(drive + _T("\\")));
}

TEST(Drives, TheTemporaryFolderLiesOnADriveWithRoom) {
    TempTree tree({{"a", "1"}});
    const CString path = Path(tree, "a");
    EXPECT_NE(GetDriveFromPath(path), 0);
    EXPECT_GT(GetDiskFreeSize(path), 0);
    EXPECT_EQ(GetDiskBySerial(0), 0);
    EXPECT_TRUE(IsSameFileLocal(path, path));
    EXPECT_FALSE(IsSameFileLocal(path, Path(tree)));
    unsigned long error = 7;
    EXPECT_TRUE(KXFolder::ConnectUNC(path, error));
    EXPECT_EQ(error, 0u);
    EXPECT_TRUE(KXFolder::ConnectUNC(_T(""), error));
}

}  // namespace
}  // namespace rampart
