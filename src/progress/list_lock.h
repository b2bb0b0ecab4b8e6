// CProgressBar::ListLock: the lock of a progress object's list for a scope. Private to this room.
#pragma once

#include "interfaces/baselib.h"
#include "progress/progress_bar.h"

// Gives up after the time it is told. While it is held its thread is not suspended.
class CProgressBar::ListLock {
public:
    static constexpr DWORD kShortMs = 4000;
    static constexpr DWORD kLongMs = 10000;
    static constexpr DWORD kEndMs = 30000;

    ListLock(CProgressBar& bar, DWORD timeoutMs)
        : m_event(bar.m_hLock), m_taken(MyWaitForSingleObject(m_event, timeoutMs) == rampart::kWaitSignaled) {
        if (m_taken) {
            rampart::SafePointHold::Begin();
        }
    }
    ListLock(ListLock const&) = delete;
    ListLock& operator=(ListLock const&) = delete;
    ~ListLock() {
        if (m_taken) {
            rampart::SafePointHold::End();
            if (!m_abandoned) {
                rampart::SetEvent(m_event);
            }
        }
    }
    explicit operator bool() const { return m_taken; }
    // Leaves the list locked for good.
    void Abandon() { m_abandoned = true; }

private:
    HANDLE const m_event;
    bool const m_taken;
    bool m_abandoned = false;
};
