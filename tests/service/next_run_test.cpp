// When and why a task runs next.
#include "common/schedule.h"
#include "common/task_report.h"
#include "common/text.h"

namespace rampart::host {

namespace {

using testing::HasSubstr;

class NextRunWords : public testing::Test {
protected:
    NextRunWords() {
        task.m_taskName = _T("docs");
        task.m_pcID = 7;
        task.m_pcName = _T("ATTIC");
        task.m_type = TaskTypeDaily;
        task.m_beginDate = ToStored(At("2020-01-01T00:00"));
        task.m_dating = ToStored(At("2026-11-25T02:30"));
        surroundings.machine = 7;
        surroundings.isServiceRunning = true;
    }
    ~NextRunWords() override { task.m_taskName.Empty(); }
    static CTime At(std::string const& text) { return CTime(Schedule::Once(text).moment); }
    std::string Words(std::string const& now = "2026-11-24T10:00") {
        return NextRunOf(task, surroundings, At(now)).Text(At(now));
    }

    CBackupTask task;
    Surroundings surroundings;
};

TEST_F(NextRunWords, DatedTasks) {
    EXPECT_EQ("runs tomorrow at 02:30: it runs daily at that time", Words());
    task.m_type = TaskTypeOnce;
    EXPECT_EQ("runs tomorrow at 02:30: it runs once, at that time", Words());
    task.m_backupDate = ToStored(At("2026-11-25T02:31"));
    EXPECT_EQ("does not run by itself: its one run was made today at 02:31", Words("2026-11-25T08:00"));
}

TEST_F(NextRunWords, WhatKeepsATaskFromRunning) {
    task.m_endDate = ToStored(At("2026-11-24T12:00"));
    EXPECT_THAT(Words(), HasSubstr("its window ends before its next time, tomorrow at 02:30"));
    EXPECT_THAT(Words("2026-11-24T13:00"), HasSubstr("its window ended today at 12:00"));
    task.m_scheduleEnabled = 0;
    EXPECT_EQ("does not run by itself: it is disabled", Words());
    surroundings.machine = 8;
    EXPECT_EQ("does not run by itself: the machine ATTIC runs it", Words());
}

TEST_F(NextRunWords, DateThatHasCome) {
    EXPECT_EQ("runs today at 09:00: its time was today at 02:30 and it is started now",
              Words("2026-11-25T09:00"));
    surroundings.isServiceRunning = false;
    EXPECT_THAT(Words("2026-11-25T09:00"), HasSubstr("no service was there to start it"));
    surroundings.skipsMissedRuns = true;
    EXPECT_EQ("runs tomorrow at 02:30: its time was today at 02:30; runs that were missed are skipped",
              Words("2026-11-25T09:00"));
}

TEST_F(NextRunWords, RetryComesBeforeTheDateAndOutsideTheWindow) {
    task.m_isResume = 1;
    task.m_state = TaskStateFailed;
    task.m_resumeDate = ToStored(At("2026-11-24T14:00"));
    EXPECT_EQ("runs today at 14:00: its last run failed or left files out, and is tried again", Words());
    task.m_endDate = ToStored(At("2026-11-24T09:00"));
    EXPECT_THAT(Words(), HasSubstr("today at 14:00"));
    task.m_endDate = CTime(2099, 1, 1, 0, 0, 0);
    task.m_resumeDate = ToStored(At("2026-11-26T14:00"));
    EXPECT_THAT(Words(), HasSubstr("tomorrow at 02:30"));
}

TEST_F(NextRunWords, ContinuousTask) {
    task.m_type = TaskTypeRealTime;
    EXPECT_THAT(Words(), HasSubstr("continuously, at least every 15 minutes"));
    task.m_beginDate = ToStored(At("2026-12-01T00:00"));
    EXPECT_EQ(
        "runs on Tue 2026-12-01 at 00:00: its window begins then; to change that: "
        "rampart task edit 'docs' --window 2026-11-24..",
        Words());
}

TEST_F(NextRunWords, NothingRunsBeforeItsWindowBegins) {
    task.m_beginDate = ToStored(At("2026-12-01T06:00"));
    for (char const* const now : {"2026-11-24T10:00", "2026-11-26T10:00"}) {  // before its date, and after it
        SCOPED_TRACE(now);
        for (TaskType const mode : {TaskTypeOnce, TaskTypeDaily}) {
            task.m_type = mode;
            EXPECT_THAT(Words(now), HasSubstr("runs on Tue 2026-12-01 at 06:00: its window begins then"));
        }
        surroundings.skipsMissedRuns = true;
        EXPECT_THAT(Words(now), HasSubstr("runs on Wed 2026-12-02 at 02:30: "));
        task.m_type = TaskTypeOnce;
        EXPECT_THAT(Words(now), HasSubstr("2026-12-01 at 06:00"));
        surroundings.skipsMissedRuns = false;
    }
    EXPECT_THAT(Words("2026-12-01T07:00"), HasSubstr("it is started now"));
}

}  // namespace

}  // namespace rampart::host
