#include "baselib/product_folder.h"

#include "interfaces/baselib.h"
#include "platform/process.h"

namespace rampart {

platform::Text ProductDataFolder() {
    return platform::UserDataFolder() + _T("\\") +
           DictUtil::GetValue(_T("IDS_STRCOMPANY"), _T("Rampart")).ToText() + _T("\\") +
           DictUtil::GetValue(_T("IDS_STRPRODUCT"), _T("Rampart")).ToText();
}

}  // namespace rampart
