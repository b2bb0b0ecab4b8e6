// What comes into the target, and what is there already.
#include <atomic>

#include "platform/temporary_name.h"
#include "restore/restore_fixture.h"

namespace rampart::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class RestoreContent : public RestoreTest {
protected:
    void StoreMany(int files) {
        std::vector<FileCommit> commits;
        for (int i = 0; i < files; ++i) {
            commits.push_back(
                CommitOf("\\top\\f" + std::to_string(i), Noise(2000, static_cast<uint32_t>(i))));
        }
        std::vector<int64_t> ids;
        ASSERT_TRUE(service->CommitFiles(commits, ids).Ok());
    }
};

TEST_F(RestoreContent, FilesOfEverySizeComeBackByteForByteWithTheirTimes) {
    MakeFolder("\\top\\sub");
    const std::map<std::string, std::string> contents = {{"empty", ""},
                                                         {"one", "1"},
                                                         {"sub\\pieces", Noise(1'234'567, 1)},
                                                         {"sub\\twin", Noise(1'234'567, 1)},
                                                         {"z", ""}};
    for (const auto& [name, content] : contents) {
        Store("\\top\\" + name, content);
    }
    ASSERT_EQ(0, Run()) << message.ToUtf8();
    EXPECT_THAT(leftOut, IsEmpty());
    EXPECT_EQ(5, report.files);
    for (const auto& [stored, content] : contents) {
        std::string name = stored;
        std::replace(name.begin(), name.end(), '\\', '/');
        EXPECT_TRUE(target.Read("out/" + name) == content) << name;
        platform::FileStatus status;
        ASSERT_TRUE(platform::QueryStatus(target.Engine("out/" + name), status));
        EXPECT_EQ(kTime / 100, status.writeTime / 100) << name;
    }
    EXPECT_THAT(Temporaries(), IsEmpty());
}

