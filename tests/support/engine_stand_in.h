// The application object, a manager and tasks for tests of rooms below the engine: the manager knows the
// tasks that a test gives it, and nothing runs.
#pragma once

#include <map>

#include "engine/vaultlib_app.h"
#include "manager/backup_manage.h"
#include "task/backup_task.h"

namespace rampart::test {

// A manager in theVaultLibApp as long as it lives. Its tasks are the test's. GetTaskByID finds them; while it
// is asked, `onQuestion` runs.
class EngineStandIn {
public:
    EngineStandIn() {
        theVaultLibApp.m_pBackupManage = &m_manager;
        Current() = this;
    }
    EngineStandIn(EngineStandIn const&) = delete;
    EngineStandIn& operator=(EngineStandIn const&) = delete;
    ~EngineStandIn() {
        theVaultLibApp.m_pBackupManage = nullptr;
        Current() = nullptr;
    }
    static EngineStandIn*& Current() {
        static EngineStandIn* current = nullptr;
        return current;
    }

    std::map<int, CBackupTask*> tasks;
    std::function<void()> onQuestion;

private:
    CBackupManage m_manager;
};

}  // namespace rampart::test
