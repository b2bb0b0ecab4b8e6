#include "platform/file_system.h"

#include <set>

#include "platform/copy_step.h"
#include "platform/volume_snapshot.h"
#include "support/scripted_clock.h"
#include "support/temp_tree.h"

namespace rampart::platform {
namespace {

using test::ReadTree;
using test::TempFolder;
using test::TempTree;

#ifdef _WIN32
constexpr bool kHasSnapshots = true;
#else
constexpr bool kHasSnapshots = false;
#endif

// Bytes that show a piece that was left out, repeated or moved to another place.
std::string Pattern(size_t size) {
    std::string bytes(size, '\0');
    uint32_t state = 12345;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

// What the progress calls said.
struct Steps {
    std::vector<std::pair<uint64_t, uint64_t>> calls;
    CopyProgress Record() {
        return [this](uint64_t total, uint64_t moved) {
            calls.emplace_back(total, moved);
            return true;
        };
    }
};

TEST(CopyFileContent, EverySizeArrivesWithItsTimes) {
    for (const size_t size : {0, 1, 4096, 65536, 65537, 1'000'000, 20'000'001}) {
        TempFolder folder;
        folder.Write("from", Pattern(size));
        folder.SetWriteTime("from", 1'111'111'111'222'333'400);
        Steps steps;
        ASSERT_TRUE(CopyFileContent(folder.Engine("from"), folder.Engine("to"), steps.Record()));
        const auto tree = ReadTree(folder.Path());
        EXPECT_TRUE(tree.at("from") == tree.at("to")) << size;
        ASSERT_FALSE(steps.calls.empty());
        EXPECT_EQ(steps.calls.front(), std::make_pair(uint64_t{size}, uint64_t{0}));
        EXPECT_EQ(steps.calls.back(), std::make_pair(uint64_t{size}, uint64_t{size}));
        EXPECT_TRUE(std::is_sorted(steps.calls.begin(), steps.calls.end()));
    }
}

// One byte behind each boundary, and one before it.
TEST(CopyStep, IsLongEnoughToBeMeasuredAndNoLonger) {
    constexpr uint64_t kMegabyte = 1024 * 1024;
    constexpr uint64_t kBegin = 5;
    test::ScriptedClock clock(0);
    CopyStep step;
    step.Begin(kBegin);
    EXPECT_FALSE(step.IsOver(kBegin + 64 * kMegabyte - 1)) << "no time has passed";
    EXPECT_TRUE(step.IsOver(kBegin + 64 * kMegabyte));
    clock.AdvanceMilliseconds(49);
    EXPECT_FALSE(step.IsOver(kBegin + 8 * kMegabyte));
    clock.AdvanceMilliseconds(1);
    EXPECT_TRUE(step.IsOver(kBegin + 8 * kMegabyte));
    EXPECT_FALSE(step.IsOver(kBegin + 8 * kMegabyte - 1));
    step.Begin(kBegin + 8 * kMegabyte);
    EXPECT_FALSE(step.IsOver(kBegin + 16 * kMegabyte)) << "the time begins anew";
    clock.AdvanceMilliseconds(249);
    EXPECT_FALSE(step.IsOver(kBegin + 9 * kMegabyte));
    clock.AdvanceMilliseconds(1);
    EXPECT_TRUE(step.IsOver(kBegin + 9 * kMegabyte)) << "however slow the disk is, a cancel is heard";
    EXPECT_FALSE(step.IsOver(kBegin + 8 * kMegabyte)) << "nothing has moved";
}

// The clock runs in the calls alone, as if they rested.
TEST(CopyFileContent, ARestInAProgressCallIsNotOfTheNextStep) {
    TempFolder folder;
    constexpr uint64_t kMegabyte = 1024 * 1024;
    folder.Write("from", Pattern(129 * kMegabyte));
    test::ScriptedClock clock(0);
    std::vector<uint64_t> calls;
    ASSERT_TRUE(CopyFileContent(folder.Engine("from"), folder.Engine("to"), [&](uint64_t, uint64_t moved) {
        calls.push_back(moved);
        clock.AdvanceMilliseconds(2000);
        return true;
    }));
    if (calls.size() > 2) {  // otherwise the file system shares the content
        EXPECT_EQ((std::vector<uint64_t>{0, 64 * kMegabyte, 128 * kMegabyte, 129 * kMegabyte}), calls);
    }
}

TEST(CopyFileContent, ReplacesALongerTarget) {
    TempTree tree({{"from", "short"}, {"to", "a much longer text that must go"}});
    ASSERT_TRUE(CopyFileContent(tree.Engine("from"), tree.Engine("to"), nullptr));
    EXPECT_EQ(tree.Read("to"), "short");
}

TEST(CopyFileContent, OntoItselfLosesNothing) {
    TempTree tree({{"a", "content"}});
    std::filesystem::create_hard_link(tree.Path("a"), tree.Path("b"));
    for (const char* target : {"a", "b"}) {
        SetLastError(kNoError);
        EXPECT_FALSE(CopyFileContent(tree.Engine("a"), tree.Engine(target), nullptr));
        EXPECT_EQ(LastError(), kSharingViolation);
        EXPECT_EQ(tree.Read("a"), "content");
    }
}

TEST(CopyFileContent, AChangeOfTheSourceMeanwhileIsAFailureWhereItMustRest) {
    const CopyProgress quiet = [](uint64_t, uint64_t) { return true; };
    for (const bool mustRest : {false, true}) {
        TempTree tree({{"from", "content"}, {"to", "of an earlier copy"}});
        // Of the same length, so that its time alone shows it.
        const CopyProgress writer = [&](uint64_t, uint64_t moved) {
            if (moved == 0) {
                tree.Write("from", "CONTENT");
                tree.SetWriteTime("from", 1'111'111'111'222'333'400);
            }
            return true;
        };
        SetLastError(kNoError);
        EXPECT_EQ(!mustRest, CopyFileContent(tree.Engine("from"), tree.Engine("to"), writer, mustRest));
        EXPECT_EQ(mustRest ? kSharingViolation : kNoError, LastError());
        EXPECT_EQ(!mustRest, tree.Exists("to"));
        EXPECT_TRUE(CopyFileContent(tree.Engine("from"), tree.Engine("to"), quiet, mustRest));
        EXPECT_EQ("CONTENT", tree.Read("to"));
    }
}

TEST(CopyFileContent, AStopLeavesNoPartOfTheTarget) {
    TempFolder folder;
    folder.Write("from", Pattern(30'000'000));
    for (const uint64_t stopAt : {0, 1, 30'000'000}) {
        const CopyProgress progress = [&](uint64_t, uint64_t moved) { return moved < stopAt; };
        SetLastError(kNoError);
        EXPECT_FALSE(CopyFileContent(folder.Engine("from"), folder.Engine("to"), progress));
        EXPECT_EQ(LastError(), kRequestAborted);
        EXPECT_FALSE(folder.Exists("to"));
    }
    EXPECT_EQ(folder.Read("from").size(), 30'000'000u);
}

TEST(CopyFileContent, AnExceptionLeavesNoPartOfTheTarget) {
    TempTree tree({{"from", "content"}});
    const CopyProgress progress = [](uint64_t, uint64_t) -> bool { throw std::runtime_error("stop"); };
    EXPECT_THROW(CopyFileContent(tree.Engine("from"), tree.Engine("to"), progress), std::runtime_error);
    EXPECT_FALSE(tree.Exists("to"));
}

TEST(CopyFileContent, NeedsASourceAndAPlace) {
    TempTree tree({{"a", "x"}, {"folder/", ""}});
    const auto error = [&](std::string_view from, std::string_view to) {
        SetLastError(kNoError);
        EXPECT_FALSE(CopyFileContent(tree.Engine(from), tree.Engine(to), nullptr));
        return LastError();
    };
    EXPECT_EQ(error("none", "b"), kFileNotFound);
    EXPECT_EQ(error("a", "none/b"), kPathNotFound);
    EXPECT_EQ(error("folder", "b"), kAccessDenied);
    EXPECT_EQ(error("a", "folder"), kAccessDenied);
    EXPECT_FALSE(tree.Exists("b"));
    EXPECT_TRUE(tree.Exists("folder"));
}

TEST(VolumeSnapshot, HoldsAFileAsItWas) {
    TempTree tree({{"from", "as it was"}});
    SetLastError(kNoError);
    const auto snapshot = VolumeSnapshot::Take(tree.Engine("from"));
    if (!snapshot && kHasSnapshots && LastError() != kNotSupported) {
        const std::set<uint32_t> reasons = {kAccessDenied, kNotReady, kDiskFull};
        EXPECT_EQ(reasons.count(LastError()), 1u) << LastError();
        GTEST_SKIP() << "no snapshot can be made here, error " << LastError();
    }
    if (!snapshot) {
        EXPECT_EQ(LastError(), kNotSupported);
        GTEST_SKIP() << "this system has no snapshots";
    }
    ASSERT_TRUE(kHasSnapshots);
    tree.Write("from", "changed later");
    EXPECT_TRUE(snapshot->CopyFileContent(tree.Engine("from"), tree.Engine("to"), nullptr)) << LastError();
    EXPECT_EQ(tree.Read("to"), "as it was");
    EXPECT_FALSE(snapshot->CopyFileContent(tree.Engine("none"), tree.Engine("to"), nullptr));
    EXPECT_EQ(LastError(), kFileNotFound);
}

}  // namespace
}  // namespace rampart::platform
