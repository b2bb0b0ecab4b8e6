#include "platform/path_mapping.h"

#include "platform/error.h"
#include "platform/file_system.h"
#include "platform/process.h"
#include "platform/volumes.h"
#include "support/temp_tree.h"

namespace rampart::platform {
namespace {

TEST(PathMapping, DriveAndSeparators) {
    const std::string root = ToNativePath(_T("C:\\"));
    const std::string below = ToNativePath(_T("C:\\a"));
    EXPECT_EQ(ToNativePath(_T("C:")), root);
    EXPECT_EQ(ToNativePath(_T("c:/a//b\\")), ToNativePath(_T("C:\\a\\b")));
    EXPECT_EQ(ToNativePath(_T("\\\\?\\C:\\a")), below);
    EXPECT_EQ(ToNativePath(_T("\\a")), below);
    EXPECT_EQ(ToNativePath(_T("a")), below);
    EXPECT_EQ(ToEnginePath(root), _T("C:\\"));
    EXPECT_EQ(ToEnginePath(below), _T("C:\\a"));
}

TEST(PathMapping, DotsAreResolvedAndNeverLeadAboveTheRoot) {
    const std::string ab = ToNativePath(_T("C:\\a\\b"));
    EXPECT_EQ(ToNativePath(_T("C:\\a\\.\\x\\..\\b")), ab);
    EXPECT_EQ(ToNativePath(_T("C:\\..\\..\\a\\b\\.")), ab);
    EXPECT_EQ(ToNativePath(_T("C:\\a\\..")), ToNativePath(_T("C:\\")));
    EXPECT_EQ(ToNativePath(_T("C:\\a\\.b..c")), ToNativePath(_T("C:\\a")) + "/.b..c");
    EXPECT_EQ(ToEnginePath(ab + "/./x/../../b/"), _T("C:\\a\\b"));
}

TEST(PathMapping, AZeroInAPathIsRefused) {
    SetLastError(kNoError);
    EXPECT_EQ(ToNativePath(Text(_T("C:\\a\0b"), 6)), "");
    EXPECT_EQ(LastError(), kInvalidName);
}

TEST(PathMapping, PathsThatStandForNothing) {
    SetLastError(kNoError);
    EXPECT_EQ(ToNativePath(_T("")), "");
    EXPECT_EQ(LastError(), kPathNotFound);
    SetLastError(kNoError);
    EXPECT_EQ(ToNativePath(_T("B:\\x")), "");
    EXPECT_EQ(LastError(), kPathNotFound);
    EXPECT_EQ(VolumeSerial('B'), 0u);
    EXPECT_TRUE(IsNetworkPath(_T("\\\\server\\share")));
    EXPECT_TRUE(IsNetworkPath(_T("\\\\?\\UNC\\server\\share")));
    EXPECT_EQ(ToEnginePath("relative/path"), _T(""));
}

TEST(PathMapping, APinnedDriveTakesItsPathsAndGivesThemBack) {
    test::TempTree tree({{"volume/a/b", "x"}, {"volumes/c", "y"}});
    const Text before = tree.Engine("volume/a/b");
    PinDrive('q', tree.Native("volume") + "/");
    EXPECT_EQ(tree.Engine("volume/a/b"), _T("Q:\\a\\b"));
    EXPECT_EQ(tree.Engine("volume"), _T("Q:\\"));
    EXPECT_EQ(tree.Engine("volumes/c").substr(0, 3), _T("C:\\"));
    EXPECT_EQ(ToNativePath(_T("q:\\a\\..\\..\\a\\b")), tree.Native("volume/a/b"));
    EXPECT_TRUE(SameFile(before, _T("Q:\\a\\b")));
    EXPECT_NE(VolumeSerial('Q'), 0u);
    EXPECT_NE(VolumeSerial('Q'), VolumeSerial('C'));
    EXPECT_EQ(DriveOfSerial(VolumeSerial('Q')), 'Q');
    PinDrive('Q', "");
    EXPECT_EQ(tree.Engine("volume/a/b"), before);
    EXPECT_EQ(VolumeSerial('Q'), 0u);
}

TEST(Volumes, TheSystemDriveIsKnownBySerial) {
    const uint32_t serial = VolumeSerial('C');
    EXPECT_NE(serial, 0u);
    EXPECT_EQ(VolumeSerial('c'), serial);
    EXPECT_EQ(DriveOfSerial(0), 0);
    const TCHAR letter = DriveOfSerial(serial);
    EXPECT_EQ(VolumeSerial(letter), serial);
    RefreshDrives();
    EXPECT_EQ(VolumeSerial('C'), serial);
}

TEST(Volumes, SpaceOfAPathThatIsNotThereYetIsThatOfItsParent) {
    test::TempFolder folder;
    DiskSpace here;
    DiskSpace below;
    ASSERT_TRUE(QueryDiskSpace(folder.Engine(), here));
    ASSERT_TRUE(QueryDiskSpace(folder.Engine("not/there/yet"), below));
    EXPECT_EQ(here.totalBytes, below.totalBytes);
    EXPECT_GT(here.totalBytes, 0u);
    EXPECT_LE(here.availableBytes, here.freeBytes);
    EXPECT_LE(here.freeBytes, here.totalBytes);
    EXPECT_FALSE(QueryDiskSpace(_T("B:\\"), here));
}

TEST(Volumes, TablesMayBeReadWhileTheyChange) {
    test::TempFolder folder;
    std::atomic<bool> stop = false;
    std::thread reader([&] {
        while (!stop) {
            ToEnginePath(ToNativePath(folder.Engine("a")));
            Drives();
        }
    });
    for (int round = 0; round < 50; round++) {
        PinDrive('Q', round % 2 == 0 ? folder.Native() : "");
        RefreshDrives();
    }
    stop = true;
    reader.join();
    PinDrive('Q', "");
}

}  // namespace
}  // namespace rampart::platform
