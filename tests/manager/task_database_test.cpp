// Tasks and their rows in the database of a real vault.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "engine/vaultlib_app.h"
#include "paths/global_function.h"
#include "storage/service_code.h"
#include "support/engine_home.h"
#include "support/scripted_clock.h"
#include "task/schedule_calendar.h"
#include "task/stored_time.h"

namespace rampart::test {

namespace {

class TaskDatabase : public testing::Test {
protected:
    CBackupManage& Manager() { return *m_home.manager; }

    std::unique_ptr<CBackupTask> NewTask(TCHAR const* name) {
        auto task = std::make_unique<CBackupTask>();
        task->m_taskName = name;
        task->m_type = TaskTypeDaily;
        task->m_dating = StoredNow() + CTimeSpan(3600);
        task->m_serverFilePath = CString(_T("\\Backups\\")) + name;
        return task;
    }

    void Add(CBackupTask& task) {
        ASSERT_EQ(Manager().AddOrEditTaskToDatabase(&task, _T("Add"), _T("0"), _T(""), _T("1")), 0);
    }

    std::vector<CString> Names() {
        std::vector<CString> names;
        Manager().GetTaskNamesFromWebDatabase(names);
        std::sort(names.begin(), names.end());
        return names;
    }

    // The one task that a fresh manager reads.
    CBackupTask& Loaded(CBackupManage& reader) {
        reader.m_myID = Manager().m_myID;
        EXPECT_EQ(reader.LoadTaskListFromWebDatabase(), 1);
        EXPECT_EQ(reader.m_taskList.size(), 1u);
        return *reader.m_taskList.front();
    }

