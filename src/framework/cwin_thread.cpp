#include "framework/cwin_thread.h"

#include <utility>

#include "framework/handle_table.h"
#include "framework/thread_state.h"
#include "platform/process.h"

using rampart::ThreadList;
using rampart::ThreadState;

CWinThread::~CWinThread() {
    if (m_state) {
        ThreadList::Instance().ObjectDies(*m_state);
    }
}

BOOL CWinThread::CreateThread(DWORD flags, UINT, void*) {
    return Start(0, flags);
}

BOOL CWinThread::Start(int priority, DWORD flags) {
    if (m_state) {
        return FALSE;
    }
    // An object with a procedure is not touched by its thread: it may be deleted meanwhile.
    std::function<DWORD()> body;
    if (m_procedure) {
        body = [procedure = m_procedure, argument = m_argument] { return DWORD{procedure(argument)}; };
    } else {
        body = [this] { return static_cast<DWORD>(Run()); };
    }
    m_state = ThreadState::Start(this, priority, (flags & kCreateSuspended) != 0, std::move(body));
    if (!m_state) {
        return FALSE;
    }
    m_hThread = m_state->Handle();
    m_nThreadID = m_state->ThreadId();
    return TRUE;
}

DWORD CWinThread::SuspendThread() {
    return m_state ? m_state->Suspend() : ~DWORD{0};
}

DWORD CWinThread::ResumeThread() {
    return m_state ? m_state->Resume() : ~DWORD{0};
}

BOOL CWinThread::SetThreadPriority(int priority) {
    if (!m_state) {
        return FALSE;
    }
    m_state->SetPriority(priority);
    return TRUE;
}

int CWinThread::GetThreadPriority() const {
    return m_state ? m_state->Priority() : 0;
}

int CWinThread::Run() {
    InitInstance();
    return ExitInstance();
}

CWinThread* AfxBeginThread(AFX_THREADPROC procedure, LPVOID argument, int priority, UINT, DWORD flags,
                           void*) {
    auto thread = std::make_unique<CWinThread>(procedure, argument);
    return thread->Start(priority, flags) ? thread.release() : nullptr;
}

CWinThread* AfxGetThread() {
    const ThreadState* state = ThreadState::Current();
    return state ? ThreadList::Instance().ObjectOf(*state) : nullptr;
}

namespace rampart {

HANDLE StartThread(AFX_THREADPROC procedure, LPVOID argument, int priority, DWORD flags) {
    const bool suspended = (flags & CWinThread::kCreateSuspended) != 0;
    const std::shared_ptr<ThreadState> state =
        ThreadState::Start(nullptr, priority, suspended, [=] { return DWORD{procedure(argument)}; });
    return state ? state->Handle() : nullptr;
}

BOOL GetExitCodeThread(HANDLE thread, DWORD& exitCode) {
    if (!HandleTable::Instance().IsThread(thread)) {
        return FALSE;
    }
    const std::shared_ptr<ThreadState> state = ThreadState::FromThreadHandle(thread);
    exitCode = state ? state->ExitCode() : 0;
    return TRUE;
}

DWORD SuspendThread(HANDLE thread) {
    const std::shared_ptr<ThreadState> state = ThreadState::FromThreadHandle(thread);
    return state ? state->Suspend() : ~DWORD{0};
}

DWORD ResumeThread(HANDLE thread) {
    const std::shared_ptr<ThreadState> state = ThreadState::FromThreadHandle(thread);
    return state ? state->Resume() : ~DWORD{0};
}

BOOL SetThreadPriority(HANDLE thread, int priority) {
    const std::shared_ptr<ThreadState> state = ThreadState::FromThreadHandle(thread);
    if (state) {
        state->SetPriority(priority);
    }
    return state != nullptr;
}

DWORD CurrentThreadId() {
    return static_cast<DWORD>(platform::ThreadId());
}

size_t RunningThreadCount() {
    return ThreadList::Instance().RunningCount();
}

}  // namespace rampart
