// RunningEngine: the engine set up over the vault that is open, as a host needs it before its first call, and
// undone at the end.
#pragma once

#include <memory>

#include "framework/framework.h"

class CBackupManage;

namespace rampart {

// One at a time for a process, made and destroyed by the host's thread between VaultAdmin::Open and Close,
// with the host's hooks filled before. Its manager, in `theVaultLibApp` while the object lives, has read the
// task list. The end waits for running tasks.
class VAULTLIB_API RunningEngine {
public:
    // `manager` is for a host with a manager of its own class.
    explicit RunningEngine(std::unique_ptr<CBackupManage> manager = nullptr);
    ~RunningEngine();
    RunningEngine(RunningEngine const&) = delete;
    RunningEngine& operator=(RunningEngine const&) = delete;

    CBackupManage& Manager() const { return *m_manager; }
    // What the user has chosen for all tasks, as it stands now; the constructor takes it, and a host that
    // goes on living when it was changed. Between the host's calls of the manager.
    static void TakeSettings(CBackupManage& manager);

private:
    std::unique_ptr<CBackupManage> m_manager;
};

}  // namespace rampart
