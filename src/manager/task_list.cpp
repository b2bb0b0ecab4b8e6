// The list of tasks and the list of those that wait to run.
#include <mutex>
#include <vector>

#include "engine/vaultlib_app.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "platform/immortal.h"
#include "progress/task_prg.h"
#include "task/backup_task.h"
#include "task/engine_text.h"

namespace {

bool IsRunning(CBackupTask* task) {
    return ManageMultipleRunningTask::GetInstance()->FindWorkingTask(task) != 0;
}

bool IsWatching(CBackupTask const& task) {
    return rampart::ScheduleMode(task.m_type) == TaskTypeRealTime;
}

std::vector<CBackupTask*>::iterator FindName(std::vector<CBackupTask*>& tasks, CString const& name) {
    return std::find_if(tasks.begin(), tasks.end(),
                        [&](CBackupTask const* task) { return task->m_taskName.CompareNoCase(name) == 0; });
}

}  // namespace

CBackupTask* CBackupManage::GetTaskByName(CString name, POSITION*) {
    return rampart::Guarded(_T("Error:GetTaskByName"), nullptr, [&]() -> CBackupTask* {
        CReadSync const read(m_taskListSync);
        auto place = FindName(m_taskList, name);
        if (place == m_taskList.end()) {
            CString const machine = m_pcName + _T(".");
            place = std::find_if(m_taskList.begin(), m_taskList.end(), [&](CBackupTask const* task) {
                return (machine + task->m_taskName).CompareNoCase(name) == 0;
            });
        }
        return place != m_taskList.end() ? *place : nullptr;
    });
}

CBackupTask* CBackupManage::GetTaskByID(int id, POSITION*) {
    return rampart::Guarded(_T("Error:GetTaskByID"), nullptr, [&]() -> CBackupTask* {
        CReadSync const read(m_taskListSync);
        for (CBackupTask* const task : m_taskList) {
            if (task->m_taskID == id) {
                return task;
            }
        }
        return nullptr;
    });
}

int CBackupManage::RemoveTaskFromTasklist(CBackupTask* task) {
    if (task == nullptr) {
        return 0;
    }
    CKorvaneAutoLock const lock(&m_taskLock, _T("RemoveTaskFromTasklist"), 1);
    return RemoveTaskFromTasklistEx(task);
}

int CBackupManage::RemoveTaskFromTasklistEx(CBackupTask* task) {
    return rampart::Guarded(_T("Error:RemoveTaskFromTasklistEx"), 0, [&] {
        CWriteSync const write(m_taskListSync);
        // The object itself before another of its name: what is off the list may die.
        auto place = std::find(m_taskList.begin(), m_taskList.end(), task);
        if (place == m_taskList.end()) {
            place = FindName(m_taskList, task->m_taskName);
        }
        if (place == m_taskList.end()) {
            return 0;
        }
        m_taskList.erase(place);
        return 1;
    });
}

int CBackupManage::DeleteTaskListByName(CString const& name) {
    return rampart::Guarded(_T("Error:DeleteTaskListByName"), 0, [&] {
        {
            CReadSync const read(m_taskListSync);
            if (m_taskList.empty()) {
                return 0;
            }
        }
        CBackupTask* removed = nullptr;
        {
            CKorvaneAutoLock const lock(&m_taskLock, _T("DeleteTaskListByName"), 1);
            CWriteSync const write(m_taskListSync);
            auto const place = FindName(m_taskList, name);
            if (place != m_taskList.end()) {
                removed = *place;
                m_taskList.erase(place);
                RemoveTaskFromWaitlistNoLock(removed);
            }
        }
        Discard(removed);  // outside the locks, which the end of its run may need
        return 1;
    });
}

int CBackupManage::DeleteAllTaskList(std::vector<CBackupTask*>& list) {
    if (list.empty()) {
        return 0;
    }
    for (CBackupTask* const task : list) {
        rampart::Guarded(_T("Error:DeleteAllTaskList"), [&] { Discard(task); });
    }
    list.clear();
    return 1;
}

void CBackupManage::Discard(CBackupTask* task) {
    // Never destroyed: what hangs may do so until the process ends.
    static rampart::Immortal<std::mutex> lock;
    static rampart::Immortal<std::vector<CBackupTask*>> hanging;
    if (task != nullptr) {
        task->m_isDeleting = 1;  // first: nothing starts it again while it ends
        task->EndTask();
    }
    std::lock_guard const guard(*lock);
    if (task != nullptr) {
        hanging->push_back(task);
    }
    std::erase_if(*hanging, [](CBackupTask* one) {
        bool const hasEnded = !one->HasThreads();
        if (hasEnded) {
            delete one;  // the exported list owns raw pointers
        }
        return hasEnded;
    });
}

