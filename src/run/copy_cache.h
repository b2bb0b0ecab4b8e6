// Names of the copies of sources in the local cache, and their end. Any thread of a run.
#pragma once

#include "framework/framework.h"

class CBackupTask;

namespace rampart {

// Where the copy of a file lies that goes to that server folder; empty where no copy is to be made.
CString CopyPathOf(CString const& serverFolder, CString const& name);

// Deletes one of this process's copies; nothing for any other path.
void DeleteCopy(CString const& copyPath);

// Whatever copies of the task there still are, at the end of its run.
void DeleteCopiesOf(CBackupTask& task);

}  // namespace rampart
