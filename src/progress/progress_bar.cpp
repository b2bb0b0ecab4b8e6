// Numbers, states, cancel and pause of a progress object.
#include "progress/progress_bar.h"

#include "engine/vaultlib_app.h"
#include "framework/observer_calls.h"
#include "interfaces/baselib.h"
#include "platform/clock.h"
#include "progress/item_index.h"
#include "progress/list_lock.h"

namespace {

constexpr uint64_t kRefreshIntervalMs = 250;

// True once in an interval for the whole process.
bool IsRefreshDue() {
    static std::atomic<uint64_t> last{0};
    static std::atomic<bool> refreshed{false};
    const uint64_t now = rampart::platform::CurrentClock().MonotonicMilliseconds();
    uint64_t before = last.load();
    if (refreshed.exchange(true) && now - before < kRefreshIntervalMs) {
        return false;
    }
    return last.compare_exchange_strong(before, now);
}

}  // namespace

CProgressBar::CProgressBar()
    : m_hCancelEvent(rampart::CreateEventHandle(false, false)),
      m_hLock(rampart::CreateEventHandle(false, true)),
      m_index(std::make_unique<rampart::ItemIndex>(m_items)),
      m_observers(std::make_unique<rampart::ObserverCalls<CPrgAttachment>>(m_attachments)) {
    m_info.m_pCurrentFile = &m_infoFile;
    m_info.m_pStateText = &m_infoStateText;
}

CProgressBar::~CProgressBar() {
    m_observers->Mark([this](CPrgAttachment& observer) { observer.m_pInfo.Replace(&m_info, nullptr); });
    m_waitList.RemoveAll();
    m_index.reset();
    rampart::CloseHandle(m_hLock);
    rampart::CloseHandle(m_hCancelEvent);
}

int CProgressBar::SetPercent(int percent, CString text) {
    return rampart::Guarded(_T("Error:SetPercent"), 1, [&] {
        __int64 done = 0;
        __int64 total = 0;
        GetProgressBarInfo(done, total);
        if (m_bCancel || total < 1 || MiscUtil::IsAppStopping()) {
            return 0;
        }
        CTruePrgCallback::SetPercent(percent, text);
        SetFilePath(text);
        const __int64 sent = GetNowSent();
        if (total < sent) {
            SetProgressBarInfo(done, std::max(done, sent));
        }
        percent = std::min(percent, 100);
        if (percent > 0) {
            m_nPercent = percent;
        }
        ListLock lock(*this, ListLock::kLongMs);
        if (lock) {
            RefreshPrgInfoData();
            const CString name = GetTaskName();
            m_observers->ForEach(
                [&](CPrgAttachment& observer) { observer.SetPercent(percent, text, name, &m_info); });
        }
        return 1;
    });
}

int CProgressBar::NextPercent() {
    return SetPercent(m_nPercent + 1, GetFilePath());
}

int CProgressBar::RefreshProgressInfo() {
    if (IsClickedCancel() || MiscUtil::IsAppStopping()) {
        return 0;
    }
    if (!theVaultLibApp.m_pBackupManage || !IsRefreshDue()) {
        return 1;
    }
    rampart::Guarded(_T("Error:RefreshProgressInfo"), [&] {
        ListLock lock(*this, ListLock::kLongMs);
        if (!lock) {
            return;
        }
        RefreshPrgInfoData();
        POSITION position = nullptr;
        TaskItemInfo* item = FindPathItem(CurrentFile(), position);
        if (!item) {
            return;
        }
        if (!IsBatchWorking()) {
            RefreshCurrentItem(*item);
        }
        RefreshWaitingItems();
        const CString name = GetTaskName();
        m_observers->ForEach([&](CPrgAttachment& observer) { observer.RefreshProgressInfo(name, &m_info); });
    });
    return 1;
}

void CProgressBar::RefreshCurrentItem(TaskItemInfo& item) {
    const __int64 left = item.m_nSize + (m_nBeginSent - GetNowSent());
    item.m_nDone = std::min(std::max<__int64>(left, 0), item.m_nSize);
    const int speed = GetSpeed();
    if (speed > 0) {
        item.m_nSeconds = (item.m_nDone + speed - 1) / speed;
    }
    item.m_nRate = speed;
    NotifyItem(item);
}

