#include "framework/thread_state.h"

#include <vector>

#include "framework/guarded.h"
#include "framework/handle_table.h"
#include "framework/safe_point.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "platform/thread.h"

namespace rampart {
namespace {

constexpr uint64_t kKeptMs = 60'000;
constexpr size_t kKeptAtLeast = 64;

thread_local ThreadState* currentThread = nullptr;
thread_local int safePointHolds = 0;

}  // namespace

// --- ThreadState ---

ThreadState::ThreadState(CWinThread* object, int priority, bool suspended)
    : Waitable(true, false),
      m_priority(priority),
      m_priorityChanged(priority != 0),
      m_suspendCount(suspended ? 1 : 0),
      m_object(object) {}

std::shared_ptr<ThreadState> ThreadState::Start(CWinThread* object, int priority, bool suspended,
                                                std::function<DWORD()> body) {
    auto state = std::make_shared<ThreadState>(object, priority, suspended);
    state->m_handle = HandleTable::Instance().Add(state, HandleTable::Kind::kThread);
    ThreadList::Instance().Started();
    if (!platform::StartDetachedThread([state, body = std::move(body)] { Main(state, body); })) {
        ThreadList::Instance().NotStarted();
        HandleTable::Instance().Remove(state->m_handle);
        return nullptr;
    }
    state->m_started.Wait(kWaitForever);
    return state;
}

void ThreadState::Main(const std::shared_ptr<ThreadState>& state, const std::function<DWORD()>& body) {
    currentThread = state.get();
    state->m_threadId.store(static_cast<DWORD>(platform::ThreadId()));
    state->m_started.Signal();
    SafePoint();
    const DWORD exitCode = Guarded(_T("Error: thread"), CWinThread::kThreadFailed, body);
    state->m_exitCode.store(exitCode);
    state->m_ended.store(true);
    ThreadList::Instance().Ended(state);
    currentThread = nullptr;
    state->Signal();
}

ThreadState* ThreadState::Current() {
    return currentThread;
}

std::shared_ptr<ThreadState> ThreadState::FromThreadHandle(HANDLE thread) {
    const HandleTable& table = HandleTable::Instance();
    return table.IsThread(thread) ? std::static_pointer_cast<ThreadState>(table.Find(thread)) : nullptr;
}

void ThreadState::SetPriority(int priority) {
    m_priority.store(priority);
    m_priorityChanged.store(true);
}

DWORD ThreadState::Suspend() {
    DWORD before = 0;
    {
        std::lock_guard lock(m_mutex);
        if (m_ended.load()) {
            return ~DWORD{0};
        }
        before = static_cast<DWORD>(m_suspendCount.fetch_add(1));
    }
    if (currentThread == this) {
        SafePoint();
    }
    return before;
}

DWORD ThreadState::Resume() {
    std::lock_guard lock(m_mutex);
    if (m_ended.load()) {
        return ~DWORD{0};
    }
    const int before = m_suspendCount.load();
    if (before > 0) {
        m_suspendCount.store(before - 1);
        m_resumed.notify_all();
    }
    return static_cast<DWORD>(before);
}

void ThreadState::PassSafePoint() {
    if (m_priorityChanged.load(std::memory_order_relaxed) && m_priorityChanged.exchange(false)) {
        platform::SetThreadPriority(m_priority.load());
    }
    if (m_suspendCount.load(std::memory_order_relaxed) > 0 && safePointHolds == 0) {
        std::unique_lock lock(m_mutex);
        m_resumed.wait(lock, [this] { return m_suspendCount.load() == 0; });
    }
}

// --- ThreadList ---

void ThreadList::Started() {
    std::lock_guard lock(m_mutex);
    ++m_running;
}

void ThreadList::NotStarted() {
    std::lock_guard lock(m_mutex);
    --m_running;
}

void ThreadList::Ended(const std::shared_ptr<ThreadState>& state) {
    const uint64_t nowMs = platform::CurrentClock().MonotonicMilliseconds();
    std::vector<std::unique_ptr<CWinThread>> outdated;  // die outside the lock
    std::vector<HANDLE> closed;
    {
        std::lock_guard lock(m_mutex);
        --m_running;
        m_ended.push_back({nowMs, state});
        while (m_ended.size() > kKeptAtLeast && nowMs - m_ended.front().endedAtMs >= kKeptMs) {
            ThreadState& oldest = *m_ended.front().state;
            if (oldest.m_object && oldest.m_object->m_bAutoDelete) {
                outdated.emplace_back(std::exchange(oldest.m_object, nullptr));
            }
            if (oldest.m_object) {
                oldest.m_forgotten = true;
            } else {
                closed.push_back(oldest.m_handle);
            }
            m_ended.pop_front();
        }
    }
    for (const HANDLE handle : closed) {
        HandleTable::Instance().Remove(handle);
    }
}

void ThreadList::ObjectDies(ThreadState& state) {
    std::unique_lock lock(m_mutex);
    state.m_object = nullptr;
    const bool close = state.m_forgotten;
    lock.unlock();
    if (close) {
        HandleTable::Instance().Remove(state.m_handle);
    }
}

CWinThread* ThreadList::ObjectOf(const ThreadState& state) {
    std::lock_guard lock(m_mutex);
    return state.m_object;
}

size_t ThreadList::RunningCount() {
    std::lock_guard lock(m_mutex);
    return m_running;
}

// --- Safe points ---

void SafePoint() {
    if (currentThread) {
        currentThread->PassSafePoint();
    }
}

void Sleep(DWORD milliseconds) {
    SafePoint();
    platform::SleepMilliseconds(milliseconds);
    SafePoint();
}

void SafePointHold::Begin() {
    ++safePointHolds;
}

void SafePointHold::End() {
    --safePointHolds;
}

}  // namespace rampart
