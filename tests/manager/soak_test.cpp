// A simulated year of two machines over one task database: every run that was due happened, at its time,
// once.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <set>

#include "paths/global_function.h"
#include "support/engine_home.h"
#include "support/scripted_clock.h"
#include "task/schedule_calendar.h"
#include "task/stored_time.h"

namespace rampart::test {

namespace {

constexpr int kStepSeconds = 30 * 60;
constexpr int kRunSeconds = 2;
constexpr int kSoakRetrySeconds = 240 * 60;
constexpr int kRenewSeconds = 60 * 60;
constexpr int kFailed = 5;
constexpr int kTurnNightHours = 5;
constexpr uint32_t kMachines[] = {101, 202};

// What the test itself expects of one task, by wall time alone.
struct Expectation {
    int mode = 0;
    int hour = 0;
    int minute = 0;
    int days = 0;  // weekly
    CTime moment;  // once
    uint32_t machine = 0;
    CTime lastRun;  // raw
    std::optional<CTime> retry;
    std::optional<CTime> renewed;  // real time: the last renewal, stored
    int nightDates = 0;            // in the night in which the clock changes: how many dates, how many runs
    int nightRuns = 0;

    // Whether a date lies in (from, to].
    bool HasDate(CTime const& from, CTime const& to) const {
        if (mode == TaskTypeOnce) {
            return from < moment && moment <= to;
        }
        for (CTime day = to; day > from - CTimeSpan(kDaySeconds); day -= CTimeSpan(kDaySeconds)) {
            CTime const date(day.GetYear(), day.GetMonth(), day.GetDay(), hour, minute, 0);
            bool const isDay = mode == TaskTypeDaily || (days >> (date.GetDayOfWeek() - 1) & 1) != 0;
            // A weekly task goes to a later day than that of its last run, whatever began that.
            bool const isLater =
                mode == TaskTypeDaily || lastRun == CTime() ||
                CTime(lastRun.GetYear(), lastRun.GetMonth(), lastRun.GetDay(), 23, 59, 59) < date;
            if (isDay && isLater && from < date && date <= to) {
                return true;
            }
        }
        return false;
    }
};

// With runs that were missed made up (0), or skipped (1).
class Year : public testing::TestWithParam<int> {
protected:
    static bool SkipsMissedRuns() { return GetParam() != 0; }
    // 2028, a leap year, and the days around it in a zone with daylight saving time.
    Year() : m_clock(Utc(2027, 12, 27, 23), 3600) {
        m_clock.AddZoneChange(Utc(2028, 3, 26, 1), 7200);
        m_clock.AddZoneChange(Utc(2028, 10, 29, 1), 3600);
    }

    void SetUp() override {
        char const* const wanted = std::getenv("RAMPART_SOAK_TASKS");
        int const tasks = wanted != nullptr ? std::atoi(wanted) : 12;
        EngineHome::SetOption(_T("OnlyUpdateBackupDate"), _T(""));
        m_home.manager->m_myID = kMachines[0];
        for (int i = 0; i < tasks; ++i) {
            Make(i);
        }
        for (uint32_t const machine : kMachines) {
            Restart(machine);
        }
    }
    void TearDown() override {
        theVaultLibApp.m_pBackupManage = nullptr;
        m_managers.clear();
        theVaultLibApp.m_pBackupManage = m_home.manager;
    }

