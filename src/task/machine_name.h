// What this machine is called in a task's record.
#pragma once

#include "framework/framework.h"
#include "platform/process.h"
#include "task/engine_text.h"

namespace rampart {

// At most fifteen characters; the dictionary's text for a machine without a name.
inline CString MachineName() {
    constexpr int kComputerNameLength = 15;
    CString const name(platform::ComputerName().c_str());
    return name.IsEmpty() ? DictionaryText(_T("IDS_STRNONAME")) : name.Left(kComputerNameLength);
}

}  // namespace rampart
