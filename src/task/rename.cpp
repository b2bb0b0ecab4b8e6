// The name of a task in the vault: its folder and the folder of its history.
#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "task/backup_task.h"

namespace {

enum FolderCode : __int64 { kSessionLost = 1, kRefused = 2, kConnectionFailed = 3 };

bool IsConnectedAgain(CTaskPrgClass const* progress) {
    if (ApiUtil::AutoConnect(progress != nullptr ? progress->m_hCancelEvent : nullptr, 1)) {
        return true;
    }
    CBackupManage* const manager = theVaultLibApp.m_pBackupManage;
    return manager != nullptr && manager->ConnectLoopNetwork() != 0;
}

}  // namespace

int CBackupTask::RenameTask(CString newName) {
    __int64 const code = ApiUtil::EditFolder(m_serverFilePath, newName, m_description, newName);
    if (code == kSessionLost || code == kRefused) {
        return 0;
    }
    if (newName == m_taskName) {
        return 1;
    }
    CString const history = PathUtilities::Append(
        CBackupManage::GetSvrHistFolder(GlobalFunction::IsEncryptionPath(m_serverFilePath), 0),
        PathUtilities::GetFileName(m_serverFilePath));
    CAutoMyPathInfo const record(ApiUtil::GetPathInfoEx(history, 0, 0));
    if (record != nullptr && ApiUtil::EditFolder(history, newName, _T(""), _T("")) == kConnectionFailed &&
        IsConnectedAgain(m_pTaskPrg)) {
        ApiUtil::EditFolder(history, newName, _T(""), _T(""));
    }
    return 1;
}
