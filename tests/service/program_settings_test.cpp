// What the user chooses for all tasks of the machine, and what the engine makes of it.
#include "common/program_settings.h"

#include "common/exit_code.h"
#include "common/schedule.h"
#include "storage/service_code.h"
#include "support/engine_home.h"
#include "support/scripted_clock.h"

namespace rampart::host {

namespace {

class ChosenSettings : public testing::Test {
protected:
    void Set(std::string const& key, std::string const& value) {
        SetProgramSetting(key, value);
        RunningEngine::TakeSettings(*home.manager);
    }
    std::string Value(std::string const& key) {
        for (ProgramSetting const& setting : ProgramSettings()) {
            if (setting.key == key) {
                return setting.value;
            }
        }
        return "none";
    }
    // The end of a run that failed.
    CBackupTask& Failed(TCHAR const* name) {
        CBackupTask& task = home.ListedTask(name);
        task.m_type = TaskTypeDaily;
        task.m_errorOccured = 1;
        home.manager->DoneTask(&task, kFailed, 1, BACKUP_THREAD_FULL);
        return task;
    }

    test::ScriptedClock clock{test::Utc(2026, 3, 28, 12), 3600};
    test::EngineHome home;
};

TEST_F(ChosenSettings, HoldFromThenOnAndCanBeTakenBack) {
    for (ProgramSetting const& setting : ProgramSettings()) {
        EXPECT_EQ(setting.fallback, setting.value) << setting.key;
        EXPECT_FALSE(setting.meaning.empty());
    }
    CBackupManage& manager = *home.manager;
    Set("missed-runs", "skipped");
    EXPECT_EQ(1, manager.m_skipMissedTask);
    Set("missed-runs", "default");
    EXPECT_EQ(0, manager.m_skipMissedTask);
    for (int const minutes : {61, 1, 90}) {
        Set("missed-delay", std::to_string(minutes));
        EXPECT_EQ(minutes * 60, manager.m_missedTaskDelay);
    }
    Set("change-delay", "300");
    EXPECT_EQ(300u, manager.GetRealTimeDelaySeconds());
    Set("tasks-at-once", "3");
    EXPECT_EQ(3, ManageMultipleRunningTask::GetInstance()->m_nMaxRunningTasks);
    EXPECT_EQ("3", Value("tasks-at-once"));
    Set("tasks-at-once", "default");
    EXPECT_EQ(1, ManageMultipleRunningTask::GetInstance()->m_nMaxRunningTasks);
}

TEST_F(ChosenSettings, SayWhetherAndWhenAFailedRunIsTriedAgain) {
    Set("retry-interval", "15");
    CBackupTask const& task = Failed(_T("first"));
    EXPECT_EQ(1, task.m_isResume);
    EXPECT_EQ(NowRaw() + CTimeSpan(15 * 60), ToRaw(task.m_resumeDate));
    Set("retry", "off");
    EXPECT_EQ(0, Failed(_T("second")).m_isResume);
    Set("retry", "on");
    EXPECT_EQ(1, Failed(_T("third")).m_isResume);
}

TEST_F(ChosenSettings, RefuseWhatTheyCannotBe) {
    struct Case {
        char const* key;
        char const* value;
    };
    for (Case const& bad : {Case{"missed-runs", "1"}, Case{"missed-delay", "0"}, Case{"missed-delay", "1440"},
                            Case{"retry", "yes"}, Case{"retry-interval", "-1"}, Case{"retry-interval", "1h"},
                            Case{"tasks-at-once", "17"}, Case{"tasks-at-once", ""}, Case{"no-such", "1"}}) {
        EXPECT_THROW(SetProgramSetting(bad.key, bad.value), CommandError) << bad.key << " " << bad.value;
    }
    EXPECT_EQ("made-up", Value("missed-runs"));
}

}  // namespace

}  // namespace rampart::host
