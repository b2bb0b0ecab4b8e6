#include "common/task_change.h"

#include <algorithm>
#include <sstream>

#include "common/exit_code.h"
#include "common/paths.h"
#include "common/service_link.h"
#include "common/session.h"
#include "common/task_report.h"
#include "common/text.h"

namespace rampart::host {

namespace {

constexpr size_t kLongestName = 100;

std::string CodeText(int code) {
    return Utf8(ApiUtil::GetQuilString(code));
}

std::string Quoted(CBackupTask const& task) {
    return "'" + Printable(Utf8(task.m_taskName)) + "'";
}

void AddPattern(CBackupTask& task, std::string pattern, bool isInclude) {
    bool const isFolder = pattern.size() > 1 && pattern.back() == '/';
    if (isFolder) {
        pattern.pop_back();
    }
    CString const entry = ToEnginePattern(pattern);
    // An exclusion without a slash leaves out files and folders of that name alike.
    if (isFolder || !isInclude) {
        task.m_filtedPathList.AddTail(entry);
    }
    if (!isFolder) {
        task.m_filterExList.AddTail(entry);
    }
}

void ClearFilters(CBackupTask& task) {
    task.m_filterExList.RemoveAll();
    task.m_filtedPathList.RemoveAll();
    task.m_filterType = _T("0");
}

// Names that differ only in case are two sources where the file system tells them apart.
bool IsSameSource(CString const& a, CString const& b) {
    return a == b || (a.CompareNoCase(b) == 0 && IsSameFileLocal(a, b) != 0);
}

std::vector<CString> ExistingSources(std::vector<std::string> const& paths) {
    std::vector<CString> sources;
    for (std::string const& path : paths) {
        CString const source = ToEnginePath(path);
        if (source.IsEmpty() || !PathUtilities::IsExisting(source)) {
            throw CommandError(kExitUsage, "there is no file or folder " + Printable(path));
        }
        if (std::none_of(sources.begin(), sources.end(),
                         [&](CString const& other) { return IsSameSource(source, other); })) {
            sources.push_back(source);
        }
    }
    return sources;
}

// Whether the window lets a task run at `first`, raw, which is a moment of its own for a once task.
void RequireInWindow(CBackupTask const& task, int mode, CTime const& first) {
    if (mode == TaskTypeOnce && first < ToRaw(task.m_beginDate)) {
        throw CommandError(kExitUsage, "the one run lies before the beginning of the window");
    }
    if (first > ToRaw(task.m_endDate)) {
        throw CommandError(kExitUsage, "the window ends before the task would run for the first time");
    }
}

// Dates the task by a schedule, its window taken into account.
void SetSchedule(CBackupTask& task, Schedule const& schedule) {
    CTime const now = NowRaw();
    CTime const first = schedule.FirstRun(std::max(now, ToRaw(task.m_beginDate)));
    if (schedule.mode == TaskTypeOnce && first < now) {
        throw CommandError(kExitUsage, "the moment of the one run lies in the past");
    }
    RequireInWindow(task, schedule.mode, first);
    task.m_type = static_cast<TaskType>(task.m_type - ScheduleMode(task.m_type) + schedule.mode);
    task.m_repeatDays = schedule.mode == TaskTypeWeekly ? schedule.days : 0;
    // In a night in which the clock changes the date itself may not show the time that is meant.
    task.MoveDating(first, schedule.mode == TaskTypeRealTime
                               ? first
                               : CTime(2001, 1, 1, schedule.hour, schedule.minute, 0));
    task.m_isResume = 0;
    if (schedule.mode == TaskTypeOnce) {
        // A run of long ago is not the one that is meant now.
        task.m_backupDate = CTime(1971, 1, 1, 0, 0, 0);
    }
}

void SetWindow(CBackupTask& task, Window const& window) {
    task.m_beginDate = ToStored(CTime(window.begin));
    task.m_endDate = ToStored(CTime(window.end));
}

void SetEnabled(CBackupTask& task, bool isEnabled) {
    task.m_scheduleEnabled = isEnabled ? 1 : 0;
    task.m_state = isEnabled ? TaskStateReady : TaskStateDisabled;
}

// What ends a change half way: the task in creation goes with it.
class Creation {
public:
    explicit Creation(CBackupManage& manager) : m_manager(manager) {}
    ~Creation() {
        if (m_manager.IsCreateingTask() != 0) {
            m_manager.CancelNewTask();
        }
    }
    Creation(Creation const&) = delete;
    Creation& operator=(Creation const&) = delete;

private:
    CBackupManage& m_manager;
};

std::string Add(CBackupManage& manager, TaskChange const& change, bool startsDueTasks) {
    CheckTaskName(change.name);
    CString const name = CString::FromUtf8(change.name);
    if (manager.GetTaskByName(name) != nullptr) {
        throw CommandError(kExitUsage, "there is a task '" + Printable(change.name) + "' already");
    }
    std::vector<CString> const sources = ExistingSources(change.paths);
    if (sources.empty() || !change.schedule) {
        throw CommandError(kExitUsage, "a task needs something to back up, and a time to do it");
    }
    Creation const creation(manager);
    CBackupTask& task = BeginTask(manager, name, change.to, sources);
    if (change.window) {
        SetWindow(task, *change.window);
    }
    SetSchedule(task, *change.schedule);
    task.m_serverNextDate = task.m_dating;
    SetFilters(task, change.include, change.exclude);
    if (change.versions > 0) {
        task.m_maxVersion = change.versions;
    }
    SetEnabled(task, !change.isDisabled);
    // A program that ends right away writes the task and leaves its first run to the service.
    int const code = startsDueTasks ? (manager.EndNewTask() ? 0 : manager.GetAddNewTaskRet())
                                    : manager.UploadTaskInfoToDatabase(&task);
    bool const isStored = startsDueTasks ? manager.GetTaskByName(name) != nullptr : code == 0;
    if (!isStored) {
        throw CommandError(kExitFailed, "the task could not be stored: " + CodeText(code));
    }
    return "Task '" + Printable(change.name) + "' is added.";
}

// A copy of the settings, to be handed to CBackupManage::UpdateTask.
std::unique_ptr<CBackupTask> CopyOf(CBackupTask& task) {
    auto copy = std::make_unique<CBackupTask>();
    copy->m_taskID = task.m_taskID;
    copy->m_taskName = task.m_taskName;
    copy->m_description = task.m_description;
    copy->m_type = task.m_type;
    for (SourceInfo const* const source : task.m_localDirList) {
        if (source != nullptr) {
            copy->m_localDirList.push_back(std::make_unique<SourceInfo>(*source).release());
        }
    }
    copy->m_filterExList.AddTail(&task.m_filterExList);
    copy->m_filtedPathList.AddTail(&task.m_filtedPathList);
    copy->m_filterType = task.m_filterType;
    copy->m_serverFilePath = task.m_serverFilePath;
    copy->m_logFilePath = task.m_logFilePath;
    copy->m_backupDate = task.m_backupDate;
    copy->m_pcID = task.m_pcID;
    copy->m_pcName = task.m_pcName;
    copy->m_encryMode = task.m_encryMode;
    copy->m_beginDate = task.m_beginDate;
    copy->m_endDate = task.m_endDate;
    copy->m_dating = task.m_dating;
    copy->m_resumeDate = task.m_resumeDate;
    copy->m_isResume = task.m_isResume.Get();
    copy->m_remoteSize = task.m_remoteSize.Get();
    copy->m_maxVersion = task.m_maxVersion;
    copy->m_modifyTime = task.m_modifyTime;
    copy->m_nextCountEventDate = task.m_nextCountEventDate;
    copy->m_scheduleEnabled = task.m_scheduleEnabled.Get();
    copy->m_state = task.m_state.Get();
    copy->m_repeatDays = task.m_repeatDays;
    return copy;
}

// Null if the task has none of exactly that path.
SourceInfo* FindExactSource(CBackupTask const& task, CString const& path) {
    auto const found =
        std::find_if(task.m_localDirList.begin(), task.m_localDirList.end(),
                     [&](SourceInfo const* source) { return source != nullptr && source->path == path; });
    return found != task.m_localDirList.end() ? *found : nullptr;
}

bool HasSource(CBackupTask const& task, CString const& path) {
    return std::any_of(task.m_localDirList.begin(), task.m_localDirList.end(), [&](SourceInfo const* source) {
        return source != nullptr && IsSameSource(source->path, path);
    });
}

struct SourceChanges {
    std::vector<SourceInfo> added;
    std::vector<SourceInfo> dropped;

