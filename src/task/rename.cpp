// The name of a task in the vault: its folder and the folder of its history.
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "run/recovery.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

int CBackupTask::RenameTask(CString newName) {
    __int64 const code = ApiUtil::EditFolder(m_serverFilePath, newName, m_description, newName);
    if (code == rampart::kSessionLost || code == rampart::kRefused) {
        return 0;
    }
    if (newName == m_taskName) {
        return 1;
    }
    CString const history = PathUtilities::Append(
        CBackupManage::GetSvrHistFolder(GlobalFunction::IsEncryptionPath(m_serverFilePath), 0),
        PathUtilities::GetFileName(m_serverFilePath));
    CAutoMyPathInfo const record(ApiUtil::GetPathInfoEx(history, 0, 0));
    if (record != nullptr &&
        ApiUtil::EditFolder(history, newName, _T(""), _T("")) == rampart::kConnectionFailed &&
        rampart::Reconnect(m_pTaskPrg != nullptr ? m_pTaskPrg->m_hCancelEvent : nullptr)) {
        ApiUtil::EditFolder(history, newName, _T(""), _T(""));
    }
    return 1;
}
