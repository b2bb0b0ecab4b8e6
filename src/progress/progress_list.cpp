// The list of a progress object: items, those in transfer, their archive forms.
#include "engine/vaultlib_app.h"
#include "framework/observer_calls.h"
#include "interfaces/baselib.h"
#include "interfaces/pause.h"
#include "progress/item_archive.h"
#include "progress/item_index.h"
#include "progress/list_lock.h"
#include "progress/progress_bar.h"

namespace {

// Files are asked for their size before the list is locked, so many at a time.
constexpr size_t kAppendBatch = 512;

// Codes of a transfer (service codes).
constexpr int kDone = 0;
constexpr int kQueuedInNextBatch = 20;
constexpr int kQueuedInBatch = 70;

}  // namespace

int CProgressBar::InitFileList(CStringList&) {
    return rampart::Guarded(_T("Error:InitFileList"), 0, [&] {
        ListLock lock(*this, ListLock::kLongMs);
        if (!lock) {
            return 0;
        }
        m_current = nullptr;
        RemoveItemList();
        return 1;
    });
}

int CProgressBar::AddFileList(CStringList& list) {
    return rampart::Guarded(_T("Error:AddFileList"), 0, [&] {
        std::vector<std::unique_ptr<TaskItemInfo>> items;
        for (POSITION position = list.GetHeadPosition(); position && !m_bCancel;) {
            while (IsPaused() && !m_bCancel && !rampart::IsAppEnding()) {
                rampart::Sleep(rampart::kPauseStepMs);
            }
            if (m_bCancel || rampart::IsAppEnding()) {
                break;
            }
            const CFileInfo file(list.GetNext(position));
            if (file.m_isFolder) {
                continue;
            }
            auto item = std::make_unique<TaskItemInfo>();
            item->m_strPath = file.m_path;
            item->m_nSize = file.m_size;
            items.push_back(std::move(item));
            if (items.size() == kAppendBatch && !AppendItems(items)) {
                return 0;
            }
        }
        return AppendItems(items) ? 1 : 0;
    });
}

bool CProgressBar::AppendItems(std::vector<std::unique_ptr<TaskItemInfo>>& items) {
    ListLock lock(*this, ListLock::kLongMs);
    if (!lock) {
        return false;
    }
    for (auto& item : items) {
        m_index->Append(std::move(item));
    }
    items.clear();
    return true;
}

int CProgressBar::UpdateBackupProgressList(CString const& path, __int64 count) {
    return rampart::Guarded(_T("Error:UpdateBackupProgressList"), 0, [&] {
        ListLock lock(*this, ListLock::kLongMs);
        if (!lock) {
            return 0;
        }
        const CString name = GetTaskName();
        m_observers->ForEach(
            [&](CPrgAttachment& observer) { observer.InitFileList(path, count, m_items, name); });
        return 1;
    });
}

int CProgressBar::InitBackupProgressList() {
    return rampart::Guarded(_T("Error:InitBackupProgressList"), 0, [&] {
        ListLock lock(*this, ListLock::kLongMs);
        if (!lock) {
            return 0;
        }
        const CString name = GetTaskName();
        m_observers->ForEach([&](CPrgAttachment& observer) {
            observer.InitBackupProgressList(name);
            observer.InitFileList(CString(), m_items.GetCount(), m_items, name);
        });
        return 1;
    });
}

int CProgressBar::BeginFile(CString path, __int64, int) {
    return rampart::Guarded(_T("Error:BeginFile"), 0, [&] {
        {
            rampart::MutexLock text(m_textMutex);
            m_strCurrentFile = path;
        }
        m_nBeginSent = GetNowSent();
        if (!theVaultLibApp.m_pBackupManage) {
            return 0;
        }
        ListLock lock(*this, ListLock::kShortMs);
        if (!lock) {
            return 0;
        }
        POSITION position = nullptr;
        TaskItemInfo* item = FindPathItem(path, position);
        if (!item) {
            return 0;
        }
        m_current = position;
        item->m_nStatus = TaskItemInTransfer;
        AddToWaitList(item);
        rampart::Guarded(_T("Error:BeginFile"), [&] { NotifyItem(*item); });
        return 1;
    });
}

int CProgressBar::EndFile(CString path, int code) {
    return rampart::Guarded(_T("Error:EndFile"), 0, [&] {
        ListLock lock(*this, ListLock::kShortMs);
        if (!lock) {
            return 1;
        }
        POSITION position = nullptr;
        TaskItemInfo* item = FindPathItem(path, position);
        if (!item) {
            return 0;
        }
        if (code == kQueuedInNextBatch || code == kQueuedInBatch) {
            item->m_nStatus = TaskItemInTransfer;
            NotifyItem(*item);
            return 0;
        }
        if (m_current == position) {
            m_items.GetNext(m_current);
        }
        RemoveFromWaitList(item);
        if (code == kDone) {
            item->m_nStatus = TaskItemFinished;
            const auto finished = m_index->Take(position);
            NotifyRemoval(finished->m_id);
        } else {
            item->m_nRate = 0;
            item->m_nStatus = TaskItemFailed;
            NotifyItem(*item);
        }
        return 0;
    });
}

