// CWinThread: a thread, and AfxBeginThread, which starts one.
#pragma once

#include <memory>

#include "framework/atomic_word.h"
#include "framework/types.h"
#include "framework/waitable.h"

namespace rampart {
class ThreadState;
}

using AFX_THREADPROC = UINT (*)(LPVOID argument);

// Lifetime. AfxBeginThread makes the object; with `m_bAutoDelete` set, which is so at first, it goes by
// itself after its thread has ended, but not at once: it stays whole for at least a minute, so that a pointer
// which is cleared when the thread ends may still be read by one who saw it just before. Within that time, or
// while the thread runs, it may also be deleted by hand. With the flag cleared it is the caller's to delete,
// at any time. A thread whose object is deleted goes on. The handle may be used for ever, also after the
// object is gone.
//
// What a thread's procedure throws ends the thread with kThreadFailed and is reported as "Error: thread"
// (guarded.h).
class VAULTLIB_API CWinThread {
public:
    CWinThread() = default;
    CWinThread(AFX_THREADPROC procedure, LPVOID argument) : m_procedure(procedure), m_argument(argument) {}
    CWinThread(const CWinThread&) = delete;
    CWinThread& operator=(const CWinThread&) = delete;
    virtual ~CWinThread();

    static constexpr DWORD kCreateSuspended = 4;
    static constexpr DWORD kThreadFailed = ~DWORD{0};

    // Starts the thread of an object that has none yet; 1 on success. For objects made by hand, which come
    // from `new` or clear `m_bAutoDelete` before. The thread calls the procedure, or Run where there is none;
    // an object whose Run is called must live until its thread has ended.
    BOOL CreateThread(DWORD flags = 0, UINT stackSize = 0, void* securityAttributes = nullptr);

    // Count before the call, or ~0 for a thread that never started or has ended. A thread is suspended while
    // its count is above 0; it stops at its next safe point (safe_point.h), and one that suspends itself
    // stops at once.
    DWORD SuspendThread();
    DWORD ResumeThread();

    // Below 0 is below normal. The thread takes it over at its next safe point.
    BOOL SetThreadPriority(int priority);
    int GetThreadPriority() const;

    // Run on the new thread of an object without a procedure. Run calls InitInstance and returns what
    // ExitInstance does.
    virtual BOOL InitInstance() { return FALSE; }
    virtual int Run();
    virtual int ExitInstance() { return 0; }

    rampart::Word<BOOL> m_bAutoDelete = TRUE;
    HANDLE m_hThread = nullptr;
    DWORD m_nThreadID = 0;

private:
    friend CWinThread* AfxBeginThread(AFX_THREADPROC, LPVOID, int, UINT, DWORD, void*);

    BOOL Start(int priority, DWORD flags);

    AFX_THREADPROC m_procedure = nullptr;
    LPVOID m_argument = nullptr;
    std::shared_ptr<rampart::ThreadState> m_state;
};

// Starts a thread that runs `procedure(argument)`; null if the system gives no thread. The thread's number is
// known when the call returns. `flags` 4 starts it suspended; stack size and security attributes have no
// effect.
VAULTLIB_API CWinThread* AfxBeginThread(AFX_THREADPROC procedure, LPVOID argument, int priority = 0,
                                        UINT stackSize = 0, DWORD flags = 0,
                                        void* securityAttributes = nullptr);

// The object of the calling thread, or null on a thread that was not started here.
VAULTLIB_API CWinThread* AfxGetThread();

namespace rampart {

// The same without an object. Null if the system gives no thread. There is nothing to close.
VAULTLIB_API HANDLE StartThread(AFX_THREADPROC procedure, LPVOID argument, int priority = 0, DWORD flags = 0);

// The code with which a thread ended, or kStillActive (259) while it runs. False for a handle that never
// named a thread. A thread that ended more than a minute ago and whose object is gone has the code 0.
VAULTLIB_API BOOL GetExitCodeThread(HANDLE thread, DWORD& exitCode);

// By handle; as the methods of CWinThread.
VAULTLIB_API DWORD SuspendThread(HANDLE thread);
VAULTLIB_API DWORD ResumeThread(HANDLE thread);
VAULTLIB_API BOOL SetThreadPriority(HANDLE thread, int priority);

// The number of the calling thread, the same as its `m_nThreadID`.
VAULTLIB_API DWORD CurrentThreadId();

// How many threads started here are running now.
VAULTLIB_API size_t RunningThreadCount();

}  // namespace rampart
