#include "link/manage_multiple_running_task.h"

#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "progress/task_prg.h"
#include "task/backup_task.h"
#include "task/engine_text.h"

namespace {

CString const kAllowedValue(_T("1"));

int ConfiguredMaximum() {
    return DictUtil::GetConfigInt(_T("Options"), _T("MultipleRunningTaskCount"), _T("1"), CString());
}

}  // namespace

ManageMultipleRunningTask* ManageMultipleRunningTask::GetInstance() {
    // Never destroyed: threads may still ask while the process ends.
    static ManageMultipleRunningTask* const instance = new ManageMultipleRunningTask;
    return instance;
}

void ManageMultipleRunningTask::InitAllowTwoTasksConcurrently() {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::InitAllowTwoTasksConcurrently"), 1);
    CString section = DictUtil::GetValue(_T("ZQBackOptions"), CString());
    section += _T("\\");
    section += ApiUtil::GetCustomerID();
    const CString name = DictUtil::GetValue(_T("SupportTwoTasksConcurrently"), CString());
    if (CRegSettingUtil::IsGreenVersion()) {
        section = _T("Options");
    }
    CString value;
    if (CRegSettingUtil::GetRegInfo(section, name, value) && value == kAllowedValue) {
        rampart::DebugLine(_T("InitAllowTwoTasksConcurrently-- Allow Two Tasks Concurrently "));
        m_bAllowTwoTasks = 1;
        m_nMaxRunningTasks = ConfiguredMaximum();
    } else {
        m_nMaxRunningTasks = 1;
    }
}

void ManageMultipleRunningTask::SetAllowTwoTasksConcurrently(int allow) {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::SetAllowTwoTasksConcurrently"), 1);
    m_bAllowTwoTasks = allow;
    if (allow) {
        m_nMaxRunningTasks = ConfiguredMaximum();
        rampart::DebugLine(_T("SetAllowTwoTasksConcurrently-- Allow Two Tasks Concurrently "));
    } else {
        m_nMaxRunningTasks = 1;
        rampart::DebugLine(_T("SetAllowTwoTasksConcurrently-- Allow one task run "));
    }
}

int ManageMultipleRunningTask::IsAllowToAddWorkingTask(CBackupTask* task) {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::IsAllowToAddWorkingTask"), 1);
    return MayAdd(task) ? 1 : 0;
}

int ManageMultipleRunningTask::TakePlace(CBackupTask* task) {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::TakePlace"), 1);
    if (!MayAdd(task)) {
        return 0;
    }
    m_workingTasks.push_back(task);
    return 1;
}

void ManageMultipleRunningTask::AddWoringTaskToVector(CBackupTask* task) {
    AddIfNew(task);
}

int ManageMultipleRunningTask::AddIfNew(CBackupTask* task) {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::AddIfNew"), 1);
    if (!task || Find(task->m_taskName) != m_workingTasks.end()) {
        return 0;
    }
    m_workingTasks.push_back(task);
    return 1;
}

void ManageMultipleRunningTask::RemoveWorkingTaskFromVector(CBackupTask* task) {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::RemoveWorkingTaskFromVector"), 1);
    if (!task) {
        return;
    }
    const auto found = Find(task->m_taskName);
    if (found != m_workingTasks.end()) {
        m_workingTasks.erase(found);
    }
}

void ManageMultipleRunningTask::ClearAllWoringTask() {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::ClearAllWoringTask"), 1);
    m_workingTasks.clear();
}

int ManageMultipleRunningTask::FindWorkingTask(CBackupTask* task) {
    return GetWorkingTask(task) ? 1 : 0;
}

bool ManageMultipleRunningTask::IsWorking(CBackupTask* task) {
    return task && GetWorkingTask(task) == task;
}

CBackupTask* ManageMultipleRunningTask::GetWorkingTask(CBackupTask* task) {
    return task ? GetWorkingTaskByName(task->m_taskName) : nullptr;
}

// Asked for every file of a scan: no trace, no copy of a name.
CBackupTask* ManageMultipleRunningTask::GetWorkingTaskByName(CString const& name) {
    rampart::CriticalLock lock(m_lock);
    const auto found = Find(name);
    return found == m_workingTasks.end() ? nullptr : *found;
}

