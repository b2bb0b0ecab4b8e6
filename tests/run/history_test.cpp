// The versions of a file by name, how many stay, and the clean-up of what has no source.
#include <filesystem>

#include "support/engine_home.h"

namespace rampart::test {

namespace {

class History : public EngineTest {
protected:
    // A file in a folder of the vault, written at a moment.
    void Put(CString const& folder, std::string const& name, int64_t seconds) {
        TempFolder const local;
        local.Write(name, name);
        local.SetWriteTime(name, seconds * 1000000000);
        ASSERT_EQ(1, GlobalFunction::CreateSrvFolder(folder, _T(""), _T(""), nullptr));
        CString message;
        ASSERT_EQ(0, ApiUtil::UploadFile(CString(local.Engine(name)), folder, _T(""), _T(""), message,
                                         nullptr, 0, 1, 1, 0, 0))
            << message.ToUtf8();
    }

    std::set<std::string> Names(CString const& folder) {
        std::set<std::string> names;
        CString message;
        VaultAdmin::List(
            folder, false,
            [&](VaultEntry const& entry) {
                names.insert(entry.name.ToUtf8());
                return true;
            },
            message);
        return names;
    }

    static constexpr int64_t kTime = 1700000000;
};

}  // namespace

TEST_F(History, AFullFolderGivesItsOldestNameToTheNewVersion) {
    CBackupTask& task = MakeTask("t", {home.Native()});
    task.m_maxVersion = 10;
    CString const file = task.m_serverFilePath + _T("\\d\\x.txt");
    Put(task.m_serverFilePath + _T("\\d"), "x.txt", kTime + 1000);
    CString const folder = task.GetFileHistoryFolder(file);
    for (int i = 0; i < 9; ++i) {
        Put(folder, "x" + std::to_string(i) + ".txt", kTime + (i + 4) % 9);  // the oldest is x5.txt
    }

    EXPECT_EQ(1, task.RecoredHistroryFile(file, 10, _T("x.txt")));

    EXPECT_EQ(9u, Names(folder).size());
    CAutoMyPathInfo const record(ApiUtil::GetPathInfoEx(folder + _T("\\x5.txt"), 0, 0));
    ASSERT_TRUE(record != nullptr);
    EXPECT_EQ(kTime + 1000, ApiUtil::SystemTimeToTime(record->m_modifiedTime).GetTime());
}

TEST_F(History, TooManyVersionsAreTrimmedFromTheOldestOn) {
    CBackupTask& task = MakeTask("t", {home.Native()});
    task.m_maxVersion = 10;
    CString folder = task.GetFileHistoryFolder(task.m_serverFilePath + _T("\\d\\x.txt"));
    for (int i = 0; i < 12; ++i) {
        Put(folder, "x" + std::to_string(i) + ".txt", kTime + i);
    }
    EXPECT_EQ(_T("x3.txt"), task.GetOldTimeFileHistory(folder));
    EXPECT_EQ(9u, Names(folder).size());
    EXPECT_EQ(0u, Names(folder).count("x2.txt"));
}

TEST_F(History, OneVersionMeansNoHistoryButTheOneJustReplaced) {
    CBackupTask& task = MakeTask("t", {home.Native()});
    task.m_maxVersion = 1;
    CString const file = task.m_serverFilePath + _T("\\d\\x.txt");
    Put(task.m_serverFilePath + _T("\\d"), "x.txt", kTime);
    CString folder = task.GetFileHistoryFolder(file);
    Put(folder, "x0.txt", kTime);
    Put(folder, "x1.txt", kTime + 1);
    EXPECT_TRUE(task.GetOldTimeFileHistory(folder).IsEmpty());
    EXPECT_TRUE(Names(folder).empty());
}

TEST_F(History, ATakenNumberGoesUpAndAForeignNameMakesRoom) {
    CBackupTask& task = MakeTask("t", {home.Native()});
    CString const file = task.m_serverFilePath + _T("\\d\\x.txt");
    Put(task.m_serverFilePath + _T("\\d"), "x.txt", kTime);
    CString const folder = task.GetFileHistoryFolder(file);
    Put(folder, "x1.txt", kTime);  // one version, named with the number that the next one would get
    EXPECT_EQ(1, task.RecoredHistroryFile(file, 10, _T("x.txt")));
    EXPECT_EQ((std::set<std::string>{"x1.txt", "x2.txt"}), Names(folder));

    CString const other = task.m_serverFilePath + _T("\\d\\y.txt");
    Put(task.m_serverFilePath + _T("\\d"), "y.txt", kTime);
    CString const otherFolder = task.GetFileHistoryFolder(other);
    Put(otherFolder, "stranger.bin", kTime);
    EXPECT_EQ(1, task.RecoredHistroryFile(other, 2, _T("y.txt")));
    EXPECT_EQ(std::set<std::string>{"y1.txt"}, Names(otherFolder));
}

TEST_F(History, SortingKeepsTheOrderOfEqualTimesAndLeavesAListWithAHole) {
    auto record = [](WORD minute, TCHAR const* name) {
        auto* const info = new MyPathInfo;  // the list's
        info->m_modifiedTime = {2026, 1, 0, 1, 12, minute, 0, 0};
        info->m_name = name;
        return info;
    };
    CPtrList list;
    for (auto* info : {record(5, _T("a")), record(3, _T("b")), record(5, _T("c")), record(1, _T("d"))}) {
        list.AddTail(info);
    }
    auto names = [&] {
        CString text;
        for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
            auto const* const info = static_cast<MyPathInfo*>(list.GetNext(position));
            text += info != nullptr ? info->m_name : CString(_T("-"));
        }
        return text;
    };
    GlobalFunction::SortFileHistoryList(list, 1);
    EXPECT_EQ(_T("dbac"), names());
    list.AddHead(static_cast<void*>(nullptr));
    GlobalFunction::SortFileHistoryList(list, 1);
    EXPECT_EQ(_T("-dbac"), names());
    while (!list.IsEmpty()) {
        delete static_cast<MyPathInfo*>(list.RemoveHead());
    }
}