    ScriptedClock m_clock{Utc(2024, 5, 15, 10, 0, 5), 7200};
    EngineHome m_home;
};

TEST_F(TaskDatabase, EmptyDatabaseHoldsNoList) {
    EXPECT_EQ(Manager().LoadTaskListFromWebDatabase(), 0);
    EXPECT_TRUE(Names().empty());
}

TEST_F(TaskDatabase, EveryFieldComesBack) {
    std::unique_ptr<CBackupTask> const task = NewTask(_T("Fotos & \u00DCbung|1=2"));
    task->m_taskID = -77;
    task->m_pcID = 3000000000u;
    task->m_description = _T("line\nbreak % \u00E9");
    task->m_type = TaskTypeWeekly;
    task->m_logFilePath = _T("C:\\logs\\backup_x.dat");
    task->m_filterExList.AddTail(_T("*.tmp"));
    task->m_filterExList.AddTail(_T("*.bak"));
    task->m_filtedPathList.AddTail(_T("C:\\no"));
    task->m_filterType = _T("1");
    task->m_maxVersion = 3;
    task->m_backupDate = StoredNow() - CTimeSpan(60);
    task->m_beginDate = StoredNow() - CTimeSpan(3600);
    task->m_endDate = StoredNow() + CTimeSpan(86400);
    task->m_resumeDate = StoredNow() + CTimeSpan(30);
    task->m_modifyTime = StoredNow();
    task->m_isResume = 1;
    task->m_remoteSize = 5000000000;
    task->m_state = TaskStateFailed;
    task->m_repeatDays = 18;
    for (TCHAR const* const path : {_T("C:\\data"), _T("C:\\data\\file;&=|.txt")}) {
        task->m_localDirList.push_back(new SourceInfo{path, 4000000000u, path[7] == 0});  // the task's own
    }
    Add(*task);

    CBackupManage reader;
    CBackupTask const& read = Loaded(reader);
    EXPECT_EQ(read.m_taskName, task->m_taskName);
    EXPECT_EQ(read.m_taskID, task->m_taskID);
    EXPECT_EQ(read.m_pcID, task->m_pcID);
    EXPECT_EQ(read.m_pcName, task->m_pcName);
    EXPECT_EQ(read.m_description, task->m_description);
    EXPECT_EQ(read.m_type, task->m_type);
    EXPECT_EQ(read.m_serverFilePath, task->m_serverFilePath);
    EXPECT_EQ(read.m_logFilePath, _T("backup_x.dat"));
    EXPECT_EQ(read.m_filterExList.GetCount(), 2);
    EXPECT_EQ(read.m_filterExList.GetTail(), _T("*.bak"));
    EXPECT_EQ(read.m_filtedPathList.GetHead(), _T("C:\\no"));
    EXPECT_EQ(read.m_filterType, _T("1"));
    EXPECT_EQ(read.m_maxVersion, 3);
    EXPECT_EQ(read.m_backupDate.Get(), task->m_backupDate);
    EXPECT_EQ(read.m_dating.Get(), task->m_dating);
    EXPECT_EQ(read.m_serverNextDate.Get(), task->m_dating);
    EXPECT_EQ(read.m_beginDate, task->m_beginDate);
    EXPECT_EQ(read.m_endDate, task->m_endDate);
    EXPECT_EQ(read.m_resumeDate.Get(), task->m_resumeDate);
    EXPECT_EQ(read.m_modifyTime, task->m_modifyTime);
    EXPECT_EQ(read.m_isResume, 1);
    EXPECT_EQ(read.m_remoteSize, task->m_remoteSize);
    EXPECT_EQ(read.m_state, TaskStateFailed);
    EXPECT_EQ(read.m_scheduleEnabled, 1);
    EXPECT_EQ(read.m_repeatDays, 18);
    ASSERT_EQ(read.m_localDirList.size(), 2u);
    for (size_t index = 0; index < 2; ++index) {
        EXPECT_EQ(read.m_localDirList[index]->path, task->m_localDirList[index]->path);
        EXPECT_EQ(read.m_localDirList[index]->serial, 4000000000u);
        EXPECT_EQ(read.m_localDirList[index]->isFolder, task->m_localDirList[index]->isFolder);
    }
}

TEST_F(TaskDatabase, DisabledTaskLoadsDisabledAndAWeeklyOneWithItsOwnDay) {
    std::unique_ptr<CBackupTask> const task = NewTask(_T("t"));
    task->m_state = TaskStateDisabled;
    task->m_dating = ToStored(CTime(2024, 5, 18, 0, 30, 0));  // a Saturday here, a Friday in UTC
    Add(*task);
    CBackupManage reader;
    CBackupTask const& read = Loaded(reader);
    EXPECT_EQ(read.m_scheduleEnabled, 0);
    EXPECT_EQ(read.m_state, TaskStateDisabled);
    EXPECT_EQ(read.m_repeatDays, 1 << 6);
}

// A reply that another version of the service might send.
class ForeignReply : public TaskDatabase {
protected:
    CString Reply() {
        for (TCHAR const* const name : {_T("a"), _T("b")}) {
            Add(*NewTask(name));
        }
        CString reply;
        EXPECT_EQ(ApiUtilExp::GetTaskListFromWebDatabase(_T(""), _T("false"), reply), 0);
        return reply;
    }
};

TEST_F(ForeignReply, WithoutStatesLoadsEveryTaskReady) {
    CString reply = Reply();
    ASSERT_EQ(reply.Replace(_T("RETURN_Status="), _T("RETURN_Else=")), 2);
    EXPECT_EQ(Manager().ParseTaskListFromWebDatabase(reply, 0), 1);
    ASSERT_EQ(Manager().m_taskList.size(), 2u);
    EXPECT_EQ(Manager().m_taskList[1]->m_state, TaskStateReady);
    EXPECT_EQ(Manager().m_taskList[1]->m_scheduleEnabled, 1);
}

TEST_F(ForeignReply, NumbersAreReadAsFarAsTheyGo) {
    CString reply = Reply();
    ASSERT_EQ(reply.Replace(_T("ETURN_MaxVersion=10"), _T("ETURN_MaxVersion=12abc")), 2);
    ASSERT_EQ(reply.Replace(_T("RETURN_Type=1"), _T("RETURN_Type=x")), 2);
    EXPECT_EQ(Manager().ParseTaskListFromWebDatabase(reply, 0), 1);
    ASSERT_EQ(Manager().m_taskList.size(), 2u);
    EXPECT_EQ(Manager().m_taskList[0]->m_maxVersion, 12);
    EXPECT_EQ(Manager().m_taskList[0]->m_type, TaskTypeRealTime);
}

TEST_F(ForeignReply, RowThatComesTwiceIsOneTaskOfARefresh) {
    CString reply = Reply();
    ASSERT_EQ(reply.Replace(_T("RETURN_TaskName=b"), _T("RETURN_TaskName=a")), 1);
    EXPECT_EQ(Manager().ParseTaskListFromWebDatabase(reply, 1), 1);
    ASSERT_EQ(Manager().m_taskList.size(), 1u);
    EXPECT_EQ(Manager().m_taskList[0]->m_taskName, _T("a"));
}

TEST_F(ForeignReply, EndsWhereAColumnEnds) {
    CString reply = Reply();
    int const last = reply.Find(_T("ETURN_MaxVersion="), reply.Find(_T("ETURN_MaxVersion=")) + 1);
    ASSERT_GT(last, 0);
    reply = reply.Left(last) + _T("X") + reply.Mid(last);
    EXPECT_EQ(Manager().ParseTaskListFromWebDatabase(reply, 0), 1);
    EXPECT_EQ(Manager().m_taskList.size(), 1u);
}

TEST_F(ForeignReply, EndsAtABrokenDateAndKeepsTheTasksBeforeIt) {
    CString reply = Reply();
    CString const key = _T("RETURN_BackupDate=");
    int const value = reply.Find(key, reply.Find(key) + 1) + key.GetLength();
    ASSERT_GT(value, key.GetLength());
    reply = reply.Left(value) + _T("13/1/2024 0:00:00") + reply.Mid(reply.Find(_T('\n'), value));
    EXPECT_EQ(Manager().ParseTaskListFromWebDatabase(reply, 0), 0);
    EXPECT_EQ(Manager().m_taskList.size(), 1u);
}

TEST_F(TaskDatabase, ManyPathsArriveAndAnEditSendsOnlyTheChanges) {
    std::unique_ptr<CBackupTask> const task = NewTask(_T("t"));
    for (int index = 0; index < 250; ++index) {
        task->m_localDirList.push_back(
            new SourceInfo{FormatText(_T("C:\\%d"), index), 1, 1});  // the task's own
    }
    Add(*task);
    task->m_newPathList.push_back(new SourceInfo{_T("C:\\new"), 1, 1});
    task->m_deletePathList.push_back(new SourceInfo{_T("C:\\7"), 1, 1});
    EXPECT_EQ(Manager().UpdateTaskLocalPathForServerDatabase(task.get()), 1);
    EXPECT_TRUE(task->m_newPathList.empty());
    EXPECT_TRUE(task->m_deletePathList.empty());
    CBackupManage reader;
    CBackupTask& read = Loaded(reader);
    EXPECT_EQ(read.m_localDirList.size(), 250u);
    EXPECT_TRUE(read.IsInSourceList(_T("C:\\new")));
    EXPECT_TRUE(read.IsInSourceList(_T("C:\\249")));
    EXPECT_FALSE(read.IsInSourceList(_T("C:\\7")));
}

TEST_F(TaskDatabase, PathsOfARequestThatFailedAreToldAgain) {
    std::unique_ptr<CBackupTask> const task = NewTask(_T("t"));
    Add(*task);
    for (int index = 0; index < 250; ++index) {
        task->m_newPathList.push_back(new SourceInfo{FormatText(_T("C:\\%d"), index), 1, 1});
    }
    std::shared_ptr<ScriptedService> const service = m_home.Script();
    service->Answer("StoreTask", kConnectionFailed);  // the first of three
    EXPECT_EQ(Manager().UpdateTaskLocalPathForServerDatabase(task.get()), 0);
    EXPECT_EQ(task->m_newPathList.size(), 250u);
    EXPECT_EQ(Manager().UpdateTaskLocalPathForServerDatabase(task.get()), 1);
    EXPECT_TRUE(task->m_newPathList.empty());
    CBackupManage reader;
    EXPECT_EQ(Loaded(reader).m_localDirList.size(), 250u);
}

TEST_F(TaskDatabase, ARefreshThatCannotReadATasksPathsTakesItNotOff) {
    std::unique_ptr<CBackupTask> added = NewTask(_T("t"));
    added->m_localDirList.push_back(new SourceInfo{_T("C:\\a"), 1, 1});
    ASSERT_EQ(Manager().AddTask(added.release()), 1);
    {
        CBackupManage other;
        CBackupTask& elsewhere = Loaded(other);
        elsewhere.m_maxVersion = 77;
        elsewhere.m_modifyTime = elsewhere.m_modifyTime + CTimeSpan(60);
        ASSERT_EQ(other.AddOrEditTaskToDatabase(&elsewhere, _T("Edit"), _T("0"), _T("t"), _T("1")), 0);
    }
    std::shared_ptr<ScriptedService> const service = m_home.Script();
    service->Answer("QueryTasks", kConnectionFailed, 1000, 1);  // the rows come, the paths do not
    int code = 0;
    Manager().RefreshTaskListFromDatabase(code);
    ASSERT_EQ(Manager().m_taskList.size(), 1u);
    EXPECT_EQ(Manager().m_taskList[0]->m_localDirList.size(), 1u);
    service->Answer("QueryTasks", 0, 0);
    ASSERT_EQ(Manager().RefreshTaskListFromDatabase(code), 1);
    ASSERT_EQ(Manager().m_taskList.size(), 1u);
    EXPECT_EQ(Manager().m_taskList[0]->m_maxVersion, 77);
}

TEST_F(TaskDatabase, NewTaskGoesFromCreationToListAndDatabase) {
    ASSERT_EQ(Manager().BeginNewTask(), 1);
    CString const name = Manager().GetTaskName();
    EXPECT_EQ(name, FormatText(DictUtil::GetValue(_T("IDS_TASKNAMEFOR"), _T("")), 0));
    EXPECT_EQ(Manager().GetTaskDescription(), name);
    Manager().SetType(TaskTypeDaily);
    Manager().SetDating(StoredNow() + CTimeSpan(7200));
    Manager().SetServerFolder(_T("\\Backups\\x"));
    Manager().SetFilter(_T("*.a|*.b"));
    EXPECT_EQ(Manager().GetFilter().GetCount(), 2);
    ASSERT_EQ(Manager().EndNewTask(), 1);
    EXPECT_FALSE(Manager().IsCreateingTask());
    EXPECT_NE(Manager().GetTaskByName(name), nullptr);
    EXPECT_EQ(Names(), std::vector<CString>{name});

    ASSERT_EQ(Manager().BeginNewTask(), 1);
    EXPECT_EQ(Manager().SetTaskName(name, 0), 0) << "the database knows it";
    EXPECT_EQ(Manager().SetTaskName(_T("free"), 0), 1);
    CBackupTask* const first = Manager().m_pNewTask;
    ASSERT_EQ(Manager().BeginNewTask(), 1);
    EXPECT_NE(Manager().m_pNewTask, first);
    EXPECT_NE(Manager().GetTaskName(), first->m_taskName);
    Manager().CancelNewTask();
    EXPECT_EQ(Manager().m_pNewTask, first) << "the creation that was set aside comes back";
    first->m_taskName = FormatText(DictUtil::GetValue(_T("IDS_TASKNAMEFOR"), _T("")), 1);
    ASSERT_EQ(Manager().BeginNewTask(), 1);
    EXPECT_EQ(Manager().GetTaskName(), FormatText(DictUtil::GetValue(_T("IDS_TASKNAMEFOR"), _T("")), 2))
        << "neither a listed name nor that of the creation that was set aside";
    Manager().CancelNewTask();
}

TEST_F(TaskDatabase, DisabledContinuousTaskIsAddedAndLeftAlone) {
    std::unique_ptr<CBackupTask> added = NewTask(_T("t"));
    CBackupTask& task = *added;
    task.m_type = TaskTypeRealTime;
    task.m_scheduleEnabled = 0;
    task.m_state = TaskStateDisabled;
    ASSERT_EQ(Manager().AddTask(added.release()), 1);
    EXPECT_TRUE(Manager().m_waitList.IsEmpty());
    EXPECT_EQ(ManageMultipleRunningTask::GetInstance()->WorkingTaskCount(), 0);
    EXPECT_EQ(task.m_state, TaskStateDisabled);
}

struct Turn {
    char const* zone;
    int64_t moment;
    int before;
    int after;
};

// Each look of the night is that of a fresh process, which knows the date by its row alone.
TEST_F(TaskDatabase, TimeOfDayOutlastsRestartsAroundATurnOfTheClock) {
    Turn const turns[] = {{"Berlin, spring", Utc(2025, 3, 30, 1), 3600, 7200},
                          {"Berlin, autumn", Utc(2025, 10, 26, 1), 7200, 3600},
                          {"New York, spring", Utc(2025, 3, 9, 7), -18000, -14400},
                          {"New York, autumn", Utc(2025, 11, 2, 6), -14400, -18000},
                          {"London, spring", Utc(2025, 3, 30, 1), 0, 3600},
                          {"London, autumn", Utc(2025, 10, 26, 1), 3600, 0}};
    int number = 0;
    for (Turn const& turn : turns) {
        int64_t const begin = turn.moment - 2 * 86400;
        m_clock.AddZoneChange(begin - 86400, turn.before);
        m_clock.AddZoneChange(turn.moment, turn.after);
        for (auto const& [hour, skips] : {std::pair(1, 0), {2, 0}, {3, 0}, {1, 1}, {2, 1}, {3, 1}}) {
            m_clock.SetSeconds(begin);
            std::unique_ptr<CBackupTask> const first = NewTask(FormatText(_T("t%d"), ++number));
            CTime const day = DaysAfter(RawNow(), 1);
            first->m_dating = ToStored(CTime(day.GetYear(), day.GetMonth(), day.GetDay(), hour, 30, 0));
            first->m_taskID = number;
            Add(*first);
            std::map<CString, int> runs;
            CTime dating;
            for (int64_t now = begin; now < turn.moment + 2 * 86400; now += 1800) {
                m_clock.SetSeconds(now);
                CBackupManage fresh;
                fresh.m_myID = Manager().m_myID;
                fresh.m_skipMissedTask = skips;
                theVaultLibApp.m_pBackupManage = &fresh;
                ASSERT_EQ(fresh.LoadTaskListFromWebDatabase(), 1);
                CBackupTask& task = *fresh.m_taskList.front();
                if (task.NowDating()) {
                    ++runs[RawNow().Format(_T("%m-%d"))];
                    m_clock.SetSeconds(now + 2);
                    task.SetNextDating();
                    fresh.AddOrEditTaskToDatabase(&task, _T("Edit"), _T("0"), task.m_taskName, _T("1"));
                }
                dating = ToRaw(task.m_dating);
                theVaultLibApp.m_pBackupManage = &Manager();
            }
            SCOPED_TRACE(FormatText(_T("%d:30, skips %d"), hour, skips).ToUtf8() + " " + turn.zone);
            EXPECT_EQ(dating.Format(_T("%H:%M")).ToUtf8(), FormatText(_T("%02d:30"), hour).ToUtf8());
            EXPECT_GE(runs.size(), 3u);
            for (auto const& [day, count] : runs) {
                EXPECT_EQ(count, 1) << day.ToUtf8();
            }
            ApiUtilExp::DeleteTaskFromWebDatabase(first->m_taskName + _T("|"));
        }
    }
}

constexpr int kAlways = 1000000;

// Without its sources a task would protect nothing.
TEST_F(TaskDatabase, RowWhoseSourcesCannotBeReadWaitsForTheNextRefresh) {
    std::unique_ptr<CBackupTask> const task = NewTask(_T("t"));
    task->AddSrcPath(_T("C:\\a"));
    Add(*task);
    std::shared_ptr<ScriptedService> const service = m_home.Script();
    service->Answer("QueryTasks", kConnectionFailed, kAlways, 1);
    ASSERT_EQ(Manager().LoadTaskListFromWebDatabase(), 1);
    EXPECT_TRUE(Manager().m_taskList.empty());
    service->Answer("QueryTasks", kConnectionFailed, 1, 1);  // a moment only
    int code = 0;
    ASSERT_EQ(Manager().RefreshTaskListFromDatabase(code), 1);
    ASSERT_EQ(Manager().m_taskList.size(), 1u);
    EXPECT_EQ(Manager().m_taskList.front()->GetFirstSrcPath(), _T("C:\\a"));
}

TEST_F(TaskDatabase, TasksStayWhileTheirNamesCannotBeRead) {
    CBackupTask* const first = NewTask(_T("first")).release();
    ASSERT_EQ(Manager().AddTask(first), 1);
    ASSERT_EQ(Manager().AddTask(NewTask(_T("second")).release()), 1);
    std::shared_ptr<ScriptedService> const service = m_home.Script();
    for (int const code : {static_cast<int>(kConnectionFailed), static_cast<int>(kVaultDamaged)}) {
        service->Answer("TaskNames", code, kAlways);
        int refreshed = 0;
        EXPECT_EQ(Manager().RefreshTaskListFromDatabase(refreshed), 1);
        EXPECT_EQ(Manager().CheckNotExistedTasks(), 0);
        EXPECT_EQ(Manager().m_taskList.size(), 2u) << code;
    }
    service->Answer("TaskNames", 0, 0);
    ASSERT_EQ(ApiUtilExp::DeleteTaskFromWebDatabase(_T("second|")), 0);
    EXPECT_EQ(Manager().CheckNotExistedTasks(), 1);
    EXPECT_EQ(Manager().m_taskList, std::vector<CBackupTask*>{first});
}

TEST_F(TaskDatabase, NameOfAnotherMachinesRowIsRefusedAndARenameOffered) {
    std::unique_ptr<CBackupTask> const theirs = NewTask(_T("t"));
    theirs->m_pcID = 3000000000u;
    Add(*theirs);
    std::unique_ptr<CBackupTask> const mine = NewTask(_T("T"));
    EXPECT_EQ(Manager().AddTask(mine.get()), 0);
    EXPECT_EQ(Manager().GetAddNewTaskRet(), kNameTaken);
    EXPECT_TRUE(Manager().m_taskList.empty());

    CString name;
    EXPECT_EQ(Manager().NeedRenameTaskNameToWebDatabase(_T("t"), _T("PC"), 3000000000u, name), 0)
        << "its own";
    EXPECT_EQ(Manager().NeedRenameTaskNameToWebDatabase(_T("free"), _T("PC"), 7, name), 0);
    EXPECT_EQ(Manager().NeedRenameTaskNameToWebDatabase(_T(""), _T("PC"), 7, name), 0);
    EXPECT_EQ(Manager().NeedRenameTaskNameToWebDatabase(_T("t"), _T(""), 7, name), 0);
    EXPECT_EQ(name, _T(""));
    EXPECT_EQ(Manager().NeedRenameTaskNameToWebDatabase(_T("t"), _T("PC"), 7, name), 1);
    EXPECT_EQ(name, _T("PC_t"));
    Add(*NewTask(_T("PC_t")));
    EXPECT_EQ(Manager().NeedRenameTaskNameToWebDatabase(_T("t"), _T("PC"), 7, name), 0) << "taken, too";
}

TEST_F(TaskDatabase, TaskWhoseDataCannotBeDeletedIsKept) {
    std::unique_ptr<CBackupTask> added = NewTask(_T("t"));
    CBackupTask& task = *added;
    ASSERT_TRUE(GlobalFunction::CreateSrvFolder(task.m_serverFilePath, _T(""), _T(""), nullptr));
    ASSERT_EQ(Manager().AddTask(added.release()), 1);
    std::shared_ptr<ScriptedService> const service = m_home.Script();
    CStringList names;
    names.AddTail(_T("t"));
    int code = 0;
    service->Answer("Delete", kFailed);
    EXPECT_EQ(Manager().BatchDeleteTask(names, 1, code, 0, 0), 0);
    EXPECT_EQ(code, kFailed);
    EXPECT_EQ(task.m_isDeleting, 0);
    // Cancelled while the service deletes.
    CProgressBar progress;
    theVaultLibApp.m_pManagePrg = &progress;
    service->Before("Delete", [&] { progress.m_bCancel = 1; });
    EXPECT_EQ(Manager().BatchDeleteTask(names, 1, code, 0, 0), 0);
    theVaultLibApp.m_pManagePrg = nullptr;
    EXPECT_EQ(code, kCancelled);
    EXPECT_EQ(progress.m_bCancel, 0);
    EXPECT_EQ(task.m_isDeleting, 0);
    EXPECT_EQ(Manager().GetTaskByName(_T("t")), &task);
    EXPECT_EQ(Names(), std::vector<CString>{_T("t")});
}

class NamesOnly : public ScriptedService {
public:
    using ScriptedService::ScriptedService;
    ServiceResult TaskNames(std::vector<std::string>& all) override {
        ServiceResult const result = ScriptedService::TaskNames(all);
        all = names;
        return result;
    }
    std::vector<std::string> names;
};

TEST_F(TaskDatabase, NamesAreCutAtTheirBars) {
    std::shared_ptr<NamesOnly> const service = m_home.Script<NamesOnly>();
    struct Case {
        char const* text;
        std::vector<CString> names;
    };
    Case const cases[] = {
        {"a|b", {_T("a"), _T("b")}}, {"a|b|", {_T("a"), _T("b")}}, {"a||b | ", {_T("a"), _T("b ")}},
        {"|a|b", {_T("a|b")}},       {"| a |", {_T("a")}},         {"|", {}}};
    for (Case const& each : cases) {
        service->names = {each.text};
        EXPECT_EQ(Names(), each.names) << each.text;
    }
    service->names = {"|first|Second | last"};
    int code = 0;
    for (TCHAR const* const taken : {_T("FIRST"), _T("second"), _T("Last")}) {
        EXPECT_EQ(Manager().IsValidateTaskName(taken, code), 0);
        EXPECT_EQ(code, 0);
    }
    EXPECT_EQ(Manager().IsValidateTaskName(_T("fir"), code), 1);
    service->Answer("TaskNames", kVaultDamaged);
    EXPECT_EQ(Manager().IsValidateTaskName(_T("fir"), code), 0);
    EXPECT_EQ(code, kVaultDamaged);
}

TEST_F(TaskDatabase, TheFirstFailureOfSeveralRequestsCounts) {
    EngineHome::SetOption(_T("UploadLocalPathCount"), _T("1"));
    std::shared_ptr<ScriptedService> const service = m_home.Script();
    auto add = [&](TCHAR const* name, int failing) {
        std::unique_ptr<CBackupTask> const task = NewTask(name);
        CStringList paths;
        paths.AddTail(_T("C:\\a"));
        paths.AddTail(_T("C:\\b"));
        task->AddSrcPathList(paths);
        EXPECT_EQ(task->GetLocalPathCount(), 2);
        service->Answer("StoreTask", kFailed, 1, failing);
        service->ForgetCalls();
        int const code = Manager().AddOrEditTaskToDatabase(task.get(), _T("Add"), _T("0"), _T(""), _T("1"));
        EXPECT_EQ(service->Calls("StoreTask"), 3);
        return code;
    };
    EXPECT_EQ(add(_T("middle"), 1), kFailed);
    EXPECT_EQ(add(_T("last"), 2), kFailed);
    EXPECT_EQ(add(_T("first"), 0), kFailed) << "those that follow edit what is not there";
    EXPECT_EQ(Manager().AddOrEditTaskToDatabase(nullptr, _T("Add"), _T("0"), _T(""), _T("1")), 7);
}

class RequestLog : public ScriptedService {
public:
    using ScriptedService::ScriptedService;
    ServiceResult StoreTask(std::string const& request) override {
        requests.push_back(request);
        return ScriptedService::StoreTask(request);
    }
    std::vector<std::string> requests;
};

TEST_F(TaskDatabase, HundredPathsGoWithOneRequestUnlessAnOptionSaysOtherwise) {
    using testing::HasSubstr;
    using testing::Not;
    std::shared_ptr<RequestLog> const service = m_home.Script<RequestLog>();
    struct Case {
        int paths;
        std::vector<int> counts;  // of paths in each request
    };
    for (Case const& each : {Case{0, {0}}, {1, {1}}, {99, {99}}, {100, {100, 0}}, {101, {100, 1}}}) {
        SCOPED_TRACE(each.paths);
        service->requests.clear();
        std::unique_ptr<CBackupTask> const task = NewTask(FormatText(_T("t%d"), each.paths));
        for (int index = 0; index < each.paths; ++index) {
            task->m_localDirList.push_back(new SourceInfo{FormatText(_T("C:\\%d"), index), 1, 1});  // its own
        }
        Add(*task);
        ASSERT_EQ(service->requests.size(), each.counts.size());
        for (size_t index = 0; index < each.counts.size(); ++index) {
            std::string const& request = service->requests[index];
            EXPECT_THAT(request, HasSubstr(index == 0 ? "&Action=Add&" : "&Action=Edit&"));
            EXPECT_THAT(request, HasSubstr("TaskName=" + task->m_taskName.ToUtf8() + "&"));
            EXPECT_THAT(request,
                        testing::EndsWith("&localPathNum=" + std::to_string(each.counts[index]) + "&"));
            EXPECT_THAT(request, Not(HasSubstr("&Path" + std::to_string(each.counts[index]) + "=")));
        }
    }
}

TEST_F(TaskDatabase, EnabledContinuousTaskIsWatchedAnewOnceItsRowIsWritten) {
    std::unique_ptr<CBackupTask> added = NewTask(_T("t"));
    CBackupTask& task = *added;
    ASSERT_EQ(Manager().AddTask(added.release()), 1);
    task.m_type = TaskTypeRealTime;
    std::shared_ptr<ScriptedService> const service = m_home.Script();
    task.m_hookStop = 1;
    service->Answer("StoreTask", kFailed);
    EXPECT_EQ(Manager().EnableTask(&task), 1);
    EXPECT_EQ(task.m_hookStop, 1);
    EXPECT_EQ(Manager().EnableTask(&task), 1);
    EXPECT_EQ(task.m_hookStop, 0);
    task.m_hookStop = 1;
    task.m_state = TaskStateDisabled;
    EXPECT_EQ(Manager().EnableTask(&task), 1);
    EXPECT_EQ(task.m_hookStop, 1);
}

class Account : public ScriptedService {
public:
    using ScriptedService::ScriptedService;
    SessionInfo Session() override {
        SessionInfo session = ScriptedService::Session();
        session.paid = isPaid;
        return session;
    }
    std::atomic<bool> isPaid{false};
};

TEST_F(TaskDatabase, AccountThatIsNotPaidForTakesTwoTasks) {
    static std::vector<CString> asked;
    static int answer = 0;
    asked.clear();
    SetMsgBoxProc([](TCHAR const* text, unsigned int, unsigned long, int) {
        asked.emplace_back(text);
        return answer;
    });
    std::shared_ptr<Account> const service = m_home.Script<Account>();
    m_home.ListedTask(_T("first"));
    EXPECT_EQ(Manager().BeginNewTask(), 1);
    Manager().CancelNewTask();
    m_home.ListedTask(_T("second"));
    EXPECT_TRUE(asked.empty());
    CString const limit = DictUtil::GetValue(_T("IDS_STRACCOUNTLIMIT"), _T(""));
    EXPECT_EQ(Manager().BeginNewTask(), 0) << "the answer was no";
    EXPECT_EQ(asked, std::vector<CString>{limit});
    constexpr int kYes = 6;
    answer = kYes;
    asked.clear();
    EXPECT_EQ(Manager().BeginNewTask(), 0) << "there is no page where a plan is to be had";
    EXPECT_EQ(asked, (std::vector<CString>{limit, DictUtil::GetValue(_T("IDS_NETERROR"), _T(""))}));
    EXPECT_FALSE(Manager().IsCreateingTask());
    asked.clear();
    service->isPaid = true;
    EXPECT_EQ(Manager().BeginNewTask(), 1);
    EXPECT_TRUE(asked.empty());
    SetMsgBoxProc(nullptr);
}

TEST_F(TaskDatabase, SecondTaskOfANameIsRefusedBeforeTheServer) {
    std::unique_ptr<CBackupTask> first = NewTask(_T("t"));
    ASSERT_EQ(Manager().AddTask(first.release()), 1);
    std::unique_ptr<CBackupTask> const second = NewTask(_T("T"));
    EXPECT_EQ(Manager().AddTask(second.get()), 0);
    EXPECT_EQ(Manager().GetNeedReloadTaskListValue(), 1);
    EXPECT_EQ(Manager().m_taskList.size(), 1u);
    EXPECT_EQ(Names().size(), 1u);
}

TEST_F(TaskDatabase, EditKeepsTheTaskAndMovesItsFolderWithTheName) {
    std::unique_ptr<CBackupTask> added = NewTask(_T("old"));
    CBackupTask& task = *added;
    ASSERT_TRUE(GlobalFunction::CreateSrvFolder(_T("\\Backups\\old"), _T(""), _T(""), nullptr));
    ASSERT_EQ(Manager().AddTask(added.release()), 1);
    CBackupTask edited;
    edited.m_taskID = task.m_taskID;
    edited.m_taskName = _T("new");
    edited.m_type = TaskTypeDaily;
    edited.m_dating = task.m_dating;
    edited.m_serverFilePath = task.m_serverFilePath;
    edited.m_maxVersion = 5;
    ASSERT_EQ(Manager().UpdateTask(&task, &edited), 1);
    EXPECT_EQ(task.m_taskName, _T("new"));
    EXPECT_EQ(task.m_serverFilePath, _T("\\Backups\\new"));
    EXPECT_EQ(Names(), std::vector<CString>{_T("new")});
    CServerPathList& mirror = ApiUtil::GetServerPathlist();
    EXPECT_TRUE(mirror.IsPathExistEx(_T("\\Backups\\new"), 0, 0));
    EXPECT_FALSE(mirror.IsPathExistEx(_T("\\Backups\\old"), 0, 0));
    CBackupManage reader;
    EXPECT_EQ(Loaded(reader).m_maxVersion, 5);

    CBackupTask stranger;
    stranger.m_taskID = task.m_taskID + 1;
    EXPECT_EQ(Manager().UpdateTask(&stranger, &edited), 0);
}

TEST_F(TaskDatabase, ANameTakesItsNewSpellingOrNoneAndADescriptionMovesNothing) {
    std::unique_ptr<CBackupTask> added = NewTask(_T("docs"));
    CBackupTask& task = *added;
    added->m_serverFilePath = _T("\\Backups\\docs");
    ASSERT_TRUE(GlobalFunction::CreateSrvFolder(_T("\\Backups\\docs"), _T(""), _T(""), nullptr));
    ASSERT_EQ(Manager().AddTask(added.release()), 1);
    auto edit = [&](TCHAR const* name, TCHAR const* description) {
        CBackupTask edited;
        edited.m_taskID = task.m_taskID;
        edited.m_taskName = name;
        edited.m_description = description;
        edited.m_type = TaskTypeDaily;
        edited.m_dating = task.m_dating;
        edited.m_serverFilePath = task.m_serverFilePath;
        return Manager().UpdateTask(&task, &edited);
    };
    ASSERT_EQ(edit(_T("Docs"), _T("d")), 1);
    EXPECT_EQ(task.m_serverFilePath, _T("\\Backups\\Docs")) << "older versions are found by it";
    EXPECT_EQ(CString(_T("\\Backups\\Docs")),
              CAutoMyPathInfo(ApiUtil::GetPathInfoEx(_T("\\Backups\\Docs"), 0, 0))->m_path);

    // A folder that is called otherwise stays where it is when only the description changes.
    CString message;
    ASSERT_EQ(0, ApiUtil::EditFolder(_T("\\Backups\\Docs"), _T("elsewhere"), _T(""), _T("")));
    task.m_serverFilePath = _T("\\Backups\\elsewhere");
    ASSERT_EQ(edit(_T("Docs"), _T("other words")), 1);
    EXPECT_EQ(task.m_serverFilePath, _T("\\Backups\\elsewhere"));
    EXPECT_TRUE(ApiUtil::GetServerPathlist().IsPathExistEx(_T("\\Backups\\elsewhere"), 0, 0));

    // A name that the service refuses changes nothing here.
    ASSERT_TRUE(GlobalFunction::CreateSrvFolder(_T("\\Backups\\taken"), _T(""), _T(""), nullptr));
    EXPECT_EQ(edit(_T("taken"), _T("never")), 0);
    EXPECT_EQ(task.m_taskName, _T("Docs"));
    EXPECT_EQ(task.m_description, _T("other words"));
    EXPECT_EQ(task.m_serverFilePath, _T("\\Backups\\elsewhere"));
}

TEST_F(TaskDatabase, EditChangesTheTaskItselfBeforeAnotherOfItsId) {
    std::unique_ptr<CBackupTask> addedFirst = NewTask(_T("first"));
    std::unique_ptr<CBackupTask> addedSecond = NewTask(_T("second"));
    CBackupTask& first = *addedFirst;
    CBackupTask& second = *addedSecond;
    second.m_taskID = first.m_taskID;
    EXPECT_NE(first.IdAndNameMark(), second.IdAndNameMark());
    for (std::unique_ptr<CBackupTask>* const task : {&addedFirst, &addedSecond}) {
        ASSERT_EQ(Manager().AddTask(task->release()), 1);
    }
    CBackupTask edited;
    edited.m_taskID = second.m_taskID;
    edited.m_taskName = edited.m_description = second.m_taskName;
    edited.m_serverFilePath = second.m_serverFilePath;
    edited.m_maxVersion = 99;
    ASSERT_EQ(Manager().UpdateTask(&second, &edited), 1);
    EXPECT_EQ(second.m_maxVersion, 99);
    EXPECT_EQ(first.m_taskName, _T("first"));
    EXPECT_EQ(first.m_maxVersion, 10);
    EXPECT_EQ(Names(), (std::vector<CString>{_T("first"), _T("second")}));
}

TEST_F(TaskDatabase, DeletedTaskTakesRowAndDataAlong) {
    for (TCHAR const* const name : {_T("a"), _T("b")}) {
        std::unique_ptr<CBackupTask> task = NewTask(name);
        ASSERT_TRUE(GlobalFunction::CreateSrvFolder(task->m_serverFilePath, _T(""), _T(""), nullptr));
        ASSERT_EQ(Manager().AddTask(task.release()), 1);
    }
    CStringList names;
    names.AddTail(_T("unknown"));
    names.AddTail(_T("a"));
    int code = 99;
    EXPECT_EQ(Manager().BatchDeleteTask(names, 0, code, 0, 0), 1);
    EXPECT_EQ(code, 99) << "no server path was touched";
    EXPECT_EQ(Names(), std::vector<CString>{_T("b")});
    CServerPathList& mirror = ApiUtil::GetServerPathlist();
    EXPECT_TRUE(mirror.IsPathExistEx(_T("\\Backups\\a"), 0, 0));

    names.RemoveAll();
    names.AddTail(_T("B"));
    EXPECT_EQ(Manager().BatchDeleteTask(names, 1, code, 0, 0), 1);
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(Manager().m_taskList.empty());
    EXPECT_TRUE(Names().empty());
    EXPECT_FALSE(mirror.IsPathExistEx(_T("\\Backups\\b"), 0, 0));
}

// A task whose folder is the root would take everything with it.
TEST_F(TaskDatabase, DeletedTaskWithoutAFolderOfItsOwnDeletesNothing) {
    ASSERT_TRUE(GlobalFunction::CreateSrvFolder(_T("\\Backups\\other"), _T(""), _T(""), nullptr));
    for (TCHAR const* const folder : {_T("\\"), _T("")}) {
        std::unique_ptr<CBackupTask> task = NewTask(_T("root"));
        task->m_serverFilePath = folder;
        ASSERT_EQ(Manager().AddTask(task.release()), 1);
        CStringList names;
        names.AddTail(_T("root"));
        int code = 0;
        EXPECT_EQ(Manager().BatchDeleteTask(names, 1, code, 0, 0), 1);
        EXPECT_TRUE(ApiUtil::GetServerPathlist().IsPathExistEx(_T("\\Backups\\other"), 0, 0));
    }
}

TEST_F(TaskDatabase, RefreshTakesWhatOthersChanged) {
    std::unique_ptr<CBackupTask> kept = NewTask(_T("kept"));
    std::unique_ptr<CBackupTask> changed = NewTask(_T("changed"));
    std::unique_ptr<CBackupTask> gone = NewTask(_T("gone"));
    CBackupTask* const keptTask = kept.get();
    for (std::unique_ptr<CBackupTask>* const task : {&kept, &changed, &gone}) {
        ASSERT_EQ(Manager().AddTask(task->release()), 1);
    }
    CBackupManage other;
    other.m_myID = Manager().m_myID;
    ASSERT_EQ(other.LoadTaskListFromWebDatabase(), 1);
    m_clock.Advance(10);
    CBackupTask& edited = *other.GetTaskByName(_T("changed"));
    edited.m_maxVersion = 99;
    ASSERT_EQ(other.UpdateTaskLocalPathForServerDatabase(&edited), 1);
    std::unique_ptr<CBackupTask> const added = NewTask(_T("added"));
    added->m_modifyTime = StoredNow();
    Add(*added);
    ASSERT_EQ(ApiUtilExp::DeleteTaskFromWebDatabase(_T("gone|")), 0);

    // A task of another machine is read anew whatever its row says.
    std::unique_ptr<CBackupTask> theirs = NewTask(_T("theirs"));
    theirs->m_pcID = Manager().m_myID + 1;
    ASSERT_EQ(Manager().AddTask(theirs.release()), 1);
    Manager().GetTaskByName(_T("theirs"))->m_maxVersion = 1;
    keptTask->m_maxVersion = 1;

    Manager().SetNeedReloadTaskListValue(0);
    int code = 0;
    ASSERT_EQ(Manager().RefreshTaskListFromDatabase(code), 1);
    EXPECT_EQ(Manager().GetNeedReloadTaskListValue(), 1);
    EXPECT_EQ(Manager().GetTaskByName(_T("theirs"))->m_maxVersion, 10);
    EXPECT_EQ(keptTask->m_maxVersion, 1);
    EXPECT_EQ(Manager().GetTaskByName(_T("kept")), keptTask);
    ASSERT_NE(Manager().GetTaskByName(_T("changed")), nullptr);
    EXPECT_EQ(Manager().GetTaskByName(_T("changed"))->m_maxVersion, 99);
    EXPECT_NE(Manager().GetTaskByName(_T("added")), nullptr);
    EXPECT_EQ(Manager().GetTaskByName(_T("gone")), nullptr);
}

}  // namespace

}  // namespace rampart::test
