// Paths and account-wide expressions as the filters of a scan meet them.
#pragma once

#include <vector>

#include "interfaces/filterlib.h"

namespace rampart::bench {

// Paths as a home folder has them: some deep, some with letters beyond ASCII, one in fifty excluded.
inline std::vector<CString> SamplePaths() {
    std::vector<CString> paths;
    for (int index = 0; index < 2000; index++) {
        const TCHAR* extension = index % 50 == 0 ? _T("t17") : index % 3 == 0 ? _T("jpg") : _T("txt");
        const TCHAR* folder =
            index % 4 == 0 ? _T("Fotos\\Urlaub \u00dcbersee") : _T("documents\\projects\\2024");
        paths.push_back(FormatText(_T("C:\\home\\someone\\%s\\folder %d\\file number %d.%s"), folder,
                                   index % 37, index, extension));
    }
    return paths;
}

inline std::vector<CString> SampleExpressions(int count) {
    std::vector<CString> expressions;
    for (int index = 0; index < count; index++) {
        const TCHAR* form = index % 4 == 0   ? _T("*.t%d")
                            : index % 4 == 1 ? _T("cache%d\\*.bin")
                            : index % 4 == 2 ? _T("C:\\home\\someone\\private%d\\*.doc?")
                                             : _T("~$%d*");
        expressions.push_back(RegexFilter::ChangeFilePathToBoostRegexFilter(FormatText(form, index), 0));
    }
    return expressions;
}

}  // namespace rampart::bench
