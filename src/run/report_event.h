// How a stage of a run reports: the event list, and the mark that fails the run.
#pragma once

#include "engine/vaultlib_app.h"
#include "manager/backup_manage.h"
#include "task/backup_task.h"

namespace rampart {

inline void RecordEvent(CBackupTask* task, CString const& text, EventTypes level) {
    if (CBackupManage* const manager = theVaultLibApp.m_pBackupManage) {
        manager->RecordErr(task, text, level);
    }
}

// An error that counts against the run.
inline void FailRun(CBackupTask* task, CString const& text) {
    task->m_errorOccured = 1;
    RecordEvent(task, text, EVENT_ERROR);
}

// The two debug lines of a stage that ended by an exception; called from its handler.
inline void LogUnexpected(CString const& line) {
    GetManageDebugLog().AddDebugInfo(line, 0);
    GetManageDebugLog().AddDebugInfo(_T("Unexpected error: ") + GetLastErrorMsg(), 0);
}

}  // namespace rampart
