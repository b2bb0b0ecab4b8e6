// A line in the debug log.
#pragma once

#include "interfaces/baselib.h"

namespace rampart {

inline void AddDebugLine(CString const& text) {
    GetManageDebugLog().AddDebugInfo(text, 0);
}

}  // namespace rampart
