// Which starts are allowed, and what is said when one is not.
#include "engine/vaultlib_app.h"
#include "progress/task_prg.h"
#include "support/engine_home.h"

namespace rampart::test {

namespace {

using Start = EngineTest;

std::string Contains(CString const& text) {
    return text.ToUtf8();
}

}  // namespace

TEST_F(Start, IsRefusedForATaskThatGoesAwayStopsOrIsDisabled) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("mine", {tree.Native("d")});

    task.m_isDeleting = 1;
    EXPECT_EQ(0, task.StartBackupByUser(0));
    EXPECT_NE(std::string::npos, Contains(task.GetManualStartErrorMsg()).find("mine"));
    task.m_isDeleting = 0;

    task.m_pTaskPrg->SetStopping(1);
    EXPECT_EQ(0, task.StartBackup(1, 1));
    EXPECT_FALSE(task.GetManualStartErrorMsg().IsEmpty());
    task.m_pTaskPrg->SetStopping(0);

    task.SetManualStartErrorMsg(_T(""));
    task.m_state = TaskStateDisabled;
    EXPECT_EQ(0, task.StartBackup(1, 1));
    EXPECT_TRUE(task.GetManualStartErrorMsg().IsEmpty());
    EXPECT_EQ(TaskStateDisabled, task.m_state);
}

TEST_F(Start, OutsideTheWindowIsRefusedWithAWarning) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("late", {tree.Native("d")});
    task.m_endDate = CTime(2001, 1, 1, 0, 0, 0);
    EXPECT_EQ(0, task.StartBackupByUser(0));
    EXPECT_NE(std::string::npos, Contains(task.GetManualStartErrorMsg()).find("late"));
    EXPECT_NE(std::string::npos, task.m_runErrorText.ToUtf8().find("late"));
}

TEST_F(Start, ByHandWhileAnotherTaskRunsWaitsAndDropsQueuedChanges) {
    TempTree const tree({{"d/a", "a"}, {"e/b", "b"}});
    CBackupTask& first = MakeTask("first", {tree.Native("d")});
    CBackupTask& second = MakeTask("second", {tree.Native("e")});
    ManageMultipleRunningTask::GetInstance()->AddWoringTaskToVector(&first);
    second.m_actionList.AddAction(new ActionInfo);  // the list's

    EXPECT_EQ(0, second.StartBackupByUser(0));

    EXPECT_NE(std::string::npos, Contains(second.GetManualStartErrorMsg()).find("first|"));
    EXPECT_EQ(TaskStateWaiting, second.m_state);
    EXPECT_FALSE(second.m_actionList.HaveAction());
    ManageMultipleRunningTask::GetInstance()->RemoveWorkingTaskFromVector(&first);
    EXPECT_EQ(TaskStateFinished, Run(second));
}

TEST_F(Start, FromAWatcherOnlySetsTheMarkAndHoldsBackBeforeAResume) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    EXPECT_EQ(0, task.StartBackupByUser(1));
    EXPECT_EQ(1, task.m_actionsPending);

    task.m_actionsPending = 0;
    task.m_isResume = 1;
    task.m_resumeDate = task.GetDating() - CTimeSpan(3600) + CTimeSpan(30);
    EXPECT_EQ(0, task.StartBackupByUser(1));
    EXPECT_EQ(0, task.m_actionsPending);
    EXPECT_FALSE(task.GetManualStartErrorMsg().IsEmpty());
}

TEST_F(Start, AStartForTheDateOnlyRenewsItAndMovesNoFile) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    task.m_type = TaskTypeRealTime;
    task.m_onlyUpdateBackupDate = 1;
    ASSERT_EQ(1, task.StartBackup(1, 1));
    WaitForEnd(task);
    EXPECT_EQ(0, FilesSent());
    EXPECT_EQ(TaskStateFinished, task.m_state);
    EXPECT_GT(task.m_backupDate, CTime(1971, 1, 1, 1, 1, 1));
    EXPECT_EQ(0, task.m_onlyUpdateBackupDate);
}

