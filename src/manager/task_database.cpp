// The tasks' rows in the service's database: written with every change, read at the start and on a refresh.
#include "engine/vaultlib_app.h"
#include "manager/backup_manage.h"
#include "manager/task_reply.h"
#include "manager/task_request.h"
#include "paths/global_function.h"
#include "platform/clock.h"
#include "storage/service_code.h"
#include "task/backup_task.h"
#include "task/engine_text.h"
#include "task/stored_time.h"
#include "task/unexpected.h"

using rampart::DebugLine;
using rampart::FormatText;

namespace {

constexpr int kNoTask = 7;
constexpr int kDefaultPathsOfRequest = 100;
constexpr size_t kRowsWorthATell = 3;
constexpr int kMorePathReads = 3;
constexpr uint32_t kPathReadPauseMs = 200;
constexpr TCHAR const* kRowsFlag = _T("false");
constexpr TCHAR const* kPathsFlag = _T("true");

void LogCode(int code) {
    DebugLine(FormatText(_T("Task: DB ret-%d"), code));
}

int PathsOfRequest() {
    CString const option =
        DictUtil::GetConfigString(_T("Options"), _T("UploadLocalPathCount"), _T(""), _T(""));
    return option.IsEmpty() ? kDefaultPathsOfRequest : rampart::ReadNumber(option);
}

void TakeStatus(CBackupTask& task, std::optional<CString> const& status) {
    task.m_scheduleEnabled = 1;
    if (status) {
        task.m_state = rampart::ReadNumber(*status);
        task.m_scheduleEnabled = task.m_state != TaskStateDisabled ? 1 : 0;
    }
}

// Every weekly task repeats on its own day at least.
void TakeRepeatDays(CBackupTask& task, std::optional<CString> const& days) {
    task.m_repeatDays = days ? rampart::ReadNumber(*days) : 0;
    if (task.m_repeatDays != 0) {
        return;
    }
    DebugLine(days ? _T("ParseTaskListFromWebDatabase - repeat days is 0")
                   : _T("ParseTaskListFromWebDatabase no repeat days"));
    task.m_repeatDays = 1 << (rampart::ToRaw(task.m_dating).GetDayOfWeek() - 1);
}

void TakeDates(CBackupTask& task, rampart::TaskReplyRow const& row) {
    task.m_backupDate = row.backupDate.value_or(rampart::FirstBackupMark());
    task.m_modifyTime = row.modifyTime.value_or(rampart::FirstBackupMark());
    if (row.nextDate) {
        task.m_serverNextDate = *row.nextDate;
        task.SetDating(*row.nextDate, 0);
    }
    if (row.beginDate) {
        task.m_beginDate = *row.beginDate;
    }
    if (row.endDate) {
        task.SetEndDate(*row.endDate);
    }
    if (row.resumeDate) {
        task.m_resumeDate = *row.resumeDate;
    }
}

int ReadPaths(CString const& taskName, CString& reply) {
    int code = ApiUtilExp::GetTaskListFromWebDatabase(taskName, kPathsFlag, reply);
    for (int again = 0; code == rampart::kConnectionFailed && again < kMorePathReads; ++again) {
        rampart::platform::SleepMilliseconds(kPathReadPauseMs);
        code = ApiUtilExp::GetTaskListFromWebDatabase(taskName, kPathsFlag, reply);
    }
    return code;
}

enum class PathsRead { kFailed, kNone, kTaken };

PathsRead TakePaths(CString const& taskName, CBackupTask* task) {
    return rampart::Guarded(_T("Error:LoadTaskLocalPathFromDatabase"), PathsRead::kFailed, [&] {
        CString reply;
        if (int const code = ReadPaths(taskName, reply); code != 0) {
            LogCode(code);
            return PathsRead::kFailed;
        }
        if (reply.IsEmpty() || task == nullptr) {
            return PathsRead::kNone;
        }
        for (SourceInfo const& source : rampart::SourcesOfReply(reply)) {
            task->m_localDirList.push_back(std::make_unique<SourceInfo>(source).release());
        }
        return PathsRead::kTaken;
    });
}

// Null when its sources cannot be read: a task without them would protect nothing, and the next refresh finds
// it missing.
std::unique_ptr<CBackupTask> TaskOfRow(CBackupManage& manager, rampart::TaskReplyRow const& row) {
    auto task = std::make_unique<CBackupTask>();
    task->m_taskID = rampart::ReadNumber(row.taskID);
    task->m_taskName = row.name;
    task->m_description = row.description;
    task->m_pcName = row.pcName;
    task->m_type = static_cast<TaskType>(rampart::ReadNumber(row.type));
    task->m_serverFilePath = row.serverPath;
    task->m_logFilePath = row.logFilePath;
    StrToStrList(row.filterExts, task->m_filterExList);
    StrToStrList(row.filterPaths, task->m_filtedPathList);
    task->m_maxVersion = rampart::ReadNumber(row.maxVersion);
    TakeDates(*task, row);
    task->m_isResume = row.isResume == _T("1") ? 1 : 0;
    task->m_remoteSize = ApiUtil::StrToInt64(row.remoteSize);
    if (task->m_remoteSize < 1) {
        task->CalculateSize();
    }
    task->m_pcID = static_cast<uint32_t>(rampart::ReadNumber(row.pcID));
    if (task->m_pcID == manager.m_myID) {
        task->RestoreMeantTime();
    }
    if (TakePaths(row.name, task.get()) == PathsRead::kFailed) {
        return nullptr;
    }
    if (task->m_pcID == manager.m_myID && !task->m_localDirList.empty() && task->UpdateSrcDriveLetter()) {
        task->m_taskChanged = 1;
    }
    task->m_encryMode = task->IsEncryptionBackup();
    task->m_filterType = row.filterType.IsEmpty() ? CString(_T("0")) : row.filterType;
    TakeStatus(*task, row.status);
    task->SetTaskNameToPrgbar(task->m_taskName);
    DebugLine(FormatText(_T("Loading task: %s, dating:%s, task type:%s"), task->m_taskName,
                         TimeUtil::TimeToStr(rampart::ToRaw(task->m_dating)),
                         GlobalFunction::GetTaskStyType(rampart::ScheduleMode(task->m_type))));
    TakeRepeatDays(*task, row.repeatDays);
    return task;
}

}  // namespace

