#include "engine/running_engine.h"

#include "engine/vaultlib_app.h"
#include "interfaces/vault_admin.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "paths/copy_folder.h"
#include "paths/path_manage.h"
#include "platform/file_system.h"
#include "platform/process.h"
#include "task/backup_task.h"
#include "task/machine_name.h"

namespace rampart {
namespace {

// Folders of earlier programs were as wide as their user's mask.
void KeepOwnFoldersPrivate() {
    CString data;
    if (CPathManage::GetOrCreateInAppDataPath(CString(), data)) {
        TextView product = data;
        product.remove_suffix(1);  // the backslash at its end
        platform::KeepPrivate(product);
        platform::KeepPrivate(product.substr(0, product.rfind(_T('\\'))));
    }
    platform::KeepPrivate(platform::ConfigurationFolder());
    platform::KeepPrivate(platform::UserDataFolder() + _T("\\rampart"));  // settings
    if (!platform::EnvironmentVariable("RAMPART_HOME").empty()) {
        platform::KeepPrivate(platform::UserDataFolder());
    }
}

void SweepCopies(CBackupManage& manager) {
    SweepDeadCopies();
    std::vector<CString> folders{MachineName()};
    {
        CReadSync const lock(manager.m_taskListSync);
        for (CBackupTask const* const task : manager.m_taskList) {
            folders.push_back(task->m_serverFilePath);
        }
    }
    SweepFormerCopies(folders);
}

}  // namespace

RunningEngine::RunningEngine(std::unique_ptr<CBackupManage> manager)
    : m_manager(manager ? std::move(manager) : std::make_unique<CBackupManage>()) {
    KeepOwnFoldersPrivate();
    theVaultLibApp.InitInstance();
    CPathManage::Init();
    CPathManage::InitRegexFilter();
    CPathManage::UpdateCacheFolder();
    CPathManage::SetVaultFolder(VaultAdmin::Folder());
    theVaultLibApp.m_pBackupManage = m_manager.get();
    TakeSettings(*m_manager);
    m_manager->LoadTaskList(0, 0);
    SweepCopies(*m_manager);
}

void RunningEngine::TakeSettings(CBackupManage& manager) {
    DictUtil::Refresh();
    KeepSpecialFiles(DictUtil::GetConfigInt(_T("Options"), _T("BackupSpecialFiles"), _T("0"), _T("")) != 0);
    manager.Initialize();
    ManageMultipleRunningTask::GetInstance()->InitAllowTwoTasksConcurrently();
}

RunningEngine::~RunningEngine() {
    m_manager.reset();
    theVaultLibApp.m_pBackupManage = nullptr;
    LeaveOwnCopyFolder();
}

}  // namespace rampart
