// A lost connection to the service, and a source on a network path that is gone.
#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "platform/error.h"
#include "progress/task_prg.h"
#include "run/run_state.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

using rampart::DebugLine;

int CBackupTask::CheckNetwork(__int64& result) {
    if (result != rampart::kConnectionFailed) {
        return 1;
    }
    auto cancelled = [&] {
        if (!rampart::IsCancelled(m_pTaskPrg)) {
            return false;
        }
        result = rampart::kCancelled;
        return true;
    };
    if (cancelled()) {
        return 0;
    }
    if (ApiUtil::AutoConnect(m_pTaskPrg != nullptr ? m_pTaskPrg->m_hCancelEvent : nullptr, 1)) {
        return cancelled() ? 0 : 1;
    }
    if (cancelled()) {
        return 0;
    }
    CBackupManage* const manager = theVaultLibApp.m_pBackupManage;
    if (manager == nullptr || !manager->ConnectLoopNetwork()) {
        return 0;
    }
    return rampart::IsCancelled(m_pTaskPrg) ? 0 : 1;
}

void CBackupTask::RetryConnectNetworkPath(unsigned long error, CString const& path) {
    unsigned long retryError = 0;
    if (m_networkRetryCount > 0) {
        rampart::DebugFormat(_T("RetryConnectNetworkPath retry count: %d"),
                             static_cast<int>(m_networkRetryCount));
        if (!KXFolder::ConnectUNC(path, retryError)) {
            DebugLine(_T("RetryConnectNetworkPath error:") + GetLastErrorMsgEx(retryError));
        }
        return;
    }
    if (m_networkRetryCount == 0 && error != rampart::platform::kFileNotFound && m_networkRetryArmed != 0) {
        DebugLine(_T("RetryConnectNetworkPath check path:") + path);
        KXFolder::ConnectUNC(path, retryError);
        DebugLine(_T("Retry backup network path"));
        m_networkRetryArmed = 0;
        m_networkRetryCount =
            DictUtil::GetConfigInt(_T("Options"), _T("RetryNetworkPathCount"), _T("6"), _T(""));
    }
}

int CBackupTask::StopHook() {
    m_hookStop = 1;
    return 1;
}

int CBackupTask::StartHook() {
    m_hookStop = 0;
    m_hookFailed = 0;
    return m_localDirList.empty() ? 0 : 1;
}