    // What an earlier change could not tell the database, as far as `copy`, the task to be, agrees with it.
    void TakeUntold(CBackupTask const& task, CBackupTask const& copy) {
        for (SourceInfo const* const source : task.m_newPathList) {
            if (FindExactSource(copy, source->path) != nullptr) {
                added.push_back(*source);
            }
        }
        for (SourceInfo const* const source : task.m_deletePathList) {
            if (FindExactSource(copy, source->path) == nullptr) {
                dropped.push_back(*source);
            }
        }
    }
    // Leaves them with the task, whose next row takes them to the database; that may be told twice.
    void TellDatabase(CBackupTask& task) const {
        task.ClearAddPathList();
        task.ClearDeletePathList();
        for (SourceInfo const& source : added) {
            task.m_newPathList.push_back(std::make_unique<SourceInfo>(source).release());
        }
        for (SourceInfo const& source : dropped) {
            task.m_deletePathList.push_back(std::make_unique<SourceInfo>(source).release());
        }
    }
};

// Two names that differ only in case may be two sources: a name means the one of just that name before
// another one. What is dropped and added stays.
SourceChanges ChangeSources(CBackupTask& copy, TaskChange const& change) {
    std::vector<CString> const added = ExistingSources(change.paths);
    std::vector<SourceInfo*> dropped;
    for (std::string const& path : change.dropped) {
        CString const wanted = ToEnginePath(path);
        SourceInfo* source = FindExactSource(copy, wanted);
        source = source != nullptr ? source : copy.GetSrcItem(wanted);
        if (source == nullptr) {
            throw CommandError(kExitUsage, "the task does not back up " + Printable(path));
        }
        if (std::find(added.begin(), added.end(), source->path) == added.end() &&
            std::find(dropped.begin(), dropped.end(), source) == dropped.end()) {
            dropped.push_back(source);
        }
    }
    SourceChanges changes;
    for (SourceInfo* const source : dropped) {
        copy.m_localDirList.erase(std::find(copy.m_localDirList.begin(), copy.m_localDirList.end(), source));
        changes.dropped.push_back(*source);
        delete source;  // the exported list owned it
    }
    CBackupTask scratch;
    for (CString const& path : added) {
        if (!HasSource(copy, path)) {
            scratch.AddSrcPath(path);
            changes.added.push_back(*scratch.m_localDirList.back());
            copy.m_localDirList.push_back(std::make_unique<SourceInfo>(changes.added.back()).release());
        }
    }
    if (copy.m_localDirList.empty()) {
        throw CommandError(kExitUsage, "a task needs something to back up: its last source cannot go");
    }
    return changes;
}

// Another task whose stored files, or older versions of them, lie where those of a task with that folder do:
// its folder is that one, above it or below it, or is called the same, for older versions are kept by name.
CBackupTask* FindSharer(CBackupManage& manager, CBackupTask const& self, CString folder) {
    auto plain = [](CString path) { return path.TrimRight(_T('\\')); };
    folder = plain(folder);
    CReadSync const read(manager.m_taskListSync);
    for (CBackupTask* const task : manager.m_taskList) {
        CString const other = plain(task->m_serverFilePath);
        if (task != &self && !task->m_serverFilePath.IsEmpty() &&
            (LiesWithin(other, folder) || LiesWithin(folder, other) ||
             PathUtilities::GetFileName(other).CompareNoCase(PathUtilities::GetFileName(folder)) == 0)) {
            return task;
        }
    }
    return nullptr;
}

// Where the engine keeps older versions and its lists: what it keeps there would be taken for the task's.
void RequireFreeFolder(CString folder) {
    folder.TrimRight(_T('\\'));
    for (CString const& own : CBackupManage::GetSvrOwnFolders()) {
        if (!folder.IsEmpty() && (LiesWithin(folder, own) || LiesWithin(own, folder))) {
            throw CommandError(kExitUsage,
                               PrintableServerPath(folder) +
                                   " cannot be the folder of a task: the program keeps data of its "
                                   "own in " +
                                   PrintableServerPath(own));
        }
    }
}

void RequireOwnFolder(CBackupManage& manager, CBackupTask const& self, CString const& folder) {
    RequireFreeFolder(folder);
    if (CBackupTask const* const other = FindSharer(manager, self, folder)) {
        throw CommandError(kExitUsage, PrintableServerPath(folder) +
                                           " cannot be the folder of this task: the task " + Quoted(*other) +
                                           " is stored in " + PrintableServerPath(other->m_serverFilePath) +
                                           ", and what both store would be mixed up");
    }
}

void Rename(CBackupManage& manager, CBackupTask const& task, CBackupTask& copy, std::string const& newName) {
    CheckTaskName(newName);
    CString const name = CString::FromUtf8(newName);
    CBackupTask const* const other = manager.GetTaskByName(name);
    if (other != nullptr && other != &task) {
        throw CommandError(kExitUsage, "there is a task '" + Printable(newName) + "' already");
    }
    CString const folder = PathUtilities::Append(PathUtilities::GetParentFolder(copy.m_serverFilePath), name);
    VaultEntry entry;
    CString message;
    constexpr int kNone = 11;
    int const code = VaultAdmin::Find(folder, entry, message);
    if (code == 0 && folder.CompareNoCase(copy.m_serverFilePath) != 0) {
        throw CommandError(kExitUsage,
                           "the vault holds a folder " + PrintableServerPath(folder) + " already");
    }
    if (code != 0 && code != kNone) {
        throw CommandError(kExitFailed, Utf8(message));
    }
    RequireOwnFolder(manager, task, folder);
    copy.m_taskName = name;
    copy.m_description = name;
}

bool IsEmptyEdit(TaskChange const& change) {
    return change.newName.empty() && change.paths.empty() && change.dropped.empty() && !change.schedule &&
           !change.window && change.versions <= 0 && change.include.empty() && change.exclude.empty() &&
           !change.clearsFilters;
}

// The dates of `copy` by the new schedule or window of `task`.
void ChangeDates(CBackupTask const& task, CBackupTask& copy, TaskChange const& change) {
    if (change.window) {
        SetWindow(copy, *change.window);
    }
    if (change.schedule) {
        SetSchedule(copy, *change.schedule);
    } else if (change.window && ScheduleMode(task.m_type) != TaskTypeOnce) {
        SetSchedule(copy, ScheduleOf(task));
    } else if (change.window && !IsOnceDone(task)) {
        // The one run keeps its date when only the window moves.
        RequireInWindow(copy, TaskTypeOnce, ToRaw(copy.m_dating));
    } else if (change.window && !IsOnceDone(copy)) {
        throw CommandError(kExitUsage,
                           "the one run was made outside that window and would be made again: name its new "
                           "moment, too (--once)");
    }
}

// A task that waits for its turn, as it did before its settings were replaced.
void KeepWaiting(CBackupManage& manager, CBackupTask& task) {
    CKorvaneAutoLock const lock(&manager.m_taskLock, _T("KeepWaiting"), 1);
    if (manager.m_waitList.Find(&task) != nullptr) {
        task.m_state = TaskStateWaiting;
    }
}

struct EditPlan {
    std::unique_ptr<CBackupTask> copy;  // the task to be
    SourceChanges sources;
};

EditPlan PlanEdit(CBackupManage& manager, CBackupTask& task, TaskChange const& change) {
    EditPlan plan;
    plan.copy = CopyOf(task);
    CBackupTask& copy = *plan.copy;
    if (change.clearsFilters) {
        ClearFilters(copy);
    }
    SetFilters(copy, change.include, change.exclude);
    if (change.versions > 0) {
        copy.m_maxVersion = change.versions;
    }
    if (!change.newName.empty()) {
        Rename(manager, task, copy, change.newName);
    }
    plan.sources = ChangeSources(copy, change);
    plan.sources.TakeUntold(task, copy);
    ChangeDates(task, copy, change);
    if (task.m_scheduleEnabled == 0) {
        SetEnabled(copy, false);
    } else if (copy.m_state == TaskStateRunning || copy.m_state == TaskStateWaiting) {
        copy.m_state = TaskStateReady;  // how an earlier run ended stays
    }
    return plan;
}

// Puts the plan in place of the settings, here and in the database. The task is held.
void CarryOut(CBackupManage& manager, CBackupTask& task, EditPlan& plan, TaskChange const& change) {
    CString const oldName = task.m_taskName;
    plan.sources.TellDatabase(task);
    if (!manager.UpdateTask(&task, plan.copy.get())) {
        bool const isGone = manager.GetTaskByID(task.m_taskID) == nullptr;
        if (!isGone) {
            task.ClearAddPathList();  // nothing of the change is to be told later
            task.ClearDeletePathList();
        }
        throw CommandError(kExitFailed,
                           isGone ? "the task " + Quoted(task) + " is gone"
                                  : "the vault did not take the new name; the task stays as it was");
    }
    if (task.m_scheduleEnabled == 0) {
        // A task that becomes a continuous one is queued by the engine.
        manager.RemoveTaskFromWaitlist(&task);
        SetEnabled(task, false);
    } else {
        KeepWaiting(manager, task);
    }
    if (change.schedule || change.window) {
        // Until it has run, what counts as missed is measured from here.
        task.m_serverNextDate = task.m_dating;
    }
    // UpdateTask does not say whether its row was written.
    plan.sources.TellDatabase(task);
    if (int const code = WriteTask(manager, task, oldName)) {
        plan.sources.TellDatabase(task);  // with the next row, then
        throw CommandError(kExitFailed, "the change could not be stored: " + CodeText(code));
    }
}

// A run that a change cut short is made up, also by the next process if this one is killed.
void MakeDue(CBackupTask& task) {
    task.m_isResume = 1;
    task.m_resumeDate = ToStored(NowRaw());
}

std::string Edit(CBackupManage& manager, TaskChange const& change) {
    CBackupTask& task = RequireTask(manager, change.name, true);
    if (IsEmptyEdit(change)) {
        throw CommandError(kExitUsage, "say what to change of the task " + Quoted(task));
    }
    PlanEdit(manager, task, change);  // a change that cannot be made ends no run
    bool const wasRunning = ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task) != 0;
    bool const runsAgain = wasRunning && task.m_scheduleEnabled != 0;
    auto runAgain = [&] {
        if (runsAgain && manager.GetTaskByID(task.m_taskID) == &task) {
            task.m_errorOccured = 0;
            manager.AddTaskToWaitlist(&task, 0);
        }
    };
    try {
        RunHold const hold(manager, task);
        if (!hold.HasRunEnded()) {
            throw CommandError(kExitFailed,
                               "the run of the task " + Quoted(task) +
                                   " does not end; does one of its folders not answer? Nothing was changed");
        }
        EditPlan plan = PlanEdit(manager, task, change);  // with the dates that the end of the run has set
        if (runsAgain) {
            plan.copy->m_state = TaskStateReady;
            MakeDue(*plan.copy);
        }
        CarryOut(manager, task, plan, change);
    } catch (CommandError const&) {
        if (runsAgain) {
            MakeDue(task);
            WriteTask(manager, task);
        }
        runAgain();
        throw;
    }
    runAgain();
    return "Task " + Quoted(task) + (runsAgain ? " is changed; its run begins anew." : " is changed.");
}

std::string Enable(CBackupManage& manager, TaskChange const& change) {
    CBackupTask& task = RequireTask(manager, change.name, true);
    bool const isEnabled = change.kind == ChangeKind::kEnable;
    std::string const word = isEnabled ? "enabled" : "disabled";
    if ((task.m_scheduleEnabled != 0) == isEnabled) {
        return "Task " + Quoted(task) + " was " + word + " already.";
    }
    if (!isEnabled) {
        task.EndTask();
        manager.RemoveTaskFromWaitlist(&task);
    } else if (ScheduleMode(task.m_type) == TaskTypeDaily || ScheduleMode(task.m_type) == TaskTypeWeekly) {
        // The next date lies ahead; until it has run, what counts as missed is measured from there.
        SetSchedule(task, ScheduleOf(task));
        task.m_serverNextDate = task.m_dating;
    }
    int const state = task.m_state;
    SetEnabled(task, isEnabled);
    if (int const code = WriteTask(manager, task)) {
        // As the database has it, so that the command can be repeated.
        SetEnabled(task, !isEnabled);
        task.m_state = isEnabled ? TaskStateDisabled : state;
        throw CommandError(kExitFailed, "the change could not be stored: " + CodeText(code));
    }
    if (isEnabled && ScheduleMode(task.m_type) == TaskTypeRealTime) {
        task.StartHook();
    }
    return "Task " + Quoted(task) + " is " + word + ".";
}

std::string Delete(CBackupManage& manager, TaskChange const& change) {
    CBackupTask& task = RequireTask(manager, change.name, false);
    std::string const name = Quoted(task);
    std::string const folder = PrintableServerPath(task.m_serverFilePath);
    if (change.deletesBackup) {
        if (PathUtilities::GetFileName(task.m_serverFilePath).IsEmpty()) {
            throw CommandError(kExitUsage, "what the task " + name +
                                               " stored cannot be deleted: it lies in the "
                                               "root of the vault, among everything else");
        }
        RequireFreeFolder(task.m_serverFilePath);
        if (CBackupTask const* const other = FindSharer(manager, task, task.m_serverFilePath)) {
            throw CommandError(kExitUsage, "what the task " + name + " stored cannot be deleted: the task " +
                                               Quoted(*other) + " is stored there, too");
        }
    }
    CStringList names(1);
    names.AddTail(task.m_taskName);
    int code = 0;
    if (!manager.BatchDeleteTask(names, change.deletesBackup ? 1 : 0, code, 0, 0)) {
        throw CommandError(kExitFailed, "the task " + name + " is kept: " + CodeText(code));
    }
    std::vector<CString> left;
    manager.GetTaskNamesFromWebDatabase(left);
    if (manager.CompareTaskNameEx(names.GetHead(), left)) {
        throw CommandError(kExitFailed, "the task " + name + " could not be taken off the database");
    }
    return "Task " + name + " is deleted" +
           (change.deletesBackup ? ", with what it had stored."
                                 : "; what it stored stays in " + folder + ".");
}

}  // namespace

