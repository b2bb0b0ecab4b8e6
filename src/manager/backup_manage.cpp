#include "manager/backup_manage.h"

#include "interfaces/transferlib.h"
#include "task/backup_task.h"
#include "task/engine_text.h"

CBackupTask* CBackupManage::s_pRestoreWorkingTask = nullptr;

namespace {

// Waits for a thread of the host's and frees its object.
void SettleThread(HANDLE& handle, CWinThread*& thread) {
    bool const isSettled = rampart::Guarded(_T("Error: ClearTaskList"), [&] {
        if (handle != nullptr && thread != nullptr) {
            MyWaitForSingleObject(handle, rampart::kWaitForever);
            delete thread;  // the host's fields are raw pointers that end here
            thread = nullptr;
            handle = nullptr;
        }
    });
    if (!isSettled) {
        thread = nullptr;
        handle = nullptr;
    }
}

}  // namespace

CBackupManage::CBackupManage() = default;

CBackupManage::~CBackupManage() {
    ClearTaskList();
    delete m_pBatchMode;  // an exported raw pointer
}

// A task that dies waits for its run, and the run's end takes the locks of this object: so the lists are
// emptied under the locks, and the tasks die outside. What a run's end queued meanwhile goes with them.
void CBackupManage::ClearTaskList() {
    SettleThread(m_uploadLogThreadHandle, m_pUploadLogThread);
    SettleThread(m_saveTaskThreadHandle, m_pSaveTaskThread);
    std::vector<CBackupTask*> tasks;
    {
        CKorvaneAutoLock const lock(&m_taskLock, _T("ClearTaskList"), 1);
        CWriteSync const write(m_taskListSync);
        tasks.swap(m_taskList);
        m_waitList.RemoveAll();
    }
    for (CBackupTask** const creation : {&m_pNewTask, &m_pPrevNewTask}) {
        if (*creation != nullptr) {
            tasks.push_back(*creation);
            *creation = nullptr;
        }
    }
    DeleteAllTaskList(tasks);
    CKorvaneAutoLock const lock(&m_taskLock, _T("ClearTaskList"), 1);
    m_waitList.RemoveAll();
}

int CBackupManage::LoadTaskList(int, int) {
    return rampart::Guarded(_T("Error:LoadTaskList"), 0, [&] {
        InitMyID();
        CString const id = CreateGUID();
        ApiUtil::SetProgressID(id);
        rampart::DebugLine(_T("ManageTask: GUID-") + id);
        return LoadTaskListFromWebDatabase();
    });
}
