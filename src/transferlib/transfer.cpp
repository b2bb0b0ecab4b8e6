#include "transferlib/transfer.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "framework/cwin_thread.h"
#include "framework/safe_point.h"
#include "interfaces/baselib.h"
#include "storage/service_code.h"

namespace rampart {
namespace {

constexpr DWORD kSuspendedPollMs = 20;

std::atomic<bool> g_suspended{false};

int PercentOf(int64_t done, int64_t total) {
    if (total <= 0) {
        return 100;
    }
    const double share = static_cast<double>(done) / static_cast<double>(total);
    return static_cast<int>(100.0 * std::min(1.0, share));
}

}  // namespace

struct Transfer::RunningList {
    std::mutex mutex;  // guards what follows
    std::vector<Transfer*> transfers;

    static RunningList& Get() {
        static RunningList list;
        return list;
    }
};

void SetTransfersSuspended(bool suspended) {
    g_suspended = suspended;
}

bool CutTransfersOfThread(unsigned long threadId) {
    Transfer::RunningList& list = Transfer::RunningList::Get();
    std::lock_guard lock(list.mutex);
    bool found = false;
    for (Transfer* transfer : list.transfers) {
        if (transfer->m_threadId == threadId) {
            transfer->m_cut = true;
            found = true;
        }
    }
    return found;
}

Transfer::Transfer(ProgressCallBack* callback, const std::atomic<bool>* cancelled)
    : m_callback(callback), m_cancelled(cancelled), m_threadId(CurrentThreadId()) {
    RunningList& list = RunningList::Get();
    std::lock_guard lock(list.mutex);
    list.transfers.push_back(this);
}

Transfer::~Transfer() {
    RunningList& list = RunningList::Get();
    std::lock_guard lock(list.mutex);
    std::erase(list.transfers, this);
}

int Transfer::State() const {
    if (m_cancelled != nullptr && *m_cancelled) {
        return kCancelled;
    }
    return m_cut ? kConnectionFailed : kOk;
}

int Transfer::Advance(const CString& file, int64_t bytes, int64_t done, int64_t total) {
    return Advance(m_callback, file, bytes, done, total);
}

int Transfer::Advance(ProgressCallBack* callback, const CString& file, int64_t bytes, int64_t done,
                      int64_t total) {
    SafePoint();
    const int percent = PercentOf(done, total);
    for (;; bytes = 0) {
        if (const int code = State()) {
            return code;
        }
        if (callback != nullptr && callback->DoProgressEx(file, bytes, percent, total) == 0) {
            return kCancelled;
        }
        if (!g_suspended) {
            return State();
        }
        if (MiscUtil::IsAppStopping()) {
            return kCancelled;
        }
        Sleep(kSuspendedPollMs);
    }
}

}  // namespace rampart