void to_json(nlohmann::json& json, TaskChange const& change) {
    json = {{"kind", static_cast<int>(change.kind)},
            {"name", change.name},
            {"newName", change.newName},
            {"paths", change.paths},
            {"dropped", change.dropped},
            {"versions", change.versions},
            {"include", change.include},
            {"exclude", change.exclude},
            {"clearsFilters", change.clearsFilters},
            {"to", change.to},
            {"isDisabled", change.isDisabled},
            {"deletesBackup", change.deletesBackup}};
    if (change.schedule) {
        json["schedule"] = *change.schedule;
    }
    if (change.window) {
        json["window"] = *change.window;
    }
}

void from_json(nlohmann::json const& json, TaskChange& change) {
    change.kind = static_cast<ChangeKind>(json.at("kind").get<int>());
    change.name = json.at("name");
    change.newName = json.at("newName");
    change.paths = json.at("paths").get<std::vector<std::string>>();
    change.dropped = json.at("dropped").get<std::vector<std::string>>();
    change.versions = json.at("versions");
    change.include = json.at("include").get<std::vector<std::string>>();
    change.exclude = json.at("exclude").get<std::vector<std::string>>();
    change.clearsFilters = json.at("clearsFilters");
    change.to = json.at("to");
    change.isDisabled = json.at("isDisabled");
    change.deletesBackup = json.at("deletesBackup");
    if (json.contains("schedule")) {
        change.schedule = json["schedule"].get<Schedule>();
    }
    if (json.contains("window")) {
        change.window = json["window"].get<Window>();
    }
}

