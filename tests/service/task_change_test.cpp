// Changes of tasks: what they make of dates, sources and rows, and what is refused for what others have
// stored.
#include "common/task_change.h"

#include <atomic>

#include "common/exit_code.h"
#include "common/task_report.h"
#include "common/text.h"
#include "storage/service_code.h"
#include "support/engine_home.h"
#include "support/scripted_clock.h"

namespace rampart::host {

namespace {

using test::EngineHome;
using test::ScriptedClock;
using test::Utc;
using testing::HasSubstr;

TaskChange ChangeOf(ChangeKind kind, std::string const& name) {
    TaskChange change;
    change.kind = kind;
    change.name = name;
    return change;
}

TaskChange EditOf(std::string const& name, std::optional<Schedule> const& schedule = std::nullopt) {
    TaskChange change = ChangeOf(ChangeKind::kEdit, name);
    change.schedule = schedule;
    return change;
}

// The code with which a change is refused, and why; 0 if it is not.
int RefusalOf(CBackupManage& manager, TaskChange const& change, std::string& why) {
    try {
        ApplyChange(manager, change, false);
        return 0;
    } catch (CommandError const& error) {
        why = error.what();
        return error.Code();
    }
}

// The tasks as a program that starts now reads them.
class Reader {
public:
    explicit Reader(CBackupManage& manager) : m_present(manager) {
        m_fresh.m_myID = manager.m_myID;
        theVaultLibApp.m_pBackupManage = &m_fresh;
        EXPECT_EQ(1, m_fresh.LoadTaskListFromWebDatabase());
    }
    ~Reader() { theVaultLibApp.m_pBackupManage = &m_present; }
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;
    CBackupTask& Task(std::string const& name) {
        CBackupTask* const task = m_fresh.GetTaskByName(CString::FromUtf8(name));
        EXPECT_NE(nullptr, task) << name;
        return *task;
    }

private:
    CBackupManage& m_present;
    CBackupManage m_fresh;
};

// A home of its own with something to back up, and tasks of it.
class Tasks {
public:
    explicit Tasks(EngineHome& home) : m_home(home) { m_home.Write("docs/a", "a"); }