TEST_F(Start, ALookAtTheFilesIsNotEatenByARenewalOfTheDateThatWaits) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    task.m_type = TaskTypeRealTime;
    CTime const lastLook = task.m_backupDate.Get() - CTimeSpan(7200);
    task.m_backupDate = lastLook;
    EXPECT_EQ(lastLook, task.LastRun());
    ASSERT_EQ(1, task.NowDating());
    ASSERT_EQ(1, task.m_onlyUpdateBackupDate);
    ASSERT_EQ(1, task.StartBackup(1, 1));
    WaitForEnd(task);
    EXPECT_GT(task.m_backupDate, lastLook);
    EXPECT_EQ(lastLook, task.LastRun()) << "nothing was looked at";

    tree.Write("d/b", "b");
    task.m_backupDate = lastLook;
    manager->m_waitList.AddTail(&task);  // as a pass does with a task whose date is to be renewed
    ASSERT_EQ(1, task.NowDating());
    manager->SyncRealTimeTask();
    ASSERT_EQ(1, task.StartBackup(1, 1));
    WaitForEnd(task);
    EXPECT_EQ(2, FilesSent());
    EXPECT_EQ(task.m_backupDate, task.LastRun());
}

TEST_F(Start, TheEndOfARunLeavesTheThreadOfTheNextOneAlone) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    HANDLE const release = CreateEventHandle(true, false);
    CWinThread* const next = AfxBeginThread(
        [](LPVOID event) -> UINT {
            MyWaitForSingleObject(static_cast<HANDLE>(event), ~0u);
            return 0;
        },
        release);
    ASSERT_NE(nullptr, next);
    // The next run began as soon as this one had left the registry, and is being stopped.
    task.m_pTaskPrg->SetWorker(next);
    task.m_pTaskPrg->SetStopping(1);
    __int64 result = 0;
    EXPECT_EQ(0, task.FinishBackupThread(result, BACKUP_THREAD_FULL));
    EXPECT_EQ(next, static_cast<CWinThread*>(task.m_pTaskPrg->m_pWorker));
    EXPECT_EQ(1, task.m_pTaskPrg->IsStopping());

    task.m_pTaskPrg->SetWorker(nullptr);
    EXPECT_EQ(0, task.FinishBackupThread(result, BACKUP_THREAD_FULL));
    EXPECT_EQ(0, task.m_pTaskPrg->IsStopping());
    HANDLE const ended = next->m_hThread;
    SetEvent(release);
    EXPECT_EQ(0u, MyWaitForSingleObject(ended, ~0u));
    CloseHandle(release);
}

TEST_F(Start, ThatFailsHalfWayLeavesThePlaceToOthers) {
    struct Broken : CBackupManage {
        int SetWorkingFile(CString, CString) override { throw std::runtime_error("scripted"); }
    };
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    {
        Broken broken;
        theVaultLibApp.m_pBackupManage = &broken;
        EXPECT_EQ(0, task.StartBackup(1, 1));
        theVaultLibApp.m_pBackupManage = manager;
    }
    EXPECT_EQ(0, ManageMultipleRunningTask::GetInstance()->WorkingTaskCount());
    EXPECT_EQ(TaskStateFailed, task.m_state);
    EXPECT_EQ(1, task.m_errorOccured);
    EXPECT_EQ(TaskStateFinished, Run(task));
}

TEST_F(Start, ForgetsACancelThatNobodyWaitedFor) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    task.m_pTaskPrg->CancelMe();
    EXPECT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(kWaitTimedOut, MyWaitForSingleObject(task.m_pTaskPrg->m_hCancelEvent, 0));
}

TEST_F(Start, AnotherObjectOfItsNameDoesNotEndARun) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ManageMultipleRunningTask* const registry = ManageMultipleRunningTask::GetInstance();
    registry->AddWoringTaskToVector(&task);
    {
        CBackupTask copy;
        copy.m_taskName = task.m_taskName;
    }
    EXPECT_TRUE(registry->IsWorking(&task));
    registry->RemoveWorkingTaskFromVector(&task);
}

TEST_F(Start, ANetworkSourceThatIsGoneIsTriedAgainAndFailsOnlyAtTheEnd) {
    TempTree const tree({{"d/a", "a"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    task.m_localDirList.front()->path = _T("\\\\no-such-host\\share\\folder");
    EXPECT_NE(TaskStateFailed, Run(task));
    EXPECT_EQ(6, task.m_networkRetryCount);
    EXPECT_GT(task.m_networkRetryDate.Get(), task.m_lastRunDate);
    EXPECT_EQ(0, task.m_networkRetryArmed);
    EXPECT_EQ(0, task.m_errorOccured);

    task.m_networkRetryCount = 0;  // the series is used up; only a hand start arms a new one
    ASSERT_EQ(1, task.StartBackup(1, 1));
    WaitForEnd(task);
    EXPECT_EQ(TaskStateFailed, task.m_state);
    EXPECT_EQ(1, task.m_errorOccured);
}

}  // namespace rampart::test
