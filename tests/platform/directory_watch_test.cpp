#include "platform/directory_watch.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "support/temp_tree.h"

namespace rampart::platform {
namespace {

namespace fs = std::filesystem;

// Wine tells nothing of folders that were there before the watch or came as a whole, nor of the end of the
// folder itself, and goes on telling of a folder that has left.
#ifdef _WIN32
constexpr bool kTellsAll = false;
#else
constexpr bool kTellsAll = true;
#endif

class Watching : public testing::Test {
protected:
    void Begin() {
        m_watch = DirectoryWatch::Open(m_tree.Engine("root"));
        ASSERT_NE(m_watch, nullptr);
    }
    // All that is told until this change of the path relative to the root is told, that included.
    std::vector<DirectoryChange> ReadUntil(ChangeKind kind, std::string_view relative) {
        std::vector<DirectoryChange> all, some;
        const DirectoryChange last = Change(kind, relative);
        while (std::find(all.begin(), all.end(), last) == all.end()) {
            if (!m_watch->Read(some)) {
                ADD_FAILURE() << "ended with " << LastError();
                break;
            }
            EXPECT_FALSE(some.empty());
            all.insert(all.end(), some.begin(), some.end());
        }
        return all;
    }
    void Rename(std::string_view from, std::string_view to) {
        ASSERT_TRUE(RenamePath(m_tree.Engine(from), m_tree.Engine(to), /*replace=*/false)) << LastError();
    }
    DirectoryChange Change(ChangeKind kind, std::string_view relative) {
        return {kind, m_tree.Engine("root/" + std::string(relative))};
    }
    // Where in the list; its size if it is not there.
    size_t Place(const std::vector<DirectoryChange>& list, ChangeKind kind, std::string_view relative) {
        return static_cast<size_t>(std::find(list.begin(), list.end(), Change(kind, relative)) -
                                   list.begin());
    }

