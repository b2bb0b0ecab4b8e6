// The last look at a path before its transfer, and what follows from the service's answer.
#include <filesystem>

#include "progress/task_prg.h"
#include "support/engine_home.h"
#include "support/scripted_service.h"

namespace rampart::test {

namespace {

class Decision : public EngineTest {
protected:
    CBackupTask& ReadyTask(TempFolder const& tree) {
        CBackupTask& task = MakeTask("t", {tree.Native("d")});
        EXPECT_EQ(
            1, GlobalFunction::CreateSrvFolder(task.m_serverFilePath + _T("\\d"), _T(""), _T(""), nullptr));
        return task;
    }

    int BackUp(CBackupTask& task, std::string const& path) {
        CString engine = Engine(path);
        return task.BackupPath(engine, _T(""), 0, 0);
    }

    static constexpr int64_t kSecond = 1000000000;
    static constexpr int64_t kTime = 1700000000 * kSecond;
};

}  // namespace

TEST_F(Decision, ThumbsAndVanishedPathsEndWithSuccessAndWithoutATransfer) {
    TempTree const tree({{"d/tHUMBS.DB", "t"}});
    CBackupTask& task = ReadyTask(tree);
    __int64 const before = FilesSent();
    EXPECT_EQ(0, BackUp(task, tree.Native("d/tHUMBS.DB")));
    EXPECT_EQ(0, BackUp(task, tree.Native("d/gone")));
    EXPECT_EQ(before, FilesSent());
    EXPECT_EQ(0, task.m_errorOccured);
    EXPECT_TRUE(skipped.contains(tree.Native("d/gone")));
}

TEST_F(Decision, AnHourOfDaylightSavingIsNoChangeAndKeepsNoVersion) {
    TempTree const tree({{"d/f", "12345"}});
    tree.SetWriteTime("d/f", kTime);
    CBackupTask& task = ReadyTask(tree);
    CString const file = task.m_serverFilePath + _T("\\d\\f");
    ASSERT_EQ(0, BackUp(task, tree.Native("d/f")));
    ForgetExactTimes(file);
    __int64 const before = FilesSent();
    for (int64_t const shift : {3, 3600, 3599, -3603}) {
        tree.SetWriteTime("d/f", kTime + shift * kSecond);
        EXPECT_EQ(0, BackUp(task, tree.Native("d/f")));
        EXPECT_EQ(before, FilesSent()) << shift;
    }
    tree.SetWriteTime("d/f", kTime + 3604 * kSecond);
    EXPECT_EQ(0, BackUp(task, tree.Native("d/f")));
    EXPECT_EQ(before + 1, FilesSent());
    EXPECT_EQ(1u, VersionNames(task, file).size());
}

// Without the record a changed file would pass for a new one, and its old content would go without a version.
TEST_F(Decision, ARecordThatCannotBeLookedUpIsNoMissingOne) {
    TempTree const tree({{"d/f", "12345"}});
    CBackupTask& task = ReadyTask(tree);
    CString const file = task.m_serverFilePath + _T("\\d\\f");
    ASSERT_EQ(0, BackUp(task, tree.Native("d/f")));
    tree.Write("d/f", "changed");
    auto const service = home.Script();
    __int64 const before = FilesSent();
    service->Answer("ListFolder", kFailed, 1, 3);  // behind those of the root, of "pc" and of "t"
    EXPECT_EQ(kFailed, BackUp(task, tree.Native("d/f")));
    EXPECT_EQ(before, FilesSent());
    EXPECT_EQ(0, BackUp(task, tree.Native("d/f")));
    EXPECT_EQ(before + 1, FilesSent());
    EXPECT_EQ(1u, VersionNames(task, file).size());
}

TEST_F(Decision, ATransferThatFailsAgainAndAgainKeepsOneVersion) {
    TempTree const tree({{"d/f", "the content to keep"}});
    tree.SetWriteTime("d/f", kTime);
    CBackupTask& task = ReadyTask(tree);
    CString const file = task.m_serverFilePath + _T("\\d\\f");
    ASSERT_EQ(0, BackUp(task, tree.Native("d/f")));
    tree.Write("d/f", "changed");
    auto const service = home.Script();
    for (int i = 0; i < 5; ++i) {
        service->Answer("CommitFiles", kRefused);
        EXPECT_EQ(kRefused, BackUp(task, tree.Native("d/f")));
    }
    EXPECT_EQ(0, BackUp(task, tree.Native("d/f")));
    EXPECT_EQ(1u, VersionNames(task, file).size());
}

TEST_F(Decision, ADriveIsStoredUnderItsLetter) {
    TempTree const tree({{"d/f", "x"}});
    CBackupTask& task = ReadyTask(tree);
    CStringList list;
    list.AddTail(_T("C:\\"));
    task.ReplaceLocalList(list);
    CString drive = _T("C:");
    EXPECT_EQ(0, task.BackupPath(drive, _T(""), 0, 0));
    CServerPathList& stored = ApiUtil::GetServerPathlist();
    EXPECT_EQ(1, stored.IsPathExistEx(task.m_serverFilePath + _T("\\C"), 0, 0));
    EXPECT_EQ(0, stored.IsPathExistEx(task.m_serverFilePath + _T("\\C:"), 0, 0));
}

TEST_F(Decision, AFileIsOneWhenItsSourceWasRecordedAsOneThoughItIsGone) {
    TempTree const tree({{"d/f", "x"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d/f"), tree.Native("d")});
    std::filesystem::remove(tree.Path("d/f"));
    EXPECT_EQ(1, task.BackupPathIsFile(Engine(tree.Native("d/f"))));
    EXPECT_EQ(0, task.BackupPathIsFile(Engine(tree.Native("d"))));
    EXPECT_EQ(0, task.BackupPathIsFile(Engine(tree.Native("d/other"))));
    EXPECT_EQ(0, task.BackupPathIsFile(_T("")));
    EXPECT_EQ(0, task.BackupPathIsFile(_T("C:\\")));
}

TEST_F(Decision, AFolderAskedForWithAllBelowIsWalkedWithItsFilters) {
    TempTree const tree({{"d/a", "a"}, {"d/sub/b", "b"}, {"d/skip/c", "c"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    task.m_filterType = _T("0");
    task.m_filtedPathList.AddTail(_T("skip"));
    CPathManage::RestoreUIFilterToVector(task.m_filterExList);
    CPathManage::RestoreUIFiltedPathToVector(task.m_filtedPathList);
    ASSERT_EQ(1, GlobalFunction::CreateSrvFolder(task.m_serverFilePath, _T(""), _T(""), nullptr));
    CString path = Engine(tree.Native("d"));
    EXPECT_EQ(0, task.BackupPath(path, _T(""), 1, 0));
    auto const stored = Restored(task.m_serverFilePath);
    EXPECT_EQ(1u, stored.count("d/a"));
    EXPECT_EQ(1u, stored.count("d/sub/b"));
    EXPECT_EQ(0u, stored.count("d/skip/c"));
}

TEST_F(Decision, ComparisonsOfWholeFilesTellWhichSideIsNewer) {
    TempTree const tree({{"d/f", "12345"}});
    tree.SetWriteTime("d/f", kTime);
    CBackupTask& task = ReadyTask(tree);
    ASSERT_EQ(0, BackUp(task, tree.Native("d/f")));
    CString const server = task.m_serverFilePath + _T("\\d\\f");
    CString const local = Engine(tree.Native("d/f"));
    int error = 0;
    EXPECT_EQ(1u, GlobalFunction::IsServerLocalSameFile(server, local, 0));
    // The folder that is refreshed first is not there yet.
    EXPECT_EQ(COMPARE_REFRESH_FAILED, CBackupManage::CompareLocaAndServerFiles(local, server, error));
    EXPECT_NE(0, error);
    ASSERT_FALSE(CBackupManage::GetSvrInfoFolder().IsEmpty());
    EXPECT_EQ(COMPARE_SAME_TIME, CBackupManage::CompareLocaAndServerFiles(local, server, error));
    EXPECT_EQ(2u, GlobalFunction::IsServerLocalSameFile(server + _T("x"), local, 0));
    EXPECT_EQ(COMPARE_LOCAL_ONLY, CBackupManage::CompareLocaAndServerFiles(local, server + _T("x"), error));
    EXPECT_EQ(COMPARE_SERVER_ONLY, CBackupManage::CompareLocaAndServerFiles(local + _T("x"), server, error));
    EXPECT_EQ(COMPARE_NEITHER,
              CBackupManage::CompareLocaAndServerFiles(local + _T("x"), server + _T("x"), error));

    tree.SetWriteTime("d/f", kTime + 60 * kSecond);
    EXPECT_EQ(4u, GlobalFunction::IsServerLocalSameFile(server, local, 0));
    EXPECT_EQ(COMPARE_LOCAL_NEWER, CBackupManage::CompareLocaAndServerFiles(local, server, error));
    tree.SetWriteTime("d/f", kTime - 60 * kSecond);
    EXPECT_EQ(5u, GlobalFunction::IsServerLocalSameFile(server, local, 0));
    EXPECT_EQ(COMPARE_SERVER_NEWER, CBackupManage::CompareLocaAndServerFiles(local, server, error));
    tree.Write("d/f", "123456");
    tree.SetWriteTime("d/f", kTime + 1 * kSecond);
    EXPECT_EQ(0u, GlobalFunction::IsServerLocalSameFile(server, local, 0));
}

}  // namespace rampart::test
