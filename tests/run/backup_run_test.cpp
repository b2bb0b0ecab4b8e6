// Whole runs over a real vault: what was backed up comes back, and what was not is named.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "progress/task_prg.h"
#include "support/engine_home.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;

using BackupRun = EngineTest;

constexpr int64_t kSomeTime = 1700000000 * platform::kNanosecondsPerSecond + 123456789;

}  // namespace

TEST_F(BackupRun, WhatIsStoredComesBackWithContentTimesAndNames) {
    TempTree const tree({{"docs/plain.txt", "plain"},
                         {"docs/empty", ""},
                         {"docs/empty folder/", ""},
                         {"docs/two words.txt", "blank"},
                         {"docs/naïve 文書.txt", "non-ASCII"},
                         {"docs/big", std::string(3000000, 'b')},
                         {"docs/big2", std::string(2500000, 'c')}});
    if (kKeepsEveryName) {
        tree.Write("docs/a:b\\c*d?e\"f<g>h|i", "characters of no engine path");
        tree.Write("docs/dot.", "trailing dot");
        tree.Write("docs/blank ", "trailing blank");
        tree.Write("docs/wide\u00a0", "trailing blank that does not break");
        tree.Write("docs/wide", "without it");
        tree.Write("docs/ideographic\u3000/x", "in a folder");
        tree.Write("docs/line\nbreak", "newline");
        tree.Write("docs/bytes \xff\xfe", "not UTF-8");
        tree.Write("docs/Case.txt", "upper");
        tree.Write("docs/case.txt", "lower");
        tree.Write("docs/Sub/x", "in Sub");
        tree.Write("docs/sub/x", "in sub");
    }
    tree.SetWriteTime("docs/plain.txt", kSomeTime);
    CBackupTask& task = MakeTask("docs", {tree.Native("docs")});

    EXPECT_EQ(TaskStateFinished, Run(task));

    EXPECT_EQ(ReadTree(tree.Path()), Restored(task.m_serverFilePath));
    EXPECT_TRUE(skipped.empty());
    EXPECT_EQ(0, task.m_errorOccured);
}

