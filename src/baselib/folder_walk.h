// Work on whole folders: sizes, copies, removal. Symbolic links are never followed.
#pragma once

#include "framework/cstring.h"

namespace rampart {

// Bytes of all regular files below `folder`. What cannot be read counts nothing.
uint64_t SizeOfFolder(TextView folder);

// Files and folders below `from` to the same places below `to`, over what is there. Goes on after a failure;
// false if there was one, or if `to` lies in `from`.
bool CopyWholeFolder(TextView from, TextView to);

// Removes a folder with all that is in it. Goes on after a failure; true if the folder is gone.
bool RemoveWholeFolder(TextView folder);

// Removes a file, a link or the like, a read-only one too. True also if nothing was there.
bool RemoveFileByForce(TextView path);

}  // namespace rampart
