#include "framework/cwin_thread.h"

#include <thread>

#include "framework/cstring.h"
#include "framework/guarded.h"
#include "framework/sync.h"
#include "platform/process.h"
#include "support/scripted_clock.h"

using rampart::GetExitCodeThread;
using rampart::kWaitForever;
using rampart::kWaitSignaled;
using rampart::kWaitTimedOut;
using rampart::WaitForObject;

namespace {

// A procedure for AfxBeginThread out of any callable that outlives the thread.
template <class Body>
UINT Call(LPVOID body) {
    return (*static_cast<Body*>(body))();
}

template <class Body>
CWinThread* Begin(Body& body, DWORD flags = 0) {
    return AfxBeginThread(Call<Body>, &body, 0, 0, flags);
}

DWORD ExitCode(HANDLE thread) {
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, code));
    return code;
}

}  // namespace

TEST(Thread, RunsAndLeavesItsCode) {
    CEvent go(FALSE, TRUE);
    DWORD idInside = 0;
    CWinThread* objectInside = nullptr;
    auto body = [&]() -> UINT {
        idInside = rampart::CurrentThreadId();
        objectInside = AfxGetThread();
        WaitForObject(go, kWaitForever);
        return 17;
    };
    CWinThread* thread = Begin(body);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(ExitCode(thread->m_hThread), 259u);
    EXPECT_EQ(WaitForObject(thread->m_hThread, 0), kWaitTimedOut);
    EXPECT_FALSE(rampart::SetEvent(thread->m_hThread));
    go.SetEvent();
    EXPECT_EQ(WaitForObject(thread->m_hThread, kWaitForever), kWaitSignaled);
    EXPECT_EQ(ExitCode(thread->m_hThread), 17u);
    EXPECT_EQ(thread->m_nThreadID, idInside);
    EXPECT_EQ(thread, objectInside);
    EXPECT_NE(idInside, rampart::CurrentThreadId());
    EXPECT_EQ(AfxGetThread(), nullptr);
    EXPECT_EQ(thread->SuspendThread(), ~DWORD{0});
    EXPECT_TRUE(rampart::CloseHandle(thread->m_hThread));
    EXPECT_EQ(ExitCode(thread->m_hThread), 17u);
}

TEST(Thread, AnExceptionEndsItAlone) {
    static std::atomic<int> lines = 0;
    lines = 0;
    const rampart::GuardSink before = rampart::SetGuardSink(
        [](rampart::TextView line, const std::string&) { lines += line == _T("Error: thread"); });
    auto body = []() -> UINT { throw std::runtime_error("lost"); };
    CWinThread* thread = Begin(body);
    EXPECT_EQ(WaitForObject(thread->m_hThread, kWaitForever), kWaitSignaled);
    EXPECT_EQ(ExitCode(thread->m_hThread), CWinThread::kThreadFailed);
    EXPECT_EQ(lines, 1);
    rampart::SetGuardSink(before);
}

TEST(Thread, SuspendedStopsAtASafePointOnly) {
    std::atomic<int> steps = 0;
    std::atomic<bool> end = false;
    auto body = [&]() -> UINT {
        while (!end) {
            ++steps;
            rampart::SafePoint();
            std::this_thread::yield();
        }
        return 0;
    };
    CWinThread* thread = Begin(body, CWinThread::kCreateSuspended);
    EXPECT_EQ(WaitForObject(thread->m_hThread, 20), kWaitTimedOut);
    EXPECT_EQ(steps, 0);
    EXPECT_EQ(thread->SuspendThread(), 1u);
    EXPECT_EQ(thread->ResumeThread(), 2u);
    EXPECT_EQ(thread->ResumeThread(), 1u);
    EXPECT_EQ(thread->ResumeThread(), 0u);
    while (steps < 10) {
        std::this_thread::yield();
    }
    EXPECT_EQ(thread->SuspendThread(), 0u);
    // After two more steps at most it stands still.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const int standing = steps;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_LE(steps, standing + 1);
    end = true;
    EXPECT_EQ(WaitForObject(thread->m_hThread, 20), kWaitTimedOut);
    EXPECT_EQ(rampart::ResumeThread(thread->m_hThread), 1u);
    EXPECT_EQ(WaitForObject(thread->m_hThread, kWaitForever), kWaitSignaled);
}

