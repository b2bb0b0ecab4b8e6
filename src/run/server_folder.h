// Folders on the server for folders here.
#pragma once

#include "framework/framework.h"

namespace rampart {

// Makes `serverFolder`, which stands for `localFolder`, with its parents. A folder whose name differs only in
// case and that belongs to another local folder does not count as there. False when it cannot be made.
bool EnsureServerFolder(CString const& serverFolder, CString const& localFolder);

// Makes the folder of exactly this name, with its parents, beside any that differs in case.
bool EnsureExactServerFolder(CString const& serverFolder);

}  // namespace rampart