std::string ApplyChange(CBackupManage& manager, TaskChange const& change, bool startsDueTasks) {
    std::unique_ptr<HeldName> mark;
    if (change.kind != ChangeKind::kAdd) {
        CBackupTask& task = RequireTask(manager, change.name, false);
        mark = HeldName::Take(RunMarkName(task));
        if (mark == nullptr) {
            throw CommandError(kExitFailed, "another program runs the task " + Quoted(task) +
                                                " now; try again when that has ended");
        }
    }
    switch (change.kind) {
        case ChangeKind::kAdd:
            return Add(manager, change, startsDueTasks);
        case ChangeKind::kEdit:
            return Edit(manager, change);
        case ChangeKind::kDelete:
            return Delete(manager, change);
        default:
            return Enable(manager, change);
    }
}

void CheckTaskName(std::string const& name) {
    bool const isPlain = std::none_of(name.begin(), name.end(), [](unsigned char letter) {
        return letter < ' ' ||
               std::string_view("\\/:*?\"<>|").find(static_cast<char>(letter)) != std::string_view::npos;
    });
    if (name.empty() || name.size() > kLongestName || !isPlain || name.front() == ' ' || name.back() == ' ' ||
        name.back() == '.') {
        throw CommandError(kExitUsage, "'" + Printable(name) +
                                           "' cannot be the name of a task: it names a folder in the vault");
    }
}