    CBackupManage& Manager() { return *m_home.manager; }
    TaskChange AddOf(std::string const& name, Schedule const& schedule) {
        TaskChange change = ChangeOf(ChangeKind::kAdd, name);
        change.schedule = schedule;
        change.paths = {m_home.Native("docs")};
        return change;
    }
    void Apply(TaskChange const& change) { ApplyChange(Manager(), change, true); }
    CBackupTask& Add(std::string const& name, Schedule const& schedule) {
        Apply(AddOf(name, schedule));
        return *Manager().GetTaskByName(CString::FromUtf8(name));
    }

private:
    EngineHome& m_home;
};

struct Turn {
    char const* what;
    int64_t moment;  // of the change of the clock
    int before;
    int after;
    int64_t eve;  // when the schedule is set
    char const* time;
};

}  // namespace

TEST(ScheduleBesideATurnOfTheClock, TimeOfDayIsThatOfTheSchedule) {
    int64_t const berlinSpring = Utc(2026, 3, 29, 1);
    int64_t const newYorkSpring = Utc(2026, 3, 8, 7);
    int64_t const berlinAutumn = Utc(2026, 10, 25, 1);
    int64_t const newYorkAutumn = Utc(2026, 11, 1, 6);
    constexpr int kHour = 3600;
    Turn const turns[] = {
        {"Berlin", berlinSpring, kHour, 2 * kHour, berlinSpring - 12 * kHour, "02:30"},
        {"Berlin", berlinSpring, kHour, 2 * kHour, berlinSpring - 12 * kHour, "03:30"},
        {"New York", newYorkSpring, -5 * kHour, -4 * kHour, newYorkSpring - 12 * kHour, "02:30"},
        {"New York", newYorkSpring, -5 * kHour, -4 * kHour, newYorkSpring - 12 * kHour, "03:30"},
        {"London", berlinSpring, 0, kHour, berlinSpring - 12 * kHour, "01:30"},
        {"London", berlinSpring, 0, kHour, berlinSpring - 12 * kHour, "02:30"},
        {"Berlin, autumn", berlinAutumn, 2 * kHour, kHour, berlinAutumn - 12 * kHour, "02:30"},
        {"Berlin, autumn", berlinAutumn, 2 * kHour, kHour, berlinAutumn - 12 * kHour, "03:30"},
        {"New York, autumn", newYorkAutumn, -4 * kHour, -5 * kHour, newYorkAutumn - 12 * kHour, "22:30"},
    };
    for (Turn const& turn : turns) {
        SCOPED_TRACE(std::string(turn.what) + " " + turn.time);
        ScriptedClock clock(turn.eve - 5 * 86400, turn.before);
        clock.AddZoneChange(turn.moment, turn.after);
        EngineHome home;
        Tasks tasks(home);
        Schedule const schedule = Schedule::Daily(turn.time);
        tasks.Add("enabled", schedule);
        tasks.Apply(ChangeOf(ChangeKind::kDisable, "enabled"));
        tasks.Add("edited", Schedule::Daily("12:00"));
        clock.SetSeconds(turn.eve);
        tasks.Apply(ChangeOf(ChangeKind::kEnable, "enabled"));
        tasks.Apply(EditOf("edited", schedule));
        tasks.Add("added", schedule);
        Reader reader(tasks.Manager());
        for (char const* const name : {"enabled", "edited", "added"}) {
            SCOPED_TRACE(name);
            clock.SetSeconds(turn.eve);
            EXPECT_EQ(std::string("daily at ") + turn.time,
                      ScheduleText(*tasks.Manager().GetTaskByName(CString::FromUtf8(name))));
            CBackupTask& task = reader.Task(name);
            EXPECT_EQ(std::string("daily at ") + turn.time, ScheduleText(task));
            for (int run = 0; run < 2; ++run) {
                CTime const due = ToRaw(task.m_dating);
                EXPECT_LE(due.GetTime(), turn.eve + (run + 1) * 86400 + 3600);
                clock.SetSeconds(due.GetTime() + 2);
                task.SetNextDating();
                EXPECT_LT(due, ToRaw(task.m_dating));
            }
            EXPECT_EQ(turn.time, ToRaw(task.m_dating).Format(_T("%H:%M")).ToUtf8());
        }
    }
}

namespace {

class ChangeOfTasks : public testing::Test {
protected:
    CBackupManage& Manager() { return *home.manager; }
    // The native paths that the task backs up, by memory; its row says the same.
    std::vector<std::string> SourcesOf(std::string const& name) {
        auto list = [](CBackupTask const& task) {
            std::vector<std::string> paths;
            for (SourceInfo const* const source : task.m_localDirList) {
                paths.push_back(source != nullptr ? ToNativePath(source->path) : "nothing");
            }
            std::sort(paths.begin(), paths.end());
            return paths;
        };
        std::vector<std::string> paths = list(*Manager().GetTaskByName(CString::FromUtf8(name)));
        EXPECT_EQ(paths, list(Reader(Manager()).Task(name)));
        return paths;
    }
    void ExpectRefused(TaskChange const& change, std::string const& reason) {
        std::string why;
        EXPECT_EQ(kExitUsage, RefusalOf(Manager(), change, why)) << reason;
        EXPECT_THAT(why, HasSubstr(reason));
    }

