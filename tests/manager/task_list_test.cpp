// The list of tasks, the wait list, and the passes over them.
#include <gtest/gtest.h>

#include <thread>
#include <tuple>

#include "paths/global_function.h"
#include "storage/service_code.h"
#include "support/engine_home.h"
#include "support/log_lines.h"
#include "support/scripted_clock.h"
#include "task/stored_time.h"

namespace rampart::test {

namespace {

class TaskList : public testing::Test {
protected:
    CBackupTask& Task(TCHAR const* name) { return m_home.ListedTask(name); }
    CBackupManage& Manager() { return *m_home.manager; }
    bool IsWaiting(CBackupTask& task) { return Manager().m_waitList.Find(&task) != nullptr; }

    // A running task that ends with the scope.
    struct Running {
        explicit Running(CBackupTask& task) : m_task(task) {
            ManageMultipleRunningTask::GetInstance()->AddWoringTaskToVector(&task);
        }
        ~Running() { ManageMultipleRunningTask::GetInstance()->RemoveWorkingTaskFromVector(&m_task); }
        CBackupTask& m_task;
    };

    ScriptedClock m_clock{Utc(2024, 5, 15, 10), 7200};
    EngineHome m_home;
};

TEST_F(TaskList, TaskIsFoundByNameAndByMachineAndName) {
    Manager().m_pcName = _T("DESK");
    CBackupTask& task = Task(_T("Photos"));
    EXPECT_EQ(Manager().GetTaskByName(_T("PHOTOS")), &task);
    EXPECT_EQ(Manager().GetTaskByName(_T("desk.photos")), &task);
    EXPECT_EQ(Manager().GetTaskByName(_T("other.photos")), nullptr);
    EXPECT_EQ(Manager().GetTaskByID(task.m_taskID), &task);
    CBackupTask& plain = Task(_T("Desk.Photos"));
    EXPECT_EQ(Manager().GetTaskByName(_T("desk.photos")), &plain) << "the name itself goes first";
}

TEST_F(TaskList, WaitingTaskIsQueuedOnceAndGoesBackToReady) {
    CBackupTask& task = Task(_T("a"));
    EXPECT_EQ(Manager().AddTaskToWaitlist(&task, 0), 1);
    EXPECT_EQ(Manager().AddTaskToWaitlist(&task, 1), 0);
    EXPECT_EQ(task.m_state, TaskStateWaiting);
    EXPECT_EQ(Manager().RemoveTaskFromWaitlist(&task), 1);
    EXPECT_EQ(task.m_state, TaskStateReady);
    task.m_state = TaskStateFailed;
    EXPECT_EQ(Manager().RemoveTaskFromWaitlistNoLock(&task), 1);
    EXPECT_EQ(task.m_state, TaskStateFailed) << "it was not on the list";
}

TEST_F(TaskList, RunningTaskIsQueuedOnlyByForceAndStaysRunning) {
    CBackupTask& task = Task(_T("a"));
    task.m_state = TaskStateRunning;
    Running const running(task);
    EXPECT_EQ(Manager().AddTaskToWaitlist(&task, 0), 0);
    EXPECT_EQ(Manager().AddTaskToWaitlist(&task, 1), 1);
    EXPECT_EQ(task.m_state, TaskStateRunning);
}

TEST_F(TaskList, DeletingByNameSaysWhetherThereWasAList) {
    EXPECT_EQ(Manager().DeleteTaskListByName(_T("a")), 0);
    Task(_T("a"));
    EXPECT_EQ(Manager().DeleteTaskListByName(_T("b")), 1);
    EXPECT_EQ(Manager().m_taskList.size(), 1u);
    EXPECT_EQ(Manager().DeleteTaskListByName(_T("A")), 1);
    EXPECT_TRUE(Manager().m_taskList.empty());
}

TEST_F(TaskList, DeletedTaskLeavesTheWaitList) {
    CBackupTask& first = Task(_T("first"));
    CBackupTask& second = Task(_T("second"));
    Manager().AddTaskToWaitlist(&first, 0);
    Manager().AddTaskToWaitlist(&second, 0);
    Manager().m_waitList.AddTail(&first);  // a second entry of it
    ASSERT_EQ(Manager().DeleteTaskListByName(_T("first")), 1);
    EXPECT_EQ(Manager().m_waitList.GetCount(), 1);
    EXPECT_TRUE(IsWaiting(second));
    ASSERT_EQ(Manager().CheckNotExistedTasks(), 1) << "it has no row";
    EXPECT_TRUE(Manager().m_waitList.IsEmpty());
    Manager().DoScheduleTask();
}

TEST_F(TaskList, StatesAreToldByNameTheFirstOfANameCounts) {
    Task(_T("a")).m_state = TaskStateFailed;
    Task(_T("a")).m_state = TaskStateRunning;
    Task(_T("b")).m_state = TaskStateWaiting;
    std::map<CString, int> const expected{{_T("a"), TaskStateFailed}, {_T("b"), TaskStateWaiting}};
    EXPECT_EQ(Manager().GetTaskStatusMapValue(), expected);
}

// The pass queues what is due and keeps what may not start yet.
TEST_F(TaskList, DueTasksWaitInTheirOrderWhileAnotherRuns) {
    CBackupTask& busy = Task(_T("busy"));
    CBackupTask& first = Task(_T("first"));
    CBackupTask& later = Task(_T("later"));
    CBackupTask& foreign = Task(_T("foreign"));
    for (CBackupTask* const task : {&busy, &first, &later, &foreign}) {
        task->m_type = TaskTypeDaily;
        task->m_dating = StoredNow() - CTimeSpan(30);
    }
    later.m_dating = StoredNow() + CTimeSpan(3600);
    foreign.m_pcID = Manager().m_myID + 1;
    Running const running(busy);
    Manager().DoScheduleTask();
    EXPECT_TRUE(IsWaiting(first));
    EXPECT_EQ(first.m_state, TaskStateWaiting);
    EXPECT_FALSE(IsWaiting(busy));
    EXPECT_FALSE(IsWaiting(later));
    EXPECT_FALSE(IsWaiting(foreign));
    m_clock.Advance(3600);
    Manager().DoScheduleTask();
    EXPECT_EQ(Manager().m_waitList.GetCount(), 2);
    EXPECT_EQ(Manager().m_waitList.GetHead(), &first);
}

TEST_F(TaskList, FailedAndLatelyCancelledTasksAreDroppedFromTheWaitList) {
    CBackupTask& failed = Task(_T("failed"));
    CBackupTask& cancelled = Task(_T("cancelled"));
    for (CBackupTask* const task : {&failed, &cancelled}) {
        Manager().AddTaskToWaitlist(task, 0);
    }
    failed.m_errorOccured = 1;
    cancelled.m_state = TaskStateCanceled;
    cancelled.m_lastRunDate = RawNow() - CTimeSpan(86399);
    Manager().DoScheduleTask();
    EXPECT_TRUE(Manager().m_waitList.IsEmpty());
    EXPECT_EQ(failed.m_state, TaskStateReady);
    EXPECT_EQ(cancelled.m_state, TaskStateReady);
}

// A second caller neither waits behind the pass that goes on nor looks at anything.
TEST_F(TaskList, PassThatMeetsAnotherOneDoesNothing) {
    LogLines const log;
    auto told = [&] { return log.Count("Manage: Tasks are being scheduled."); };
    CBackupTask& task = Task(_T("due"));
    CBackupTask& other = Task(_T("other"));
    for (CBackupTask* const each : {&task, &other}) {
        each->m_type = TaskTypeDaily;
        each->m_dating = StoredNow() + CTimeSpan(3600);
    }
    task.m_dating = StoredNow() - CTimeSpan(30);
    Manager().m_checkNetworkBeforeRun = 1;
    size_t before = 0;
    std::shared_ptr<ScriptedService> const service = m_home.Script();
    service->Before("Ping", [&] {  // in the middle of a pass
        task.m_isDeleting = 1;     // so that its start is refused
        other.m_dating = StoredNow() - CTimeSpan(30);
        before = told();
        std::thread second([&] { Manager().DoScheduleTask(); });
        second.join();
        EXPECT_EQ(told(), before + 1);
        EXPECT_FALSE(IsWaiting(other));
    });
    Manager().DoScheduleTask();
    EXPECT_EQ(service->Calls("Ping"), 1);
    EXPECT_TRUE(IsWaiting(task));
    EXPECT_FALSE(IsWaiting(other));
    Manager().m_checkNetworkBeforeRun = 0;
    other.m_isDeleting = 1;
    Manager().DoScheduleTask();
    EXPECT_FALSE(IsWaiting(other));
    other.m_isDeleting = 0;
}

TEST_F(TaskList, WithoutANetworkThoseThatWaitKeepTheirPlaceOrAreSentBack) {
    CBackupTask& task = Task(_T("a"));
    std::shared_ptr<ScriptedService> const service = m_home.Script();
    Manager().AddTaskToWaitlist(&task, 0);
    constexpr int kAlways = 1000000;
    service->Answer("Ping", kConnectionFailed, kAlways);
    Manager().m_checkNetworkBeforeRun = 1;
    Manager().DoScheduleTask();
    EXPECT_TRUE(IsWaiting(task));
    EXPECT_EQ(task.m_state, TaskStateWaiting);
    EXPECT_EQ(Manager().ConnectLoopNetwork(), 0);
    EXPECT_TRUE(Manager().m_waitList.IsEmpty());
    EXPECT_EQ(task.m_state, TaskStateReady);
    Manager().AddTaskToWaitlist(&task, 0);
    service->Answer("Ping", 0, 0);
    EXPECT_EQ(Manager().ConnectLoopNetwork(), 1);
    EXPECT_TRUE(IsWaiting(task));
}

TEST_F(TaskList, ChangesOfContinuousTasksAreWorkedOffByTheirNextRun) {
    CBackupTask& watched = Task(_T("watched"));
    CBackupTask& dated = Task(_T("dated"));
    dated.m_type = TaskTypeDaily;
    dated.m_actionList.AddAction(new ActionInfo);  // the list's own
    EXPECT_EQ(Manager().HaveActionToProcess(), 0);
    watched.m_actionList.AddAction(new ActionInfo);
    EXPECT_EQ(Manager().HaveActionToProcess(), 1);
    EXPECT_EQ(Manager().ProcessAlltheAction(), 1);
    EXPECT_EQ(watched.m_actionsPending, 1);
    EXPECT_EQ(dated.m_actionsPending, 0);
}

// A day later the cancel no longer counts.
TEST_F(TaskList, TaskThatWasCancelledADayAgoKeepsItsPlace) {
    CBackupTask& task = Task(_T("cancelled"));
    Manager().AddTaskToWaitlist(&task, 0);
    task.m_state = TaskStateCanceled;
    task.m_lastRunDate = RawNow() - CTimeSpan(86400);
    task.m_isDeleting = 1;  // so that its start is refused
    Manager().DoScheduleTask();
    EXPECT_TRUE(IsWaiting(task));
}

TEST_F(TaskList, MissedDailyRunIsMadeUpAfterTheDelay) {
    Manager().m_skipMissedTask = 0;
    CBackupTask& missed = Task(_T("missed"));
    CBackupTask& done = Task(_T("done"));
    CBackupTask& never = Task(_T("never"));
    CTime const now = StoredNow();
    for (CBackupTask* const task : {&missed, &done, &never}) {
        task->m_type = TaskTypeDaily;
        task->m_dating = now - CTimeSpan(3600);
    }
    missed.m_backupDate = now - CTimeSpan(7200);
    done.m_backupDate = now - CTimeSpan(1800);
    never.m_serverNextDate = now - CTimeSpan(2 * 86400);
    Manager().SyncScheduleTask();
    EXPECT_EQ(missed.m_isResume, 1);
    EXPECT_EQ(missed.m_resumeDate, now + CTimeSpan(60));
    EXPECT_EQ(done.m_isResume, 0);
    EXPECT_EQ(never.m_isResume, 1);

    missed.m_resumeDate = now + CTimeSpan(5);
    Manager().SyncScheduleTask();
    EXPECT_EQ(missed.m_resumeDate, now + CTimeSpan(5)) << "the earlier request stays";
}

TEST_F(TaskList, MissedRunOfAWeeklyOrOnceTaskIsMadeUp) {
    struct Case {
        TCHAR const* what;
        int mode;
        CTime dating;
        CTime lastRun;
        CTime planned;
        int isMadeUp;
    };
    CTime const never(1971, 1, 1, 0, 0, 0);
    CTime const now = StoredNow();  // a Wednesday
    CTimeSpan const day(86400);
    CTime const yesterday = now - day - CTimeSpan(3600);
    Case const cases[] = {
        {_T("weekly, missed yesterday"), TaskTypeWeekly, yesterday, yesterday - day, never, 1},
        {_T("weekly, made yesterday"), TaskTypeWeekly, yesterday, yesterday + CTimeSpan(60), never, 0},
        {_T("weekly, not run yet"), TaskTypeWeekly, yesterday, never, yesterday - day, 1},
        {_T("once, missed"), TaskTypeOnce, yesterday, never, yesterday, 1},
        {_T("once, made"), TaskTypeOnce, yesterday, yesterday, yesterday, 0},
        {_T("once, still to come"), TaskTypeOnce, now + CTimeSpan(3600), never, now + CTimeSpan(3600), 0}};
    for (Case const& each : cases) {
        CBackupTask& task = Task(each.what);
        task.m_type = static_cast<TaskType>(each.mode);
        task.m_dating = each.dating;
        task.m_backupDate = each.lastRun;
        task.m_serverNextDate = each.planned;
    }
    auto missed = [&](TCHAR const* name) -> CBackupTask& {
        CBackupTask& task = Task(name);
        task.m_type = TaskTypeDaily;
        task.m_dating = now - CTimeSpan(3600);
        task.m_backupDate = now - CTimeSpan(7200);
        return task;
    };
    CBackupTask& foreign = missed(_T("foreign"));
    foreign.m_pcID = Manager().m_myID + 1;
    CBackupTask& waiting = missed(_T("waiting"));
    Manager().AddTaskToWaitlist(&waiting, 0);
    CBackupTask& busy = missed(_T("busy"));
    Running const running(busy);
    Manager().SyncScheduleTask();
    for (Case const& each : cases) {
        EXPECT_EQ(Manager().GetTaskByName(each.what)->m_isResume, each.isMadeUp)
            << CString(each.what).ToUtf8();
    }
    for (CBackupTask const* const task : {&foreign, &waiting, &busy}) {
        EXPECT_EQ(task->m_isResume, 0) << task->m_taskName.ToUtf8();
    }
}

TEST_F(TaskList, ContinuousTasksOfThisMachineAreQueuedOnceAndWatched) {
    CBackupTask& mine = Task(_T("mine"));
    CBackupTask& busy = Task(_T("busy"));
    CBackupTask& foreign = Task(_T("foreign"));
    CBackupTask& disabled = Task(_T("disabled"));
    CBackupTask& over = Task(_T("over"));
    CBackupTask& dated = Task(_T("dated"));
    for (CBackupTask* const task : {&mine, &busy, &foreign, &disabled, &over, &dated}) {
        task->m_type = TaskTypeRealTime;
        task->m_hookStop = 1;
    }
    foreign.m_pcID = Manager().m_myID + 1;
    disabled.m_scheduleEnabled = 0;
    over.m_endDate = StoredNow() - CTimeSpan(1);
    dated.m_type = TaskTypeDaily;
    busy.m_state = TaskStateRunning;
    Running const running(busy);
    for (int pass = 0; pass < 2; ++pass) {
        Manager().SyncRealTimeTask();
        EXPECT_EQ(Manager().m_waitList.GetCount(), 2);
    }
    EXPECT_EQ(mine.m_state, TaskStateWaiting);
    EXPECT_EQ(busy.m_state, TaskStateRunning);
    for (CBackupTask* const task : {&mine, &busy}) {
        EXPECT_TRUE(IsWaiting(*task));
        EXPECT_EQ(task->m_hookStop, 0) << "watched";
    }
    for (CBackupTask const* const task : {&foreign, &disabled, &over, &dated}) {
        EXPECT_EQ(task->m_hookStop, 1) << task->m_taskName.ToUtf8();
    }
}

TEST_F(TaskList, SkippedRunsMoveTheDatePastThem) {
    ASSERT_EQ(Manager().m_skipMissedTask, 0) << "made up unless the setting says otherwise";
    CBackupTask& daily = Task(_T("daily"));
    CBackupTask& weekly = Task(_T("weekly"));
    daily.m_type = TaskTypeDaily;
    weekly.m_type = TaskTypeWeekly;
    weekly.m_repeatDays = 1 << 3;  // Wednesday, like today
    CTime const hourAgo = StoredNow() - CTimeSpan(3600);
    daily.m_dating = hourAgo - CTimeSpan(3 * 86400);
    weekly.m_dating = hourAgo - CTimeSpan(7 * 86400);
    CTime const before = daily.m_dating;
    Manager().DoScheduleNextTime();
    EXPECT_EQ(daily.m_dating, before);

    GlobalFunction::SaveFlag(_T("MissedTaskReStart"), 0);
    Manager().Initialize();
    Manager().DoScheduleNextTime();
    EXPECT_EQ(daily.m_dating, hourAgo + CTimeSpan(86400));
    EXPECT_EQ(weekly.m_dating, hourAgo + CTimeSpan(7 * 86400));
    EXPECT_EQ(daily.NowDating(), 0);
}

// A run that is due this very minute is not missed.
TEST_F(TaskList, RunOfThisMinuteIsNotSkipped) {
    Manager().m_skipMissedTask = 1;
    CBackupTask& task = Task(_T("daily"));
    task.m_type = TaskTypeDaily;
    task.m_dating = StoredNow();
    EXPECT_EQ(task.NowDating(), 1);
    EXPECT_EQ(task.m_dating, StoredNow());
}

TEST_F(TaskList, DelaysAreReadFromTheSettings) {
    EXPECT_EQ(Manager().GetRealTimeDelaySeconds(), 60u);
    EXPECT_EQ(Manager().GetDelayTimeForMissedTask(), 1u);
    Manager().SetDelayTimeForMissedTask(5);
    Manager().SetRealTimeDelaySeconds(90);
    CBackupManage other;
    other.Initialize();
    EXPECT_EQ(other.GetDelayTimeForMissedTask(), 5u);
    EXPECT_EQ(other.GetRealTimeDelaySeconds(), 30u) << "the stored number is a switch to the option";
    std::tuple<LPCTSTR, LPCTSTR, LPCTSTR, unsigned long> const places[] = {
        {_T("Options"), _T("RealTimeDelay"), _T("45"), 45},
        {_T("RealTimeDelay"), _T("DelaySecs"), _T("50"), 50}};
    for (auto const& [section, key, value, seconds] : places) {
        ASSERT_TRUE(DictUtil::SetConfigString(section, key, value));
        CBackupManage configured;
        configured.Initialize();
        EXPECT_EQ(configured.GetRealTimeDelaySeconds(), seconds);
        Manager().SetRealTimeDelaySeconds(90);  // it takes the switch along
    }
    Manager().SetDelayTimeForMissedTask(60);
    EXPECT_EQ(Manager().GetDelayTimeForMissedTask(), 0u) << "minutes of the hour";
    Manager().SetRealTimeDelaySeconds(86400);
    EXPECT_EQ(Manager().GetRealTimeDelaySeconds(), 90u);
    for (unsigned long const minutes : {0ul, 1441ul}) {
        GlobalFunction::SaveFlag(_T("DelayMinsMissedTask"), minutes);
        CBackupManage fresh;
        fresh.Initialize();
        EXPECT_EQ(fresh.GetDelayTimeForMissedTask(), 1u);
    }
}

TEST_F(TaskList, ListsMayBeAskedFromManyThreads) {
    CBackupTask& task = Task(_T("a"));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                Manager().AddTaskToWaitlist(&task, 1);
                Manager().GetTaskByName(_T("a"));
                Manager().GetTaskStatusMapValue();
                Manager().SetWorkingFile(_T(" C:\\A "), _T("\\A"));
                EXPECT_EQ(Manager().GetWorkingFile(), _T("c:\\a"));
                Manager().AddErrTask(&task);
                Manager().RemoveTaskFromWaitlist(&task);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(Manager().m_waitList.IsEmpty());
    EXPECT_EQ(Manager().m_errTaskList.GetCount(), 1);
}

TEST_F(TaskList, MachineKeepsItsIdAndTakesTheOneOfTheOtherSide) {
    uint32_t const id = Manager().m_myID;
    EXPECT_EQ(Manager().m_myIDCreated, 1);
    CBackupManage again;
    again.InitMyID();
    EXPECT_EQ(again.m_myID, id);
    EXPECT_EQ(again.m_myIDCreated, 0);
    EXPECT_FALSE(again.m_pcName.IsEmpty());

    m_home.Write("gui/", "");
    CString const gui = CString(TextView(m_home.Engine("gui"))) + _T("\\");
    again.SetGUIWindowsUserAppDataPath(gui);
    again.InitMyID();
    EXPECT_EQ(m_home.Read("gui/PCInfo.dat").size(), 4u) << "the side that lacks it gets a copy";
}

}  // namespace

}  // namespace rampart::test
