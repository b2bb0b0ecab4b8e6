// Which task a backup runs: the one named, or the one of these sources, or a new one.
#pragma once

#include <memory>
#include <vector>

#include "engine/vaultlib.h"
#include "options.h"

namespace rampart::cli {

struct ChosenTask {
    CBackupTask* task = nullptr;  // in the manager's list
    bool isNew = false;
    std::unique_ptr<HeldName> mark;  // other programs leave the task alone while this lives
};

// Throws CommandError when the options do not fit the task that there is, or a new one is refused.
ChosenTask ChooseTask(CBackupManage& manager, BackupOptions const& options,
                      std::vector<CString> const& sources);

}  // namespace rampart::cli