CBackupTask& RequireTask(CBackupManage& manager, std::string const& name, bool isMineWanted) {
    CBackupTask* const task = manager.GetTaskByName(CString::FromUtf8(name));
    if (task == nullptr) {
        throw CommandError(kExitUsage, "there is no task '" + Printable(name) + "'");
    }
    if (isMineWanted && task->m_pcID != manager.m_myID) {
        throw CommandError(kExitUsage, "the task " + Quoted(*task) + " is one of the machine " +
                                           Printable(Utf8(task->m_pcName)) + "; change and run it there");
    }
    return *task;
}

namespace {

// Such a folder would be a way to elsewhere when it is restored.
void RequireNoWay(std::string const& to) {
    std::stringstream names(to);
    for (std::string name; std::getline(names, name, '/');) {
        std::stringstream parts(name);
        for (std::string part; std::getline(parts, part, '\\');) {
            if (part == "." || part == "..") {
                throw CommandError(
                    kExitUsage,
                    "'" + Printable(to) + "' is no folder in the vault: its names cannot be '.' or '..'");
            }
        }
    }
}

}  // namespace

CBackupTask& BeginTask(CBackupManage& manager, CString const& name, std::string const& to,
                       std::vector<CString> const& sources) {
    RequireNoWay(to);
    if (!manager.BeginNewTask()) {
        throw CommandError(kExitFailed, "the account takes no further task");
    }
    CBackupTask& task = *manager.m_pNewTask;
    task.m_taskName = name;
    task.m_description = name;
    task.m_type = TaskTypeOnce;
    // Due from this minute on: a run that is killed before its end is made again at once.
    CTime const now = NowRaw();
    task.m_dating = ToStored(now - CTimeSpan(now.GetSecond()));
    task.m_logFilePath.Format(_T("backup_%s.dat.4.0"), name);
    task.m_serverFilePath =
        to.empty() ? _T("\\") + task.m_pcName + _T("\\") + name : ServerPathOf(manager, to);
    RequireOwnFolder(manager, task, task.m_serverFilePath);
    CStringList list(10);
    for (CString const& source : sources) {
        list.AddTail(source);
    }
    task.ReplaceLocalList(list);
    task.m_encryMode = task.IsEncryptionBackup();
    return task;
}

