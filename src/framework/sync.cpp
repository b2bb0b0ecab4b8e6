#include "framework/sync.h"

#include <chrono>

using rampart::SafePointHold;

BOOL CCriticalSection::Lock() {
    m_mutex.lock();
    SafePointHold::Begin();
    return TRUE;
}

BOOL CCriticalSection::Lock(DWORD timeoutMs) {
    if (timeoutMs == rampart::kWaitForever) {
        return Lock();
    }
    if (!m_mutex.try_lock_for(std::chrono::milliseconds(timeoutMs))) {
        return FALSE;
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
