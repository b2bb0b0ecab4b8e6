// Where a task's stored files came from, and where their older versions lie.
#pragma once

#include "framework/framework.h"

class CBackupManage;
class CBackupTask;

namespace rampart {

// The task below whose server folder a path lies; null if there is none.
VAULTLIB_API CBackupTask* TaskOfServerPath(CBackupManage& manager, CString const& serverPath);

// The local path that a stored one of this task came from. Empty for the task's folder itself and for what is
// above it.
VAULTLIB_API CString LocalPathOf(CBackupTask& task, CString const& serverPath);

// The stored path of a local one. Empty if the task does not back it up.
VAULTLIB_API CString StoredPathOf(CBackupTask& task, CString const& localPath);

// The server folder with the older versions of a stored file, also of a task that was deleted, as long as it
// was stored where a task is by itself. Empty if nobody can tell.
VAULTLIB_API CString HistoryFolderOf(CBackupManage& manager, CString const& serverFile);

}  // namespace rampart
