#include "run/recovery.h"

#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

namespace rampart {

namespace {

constexpr int kSpaceAlertStyle = 105;

}  // namespace

bool Reconnect(void* cancelEvent) {
    if (ApiUtil::AutoConnect(cancelEvent, 1) != 0) {
        return true;
    }
    CBackupManage* const manager = theVaultLibApp.m_pBackupManage;
    return manager != nullptr && manager->ConnectLoopNetwork() != 0;
}

int ReadBalance(AccountBalance& balance) {
    static Mutex s_lastBalance;
    int const code = ApiUtil::GetAccountBalance(balance, 1);
    if (code == kOk) {
        MutexLock lock(s_lastBalance);
        theVaultLibApp.m_accountBalance = balance;
    }
    return code;
}

bool UserMadeRoom(CBackupTask& task) {
    if (task.m_roomRefused != 0) {
        return false;
    }
    bool const madeRoom = GlobalFunction::SpaceLimitAlert(_T(""), kSpaceAlertStyle) != 0 &&
                          GlobalFunction::SpaceLimitRetry(_T("")) != 0;
    task.m_roomRefused = madeRoom ? 0 : 1;
    return madeRoom;
}

}  // namespace rampart
