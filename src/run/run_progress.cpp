// What a run does to its progress object, and the size of the backup on the server.
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "task/backup_task.h"

void CBackupTask::InitProgressBar() {
    if (m_pTaskPrg == nullptr) {
        return;
    }
    if (!m_pTaskPrg->IsClickedCancel()) {  // one that came since the start holds
        m_pTaskPrg->m_bCancel = 0;
    }
    m_pTaskPrg->ClearOldPause();
    m_pTaskPrg->SetState(ProgressStateNone);
    m_pTaskPrg->DoProgress(0, _T(""));
    m_pTaskPrg->SetTaskName(m_taskName);
}

void CBackupTask::InitUIProgressBarItems(CString const& path, __int64 count, CStringList& list) {
    if (count < 1 || m_pTaskPrg == nullptr) {
        return;
    }
    m_pTaskPrg->UpdateBackupProgressList(path, count);
    if (!path.IsEmpty()) {
        m_pTaskPrg->BeginFile(path, 0, 0);
        return;
    }
    for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
        m_pTaskPrg->BeginFile(list.GetNext(position), 0, 0);
    }
}

void CBackupTask::CalculateSize() {
    rampart::Guarded(_T("Error:CalculateSize"), 0, [&] {
        {
            CAutoMyPathInfo const record(ApiUtil::GetPathInfoEx(m_serverFilePath, 0, 0));
            if (record != nullptr) {
                m_remoteSize = record->m_size;
            }
        }
        CString const history = GetFileHistoryFolder(m_serverFilePath);
        CAutoMyPathInfo const record(history.IsEmpty() ? nullptr : ApiUtil::GetPathInfoEx(history, 0, 0));
        if (record != nullptr) {
            m_remoteSize += record->m_size;
        }
        return 1;
    });
}