    test::TempTree m_tree{{"root/kept", "content"}, {"root/old/inner/file", ""}, {"outside/sub/file", ""}};
    std::unique_ptr<DirectoryWatch> m_watch;
};

TEST_F(Watching, FilesComeChangeAndGo) {
    Begin();
    m_tree.Write("root/new", "");
    ReadUntil(ChangeKind::kAdded, "new");
    m_tree.Write("root/kept", "changed");
    ReadUntil(ChangeKind::kModified, "kept");
    if (kTellsAll) {
        m_tree.Write("root/old/inner/file", "changed");
        ReadUntil(ChangeKind::kModified, "old/inner/file");
    }
    fs::remove(m_tree.Path("root/kept"));
    const auto changes = ReadUntil(ChangeKind::kRemoved, "kept");
    EXPECT_EQ(Place(changes, ChangeKind::kAdded, "kept"), changes.size());
}

TEST_F(Watching, OutlivesTheThreadThatOpenedIt) {
    std::thread([this] { Begin(); }).join();
    // The question of that thread may have ended with it; then anything may have changed.
    m_tree.Write("root/new", "");
    const DirectoryChange rescan{ChangeKind::kRescan, m_tree.Engine("root")};
    std::vector<DirectoryChange> changes;
    ASSERT_TRUE(m_watch->Read(changes)) << LastError();
    EXPECT_TRUE(changes.front() == rescan || changes.front() == Change(ChangeKind::kAdded, "new"));
    m_tree.Write("root/later", "");
    ReadUntil(ChangeKind::kAdded, "later");
}

TEST_F(Watching, ARenameIsAPair) {
    Begin();
    Rename("root/kept", "root/moved");
    auto changes = ReadUntil(ChangeKind::kRenamedTo, "moved");
    size_t to = Place(changes, ChangeKind::kRenamedTo, "moved");
    ASSERT_GT(to, 0u);
    EXPECT_EQ(changes[to - 1], Change(ChangeKind::kRenamedFrom, "kept"));

    Rename("root/old", "root/young");
    changes = ReadUntil(ChangeKind::kRenamedTo, "young");
    to = Place(changes, ChangeKind::kRenamedTo, "young");
    ASSERT_GT(to, 0u);
    EXPECT_EQ(changes[to - 1], Change(ChangeKind::kRenamedFrom, "old"));
    if (!kTellsAll) {
        return;
    }
    m_tree.Write("root/young/inner/later", "");
    changes = ReadUntil(ChangeKind::kAdded, "young/inner/later");
    EXPECT_EQ(Place(changes, ChangeKind::kAdded, "old/inner/later"), changes.size());
}

TEST_F(Watching, WhatIsMadeInANewFolderIsNotMissed) {
    Begin();
    constexpr int kRounds = 100;
    std::thread maker([this] {
        for (int round = 0; round < kRounds; round++) {
            m_tree.Write("root/new" + std::to_string(round) + "/a/b/file", "");
        }
    });
    std::set<Text> missing;
    for (int round = 0; round < kRounds; round++) {
        missing.insert(Change(ChangeKind::kAdded, "new" + std::to_string(round) + "/a/b/file").path);
    }
    std::vector<DirectoryChange> changes;
    while (!missing.empty() && m_watch->Read(changes)) {
        for (const DirectoryChange& change : changes) {
            if (change.kind == ChangeKind::kAdded) {
                missing.erase(change.path);
            }
        }
    }
    EXPECT_TRUE(missing.empty());
    maker.join();
}

TEST_F(Watching, AFolderMovesInAndOut) {
    Begin();
    Rename("outside/sub", "root/in");
    ReadUntil(ChangeKind::kAdded, "in");
    if (kTellsAll) {
        m_tree.Write("root/in/later", "");
        ReadUntil(ChangeKind::kAdded, "in/later");
    }
    Rename("root/in", "outside/back");
    ReadUntil(ChangeKind::kRemoved, "in");
    m_tree.Write("outside/back/unseen", "");
    m_tree.Write("root/end", "");
    const auto changes = ReadUntil(ChangeKind::kAdded, "end");
    if (kTellsAll) {
        EXPECT_EQ(Place(changes, ChangeKind::kAdded, "in/unseen"), changes.size());
    }
}

TEST_F(Watching, StopEndsTheReadThatWaits) {
    Begin();
    std::thread stopper([this] { m_watch->Stop(); });
    std::vector<DirectoryChange> changes;
    EXPECT_FALSE(m_watch->Read(changes));
    EXPECT_EQ(LastError(), kRequestAborted);
    stopper.join();
    m_tree.Write("root/new", "");
    EXPECT_FALSE(m_watch->Read(changes));
}

TEST_F(Watching, TooManyChangesAskForARescan) {
    Begin();
    // More than the system keeps for a reader that does not read.
    for (int round = 0; round < 5000; round++) {
        Rename("root/kept", "root/another name");
        Rename("root/another name", "root/kept");
    }
    m_tree.Write("root/made/meanwhile/file", "");
    const DirectoryChange rescan{ChangeKind::kRescan, m_tree.Engine("root")};
    std::vector<DirectoryChange> changes;
    do {
        ASSERT_TRUE(m_watch->Read(changes));
    } while (std::find(changes.begin(), changes.end(), rescan) == changes.end());
    m_tree.Write("root/made/meanwhile/after", "");
    ReadUntil(ChangeKind::kAdded, "made/meanwhile/after");
}

TEST_F(Watching, AMissingFolderIsNotWatchedAndOneThatGoesEndsTheWatch) {
    EXPECT_EQ(DirectoryWatch::Open(m_tree.Engine("none")), nullptr);
    EXPECT_EQ(LastError(), kFileNotFound);
    EXPECT_EQ(DirectoryWatch::Open(m_tree.Engine("root/kept")), nullptr);
    EXPECT_EQ(LastError(), kPathNotFound);
    if (!kTellsAll) {
        return;
    }
    Begin();
    fs::remove_all(m_tree.Path("root"));
    std::vector<DirectoryChange> changes;
    while (m_watch->Read(changes)) {
    }
    EXPECT_EQ(LastError(), kPathNotFound);
    EXPECT_FALSE(m_watch->Read(changes));
}

}  // namespace
}  // namespace rampart::platform