CString CBackupManage::GetFileNameFromPath(CString const& path) {
    return path.Mid(path.ReverseFind(_T('\\')) + 1);
}

void CBackupManage::StrListToStr(CStringList const& list, CString& text) {
    text.Empty();
    for (CString const& item : list) {
        text += _T('|');
        text += item;
    }
}

// ---- Writing ----

int CBackupManage::AddOrEditTaskToDatabase(CBackupTask* task, CString action, CString, CString oldName,
                                           CString upgraded) {
    if (task == nullptr) {
        return kNoTask;
    }
    try {
        CString const row = rampart::TaskRow(*task, action, oldName, upgraded);
        std::vector<SourceInfo*> none;
        bool const isNew = action.CompareNoCase(_T("Add")) == 0;
        int const code = AddOrEditLocalPathToDatabase(isNew ? task->m_localDirList : task->m_newPathList,
                                                      isNew ? none : task->m_deletePathList, row, action);
        if (code == rampart::kOk) {
            // Otherwise the next request tells of them again.
            task->ClearDeletePathList();
            task->ClearAddPathList();
        }
        return code;
    } catch (...) {
        rampart::LogUnexpected(_T("Unexpected error: AddOrEditTaskToDatabase"));
        return rampart::kUnexpected;
    }
}

int CBackupManage::AddOrEditLocalPathToDatabase(std::vector<SourceInfo*>& add,
                                                std::vector<SourceInfo*>& remove, CString request,
                                                CString action) {
    try {
        rampart::PathRequests requests(request, action, PathsOfRequest());
        int first = rampart::kOk;  // failure of several requests
        auto const send = [&] {
            if (int const code = ApiUtilExp::UploadTaskInfoToWebDatabase(requests.Take()); code != 0) {
                LogCode(code);
                first = first != rampart::kOk ? first : code;
            }
        };
        for (SourceInfo const* const source : add) {
            if (source != nullptr && requests.Add(*source, false)) {
                send();
            }
        }
        for (SourceInfo const* const source : remove) {
            if (source != nullptr && requests.Add(*source, true)) {
                send();
            }
        }
        send();
        return first;
    } catch (...) {
        rampart::LogUnexpected(_T("Unexpected error: AddOrEditLocalPathToDatabase"));
        return rampart::kUnexpected;
    }
}

