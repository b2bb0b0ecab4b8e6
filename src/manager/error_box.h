// The message box that follows a failed run: one at a time for the process.
#pragma once

#include "framework/framework.h"

namespace rampart {

// 1 while the box is open.
extern Word<int32_t> g_isErrorBoxOpen;

}  // namespace rampart