TEST(Thread, DoesNotStopWhileItHoldsALock) {
    CCriticalSection section;
    CEvent locked, go, passed;
    auto body = [&]() -> UINT {
        section.Lock();
        locked.SetEvent();
        WaitForObject(go, kWaitForever);
        rampart::Sleep(1);
        section.Unlock();
        passed.SetEvent();
        rampart::SafePoint();
        return 0;
    };
    CWinThread* thread = Begin(body);
    WaitForObject(locked, kWaitForever);
    thread->SuspendThread();
    go.SetEvent();
    EXPECT_EQ(WaitForObject(passed, kWaitForever), kWaitSignaled);
    EXPECT_TRUE(section.Lock(0));
    section.Unlock();
    EXPECT_EQ(WaitForObject(thread->m_hThread, 20), kWaitTimedOut);
    thread->ResumeThread();
    EXPECT_EQ(WaitForObject(thread->m_hThread, kWaitForever), kWaitSignaled);
}

TEST(Thread, ItsObjectMayBeDeletedWhileItRuns) {
    CEvent go;
    auto body = [&]() -> UINT {
        WaitForObject(go, kWaitForever);
        return AfxGetThread() == nullptr ? 3 : 4;
    };
    CWinThread* thread = Begin(body);
    thread->m_bAutoDelete = FALSE;
    const HANDLE handle = thread->m_hThread;
    delete thread;
    EXPECT_EQ(ExitCode(handle), 259u);
    go.SetEvent();
    EXPECT_EQ(WaitForObject(handle, kWaitForever), kWaitSignaled);
    EXPECT_EQ(ExitCode(handle), 3u);
}

TEST(Thread, ObjectsGoSomeTimeAfterTheirThreadsAndHandlesStay) {
    static std::atomic<int> alive = 0;
    class Counted : public CWinThread {
    public:
        Counted() { ++alive; }
        ~Counted() override { --alive; }
        int Run() override { return 5; }
    };
    rampart::test::ScriptedClock clock(1'700'000'000);
    const auto runOne = [](bool autoDelete) {
        Counted* thread = new Counted;
        thread->m_bAutoDelete = autoDelete;
        EXPECT_TRUE(thread->CreateThread());
        EXPECT_FALSE(thread->CreateThread());
        EXPECT_EQ(WaitForObject(thread->m_hThread, kWaitForever), kWaitSignaled);
        return thread;
    };
    const HANDLE handle = runOne(true)->m_hThread;
    Counted* kept = runOne(false);
    for (int count = 0; count < 100; ++count) {
        runOne(true);
    }
    EXPECT_EQ(alive, 102);  // nothing goes before its time
    EXPECT_EQ(ExitCode(handle), 5u);
    clock.Advance(61);
    runOne(true);
    EXPECT_LT(alive, 70);
    EXPECT_EQ(WaitForObject(handle, kWaitForever), kWaitSignaled);
    EXPECT_EQ(ExitCode(handle), 0u);
    EXPECT_EQ(ExitCode(kept->m_hThread), 5u);
    const HANDLE keptHandle = kept->m_hThread;
    delete kept;
    EXPECT_EQ(WaitForObject(keptHandle, 0), kWaitSignaled);
    EXPECT_EQ(rampart::FromHandle(keptHandle), nullptr);
}

TEST(Thread, ManyAtOnceWithoutObjects) {
    static std::atomic<int> sum = 0;
    sum = 0;
    std::vector<HANDLE> threads;
    for (intptr_t number = 0; number < 64; ++number) {
        threads.push_back(rampart::StartThread(
            [](LPVOID argument) -> UINT {
                sum += static_cast<int>(reinterpret_cast<intptr_t>(argument));
                rampart::Sleep(1);
                return 0;
            },
            reinterpret_cast<LPVOID>(number), -1));
    }
    for (const HANDLE thread : threads) {
        EXPECT_EQ(WaitForObject(thread, kWaitForever), kWaitSignaled);
    }
    EXPECT_EQ(sum, 64 * 63 / 2);
    EXPECT_EQ(rampart::RunningThreadCount(), 0u);
    DWORD code = 0;
    CEvent event;
    EXPECT_FALSE(GetExitCodeThread(event, code));
    EXPECT_FALSE(GetExitCodeThread(nullptr, code));
    EXPECT_EQ(rampart::SuspendThread(event), ~DWORD{0});
}
