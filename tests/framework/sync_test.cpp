#include "framework/sync.h"

#include <stdexcept>
#include <thread>

#include "platform/message_wait.h"

using rampart::kWaitFailed;
using rampart::kWaitForever;
using rampart::kWaitSignaled;
using rampart::kWaitTimedOut;
using rampart::WaitForObject;

TEST(Event, AutoResetFreesOneWaitAndManualAll) {
    CEvent automatic(TRUE);
    EXPECT_EQ(WaitForObject(automatic, 0), kWaitSignaled);
    EXPECT_EQ(WaitForObject(automatic, 0), kWaitTimedOut);
    EXPECT_EQ(WaitForObject(automatic, 5), 258u);
    automatic.SetEvent();
    automatic.SetEvent();
    EXPECT_TRUE(automatic.Lock(0));
    EXPECT_FALSE(automatic.Lock(0));

    CEvent manual(FALSE, TRUE);
    EXPECT_EQ(WaitForObject(manual, 0), kWaitTimedOut);
    manual.SetEvent();
    EXPECT_EQ(WaitForObject(manual, 0), kWaitSignaled);
    EXPECT_EQ(WaitForObject(manual, kWaitForever), kWaitSignaled);
    manual.ResetEvent();
    EXPECT_EQ(WaitForObject(manual, 0), kWaitTimedOut);
}

// The progress object uses such an event as its lock.
TEST(Event, ServesAsALockBetweenThreads) {
    CEvent lock(TRUE);
    int count = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                ASSERT_EQ(WaitForObject(lock, 30'000), kWaitSignaled);
                ++count;
                rampart::SetEvent(lock);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(count, 2000);
}

// Dispatches a message whose window throws.
class ThrowingWait : public rampart::platform::MessageWait {
public:
    bool Wait() override { throw std::runtime_error("a window"); }
    void Wake() override { ++wakes; }
    int wakes = 0;
};

TEST(Event, AnExceptionDuringAWaitLeavesNobodyToWake) {
    rampart::Waitable event(/*manualReset=*/false, /*signaled=*/false);
    ThrowingWait messages;
    EXPECT_THROW(event.Wait(messages), std::runtime_error);
    event.Signal();
    EXPECT_EQ(messages.wakes, 0);
    EXPECT_TRUE(event.Wait(messages)) << "signalled already, so no message is looked at";
    EXPECT_FALSE(event.Wait(0));
}

TEST(Handle, StaleAndForeignOnesAreRefused) {
    HANDLE closed = nullptr;
    {
        CEvent event(TRUE);
        closed = event;
    }
    CEvent another(TRUE);
    EXPECT_NE(closed, another.m_hObject);
    int object = 0;
    for (const HANDLE handle :
         {closed, HANDLE{nullptr}, rampart::kInvalidHandle, static_cast<HANDLE>(&object)}) {
        EXPECT_EQ(WaitForObject(handle, 0), kWaitFailed);
        EXPECT_FALSE(rampart::SetEvent(handle));
        EXPECT_FALSE(rampart::ResetEvent(handle));
        EXPECT_FALSE(rampart::CloseHandle(handle));
        EXPECT_EQ(rampart::FromHandle(handle), nullptr);
    }
}

TEST(Handle, AClosedEventLetsItsWaitersTimeOut) {
    const HANDLE event = rampart::CreateEventHandle(false, false);
    std::atomic<DWORD> result = 1;
    std::thread waiter([&] { result = WaitForObject(event, 50); });
    EXPECT_TRUE(rampart::CloseHandle(event));
    waiter.join();
    EXPECT_TRUE(result == kWaitTimedOut || result == kWaitFailed);
}

TEST(CriticalSection, IsTakenAgainByItsOwnerAndByNobodyElse) {
    CCriticalSection section;
    section.Lock();
    section.Lock();
    section.Unlock();
    std::thread([&] {
        EXPECT_FALSE(section.Lock(0));
        EXPECT_FALSE(section.Lock(5));
    }).join();
    section.Unlock();
    std::thread([&] {
        EXPECT_TRUE(section.Lock(0));
        section.Unlock();
    }).join();
    {
        CSingleLock lock(&section, TRUE);
        EXPECT_TRUE(lock.IsLocked());
        std::thread([&] { EXPECT_FALSE(CSingleLock(&section).Lock(0)); }).join();
        lock.Unlock();
        EXPECT_FALSE(lock.Unlock());
        std::thread([&] { EXPECT_TRUE(CSingleLock(&section).Lock(0)); }).join();
        lock.Lock();
    }
    std::thread([&] { EXPECT_TRUE(CSingleLock(&section).Lock(0)); }).join();
}
