// The versions of one stored file: the present one and those in its history, newest first.
#pragma once

#include <vector>

#include "engine/vaultlib.h"

namespace rampart::cli {

// The task below whose server folder a path lies; null if there is none.
CBackupTask* TaskOfServerPath(CBackupManage& manager, CString const& serverPath);

// `current` is the present record. `task` may be null: then there is no history.
std::vector<VaultEntry> VersionsOf(CBackupTask* task, VaultEntry const& current);

}  // namespace rampart::cli