void CProgressBar::RefreshWaitingItems() {
    if (m_waitList.IsEmpty() || m_nWaitBytes <= 0) {
        return;
    }
    const __int64 share = (m_nWaitBytes / 2 + (GetNowSent() - m_nBeginSent) * 100 + 1) / m_nWaitBytes;
    const __int64 rest = 100 - std::clamp<__int64>(share, 0, 100);
    const int speed = GetSpeed();
    for (void* entry : m_waitList) {
        auto& item = *static_cast<TaskItemInfo*>(entry);
        item.m_nStatus = TaskItemInTransfer;
        item.m_nDone = rest * item.m_nSize / 100;
        if (speed != 0) {
            item.m_nSeconds = rest * m_nWaitBytes / 100 / speed;
            if (item.m_nSeconds != 0) {
                item.m_nRate = item.m_nDone / item.m_nSeconds;
            }
        }
        NotifyItem(item);
    }
}

void CProgressBar::RefreshPrgInfoData() {
    m_info.m_nPercent = m_nPercent;
    m_info.m_nNowSent = GetNowSent();
    m_info.m_nSpeed = GetSpeed();
    m_info.m_nAveSpeed = GetAveSpeed();
    m_info.m_nRemSec = GetRemSec();
    m_info.m_nLastPercent = GetLastPercent();
    m_info.m_nBeginCount = GetBeginCount();
    m_info.m_nLastCount = GetLastCount();
    m_info.m_nMillsecs = GetMillsecs();
    GetProgressBarInfo(m_info.m_nBarDone, m_info.m_nBarTotal);
    m_info.m_nByteSend = GetByteSend();
    m_infoFile = CurrentFile();
    m_infoStateText = GetStateString();
    m_info.m_nState = m_nState;
    m_hasInfo = true;
    m_observers->Mark([this](CPrgAttachment& observer) { observer.m_pInfo = &m_info; });
}

int CProgressBar::SetState(ProgressState state) {
    return rampart::Guarded(_T("Error:SetState"), 1, [&] {
        ListLock lock(*this, ListLock::kShortMs);
        if (!lock) {
            return 0;
        }
        m_nState = state;
        RefreshPrgInfoData();
        const CString name = GetTaskName();
        m_observers->ForEach([&](CPrgAttachment& observer) { observer.SetState(state, name, &m_info); });
        return 1;
    });
}

int CProgressBar::SetStateString(CString text, CString const& taskName) {
    return rampart::Guarded(_T("Error:SetStateString"), 1, [&] {
        CKorvaneAutoLock lock(&m_stateLock, _T("SetStateString"), 0);
        if (m_strStateText != text) {
            m_strStateText = text;
            m_observers->ForEach([&](CPrgAttachment& observer) { observer.SetStateString(text, taskName); });
        }
        return 1;
    });
}

CString CProgressBar::GetStateString() {
    rampart::CriticalLock lock(m_stateLock);
    return m_strStateText;
}

int CProgressBar::EndCurrent() {
    return rampart::Guarded(_T("Error:EndCurrent"), 1, [&] {
        EmptyData();
        SetPause(0);
        ListLock lock(*this, ListLock::kEndMs);
        if (!lock) {
            return 0;
        }
        const CString name = GetTaskName();
        rampart::Guarded(_T("Error:EndCurrent"), [&] {
            m_observers->ForEach([&](CPrgAttachment& observer) { observer.EndCurrent(name); });
        });
        m_current = nullptr;
        RemoveItemList();
        return 1;
    });
}

void CProgressBar::EmptyData() {
    rampart::Guarded(_T("Error:EmptyData"), [&] {
        m_bCancel = 0;
        m_nPercent = 0;
        {
            rampart::MutexLock lock(m_pauseMutex);
            const int paused = IsPaused();
            EndProgress();
            if (paused) {
                SetPause(paused);
            }
        }
        SetFilePath(CString());
        {
            rampart::MutexLock text(m_textMutex);
            m_strCurrentFile.Empty();
        }
        ListLock lock(*this, ListLock::kLongMs);
        if (lock) {
            m_info = ProgresInfo();
            m_infoFile.Empty();
            m_infoStateText.Empty();
            m_info.m_pCurrentFile = &m_infoFile;
            m_info.m_pStateText = &m_infoStateText;
            m_current = nullptr;
        }
    });
}

