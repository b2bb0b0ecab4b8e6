#include "run/copy_progress.h"

#include <gtest/gtest.h>

#include "progress/task_prg.h"
#include "support/scripted_clock.h"

namespace rampart {

TEST(CopyDuty, GivesHalfOfTheSettingAndTenMore) {
    EXPECT_EQ(10, CopyDuty(0));
    EXPECT_EQ(50, CopyDuty(80));
    EXPECT_EQ(60, CopyDuty(100));
    EXPECT_EQ(60, CopyDuty(101));
    EXPECT_EQ(100, CopyDuty(180));
}

TEST(CopyRest, RestsInProportionToTheWork) {
    CopyRest rest;
    EXPECT_EQ(100u, rest.After(100, 50));
    EXPECT_EQ(900u, CopyRest().After(100, 10));
}

TEST(CopyRest, CarriesRestsTooShortToTakeAndForgivesThemOnce) {
    CopyRest rest;
    EXPECT_EQ(0u, rest.After(2, 50));  // 2 ms owed
    EXPECT_EQ(0u, rest.After(3, 50));  // 5 ms owed, not above 5
    EXPECT_EQ(1u, rest.After(1, 50));  // 6 ms owed: the last stretch's rest is taken, the debt goes
    EXPECT_EQ(0u, rest.After(4, 50));
}

TEST(CopyRest, NeverRestsLongerThanTwoSecondsAtOnceAndLimitsTheDebt) {
    CopyRest rest;
    EXPECT_EQ(2000u, rest.After(1000, 10));  // 9000 owed, 7000 carried
    EXPECT_EQ(2000u, rest.After(1, 10));     // of the carried debt 5000 count: 5009, 3009 carried
    EXPECT_EQ(2000u, rest.After(1, 10));     // 3018, 1018 carried
    EXPECT_EQ(9u, rest.After(1, 10));        // 1027 owed, of which the last stretch's rest is taken
    EXPECT_EQ(9u, rest.After(1, 10));
}

// A copy of 1000 bytes under a clock that goes as the test says.
class CopyRoutine : public testing::Test {
protected:
    void TearDown() override { LimitCopyDuty(0); }

    // Works for so long and reports; the milliseconds that it rests then.
    uint64_t RestAfter(uint64_t workMs, __int64 moved) {
        m_clock.AdvanceMilliseconds(workMs);
        uint64_t const slept = m_clock.SleptMilliseconds();
        EXPECT_EQ(kCopyGoOn, CopyProgressRoutine(1000, moved, &m_progress));
        return m_clock.SleptMilliseconds() - slept;
    }

    test::ScriptedClock m_clock{0};
    CTaskPrgClass m_progress;
};

TEST_F(CopyRoutine, RestsForTheWorkSinceTheLastCall) {
    LimitCopyDuty(50);
    EXPECT_EQ(0u, RestAfter(300, 0)) << "what came before the copy is not of it";
    EXPECT_EQ(100u, RestAfter(100, 100));
    EXPECT_EQ(30u, RestAfter(30, 200)) << "the rest is not work";
    EXPECT_EQ(0u, RestAfter(0, 300));
    EXPECT_EQ(0u, RestAfter(10000, 400)) << "something else than the copy took so long";
    EXPECT_EQ(40u, RestAfter(40, 500));
    EXPECT_EQ(0u, RestAfter(40, 9)) << "not yet a percent";
    EXPECT_EQ(40u, RestAfter(40, 1000));
}

TEST_F(CopyRoutine, CarriesWhatIsTooShortFromCallToCall) {
    LimitCopyDuty(50);
    EXPECT_EQ(0u, RestAfter(2, 0));
    EXPECT_EQ(0u, RestAfter(2, 100));
    EXPECT_EQ(0u, RestAfter(3, 200));
    EXPECT_EQ(3u, RestAfter(3, 300)) << "eight are owed; the rest of the last stretch is taken";
    EXPECT_EQ(0u, RestAfter(5, 400)) << "the others are forgiven";
    EXPECT_EQ(1u, RestAfter(1, 500));
}

TEST_F(CopyRoutine, RestsByItsShareOfTheTime) {
    EXPECT_EQ(0u, RestAfter(1, 0));
    LimitCopyDuty(99);
    EXPECT_EQ(101u, RestAfter(9999, 100)) << "the longest stretch that counts";
    LimitCopyDuty(10);
    EXPECT_EQ(900u, RestAfter(100, 200));
    LimitCopyDuty(100);
    EXPECT_EQ(0u, RestAfter(100, 300));
}

TEST_F(CopyRoutine, ManySmallFilesRestAsABigOneDoes) {
    LimitCopyDuty(50);
    for (int file = 0; file < 100; ++file) {
        RestAfterRead(file % 2);  // half of them are read within the same millisecond
    }
    EXPECT_EQ(50u, m_clock.SleptMilliseconds());
    LimitCopyDuty(100);
    RestAfterRead(500);
    EXPECT_EQ(50u, m_clock.SleptMilliseconds());
}

TEST_F(CopyRoutine, StopsAtOnceAfterACancel) {
    LimitCopyDuty(10);
    EXPECT_EQ(0u, RestAfter(1, 0));
    m_clock.AdvanceMilliseconds(100);
    m_progress.m_bCancel = 1;
    EXPECT_EQ(kCopyStop, CopyProgressRoutine(1000, 100, &m_progress));
    EXPECT_EQ(0u, m_clock.SleptMilliseconds());
    EXPECT_EQ(kCopyGoOn, CopyProgressRoutine(1000, 100, nullptr));
}

}  // namespace rampart
