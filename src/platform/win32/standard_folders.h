// Folders and names of the user.
#pragma once

#include <string>

#include "platform/text.h"

namespace rampart::platform {

// The folder of an environment variable as an engine path; a relative one counts from the working folder.
// Empty if it is not set.
Text FolderVariable(const char* name);

// Begins the names of what this user's processes share: kernel objects and pipes. It differs for each
// RAMPART_HOME.
std::wstring SharedNamePrefix();

// A name as a part of the name of a kernel object or pipe, one for each name; empty if it is too long.
std::wstring SharedNamePart(TextView name);

}  // namespace rampart::platform