CTaskPrgClass* ManageMultipleRunningTask::GetTaskPrgClass(CString const& name) {
    rampart::CriticalLock lock(m_lock);
    const auto found = Find(name);
    return found == m_workingTasks.end() ? nullptr : (*found)->m_pTaskPrg;
}

int ManageMultipleRunningTask::WorkingTaskCount() {
    rampart::CriticalLock lock(m_lock);
    return static_cast<int>(m_workingTasks.size());
}

CString ManageMultipleRunningTask::GetWorkingTaskName() {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::GetWorkingTaskName"), 1);
    CString names;
    for (const CBackupTask* task : m_workingTasks) {
        names += task->m_taskName;
        names += _T('|');
    }
    return names;
}

std::vector<CBackupTask*> ManageMultipleRunningTask::GetWorkingTasksVector() {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::GetWorkingTasksVector"), 1);
    return m_workingTasks;
}

std::vector<CBackupTask*> ManageMultipleRunningTask::GetHibernateTasks() {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::GetHibernateTasks"), 1);
    return m_hibernateTasks;
}

void ManageMultipleRunningTask::StoreHibernateTask() {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::StoreHibernateTask"), 1);
    m_hibernateTasks = m_workingTasks;
}

void ManageMultipleRunningTask::ClearHibernateTasks() {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::ClearHibernateTasks"), 1);
    m_hibernateTasks.clear();
}

void ManageMultipleRunningTask::InitBackupProgressList() {
    // A list may be locked for seconds, so not under the lock of this object.
    for (const CBackupTask* task : GetWorkingTasksVector()) {
        if (task->m_pTaskPrg) {
            task->m_pTaskPrg->InitBackupProgressList();
        }
    }
}

void ManageMultipleRunningTask::SetSuspendForWokingTask(int suspend, CString const& name) {
    CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::SetSuspendForWokingTask"), 1);
    const auto found = Find(name);
    if (found != m_workingTasks.end() && (*found)->m_pTaskPrg) {
        (*found)->m_pTaskPrg->SetPause(suspend);
    }
}

void ManageMultipleRunningTask::AskToStop(CBackupTask* task) {
    {
        rampart::CriticalLock lock(m_lock);
        if (!IsWorking(task) || !task->m_pTaskPrg) {
            return;
        }
        // Under the lock: the end of the run, which clears the mark, comes after the task has left the list.
        task->m_pTaskPrg->SetStopping(1);
    }
    task->m_pTaskPrg->CancelMe();
}

void ManageMultipleRunningTask::StopTasks() {
    constexpr unsigned long kStopSeconds = 10;
    for (const CBackupTask* task : GetInstance()->GetWorkingTasksVector()) {
        if (task->m_pTaskPrg) {
            task->m_pTaskPrg->Stop(CString(), kStopSeconds);
        }
    }
}

void ManageMultipleRunningTask::StoreProgressList(CString const& name, CArchive& archive) {
    if (CTaskPrgClass* progress = GetTaskPrgClass(name)) {
        progress->SaveItemList(archive);
    }
}

void ManageMultipleRunningTask::StoreTaskInfoForUI(CArchive& archive) {
    std::vector<CString> names;
    {
        CKorvaneAutoLock lock(&m_lock, _T("ManageMultipleRunningTask::StoreTaskInfoForUI"), 1);
        for (const CBackupTask* task : m_workingTasks) {
            names.push_back(task->m_taskName);
        }
    }
    archive << static_cast<int32_t>(names.size());
    if (names.empty()) {
        names.emplace_back();  // the reader takes one name in any case
    }
    for (CString const& name : names) {
        archive << name;
    }
}

std::vector<CBackupTask*>::iterator ManageMultipleRunningTask::Find(CString const& name) {
    return std::find_if(m_workingTasks.begin(), m_workingTasks.end(), [&](const CBackupTask* task) {
        return rampart::EqualNoCase(task->m_taskName, name);
    });
}

// m_lock is held.
bool ManageMultipleRunningTask::MayAdd(CBackupTask const* task) {
    return task != nullptr && Find(task->m_taskName) == m_workingTasks.end() &&
           static_cast<int>(m_workingTasks.size()) < m_nMaxRunningTasks;
}
