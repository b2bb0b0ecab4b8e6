#include "run/version_names.h"

#include "interfaces/transferlib.h"

namespace rampart {

CString FreeVersionName(CString const& folder, CString const& base, __int64 number,
                        CString const& extension) {
    for (;; ++number) {
        CString name;
        name.Format(_T("%s%I64d%s"), base, number, extension);
        if (!ApiUtil::GetServerPathlist().IsPathExistEx(folder + _T("\\") + name, 0, 0)) {
            return name;
        }
    }
}

}  // namespace rampart