TEST_F(History, ChosenVersionsAreDeleted) {
    CBackupTask& task = MakeTask("t", {home.Native()});
    CString const file = task.m_serverFilePath + _T("\\x.txt");
    CString const folder = task.GetFileHistoryFolder(file);
    Put(folder, "x0.txt", kTime);
    Put(folder, "x1.txt", kTime + 1);
    CStringList versions;
    versions.AddTail(_T("x0.txt"));
    EXPECT_EQ(1, task.DeleteFileVersions(file, versions, 0));
    EXPECT_EQ(std::set<std::string>{"x1.txt"}, Names(folder));
}

TEST_F(History, OnlyWhatIsShownToBeGoneIsRemoved) {
    TempTree const tree({{"s/d/stay", "s"}, {"s/d/go", "g"}, {"s/d/sub/go too", "g"}, {"s/e/other", "o"}});
    CBackupTask& task = MakeTask("t", {tree.Native("s/d"), tree.Native("s/e")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    std::filesystem::remove(tree.Path("s/d/go"));
    std::filesystem::remove_all(tree.Path("s/d/sub"));

    // A source whose place cannot be reached: nothing at all is removed.
    std::filesystem::rename(tree.Path("s"), tree.Path("away"));
    unsigned int folders = 7;
    unsigned int files = 7;
    EXPECT_EQ(0u, task.RemoveExtraData(folders, files));
    EXPECT_EQ(0u, folders + files);
    EXPECT_EQ(7u, Restored(task.m_serverFilePath).size());
    std::filesystem::rename(tree.Path("away"), tree.Path("s"));

    EXPECT_EQ(0u, task.RemoveExtraData(folders, files));
    EXPECT_EQ(1u, folders);
    EXPECT_EQ(2u, files);
    auto const left = Restored(task.m_serverFilePath);
    EXPECT_EQ(1u, left.count("d/stay"));
    EXPECT_EQ(1u, left.count("e/other"));
    EXPECT_EQ(0u, left.count("d/go"));
    EXPECT_EQ(0u, left.count("d/sub/"));
}

TEST_F(History, WhatIsThereOrMayOnlyBeAwayStays) {
    TempTree const tree({{"s/downloads.part/in", "i"}, {"s/Docs/f", "upper"}});
    bool const hasTwins = kKeepsEveryName;
    if (hasTwins) {
        tree.Write("s/docs/f", "lower");
    }
    CBackupTask& task = MakeTask("t", {tree.Native("s")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    size_t const stored = Restored(task.m_serverFilePath).size();
    unsigned int folders = 0;
    unsigned int files = 0;
    EXPECT_EQ(0u, task.RemoveExtraData(folders, files));
    EXPECT_EQ(0u, folders + files) << "a folder of that name is no partial file";

    std::filesystem::rename(tree.Path("s"), tree.Path("mounted"));
    std::filesystem::create_directory(tree.Path("s"));
    EXPECT_EQ(0u, task.RemoveExtraData(folders, files));
    EXPECT_EQ(stored, Restored(task.m_serverFilePath).size()) << "a place where nothing is mounted";
    std::filesystem::remove(tree.Path("s"));
    std::filesystem::rename(tree.Path("mounted"), tree.Path("s"));

    std::filesystem::remove_all(tree.Path("s/Docs"));
    EXPECT_EQ(0u, task.RemoveExtraData(folders, files));
    EXPECT_EQ(1u, folders);
    EXPECT_EQ(1u, files);
    auto const left = Restored(task.m_serverFilePath);
    EXPECT_EQ(0u, left.count("s/Docs/f"));
    EXPECT_EQ(hasTwins ? 1u : 0u, left.count("s/docs/f"));
}

TEST_F(History, FoldersOfOtherFilesAreNoVersions) {
    CBackupTask& task = MakeTask("t", {home.Native()});
    task.m_maxVersion = 3;
    CString const file = task.m_serverFilePath + _T("\\d\\x");
    Put(task.m_serverFilePath + _T("\\d"), "x", kTime + 5);
    CString folder = task.GetFileHistoryFolder(file);
    for (TCHAR const* other : {_T("\\a"), _T("\\b"), _T("\\c")}) {  // of the folder that x was
        Put(folder + other, "1", kTime);
    }
    Put(folder, "x0", kTime);
    EXPECT_EQ(1, task.RecoredHistroryFile(file, 3, _T("x")));
    EXPECT_EQ((std::set<std::string>{"a", "b", "c", "x0", "x1"}), Names(folder));
    EXPECT_EQ(_T("x0"), task.GetOldTimeFileHistory(folder));
    EXPECT_EQ(1u, Names(folder + _T("\\a")).size());
}

}  // namespace rampart::test
