#include "run/time_agreement.h"

#include <gtest/gtest.h>

namespace rampart {

TEST(TimeAgreement, HoldsWithinTheSpanAndWithinItAroundOneHour) {
    struct Case {
        int64_t a, b;
        int32_t span;
        bool agree;
    };
    constexpr int64_t kNow = 1790000000;
    for (Case const& c : std::initializer_list<Case>{{kNow, kNow, 2, true},
                                                     {kNow + 2, kNow, 2, true},
                                                     {kNow, kNow + 3, 2, false},
                                                     {kNow, kNow + 3, 3, true},
                                                     {kNow + 3597, kNow, 2, false},
                                                     {kNow + 3598, kNow, 2, true},
                                                     {kNow, kNow + 3599, 3, true},
                                                     {kNow + 3600, kNow, 0, true},
                                                     {kNow + 3602, kNow, 2, true},
                                                     {kNow, kNow + 3603, 2, false},
                                                     {kNow, kNow + 3604, 3, false},
                                                     {kNow, kNow + 7200, 3, false},
                                                     {kNow, kNow + 100000, 3, false},
                                                     {kNow, kNow, -1, false},
                                                     {kNow, kNow + 3600, -1, false}}) {
        EXPECT_EQ(c.agree, TimesAgree(c.a, c.b, c.span)) << c.a - c.b << " within " << c.span;
        EXPECT_EQ(c.agree, TimesAgree(c.b, c.a, c.span)) << "the other way round";
    }
}

TEST(TimeAgreement, TheGreatestDifferenceIsADifference) {
    EXPECT_FALSE(TimesAgree(0, int64_t{1} << 31, 3));
    EXPECT_FALSE(TimesAgree(int64_t{1} << 31, 0, 3));
}

}  // namespace rampart
