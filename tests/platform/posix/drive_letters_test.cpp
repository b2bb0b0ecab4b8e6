#include "platform/posix/drive_letters.h"

namespace rampart::platform {
namespace {

const Volume kRoot = {"/", 1, false};

// "C=/ D=/media/x"
std::string Letters(DriveLetters& letters, std::vector<Volume> volumes) {
    std::string text;
    for (const Drive& drive : letters.Assign(kRoot, std::move(volumes))) {
        text += (text.empty() ? "" : " ") + std::string(1, static_cast<char>(drive.letter)) + "=" +
                drive.mountPoint;
    }
    return text;
}

TEST(DriveLetters, NewVolumesComeInTheOrderOfTheirSerials) {
    DriveLetters letters;
    EXPECT_EQ(Letters(letters, {{"/mnt/a", 30}, {"/mnt/b", 20}}), "C=/ D=/mnt/b E=/mnt/a");
}

TEST(DriveLetters, AVolumeKeepsItsLetterUnderAnyMountPoint) {
    DriveLetters letters;
    Letters(letters, {{"/media/a", 20}, {"/media/b", 30}});
    EXPECT_EQ(Letters(letters, {{"/media/b", 30}}), "C=/ E=/media/b");
    EXPECT_EQ(Letters(letters, {{"/media/b", 30}, {"/media/new", 10}}), "C=/ E=/media/b F=/media/new");
    EXPECT_EQ(Letters(letters, {{"/media/other", 20}, {"/media/b", 30}}), "C=/ D=/media/other E=/media/b");
}

TEST(DriveLetters, TwoMountsOfOneVolumeKeepTheirPlaces) {
    DriveLetters letters;
    EXPECT_EQ(Letters(letters, {{"/mnt/a", 20}, {"/mnt/b", 20}}), "C=/ D=/mnt/a E=/mnt/b");
    EXPECT_EQ(Letters(letters, {{"/mnt/b", 20}}), "C=/ E=/mnt/b");
    EXPECT_EQ(Letters(letters, {{"/mnt/a", 20}, {"/mnt/b", 20}}), "C=/ D=/mnt/a E=/mnt/b");
}

TEST(DriveLetters, APinWinsAndItsLetterIsNobodyElses) {
    DriveLetters letters;
    letters.Pin('D', "/mnt/pinned");
    EXPECT_EQ(Letters(letters, {{"/mnt/a", 20}}), "C=/ E=/mnt/a");
    EXPECT_EQ(Letters(letters, {{"/mnt/a", 20}, {"/mnt/pinned", 30}}), "C=/ D=/mnt/pinned E=/mnt/a");
    letters.Pin('E', "/mnt/pinned");
    letters.Pin('D', "");
    EXPECT_EQ(Letters(letters, {{"/mnt/a", 20}, {"/mnt/pinned", 30}}), "C=/ E=/mnt/pinned F=/mnt/a");
}

TEST(DriveLetters, WhenAllAreInUseTheRestHasNone) {
    DriveLetters letters;
    std::vector<Volume> volumes;
    for (uint32_t i = 0; i < 40; i++) {
        volumes.push_back({"/mnt/" + std::to_string(i), 100 + i});
    }
    EXPECT_EQ(letters.Assign(kRoot, volumes).size(), 26u);
    volumes.erase(volumes.begin(), volumes.begin() + 30);
    EXPECT_EQ(letters.Assign(kRoot, volumes).size(), 11u);
}

TEST(MountTable, ReadsWhatTheKernelWrites) {
    const std::vector<Mount> mounts = ParseMounts(
        "26 1 254:1 / / rw,relatime - ext4 /dev/vda1 rw\n"
        "40 26 8:17 / /media/me/My\\040Disk\\134x rw,nosuid shared:1 master:2 - vfat /dev/sdb1 rw\n"
        "broken line\n"
        "41 26 0:50 / /mnt/nas rw - nfs4 nas:/export\\040x rw\n"
        "42 26 8:33 / /mnt/nas rw - ext4 /dev/sdc1 rw");
    ASSERT_EQ(mounts.size(), 3u);
    EXPECT_EQ(mounts[0].point, "/");
    EXPECT_EQ(mounts[1].point, "/media/me/My Disk\\x");
    EXPECT_EQ(mounts[1].type, "vfat");
    EXPECT_EQ(mounts[1].source, "/dev/sdb1");
    EXPECT_EQ(mounts[2].type, "ext4");
    EXPECT_NE(mounts[1].device, mounts[2].device);
    EXPECT_TRUE(IsNetworkType("fuse.sshfs"));
    EXPECT_FALSE(IsNetworkType("ext4"));
    EXPECT_TRUE(IsRemovableMount(mounts[1]));
}

TEST(MountTable, PartsOfOneFileSystemAreToldApart) {
    const std::vector<Mount> mounts = ParseMounts(
        "26 1 0:30 /@ / rw - btrfs /dev/vda1 rw\n27 26 0:30 /@home /mnt/home rw - btrfs /dev/vda1 rw\n"
        "28 26 0:30 /@home /mnt/again rw - btrfs /dev/vda1 rw\n");
    ASSERT_EQ(mounts.size(), 3u);
    EXPECT_NE(MountSerial(mounts[0]), MountSerial(mounts[1]));
    EXPECT_EQ(MountSerial(mounts[1]), MountSerial(mounts[2]));
}

TEST(MountTable, AMountPointHoldsOnlyWhatLiesBelowIt) {
    EXPECT_TRUE(IsBelow("/mnt/a", "/mnt/a"));
    EXPECT_TRUE(IsBelow("/mnt/a/b", "/mnt/a"));
    EXPECT_FALSE(IsBelow("/mnt/ab", "/mnt/a"));
    EXPECT_TRUE(IsBelow("/x", "/"));
}

TEST(MountTable, ANetworkVolumeIsKnownWithoutTouchingIt) {
    const Mount nas = {"/mnt/nowhere", "nfs4", "nas:/export", 0};
    const Mount moved = {"/mnt/elsewhere", "nfs4", "nas:/export", 7};
    const Mount other = {"/mnt/nowhere", "nfs4", "nas:/other", 0};
    EXPECT_EQ(MountSerial(nas), MountSerial(moved));
    EXPECT_NE(MountSerial(nas), MountSerial(other));
}

}  // namespace
}  // namespace rampart::platform
