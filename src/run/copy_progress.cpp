#include "run/copy_progress.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <utility>

#include "interfaces/baselib.h"
#include "link/manage_multiple_running_task.h"
#include "platform/clock.h"
#include "progress/task_prg.h"
#include "run/run_state.h"
#include "task/backup_task.h"

namespace rampart {

namespace {

constexpr uint32_t kPausePollMs = 200;
constexpr uint32_t kLongestStretchMs = 9999;
constexpr double kDebtLimitMs = 5000.0;
constexpr double kLongestRestMs = 2000.0;
constexpr double kShortestRestMs = 5.0;
constexpr uint32_t kReadStretchMs = 10;  // of small files, many of which take no millisecond
constexpr uint32_t kDisplayMs = 1000;
constexpr int kNearlyDone = 99;

// One copy runs at a time as a rule; with several tasks running they share this state.
struct CopyState {
    std::mutex mutex;
    uint32_t lastTick = 0;
    uint32_t lastDisplayTick = 0;
    __int64 finishedBytes = 0;
    CopyRest rest;
    uint32_t readMs = 0;  // spent on files that were read in place of a copy, since the last rest
};

CopyState& State() {
    static CopyState state;
    return state;
}

int SpeedCap() {
    static int const cap = DictUtil::GetConfigInt(_T("Options"), _T("CopySpeedCap"), _T("80"), _T(""));
    return cap;
}

std::atomic<int> s_dutyLimit{0};  // 0: the setting holds

int PresentDuty() {
    int const limit = s_dutyLimit;
    return limit != 0 ? limit : CopyDuty(SpeedCap());
}

bool IsLimiting(int duty) {
    return duty >= 1 && duty <= kNearlyDone;
}

// The rest that is due now; notes the work done since the last call.
uint32_t RestDue(CopyState& state, int percent) {
    std::lock_guard const lock(state.mutex);
    if (percent == 0) {
        state.lastTick = 0;
    }
    uint32_t const elapsed = platform::TickCount() - state.lastTick;
    int const duty = PresentDuty();
    if (state.lastTick == 0 || elapsed < 1 || elapsed > kLongestStretchMs || !IsLimiting(duty)) {
        return 0;
    }
    return state.rest.After(elapsed, duty);
}

// `finished` bytes were copied before this file.
void ShowCopy(CTaskPrgClass& progress, CBackupTask& task, __int64 finished, int percent, __int64 total,
              __int64 moved) {
    CString const name = progress.GetTaskName();
    CString text;
    if (task.IsEmailBackup()) {
        __int64 sent = 0;
        __int64 all = 0;
        progress.GetProgressBarInfo(sent, all);
        __int64 const done = finished + (moved != total ? moved : 0);
        text = DictionaryFormat(_T("EmailSnashop"), all > 0 ? done * 100 / all : 0, all / kMegabyte,
                                LastElement(task.m_copyingFilePath), percent, total / kMegabyte);
    } else if (task.IsSendCopyInfoToPrgbar()) {
        text = DictionaryFormat(_T("CopyCache"), percent, FormatSizeToString(total, 0),
                                LastElement(task.m_copyingFilePath));
    } else {
        return;
    }
    progress.SetStateString(text, name);
    progress.SetState(ProgressStateSearching);
}

}  // namespace

void LimitCopyDuty(int percent) {
    s_dutyLimit = percent;
}

void RestAfterRead(uint32_t elapsedMs) {
    CopyState& state = State();
    uint32_t rest = 0;
    {
        std::lock_guard const lock(state.mutex);
        state.readMs += elapsedMs;
        int const duty = PresentDuty();
        if (state.readMs < kReadStretchMs || !IsLimiting(duty)) {
            return;
        }
        rest = state.rest.After(std::min(std::exchange(state.readMs, 0), kLongestStretchMs), duty);
    }
    if (rest > 0) {
        platform::SleepMilliseconds(rest);
    }
}

int CopyDuty(int cap) {
    return static_cast<int>(std::trunc(cap * 0.5 + 10.0));
}

uint32_t CopyRest::After(uint32_t elapsedMs, int duty) {
    double const extra = static_cast<double>(100 - duty) / duty * elapsedMs;
    double const debt = std::min(m_debtMs, kDebtLimitMs) + extra;
    if (debt > kLongestRestMs) {
        m_debtMs = debt - kLongestRestMs;
        return static_cast<uint32_t>(kLongestRestMs);
    }
    if (debt > kShortestRestMs) {
        m_debtMs = 0.0;
        return static_cast<uint32_t>(extra);  // not the debt: a small one is forgiven here
    }
    m_debtMs = debt;
    return 0;
}

unsigned long CopyProgressRoutine(__int64 totalBytes, __int64 movedBytes, void* data) {
    auto* const progress = static_cast<CTaskPrgClass*>(data);
    if (progress == nullptr) {
        return kCopyGoOn;
    }
    while (progress->IsPaused() && !IsRunEnding(progress)) {
        platform::SleepMilliseconds(kPausePollMs);
    }
    if (IsRunEnding(progress)) {
        return kCopyStop;
    }
    int const percent = totalBytes > 0 ? static_cast<int>(movedBytes * 100 / totalBytes) : 100;
    CopyState& state = State();
    if (movedBytes == totalBytes) {
        __int64 sent = 0;
        __int64 total = 0;
        progress->GetProgressBarInfo(sent, total);
        std::lock_guard const lock(state.mutex);
        state.finishedBytes += totalBytes;
        if (state.finishedBytes >= total) {
            state.finishedBytes = 0;
        }
    }
    if (uint32_t const rest = RestDue(state, percent)) {
        platform::SleepMilliseconds(rest);
    }
    __int64 finished = 0;
    {
        std::lock_guard const lock(state.mutex);
        finished = state.finishedBytes;
        uint32_t const now = platform::TickCount();
        state.lastTick = now;
        if (now - state.lastDisplayTick < kDisplayMs && percent < kNearlyDone) {
            return kCopyGoOn;
        }
        state.lastDisplayTick = now;
    }
    CBackupTask* const task =
        ManageMultipleRunningTask::GetInstance()->GetWorkingTaskByName(progress->GetTaskName());
    if (task != nullptr) {
        ShowCopy(*progress, *task, finished, percent, totalBytes, movedBytes);
    }
    return kCopyGoOn;
}

}  // namespace rampart
