// Older versions in a history folder. Their names: base, number, extension.
#pragma once

#include "interfaces/transferlib.h"

class CBackupTask;

namespace rampart {

// base + number + extension; a number that is taken goes up to the next free one.
CString FreeVersionName(CString const& folder, CString const& base, __int64 number, CString const& extension);

// Whether the history holds this very copy of a file already: its transfer has failed before, and repeats
// must not push older contents out.
bool IsVersionKept(CBackupTask& task, MyPathInfo const& record);

}  // namespace rampart
