#include "run/scan_filter.h"

#include "interfaces/baselib.h"
#include "paths/path_manage.h"

namespace rampart {

namespace {

bool HasEntries(CStringList const* list) {
    return list != nullptr && !list->IsEmpty();
}

}  // namespace

ScanFilter::ScanFilter(CString const& type, CStringList* exList, CStringList* pathList, bool include)
    : m_type(type), m_exList(exList), m_pathList(pathList), m_include(include) {}

bool ScanFilter::TakesFile(CString const& path) const {
    if (!m_include) {
        return CPathManage::FilterFile(path, m_exList, m_type) == 0;
    }
    return TakesFileOfFolder(path, PathUtilities::GetParentFolder(path));
}

bool ScanFilter::TakesFileOfFolder(CString const& path, CString const& folder) const {
    if (!m_include) {
        return CPathManage::FilterFile(path, m_exList, m_type) == 0;
    }
    bool const byName = HasEntries(m_exList);
    bool const byFolder = HasEntries(m_pathList);
    if (!byName && !byFolder) {
        return true;
    }
    return (byName && CPathManage::FilterFile(path, m_exList, m_type) == 0) ||
           (byFolder && CPathManage::FilterFolder(folder, m_pathList, m_type) == 0);
}

bool ScanFilter::DropsFolder(CString const& folder) const {
    return CPathManage::FilterFolder(folder, m_pathList, m_type) != 0;
}

}  // namespace rampart
