// Changing and removing tasks.
#include "engine/vaultlib_app.h"
#include "manager/backup_manage.h"
#include "manager/loop_worker.h"
#include "manager/run_hold.h"
#include "paths/global_function.h"
#include "progress/progress_bar.h"
#include "storage/service_code.h"
#include "task/backup_task.h"
#include "task/engine_text.h"
#include "task/stored_time.h"

using rampart::DebugLine;
using rampart::DictionaryText;
using rampart::FormatText;

namespace {

bool IsRealTime(CBackupTask const& task) {
    return rampart::ScheduleMode(task.m_type) == TaskTypeRealTime;
}

void ClearCancel() {
    if (theVaultLibApp.m_pManagePrg != nullptr) {
        theVaultLibApp.m_pManagePrg->m_bCancel = 0;
    }
}

bool IsCancelled() {
    return theVaultLibApp.m_pManagePrg != nullptr && theVaultLibApp.m_pManagePrg->m_bCancel != 0;
}

bool IsOnServer(CString const& path) {
    return ApiUtil::GetServerPathlist().IsPathExistEx(path, ApiUtil::IsSharePath(path), 0) != 0;
}

// What the task holds in the vault. A task whose folder is the root, or has no name, holds nothing of its
// own.
void CollectServerPaths(CBackupTask const& task, CStringList& paths) {
    CString const& path = task.m_serverFilePath;
    CString const name = PathUtilities::GetFileName(path);
    DebugLine(_T("Task-delete: delete task server path: ") + path);
    if (name.IsEmpty()) {
        return;
    }
    if (IsOnServer(path)) {
        paths.AddTail(path);
    }
    CString history = CBackupManage::GetSvrHistFolder(GlobalFunction::IsEncryptionPath(path), 0);
    DebugLine(_T("Task-delete: delete task history path: ") + history);
    if (history.IsEmpty()) {
        return;
    }
    history = PathUtilities::Append(history, name);
    if (IsOnServer(history)) {
        paths.AddTail(history);
    }
}

// An email task keeps temporary files of its own on this machine.
void DeleteEmailFiles(CBackupTask const& task) {
    if (!task.IsEmailBackup()) {
        return;
    }
    DebugLine(_T("Task-delete: delete email task local temp files"));
    CString folder;
    GlobalFunction::LoadStringFromRegstry(_T("TempFolder"), folder);
    if (!folder.IsEmpty()) {
        folder += FormatText(_T("\\%s_%s"), task.m_taskName, ApiUtil::GetCustomerID());
        KXFolder::DeleteDirectory(folder, 0);
    }
}

// A delete that ended early left the mirror behind the server.
void RefreshAfterCancel(std::vector<CBackupTask*> const& tasks) {
    CServerPathList& mirror = ApiUtil::GetServerPathlist();
    bool isPlainDone = false;
    bool isEncryptedDone = false;
    bool isInfoDone = false;
    auto refreshOnce = [&mirror](bool& isDone, auto folder) {
        if (!isDone) {
            isDone = true;
            mirror.RefreshFolder(folder(), 1, 1);
        }
    };
    DebugLine(_T("Task-delete: delete path from server path list."));
    for (CBackupTask* const task : tasks) {
        rampart::Guarded(_T("Error: BatchDeleteTask"), [&] {
            mirror.RefreshFolder(task->m_serverFilePath, 1, 1);
            if (task->m_encryMode != 0) {
                refreshOnce(isEncryptedDone, [] { return CBackupManage::GetSvrHistFolder(1, 0); });
            } else {
                refreshOnce(isPlainDone, [] { return CBackupManage::GetSvrHistFolder(0, 0); });
            }
            refreshOnce(isInfoDone, [] { return CBackupManage::GetSvrInfoFolder(); });
            task->CalculateSize();
        });
    }
}

// 1 when nothing is left of the paths.
int DeleteServerPaths(CStringList& paths, std::vector<CBackupTask*> const& tasks, int deleteOption,
                      int& errorCode) {
    if (paths.IsEmpty()) {
        return 1;
    }
    CString message;
    DebugLine(_T("Task-delete: delete path from server"));
    errorCode = ApiUtil::DeletePaths(paths, theVaultLibApp.m_pManagePrg, deleteOption, message);
    DebugLine(FormatText(_T("Task-delete: delete path from server ret: %d"), errorCode));
    bool const isCancelled = errorCode == rampart::kCancelled || IsCancelled();
    ClearCancel();
    if (isCancelled) {
        errorCode = rampart::kCancelled;
        RefreshAfterCancel(tasks);
    }
    return errorCode == 0 ? 1 : 0;
}

}  // namespace

