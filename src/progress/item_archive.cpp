#include "progress/item_archive.h"

#include "interfaces/baselib.h"

namespace rampart {

void StoreItem(TaskItemInfo const& item, CArchive& archive) {
    archive << static_cast<__int64>(item.m_id);
    const CString folder = PathUtilities::GetParentFolder(item.m_strPath);
    if (folder.IsEmpty()) {
        archive << CString();
    } else {
        archive << CString(_T(":P")) << folder;
    }
    archive << PathUtilities::GetFileName(item.m_strPath) << item.m_nSize << item.m_nDone << item.m_nSeconds
            << item.m_nRate << item.m_nStatus;
}

}  // namespace rampart
