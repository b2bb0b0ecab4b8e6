#include "platform/service_signals.h"

#include <atomic>

#include "platform/win32/native.h"
#include "platform/win32/standard_folders.h"

namespace rampart::platform {
namespace {

std::atomic<bool> s_stop{false};
// Events for the life of the process: the wishes of others, and the program's own.
HANDLE s_stopEvent = nullptr;
HANDLE s_reloadEvent = nullptr;
HANDLE s_wakeEvent = nullptr;

HANDLE NamedEvent(BOOL isManual, const std::wstring& name) {
    return CreateEventW(nullptr, isManual, FALSE, (L"Local\\" + SharedNamePrefix() + name).c_str());
}

BOOL WINAPI OnServiceControl(DWORD event) {
    if (s_stop.exchange(true) && event == CTRL_C_EVENT) {
        ExitProcess(kInterruptedExitCode);
    }
    SetEvent(s_wakeEvent);
    StayForTheEnd(event);
    return TRUE;
}

}  // namespace

void CatchServiceSignals() {
    if (s_wakeEvent == nullptr) {
        s_wakeEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        s_stopEvent = NamedEvent(TRUE, L"KorvaneRampartServiceStop");
        s_reloadEvent = NamedEvent(FALSE, L"KorvaneRampartServiceReload");
    }
    SetConsoleCtrlHandler(nullptr, FALSE);  // a parent may have switched the signal off
    SetConsoleCtrlHandler(&OnServiceControl, TRUE);
}

void ForgetEarlierStop() {
    ResetEvent(s_stopEvent);
}

ServiceSignal WaitForServiceSignal(uint32_t timeoutMs) {
    if (s_stop) {
        return ServiceSignal::kStop;
    }
    const HANDLE events[] = {s_stopEvent, s_reloadEvent, s_wakeEvent};
    switch (WaitForMultipleObjects(3, events, FALSE, timeoutMs)) {
        case WAIT_OBJECT_0:
            s_stop = true;
            break;
        case WAIT_OBJECT_0 + 1:
            return s_stop ? ServiceSignal::kStop : ServiceSignal::kReload;
        default:
            break;
    }
    return s_stop ? ServiceSignal::kStop : ServiceSignal::kNone;
}

void StopThisService() {
    s_stop = true;
    SetEvent(s_wakeEvent);
}

void WakeServiceWait() {
    SetEvent(s_wakeEvent);
}

}  // namespace rampart::platform
