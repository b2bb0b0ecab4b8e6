// Paths and names as this system has them.
#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "platform/terminal.h"
#include "support/temp_tree.h"

namespace rampart::platform {
namespace {

using test::TempFolder;
using test::TempTree;

TEST(WindowsPaths, NativeIsTheSamePathWithForwardSlashes) {
    EXPECT_EQ(ToNativePath(L"c:\\Users\\\u00FC\\a"), "C:/Users/\xC3\xBC/a");
    EXPECT_EQ(ToEnginePath("c:/Users\\\xC3\xBC/a/"), L"C:\\Users\\\u00FC\\a");
    EXPECT_EQ(ToEnginePath("C:"), L"C:\\");
    EXPECT_EQ(ToEnginePath("C:relative"), L"");
    EXPECT_EQ(ToEnginePath("/below/the/root"), L"");
}

TEST(WindowsPaths, AShareKeepsItsServer) {
    EXPECT_EQ(ToNativePath(L"\\\\server\\share\\a\\..\\..\\b"), "//server/share/b");
    EXPECT_EQ(ToNativePath(L"\\\\?\\UNC\\server\\share"), "//server/share");
    EXPECT_EQ(ToEnginePath("//server/share/a/b"), L"\\\\server\\share\\a\\b");
    EXPECT_EQ(ToEnginePath("//server/share"), L"\\\\server\\share");
    for (const TextView path :
         {TextView(L"\\\\server"), TextView(L"\\\\?\\UNC\\server"), TextView(L"\\\\..\\share\\a"),
          TextView(L"\\\\.\\C:\\a"), TextView(L"\\\\?\\Volume{1}\\a")}) {
        SetLastError(kNoError);
        EXPECT_EQ(ToNativePath(path), "");
        EXPECT_EQ(LastError(), kBadNetworkPath);
    }
}

TEST(WindowsPaths, ANameThatOpensSomethingElseIsRefused) {
    TempTree tree({{"file", "content"}});
    for (const TextView name :
         {TextView(L"file:stream"), TextView(L"file::$DATA"), TextView(L"fi*"), TextView(L"fil?"),
          TextView(L"a<b"), TextView(L"a|b"), TextView(L"a\"b"), TextView(L"a\nb")}) {
        SetLastError(kNoError);
        EXPECT_FALSE(
            FileHandle::Open(tree.Engine() + L"\\" + Text(name), kOpenRead | kOpenWrite | kOpenCreate));
        EXPECT_EQ(LastError(), kInvalidName);
    }
    EXPECT_EQ(test::ReadTree(tree.Path()).size(), 1u);
}

TEST(WindowsPaths, NamesThatTheSystemWouldBendAreKept) {
    TempFolder folder;
    for (const TextView name :
         {TextView(L"dot."), TextView(L"blank "), TextView(L"NUL"), TextView(L"com1.txt")}) {
        const Text path = folder.Engine() + L"\\" + Text(name);
        {
            const auto file = FileHandle::Open(path, kOpenWrite | kOpenCreate | kOpenExclusive);
            ASSERT_TRUE(file) << LastError();
        }
        const auto reader = DirectoryReader::Open(folder.Engine(), false);
        ASSERT_TRUE(reader);
        DirectoryEntry entry;
        ASSERT_TRUE(reader->Next(entry));
        EXPECT_EQ(entry.name, name);
        EXPECT_TRUE(RemoveFile(path));
    }
}

TEST(WindowsPaths, LengthHasNoLimitOfTheSystem) {
    TempFolder folder;
    Text path = folder.Engine();
    while (path.size() < 600) {
        path += L"\\" + Text(40, L'a');
    }
    ASSERT_TRUE(CreateFolders(path));
    EXPECT_TRUE(FileHandle::Open(path + L"\\file", kOpenWrite | kOpenCreate));
    FileStatus status;
    EXPECT_TRUE(QueryStatus(path + L"\\file", status) && status.IsRegularFile());
    EXPECT_TRUE(RemoveFile(path + L"\\file"));
    while (path.size() > folder.Engine().size()) {
        EXPECT_TRUE(RemoveEmptyFolder(path));
        path.resize(path.rfind(L'\\'));
    }
}

TEST(WindowsPaths, RelativeOnesCountFromTheWorkingFolderOfTheirDrive) {
    const std::string folder = WorkingFolder();
    ASSERT_TRUE(IsAbsoluteNativePath(folder));
    EXPECT_EQ(AbsoluteNativePath("a/b"), folder + (folder.ends_with('/') ? "" : "/") + "a/b");
    EXPECT_EQ(AbsoluteNativePath("."), folder);
    EXPECT_EQ(AbsoluteNativePath("\\a"), folder.substr(0, 2) + "/a");
    EXPECT_EQ(AbsoluteNativePath(folder.substr(0, 2) + "a"), AbsoluteNativePath("a"));
    EXPECT_EQ(AbsoluteNativePath("D:/a"), "D:/a");
    EXPECT_EQ(AbsoluteNativePath("//server/share"), "//server/share");
}

TEST(WindowsFiles, AReadOnlyFileCanBeRemoved) {
    TempTree tree({{"file", "x"}});
    ASSERT_TRUE(SetAttributes(tree.Engine("file"), kReadOnly | kHidden));
    FileStatus status;
    ASSERT_TRUE(QueryStatus(tree.Engine("file"), status));
    EXPECT_EQ(status.attributes & (kReadOnly | kHidden), kReadOnly | kHidden);
    EXPECT_TRUE(RemoveFile(tree.Engine("file")));
    EXPECT_FALSE(tree.Exists("file"));
}

}  // namespace
}  // namespace rampart::platform
