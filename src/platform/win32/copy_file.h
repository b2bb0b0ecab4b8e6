// Copying by paths of the system.
#pragma once

#include "platform/win32/native.h"

namespace rampart::platform {

// As CopyFileContent. The source may be of a volume that has no drive letter.
bool CopySystemFile(std::wstring from, std::wstring to, const CopyProgress& progress, bool mustRest);

}  // namespace rampart::platform