    ScriptedClock clock{Utc(2026, 3, 28, 12), 3600};  // Berlin, before summer time begins
    EngineHome home;
    Tasks tasks{home};
};

}  // namespace

TEST_F(ChangeOfTasks, LastTimeThatWasSetForANightIsTheOneThatIsMeant) {
    clock.AddZoneChange(Utc(2026, 3, 29, 1), 7200);
    tasks.Add("docs", Schedule::Daily("02:30"));
    for (char const* const time : {"03:30", "01:30", "02:30"}) {
        tasks.Apply(EditOf("docs", Schedule::Daily(time)));
        EXPECT_EQ(std::string("daily at ") + time, ScheduleText(*Manager().GetTaskByName(_T("docs"))));
        EXPECT_EQ(std::string("daily at ") + time, ScheduleText(Reader(Manager()).Task("docs")));
    }
    tasks.Apply(EditOf("docs", Schedule::Weekly("sun 02:30")));
    {
        Reader reader(Manager());
        CBackupTask& weekly = reader.Task("docs");
        EXPECT_EQ("every Sun at 02:30", ScheduleText(weekly));
        clock.SetSeconds(ToRaw(weekly.m_dating).GetTime() + 2);
        weekly.SetNextDating();
        EXPECT_EQ("2026-04-05 02:30:00", WhenText(weekly.m_dating));
        clock.SetSeconds(Utc(2026, 3, 28, 12));
    }
    tasks.Apply(EditOf("docs", Schedule::Daily("02:30")));
    TaskChange rename = EditOf("docs");
    rename.newName = "papers";
    tasks.Apply(rename);
    EXPECT_EQ("daily at 02:30", ScheduleText(*Manager().GetTaskByName(_T("papers"))));
    EXPECT_EQ("daily at 02:30", ScheduleText(Reader(Manager()).Task("papers")));
    CString const name = _T("MeantTime") + Manager().GetTaskByName(_T("papers"))->IdAndNameMark();
    CString kept;
    GlobalFunction::LoadStringFromRegstry(name, kept);
    EXPECT_FALSE(kept.IsEmpty());
    tasks.Apply(ChangeOf(ChangeKind::kDelete, "papers"));
    GlobalFunction::LoadStringFromRegstry(name, kept);
    EXPECT_EQ(_T(""), kept);
}

TEST_F(ChangeOfTasks, SourcesComeAndGoByTheirVeryNames) {
    for (char const* const file : {"DOCS/a", "more/b", "other/c"}) {
        home.Write(file, "x");
    }
    std::string const docs = home.Native("docs");
    std::string const capitals = home.Native("DOCS");
    std::string const more = home.Native("more");
    std::string const other = home.Native("other");
    struct Case {
        char const* what;
        std::vector<std::string> added;
        std::vector<std::string> dropped;
        std::vector<std::string> left;
    };
    std::vector<Case> cases = {
        {"added", {more, other, more}, {}, {docs, more, other}},
        {"dropped twice", {}, {other, other}, {docs, more}},
        {"dropped by another case, too", {}, {more, home.Native("MORE")}, {docs}},
    };
    if (std::filesystem::equivalent(home.Path("docs"), home.Path("DOCS"))) {
        cases.push_back({"the same one in another case", {capitals, docs}, {}, {docs}});
    } else {
        cases.push_back({"another one but for its case", {capitals}, {}, {capitals, docs}});
        cases.push_back({"the one of just that name", {}, {docs}, {capitals}});
        cases.push_back({"back, and the other one by its name", {docs}, {capitals}, {docs}});
    }
    cases.push_back({"comes and goes", {docs, more}, {docs}, {docs, more}});
    cases.push_back({"in any case", {}, {home.Native("Docs")}, {more}});
    tasks.Add("t", Schedule::Daily("02:30"));
    for (Case const& each : cases) {
        SCOPED_TRACE(each.what);
        TaskChange change = EditOf("t");
        change.paths = each.added;
        change.dropped = each.dropped;
        tasks.Apply(change);
        EXPECT_EQ(each.left, SourcesOf("t"));
    }
    TaskChange change = EditOf("t");
    change.dropped = {more};
    ExpectRefused(change, "its last source cannot go");
    change.dropped = {other};
    ExpectRefused(change, "does not back up");
    EXPECT_EQ(std::vector<std::string>{more}, SourcesOf("t"));
}

TEST_F(ChangeOfTasks, SourcesReachTheRowAlsoWhenItsFirstWriteFails) {
    home.Write("more/b", "b");
    std::string const docs = home.Native("docs");
    std::string const more = home.Native("more");
    tasks.Add("t", Schedule::Daily("02:30"));
    std::shared_ptr<test::ScriptedService> const service = home.Script();
    TaskChange change = EditOf("t");
    change.paths = {more};
    service->Answer("StoreTask", kConnectionFailed, 1);
    tasks.Apply(change);
    EXPECT_EQ((std::vector<std::string>{docs, more}), SourcesOf("t"));
    change.paths.clear();
    change.dropped = {docs};
    change.newName = "u";
    service->Answer("StoreTask", kConnectionFailed, 1);
    tasks.Apply(change);
    EXPECT_EQ(std::vector<std::string>{more}, SourcesOf("u"));
    // Told as a failure, and written with the next row.
    change = EditOf("u");
    change.paths = {docs};
    service->Answer("StoreTask", kConnectionFailed, 2);
    std::string why;
    EXPECT_EQ(kExitFailed, RefusalOf(Manager(), change, why));
    EXPECT_THAT(why, HasSubstr("could not be stored"));
    TaskChange other = EditOf("u");
    other.versions = 3;
    tasks.Apply(other);
    EXPECT_EQ((std::vector<std::string>{docs, more}), SourcesOf("u"));
    // The same command again, too.
    change.paths.clear();
    change.dropped = {docs};
    service->Answer("StoreTask", kConnectionFailed, 2);
    EXPECT_EQ(kExitFailed, RefusalOf(Manager(), change, why));
    change.dropped.clear();
    change.paths = {docs};
    service->Answer("StoreTask", kConnectionFailed, 2);
    EXPECT_EQ(kExitFailed, RefusalOf(Manager(), change, why));
    tasks.Apply(change);
    EXPECT_EQ((std::vector<std::string>{docs, more}), SourcesOf("u"));
}

TEST_F(ChangeOfTasks, DisableThatCouldNotBeStoredCanBeRepeated) {
    CBackupTask& task = tasks.Add("t", Schedule::Daily("02:30"));
    task.m_state = TaskStateFinished;
    TaskChange edit = EditOf("t");
    edit.versions = 3;
    tasks.Apply(edit);
    EXPECT_EQ(TaskStateFinished, task.m_state) << "how the last run ended";
    std::shared_ptr<test::ScriptedService> const service = home.Script();
    service->Answer("StoreTask", kConnectionFailed, 1);
    std::string why;
    TaskChange const disable = ChangeOf(ChangeKind::kDisable, "t");
    EXPECT_EQ(kExitFailed, RefusalOf(Manager(), disable, why));
    EXPECT_EQ(1, task.m_scheduleEnabled);
    EXPECT_EQ(TaskStateFinished, task.m_state);
    tasks.Apply(disable);
    EXPECT_EQ(TaskStateDisabled, task.m_state);
}

TEST_F(ChangeOfTasks, EditedTaskKeepsItsPlaceAndItsPlannedRetry) {
    CBackupTask& task = tasks.Add("t", Schedule::Daily("02:30"));
    task.m_isResume = 1;
    task.m_resumeDate = ToStored(NowRaw() + CTimeSpan(3600));
    CBackupTask& behind = tasks.Add("behind", Schedule::Daily("02:30"));
    Manager().AddTaskToWaitlist(&task, 0);
    Manager().AddTaskToWaitlist(&behind, 0);
    TaskChange change = EditOf("t");
    change.versions = 3;
    tasks.Apply(change);
    EXPECT_EQ(3, task.m_maxVersion);
    EXPECT_EQ(TaskStateWaiting, task.m_state);
    EXPECT_EQ(&task, Manager().m_waitList.GetHead());
    EXPECT_EQ(1, task.m_isResume);
    tasks.Apply(ChangeOf(ChangeKind::kDisable, "t"));
    tasks.Apply(change);
    EXPECT_EQ(TaskStateDisabled, task.m_state);
    EXPECT_EQ(nullptr, Manager().m_waitList.Find(&task));
    ExpectRefused(EditOf("t"), "say what to change");
}

// A run walks the sources and writes below the name that the change replaces.
TEST_F(ChangeOfTasks, ARunEndsBeforeItsTaskChangesAndBeginsAnew) {
    home.Write("more/b", "b");
    CBackupTask& task = tasks.Add("t", Schedule::Daily("02:30"));
    std::shared_ptr<test::ScriptedService> const service = home.Script();
    std::atomic<bool> isSending = false;
    std::atomic<bool> wasRunningInChange = false;
    service->Before("CommitFiles", [&] {
        isSending = true;
        while (task.m_pTaskPrg->m_bCancel == 0) {
            platform::SleepMilliseconds(1);
        }
    });
    service->Before("Rename", [&] {
        wasRunningInChange = wasRunningInChange || ManageMultipleRunningTask::GetInstance()->IsWorking(&task);
    });
    auto startAndWait = [&] {
        isSending = false;
        ASSERT_EQ(1, task.StartBackupByUser(0)) << task.GetManualStartErrorMsg().ToUtf8();
        while (!isSending) {
            platform::SleepMilliseconds(1);
        }
    };
    TaskChange change = EditOf("t");
    change.newName = "u";
    change.paths = {home.Native("more")};

    startAndWait();
    TaskChange wrong = change;
    wrong.dropped = {home.Native("none")};
    ExpectRefused(wrong, "does not back up");
    EXPECT_TRUE(ManageMultipleRunningTask::GetInstance()->IsWorking(&task)) << "what is wrong ends no run";
    EXPECT_THAT(ApplyChange(Manager(), change, true), HasSubstr("its run begins anew"));
    EXPECT_FALSE(wasRunningInChange);
    EXPECT_EQ((std::vector<std::string>{home.Native("docs"), home.Native("more")}), SourcesOf("u"));
    EXPECT_NE(nullptr, Manager().m_waitList.Find(&task));
    EXPECT_EQ(TaskStateWaiting, task.m_state);
    EXPECT_EQ(1, Reader(Manager()).Task("u").m_isResume) << "if this process is killed before";

    Manager().RemoveTaskFromWaitlist(&task);
    startAndWait();
    change.name = "u";
    change.newName = "v";
    service->Answer("Rename", kRefused, 1);
    std::string why;
    EXPECT_EQ(kExitFailed, RefusalOf(Manager(), change, why));
    EXPECT_EQ(_T("u"), task.m_taskName);
    EXPECT_NE(nullptr, Manager().m_waitList.Find(&task)) << "the run that was ended is made up";

    task.m_isResume = 1;
    service->Answer("Rename", kRefused, 1);
    EXPECT_EQ(kExitFailed, RefusalOf(Manager(), change, why));
    EXPECT_EQ(1, task.m_isResume) << "a change that did not come about takes nothing away";
}

// A clock that was a year ahead while the tasks ran, and while one was made.
TEST_F(ChangeOfTasks, DatesOfAWrongClockAreBroughtBack) {
    constexpr int kYear = 365 * 86400;
    CBackupTask& daily = tasks.Add("daily", Schedule::Daily("02:30"));
    CBackupTask& weekly = tasks.Add("weekly", Schedule::Weekly("sun,wed 22:00"));
    CBackupTask& once = tasks.Add("once", Schedule::Once("2026-12-24T08:00"));
    EXPECT_TRUE(Manager().BringBackDates().empty());
    clock.SetSeconds(Utc(2026, 3, 28, 12) + kYear);
    for (CBackupTask* const task : {&daily, &weekly}) {
        task->SetNextDating();
        task->m_isResume = 1;
        task->m_resumeDate = ToStored(NowRaw() + CTimeSpan(3600));
    }
    clock.SetSeconds(Utc(2026, 3, 28, 12) + 9 * kYear);
    CBackupTask& late = tasks.Add("late", Schedule::Daily("02:30"));
    clock.SetSeconds(Utc(2026, 3, 28, 12));
    EXPECT_EQ("2027-03-29 02:30:00", WhenText(daily.m_dating));
    std::string moved;
    for (CString const& name : Manager().BringBackDates()) {
        moved += Utf8(name) + " ";
    }
    EXPECT_EQ("daily weekly late ", moved);  // the last to the first day of its window
    EXPECT_EQ("2026-03-29 02:30:00", WhenText(daily.m_dating));
    EXPECT_EQ("Sun", Utf8(ToRaw(weekly.m_dating).Format(_T("%a"))).substr(0, 3));
    EXPECT_LE(ToRaw(weekly.m_dating), NowRaw() + CTimeSpan(7 * 86400));
    EXPECT_GE(ToRaw(weekly.m_dating), NowRaw());
    EXPECT_EQ("2026-12-24 08:00:00", WhenText(once.m_dating)) << "somebody chose it";
    EXPECT_LE(ToRaw(daily.m_resumeDate), NowRaw());
    EXPECT_TRUE(Manager().BringBackDates().empty());
    CString const told = daily.GetWarningsOfRun();
    EXPECT_THAT(Utf8(told), HasSubstr("the clock must have been wrong"));
    // Its window is what somebody may have chosen, so that only the way to change it is told.
    EXPECT_EQ(0, late.StartBackupByUser(0));
    EXPECT_THAT(StartRefusal(late), HasSubstr("rampart task edit 'late' --window 2026-03-28.."));
}

TEST_F(ChangeOfTasks, WindowOfAOnceTaskHoldsItsOneRun) {
    CBackupTask& task = tasks.Add("t", Schedule::Once("2026-04-10T08:00"));
    CTime const dating = task.m_dating;
    TaskChange change = EditOf("t");
    change.window = Window::Parse("2026-04-11..");
    ExpectRefused(change, "before the beginning of the window");
    change.window = Window::Parse("..2026-04-09");
    ExpectRefused(change, "the window ends before");
    change.window = Window::Parse("2026-04-10..2026-04-10");
    tasks.Apply(change);
    EXPECT_EQ(dating, task.m_dating);
    EXPECT_EQ("2026-04-10 23:59:59", WhenText(task.m_endDate));
    // It would be made again where the window has left the run that was made.
    task.m_backupDate = dating;
    change.window = Window::Parse("2026-04-11..");
    ExpectRefused(change, "would be made again");
    change.window = Window::Parse("2026-04-01..");
    tasks.Apply(change);
    EXPECT_EQ(dating, task.m_backupDate);
}

TEST_F(ChangeOfTasks, FoldersOfTheProgramAreNoTasks) {
    for (char const* const folder : {"/RampartData", "/RampartData/Backup", "/rampartdata/BACKUP/History/x",
                                     "/RampartData/Backup/Info", "/Encrypted", "/Encrypted/History/docs"}) {
        TaskChange change = tasks.AddOf("t", Schedule::Daily("02:30"));
        change.to = folder;
        ExpectRefused(change, "keeps data of its own in");
    }
    EXPECT_TRUE(Manager().m_taskList.empty());
    for (char const* const folder : {"/Encrypted/docs", "/RampartData-2"}) {
        TaskChange change = tasks.AddOf("t", Schedule::Daily("02:30"));
        change.to = folder;
        tasks.Apply(change);
        TaskChange remove = ChangeOf(ChangeKind::kDelete, "t");
        remove.deletesBackup = true;
        tasks.Apply(remove);
    }
}

TEST_F(ChangeOfTasks, WhatIsNotATasksOwnIsNotDeletedWithIt) {
    struct Case {
        TCHAR const* folder;
        char const* reason;
    };
    for (Case const& each : {Case{_T("\\"), "root of the vault"},
                             Case{_T("\\RampartData\\Backup\\History"), "keeps data of its own in"}}) {
        CBackupTask& task = tasks.Add("t", Schedule::Daily("02:30"));
        task.m_serverFilePath = each.folder;
        TaskChange change = ChangeOf(ChangeKind::kDelete, "t");
        change.deletesBackup = true;
        ExpectRefused(change, each.reason);
        EXPECT_EQ(1u, Manager().m_taskList.size());
        change.deletesBackup = false;
        tasks.Apply(change);
        EXPECT_TRUE(Manager().m_taskList.empty());
    }
}

TEST_F(ChangeOfTasks, WhatAnotherTaskStoresThereTooIsKept) {
    for (TCHAR const* const folder :
         {_T("\\kept\\docs"), _T("\\KEPT\\docs\\deep"), _T("\\kept"), _T("\\x\\Docs")}) {
        home.ListedTask(_T("docs")).m_serverFilePath = _T("\\kept\\docs");
        home.ListedTask(_T("other")).m_serverFilePath = folder;
        TaskChange change = ChangeOf(ChangeKind::kDelete, "docs");
        change.deletesBackup = true;
        ExpectRefused(change, "the task 'other' is stored there, too");
        EXPECT_EQ(2u, Manager().m_taskList.size());
        Manager().DeleteAllTaskList(Manager().m_taskList);
    }
}

}  // namespace rampart::host