void SetFilters(CBackupTask& task, std::vector<std::string> const& include,
                std::vector<std::string> const& exclude) {
    if (include.empty() && exclude.empty()) {
        return;
    }
    bool const isInclude = !include.empty();
    ClearFilters(task);
    for (std::string const& pattern : isInclude ? include : exclude) {
        AddPattern(task, pattern, isInclude);
    }
    task.m_filterType = isInclude ? _T("1") : _T("0");
}

void SetRunPaused(CBackupTask& task, bool isPaused) {
    if (isPaused) {
        task.m_pTaskPrg->Pause(task.m_taskName);
    }
    // A run that has just ended takes no pause any more, which would hold all transfers of the process.
    if (!isPaused || !ManageMultipleRunningTask::GetInstance()->IsWorking(&task)) {
        task.m_pTaskPrg->Resume(task.m_taskName);
    }
}

bool CancelRun(CBackupTask& task) {
    if (task.m_pTaskPrg->m_bCancel != 0) {
        return false;
    }
    task.m_pTaskPrg->CancelMe();
    return true;
}

int WriteTask(CBackupManage& manager, CBackupTask& task, CString const& oldName) {
    // Two changes within a second are two changes.
    task.m_modifyTime = std::max(ToStored(NowRaw()), task.m_modifyTime + CTimeSpan(1));
    return manager.AddOrEditTaskToDatabase(&task, _T("Edit"), _T("0"),
                                           oldName.IsEmpty() ? task.m_taskName : oldName, _T("1"));
}

}  // namespace rampart::host
