#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_system.h"
#include "platform/volumes.h"
#include "support/temp_tree.h"

namespace rampart::platform {
namespace {

using test::TempFolder;
using test::TempTree;

TEST(SpecialFiles, APipeIsToldAndNeverBlocks) {
    TempTree tree({{"file", "x"}});
    ASSERT_EQ(mkfifo(tree.Native("pipe").c_str(), 0600), 0);
    FileStatus status;
    ASSERT_TRUE(QueryStatus(tree.Engine("pipe"), status));
    EXPECT_NE(status.attributes & kSpecial, 0u);
    EXPECT_FALSE(status.IsRegularFile());
    for (const uint32_t mode :
         {uint32_t{kOpenRead}, uint32_t{kOpenRead | kOpenWrite}, uint32_t{kOpenWrite}}) {
        EXPECT_FALSE(FileHandle::Open(tree.Engine("pipe"), mode));
    }
    EXPECT_FALSE(CopyFileContent(tree.Engine("pipe"), tree.Engine("copy"), nullptr));
    EXPECT_FALSE(CopyFileContent(tree.Engine("file"), tree.Engine("pipe"), nullptr));
    EXPECT_FALSE(tree.Exists("copy"));
    EXPECT_TRUE(tree.Exists("pipe"));
}

TEST(SpecialFiles, ALinkIsNeverFollowed) {
    TempTree tree({{"folder/inside", "x"}, {"file", "content"}});
    std::filesystem::create_symlink("file", tree.Path("link"));
    std::filesystem::create_symlink("folder", tree.Path("way"));
    std::filesystem::create_symlink("nowhere", tree.Path("dangling"));
    std::map<Text, uint32_t> listed;
    auto reader = DirectoryReader::Open(tree.Engine(), /*withStatus=*/false);
    for (DirectoryEntry entry; reader->Next(entry);) {
        listed[entry.name] = entry.status.attributes;
    }
    for (const std::string name : {"link", "way", "dangling"}) {
        FileStatus status;
        ASSERT_TRUE(QueryStatus(tree.Engine(name), status));
        EXPECT_EQ(status.attributes & (kReparsePoint | kDirectory | kSpecial), uint32_t{kReparsePoint});
        EXPECT_EQ(listed[FromUtf8(name)] & (kReparsePoint | kDirectory | kSpecial), uint32_t{kReparsePoint});
        EXPECT_FALSE(FileHandle::Open(tree.Engine(name), kOpenRead));
        EXPECT_FALSE(CopyFileContent(tree.Engine(name), tree.Engine("copy"), nullptr));
        EXPECT_FALSE(SetAttributes(tree.Engine(name), kReadOnly));
    }
    EXPECT_FALSE(DirectoryReader::Open(tree.Engine("way"), false));
    EXPECT_TRUE(FileHandle::Open(tree.Engine("link"), kOpenRead | kOpenFollowLink));
    EXPECT_FALSE(CopyFileContent(tree.Engine("folder/inside"), tree.Engine("link"), nullptr));
    EXPECT_EQ(tree.Read("file"), "content");
    EXPECT_TRUE(RemoveFile(tree.Engine("way")));
    EXPECT_TRUE(tree.Exists("folder/inside"));
}

TEST(SpecialFiles, ADotMakesANameHidden) {
    TempTree tree({{".hidden", ""}, {"seen.txt", ""}});
    auto reader = DirectoryReader::Open(tree.Engine(), /*withStatus=*/true);
    int entries = 0;
    for (DirectoryEntry entry; reader->Next(entry); entries++) {
        FileStatus status;
        ASSERT_TRUE(QueryStatus(tree.Engine() + _T("\\") + entry.name, status));
        EXPECT_EQ((status.attributes & kHidden) != 0, entry.name[0] == '.');
        EXPECT_EQ(status.attributes, entry.status.attributes);
        FileStatus byHandle;
        auto file = FileHandle::Open(tree.Engine() + _T("\\") + entry.name, kOpenRead);
        ASSERT_TRUE(file && file->QueryStatus(byHandle));
        EXPECT_EQ(byHandle.attributes, status.attributes);
    }
    EXPECT_EQ(entries, 2);
}

TEST(CopyFileContent, HolesStayHoles) {
    TempFolder folder;
    constexpr off_t kSize = 8 * 1024 * 1024;
    folder.Write("from", "begin");
    auto file = FileHandle::Open(folder.Engine("from"), kOpenWrite);
    ASSERT_EQ(file->WriteAt(kSize / 2, "middle", 6), 6);
    ASSERT_TRUE(file->SetSize(kSize));
    struct stat from;
    ASSERT_EQ(stat(folder.Native("from").c_str(), &from), 0);
    if (from.st_blocks * 512 >= kSize) {
        GTEST_SKIP() << "this file system keeps no holes";
    }
    ASSERT_TRUE(CopyFileContent(folder.Engine("from"), folder.Engine("to"), nullptr));
    struct stat to;
    ASSERT_EQ(stat(folder.Native("to").c_str(), &to), 0);
    EXPECT_EQ(to.st_size, kSize);
    EXPECT_LE(to.st_blocks, from.st_blocks + 16);
    EXPECT_TRUE(folder.Read("from") == folder.Read("to"));
}

TEST(CopyFileContent, ACopyIsAsPrivateAsItsSource) {
    TempTree tree({{"from", "secret"}});
    ASSERT_EQ(chmod(tree.Native("from").c_str(), 0400), 0);
    ASSERT_TRUE(CopyFileContent(tree.Engine("from"), tree.Engine("to"), nullptr));
    struct stat to;
    ASSERT_EQ(stat(tree.Native("to").c_str(), &to), 0);
    EXPECT_EQ(to.st_mode & 07777, 0600u);
}

// A volume of its own, which only the administrator can make.
TEST(FullDisk, AFailedCopySaysSoAndLeavesNoPart) {
    TempTree tree({{"volume/", ""}, {"from", std::string(3 << 20, 'x')}});
    const std::string volume = tree.Native("volume");
    if (mount("none", volume.c_str(), "tmpfs", 0, "size=1m") != 0) {
        GTEST_SKIP() << "cannot mount a volume here";
    }
    RefreshDrives();
    SetLastError(kNoError);
    EXPECT_FALSE(CopyFileContent(tree.Engine("from"), tree.Engine("volume/to"), nullptr));
    EXPECT_EQ(LastError(), kDiskFull);
    EXPECT_FALSE(tree.Exists("volume/to"));
    DiskSpace space;
    EXPECT_TRUE(QueryDiskSpace(tree.Engine("volume/none"), space));
    EXPECT_EQ(space.totalBytes, uint64_t{1} << 20);
    tree.Write("small", "x");
    SetLastError(kNoError);
    EXPECT_FALSE(RenamePath(tree.Engine("small"), tree.Engine("volume/small"), true));
    EXPECT_EQ(LastError(), kNotSameDevice);
    EXPECT_TRUE(CopyFileContent(tree.Engine("small"), tree.Engine("volume/small"), nullptr));
    EXPECT_EQ(tree.Read("volume/small"), "x");
    EXPECT_EQ(umount(volume.c_str()), 0);
    RefreshDrives();
}

TEST(DirectoryReader, PassesOverWhatVanished) {
    TempTree tree({{"a", "x"}, {"b", "y"}});
    auto reader = DirectoryReader::Open(tree.Engine(), /*withStatus=*/true);
    ASSERT_TRUE(reader);
    DirectoryEntry entry;
    ASSERT_TRUE(reader->Next(entry));
    std::filesystem::remove(tree.Path(entry.name == _T("a") ? "b" : "a"));
    SetLastError(kNoError);
    EXPECT_FALSE(reader->Next(entry));
    EXPECT_EQ(LastError(), kNoMoreItems);
}

}  // namespace
}  // namespace rampart::platform
