// Copies on file systems that share content, and of files that have just been changed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "support/posix/loop_volume.h"
#include "support/temp_tree.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;

using platform::CopyFileContent;
using platform::CopyProgress;

constexpr size_t kLarge = 5 << 20;  // a small file is not shared

// Whether the first extent of a file belongs to another file, too.
bool IsShared(fs::path const& path) {
    int const file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    alignas(fiemap) char block[sizeof(fiemap) + sizeof(fiemap_extent)] = {};
    auto* const map = reinterpret_cast<fiemap*>(block);
    map->fm_length = FIEMAP_MAX_OFFSET;
    map->fm_flags = FIEMAP_FLAG_SYNC;
    map->fm_extent_count = 1;
    int const result = ioctl(file, FS_IOC_FIEMAP, map);
    close(file);
    return result == 0 && map->fm_mapped_extents == 1 &&
           (map->fm_extents[0].fe_flags & FIEMAP_EXTENT_SHARED) != 0;
}

class SharingVolume : public testing::Test {
protected:
    void SetUp() override {
        if (!MakeVolume(kXfsVolume, m_folder.Native("image"))) {
            GTEST_SKIP() << "cannot make a file system here";
        }
        if (!MountVolume(m_folder.Native("image"), m_folder.Native("volume"))) {
            GTEST_SKIP() << "cannot mount a volume here";
        }
    }
    void TearDown() override { UnmountVolume(m_folder.Native("volume")); }

    void Write(char const* name, char byte) const {
        std::ofstream(m_folder.Path("volume") / name) << std::string(kLarge, byte);
    }
    std::string Read(char const* name) const { return m_folder.Read("volume/" + std::string(name)); }
    bool Copy(CopyProgress const& progress) const {
        return CopyFileContent(m_folder.Engine("volume/from"), m_folder.Engine("volume/to"), progress,
                               /*mustRest=*/true);
    }

    TempFolder m_folder;
};

TEST_F(SharingVolume, ACopySharesItsContentAndStaysAsItWas) {
    Write("from", 'a');
    ASSERT_TRUE(Copy(nullptr)) << platform::LastError();
    EXPECT_TRUE(IsShared(m_folder.Path("volume/to")));
    Write("from", 'b');
    EXPECT_TRUE(Read("to") == std::string(kLarge, 'a'));
}

TEST_F(SharingVolume, SharedContentIsOfOneMomentHoweverTheSourceChanges) {
    Write("from", 'a');
    ASSERT_TRUE(Copy([&](uint64_t, uint64_t moved) {
        if (moved == 0) {
            Write("from", 'b');
        }
        return true;
    })) << platform::LastError();
    EXPECT_TRUE(Read("to") == std::string(kLarge, 'b'));
}

// The times of files go in ticks of some milliseconds on many systems.
TEST(ChangedFile, AChangeRightBehindTheLastOneIsNoticed) {
    TempFolder folder;
    for (int round = 0; round < 20; round++) {
        folder.Write("from", "content");
        CopyProgress const change = [&](uint64_t, uint64_t moved) {
            if (moved == 0) {
                folder.Write("from", "CONTENT");
            }
            return true;
        };
        EXPECT_FALSE(CopyFileContent(folder.Engine("from"), folder.Engine("to"), change, /*mustRest=*/true));
        EXPECT_EQ(platform::LastError(), platform::kSharingViolation);
        EXPECT_FALSE(folder.Exists("to"));
    }
}

}  // namespace

}  // namespace rampart::test
