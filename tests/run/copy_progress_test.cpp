#include "run/copy_progress.h"

#include <gtest/gtest.h>

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

}  // namespace rampart