    void Make(int i) {
        Expectation expected;
        // A weekly task that skips a date may skip a later one of the same week, too: left to tests of its
        // own.
        int const repeating = SkipsMissedRuns() ? TaskTypeDaily : 1 + i % 2;
        expected.mode = i % 12 == 11 ? TaskTypeRealTime : i % 6 == 5 ? TaskTypeOnce : repeating;
        constexpr int kHours[] = {2, 7, 0, 3, 14, 22, 1, 18, 11, 3, 2, 5};
        expected.hour = kHours[i % 12];
        expected.minute = i % 3 == 0 ? 30 : 0;
        expected.days = 1 << i % 7 | 1 << i * 3 % 7;
        expected.machine = kMachines[i / 2 % 2];
        CTime const now = RawNow();
        expected.moment = CTime(2028, 1 + i % 12, 1 + i % 29, expected.hour, expected.minute, 0);
        CBackupTask task;
        task.m_taskName.Format(_T("task %d"), i);
        task.m_type = static_cast<TaskType>(expected.mode);
        task.m_pcID = expected.machine;
        task.m_taskID = 1000 + i;
        task.m_serverFilePath = _T("\\soak\\") + task.m_taskName;
        task.m_repeatDays = expected.mode == TaskTypeWeekly ? expected.days : 0;
        CTime date = expected.moment;
        if (expected.mode != TaskTypeOnce) {
            for (date = now; !expected.HasDate(now, date); date += CTimeSpan(kStepSeconds)) {
                if (expected.mode == TaskTypeRealTime) {
                    break;
                }
            }
        }
        task.SetDating(ToStored(date), 0);
        ASSERT_EQ(0, m_home.manager->AddOrEditTaskToDatabase(&task, _T("Add"), _T("0"), _T(""), _T("1")));
        m_expected[task.m_taskName] = expected;
        task.m_taskName.Empty();
    }

    // The machine's program ends and starts: a new manager reads the database.
    void Restart(uint32_t machine) {
        theVaultLibApp.m_pBackupManage = nullptr;
        auto manager = std::make_unique<CBackupManage>();
        theVaultLibApp.m_pBackupManage = manager.get();
        manager->m_myID = machine;
        manager->Initialize();
        manager->m_skipMissedTask = GetParam();
        ASSERT_EQ(1, manager->LoadTaskListFromWebDatabase());
        ASSERT_EQ(m_expected.size(), manager->m_taskList.size());
        for (CBackupTask* const task : manager->m_taskList) {
            Expectation& expected = m_expected[task->m_taskName];
            if (task->m_pcID == machine && expected.renewed) {
                expected.renewed = task->m_backupDate;  // renewals are not written each time
            }
        }
        m_managers[machine] = std::move(manager);
        ++m_restarts;
    }

    // Measured in stored form, which goes back an hour when summer time begins: a retry of the hour before
    // comes that much later.
    static bool IsRetryDue(Expectation const& expected) {
        return expected.retry && ToStored(*expected.retry) <= StoredNow();
    }

    // Whether there was a date that still counts.
    static bool IsDateDue(Expectation const& expected, CTime const& from, CTime const& to) {
        bool const isSkipped = SkipsMissedRuns() && expected.mode != TaskTypeOnce;
        return expected.HasDate(isSkipped ? to - CTimeSpan(kSecondsOfMinute) : from, to);
    }

    bool IsExpected(Expectation const& expected, CTime const& from, CTime const& to) const {
        if (expected.mode == TaskTypeRealTime) {
            return expected.renewed && StoredMinute() >= *expected.renewed + CTimeSpan(kRenewSeconds);
        }
        return IsDateDue(expected, from, to) || IsRetryDue(expected);
    }

    // In these hours a run may come an hour early or late, for the hour of its time is not there or comes
    // twice.
    static bool IsTurnNight(CTime const& time) {
        CString const day = time.Format(_T("%m-%d"));
        return (day == _T("03-26") || day == _T("10-29")) && time.GetHour() < kTurnNightHours;
    }

    // Exactly, or in the night in which the clock changes once for each date in it.
    void ExpectDue(Expectation& expected, bool isDue, CTime const& from, CTime const& to) {
        bool const isNight = IsTurnNight(to) && expected.mode != TaskTypeRealTime;
        if (!isNight) {
            EXPECT_EQ(std::exchange(expected.nightDates, 0), std::exchange(expected.nightRuns, 0));
            ASSERT_EQ(IsExpected(expected, from, to), isDue);
            return;
        }
        if (!IsTurnNight(from)) {
            CTime const end(to.GetYear(), to.GetMonth(), to.GetDay(), kTurnNightHours, 0, 0);
            expected.nightDates = expected.HasDate(from, end - CTimeSpan(1)) ? 1 : 0;
        }
        expected.nightRuns += isDue && !IsRetryDue(expected) ? 1 : 0;
    }

