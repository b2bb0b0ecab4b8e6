// Locks and events: CSyncObject, CCriticalSection, CEvent, CSingleLock, and the plain mutex of code inside.
#pragma once

#include <mutex>

#include "framework/safe_point.h"
#include "framework/thread_annotations.h"
#include "framework/types.h"
#include "framework/waitable.h"

// Something that a thread takes and gives back. Any thread may call.
class VAULTLIB_API CSyncObject {
public:
    CSyncObject() = default;
    CSyncObject(const CSyncObject&) = delete;
    CSyncObject& operator=(const CSyncObject&) = delete;
    virtual ~CSyncObject() = default;

    // 1 when taken, 0 when the time ran out.
    virtual BOOL Lock(DWORD timeoutMs = rampart::kWaitForever) = 0;
    virtual BOOL Unlock() = 0;
};

// A lock that its owner may take again; it is free when he has given it back as often.
class VAULTLIB_API RAMPART_CAPABILITY("mutex") CCriticalSection : public CSyncObject {
public:
    BOOL Lock() RAMPART_ACQUIRE();
    BOOL Lock(DWORD timeoutMs) override RAMPART_TRY_ACQUIRE(1);
    // Only by the thread that holds it.
    BOOL Unlock() override RAMPART_RELEASE();

private:
    std::recursive_mutex m_mutex;
};

// An event with a handle, which ends with it.
class VAULTLIB_API CEvent : public CSyncObject {
public:
    // `initiallyOwn` makes it signalled. A name has no effect: an event belongs to one process.
    explicit CEvent(BOOL initiallyOwn = FALSE, BOOL manualReset = FALSE, LPCTSTR name = nullptr,
                    void* securityAttributes = nullptr);
    ~CEvent() override;

    BOOL SetEvent() { return rampart::SetEvent(m_hObject); }
    BOOL ResetEvent() { return rampart::ResetEvent(m_hObject); }
    BOOL Lock(DWORD timeoutMs = rampart::kWaitForever) override;
    // Does nothing and succeeds.
    BOOL Unlock() override { return TRUE; }
    operator HANDLE() const { return m_hObject; }

    const HANDLE m_hObject;
};

// Gives an object back at the end of its scope if it was taken through it.
class VAULTLIB_API CSingleLock {
public:
    explicit CSingleLock(CSyncObject* object, BOOL initialLock = FALSE);
    ~CSingleLock();
    CSingleLock(const CSingleLock&) = delete;
    CSingleLock& operator=(const CSingleLock&) = delete;

    BOOL Lock(DWORD timeoutMs = rampart::kWaitForever);
    BOOL Unlock();
    BOOL IsLocked() const { return m_locked; }

private:
    CSyncObject* m_object;
    bool m_locked = false;
};

namespace rampart {

// Holds a critical section for a scope.
class RAMPART_SCOPED_CAPABILITY CriticalLock {
public:
    explicit CriticalLock(CCriticalSection& section) RAMPART_ACQUIRE(section) : m_section(section) {
        section.Lock();
    }
    ~CriticalLock() RAMPART_RELEASE() { m_section.Unlock(); }
    CriticalLock(const CriticalLock&) = delete;
    CriticalLock& operator=(const CriticalLock&) = delete;

private:
    CCriticalSection& m_section;
};

// A std::mutex that the analysis knows and that holds off suspension. Works with std::condition_variable_any.
class RAMPART_CAPABILITY("mutex") Mutex {
public:
    void lock() RAMPART_ACQUIRE() {
        m_mutex.lock();
        SafePointHold::Begin();
    }
    bool try_lock() RAMPART_TRY_ACQUIRE(true) {
        const bool taken = m_mutex.try_lock();
        if (taken) {
            SafePointHold::Begin();
        }
        return taken;
    }
    void unlock() RAMPART_RELEASE() {
        SafePointHold::End();
        m_mutex.unlock();
    }

private:
    std::mutex m_mutex;
};

class RAMPART_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) RAMPART_ACQUIRE(mutex) : m_mutex(mutex) { mutex.lock(); }
    ~MutexLock() RAMPART_RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

}  // namespace rampart
