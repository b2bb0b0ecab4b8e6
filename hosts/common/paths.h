// Where paths lie, local ones and those in the vault.
#pragma once

#include "engine/vaultlib.h"

namespace rampart::host {

// Whether the path is the folder or lies below it, without regard to case. Every path lies in the root of the
// vault.
inline bool LiesWithin(CString path, CString folder) {
    path = path.TrimRight(_T('\\')) + _T("\\");
    folder = folder.TrimRight(_T('\\')) + _T("\\");
    return path.Left(folder.GetLength()).CompareNoCase(folder) == 0;
}

}  // namespace rampart::host