    // One look of a machine at its tasks. What is due runs at once, and now and then fails.
    void Look(CBackupManage& manager, CTime const& from, CTime const& to) {
        theVaultLibApp.m_pBackupManage = &manager;
        for (CBackupTask* const task : manager.m_taskList) {
            Expectation& expected = m_expected[task->m_taskName];
            bool const isDue = task->NowDating() != 0;
            bool const isMine = expected.machine == manager.m_myID;
            bool const isRetry = IsRetryDue(expected) && !IsDateDue(expected, from, to);
            SCOPED_TRACE(task->m_taskName.ToUtf8() + " of mode " + std::to_string(expected.mode) + " at " +
                         to.Format(_T("%Y-%m-%d %H:%M")).ToUtf8() + ", dated " +
                         ToRaw(task->m_dating).Format(_T("%Y-%m-%d %H:%M")).ToUtf8());
            if (!isMine) {
                ASSERT_FALSE(isDue);
                continue;
            }
            ExpectDue(expected, isDue, from, to);
            if (HasFailure()) {
                return;
            }
            if (isDue) {
                RunTask(manager, *task, expected, isRetry);
            }
        }
    }

    void RunTask(CBackupManage& manager, CBackupTask& task, Expectation& expected, bool isRetry) {
        ++m_runs;
        m_retries += isRetry ? 1 : 0;
        bool const repeats = expected.mode == TaskTypeDaily || expected.mode == TaskTypeWeekly;
        bool const fails = repeats && !isRetry && m_runs % 13 == 0;
        m_clock.Advance(kRunSeconds);
        task.m_state = TaskStateRunning;
        task.m_errorOccured = fails ? 1 : 0;
        manager.DoneTask(&task, fails ? kFailed : 0, 1, BACKUP_THREAD_FULL);
        expected.lastRun = RawNow();
        expected.retry.reset();
        if (fails) {
            ++m_failures;
            expected.retry = RawNow() + CTimeSpan(kSoakRetrySeconds);
        }
        if (expected.mode == TaskTypeRealTime) {
            expected.renewed = task.m_backupDate;
        }
    }

    ScriptedClock m_clock;
    EngineHome m_home;
    std::map<CString, Expectation> m_expected;
    std::map<uint32_t, std::unique_ptr<CBackupManage>> m_managers;
    int m_runs = 0;
    int m_failures = 0;
    int m_retries = 0;
    int m_restarts = 0;
    int m_sleeps = 0;
};

TEST_P(Year, EveryDueRunHappensOnceAtItsTime) {
    // A continuous task has run before it renews its date.
    for (auto& [machine, manager] : m_managers) {
        theVaultLibApp.m_pBackupManage = manager.get();
        for (CBackupTask* const task : manager->m_taskList) {
            Expectation& expected = m_expected[task->m_taskName];
            if (expected.mode == TaskTypeRealTime && expected.machine == machine) {
                RunTask(*manager, *task, expected, false);
            }
        }
    }
    int64_t const end = Utc(2029, 1, 5);
    int64_t moment = RawNow().GetTime() / kStepSeconds * kStepSeconds;
    CTime last = RawNow();
    for (int step = 1; moment < end; ++step) {
        // Now and then both machines sleep over some days.
        bool const sleeps = step % 3000 == 0;
        moment += sleeps ? kDaySeconds * (1 + step / 3000 % 4) + 6 * 3600 : kStepSeconds;
        m_sleeps += sleeps ? 1 : 0;
        m_clock.SetSeconds(moment);
        CTime const now(moment);
        if (step % 777 == 0) {
            Restart(kMachines[step / 777 % 2]);
        }
        if (IsTurnNight(now) && !IsTurnNight(last)) {
            for (uint32_t const machine : kMachines) {
                Restart(machine);
            }
        }
        for (auto& [machine, manager] : m_managers) {
            if (sleeps) {
                theVaultLibApp.m_pBackupManage = manager.get();
                manager->SyncScheduleTask();
                manager->DoScheduleNextTime();
            }
            m_clock.SetSeconds(moment);
            Look(*manager, last, now);
            if (HasFailure()) {
                return;
            }
        }
        last = now;
    }
    EXPECT_LE(m_retries, m_failures);
    EXPECT_GE(m_retries, m_failures * 9 / 10) << "nearly each failure was tried again before its next date";
    std::printf("%zu tasks on 2 machines, %d runs, %d failures, %d retries, %d restarts, %d sleeps\n",
                m_expected.size(), m_runs, m_failures, m_retries, m_restarts, m_sleeps);
    RecordProperty("runs", m_runs);
}

INSTANTIATE_TEST_SUITE_P(MissedRuns, Year, testing::Values(0, 1),
                         [](testing::TestParamInfo<int> const& info) {
                             return info.param == 0 ? "MadeUp" : "Skipped";
                         });

struct SpringClock {
    SpringClock() : clock(Utc(2028, 3, 9, 11), 3600) { clock.AddZoneChange(Utc(2028, 3, 26, 1), 7200); }
    ScriptedClock clock;
};

// Weeks of passes over real runs, of which one at a time may go on.
class Weeks : private SpringClock, public EngineTest {
protected:
    CBackupTask& Make(std::string const& name, TaskType mode, CTime const& first, int days = 0) {
        m_tree.Write(name + "/file", name);
        CBackupTask& task = MakeTask(name, {m_tree.Native(name)});
        task.m_type = mode;
        task.m_repeatDays = days;
        task.SetDating(ToStored(first), 0);
        m_seen[&task] = task.m_backupDate;
        return task;
    }

