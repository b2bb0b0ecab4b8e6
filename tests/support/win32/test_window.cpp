#include "support/win32/test_window.h"

#include <windows.h>

namespace rampart::test {
namespace {

constexpr UINT kMessage = WM_APP + 1;

LRESULT CALLBACK TakeMessage(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message != kMessage) {
        return DefWindowProcW(window, message, first, second);
    }
    (*reinterpret_cast<std::function<void()>*>(GetWindowLongPtrW(window, GWLP_USERDATA)))();
    return 0;
}

}  // namespace

TestWindow::TestWindow(std::function<void()> onMessage)
    : m_onMessage(std::move(onMessage)),
      m_window(
          CreateWindowExW(0, L"STATIC", L"test", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr)) {
    const auto window = static_cast<HWND>(m_window);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&m_onMessage));
    SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&TakeMessage));
}

TestWindow::~TestWindow() {
    DestroyWindow(static_cast<HWND>(m_window));
}

void TestWindow::Send() {
    SendMessageW(static_cast<HWND>(m_window), kMessage, 0, 0);
}

void TestWindow::Post() {
    PostMessageW(static_cast<HWND>(m_window), kMessage, 0, 0);
}

void TestWindow::Quit(int code) {
    PostQuitMessage(code);
}

int TestWindow::TakeQuit() {
    MSG message;
    return PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) != 0
               ? static_cast<int>(message.wParam)
               : -1;
}

}  // namespace rampart::test