int CProgressBar::ChangeStatus(int status) {
    return rampart::Guarded(_T("Error:ChangeStatus"), 1, [&] {
        ListLock lock(*this, ListLock::kShortMs);
        POSITION position = nullptr;
        TaskItemInfo* item = lock ? FindPathItem(CurrentFile(), position) : nullptr;
        if (!item || item->m_nStatus == status) {
            return 1;
        }
        if (status == TaskItemWaiting) {
            RemoveFromWaitList(item);
        } else if (status == TaskItemInTransfer) {
            AddToWaitList(item);
        }
        item->m_nStatus = status;
        NotifyItem(*item);
        m_observers->ForEach([&](CPrgAttachment& observer) { observer.ChangeStatus(status); });
        return 1;
    });
}

TaskItemInfo* CProgressBar::FindPathItem(CString const& path, POSITION& position) {
    return rampart::Guarded(_T("Error:FindPathItem"), nullptr, [&]() -> TaskItemInfo* {
        const POSITION found = m_index->Find(path, m_current);
        if (!found) {
            return nullptr;
        }
        position = found;
        return static_cast<TaskItemInfo*>(m_items.GetAt(found));
    });
}

void CProgressBar::AddToWaitList(TaskItemInfo* item) {
    if (!item->m_waitPosition) {
        item->m_waitPosition = m_waitList.AddTail(item);
        m_nWaitBytes += item->m_nSize;
        m_bSaveWaitList = 1;
    }
}

void CProgressBar::RemoveFromWaitList(TaskItemInfo* item) {
    if (item->m_waitPosition) {
        m_waitList.RemoveAt(item->m_waitPosition);
        item->m_waitPosition = nullptr;
        m_nWaitBytes -= item->m_nSize;
        m_bSaveWaitList = m_waitList.IsEmpty() ? 0 : 1;
    }
}

void CProgressBar::ClearWaitList() {
    for (void* entry : m_waitList) {
        static_cast<TaskItemInfo*>(entry)->m_waitPosition = nullptr;
    }
    m_waitList.RemoveAll();
    m_nWaitBytes = 0;
    m_bSaveWaitList = 0;
}

void CProgressBar::RemoveItemList() {
    ClearWaitList();
    m_index->Clear();
    rampart::Guarded(_T("Error:RemoveItemList"), [&] {
        const CString name = GetTaskName();
        m_observers->ForEach([&](CPrgAttachment& observer) { observer.RemoveAllItem(name); });
    });
}

void CProgressBar::NotifyItem(TaskItemInfo& item) {
    const CString name = GetTaskName();
    m_observers->ForEach([&](CPrgAttachment& observer) { observer.UpdateItemEx(item.m_id, &item, name); });
}

void CProgressBar::NotifyRemoval(__int64 id) {
    const CString name = GetTaskName();
    m_observers->ForEach([&](CPrgAttachment& observer) { observer.RemoveItem(id, name); });
}

void CProgressBar::SaveItemList(CArchive& archive) {
    rampart::Guarded(_T("Error:SaveItemList"), [&] {
        rampart::CriticalLock save(m_saveLock);
        // Copies, so that a display that takes its time, or waits while the run is paused, does not hold up
        // the run.
        std::vector<TaskItemInfo> copies;
        {
            ListLock lock(*this, ListLock::kShortMs);
            if (!lock || !m_bSaveWaitList) {
                return;
            }
            copies.reserve(static_cast<size_t>(m_waitList.GetCount()));
            for (void* entry : m_waitList) {
                copies.push_back(*static_cast<TaskItemInfo*>(entry));
            }
        }
        CPtrList items;
        for (TaskItemInfo& copy : copies) {
            items.AddTail(&copy);
        }
        m_observers->ForEach([&](CPrgAttachment& observer) {
            observer.m_bStop = m_bCancel;
            observer.m_bPause = 0;
            observer.StoreItems(items, archive);
        });
    });
}

void CProgressBar::SaveProgressInfo(CArchive& archive) {
    rampart::Guarded(_T("Error:SaveProgressInfo"), [&] {
        rampart::CriticalLock save(m_saveLock);
        ListLock lock(*this, ListLock::kShortMs);
        if (!lock) {
            return;
        }
        m_observers->ForEach([&](CPrgAttachment& observer) {
            observer.m_bStop = m_bCancel;
            observer.m_bPause = 0;
            // Not what the observer was told last, which may be of another object.
            observer.StoreProgressInfoEx(archive, m_hasInfo ? &m_info : nullptr);
        });
    });
}

void CProgressBar::SavePrgbarItemList(CArchive& archive) {
    rampart::Guarded(_T("Error:SavePrgbarItemList"), [&] {
        ListLock lock(*this, ListLock::kShortMs);
        if (!lock) {
            return;
        }
        archive << static_cast<__int64>(m_items.GetCount());
        for (void* entry : m_items) {
            if (m_bCancel || rampart::IsAppEnding()) {
                return;
            }
            if (!entry) {
                // The list was changed behind this object's back: nobody is to touch it any more.
                LogErrorMessage(_T("Error: CPrgUIAttachment::StoreItems"));
                lock.Abandon();
                return;
            }
            rampart::StoreItem(*static_cast<TaskItemInfo*>(entry), archive);
        }
    });
}