int CBackupManage::UpdateTaskLocalPathForServerDatabase(CBackupTask* task) {
    if (task == nullptr) {
        return 0;
    }
    task->m_modifyTime = rampart::StoredNow();
    return AddOrEditTaskToDatabase(task, _T("Edit"), _T("0"), task->m_taskName, _T("1")) == 0 ? 1 : 0;
}

// ---- Reading ----

int CBackupManage::LoadTaskListFromWebDatabase() {
    return rampart::Guarded(_T("Error:LoadTaskListFromWebDatabase"), 0, [&] {
        CString reply;
        if (int const code = ApiUtilExp::GetTaskListFromWebDatabase(_T(""), kRowsFlag, reply); code != 0) {
            LogCode(code);
            return 0;
        }
        if (reply.IsEmpty()) {
            return 0;
        }
        ParseTaskListFromWebDatabase(reply, 0);
        return 1;
    });
}

int CBackupManage::ParseTaskListFromWebDatabase(CString reply, int refresh) {
    std::vector<CBackupTask*> removed;
    int const result = ParseRows(reply, refresh, removed);
    DeleteAllTaskList(removed);
    return result;
}

// Tasks that a refresh took off the list are `removed`: to be deleted outside the locks, which the end of
// their runs may need.
int CBackupManage::ParseRows(CString const& reply, int refresh, std::vector<CBackupTask*>& removed) {
    if (reply.IsEmpty()) {
        return 0;
    }
    return rampart::Guarded(_T("Error:InitLocalTaskList"), 0, [&] {
        rampart::TaskReply const rows(reply);
        for (size_t index = 0; index < rows.Count(); ++index) {
            if (refresh == 0 && rows.Count() >= kRowsWorthATell && index != 0 && index % 2 == 0) {
                theVaultLibApp.SetLoopMsg(rampart::DictionaryFormat(_T("LoadTaskFromWebDB"),
                                                                    static_cast<__int64>(rows.Count()),
                                                                    static_cast<__int64>(index)));
            }
            rampart::TaskReplyRow const row = rows.Row(index);
            CBackupTask* const known = refresh != 0 ? GetTaskByName(row.name) : nullptr;
            if (known != nullptr && IsAsRowSays(*known, row)) {
                continue;
            }
            if (refresh != 0) {
                SetNeedReloadTaskListValue(1);
            }
            std::unique_ptr<CBackupTask> task = TaskOfRow(*this, row);
            if (task == nullptr) {
                continue;  // the one that is known stays
            }
            if (known != nullptr) {
                removed.push_back(known);
                RemoveTaskFromTasklistEx(known);
            }
            CWriteSync const write(m_taskListSync);
            m_taskList.push_back(task.get());
            static_cast<void>(task.release());  // the list owns raw pointers
        }
        if (refresh != 0) {
            TakeNotExistedTasks(removed);
        }
        return 1;
    });
}

bool CBackupManage::IsAsRowSays(CBackupTask const& known, rampart::TaskReplyRow const& row) const {
    return known.m_modifyTime == row.modifyTime.value_or(rampart::FirstBackupMark()) &&
           known.m_pcID == m_myID;
}

int CBackupManage::GetLocalPathFromWebDatabase(CString const& taskName, CBackupTask* task) {
    return TakePaths(taskName, task) == PathsRead::kTaken ? 1 : 0;
}

