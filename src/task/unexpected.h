// What a stage says and answers when something was thrown in it.
#pragma once

#include "framework/framework.h"
#include "interfaces/baselib.h"
#include "task/engine_text.h"

namespace rampart {

// As a file-level, run or database result. Among the codes of the service the number says a refused password.
inline constexpr int kUnexpected = 2;

// The two debug lines of a stage that ended by an exception; called from its handler.
inline void LogUnexpected(CString const& line) {
    DebugLine(line);
    DebugLine(_T("Unexpected error: ") + GetLastErrorMsg());
}

}  // namespace rampart
