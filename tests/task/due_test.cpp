// When a task is due.
#include <gtest/gtest.h>

#include "support/engine_home.h"
#include "support/scripted_clock.h"
#include "task/stored_time.h"

namespace rampart::test {

namespace {

class DueTask : public testing::Test {
protected:
    DueTask() {
        m_task.m_type = TaskTypeDaily;
        m_task.m_dating = m_now - CTimeSpan(1);
    }

    ScriptedClock m_clock{Utc(2024, 5, 15, 10), 7200};
    EngineHome m_home;
    CBackupTask& m_task = m_home.ListedTask(_T("t"));
    CTime const m_now = StoredNow();
};

TEST_F(DueTask, FiresFromTheMinuteOfItsDateOn) {
    EXPECT_EQ(m_task.NowDating(), 1);
    m_task.m_dating = m_now + CTimeSpan(30);
    for (int const second : {0, 30, 59}) {
        m_clock.SetSeconds(Utc(2024, 5, 15, 10, 0, second));
        EXPECT_EQ(m_task.NowDating(), 0) << second;
    }
    m_clock.SetSeconds(Utc(2024, 5, 15, 10, 1, 0));
    EXPECT_EQ(m_task.NowDating(), 1);
}

TEST_F(DueTask, NeverFiresWhenItMayNotRunHere) {
    m_task.m_isResume = 1;
    m_task.m_resumeDate = m_now;
    ASSERT_EQ(m_task.NowDating(), 1);
    m_task.m_scheduleEnabled = 0;
    EXPECT_EQ(m_task.NowDating(), 0);
    m_task.m_scheduleEnabled = 1;
    m_task.m_state = TaskStateDisabled;
    EXPECT_EQ(m_task.NowDating(), 0);
    m_task.m_state = TaskStateReady;
    m_task.m_isDeleting = 1;
    EXPECT_EQ(m_task.NowDating(), 0);
    m_task.m_isDeleting = 0;
    m_task.m_pcID = m_home.manager->m_myID + 1;
    EXPECT_EQ(m_task.NowDating(), 0);
    m_task.m_pcID = m_home.manager->m_myID;
    ManageMultipleRunningTask::GetInstance()->AddWoringTaskToVector(&m_task);
    EXPECT_EQ(m_task.NowDating(), 0);
    ManageMultipleRunningTask::GetInstance()->ClearAllWoringTask();
    EXPECT_EQ(m_task.NowDating(), 1);
}

TEST_F(DueTask, RetryFiresOutsideTheWindowADateDoesNot) {
    m_task.m_beginDate = m_now + CTimeSpan(3600);
    EXPECT_EQ(m_task.NowDating(), 0);
    m_task.m_isResume = 1;
    m_task.m_resumeDate = m_now + CTimeSpan(1);
    EXPECT_EQ(m_task.NowDating(), 0);
    m_clock.Advance(1);
    EXPECT_EQ(m_task.NowDating(), 1);
}

TEST_F(DueTask, WindowIncludesBothEnds) {
    m_task.m_beginDate = m_now;
    m_task.m_endDate = m_now;
    EXPECT_EQ(m_task.NowDating(), 1);
    m_task.m_endDate = m_now - CTimeSpan(1);
    EXPECT_EQ(m_task.NowDating(), 0);
}

TEST_F(DueTask, NetworkRetryIsUsedUpByEachFiring) {
    m_task.m_dating = m_now + CTimeSpan(3600);
    m_task.m_networkRetryCount = 2;
    m_task.m_networkRetryDate = m_now;
    EXPECT_EQ(m_task.NowDating(), 1);
    EXPECT_EQ(m_task.NowDating(), 1);
    EXPECT_EQ(m_task.NowDating(), 0);
}

TEST_F(DueTask, FailedAndCancelledTasksBecomeReadyWithTheirDate) {
    for (int const state : {TaskStateCanceled, TaskStateFailed}) {
        m_task.m_state = state;
        m_task.m_networkRetryArmed = 0;
        m_clock.SetSeconds(Utc(2024, 5, 15, 10, 0, 59));
        m_task.m_dating = m_now + CTimeSpan(30);
        EXPECT_EQ(m_task.NowDating(), 0) << "not before the minute of its date";
        EXPECT_EQ(m_task.m_state, state);
        m_task.m_dating = m_now;
        EXPECT_EQ(m_task.NowDating(), 1);
        EXPECT_EQ(m_task.m_state, TaskStateReady);
        EXPECT_EQ(m_task.m_networkRetryArmed, 1);
    }
}

TEST_F(DueTask, OnceTaskFiresOnce) {
    m_task.m_type = TaskTypeOnce;
    EXPECT_EQ(m_task.NowDating(), 1);
    m_task.m_backupDate = m_task.m_dating;
    EXPECT_EQ(m_task.NowDating(), 0);
}

TEST_F(DueTask, RealTimeTaskRenewsItsDateAfterAnHour) {
    m_task.m_type = TaskTypeRealTime;
    m_task.m_backupDate = m_now;
    m_clock.Advance(3599);
    EXPECT_EQ(m_task.NowDating(), 0);
    m_clock.Advance(1);
    EXPECT_EQ(m_task.NowDating(), 1);
    EXPECT_EQ(m_task.m_onlyUpdateBackupDate, 1);
    m_task.m_backupDate = CTime(1971, 1, 1, 0, 0, 0);
    EXPECT_EQ(m_task.NowDating(), 0) << "it has never run: its first run is not a renewal";
}

TEST_F(DueTask, OptionsSayHowOftenAContinuousTaskLooksAtItself) {
    m_task.m_type = TaskTypeRealTime;
    EngineHome::SetOption(_T("OnlyUpdateBackupDate"), _T("0"));
    m_task.m_backupDate = m_now;
    EXPECT_EQ(m_task.NowDating(), 1);
    EngineHome::SetOption(_T("OnlyUpdateBackupDate"), _T("2"));
    m_clock.Advance(119);
    EXPECT_EQ(m_task.NowDating(), 0);
    m_clock.Advance(1);
    EXPECT_EQ(m_task.NowDating(), 1);

    EngineHome::SetOption(_T("MonitorTimeSpan"), _T("10"));
    m_task.m_actionsPending = 1;
    ASSERT_EQ(m_task.NowDating(), 1);
    m_clock.Advance(9);
    EXPECT_EQ(m_task.NowDating(), 0);
    m_clock.Advance(1);
    EXPECT_EQ(m_task.NowDating(), 1);
}

TEST_F(DueTask, NextDateIsKeptInStoredForm) {
    m_task.m_dating = ToStored(CTime(2024, 5, 1, 0, 30, 0));  // half past midnight here
    m_task.SetNextDating();
    EXPECT_EQ(ToRaw(m_task.m_dating), CTime(2024, 5, 16, 0, 30, 0));
    m_task.m_scheduleEnabled = 0;
    CTime const kept = m_task.m_dating;
    m_clock.Advance(3 * 86400);
    m_task.SetNextDating();
    EXPECT_EQ(m_task.m_dating, kept);
}

TEST_F(DueTask, TimeOfDayOutlastsTheNightInWhichSummerTimeBegins) {
    m_clock.AddZoneChange(Utc(2025, 3, 1), 3600);
    m_clock.AddZoneChange(Utc(2025, 3, 30, 1), 7200);
    for (auto const& [hour, minute] : {std::pair(1, 30), {2, 0}, {2, 30}, {3, 0}, {3, 59}, {4, 0}}) {
        m_task.m_type = TaskTypeDaily;
        m_task.m_dating = ToStored(CTime(2025, 3, 28, hour, minute, 0));
        int runs = 0;
        for (int64_t now = Utc(2025, 3, 28, 12); now < Utc(2025, 4, 2, 12); now += 1800) {
            m_clock.SetSeconds(now);
            if (StoredMinute() >= m_task.m_dating) {
                ++runs;
                m_clock.SetSeconds(now + 2);
                m_task.SetNextDating();
            }
        }
        EXPECT_EQ(runs, 6) << hour << ':' << minute;  // the one of the 28th is late
        EXPECT_EQ(ToRaw(m_task.m_dating), CTime(2025, 4, 3, hour, minute, 0)) << hour << ':' << minute;
    }
}

TEST_F(DueTask, NewBeginMovesTheDateOfADatedTaskOnly) {
    CTime const begin = m_now + CTimeSpan(2 * 86400);
    m_task.SetBeginDate(begin);
    EXPECT_GE(m_task.m_dating, begin);
    m_task.m_type = TaskTypeRealTime;
    CTime const dating = m_task.m_dating;
    m_task.SetBeginDate(begin + CTimeSpan(86400));
    EXPECT_EQ(m_task.m_dating, dating);
    m_task.SetDating(m_now, 0);
    EXPECT_EQ(m_task.m_dating, m_now);
}

}  // namespace

}  // namespace rampart::test
