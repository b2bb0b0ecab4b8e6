// Whether files that carry the temporary attribute are taken along.
#pragma once

#include "framework/framework.h"
#include "interfaces/baselib.h"

namespace rampart {

// Option "AllowUploadTempAndVirtualFiles"; read at every call.
inline bool AllowTemporaryFiles() {
    return DictUtil::GetConfigInt(_T("Options"), _T("AllowUploadTempAndVirtualFiles"), _T("0"), _T("")) != 0;
}

}  // namespace rampart
