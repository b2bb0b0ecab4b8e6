#include <algorithm>
#include <limits>

#include "framework/safe_point.h"
#include "interfaces/baselib.h"
#include "interfaces/pause.h"
#include "interfaces/progresslib.h"
#include "platform/clock.h"
#include "progresslib/speed_meter.h"

using namespace rampart;

namespace {

int ClippedToInt(int64_t value) {
    return static_cast<int>(std::clamp<int64_t>(value, 0, std::numeric_limits<int>::max()));
}

}  // namespace

struct CTruePrgCallback::State {
    std::atomic<int> percent{0};
    std::atomic<int> cancelled{0};
    std::atomic<int> paused{0};
    std::atomic<__int64> sent{0};
    std::atomic<__int64> barSent{0};
    std::atomic<__int64> barTotal{0};
    std::atomic<uint32_t> lastTick{platform::TickCount()};

    Mutex mutex;
    SpeedMeter meter RAMPART_GUARDED_BY(mutex){platform::TickCount()};
    CString filePath RAMPART_GUARDED_BY(mutex);

    void AddSent(__int64 bytes) {
        const uint32_t now = platform::TickCount();
        sent += bytes;
        lastTick = now;
        MutexLock lock(mutex);
        meter.AddBytes(now, bytes);
    }

    int64_t AverageSpeed() {
        MutexLock lock(mutex);
        return meter.AverageSpeed(platform::TickCount(), sent);
    }
};

CTruePrgCallback::CTruePrgCallback() : m_state(std::make_unique<State>()) {}

CTruePrgCallback::~CTruePrgCallback() = default;

int CTruePrgCallback::DoProgress(int percent, CString) {
    m_state->percent = std::clamp(percent, 0, 100);
    m_state->lastTick = platform::TickCount();
    return IsClickedCancel() ? 0 : 1;
}

int CTruePrgCallback::DoProgressEx(CString const& file, __int64 bytes, int, __int64) {
    m_state->AddSent(bytes);
    if (!file.IsEmpty()) {
        SetFilePath(file);
    }
    while (IsPaused() && !IsClickedCancel() && !IsAppEnding()) {
        Sleep(kPauseStepMs);
    }
    SafePoint();
    return RefreshProgressInfo() && !IsClickedCancel() ? 1 : 0;
}

void CTruePrgCallback::SetByteSend(__int64 bytes, int mode) {
    if (mode != 0) {
        m_state->AddSent(bytes);
        return;
    }
    const uint32_t now = platform::TickCount();
    MutexLock lock(m_state->mutex);
    m_state->sent = bytes;
    m_state->lastTick = now;
    m_state->meter.Restart(now);
}

__int64 CTruePrgCallback::GetByteSend() {
    return m_state->sent;
}

int CTruePrgCallback::GetSpeed() {
    MutexLock lock(m_state->mutex);
    return ClippedToInt(m_state->meter.RecentSpeed(platform::TickCount()));
}

__int64 CTruePrgCallback::GetNowSent() {
    return m_state->sent;
}

int CTruePrgCallback::SetPercent(int percent, CString text) {
    if (percent > 0) {
        m_state->percent = std::min(percent, 100);
    }
    if (!text.IsEmpty()) {
        SetFilePath(text);
    }
    m_state->lastTick = platform::TickCount();
    return IsClickedCancel() ? 0 : 1;
}

int CTruePrgCallback::NextPercent() {
    return SetPercent(std::min(GetLastPercent() + 1, 100), GetFilePath());
}

void CTruePrgCallback::SetPause(int pause) {
    const uint32_t now = platform::TickCount();
    MutexLock lock(m_state->mutex);
    m_state->paused = pause != 0;
    pause != 0 ? m_state->meter.Pause(now) : m_state->meter.Resume(now);
}

void CTruePrgCallback::CancelMe() {
    m_state->cancelled = 1;
}

int CTruePrgCallback::RefreshProgressInfo() {
    return IsClickedCancel() || MiscUtil::IsAppStopping() ? 0 : 1;
}

CString CTruePrgCallback::GetFilePath() const {
    MutexLock lock(m_state->mutex);
    return m_state->filePath;
}

void CTruePrgCallback::SetFilePath(CString const& path) {
    MutexLock lock(m_state->mutex);
    m_state->filePath = path;
}

int CTruePrgCallback::GetLastPercent() const {
    return m_state->percent;
}

int CTruePrgCallback::IsClickedCancel() const {
    return m_state->cancelled;
}

int CTruePrgCallback::IsPaused() const {
    return m_state->paused;
}

int CTruePrgCallback::GetAveSpeed() const {
    return ClippedToInt(m_state->AverageSpeed());
}

int CTruePrgCallback::GetMillsecs() const {
    MutexLock lock(m_state->mutex);
    return ClippedToInt(static_cast<int64_t>(m_state->meter.ActiveMs(platform::TickCount())));
}

int CTruePrgCallback::GetRemSec() const {
    const int64_t speed = m_state->AverageSpeed();
    const int64_t left = m_state->barTotal - std::max(m_state->barSent.load(), m_state->sent.load());
    return speed > 0 && left > 0 ? ClippedToInt((left + speed - 1) / speed) : 0;
}

int CTruePrgCallback::GetBeginCount() const {
    MutexLock lock(m_state->mutex);
    return static_cast<int>(m_state->meter.Begin());
}

int CTruePrgCallback::GetLastCount() const {
    return static_cast<int>(m_state->lastTick.load());
}

void CTruePrgCallback::GetProgressBarInfo(__int64& sent, __int64& total) const {
    sent = m_state->barSent;
    total = m_state->barTotal;
}

void CTruePrgCallback::SetProgressBarInfo(__int64 sent, __int64 total) {
    const uint32_t now = platform::TickCount();
    MutexLock lock(m_state->mutex);
    m_state->barSent = sent;
    m_state->barTotal = total;
    if (m_state->sent == 0) {
        // What is to be done is known only now; the search for it does not count as slow work.
        m_state->meter.Restart(now);
    }
}

void CTruePrgCallback::EndProgress() {
    const uint32_t now = platform::TickCount();
    MutexLock lock(m_state->mutex);
    m_state->percent = 0;
    m_state->cancelled = 0;
    m_state->paused = 0;
    m_state->sent = 0;
    m_state->barSent = 0;
    m_state->barTotal = 0;
    m_state->lastTick = now;
    m_state->filePath = CString();
    m_state->meter = SpeedMeter(now);
}

void CTruePrgCallback::ClearCancel() {
    m_state->cancelled = 0;
}
