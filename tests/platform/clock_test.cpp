#include "platform/clock.h"

#include "support/scripted_clock.h"

namespace rampart::platform {
namespace {

using test::ScriptedClock;
using test::Utc;

constexpr int32_t kHour = 3600;

TEST(UtcTime, CalendarFieldsOfKnownInstants) {
    struct Case {
        int64_t seconds;
        BrokenDownTime time;
    };
    for (const Case& c :
         {Case{0, {1970, 1, 1, 0, 0, 0, 4}}, Case{-1, {1969, 12, 31, 23, 59, 59, 3}},
          Case{951782400, {2000, 2, 29, 0, 0, 0, 2}}, Case{4107542400, {2100, 3, 1, 0, 0, 0, 1}},
          Case{-11644473600, {1601, 1, 1, 0, 0, 0, 1}}, Case{1735689599, {2024, 12, 31, 23, 59, 59, 2}}}) {
        const BrokenDownTime time = ToUtcTime(c.seconds);
        EXPECT_EQ(FromUtcTime(c.time), c.seconds);
        EXPECT_EQ(time.year, c.time.year);
        EXPECT_EQ(time.month, c.time.month);
        EXPECT_EQ(time.day, c.time.day);
        EXPECT_EQ(time.hour * 3600 + time.minute * 60 + time.second,
                  c.time.hour * 3600 + c.time.minute * 60 + c.time.second);
        EXPECT_EQ(time.weekday, c.time.weekday);
    }
}

TEST(UtcTime, EveryDayOfFourCenturiesComesBack) {
    int weekday = ToUtcTime(Utc(1800, 1, 1)).weekday;
    for (int64_t day = Utc(1800, 1, 1); day < Utc(2200, 1, 1); day += 86400) {
        const BrokenDownTime time = ToUtcTime(day);
        ASSERT_EQ(FromUtcTime(time), day);
        ASSERT_EQ(time.weekday, weekday);
        weekday = (weekday + 1) % 7;
    }
}

TEST(UtcTime, FieldsOutOfRangeAreCarried) {
    EXPECT_EQ(Utc(2023, 14, 1), Utc(2024, 2, 1));
    EXPECT_EQ(Utc(2024, 0, 1), Utc(2023, 12, 1));
    EXPECT_EQ(Utc(2024, -13, 1), Utc(2022, 11, 1));
    EXPECT_EQ(Utc(2023, 2, 30), Utc(2023, 3, 2));
    EXPECT_EQ(Utc(2024, 3, 0), Utc(2024, 2, 29));
    EXPECT_EQ(Utc(2024, 1, 1, -1, -1, 61), Utc(2023, 12, 31, 23, 0, 1));
}

class CentralEurope : public testing::Test {
protected:
    CentralEurope() {
        m_clock.AddZoneChange(m_spring, 2 * kHour);
        m_clock.AddZoneChange(m_autumn, kHour);
    }
    const int64_t m_spring = Utc(2024, 3, 31, 1);   // 02:00 becomes 03:00
    const int64_t m_autumn = Utc(2024, 10, 27, 1);  // 03:00 becomes 02:00
    ScriptedClock m_clock{Utc(2024, 1, 1), kHour};
};

TEST_F(CentralEurope, AWallTimeThatExistsTwiceIsTheFirst) {
    EXPECT_EQ(FromLocalTime({2024, 10, 27, 2, 30}), Utc(2024, 10, 27, 0, 30));
    EXPECT_EQ(FromLocalTime({2024, 10, 27, 3, 0}), Utc(2024, 10, 27, 2, 0));
    EXPECT_EQ(ToLocalTime(Utc(2024, 10, 27, 1, 30)).hour, 2);
}

TEST_F(CentralEurope, AWallTimeThatDoesNotExistTakesTheOffsetFromBefore) {
    EXPECT_EQ(FromLocalTime({2024, 3, 31, 2, 30}), Utc(2024, 3, 31, 1, 30));
    EXPECT_EQ(FromLocalTime({2024, 3, 31, 1, 59, 59}), m_spring - 1);
    EXPECT_EQ(FromLocalTime({2024, 3, 31, 3, 0}), m_spring);
}

TEST_F(CentralEurope, EveryInstantComesBackButForTheRepeatedHour) {
    for (int64_t instant = Utc(2024, 1, 1); instant < Utc(2025, 1, 1); instant += 900) {
        const bool repeated = instant >= m_autumn && instant < m_autumn + kHour;
        ASSERT_EQ(FromLocalTime(ToLocalTime(instant)), repeated ? instant - kHour : instant);
    }
}

TEST(LocalTime, AZoneThatLosesAWholeDay) {
    ScriptedClock clock(Utc(2011, 12, 1), -10 * kHour);
    clock.AddZoneChange(Utc(2011, 12, 30, 10), 14 * kHour);  // the 30th never came
    EXPECT_EQ(FromLocalTime({2011, 12, 29, 23, 0}), Utc(2011, 12, 30, 9));
    EXPECT_EQ(FromLocalTime({2011, 12, 30, 12, 0}), Utc(2011, 12, 30, 22));
    EXPECT_EQ(FromLocalTime({2011, 12, 31, 1, 0}), Utc(2011, 12, 30, 11));
}

TEST(Clock, TestsSetItAndGiveItBack) {
    {
        ScriptedClock clock(Utc(1969, 12, 31, 23, 59, 59));
        EXPECT_EQ(NowSeconds(), -1);
        const uint32_t ticks = TickCount();
        SleepMilliseconds(500);
        EXPECT_EQ(NowSeconds(), -1);
        SleepMilliseconds(500);
        EXPECT_EQ(NowSeconds(), 0);
        EXPECT_EQ(TickCount() - ticks, 1000u);
    }
    EXPECT_GT(NowSeconds(), Utc(2024, 1, 1));
}

}  // namespace
}  // namespace rampart::platform