int CBackupManage::AddTaskToWaitlist(CBackupTask* task, int force) {
    return rampart::Guarded(_T("Error:AddTaskToWaitlist"), 0, [&] {
        CKorvaneAutoLock const lock(&m_taskLock, _T("AddTaskToWaitlist"), 1);
        if (task == nullptr || (force == 0 && IsRunning(task))) {
            return 0;
        }
        if (m_waitList.Find(task) != nullptr) {
            task->m_onlyUpdateBackupDate = 0;  // one that waits to renew its date only looks at its files now
            return 0;
        }
        QueueTask(task);
        return 1;
    });
}

// Appends without a test, for a run that looks at the files; m_taskLock is held.
void CBackupManage::QueueTask(CBackupTask* task) {
    task->m_onlyUpdateBackupDate = 0;
    m_waitList.AddTail(task);
    if (!IsRunning(task)) {
        task->m_state = TaskStateWaiting;
    }
}

int CBackupManage::RemoveTaskFromWaitlist(CBackupTask* task) {
    CKorvaneAutoLock const lock(&m_taskLock, _T("RemoveTaskFromWaitlist"), 1);
    return RemoveTaskFromWaitlistNoLock(task);
}

int CBackupManage::RemoveTaskFromWaitlistNoLock(CBackupTask* task) {
    return rampart::Guarded(_T("Error:RemoveTaskFromWaitlist"), 0, [&] {
        while (POSITION const position = m_waitList.Find(task)) {
            m_waitList.RemoveAt(position);
            task->m_state = TaskStateReady;
        }
        return 1;
    });
}

std::map<CString, int> CBackupManage::GetTaskStatusMapValue() {
    return rampart::Guarded(_T("Error:GetTaskStatusMapValue"), {}, [&] {
        CKorvaneAutoLock const lock(&m_taskLock, _T("DoScheduleTask"), 1);
        CReadSync const read(m_taskListSync);
        std::map<CString, int> states;
        for (CBackupTask const* const task : m_taskList) {
            states.emplace(task->m_taskName, task->m_state);
        }
        return states;
    });
}

int CBackupManage::HaveActionToProcess() {
    return rampart::Guarded(_T("Error: HaveActionToProcess"), 0, [&] {
        CReadSync const read(m_taskListSync);
        return std::any_of(m_taskList.begin(), m_taskList.end(),
                           [](CBackupTask const* task) {
                               return IsWatching(*task) && task->m_actionList.HaveAction();
                           })
                   ? 1
                   : 0;
    });
}

int CBackupManage::ProcessAlltheAction() {
    return rampart::Guarded(_T("Error: ProcessAlltheAction"), 0, [&] {
        CReadSync const read(m_taskListSync);
        for (CBackupTask* const task : m_taskList) {
            if (IsWatching(*task) && task->m_actionList.HaveAction()) {
                task->StartBackupByUser(1);
            }
        }
        return 1;
    });
}

int CBackupManage::CompareTaskName(CString const& name) {
    if (name.IsEmpty()) {
        return 0;
    }
    return rampart::Guarded(_T("Error:CompareLocalTaskListWithDatabase"), 0, [&] {
        std::vector<CString> names;
        GetTaskNamesFromWebDatabase(names);
        return CompareTaskNameEx(name, names);
    });
}

int CBackupManage::CompareTaskNameEx(CString const& name, std::vector<CString> const& names) {
    return std::any_of(names.begin(), names.end(),
                       [&](CString const& other) { return other.CompareNoCase(name) == 0; })
               ? 1
               : 0;
}

// Asks every task to stop and waits for none; m_taskLock is held.
void CBackupManage::StopAllTask(std::vector<CBackupTask*>& tasks) {
    if (tasks.empty()) {
        return;
    }
    m_waitList.RemoveAll();
    for (CBackupTask* const task : tasks) {
        rampart::Guarded(_T("Error:StopAllTask"), [&] {
            if (!IsRunning(task)) {
                if (task->m_state == TaskStateWaiting) {
                    task->m_state = TaskStateReady;
                }
            } else {
                ManageMultipleRunningTask::GetInstance()->AskToStop(task);
            }
        });
    }
}
