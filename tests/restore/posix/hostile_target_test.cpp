// Targets that somebody else has a hand in: links on the way, swapped in meanwhile, and a disk that is full.
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "restore/restore_fixture.h"

namespace rampart::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class HostileTarget : public RestoreTest {
protected:
    HostileTarget() {
        MakeFolder("\\top\\d");
        MakeFolder("\\top\\d\\e");
    }
    TempFolder outside;
};

TEST_F(HostileTarget, ALinkInPlaceOfAFolderIsNotFollowedInAnyMode) {
    Store("\\top\\d\\f", "f");
    Store("\\top\\d\\e\\g", "g");
    target.Write("out/", "");
    for (const Overwrite overwrite : {Overwrite::kNever, Overwrite::kOlder, Overwrite::kAlways}) {
        std::filesystem::remove_all(target.Path("out/d"));
        std::filesystem::create_symlink(outside.Path(), target.Path("out/d"));
        RestoreRequest request = Request();
        request.overwrite = overwrite;
        ASSERT_EQ(0, Run(request));
        EXPECT_TRUE(std::filesystem::is_empty(outside.Path()));
        EXPECT_EQ(overwrite == Overwrite::kAlways, target.Exists("out/d/f"));
    }
    EXPECT_FALSE(std::filesystem::is_symlink(target.Path("out/d")));
}

TEST_F(HostileTarget, ALinkInPlaceOfAFileIsReplacedAndNotWrittenThrough) {
    Store("\\top\\f", "stored");
    outside.Write("victim", "mine");
    target.Write("out/", "");
    std::filesystem::create_symlink(outside.Path("victim"), target.Path("out/f"));
    RestoreRequest request = Request();
    request.overwrite = Overwrite::kAlways;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ("mine", outside.Read("victim"));
    EXPECT_EQ("stored", target.Read("out/f"));
    EXPECT_FALSE(std::filesystem::is_symlink(target.Path("out/f")));
}

TEST_F(HostileTarget, ALinkSwappedInDuringTheRunLeadsNowhere) {
    for (int i = 0; i < 2000; ++i) {
        Store("\\top\\d\\e\\f" + std::to_string(i), std::to_string(i));
    }
    std::atomic<bool> ends{false};
    std::thread swapper([&] {
        while (!ends) {
            for (const char* const name : {"out/d", "out/d/e"}) {
                if (rename(target.Native(name).c_str(), target.Native("away").c_str()) == 0) {
                    if (symlink(outside.Native().c_str(), target.Native(name).c_str()) == 0) {
                        std::this_thread::yield();
                        unlink(target.Native(name).c_str());
                    }
                    rename(target.Native("away").c_str(), target.Native(name).c_str());
                }
            }
        }
    });
    for (int run = 0; run < 5; ++run) {
        Run();
        EXPECT_TRUE(std::filesystem::is_empty(outside.Path()));
    }
    ends = true;
    swapper.join();
}

TEST_F(HostileTarget, ALinkSwappedInAtTheWorstMomentLeadsNowhere) {
    Store("\\top\\d\\e\\f", "f");
    service->Before("ReadPlaced", [&] {
        std::filesystem::rename(target.Path("out/d"), target.Path("away"));
        std::filesystem::create_symlink(outside.Path(), target.Path("out/d"));
    });
    Run();
    EXPECT_TRUE(std::filesystem::is_empty(outside.Path()));
}

TEST_F(HostileTarget, InPlaceALinkInPlaceOfTheFolderItselfIsNotFollowedEither) {
    Store("\\top\\d\\f", "f");
    std::filesystem::create_symlink(outside.Path(), target.Path("out"));
    RestoreRequest request = Request("\\top\\d");
    request.places[0].isInPlace = true;
    Run(request);
    EXPECT_TRUE(std::filesystem::is_empty(outside.Path()));
}

TEST_F(HostileTarget, AFullDiskIsToldForEachFileAndLeavesNoHalfOne) {
    const TempFolder disk;
    if (mount("tmpfs", disk.Native().c_str(), "tmpfs", 0, "size=400k") != 0) {
        GTEST_SKIP() << "mounting needs root";
    }
    for (int i = 0; i < 10; ++i) {
        Store("\\top\\f" + std::to_string(i), Noise(100'000, static_cast<uint32_t>(i)));
    }
    RestoreRequest request = Request();
    request.places[0].localPath = CString(TextView(disk.Engine("out")));
    EXPECT_EQ(0, Run(request));
    EXPECT_GT(report.files, 0);
    EXPECT_EQ(10, report.files + report.failed);
    for (int i = 0; i < 10; ++i) {
        const std::string name = "out/f" + std::to_string(i);
        const bool isTold = leftOut.count(disk.Native(name)) == 1;
        EXPECT_NE(disk.Exists(name), isTold) << name;
        if (isTold) {
            EXPECT_THAT(leftOut[disk.Native(name)], HasSubstr("full"));
        }
    }
    for (const auto& entry : std::filesystem::directory_iterator(disk.Path("out"))) {
        EXPECT_FALSE(PathText(entry.path().filename()).starts_with(".rampart-"));
    }
    umount(disk.Native().c_str());
}

}  // namespace
}  // namespace rampart::test
