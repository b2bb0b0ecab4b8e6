// WorkerRef: a thread of a run, kept by its handle too, so that it can be waited for or suspended at any
// time.
#pragma once

#include "framework/framework.h"

namespace rampart {

// Reads and writes as a CWinThread*, which is alive when it is stored. Handle and number may be used for
// ever; the pointer only while the thread runs. Any thread may call.
class WorkerRef {
public:
    WorkerRef() = default;
    WorkerRef(WorkerRef const&) = delete;
    WorkerRef& operator=(WorkerRef const&) = delete;
    WorkerRef& operator=(CWinThread* thread) {
        MutexLock lock(m_mutex);
        m_thread = thread;
        m_handle = thread ? thread->m_hThread : nullptr;
        m_id = thread ? thread->m_nThreadID : 0;
        return *this;
    }
    operator CWinThread*() const {
        MutexLock lock(m_mutex);
        return m_thread;
    }
    HANDLE Handle() const {
        MutexLock lock(m_mutex);
        return m_handle;
    }
    DWORD ThreadId() const {
        MutexLock lock(m_mutex);
        return m_id;
    }

private:
    mutable Mutex m_mutex;
    CWinThread* m_thread RAMPART_GUARDED_BY(m_mutex) = nullptr;
    HANDLE m_handle RAMPART_GUARDED_BY(m_mutex) = nullptr;
    DWORD m_id RAMPART_GUARDED_BY(m_mutex) = 0;
};

}  // namespace rampart
