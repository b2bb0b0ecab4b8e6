#include "progress/prg_attachment.h"

#include "interfaces/pause.h"
#include "progress/item_archive.h"

namespace {

CString TextOf(CString const* text) {
    return text ? *text : CString();
}

}  // namespace

void CPrgAttachment::StoreItems(CPtrList& items, CArchive& archive) {
    archive << static_cast<__int64>(items.GetCount());
    for (void* entry : items) {
        while (m_bPause && !rampart::IsAppEnding()) {
            rampart::Sleep(rampart::kPauseStepMs);
        }
        if (!entry || m_bStop || rampart::IsAppEnding()) {
            return;
        }
        rampart::StoreItem(*static_cast<TaskItemInfo const*>(entry), archive);
    }
}

void CPrgAttachment::StoreProgressInfo(CArchive& archive) {
    StoreProgressInfoEx(archive, m_pInfo);
}

void CPrgAttachment::StoreProgressInfoEx(CArchive& archive, ProgresInfo* info) {
    if (!info) {
        archive << int32_t{0};
        return;
    }
    archive << int32_t{1} << info->m_nPercent << info->m_nNowSent << info->m_nSpeed << info->m_nAveSpeed
            << info->m_nRemSec << info->m_nLastPercent << info->m_nBeginCount << info->m_nLastCount
            << info->m_nMillsecs << info->m_nBarDone << info->m_nBarTotal << info->m_nByteSend
            << TextOf(info->m_pCurrentFile) << TextOf(info->m_pStateText)
            << static_cast<int32_t>(info->m_nState);
}
