#include "platform/message_wait.h"

#include <algorithm>

#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

class WindowsMessageWait : public MessageWait {
public:
    WindowsMessageWait(uint32_t timeoutMs, SystemHandle woken)
        : m_timeoutMs(timeoutMs), m_woken(std::move(woken)) {}

    // The wish to quit is the outer message loop's.
    ~WindowsMessageWait() override {
        if (m_isQuitting) {
            PostQuitMessage(m_quitCode);
        }
    }

    bool Wait() override {
        while (true) {
            const DWORD left = TimeLeft();
            const HANDLE woken = m_woken.Get();
            const DWORD input = m_isQuitting ? QS_SENDMESSAGE : QS_ALLINPUT;
            const DWORD result = MsgWaitForMultipleObjectsEx(1, &woken, left, input, MWMO_INPUTAVAILABLE);
            if (result == WAIT_FAILED) {  // for messages: then without them, but as long
                return WaitForSingleObject(woken, left) == WAIT_OBJECT_0;
            }
            if (result != WAIT_OBJECT_0 + 1) {
                return result == WAIT_OBJECT_0;
            }
            DispatchOne();
            if (left == 0) {
                return false;
            }
        }
    }

    void Wake() override { SetEvent(m_woken.Get()); }

private:
    DWORD TimeLeft() const {
        if (m_timeoutMs == INFINITE) {
            return INFINITE;
        }
        const uint64_t passed = GetTickCount64() - m_begin;
        return passed < m_timeoutMs ? static_cast<DWORD>(m_timeoutMs - passed) : 0;
    }

    // After the wish to quit only what other threads wait for.
    void DispatchOne() {
        MSG message;
        if (m_isQuitting) {
            PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
            return;
        }
        if (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) == 0) {
            return;
        }
        if (message.message == WM_QUIT) {
            m_isQuitting = true;
            m_quitCode = static_cast<int>(message.wParam);
            return;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }

    const uint32_t m_timeoutMs;
    const uint64_t m_begin = GetTickCount64();
    const SystemHandle m_woken;  // auto-reset
    bool m_isQuitting = false;
    int m_quitCode = 0;
};

}  // namespace

std::unique_ptr<MessageWait> MessageWait::Begin(uint32_t timeoutMs) {
    if (!IsGUIThread(FALSE)) {
        return nullptr;
    }
    SystemHandle woken(CreateEventW(nullptr, /*bManualReset=*/FALSE, /*bInitialState=*/FALSE, nullptr));
    return woken ? std::make_unique<WindowsMessageWait>(timeoutMs, std::move(woken)) : nullptr;
}

}  // namespace rampart::platform
