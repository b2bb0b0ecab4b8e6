// A hidden window, told of apart from windows.h, which does not stand beside the framework's types.
#pragma once

#include <functional>

namespace rampart::test {

// Belongs to the thread that makes it.
class TestWindow {
public:
    explicit TestWindow(std::function<void()> onMessage);
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;
    ~TestWindow();
    // Returns when the window's thread has taken the message. Any thread.
    void Send();
    void Post();
    // Asks the calling thread's message loop to end, and what its next message would be told: the code, or
    // -1.
    static void Quit(int code);
    static int TakeQuit();

private:
    std::function<void()> m_onMessage;
    void* m_window;
};

}  // namespace rampart::test
