#include "interfaces/baselib.h"
#include "platform/clock.h"

using namespace rampart;

namespace {

constexpr DWORD kRemarkableWaitMs = 5000;

// Takes the object, and leaves a line when that took long: once while it still waits, once when it is over.
void LockWatched(CSyncObject& object, LPCTSTR name) {
    if (object.Lock(kRemarkableWaitMs)) {
        return;
    }
    const uint32_t begin = platform::TickCount();
    GetManageDebugLog().AddDebugInfo(FormatText(_T("Lock: still waiting for %s"), name), 0);
    object.Lock(kWaitForever);
    const uint32_t waitedMs = platform::TickCount() - begin + kRemarkableWaitMs;
    GetManageDebugLog().AddDebugInfo(FormatText(_T("Lock: got %s after %u ms"), name, waitedMs), 0);
}

}  // namespace

CKorvaneAutoLock::CKorvaneAutoLock(CSyncObject* object, TCHAR const* name, int trace) : m_object(object) {
    if (!m_object) {
        return;
    }
    if (trace == 1 && name) {
        LockWatched(*m_object, name);
    } else {
        m_object->Lock(kWaitForever);
    }
}

CKorvaneAutoLock::~CKorvaneAutoLock() {
    if (m_object) {
        m_object->Unlock();
    }
}

DWORD MyWaitForSingleObject(HANDLE handle, DWORD timeoutMs) {
    return WaitForObjectWithMessages(handle, timeoutMs);
}