int CBackupManage::UpdateTask(CBackupTask* old, CBackupTask* edited) {
    return rampart::Guarded(_T("Error:UpdateTask"), 0, [&] {
        DebugLine(_T("Task:edit task"));
        CString const logFilePath = old->m_logFilePath;
        // Itself before another of its id.
        CBackupTask* const listed = IsListed(old) ? old : GetTaskByID(old->m_taskID);
        CBackupTask& task = listed != nullptr ? *listed : *old;
        CString const oldName = task.m_taskName;
        bool const isMoved = task.m_pcID != edited->m_pcID;
        if (listed == nullptr) {
            GlobalFunction::QuilMessageBox(DictionaryText(_T("IDS_STRTASKRMVERR")), 0, 0, 0);
            return 0;
        }
        rampart::RunHold const hold(*this, task);
        if (!hold.HasRunEnded()) {
            return 0;
        }
        int32_t const oldResume = task.m_isResume;
        uint32_t const oldMachine = task.m_pcID;
        CString const oldMachineName = task.m_pcName;
        task.m_isResume = 0;
        if (isMoved) {
            task.m_pcID = edited->m_pcID;
            task.m_pcName = task.m_pcID == m_myID ? m_pcName : CString();
        }
        bool isRefused = false;  // the new name, by the service
        rampart::Guarded(_T("Error:UpdateTask"), [&] {
            if (oldName != edited->m_taskName || task.m_description != edited->m_description) {
                CString const oldDescription = task.m_description;
                task.m_description = edited->m_description;
                rampart::RunUnderLoop(_T("Error:UpdateTask"), rampart::kLoopPlain, 1, [&] {
                    theVaultLibApp.SetLoopMsg(DictionaryText(_T("IDS_STRSAVINGTASKCHG")));
                    isRefused = !task.RenameTask(edited->m_taskName) && oldName != edited->m_taskName;
                });
                if (isRefused) {
                    task.m_description = oldDescription;
                    return;
                }
            }
            ChangeWatchers(task, *edited, isMoved);
        });
        if (isRefused) {
            task.m_isResume = oldResume;
            task.m_pcID = oldMachine;
            task.m_pcName = oldMachineName;
            ChangeWatchers(task, task, false);
            return 0;
        }
        // The server folder follows the name. A task that keeps both keeps its folder too, whatever that is
        // called: what is stored there stays the task's.
        if (oldName != edited->m_taskName || edited->m_serverFilePath != task.m_serverFilePath) {
            edited->m_serverFilePath = PathUtilities::Append(
                PathUtilities::GetParentFolder(edited->m_serverFilePath), edited->m_taskName);
        }
        CTime const lastRun = task.LastRun();
        if (oldName != edited->m_taskName) {
            task.ForgetKeptDates();  // kept by name; the new one takes them over
        }
        task = *edited;
        task.KeepLastRun(lastRun);
        m_taskListChanged = 1;
        if (!logFilePath.IsEmpty()) {
            task.m_logFilePath = logFilePath;
        }
        task.m_modifyTime = rampart::StoredNow();
        if (int const code = AddOrEditTaskToDatabase(&task, _T("Edit"), _T("0"), oldName, _T("1"));
            code != 0) {
            DebugLine(FormatText(_T("Task: DB ret-%d"), code));
        }
        return 1;
    });
}

