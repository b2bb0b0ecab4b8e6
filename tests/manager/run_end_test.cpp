// What the end of a run makes of its task.
#include <gtest/gtest.h>

#include "paths/global_function.h"
#include "support/engine_home.h"
#include "support/scripted_clock.h"
#include "task/stored_time.h"

namespace rampart::test {

namespace {

constexpr int kCancelled = 6;
constexpr int kNoSpace = 10;
constexpr int kRetrySeconds = 240 * 60;

class RunEnd : public testing::Test {
protected:
    RunEnd() {
        m_task.m_type = TaskTypeDaily;
        m_task.m_scheduleEnabled = 1;
        m_task.m_serverFilePath = _T("\\S");
        m_task.m_dating = StoredNow() + CTimeSpan(3600);
    }

    void Done(int result, BackupThreadType type = BACKUP_THREAD_FULL) {
        m_home.manager->DoneTask(&m_task, result, 1, type);
    }

    bool IsRetryPlanned() const {
        return m_task.m_isResume == 1 && m_task.m_retryScheduled == 1 && m_task.m_errorRetryFactor == 1 &&
               m_task.m_resumeDate == ToStored(RawNow() + CTimeSpan(kRetrySeconds));
    }

    ScriptedClock m_clock{Utc(2024, 5, 15, 10), 7200};
    EngineHome m_home;
    CBackupTask& m_task = m_home.ListedTask(_T("t"));
};

struct EndCase {
    char const* what;
    int mode;
    bool isError;
    bool hasFailedFiles;
    bool isLate;  // the run ended behind its next date
    bool isRetryScheduled;
    int result;
    int state;
    bool isRetryPlanned;
    bool isDateMoved;
};

TEST_F(RunEnd, StateRetryAndNextDateFollowFromTheResult) {
    constexpr EndCase kCases[] = {
        {"good daily", TaskTypeDaily, false, false, true, false, 0, TaskStateFinished, false, true},
        {"good daily that ran early", TaskTypeDaily, false, false, false, false, 0, TaskStateFinished, false,
         true},
        {"good once stays", TaskTypeOnce, false, false, true, false, 0, TaskStateFinished, false, false},
        {"good real time", TaskTypeRealTime, false, false, true, false, 0, TaskStateFinished, false, false},
        {"cancelled daily", TaskTypeDaily, false, false, true, false, kCancelled, TaskStateCanceled, false,
         true},
        {"cancelled once goes on", TaskTypeOnce, false, false, true, false, kCancelled, TaskStateCanceled,
         false, true},
        {"cancelled with an error", TaskTypeDaily, true, false, true, false, kCancelled, TaskStateCanceled,
         false, true},
        {"no space, no error", TaskTypeDaily, false, false, true, false, kNoSpace, TaskStateCanceled, false,
         true},
        {"failed daily", TaskTypeDaily, true, false, true, false, 3, TaskStateFailed, true, true},
        {"failed daily, early", TaskTypeDaily, true, false, false, false, 0, TaskStateFailed, true, true},
        {"failed daily, early, retry known", TaskTypeDaily, true, false, false, true, 0, TaskStateFailed,
         false, true},
        {"failed daily, late, retry known", TaskTypeDaily, true, false, true, true, 0, TaskStateFailed, true,
         true},
        {"failed once", TaskTypeOnce, true, false, true, false, 0, TaskStateFailed, true, true},
        {"failed once again", TaskTypeOnce, true, false, true, true, 0, TaskStateFailed, false, true},
        {"failed real time", TaskTypeRealTime, true, false, true, false, 0, TaskStateFailed, true, false},
        {"failed files", TaskTypeDaily, false, true, false, false, 0, TaskStateFinished, true, true},
        {"failed files, cancelled", TaskTypeDaily, false, true, false, false, kCancelled, TaskStateCanceled,
         false, true},
        {"failed files, early, retry known", TaskTypeDaily, false, true, false, true, 0, TaskStateFinished,
         false, true},
        {"failed files, late, retry known", TaskTypeDaily, false, true, true, true, 0, TaskStateFinished,
         true, true},
        {"good weekly that ran early", TaskTypeWeekly, false, false, false, false, 0, TaskStateFinished,
         false, true},
        {"failed weekly, early", TaskTypeWeekly, true, false, false, false, 0, TaskStateFailed, true, true},
        {"cancelled weekly, early", TaskTypeWeekly, false, false, false, false, kCancelled, TaskStateCanceled,
         false, true},
        {"failed files of a once task", TaskTypeOnce, false, true, false, false, 0, TaskStateFinished, false,
         false},
    };
    for (EndCase const& end : kCases) {
        SCOPED_TRACE(end.what);
        m_task.m_type = static_cast<TaskType>(end.mode);
        m_task.m_repeatDays = 0;
        m_task.m_state = TaskStateRunning;
        m_task.m_errorOccured = end.isError;
        m_task.m_hadFileFailure = end.hasFailedFiles;
        m_task.m_failureRetryTried = 0;
        m_task.m_retryScheduled = end.isRetryScheduled;
        m_task.m_errorRetryFactor = 0;
        m_task.m_isResume = 0;
        m_task.m_lastRetryDate = StoredNow();
        CTime const dating = StoredNow() + CTimeSpan(end.isLate ? -3601 : 3601);
        m_task.m_dating = dating;
        Done(end.result);
        EXPECT_EQ(m_task.m_state, end.state);
        EXPECT_EQ(IsRetryPlanned(), end.isRetryPlanned);
        EXPECT_EQ(m_task.m_isResume, end.isRetryPlanned ? 1 : 0);
        // The rule itself keeps an early date, but for that of a weekly task.
        EXPECT_EQ(m_task.m_dating != dating, end.isDateMoved && (end.isLate || end.mode == TaskTypeWeekly));
        EXPECT_EQ(m_task.m_backupDate, StoredNow());
    }
}

struct EndMarks {
    char const* what;
    int mode = TaskTypeDaily;
    // Before the end.
    bool isError = false;
    bool hasFailedFiles = false;
    int lateSeconds = 3601;
    bool isRetryKnown = false;
    bool isTried = false;
    bool mayRetry = true;
    bool isEnabled = true;
    int type = BACKUP_THREAD_FULL;
    int result = 0;
    // After it.
    int state = TaskStateFinished;
    bool isRetryPlanned = false;
    bool isDateMoved = true;
    bool isResumeKept = false;
    bool hasRealTimeFailed = true;  // as before
    bool isTaskChanged = false;
    bool isTriedAfter = false;
};

TEST_F(RunEnd, MarksAndRetriesFollowFromWhatWasBefore) {
    constexpr int kDateThread = 2;
    EndMarks const kEnds[] = {
        {.what = "good at the very date",
         .lateSeconds = 0,
         .isDateMoved = false,
         .hasRealTimeFailed = false,
         .isTaskChanged = true},
        {.what = "failed files at the very date, retry known",
         .hasFailedFiles = true,
         .lateSeconds = 0,
         .isRetryKnown = true,
         .isDateMoved = false,
         .hasRealTimeFailed = false,
         .isTaskChanged = true},
        {.what = "error at the very date, retry known",
         .isError = true,
         .lateSeconds = 0,
         .isRetryKnown = true,
         .state = TaskStateFailed,
         .isDateMoved = false},
        {.what = "daily, retries off", .isError = true, .mayRetry = false, .state = TaskStateFailed},
        {.what = "weekly, retries off",
         .mode = TaskTypeWeekly,
         .isError = true,
         .mayRetry = false,
         .state = TaskStateFailed},
        {.what = "once, retries off",
         .mode = TaskTypeOnce,
         .isError = true,
         .mayRetry = false,
         .state = TaskStateFailed},
        {.what = "real time, retries off",
         .mode = TaskTypeRealTime,
         .isError = true,
         .mayRetry = false,
         .state = TaskStateFailed,
         .isDateMoved = false},
        {.what = "failed files, retries off",
         .hasFailedFiles = true,
         .mayRetry = false,
         .hasRealTimeFailed = false,
         .isTaskChanged = true},
        {.what = "real time, cancelled with an error",
         .mode = TaskTypeRealTime,
         .isError = true,
         .result = kCancelled,
         .state = TaskStateCanceled,
         .isDateMoved = false,
         .hasRealTimeFailed = false},
        {.what = "once, cancelled with an error",
         .mode = TaskTypeOnce,
         .isError = true,
         .result = kCancelled,
         .state = TaskStateCanceled,
         .hasRealTimeFailed = false},
        {.what = "real time, its date only, cancelled with an error",
         .mode = TaskTypeRealTime,
         .isError = true,
         .type = kDateThread,
         .result = kCancelled,
         .state = TaskStateCanceled,
         .isDateMoved = false},
        {.what = "weekly, failed files",
         .mode = TaskTypeWeekly,
         .hasFailedFiles = true,
         .lateSeconds = -3601,
         .isRetryPlanned = true,
         .hasRealTimeFailed = false,
         .isTaskChanged = true},
        {.what = "real time, error, retry known",
         .mode = TaskTypeRealTime,
         .isError = true,
         .isRetryKnown = true,
         .state = TaskStateFailed,
         .isDateMoved = false},
        {.what = "real time, changes only",
         .mode = TaskTypeRealTime,
         .type = BACKUP_THREAD_CHANGE,
         .isDateMoved = false,
         .isTaskChanged = true},
        {.what = "real time, its date only",
         .mode = TaskTypeRealTime,
         .type = kDateThread,
         .isDateMoved = false,
         .isResumeKept = true,
         .isTaskChanged = true},
        {.what = "disabled with an error",
         .isError = true,
         .isEnabled = false,
         .state = TaskStateDisabled,
         .isRetryPlanned = true,
         .isDateMoved = false},
        {.what = "failed files, early, tried",
         .hasFailedFiles = true,
         .lateSeconds = -3601,
         .isTried = true,
         .isDateMoved = false,
         .hasRealTimeFailed = false,
         .isTaskChanged = true,
         .isTriedAfter = true},
        {.what = "failed files, late, tried",
         .hasFailedFiles = true,
         .isTried = true,
         .isRetryPlanned = true,
         .hasRealTimeFailed = false,
         .isTaskChanged = true},
        {.what = "good, early, tried",
         .lateSeconds = -3601,
         .isTried = true,
         .isDateMoved = false,
         .hasRealTimeFailed = false,
         .isTaskChanged = true},
        {.what = "failed files, cancelled, tried",
         .hasFailedFiles = true,
         .isTried = true,
         .result = kCancelled,
         .state = TaskStateCanceled,
         .hasRealTimeFailed = false},
        {.what = "no space", .result = kNoSpace, .state = TaskStateCanceled, .hasRealTimeFailed = false},
    };
    CString const retryFlag = ApiUtil::GetCustomerID() + DictUtil::GetValue(_T("TaskRetryOnceReg"), _T(""));
    CTime const resume = StoredNow() + CTimeSpan(7);
    for (EndMarks const& end : kEnds) {
        SCOPED_TRACE(end.what);
        GlobalFunction::SaveFlag(retryFlag, end.mayRetry ? 1 : 0);
        m_task.m_type = static_cast<TaskType>(end.mode);
        m_task.m_state = TaskStateRunning;
        m_task.m_errorOccured = end.isError;
        m_task.m_hadFileFailure = end.hasFailedFiles;
        m_task.m_failureRetryTried = end.isTried;
        m_task.m_retryScheduled = end.isRetryKnown;
        m_task.m_scheduleEnabled = end.isEnabled;
        m_task.m_errorRetryFactor = 0;
        m_task.m_isResume = 1;
        m_task.m_resumeDate = resume;
        m_task.m_realTimeFailed = 1;
        m_task.m_taskChanged = 0;
        m_task.m_lastRetryDate = StoredNow();
        CTime const dating = m_task.m_dating = StoredNow() - CTimeSpan(end.lateSeconds);
        Done(end.result, static_cast<BackupThreadType>(end.type));
        EXPECT_EQ(m_task.m_state, end.state);
        EXPECT_EQ(IsRetryPlanned(), end.isRetryPlanned);
        EXPECT_EQ(m_task.m_isResume != 0, end.isRetryPlanned || end.isResumeKept);
        EXPECT_EQ(m_task.m_dating != dating, end.isDateMoved);
        EXPECT_EQ(m_task.m_realTimeFailed != 0, end.hasRealTimeFailed);
        EXPECT_EQ(m_task.m_taskChanged != 0, end.isTaskChanged);
        EXPECT_EQ(m_task.m_failureRetryTried != 0, end.isTriedAfter);
    }
}

TEST_F(RunEnd, OptionsSayWhenAFailureIsTriedAgainAndWhenItCounts) {
    EngineHome::SetOption(_T("errorRetryInterval"), _T("7"));
    EngineHome::SetOption(_T("FlexEmailTimeMinutes"), _T("2"));
    m_task.m_type = TaskTypeRealTime;
    m_task.m_errorOccured = 1;
    Done(0);
    EXPECT_EQ(m_task.m_resumeDate, ToStored(RawNow() + CTimeSpan(7 * 60)));
    for (auto const& [seconds, counts] : {std::pair(119, false), {1, true}}) {
        m_clock.Advance(seconds);
        m_task.m_errorOccured = 0;
        Done(0, BACKUP_THREAD_CHANGE);
        EXPECT_EQ(m_task.m_errorOccured != 0, counts) << seconds;
    }
}

TEST_F(RunEnd, RetryOfFailedFilesIsPlannedOnceForEachDate) {
    m_task.m_hadFileFailure = 1;
    Done(0);
    ASSERT_TRUE(IsRetryPlanned());
    m_task.m_failureRetryTried = 1;  // the report's mark
    m_task.m_retryScheduled = 0;
    Done(0);
    EXPECT_EQ(m_task.m_isResume, 0) << "the retry failed too";
    m_task.m_dating = StoredNow() - CTimeSpan(1);
    Done(0);
    EXPECT_TRUE(IsRetryPlanned()) << "a new date begins anew";
    EXPECT_EQ(m_task.m_failureRetryTried, 0);
}

TEST_F(RunEnd, CustomerMaySwitchRetriesOff) {
    GlobalFunction::SaveFlag(ApiUtil::GetCustomerID() + DictUtil::GetValue(_T("TaskRetryOnceReg"), _T("")),
                             0);
    m_task.m_errorOccured = 1;
    Done(0);
    EXPECT_EQ(m_task.m_state, TaskStateFailed);
    EXPECT_EQ(m_task.m_isResume, 0);
}

TEST_F(RunEnd, DisabledTaskEndsDisabledAndKeepsItsDate) {
    m_task.m_scheduleEnabled = 0;
    CTime const dating = m_task.m_dating = StoredNow() - CTimeSpan(60);
    Done(0);
    EXPECT_EQ(m_task.m_state, TaskStateDisabled);
    EXPECT_EQ(m_task.m_dating, dating);
}

// A failure of a real-time task is retried in quiet; one that lasts for the whole period counts.
TEST_F(RunEnd, RealTimeFailureCountsWhenItLastsForThePeriod) {
    m_task.m_type = TaskTypeRealTime;
    m_task.m_errorOccured = 1;
    Done(0);
    ASSERT_TRUE(IsRetryPlanned());
    EXPECT_EQ(m_task.m_realTimeFailed, 1);

    m_clock.Advance(59 * 60);
    m_task.m_errorOccured = 0;
    Done(0, BACKUP_THREAD_CHANGE);
    EXPECT_EQ(m_task.m_errorOccured, 0);
    EXPECT_EQ(m_task.m_realTimeFailed, 1) << "a run over changes proves nothing about the rest";

    m_clock.Advance(60);
    Done(0, BACKUP_THREAD_CHANGE);
    EXPECT_EQ(m_task.m_errorOccured, 1);
    EXPECT_EQ(m_task.m_state, TaskStateFailed);

    m_clock.Advance(60 * 60);
    m_task.m_errorOccured = 0;
    m_task.m_realTimeFailed = 0;
    Done(0);
    EXPECT_EQ(m_task.m_errorOccured, 0);
    EXPECT_EQ(m_task.m_retryScheduled, 0);
}

// The row's backup date shows which ends of runs were written.
TEST_F(RunEnd, RefreshesOfTheDateReachTheDatabaseOnEverySixth) {
    m_task.m_type = TaskTypeRealTime;
    ASSERT_EQ(m_home.manager->AddOrEditTaskToDatabase(&m_task, _T("Add"), _T("0"), _T(""), _T("1")), 0);
    auto stored = [] {
        CString reply;
        EXPECT_EQ(ApiUtilExp::GetTaskListFromWebDatabase(_T("t"), _T("false"), reply), 0);
        return ApiUtil::GetVarValue(reply, _T("RETURN_BackupDate"), 0);
    };
    CString before = stored();
    for (int run = 1; run <= 7; ++run) {
        m_clock.Advance(180);
        m_task.m_onlyUpdateBackupDate = 1;
        Done(0);
        CString const after = stored();
        EXPECT_EQ(after != before, run == 6) << run;
        before = after;
    }
    m_clock.Advance(179);
    Done(0);
    EXPECT_EQ(stored(), before) << "less than three minutes behind the run before";
    m_clock.Advance(180);
    Done(0);
    EXPECT_NE(stored(), before);
}

TEST_F(RunEnd, ChangeThatCameMeanwhileIsQueuedAfterAGoodRun) {
    auto isQueued = [&] { return m_home.manager->m_waitList.Find(&m_task) != nullptr; };
    for (int const result : {kCancelled, kNoSpace, 0}) {
        m_task.m_pendingChange = 1;
        Done(result);
        EXPECT_EQ(isQueued(), result == 0) << result;
        EXPECT_EQ(m_task.m_pendingChange, 0);
    }
    EXPECT_EQ(m_task.m_state, TaskStateWaiting);
}

TEST_F(RunEnd, ActionsThatAreLeftAreWorkedOffByTheScheduler) {
    m_task.m_type = TaskTypeRealTime;
    m_task.m_actionList.AddAction(new ActionInfo);  // the list's own
    Done(0);
    EXPECT_EQ(m_task.m_actionsPending, 1);
    m_clock.Advance(60);
    EXPECT_EQ(m_task.NowDating(), 1);
    EXPECT_EQ(m_task.NowDating(), 0) << "not again within the span";
}

TEST_F(RunEnd, FailedTaskIsNamedOnceOnTheListOfFailures) {
    m_task.m_errorOccured = 1;
    Done(0);
    m_task.m_errorOccured = 1;
    Done(0);
    EXPECT_EQ(m_home.manager->m_errTaskList.GetCount(), 1);
    EXPECT_EQ(m_home.manager->ErrorOccured(), 1);
    m_home.manager->ClearErrTasklist();
    EXPECT_EQ(m_home.manager->ErrorOccured(), 0);
}

}  // namespace

}  // namespace rampart::test