void CProgressBar::CancelMe() {
    rampart::Guarded(_T("Error:CancelMe"), [&] {
        m_observers->Mark([](CPrgAttachment& observer) { observer.m_bStop = 1; });
        m_bCancel = 1;
        rampart::SetEvent(m_hCancelEvent);
        CTruePrgCallback::CancelMe();
        rampart::MutexLock lock(m_pauseMutex);
        ReleaseIfHeld();  // a thread that stays suspended would never see the cancel
    });
}

int CProgressBar::Pause(CString const&) {
    return rampart::Guarded(_T("Error:Pause"), 1, [&] {
        rampart::MutexLock lock(m_pauseMutex);
        if (IsClickedCancel()) {
            return 1;  // it is to come to its end
        }
        m_observers->Mark([](CPrgAttachment& observer) { observer.m_bPause = 1; });
        if (!IsPaused()) {
            ApiUtil::SetSuspendStatus(1);
            SetPause(1);
            m_bHeld = 1;
            rampart::SuspendThread(m_pWorker.Handle());
            rampart::SuspendThread(m_copyWorker.Handle());
        }
        return 1;
    });
}

void CProgressBar::ClearOldPause() {
    rampart::MutexLock lock(m_pauseMutex);
    if (!m_bHeld) {
        SetPause(0);
    }
}

int CProgressBar::Resume(CString const&) {
    return rampart::Guarded(_T("Error:Resume"), 1, [&] {
        rampart::MutexLock lock(m_pauseMutex);
        Release();
        return 1;
    });
}

void CProgressBar::Release() {
    m_observers->Mark([](CPrgAttachment& observer) { observer.m_bPause = 0; });
    ApiUtil::SetSuspendStatus(0);
    SetPause(0);
    m_bHeld = 0;
    rampart::ResumeThread(m_pWorker.Handle());
    rampart::ResumeThread(m_copyWorker.Handle());
}

void CProgressBar::ReleaseIfHeld() {
    if (m_bHeld || IsPaused()) {
        Release();
    }
}

void CProgressBar::LeaveRun() {
    rampart::MutexLock lock(m_pauseMutex);
    ReleaseIfHeld();
    m_pWorker = nullptr;
    m_copyWorker = nullptr;
}

int CProgressBar::Stop(CString const& taskName, unsigned long seconds) {
    return rampart::Guarded(_T("Error: prg-Stop"), 1, [&] {
        m_observers->ForEach([&](CPrgAttachment& observer) { observer.Stop(taskName, seconds, 0); });
        return 1;
    });
}

int CProgressBar::BatchBegin() {
    return rampart::Guarded(_T("Error:BatchBegin"), 1, [&] {
        m_observers->ForEach([](CPrgAttachment& observer) { observer.BatchBegin(); });
        return 1;
    });
}

int CProgressBar::BatchEnd() {
    return rampart::Guarded(_T("Error:BatchEnd"), 1, [&] {
        m_observers->ForEach([](CPrgAttachment& observer) { observer.BatchEnd(); });
        return 1;
    });
}

int CProgressBar::AddAttachment(CPrgAttachment* attachment) {
    return attachment && m_observers->Add(attachment);
}

int CProgressBar::RemoveAttachment(CPrgAttachment* attachment) {
    const auto endStoreLoops = [](CPrgAttachment& observer) {
        observer.m_bStop = 1;
        observer.m_bPause = 0;
    };
    if (!attachment || !m_observers->Remove(attachment, endStoreLoops)) {
        return 0;
    }
    attachment->m_pInfo.Replace(&m_info, nullptr);
    return 1;
}

void CProgressBar::SetTaskName(CString const& name) {
    rampart::MutexLock lock(m_textMutex);
    m_strTaskName = name;
}

CString CProgressBar::GetTaskName() const {
    rampart::MutexLock lock(m_textMutex);
    return m_strTaskName;
}

CString CProgressBar::CurrentFile() const {
    rampart::MutexLock lock(m_textMutex);
    return m_strCurrentFile;
}

void CProgressBar::SetBatch(BatchMode* batch) {
    rampart::MutexLock lock(m_batchMutex);
    m_pBatch = batch;
}

bool CProgressBar::IsBatchWorking() {
    rampart::MutexLock lock(m_batchMutex);
    BatchMode* batch = m_pBatch;
    return batch && batch->IsBatchWorking();
}