bool CBackupManage::IsListed(CBackupTask const* task) {
    CReadSync const read(m_taskListSync);
    return std::find(m_taskList.begin(), m_taskList.end(), task) != m_taskList.end();
}

void CBackupManage::ChangeWatchers(CBackupTask& task, CBackupTask const& edited, bool isMoved) {
    bool const wasRealTime = IsRealTime(task);
    if (wasRealTime && !IsRealTime(edited)) {
        task.StopHook();
        return;
    }
    if (isMoved || !IsRealTime(edited) || task.m_pcID != m_myID) {
        return;
    }
    if (!rampart::LiesWithin(rampart::StoredNow(), edited.m_beginDate, edited.m_endDate)) {
        task.StopHook();
        return;
    }
    if (!wasRealTime) {
        AddTaskToWaitlist(&task, 0);
    }
    task.StartHook();
}

int CBackupManage::EnableTask(CBackupTask* task) {
    rampart::Guarded(_T("Error:EnableTask"), [&] {
        int const code = AddOrEditTaskToDatabase(task, _T("Edit"), _T("0"), task->m_taskName, _T("1"));
        if (code != 0) {
            DebugLine(FormatText(_T("Task: DB ret-%d"), code));
        } else if (task->m_state == TaskStateReady && IsRealTime(*task)) {
            task->StopHook();
            task->StartHook();
        }
    });
    return 1;
}

int CBackupManage::BatchDeleteTask(CStringList& names, int deleteServerData, int& errorCode, int,
                                   int deleteOption) {
    std::vector<CBackupTask*> tasks;
    auto keep = [&tasks] {
        for (CBackupTask* const task : tasks) {
            task->m_isDeleting = 0;
        }
        return 0;
    };
    auto work = [&] {
        DebugLine(_T("Task-delete: delete task"));
        ClearCancel();
        CStringList paths;
        for (CString const& name : names) {
            if (rampart::IsAppEnding()) {
                return 0;
            }
            CBackupTask* const task = GetTaskByName(name);
            if (task == nullptr || std::find(tasks.begin(), tasks.end(), task) != tasks.end()) {
                continue;
            }
            DebugLine(_T("Task-delete: delete task name: ") + name);
            DebugLine(_T("Task-delete: stop running task"));
            tasks.push_back(task);
            task->m_isDeleting = 1;  // first: nothing starts it again while it ends
            task->EndTask();
            if (deleteServerData != 0) {
                CollectServerPaths(*task, paths);
            }
            DeleteEmailFiles(*task);
        }
        int const success = DeleteServerPaths(paths, tasks, deleteOption, errorCode);
        if (success != 0) {
            RemoveDeletedTasks(std::exchange(tasks, {}));
        } else {
            keep();
        }
        RefreshTaskInfo(nullptr, 1);
        ClearCancel();
        return success;
    };
    constexpr int kThrown = -1;
    int const result = rampart::Guarded(_T("Error: BatchDeleteTask"), kThrown, work);
    return result == kThrown ? keep() : result;
}

// The tasks are gone here even when their rows survive.
void CBackupManage::RemoveDeletedTasks(std::vector<CBackupTask*> const& tasks) {
    CString names;
    for (CBackupTask* const task : tasks) {
        rampart::Guarded(_T("Error: BatchDeleteTask"), [&] {
            if (!task->m_taskName.IsEmpty()) {
                names += ApiUtil::EncodeURL(task->m_taskName) + _T("|");
            }
            RemoveTaskFromTasklist(task);
            if (!task->m_logFilePath.IsEmpty()) {
                KXFolder::ForceDelFile(ApiUtil::PathToFullPath(task->m_logFilePath));
            }
            RemoveTaskFromWaitlist(task);
            task->ForgetKeptDates();
            Discard(task);
        });
    }
    if (names.IsEmpty()) {
        return;
    }
    DebugLine(_T("Task-delete: delete tasks from DB: ") + names);
    if (int const code = ApiUtilExp::DeleteTaskFromWebDatabase(names); code != 0) {
        DebugLine(FormatText(_T("Task-delete: failed to delete task ret- %d"), code));
    }
}
