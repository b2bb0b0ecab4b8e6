// Names of older versions in a history folder: base, number, extension.
#pragma once

#include "framework/framework.h"

namespace rampart {

// base + number + extension; a number that is taken goes up to the next free one.
CString FreeVersionName(CString const& folder, CString const& base, __int64 number, CString const& extension);

}  // namespace rampart
