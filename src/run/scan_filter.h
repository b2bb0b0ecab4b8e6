// Which files and folders of a source a scan leaves out, by the task's filter mode and lists.
#pragma once

#include "framework/framework.h"

namespace rampart {

class ScanFilter {
public:
    // The lists stay the caller's. `include` is filter mode "1": only what the lists name is taken.
    ScanFilter(CString const& type, CStringList* exList, CStringList* pathList, bool include);

    bool IsInclude() const { return m_include; }
    // Whether a file is taken; in include mode by the names in E and the folders in P: neither list, all; one
    // list, what it names; both, what either names.
    bool TakesFile(CString const& path) const;
    // The same for a file of a folder whose verdict is known already.
    bool TakesFileOfFolder(CString const& path, CString const& folder) const;
    // Whether the folder filter drops it.
    bool DropsFolder(CString const& folder) const;

private:
    CString m_type;
    CStringList* m_exList;
    CStringList* m_pathList;
    bool m_include;
};

inline bool IsIncludeMode(CString const& filterType) {
    return filterType.CompareNoCase(_T("1")) == 0;
}

}  // namespace rampart
