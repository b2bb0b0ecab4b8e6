#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "interfaces/baselib.h"
#include "support/log_lines.h"
#include "support/scripted_clock.h"

namespace rampart {
namespace {

TEST(ReadWriteSync, AWriterIsAloneAndReadersAreTogether) {
    CReadWriteSync lock;
    int value = 0;  // guarded by the lock alone: the sanitizer would tell
    std::atomic<int> readersInside = 0;
    std::vector<std::thread> threads;
    for (int index = 0; index < 2; index++) {
        threads.emplace_back([&] {
            for (int round = 0; round < 500; round++) {
                CWriteSync write(lock);
                EXPECT_EQ(readersInside, 0);
                value++;
            }
        });
        threads.emplace_back([&] {
            for (int round = 0; round < 500; round++) {
                CReadSync read(lock);
                readersInside++;
                EXPECT_GE(value, 0);
                readersInside--;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(value, 1000);

    CReadSync read(lock);
    std::async(std::launch::async, [&] { CReadSync other(lock); }).get();
}

TEST(ReadWriteSync, AReaderReadsAgainWhileAWriterWaits) {
    CReadWriteSync lock;
    auto first = std::make_unique<CReadSync>(lock);
    std::atomic<bool> written = false;
    std::thread writer([&] {
        CWriteSync write(lock);
        written = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // most likely the writer waits by now
    {
        CReadSync again(lock);
        EXPECT_FALSE(written);
    }
    EXPECT_FALSE(written);
    first = nullptr;
    writer.join();
    EXPECT_TRUE(written);
}

TEST(ReadWriteSync, AWriterMayReadAndWriteAgain) {
    CReadWriteSync lock;
    {
        CWriteSync write(lock);
        CReadSync read(lock);
        CWriteSync again(lock);
    }
    std::async(std::launch::async, [&] { CWriteSync other(lock); }).get();
}

TEST(AutoLock, HoldsForItsScopeAndTakesNull) {
    CCriticalSection section;
    {
        CKorvaneAutoLock lock(&section, _T("test"), 1);
        CKorvaneAutoLock nested(&section, nullptr, 1);
        EXPECT_FALSE(std::async(std::launch::async, [&] { return section.Lock(0); }).get());
    }
    EXPECT_TRUE(std::async(std::launch::async, [&] { return section.Lock(0) && section.Unlock(); }).get());
    CKorvaneAutoLock none(nullptr, _T("test"), 0);
}

// Free only after a while, for which the clock moves.
class SlowLock : public CSyncObject {
public:
    SlowLock(test::ScriptedClock& clock, DWORD freeAfterMs) : m_clock(clock), m_leftMs(freeAfterMs) {}
    BOOL Lock(DWORD timeoutMs) override {
        const DWORD waitedMs = std::min(timeoutMs, m_leftMs);
        m_leftMs -= waitedMs;
        m_clock.AdvanceMilliseconds(waitedMs);
        return m_leftMs == 0;
    }
    BOOL Unlock() override { return TRUE; }

private:
    test::ScriptedClock& m_clock;
    DWORD m_leftMs;
};

TEST(AutoLock, AWatchedWaitThatLastsLeavesALineDuringAndAfterIt) {
    test::ScriptedClock clock(test::Utc(2024, 1, 1));
    const test::LogLines log;
    const auto wait = [&](DWORD forMs, const TCHAR* name, int trace) {
        SlowLock slow(clock, forMs);
        CKorvaneAutoLock lock(&slow, name, trace);
    };
    wait(4999, _T("short"), 1);
    wait(60'000, _T("unwatched"), 0);
    wait(60'000, nullptr, 1);
    EXPECT_EQ(log.Count("Lock: "), 0u) << log.Text();
    wait(12'345, _T("long"), 1);
    EXPECT_EQ(log.Count("Lock: still waiting for long\n"), 1u) << log.Text();
    EXPECT_EQ(log.Count("Lock: got long after 12345 ms\n"), 1u) << log.Text();
}

TEST(Wait, AnswersTheCodesOfTheSystem) {
    CEvent event;
    EXPECT_EQ(MyWaitForSingleObject(event, 0), 258u);
    event.SetEvent();
    EXPECT_EQ(MyWaitForSingleObject(event, ~0u), 0u);
    EXPECT_EQ(MyWaitForSingleObject(nullptr, 0), ~0u);
}

struct CountedAction : ActionInfo {
    explicit CountedAction(int& alive) : m_alive(alive) { m_alive++; }
    ~CountedAction() override { m_alive--; }
    int& m_alive;
};

TEST(ActionList, TheListOwnsUntilTakenAndTheTakerAfterwards) {
    int alive = 0;
    CPtrList taken;
    {
        CActionList list;
        EXPECT_FALSE(list.HaveAction());
        list.AddAction(std::make_unique<CountedAction>(alive).release());
        list.AddAction(std::make_unique<CountedAction>(alive).release());
        auto head = std::make_unique<CountedAction>(alive);
        head->path = _T("first");
        list.AddHeadAction(head.release());
        EXPECT_TRUE(list.HaveAction());
        EXPECT_EQ(list.GetActionList(taken), 3);
        EXPECT_FALSE(list.HaveAction());
        EXPECT_EQ(static_cast<ActionInfo*>(taken.GetHead())->path, _T("first"));
        list.AddAction(std::make_unique<CountedAction>(alive).release());
        EXPECT_EQ(alive, 4);
    }
    EXPECT_EQ(alive, 3);
    CActionList::RemoveMemOfActList(taken);
    EXPECT_EQ(alive, 0);
    EXPECT_TRUE(taken.IsEmpty());
}

}  // namespace
}  // namespace rampart