TEST_F(RestoreContent, WhatIsThereIsPassedOverAndReadsNothing) {
    StoreMany(20);
    ASSERT_EQ(0, Run());
    service->ForgetCalls();
    ASSERT_EQ(0, Run());
    EXPECT_EQ(0, report.files);
    EXPECT_EQ(20, report.alreadyThere);
    EXPECT_EQ(0, service->Calls("ReadPlaced"));

    // Another time but the same bytes is the same content; one byte changed under the same time is seen only
    // by whoever compares.
    target.SetWriteTime("out/f0", kTime + 5'000'000'000);
    target.Write("out/f1", Noise(2000, 77));
    target.SetWriteTime("out/f1", kTime);
    ASSERT_EQ(0, Run());
    EXPECT_EQ(20, report.alreadyThere);
    RestoreRequest request = Request();
    request.verify = true;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ(19, report.alreadyThere);
    EXPECT_EQ(1, report.conflicts);
    EXPECT_EQ(1u, leftOut.count(target.Native("out/f1")));
}

TEST_F(RestoreContent, ADifferentFileStaysUnlessToldOtherwise) {
    for (const char* const name : {"older", "newer", "folder"}) {
        Store(std::string("\\top\\") + name, "stored");
    }
    target.Write("out/older", "mine");
    target.SetWriteTime("out/older", kTime - 1'000'000'000);
    target.Write("out/newer", "mine");
    target.SetWriteTime("out/newer", kTime + 1'000'000'000);
    target.Write("out/folder/inside", "mine");

    ASSERT_EQ(0, Run());
    EXPECT_EQ(3, report.conflicts);
    EXPECT_EQ("mine", target.Read("out/older"));
    RestoreRequest request = Request();
    request.overwrite = Overwrite::kOlder;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ("stored", target.Read("out/older"));
    EXPECT_EQ("mine", target.Read("out/newer"));
    request.overwrite = Overwrite::kAlways;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ("stored", target.Read("out/newer"));
    EXPECT_EQ("mine", target.Read("out/folder/inside")) << "a folder is never replaced";
    EXPECT_THAT(leftOut[target.Native("out/folder")], HasSubstr("a folder is there"));
}

TEST_F(RestoreContent, AFileInTheWayOfAFolderKeepsAllBelowItOutAndEachIsNamed) {
    MakeFolder("\\top\\d");
    MakeFolder("\\top\\d\\e");
    Store("\\top\\d\\a", "a");
    Store("\\top\\d\\e\\b", "b");
    Store("\\top\\c", "c");
    target.Write("out/d", "mine");
    ASSERT_EQ(0, Run());
    EXPECT_EQ("mine", target.Read("out/d"));
    EXPECT_EQ("c", target.Read("out/c"));
    EXPECT_EQ(1u, leftOut.count(target.Native("out/d/a")));
    EXPECT_EQ(1u, leftOut.count(target.Native("out/d/e/b")));
    RestoreRequest request = Request();
    request.overwrite = Overwrite::kAlways;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ("b", target.Read("out/d/e/b"));
}

TEST_F(RestoreContent, ADamagedPieceCostsItsOwnFileOnly) {
    StoreMany(50);
    // One byte of one stored chunk: the content of f7 does not repeat elsewhere.
    const std::string victim = Noise(2000, 7);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.Path("vault/packs"))) {
        const std::string name = PathText(std::filesystem::relative(entry.path(), home.Path()));
        std::string pack = home.Read(name);
        if (const size_t at = pack.find(victim); at != std::string::npos) {
            pack[at + 100] ^= 1;
            home.Write(name, pack);
        }
    }
    Connect();
    ASSERT_EQ(0, Run());
    EXPECT_EQ(49, report.files);
    ASSERT_EQ(1u, leftOut.size());
    EXPECT_EQ(1u, leftOut.count(target.Native("out/f7")));
    EXPECT_FALSE(target.Exists("out/f7"));
    EXPECT_THAT(Temporaries(), IsEmpty());
}

TEST_F(RestoreContent, ACancelLeavesOnlyWholeFilesAndTheNextRunGoesOn) {
    StoreMany(3000);
    RestoreRequest request = Request();
    std::atomic<bool> isReading{false};
    service->Before("ReadPlaced", [&] { isReading = true; });
    request.progress = [&](const RestoreProgress&) { return !isReading; };
    ASSERT_EQ(kCancelled, Run(request));
    EXPECT_LT(report.files, 3000);
    EXPECT_THAT(Temporaries(), IsEmpty());
    for (int i = 0; i < 3000; ++i) {
        const std::string name = "out/f" + std::to_string(i);
        EXPECT_TRUE(!target.Exists(name) || target.Read(name) == Noise(2000, static_cast<uint32_t>(i)));
    }
    const int64_t before = report.files;
    ASSERT_EQ(0, Run());
    EXPECT_EQ(3000 - before, report.files);
    EXPECT_EQ(before, report.alreadyThere);
}

TEST_F(RestoreContent, WhatAKilledRunLeftGoesAndWhatALivingOneWritesStays) {
    Store("\\top\\a", "a");
    MakeFolder("\\top\\sub");
    Store("\\top\\sub\\b", "b");
    // The same process number, begun at another moment, has ended.
    const std::string living = platform::ToUtf8(platform::NewTemporaryName());
    std::string dead = living;
    const size_t start = dead.find('-', dead.find('-', dead.find('-', 1) + 1) + 1) + 1;
    dead[start] = dead[start] == '1' ? '2' : '1';
    ASSERT_FALSE(platform::IsDeadTemporaryName(platform::FromUtf8(living)));
    ASSERT_TRUE(platform::IsDeadTemporaryName(platform::FromUtf8(dead)));
    for (const char* const folder : {"out/", "out/sub/"}) {
        target.Write(folder + dead, "half");
        target.Write(folder + living, "half");
        target.Write(std::string(folder) + ".rampart-notes.tmp", "mine");
    }
    ASSERT_EQ(0, Run());
    for (const char* const folder : {"out/", "out/sub/"}) {
        EXPECT_FALSE(target.Exists(folder + dead));
        EXPECT_TRUE(target.Exists(folder + living));
        EXPECT_TRUE(target.Exists(std::string(folder) + ".rampart-notes.tmp"));
    }
}

TEST_F(RestoreContent, PatternsChooseAndADryRunChangesNothing) {
    for (const char* const folder : {"\\top\\src", "\\top\\src\\build", "\\top\\doc"}) {
        MakeFolder(folder);
    }
    for (const char* const name : {"src\\a.c", "src\\a.o", "src\\build\\x.c", "doc\\a.txt"}) {
        Store(std::string("\\top\\") + name, name);
    }
    RestoreRequest request = Request();
    request.include = {_T("*.c"), _T("doc\\")};
    request.exclude = {_T("build")};
    request.dryRun = true;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ(2, report.plannedFiles);
    EXPECT_EQ(3, report.plannedFolders) << "out, src, doc";
    EXPECT_FALSE(target.Exists("out"));
    request.dryRun = false;
    ASSERT_EQ(0, Run(request));
    EXPECT_TRUE(target.Exists("out/src/a.c"));
    EXPECT_TRUE(target.Exists("out/doc/a.txt"));
    EXPECT_FALSE(target.Exists("out/src/a.o"));
    EXPECT_FALSE(target.Exists("out/src/build"));
}

TEST_F(RestoreContent, WhatWasWrittenIsReadBackWhenAsked) {
    StoreMany(30);
    RestoreRequest request = Request();
    request.verify = true;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ(30, report.verified);
}

TEST_F(RestoreContent, AChunkThatMovedToAnotherPackIsFound) {
    Store("\\top\\a", Noise(5000, 1));
    std::vector<LocatedFile> located;
    const std::string name = "a";
    ASSERT_TRUE(service->LocateFiles("\\top", {&name, 1}, located).Ok());
    ASSERT_EQ(1u, located.at(0).chunks.size());
    PlacedChunk moved = located[0].chunks[0];
    moved.place.pack = 99;
    bool isRead = false;
    ASSERT_TRUE(service
                    ->ReadPlaced({&moved, 1},
                                 [&](size_t, const Chunk& chunk, const ServiceResult& result) {
                                     std::string content;
                                     isRead = result.Ok() && DecodeChunk(chunk, content) &&
                                              content == Noise(5000, 1);
                                     return true;
                                 })
                    .Ok());
    EXPECT_TRUE(isRead);
}

}  // namespace
}  // namespace rampart::test
