// The whole engine over a vault of its own: a home, a signed-in customer, a task manager in theVaultLibApp.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "interfaces/vault_admin.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "support/temp_home.h"
#include "task/backup_task.h"

namespace rampart::test {

class EngineHome : public TempHome {
public:
    EngineHome() {
        CString message;
        EXPECT_EQ(VaultAdmin::Open(CString::FromUtf8("vault://" + Native("vault")), true, message), 0)
            << message.ToUtf8();
        manager = std::make_unique<CBackupManage>();
        theVaultLibApp.m_pBackupManage = manager.get();
        manager->Initialize();
        manager->InitMyID();
    }
    ~EngineHome() {
        manager.reset();
        theVaultLibApp.m_pBackupManage = nullptr;
        ManageMultipleRunningTask::GetInstance()->ClearAllWoringTask();
        VaultAdmin::Close();
    }

    // A task of the manager's list, without a row in the database.
    CBackupTask& ListedTask(TCHAR const* name) {
        auto task = std::make_unique<CBackupTask>();
        task->m_taskName = name;
        manager->m_taskList.push_back(task.get());
        return *task.release();  // the list's own
    }

    static void SetOption(TCHAR const* key, TCHAR const* value) {
        ASSERT_TRUE(DictUtil::SetConfigString(_T("Options"), key, value));
        DictUtil::Refresh();
    }

    std::unique_ptr<CBackupManage> manager;
};

}  // namespace rampart::test
