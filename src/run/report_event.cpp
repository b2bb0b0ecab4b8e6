#include "run/report_event.h"

#include "engine/vaultlib_app.h"
#include "manager/backup_manage.h"
#include "task/backup_task.h"

namespace rampart {

void RecordEvent(CBackupTask* task, CString const& text, EventTypes level) {
    if (CBackupManage* const manager = theVaultLibApp.m_pBackupManage) {
        manager->RecordErr(task, text, level);
    }
}

void RecordNotice(CBackupTask* task, CString const& text) {
    CErrorLog().RecordError(task, text, EVENT_WARNING);
    DebugLine(text);
}

void FailRun(CBackupTask* task, CString const& text) {
    task->m_errorOccured = 1;
    RecordEvent(task, text, EVENT_ERROR);
}

void NoteLeftOut(CString const& path, __int64 code) {
    // The code of something that was thrown is that of a refused password too.
    CString const reason =
        code == kUnexpected ? DictionaryText(_T("UnknownErrorOccuredError")) : ApiUtil::GetQuilString(code);
    NoteSkippedEntry({path, reason, true});
}

}  // namespace rampart
