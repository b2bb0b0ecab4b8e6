#include "platform/file_system.h"

#include <atomic>
#include <set>
#include <thread>

#include "support/temp_tree.h"

namespace rampart::platform {
namespace {

using test::MakeLink;
using test::ReadTree;
using test::TempFolder;
using test::TempTree;

constexpr int64_t kNanoseconds = 1'000'000'000;

// A result together with the error it left, so that one line checks both.
struct Outcome {
    bool done;
    uint32_t error;
    bool operator==(const Outcome&) const = default;
    friend void PrintTo(const Outcome& outcome, std::ostream* out) {
        *out << (outcome.done ? "done" : "failed") << ", error " << outcome.error;
    }
};

template <class Call>
Outcome Try(Call&& call) {
    SetLastError(kNoError);
    const bool done = static_cast<bool>(call());
    return {done, LastError()};
}

constexpr Outcome kDone = {true, kNoError};
constexpr Outcome Failed(uint32_t error) {
    return {false, error};
}

TEST(FileStatus, SizeTimesAndKind) {
    TempTree tree({{"a.txt", "content"}, {"folder/", ""}});
    tree.SetWriteTime("a.txt", 1'234'567'890 * kNanoseconds + 123'456'700);
    FileStatus status;
    ASSERT_EQ(Try([&] { return QueryStatus(tree.Engine("a.txt"), status); }), kDone);
    EXPECT_EQ(status.size, 7u);
    EXPECT_EQ(status.writeTime, 1'234'567'890 * kNanoseconds + 123'456'700);
    EXPECT_TRUE(status.IsRegularFile());
    EXPECT_EQ(status.attributes & kReadOnly, 0u);
    EXPECT_NE(status.creationTime, 0);

    auto file = FileHandle::Open(tree.Engine("a.txt"), kOpenRead);
    FileStatus byHandle;
    ASSERT_TRUE(file->QueryStatus(byHandle));
    EXPECT_EQ(byHandle.fileId, status.fileId);
    EXPECT_EQ(byHandle.volumeId, status.volumeId);
    EXPECT_EQ(byHandle.writeTime, status.writeTime);

    ASSERT_TRUE(QueryStatus(tree.Engine("folder"), status));
    EXPECT_TRUE(status.IsDirectory());
    ASSERT_TRUE(QueryStatus(_T("C:\\"), status));
    EXPECT_TRUE(status.IsDirectory());
}

TEST(FileStatus, AMissingFileIsToldFromAMissingFolder) {
    TempTree tree({{"file", ""}});
    FileStatus status;
    EXPECT_EQ(Try([&] { return QueryStatus(tree.Engine("none"), status); }), Failed(kFileNotFound));
    EXPECT_EQ(Try([&] { return QueryStatus(tree.Engine("none/none"), status); }), Failed(kPathNotFound));
    EXPECT_EQ(Try([&] { return QueryStatus(tree.Engine("file/none"), status); }), Failed(kPathNotFound));
    EXPECT_EQ(Try([&] { return QueryStatus(_T("B:\\none"), status); }), Failed(kPathNotFound));
}

TEST(FileStatus, ReadOnlyIsSetAndTakenAway) {
    TempTree tree({{"a", "x"}});
    FileStatus status;
    ASSERT_EQ(Try([&] { return SetAttributes(tree.Engine("a"), kReadOnly); }), kDone);
    ASSERT_TRUE(QueryStatus(tree.Engine("a"), status));
    EXPECT_NE(status.attributes & kReadOnly, 0u);
    ASSERT_EQ(Try([&] { return SetAttributes(tree.Engine("a"), 0); }), kDone);
    ASSERT_TRUE(QueryStatus(tree.Engine("a"), status));
    EXPECT_EQ(status.attributes & kReadOnly, 0u);
    EXPECT_EQ(Try([&] { return SetAttributes(tree.Engine("none"), 0); }), Failed(kFileNotFound));
}

TEST(DirectoryReader, ListsEverythingOnce) {
    for (const bool withStatus : {false, true}) {
        TempTree tree({{"one.txt", "12345"}, {"empty/", ""}, {"folder/below", "x"}, {"two", ""}});
        auto reader = DirectoryReader::Open(tree.Engine(), withStatus);
        ASSERT_TRUE(reader);
        std::map<Text, FileStatus> found;
        DirectoryEntry entry;
        while (reader->Next(entry)) {
            EXPECT_TRUE(entry.hasStatus || !withStatus);
            EXPECT_TRUE(found.emplace(entry.name, entry.status).second);
        }
        EXPECT_EQ(LastError(), kNoMoreItems);
        ASSERT_EQ(found.size(), 4u);
        EXPECT_TRUE(found[_T("empty")].IsDirectory());
        EXPECT_TRUE(found[_T("folder")].IsDirectory());
        EXPECT_TRUE(found[_T("one.txt")].IsRegularFile());
        EXPECT_TRUE(found[_T("two")].IsRegularFile());
        if (withStatus) {
            FileStatus status;
            ASSERT_TRUE(QueryStatus(tree.Engine("one.txt"), status));
            EXPECT_EQ(found[_T("one.txt")].size, 5u);
            EXPECT_EQ(found[_T("one.txt")].writeTime, status.writeTime);
            EXPECT_EQ(found[_T("one.txt")].fileId, status.fileId);
        }
    }
}

TEST(DirectoryReader, NeedsAFolder) {
    TempTree tree({{"a", "x"}});
    EXPECT_EQ(Try([&] { return DirectoryReader::Open(tree.Engine("a"), false); }), Failed(kPathNotFound));
    EXPECT_EQ(Try([&] { return DirectoryReader::Open(tree.Engine("none"), false); }), Failed(kFileNotFound));
    EXPECT_EQ(Try([&] { return DirectoryReader::Open(tree.Engine("none/x"), false); }),
              Failed(kPathNotFound));
}

TEST(FileHandle, OpenModes) {
    TempTree tree({{"old", "content"}});
    const auto open = [&](std::string_view name, uint32_t mode) {
        return Try([&] { return FileHandle::Open(tree.Engine(name), mode); });
    };
    EXPECT_EQ(open("none", kOpenRead), Failed(kFileNotFound));
    EXPECT_EQ(open("none/x", kOpenWrite | kOpenCreate), Failed(kPathNotFound));
    EXPECT_EQ(open("old", kOpenWrite | kOpenCreate | kOpenExclusive), Failed(kAlreadyExists));
    EXPECT_EQ(open("", kOpenRead), Failed(kAccessDenied));
    EXPECT_EQ(open("old", kOpenRead | kOpenWrite | kOpenCreate), kDone);
    EXPECT_EQ(tree.Read("old"), "content");
    EXPECT_EQ(open("old", kOpenWrite | kOpenTruncate), kDone);
    EXPECT_EQ(tree.Read("old"), "");
    EXPECT_EQ(open("new", kOpenWrite | kOpenCreate | kOpenExclusive), kDone);
    EXPECT_TRUE(tree.Exists("new"));
}

TEST(FileHandle, ReadsAndWritesAtPositions) {
    TempFolder folder;
    auto file = FileHandle::Open(folder.Engine("f"), kOpenRead | kOpenWrite | kOpenCreate);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->WriteAt(5, "world", 5), 5);
    EXPECT_EQ(file->WriteAt(0, "hello", 5), 5);
    char buffer[20] = {};
    EXPECT_EQ(file->ReadAt(3, buffer, sizeof buffer), 7);
    EXPECT_STREQ(buffer, "loworld");
    EXPECT_EQ(file->ReadAt(10, buffer, 1), 0);
    EXPECT_TRUE(file->SetSize(4));
    uint64_t size = 0;
    EXPECT_TRUE(file->GetSize(size));
    EXPECT_EQ(size, 4u);
    EXPECT_TRUE(file->Sync());
    EXPECT_TRUE(SyncFolder(folder.Engine()));
    EXPECT_TRUE(file->SetTimes(-1, -1, -5 * kNanoseconds - 100));
    FileStatus status;
    ASSERT_TRUE(file->QueryStatus(status));
    EXPECT_EQ(status.writeTime, -5 * kNanoseconds - 100);
    auto reader = FileHandle::Open(folder.Engine("f"), kOpenRead);
    EXPECT_EQ(Try([&] { return reader->WriteAt(0, "x", 1) >= 0; }).done, false);
    EXPECT_EQ(folder.Read("f"), "hell");
}

TEST(FileHandle, LocksExcludeEachOtherUntilTheHandleGoes) {
    TempTree tree({{"f", ""}});
    const auto open = [&] { return FileHandle::Open(tree.Engine("f"), kOpenRead | kOpenWrite); };
    auto first = open();
    auto second = open();
    ASSERT_TRUE(first->TryLock(/*exclusive=*/false));
    ASSERT_TRUE(second->TryLock(/*exclusive=*/false));
    second.reset();
    second = open();
    EXPECT_EQ(Try([&] { return second->TryLock(true); }), Failed(kSharingViolation));
    first.reset();
    EXPECT_EQ(Try([&] { return second->TryLock(true); }), kDone);
    EXPECT_EQ(Try([&] { return open()->TryLock(false); }), Failed(kSharingViolation));

    std::atomic<bool> isFree = false;
    std::thread waits([&] {
        EXPECT_TRUE(open()->Lock());
        EXPECT_TRUE(isFree);
    });
    isFree = true;
    second.reset();
    waits.join();
}

TEST(LinkTarget, IsWhereALinkLeadsInTheEnd) {
    TempTree tree({{"f", ""}, {"folder/", ""}});
    EXPECT_EQ(LinkTarget(tree.Engine("f")), tree.Engine("f"));
    EXPECT_EQ(LinkTarget(tree.Engine("none")), tree.Engine("none"));
    if (!MakeLink(tree.Path("folder/first"), "../second") ||
        !MakeLink(tree.Path("second"), tree.Native("f"))) {
        GTEST_SKIP() << "no links here";
    }
    EXPECT_EQ(LinkTarget(tree.Engine("folder/first")), tree.Engine("f"));
    std::filesystem::remove(tree.Path("f"));
    EXPECT_EQ(LinkTarget(tree.Engine("folder/first")), tree.Engine("f")) << "nothing is there yet";
    std::filesystem::remove(tree.Path("second"));
    ASSERT_TRUE(MakeLink(tree.Path("second"), "folder/first"));
    EXPECT_EQ(LinkTarget(tree.Engine("second")), _T("")) << "a ring";
}

TEST(Folders, AreMadeOnceAndWithTheirParents) {
    TempTree tree({{"file", ""}});
    EXPECT_EQ(Try([&] { return CreateFolder(tree.Engine("a/b")); }), Failed(kPathNotFound));
    EXPECT_EQ(Try([&] { return CreateFolders(tree.Engine("a/b/c")); }), kDone);
    EXPECT_EQ(Try([&] { return CreateFolders(tree.Engine("a/b/c")); }), kDone);
    EXPECT_EQ(Try([&] { return CreateFolder(tree.Engine("a/b")); }), Failed(kAlreadyExists));
    EXPECT_EQ(Try([&] { return CreateFolders(tree.Engine("file")); }), Failed(kAlreadyExists));
    EXPECT_FALSE(CreateFolders(tree.Engine("file/below")));
    EXPECT_EQ(Try([&] { return CreateFolders(_T("C:\\")); }), kDone);
}

TEST(Folders, AreRemovedOnlyWhenEmpty) {
    TempTree tree({{"a/b", "x"}});
    EXPECT_EQ(Try([&] { return RemoveEmptyFolder(tree.Engine("a")); }), Failed(kDirectoryNotEmpty));
    EXPECT_EQ(Try([&] { return RemoveFile(tree.Engine("a")); }), Failed(kAccessDenied));
    EXPECT_EQ(Try([&] { return RemoveFile(tree.Engine("a/b")); }), kDone);
    EXPECT_EQ(Try([&] { return RemoveEmptyFolder(tree.Engine("a")); }), kDone);
    EXPECT_EQ(Try([&] { return RemoveFile(tree.Engine("a")); }), Failed(kFileNotFound));
    EXPECT_TRUE(ReadTree(tree.Path()).empty());
}

TEST(RenamePath, ReplacesOnlyWhenAsked) {
    TempTree tree({{"a", "new"}, {"b", "old"}, {"folder/x", "y"}});
    EXPECT_EQ(Try([&] { return RenamePath(tree.Engine("a"), tree.Engine("b"), false); }),
              Failed(kAlreadyExists));
    EXPECT_EQ(tree.Read("b"), "old");
    EXPECT_EQ(Try([&] { return RenamePath(tree.Engine("a"), tree.Engine("b"), true); }), kDone);
    EXPECT_EQ(tree.Read("b"), "new");
    EXPECT_EQ(Try([&] { return RenamePath(tree.Engine("a"), tree.Engine("c"), true); }),
              Failed(kFileNotFound));
    EXPECT_EQ(Try([&] { return RenamePath(tree.Engine("b"), tree.Engine("none/b"), true); }),
              Failed(kPathNotFound));
    EXPECT_EQ(Try([&] { return RenamePath(tree.Engine("folder"), tree.Engine("moved"), false); }), kDone);
    EXPECT_EQ(tree.Read("moved/x"), "y");
    EXPECT_FALSE(tree.Exists("folder"));
}

}  // namespace
}  // namespace rampart::platform