int CBackupManage::NeedRenameTaskNameToWebDatabase(CString const& name, CString const& pcName,
                                                   unsigned long pcID, CString& newName) {
    if (name.IsEmpty() || pcName.IsEmpty()) {
        return 0;
    }
    return rampart::Guarded(_T("Error:NeedRenameTaskNameToWebDatabase"), 0, [&] {
        CString reply;
        auto machineOf = [&reply] { return ApiUtil::GetVarValue(reply, _T("RETURN_PcID"), 0); };
        if (ApiUtilExp::GetTaskListFromWebDatabase(name, kRowsFlag, reply) != 0 || reply.IsEmpty() ||
            static_cast<uint32_t>(rampart::ReadNumber(machineOf())) == static_cast<uint32_t>(pcID)) {
            return 0;
        }
        CString const candidate = pcName + _T("_") + name;
        if (ApiUtilExp::GetTaskListFromWebDatabase(candidate, kRowsFlag, reply) != 0 ||
            (!reply.IsEmpty() && !machineOf().IsEmpty())) {
            return 0;
        }
        newName = candidate;
        return 1;
    });
}

void CBackupManage::GetTaskNamesFromWebDatabase(std::vector<CString>& names) {
    ReadTaskNames(names);
}

// The service's code, or that of something unexpected; nothing is appended then.
int CBackupManage::ReadTaskNames(std::vector<CString>& names) {
    return rampart::Guarded(_T("Error:GetTaskNamesFromWebDatabase"), rampart::kUnexpected, [&] {
        CString text;
        CString other;
        if (int const code = ApiUtilExp::GetTaskNamesFromWebDatabase(1, text, other); code != 0) {
            return code;
        }
        for (int bar = text.Find(_T('|')); bar > 0; bar = text.Find(_T('|'))) {
            names.push_back(text.Left(bar));
            text = text.Mid(bar + 1).Trim(_T('|'));
        }
        text.Trim(_T(" |"));
        if (!text.IsEmpty()) {
            names.push_back(text);
        }
        return 0;
    });
}

int CBackupManage::RefreshTaskListFromDatabase(int& code) {
    std::vector<CBackupTask*> removed;
    int const result = rampart::Guarded(_T("Error:RefreshTaskListFromDatabase"), 0, [&] {
        CKorvaneAutoLock const lock(&m_taskLock, _T("updateTaskListFromXMLFileToWebDatabase"), 1);
        StopAllTask(m_taskList);
        code = ApiUtil::GetServerPathlist().RefreshFolder(_T("\\"), 1, 1);
        if (code == 0) {
            CString reply;
            code = ApiUtilExp::GetTaskListFromWebDatabase(_T(""), kRowsFlag, reply);
            if (!reply.IsEmpty()) {
                return ParseRows(reply, 1, removed);
            }
        }
        if (code != 0) {
            LogCode(code);
        }
        return 0;
    });
    DeleteAllTaskList(removed);
    return result;
}

int CBackupManage::CheckNotExistedTasks() {
    std::vector<CBackupTask*> removed;
    bool const isDone = TakeNotExistedTasks(removed);
    int const isAnyGone = DeleteAllTaskList(removed);
    return isDone ? isAnyGone : 0;
}

// Takes the tasks whose rows are gone off the list, with their log files. False if that failed half way, or
// if nobody knows which rows there are: then every task stays.
bool CBackupManage::TakeNotExistedTasks(std::vector<CBackupTask*>& removed) {
    return rampart::Guarded(_T("Error:CheckNotExistedTasks"), false, [&] {
        std::vector<CString> names;
        if (int const code = ReadTaskNames(names); code != 0) {
            LogCode(code);
            return false;
        }
        size_t const before = removed.size();
        {
            CWriteSync const write(m_taskListSync);
            auto const firstGone = std::stable_partition(
                m_taskList.begin(), m_taskList.end(),
                [&](CBackupTask* task) { return CompareTaskNameEx(task->m_taskName, names) != 0; });
            removed.insert(removed.end(), firstGone, m_taskList.end());
            m_taskList.erase(firstGone, m_taskList.end());
        }
        for (size_t index = before; index < removed.size(); ++index) {
            removed[index]->ForgetKeptDates();
            CString const& logFile = removed[index]->m_logFilePath;
            if (!logFile.IsEmpty()) {
                KXFolder::ForceDelFile(ApiUtil::PathToFullPath(logFile));
            }
            SetNeedReloadTaskListValue(1);
        }
        return true;
    });
}
