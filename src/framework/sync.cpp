#include "framework/sync.h"

#include "platform/clock.h"

namespace platform = rampart::platform;
using rampart::SafePointHold;

BOOL CCriticalSection::Lock() {
    m_mutex.lock();
    SafePointHold::Begin();
    return TRUE;
}

// In steps on the platform's clock: waits with an end are rare here, and a plain mutex stays visible to the
// tools that check the order of locks.
BOOL CCriticalSection::Lock(DWORD timeoutMs) {
    if (timeoutMs == rampart::kWaitForever) {
        return Lock();
    }
    constexpr uint32_t kStepMs = 1;
    platform::Clock& clock = platform::CurrentClock();
    const uint64_t startMs = clock.MonotonicMilliseconds();
    while (!m_mutex.try_lock()) {
        if (clock.MonotonicMilliseconds() - startMs >= timeoutMs) {
            return FALSE;
        }
        clock.Sleep(kStepMs);
    }
    SafePointHold::Begin();
    return TRUE;
}

BOOL CCriticalSection::Unlock() {
    SafePointHold::End();
    m_mutex.unlock();
    return TRUE;
}

CEvent::CEvent(BOOL initiallyOwn, BOOL manualReset, LPCTSTR, void*)
    : m_hObject(rampart::CreateEventHandle(manualReset != FALSE, initiallyOwn != FALSE)) {}

CEvent::~CEvent() {
    rampart::CloseHandle(m_hObject);
}

BOOL CEvent::Lock(DWORD timeoutMs) {
    return rampart::WaitForObject(m_hObject, timeoutMs) == rampart::kWaitSignaled;
}

CSingleLock::CSingleLock(CSyncObject* object, BOOL initialLock) : m_object(object) {
    if (initialLock) {
        Lock();
    }
}

CSingleLock::~CSingleLock() {
    Unlock();
}

BOOL CSingleLock::Lock(DWORD timeoutMs) {
    if (m_object && !m_locked) {
        m_locked = m_object->Lock(timeoutMs) != FALSE;
    }
    return m_locked;
}

BOOL CSingleLock::Unlock() {
    if (!m_locked) {
        return FALSE;
    }
    m_locked = false;
    return m_object->Unlock();
}
