// What a host's display reads, and the refresh of its window.
#include "engine/vaultlib_app.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "manager/error_box.h"
#include "progress/task_prg.h"
#include "task/backup_task.h"

namespace rampart {

Word<int32_t> g_isErrorBoxOpen = 0;

}  // namespace rampart

namespace {

// A copy of what the refresh needs, since the task may be gone when the thread runs.
struct RefreshBlock {
    bool hasTask = false;
    CString taskName;
};

UINT RefreshTaskInfoThread(LPVOID argument) {
    std::unique_ptr<RefreshBlock> const block(static_cast<RefreshBlock*>(argument));
    CMainWnd* const window = theVaultLibApp.m_pMainWnd;
    if (window == nullptr) {
        return 0;
    }
    window->RefreshTabState();
    ManageMultipleRunningTask* const registry = ManageMultipleRunningTask::GetInstance();
    if (registry->WorkingTaskCount() < 1 || rampart::g_isErrorBoxOpen != 0 || !block->hasTask) {
        window->StopTrayAnimation();
        return 0;
    }
    CTaskPrgClass const* const progress = registry->GetTaskPrgClass(block->taskName);
    if (progress != nullptr && !progress->IsStopping()) {
        window->StartTrayAnimation();
    }
    return 0;
}

CString Displayed(CString file) {
    return file.Trim().MakeLower();
}

}  // namespace

int CBackupManage::RefreshTaskInfo(CBackupTask* task, int) {
    if (theVaultLibApp.m_pMainWnd == nullptr) {
        return 1;
    }
    auto block = std::make_unique<RefreshBlock>();
    if (task != nullptr) {
        block->hasTask = true;
        block->taskName = task->m_taskName;
    }
    if (rampart::StartThread(&RefreshTaskInfoThread, block.get()) != nullptr) {
        static_cast<void>(block.release());  // the thread's own
    }
    return 1;
}

int CBackupManage::SetWorkingFile(CString file, CString serverFile) {
    rampart::CriticalLock const lock(m_workingFileLock);
    m_workingFile = Displayed(file);
    m_workingServerFile = Displayed(serverFile);
    return 1;
}

int CBackupManage::SetCopyingFile(CString file) {
    rampart::CriticalLock const lock(m_workingFileLock);
    m_copyingFile = Displayed(file);
    return 1;
}

int CBackupManage::SetWorkingTask(CBackupTask* task) {
    SetWorkingTaskName(task != nullptr ? task->m_taskName : CString());
    ManageMultipleRunningTask::GetInstance()->AddWoringTaskToVector(task);
    return 1;
}

int CBackupManage::SetDoneTask(CString const&) {
    return 1;
}

int CBackupManage::SetRestoreWorkingFile(CString file, CString serverFile) {
    m_restoreWorkingFile = Displayed(file);
    m_restoreServerWorkingFile = Displayed(serverFile);
    return 1;
}

int CBackupManage::SetRestoreWorkingTask(CBackupTask* task) {
    s_pRestoreWorkingTask = task;
    return 1;
}

CString CBackupManage::GetWorkingFile() {
    rampart::CriticalLock const lock(m_workingFileLock);
    return m_workingFile;
}

CString CBackupManage::GetCopyingFile() {
    rampart::CriticalLock const lock(m_workingFileLock);
    return m_copyingFile;
}

CString CBackupManage::GetWorkingTaskName() {
    rampart::CriticalLock const lock(m_workingFileLock);
    return m_workingTaskName;
}

void CBackupManage::SetWorkingTaskName(CString const& name) {
    rampart::CriticalLock const lock(m_workingFileLock);
    m_workingTaskName = name;
}

void CBackupManage::SetNeedReloadTaskListValue(int value) {
    rampart::CriticalLock const lock(m_reloadLock);
    m_needReloadTaskList = value;
}

int CBackupManage::GetNeedReloadTaskListValue() {
    rampart::CriticalLock const lock(m_reloadLock);
    return m_needReloadTaskList;
}

void CBackupManage::SetFinishedLoadTaskListValue(int value) {
    rampart::CriticalLock const lock(m_finishedLoadLock);
    m_finishedLoadTaskList = value;
}

int CBackupManage::IsFinishedLoadTaskList() {
    rampart::CriticalLock const lock(m_finishedLoadLock);
    return m_finishedLoadTaskList;
}
