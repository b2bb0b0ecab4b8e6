// Folders on the server for folders here.
#pragma once

#include "framework/framework.h"

class CBackupTask;

namespace rampart {

// Makes `serverFolder`, which stands for `localFolder`, with its parents. A folder whose name differs only in
// case and that belongs to another local folder does not count as there. False when it cannot be made.
bool EnsureServerFolder(CBackupTask& task, CString const& serverFolder, CString const& localFolder);

// A file has taken the place of a folder here, or a folder that of a file: the record of the other kind at
// `serverPath` is gone from now on, so that one of the new kind can be made, and what it was stays for its
// moments: a file as a version. A service code; 0 also when no record of the other kind is there.
int MakeWay(CBackupTask& task, CString const& serverPath, CString const& localPath, bool forFolder);

// Makes the folder of exactly this name, with its parents, beside any that differs in case.
bool EnsureExactServerFolder(CString const& serverFolder);

}  // namespace rampart
