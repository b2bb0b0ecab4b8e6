// The name of a task in the vault: its folder and the folder of its history.
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "run/recovery.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

int CBackupTask::RenameTask(CString newName) {
    // A task that keeps its name keeps its folder, whatever that is called.
    bool const isRenamed = newName != m_taskName;
    CString const folderName = isRenamed ? newName : CString();
    __int64 const code = ApiUtil::EditFolder(m_serverFilePath, folderName, m_description, folderName);
    if (code == rampart::kSessionLost || code == rampart::kRefused) {
        return 0;
    }
    if (!isRenamed) {
        return 1;
    }
    // A task that never ran has no folder yet; any other failure leaves what is stored under the old name.
    if (code != rampart::kOk && code != rampart::kNotFound) {
        return 0;
    }
    CString const root =
        CBackupManage::GetSvrHistFolder(GlobalFunction::IsEncryptionPath(m_serverFilePath), 0);
    if (root.IsEmpty()) {
        return 1;  // a name below nothing would be that of another task
    }
    CString const history = PathUtilities::Append(root, PathUtilities::GetFileName(m_serverFilePath));
    CAutoMyPathInfo const record(ApiUtil::GetPathInfoEx(history, 0, 0));
    if (record != nullptr &&
        ApiUtil::EditFolder(history, newName, _T(""), _T("")) == rampart::kConnectionFailed &&
        rampart::Reconnect(m_pTaskPrg != nullptr ? m_pTaskPrg->m_hCancelEvent : nullptr)) {
        ApiUtil::EditFolder(history, newName, _T(""), _T(""));
    }
    return 1;
}
