// What the framework knows of one thread that it started, and the process's list of such threads.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "framework/cwin_thread.h"
#include "platform/immortal.h"

namespace rampart {

// Signalled when the thread has ended. Held by the thread while it runs, by its object, and by the table of
// handles until a minute after its end. Any thread may call.
class ThreadState : public Waitable {
public:
    ThreadState(CWinThread* object, int priority, bool suspended);

    // Starts the thread, which runs `body` and ends with its result. Null if the system gives no thread. The
    // number is known when the call returns.
    static std::shared_ptr<ThreadState> Start(CWinThread* object, int priority, bool suspended,
                                              std::function<DWORD()> body);
    // That of the calling thread; null on one that was not started here.
    static ThreadState* Current();
    // Null for a handle that names no thread, or one of which nothing is known any more.
    static std::shared_ptr<ThreadState> FromThreadHandle(HANDLE thread);

    HANDLE Handle() const { return m_handle; }
    DWORD ThreadId() const { return m_threadId.load(); }
    DWORD ExitCode() const { return m_exitCode.load(); }
    int Priority() const { return m_priority.load(); }
    void SetPriority(int priority);
    DWORD Suspend();
    DWORD Resume();

    // On the thread itself.
    void PassSafePoint();

private:
    friend class ThreadList;

    static void Main(const std::shared_ptr<ThreadState>& state, const std::function<DWORD()>& body);

    HANDLE m_handle = nullptr;
    Waitable m_started{true, false};  // its number is known
    std::atomic<DWORD> m_threadId{0};
    std::atomic<DWORD> m_exitCode{kStillActive};
    std::atomic<bool> m_ended{false};
    std::atomic<int> m_priority;
    std::atomic<bool> m_priorityChanged;

    std::mutex m_mutex;
    std::condition_variable m_resumed;
    std::atomic<int> m_suspendCount;  // changed under the mutex

    CWinThread* m_object;  // guarded by the list's mutex; null without one
    bool m_forgotten =
        false;  // guarded by the list's mutex; its time is over, only its object keeps the handle
};

// Keeps ended threads for a while and drops their objects and handles after it. Any thread may call.
class ThreadList {
public:
    static ThreadList& Instance() {
        static Immortal<ThreadList> list;
        return *list;
    }

    void Started();
    // The thread that ends calls this before it is signalled.
    void Ended(const std::shared_ptr<ThreadState>& state);
    void NotStarted();
    void ObjectDies(ThreadState& state);
    CWinThread* ObjectOf(const ThreadState& state);
    size_t RunningCount();

private:
    struct EndedThread {
        uint64_t endedAtMs;
        std::shared_ptr<ThreadState> state;
    };

    std::mutex m_mutex;  // guards what follows, and the object of every thread
    size_t m_running = 0;
    std::deque<EndedThread> m_ended;
};

}  // namespace rampart