TEST_F(BackupRun, ASecondRunSendsNothingAndAChangeOnlyItself) {
    TempTree const tree({{"d/a", "one"}, {"d/b/c", "two"}, {"d/e/c", "three"}, {"d/f", "four"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    __int64 const first = FilesSent();
    EXPECT_EQ(4, first);

    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(first, FilesSent());
    EXPECT_EQ(0, task.m_reportAddedCount + task.m_reportChangedCount);

    tree.Write("d/b/c", "two changed");
    tree.SetWriteTime("d/b/c", kSomeTime);
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(first + 1, FilesSent());
    EXPECT_EQ(ReadTree(tree.Path()), Restored(task.m_serverFilePath));
}

TEST_F(BackupRun, SeveralSourcesKeepTheirPlaces) {
    TempTree const tree({{"a/one/x", "1"}, {"a/two/x", "2"}, {"b/x", "3"}, {"b/y", "4"}});
    CBackupTask& together = MakeTask("together", {tree.Native("a/one"), tree.Native("a/two")});
    CBackupTask& apart = MakeTask("apart", {tree.Native("a/one"), tree.Native("b"), tree.Native("b/y")});
    for (CBackupTask* task : {&together, &apart}) {
        ASSERT_EQ(TaskStateFinished, Run(*task));
        __int64 const sent = FilesSent();
        ASSERT_EQ(TaskStateFinished, Run(*task));
        EXPECT_EQ(sent, FilesSent());
    }
    std::multiset<std::string> contents;
    for (auto const& [name, entry] : Restored(together.m_serverFilePath)) {
        contents.insert(name.ends_with("/") ? "" : entry.content);
    }
    EXPECT_EQ((std::multiset<std::string>{"", "", "1", "2"}), contents);
    contents.clear();
    for (auto const& [name, entry] : Restored(apart.m_serverFilePath)) {
        if (!name.ends_with("/")) {
            contents.insert(entry.content);
        }
    }
    EXPECT_EQ((std::multiset<std::string>{"1", "3", "4"}), contents);
}

TEST_F(BackupRun, NamesThatDifferOnlyInCaseAreTwoFilesThoughTimesAndSizesAgree) {
    if (!kKeepsEveryName) {
        GTEST_SKIP() << "one file here";
    }
    TempTree const tree({{"d/name", "first"}, {"d/Folder/x", "alpha"}});
    tree.SetWriteTime("d/name", kSomeTime);
    tree.SetWriteTime("d/Folder/x", kSomeTime);
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));

    // Beside what is stored already, the same in size and time.
    tree.Write("d/NAME", "other");
    tree.Write("d/folder/x", "gamma");
    tree.SetWriteTime("d/NAME", kSomeTime);
    tree.SetWriteTime("d/folder/x", kSomeTime);
    ASSERT_EQ(TaskStateFinished, Run(task));

    EXPECT_EQ(ReadTree(tree.Path()), Restored(task.m_serverFilePath));
    EXPECT_TRUE(VersionNames(task, task.m_serverFilePath + _T("\\d\\name")).empty());
}

TEST_F(BackupRun, OldContentsStayAsVersionsAsManyAsAskedFor) {
    TempTree const tree({{"d/letter.txt", "0"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    task.m_maxVersion = 3;
    CString const file = task.m_serverFilePath + _T("\\d\\letter.txt");
    for (int run = 0; run < 6; ++run) {
        tree.Write("d/letter.txt", "content " + std::to_string(run));
        tree.SetWriteTime("d/letter.txt", kSomeTime + run * 60 * platform::kNanosecondsPerSecond);
        ASSERT_EQ(TaskStateFinished, Run(task));
        EXPECT_EQ(static_cast<size_t>(std::min(run, 2)), VersionNames(task, file).size()) << run;
    }
    // The two before the present one.
    std::set<std::string> contents;
    for (auto const& [name, entry] : Restored(task.GetFileHistoryFolder(file))) {
        contents.insert(entry.content);
    }
    EXPECT_EQ((std::set<std::string>{"content 3", "content 4"}), contents);
    EXPECT_EQ(27, task.m_remoteSize) << "the file and its two versions, 9 bytes each";
}

TEST_F(BackupRun, WhatIsNoFileIsNamedAndTheRestIsStored) {
    TempTree const tree({{"d/good", "good"}});
    if (!test::MakeLink(tree.Path("d/link"), "good")) {
        GTEST_SKIP() << "this system has neither links nor pipes in folders";
    }
    ASSERT_EQ(0, std::system(("mkfifo '" + tree.Native("d/pipe") + "'").c_str()));
    ASSERT_TRUE(test::MakeLink(tree.Path("source"), "d"));
    CBackupTask& task = MakeTask("t", {tree.Native("d"), tree.Native("gone"), tree.Native("source")});

    EXPECT_EQ(TaskStateFinished, Run(task));

    EXPECT_FALSE(skipped.contains(tree.Native("d/link"))) << "it is stored";
    EXPECT_TRUE(skipped.contains(tree.Native("d/pipe")));
    EXPECT_TRUE(skipped.contains(tree.Native("gone")));
    EXPECT_TRUE(skipped.contains(tree.Native("source"))) << "a whole source that is a link";
    auto const stored = Restored(task.m_serverFilePath);
    EXPECT_EQ("good", stored.at("d/good").content);
    EXPECT_EQ(0u, stored.count("d/pipe"));
}

TEST_F(BackupRun, ExcludedNamesAndFoldersStayOut) {
    TempTree const tree(
        {{"d/keep.txt", "k"}, {"d/drop.log", "d"}, {"d/cache/x", "x"}, {"d/deep/cache/y.txt", "y"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    task.m_filterType = _T("0");
    task.m_filterExList.AddTail(_T("*.log"));
    task.m_filtedPathList.AddTail(_T("cache"));
    ASSERT_EQ(TaskStateFinished, Run(task));
    auto const stored = Restored(task.m_serverFilePath);
    EXPECT_EQ(1u, stored.count("d/keep.txt"));
    EXPECT_EQ(0u, stored.count("d/drop.log"));
    EXPECT_EQ(0u, stored.count("d/cache/x"));
    EXPECT_EQ(0u, stored.count("d/deep/cache/y.txt"));
    EXPECT_EQ(1u, stored.count("d/deep/"));
}

TEST_F(BackupRun, IncludeModeTakesOnlyWhatIsNamed) {
    TempTree const tree({{"d/a.txt", "a"}, {"d/b.log", "b"}, {"d/photos/p", "p"}, {"d/photos/q.txt", "q"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    task.m_filterType = _T("1");
    task.m_filterExList.AddTail(_T("*.txt"));
    task.m_filtedPathList.AddTail(_T("photos"));
    ASSERT_EQ(TaskStateFinished, Run(task));
    auto const stored = Restored(task.m_serverFilePath);
    EXPECT_EQ(1u, stored.count("d/a.txt"));
    EXPECT_EQ(0u, stored.count("d/b.log"));
    EXPECT_EQ(1u, stored.count("d/photos/p"));
    EXPECT_EQ(1u, stored.count("d/photos/q.txt"));
}

TEST_F(BackupRun, ACancelEndsTheRunAndTheNextOneSendsTheRest) {
    TempFolder const tree;
    for (int i = 0; i < 3000; ++i) {
        tree.Write("d/" + std::to_string(i % 30) + "/f" + std::to_string(i),
                   std::string(2000, 'x') + std::to_string(i));
    }
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(1, task.StartBackupByUser(0));
    while (FilesSent() == 0 && ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task)) {
        platform::SleepMilliseconds(1);
    }
    task.m_pTaskPrg->CancelMe();
    WaitForEnd(task);
    EXPECT_EQ(TaskStateCanceled, task.m_state);
    __int64 const before = FilesSent();
    EXPECT_LT(before, 3000);

    EXPECT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(3000, FilesSent());
    EXPECT_EQ(ReadTree(tree.Path()), Restored(task.m_serverFilePath));
}

TEST_F(BackupRun, TheThreadedRoadStoresTheSameTree) {
    home.Write("config/rampart.ini", "[Options]\nSupportCopyThread=1\nCopySpeedCap=180\n");
    TempFolder const tree;
    for (int i = 0; i < 700; ++i) {
        tree.Write("d/" + std::to_string(i % 7) + "/f" + std::to_string(i), std::string(i, 'y'));
    }
    tree.Write("d/huge", std::string(9000000, 'h'));
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    EXPECT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(ReadTree(tree.Path()), Restored(task.m_serverFilePath));
    // The cache holds nothing any more.
    CString temp;
    CPathManage::GetTempFolder(temp, 0, 1);
    EXPECT_EQ(0, KXFolder::GetFolderSize(temp, 0));
}

TEST_F(BackupRun, ATaskWithoutAServerFolderStaysInTheRegistryUntilItIsEnded) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    task.m_serverFilePath = _T("");
    ASSERT_EQ(1, task.StartBackupByUser(0));
    platform::SleepMilliseconds(100);
    EXPECT_TRUE(ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task));
    EXPECT_EQ(TaskStateRunning, task.m_state);
    task.EndTask();
    EXPECT_FALSE(ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task));
}

TEST_F(BackupRun, NoMoreFilesAreSentAtOnceThanTheConfigurationSays) {
    constexpr int kWorkers = 2;
    ASSERT_TRUE(DictUtil::SetConfigString(_T("Function"), _T("MultipleThreadCount"), _T("2")));
    for (char const* const copyThread : {"0", "1"}) {
        SCOPED_TRACE(copyThread);
        TempFolder const tree;
        for (int i = 0; i < 12; ++i) {
            tree.Write("d/" + std::to_string(i), copyThread + std::to_string(i) + std::string(2 << 20, 'x'));
        }
        std::shared_ptr<ScriptedService> const service = home.Script();
        ASSERT_TRUE(service->SetSetting("ParallelTransfer", "1").Ok());
        SetStorageService(service);
        home.SetOption(_T("SupportCopyThread"), CString::FromUtf8(copyThread));
        CBackupTask& task = MakeTask(std::string("t") + copyThread, {tree.Native("d")});
        std::atomic<int> most = 0;
        service->Before("PutChunks", [&] {
            most = std::max(most.load(), task.GetRunningUploadCount());
            platform::SleepMilliseconds(5);
        });
        ASSERT_EQ(TaskStateFinished, Run(task));
        EXPECT_GT(most, 0);
        EXPECT_LE(most, kWorkers);
        EXPECT_EQ(ReadTree(tree.Path()), Restored(task.m_serverFilePath));
    }
}

// A disk image, a log: an old copy, or none, is worth less than one that may be torn.
TEST_F(BackupRun, WhatIsWrittenAllTheTimeIsStoredAsItIsFoundAndItsOldStateKept) {
    constexpr int kMostRuns = 200;  // until one met a write in the middle of its copy, again and again
    TempFolder const tree;
    tree.Write("d/image", std::string(6 << 20, 'x'));
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    int runs = 0;
    {
        std::atomic<bool> isEnding = false;
        std::atomic<int> writes = 0;
        std::thread writer([&] {
            std::ofstream stream(tree.Path("d/image"), std::ios::app);
            while (!isEnding) {
                stream << "more" << std::flush;
                ++writes;
            }
        });
        for (skipped.clear(); skipped.empty() && runs < kMostRuns; ++runs) {
            int const before = writes;
            while (writes == before) {
                platform::SleepMilliseconds(1);
            }
            EXPECT_EQ(TaskStateFinished, Run(task));
        }
        isEnding = true;
        writer.join();
    }
    EXPECT_THAT(skipped, testing::UnorderedElementsAre(testing::Pair(
                             tree.Native("d/image"), testing::HasSubstr("written to all the time"))));
    EXPECT_FALSE(VersionNames(task, task.m_serverFilePath + _T("\\d\\image")).empty());
    // At rest it is stored whole with the next run.
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_TRUE(skipped.empty());
    EXPECT_EQ(ReadTree(tree.Path()), Restored(task.m_serverFilePath));
}

}  // namespace rampart::test
