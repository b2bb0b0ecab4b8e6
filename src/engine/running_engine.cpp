#include "engine/running_engine.h"

#include "engine/vaultlib_app.h"
#include "interfaces/vault_admin.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "paths/path_manage.h"

namespace rampart {

RunningEngine::RunningEngine(std::unique_ptr<CBackupManage> manager)
    : m_manager(manager ? std::move(manager) : std::make_unique<CBackupManage>()) {
    theVaultLibApp.InitInstance();
    CPathManage::Init();
    CPathManage::InitRegexFilter();
    CPathManage::UpdateCacheFolder();
    CPathManage::SetVaultFolder(VaultAdmin::Folder());
    theVaultLibApp.m_pBackupManage = m_manager.get();
    m_manager->Initialize();
    ManageMultipleRunningTask::GetInstance()->InitAllowTwoTasksConcurrently();
    m_manager->LoadTaskList(0, 0);
}

RunningEngine::~RunningEngine() {
    m_manager.reset();
    theVaultLibApp.m_pBackupManage = nullptr;
}

}  // namespace rampart
