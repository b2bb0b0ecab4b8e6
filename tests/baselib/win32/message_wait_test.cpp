#include <gtest/gtest.h>

#include <thread>

#include "interfaces/baselib.h"
#include "support/win32/test_window.h"

namespace rampart {
namespace {

TEST(MessageWait, AMessageIsTakenDuringAWait) {
    CEvent event;
    int taken = 0;
    test::TestWindow window([&] { taken++; });
    std::thread sender([&] {
        window.Send();  // returns once the window's thread has taken it
        window.Send();
        event.SetEvent();
    });
    EXPECT_EQ(MyWaitForSingleObject(event, kWaitForever), kWaitSignaled);
    sender.join();
    EXPECT_EQ(taken, 2);
    EXPECT_EQ(MyWaitForSingleObject(event, 0), kWaitTimedOut) << "the wait has used it up";
}

TEST(MessageWait, AFloodOfMessagesHoldsNothingUp) {
    CEvent event;
    test::TestWindow* flooded = nullptr;
    int taken = 0;
    test::TestWindow window([&] {
        flooded->Post();
        if (++taken == 500) {
            event.SetEvent();
        }
    });
    flooded = &window;
    window.Post();
    EXPECT_EQ(MyWaitForSingleObject(event, kWaitForever), kWaitSignaled);
    EXPECT_EQ(MyWaitForSingleObject(event, 20), kWaitTimedOut);
}

TEST(MessageWait, AWishToQuitIsLeftToTheMessageLoop) {
    CEvent event;
    test::TestWindow window([] {});
    test::TestWindow::Quit(7);
    EXPECT_EQ(MyWaitForSingleObject(event, 20), kWaitTimedOut);
    EXPECT_EQ(test::TestWindow::TakeQuit(), 7);
    EXPECT_EQ(test::TestWindow::TakeQuit(), -1);
}

TEST(MessageWait, ASenderIsAnsweredAfterTheWishToQuit) {
    CEvent event;
    int taken = 0;
    test::TestWindow window([&] { taken++; });
    test::TestWindow::Quit(7);
    std::thread sender([&] {
        for (int round = 0; round < 20; round++) {
            window.Send();
        }
        event.SetEvent();
    });
    EXPECT_EQ(MyWaitForSingleObject(event, kWaitForever), kWaitSignaled);
    sender.join();
    EXPECT_EQ(taken, 20);
    EXPECT_EQ(test::TestWindow::TakeQuit(), 7);
}

}  // namespace
}  // namespace rampart
