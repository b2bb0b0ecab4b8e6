// Real volumes: two file systems in files, mounted where removable drives are.
#include <gtest/gtest.h>

#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "platform/volumes.h"
#include "support/posix/loop_volume.h"
#include "support/temp_tree.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;

class MountedVolumes : public testing::Test {
protected:
    void SetUp() override {
        for (std::string const name : {"one", "two"}) {
            m_places.push_back("/mnt/rampart-test-" + std::to_string(getpid()) + "-" + name);
            m_images.push_back(m_folder.Native(name));
        }
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs the right to mount a file system";
        }
        for (size_t i = 0; i < m_images.size(); ++i) {
            if (!MakeVolume(kExt4Volume, m_images[i])) {
                GTEST_SKIP() << "cannot make a file system here";
            }
        }
        if (!Mount(0, 0) || !Mount(1, 1)) {
            GTEST_SKIP() << "cannot mount a volume here";
        }
        platform::RefreshDrives();
    }
    void TearDown() override {
        Unmount();
        platform::RefreshDrives();
        for (std::string const& place : m_places) {
            std::error_code ignored;
            fs::remove(place, ignored);
        }
    }

    bool Mount(size_t image, size_t place) const { return MountVolume(m_images[image], m_places[place]); }
    void Unmount() const {
        for (std::string const& place : m_places) {
            UnmountVolume(place);
        }
    }
    platform::Drive DriveAt(size_t place) const {
        for (platform::Drive const& drive : platform::Drives()) {
            if (drive.mountPoint == m_places[place]) {
                return drive;
            }
        }
        ADD_FAILURE() << m_places[place] << " has no letter";
        return {};
    }

    TempFolder m_folder;
    std::vector<std::string> m_images;
    std::vector<std::string> m_places;
};

TEST_F(MountedVolumes, KeepSerialAndLetterWhenTheirMountPointsSwap) {
    platform::Drive const one = DriveAt(0);
    platform::Drive const two = DriveAt(1);
    EXPECT_NE(0u, one.serial);
    EXPECT_NE(one.serial, two.serial);
    EXPECT_NE(one.letter, two.letter);
    std::ofstream(fs::path(m_places[0]) / "mark") << "of the first";
    platform::Text const mark = platform::ToEnginePath(m_places[0] + "/mark");
    EXPECT_EQ(one.letter, mark[0]);

    Unmount();
    platform::RefreshDrives();
    EXPECT_EQ(0, platform::DriveOfSerial(one.serial));
    ASSERT_TRUE(Mount(0, 1) && Mount(1, 0));
    platform::RefreshDrives();

    EXPECT_EQ(two.serial, DriveAt(0).serial);
    EXPECT_EQ(one.serial, DriveAt(1).serial);
    EXPECT_EQ(one.letter, platform::DriveOfSerial(one.serial));
    EXPECT_EQ(one.serial, platform::VolumeSerial(one.letter));
    platform::FileStatus status;
    EXPECT_TRUE(platform::QueryStatus(mark, status)) << "the letter has gone along with the volume";
}

}  // namespace

}  // namespace rampart::test