    // What is due at this moment, one run after the other. A run that ends in the very second of its date
    // would be made again, so the pass comes a second later, as that of a host does.
    void Pass(int64_t moment) {
        clock.SetSeconds(moment + 1);
        do {
            manager->DoScheduleTask();
            for (auto& [task, seen] : m_seen) {
                WaitForEnd(*task);
                if (task->m_backupDate != seen) {
                    seen = task->m_backupDate;
                    runs[task].push_back(ToRaw(seen));
                    EXPECT_EQ(TaskStateFinished, task->m_state);
                }
            }
        } while (!manager->m_waitList.IsEmpty());
    }

    std::map<CBackupTask*, std::vector<CTime>> runs;  // when each ended, raw

private:
    TempFolder m_tree;
    std::map<CBackupTask*, CTime> m_seen;
};

TEST_F(Weeks, PassesStartWhatIsDueAndWhatWaitedForItsTurn) {
    constexpr int kDays = 28;
    constexpr int kMonday = 1 << 1;
    constexpr int kThursday = 1 << 4;
    CBackupTask& first = Make("first", TaskTypeDaily, CTime(2028, 3, 10, 2, 30, 0));
    CBackupTask& second = Make("second", TaskTypeDaily, CTime(2028, 3, 10, 2, 30, 0));
    CBackupTask& weekly = Make("weekly", TaskTypeWeekly, CTime(2028, 3, 9, 22, 0, 0), kMonday | kThursday);
    CBackupTask& once = Make("once", TaskTypeOnce, CTime(2028, 3, 20, 2, 30, 0));
    int64_t const begin = RawNow().GetTime();
    for (int64_t moment = begin; moment < begin + kDays * kDaySeconds; moment += kStepSeconds) {
        Pass(moment);
        ASSERT_FALSE(HasFailure()) << RawNow().Format(_T("%Y-%m-%d %H:%M")).ToUtf8();
    }
    EXPECT_EQ(1u, runs[&once].size());
    EXPECT_EQ(8u, runs[&weekly].size());
    for (CTime const& run : runs[&weekly]) {
        EXPECT_EQ(_T("22:0"), run.Format(_T("%H:%M")).Left(4)) << run.Format(_T("%Y-%m-%d %H:%M")).ToUtf8();
        EXPECT_TRUE(run.GetDayOfWeek() == 2 || run.GetDayOfWeek() == 5);
    }
    for (CBackupTask* const task : {&first, &second}) {
        EXPECT_EQ(static_cast<size_t>(kDays), runs[task].size());
        std::set<CString> days;
        for (CTime const& run : runs[task]) {
            CString const day = run.Format(_T("%m-%d"));
            EXPECT_TRUE(days.insert(day).second) << day.ToUtf8();
            if (day != _T("03-26")) {
                EXPECT_EQ(_T("02:3"), run.Format(_T("%H:%M")).Left(4)) << day.ToUtf8();
            }
        }
    }
}

}  // namespace

}  // namespace rampart::test
