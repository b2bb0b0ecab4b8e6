// The date rules over values.
#include "task/schedule_calendar.h"

#include <gtest/gtest.h>

#include "paths/global_function.h"
#include "support/scripted_clock.h"
#include "task/stored_time.h"

namespace rampart::test {

namespace {

constexpr int kMonday = 2;
constexpr int kMondayThursday = 18;
constexpr int kEveryDay = 127;

struct SpanCase {
    int mask;
    int day;
    int next;       // strictly after the day
    int fromToday;  // the day itself counts
};

TEST(RepeatDays, SpansToTheNextSetDay) {
    constexpr SpanCase kCases[] = {
        {kMondayThursday, 1, 1, 1},
        {kMondayThursday, 2, 3, 0},
        {kMondayThursday, 3, 2, 2},
        {kMondayThursday, 5, 4, 0},
        {kMondayThursday, 7, 2, 2},
        // A day of its own comes again in a week, which the caller reads from 0.
        {2, kMonday, 0, 0},
        // Sunday closes the week.
        {1, 1, 0, 0},
        {1, 2, 6, 6},
        {1, 7, 1, 1},
        {3, 2, 6, 0},
        {3, 1, 1, 0},
        {65, 7, 1, 0},
        {65, 1, 6, 0},
        {kEveryDay, 1, 1, 0},
        {kEveryDay, 4, 1, 0},
        {kEveryDay, 7, 1, 0},
        // Without a day it is the next Sunday.
        {0, 1, 0, 0},
        {0, 2, 6, 6},
        {0, 7, 1, 1},
    };
    for (SpanCase const& span : kCases) {
        EXPECT_EQ(GlobalFunction::GetNextSpanDaysOfWeek(span.mask, span.day), span.next)
            << "mask " << span.mask << " day " << span.day;
        EXPECT_EQ(GlobalFunction::GetSpanDaysOfWeek(span.mask, span.day), span.fromToday)
            << "mask " << span.mask << " day " << span.day;
    }
}

TEST(RepeatDays, AreFoundInTheirText) {
    EXPECT_EQ(GlobalFunction::ConvertRepeatDaysToString(kMondayThursday), _T("00010010"));
    CString const days = _T("00010010");
    EXPECT_EQ(GlobalFunction::GetNextDayOfWeek(days, 2, 0), 5);
    EXPECT_EQ(GlobalFunction::GetNextDayOfWeek(days, 2, 1), 2);
    EXPECT_EQ(GlobalFunction::GetNextDayOfWeek(days, 5, 0), -1);
    EXPECT_EQ(GlobalFunction::GetNextDayOfWeek(days, 9, 0), -1);
    EXPECT_EQ(GlobalFunction::GetFirstdayOfWeekExincludeSunday(days), 2);
    EXPECT_EQ(GlobalFunction::GetFirstdayOfWeekExincludeSunday(_T("00000011")), 1);
    EXPECT_EQ(GlobalFunction::GetFirstdayOfWeekExincludeSunday(_T("00000000")), -1);
    EXPECT_EQ(GlobalFunction::GetSundayOfWeek(_T("00000001")), 1);
    EXPECT_EQ(GlobalFunction::GetSundayOfWeek(days), -1);
    EXPECT_THROW(GlobalFunction::GetSundayOfWeek(CString()), CAtlException);
}

TEST(RepeatDays, AreShownFromMondayToSunday) {
    EXPECT_EQ(GlobalFunction::GetDaysOfWeekStr(kMondayThursday | 1, 0), _T("Monday Thursday Sunday"));
    EXPECT_EQ(GlobalFunction::GetDaysOfWeekStr(kMondayThursday | 1, 1), _T("Mon Thu Sun"));
    EXPECT_EQ(GlobalFunction::GetDaysOfWeekStr(0, 0), _T(""));
}

// Wednesday, 2024-05-15. Local time is UTC plus two hours.
class Calendar : public testing::Test {
protected:
    static constexpr int kZone = 7200;

    static CTime Local(int month, int day, int hour, int minute, int second = 0) {
        return CTime(2024, month, day, hour, minute, second);
    }

    CTime NextRun(int mode, int mask, CTime const& dating) {
        CTime const now = RawNow();
        return NextRunAfter(mode, mask, now - CTimeSpan(now.GetSecond()), dating, RawNow,
                            [this](TCHAR const*, CTime const&) { ++m_traced; });
    }

    ScriptedClock m_clock{Utc(2024, 5, 15, 10, 0, 30), kZone};  // 12:00:30
    int m_traced = 0;
};

TEST_F(Calendar, DailyRunIsTheNextTimeOfDayThatHasNotPassed) {
    EXPECT_EQ(NextRun(TaskTypeDaily, 0, Local(1, 1, 18, 30, 15)), Local(5, 15, 18, 30, 15));
    EXPECT_EQ(NextRun(TaskTypeDaily, 0, Local(1, 1, 8, 0)), Local(5, 16, 8, 0));
    EXPECT_EQ(NextRun(TaskTypeDaily, 0, Local(1, 1, 12, 0, 30)), Local(5, 15, 12, 0, 30));
    EXPECT_EQ(NextRun(TaskTypeOnce, 0, Local(7, 1, 12, 0, 29)), Local(5, 16, 12, 0, 29));
    EXPECT_GT(m_traced, 0);
}

TEST_F(Calendar, WeeklyRunSkipsTodayEvenWhenItsTimeLiesAhead) {
    constexpr int kWednesday = 1 << 3;
    EXPECT_EQ(NextRun(TaskTypeWeekly, kWednesday, Local(5, 8, 18, 0)), Local(5, 22, 18, 0));
    EXPECT_EQ(NextRun(TaskTypeWeekly, kWednesday | 1 << 4, Local(5, 8, 18, 0)), Local(5, 16, 18, 0));
    EXPECT_EQ(NextRun(TaskTypeWeekly, 1, Local(5, 8, 8, 0)), Local(5, 19, 8, 0));
    EXPECT_EQ(NextRun(TaskTypeWeekly, kEveryDay, Local(5, 8, 8, 0)), Local(5, 16, 8, 0));
}

TEST_F(Calendar, TimeOfDayStaysAcrossTheEndOfSummerTime) {
    m_clock.AddZoneChange(Utc(2024, 5, 16, 1), 3600);
    EXPECT_EQ(NextRun(TaskTypeDaily, 0, Local(5, 1, 9, 0)), Local(5, 16, 9, 0));
    EXPECT_EQ(Local(5, 16, 9, 0).GetTime(), Utc(2024, 5, 16, 8));
}

// 2028 is a leap year; summer time begins on 2028-03-26 at 02:00 and ends on 2028-10-29 at 03:00.
class CalendarTurns : public testing::Test {
protected:
    CalendarTurns() {
        m_clock.AddZoneChange(Utc(2028, 3, 26, 1), 7200);
        m_clock.AddZoneChange(Utc(2028, 10, 29, 1), 3600);
    }
    ScriptedClock m_clock{Utc(2027, 12, 1), 3600};
};

struct TurnCase {
    char const* what;
    int mode;
    int mask;
    int64_t now;  // UTC
    int hour, minute;
    int64_t expected;  // UTC
};

TEST_F(CalendarTurns, NextRunKeepsDayAndTimeOfDay) {
    constexpr int kSunday = 1;
    constexpr int kSaturdaySunday = 65;
    constexpr int kThursday = 16;
    TurnCase const kCases[] = {
        {"28 February", TaskTypeDaily, 0, Utc(2028, 2, 28, 11), 8, 0, Utc(2028, 2, 29, 7)},
        {"29 February", TaskTypeDaily, 0, Utc(2028, 2, 29, 11), 8, 0, Utc(2028, 3, 1, 7)},
        {"28 February of another year", TaskTypeDaily, 0, Utc(2029, 2, 28, 11), 8, 0, Utc(2029, 3, 1, 7)},
        {"weekly over the leap day", TaskTypeWeekly, kThursday, Utc(2028, 2, 24, 11), 8, 0,
         Utc(2028, 3, 2, 7)},
        {"end of the year", TaskTypeDaily, 0, Utc(2027, 12, 31, 22, 50), 0, 10, Utc(2027, 12, 31, 23, 10)},
        {"weekly over the year", TaskTypeWeekly, kSunday, Utc(2027, 12, 31, 11), 8, 0, Utc(2028, 1, 2, 7)},
        {"the time that does not exist", TaskTypeDaily, 0, Utc(2028, 3, 25, 12), 2, 30,
         Utc(2028, 3, 26, 1, 30)},
        {"and the day after it", TaskTypeDaily, 0, Utc(2028, 3, 26, 1, 31), 2, 30, Utc(2028, 3, 27, 0, 30)},
        {"late before the day of 23 hours", TaskTypeDaily, 0, Utc(2028, 3, 25, 22, 31), 23, 30,
         Utc(2028, 3, 26, 21, 30)},
        {"early on the day of 23 hours", TaskTypeDaily, 0, Utc(2028, 3, 25, 23, 20), 0, 10,
         Utc(2028, 3, 26, 22, 10)},
        {"weekly, late before the day of 23 hours", TaskTypeWeekly, kSaturdaySunday, Utc(2028, 3, 25, 22, 31),
         23, 30, Utc(2028, 3, 26, 21, 30)},
        {"weekly over the day of 23 hours", TaskTypeWeekly, kThursday, Utc(2028, 3, 25, 22, 31), 23, 30,
         Utc(2028, 3, 30, 21, 30)},
        {"the time that exists twice", TaskTypeDaily, 0, Utc(2028, 10, 28, 12), 2, 30,
         Utc(2028, 10, 29, 0, 30)},
        {"between the two", TaskTypeDaily, 0, Utc(2028, 10, 29, 0, 31), 2, 30, Utc(2028, 10, 30, 1, 30)},
        {"after the second", TaskTypeDaily, 0, Utc(2028, 10, 29, 1, 31), 2, 30, Utc(2028, 10, 30, 1, 30)},
        {"early on the day of 25 hours", TaskTypeDaily, 0, Utc(2028, 10, 28, 22, 20), 0, 10,
         Utc(2028, 10, 29, 23, 10)},
        {"weekly, early on the day of 25 hours", TaskTypeWeekly, 1 | 2, Utc(2028, 10, 28, 22, 20), 0, 10,
         Utc(2028, 10, 29, 23, 10)},
        {"weekly over the day of 25 hours", TaskTypeWeekly, kSunday, Utc(2028, 10, 22, 8), 9, 0,
         Utc(2028, 10, 29, 8)},
    };
    for (TurnCase const& test : kCases) {
        m_clock.SetSeconds(test.now);
        CTime const now = RawNow();
        CTime const dating(2027, 12, 1, test.hour, test.minute, 0);
        CTime const next = NextRunAfter(test.mode, test.mask, now - CTimeSpan(now.GetSecond()), dating,
                                        RawNow, [](TCHAR const*, CTime const&) {});
        EXPECT_EQ(next, CTime(test.expected))
            << test.what << ": " << next.Format(_T("%a %Y-%m-%d %H:%M")).ToUtf8();
    }
}

TEST_F(CalendarTurns, StoredDateBroughtForwardKeepsItsTimeOfDay) {
    for (CTime const& day : {CTime(2028, 3, 25, 0, 0, 0), CTime(2028, 10, 28, 0, 0, 0),
                             CTime(2028, 2, 28, 0, 0, 0), CTime(2028, 12, 31, 0, 0, 0)}) {
        CTime const minute = AtTimeOfDay(day, CTime(2028, 1, 1, 23, 45, 0));
        TaskDates const dates{TaskTypeDaily, CTime(2027, 1, 1, 0, 0, 0), CTime(2099, 1, 1, 0, 0, 0),
                              CTime(2028, 1, 1, 23, 30, 0), CTime(1971, 1, 1, 0, 0, 0)};
        EXPECT_EQ(BroughtForward(dates, minute, 0), DaysAfter(AtTimeOfDay(day, dates.dating), 1))
            << day.Format(_T("%m-%d")).ToUtf8();
        EXPECT_EQ(23, BroughtForward(dates, minute, 0).GetHour());
    }
}

struct ForwardCase {
    char const* what;
    int mode;
    CTime dating;
    CTime expected;
};

TEST_F(Calendar, StoredDateIsBroughtForward) {
    CTime const minute = Local(5, 15, 12, 0);
    ForwardCase const kCases[] = {
        {"ahead today", TaskTypeDaily, Local(5, 15, 18, 0), Local(5, 15, 18, 0)},
        {"far ahead, time passed today", TaskTypeDaily, Local(6, 20, 8, 0), Local(5, 16, 8, 0)},
        {"far ahead, time still to come", TaskTypeDaily, Local(6, 20, 18, 0), Local(5, 15, 18, 0)},
        {"now", TaskTypeDaily, Local(5, 15, 12, 0), Local(5, 15, 12, 0)},
        {"past, time still to come: tomorrow all the same", TaskTypeDaily, Local(5, 14, 18, 0),
         Local(5, 16, 18, 0)},
        {"past, time passed", TaskTypeDaily, Local(5, 14, 8, 0), Local(5, 16, 8, 0)},
        {"once, past", TaskTypeOnce, Local(5, 14, 18, 0), Local(5, 16, 18, 0)},
        {"weekly, past, same weekday, time to come", TaskTypeWeekly, Local(5, 8, 18, 0), Local(5, 15, 18, 0)},
        {"weekly, past, same weekday, time passed", TaskTypeWeekly, Local(5, 8, 8, 0), Local(5, 22, 8, 0)},
        {"weekly, past, Monday", TaskTypeWeekly, Local(5, 6, 8, 0), Local(5, 20, 8, 0)},
        {"weekly, far ahead, Friday", TaskTypeWeekly, Local(6, 28, 8, 0), Local(5, 17, 8, 0)},
    };
    for (ForwardCase const& test : kCases) {
        TaskDates const dates{test.mode, Local(1, 1, 0, 0), Local(12, 31, 0, 0), test.dating,
                              CTime(1971, 1, 1, 0, 0, 0)};
        EXPECT_EQ(BroughtForward(dates, minute, 0), test.expected)
            << test.what << ": " << BroughtForward(dates, minute, 0).Format(_T("%m-%d %H:%M")).ToUtf8();
    }
}

TEST_F(Calendar, DateWaitsForTheBeginningOfTheWindow) {
    TaskDates const dates{TaskTypeDaily, Local(6, 1, 12, 0), Local(12, 31, 0, 0), Local(5, 1, 8, 0),
                          CTime(1971, 1, 1, 0, 0, 0)};
    EXPECT_EQ(BroughtForward(dates, Local(5, 15, 12, 0), 0), Local(6, 2, 8, 0));
}

TEST_F(Calendar, OnceTaskThatHasRunKeepsItsDateUnlessToldOtherwise) {
    CTime const dating = Local(5, 10, 8, 0);
    TaskDates dates{TaskTypeOnce, Local(1, 1, 0, 0), Local(12, 31, 0, 0), dating, dating};
    EXPECT_TRUE(IsOnceDone(dates));
    EXPECT_EQ(BroughtForward(dates, Local(5, 15, 12, 0), 0), dating);
    EXPECT_EQ(BroughtForward(dates, Local(5, 15, 12, 0), 1), Local(5, 16, 8, 0));
    dates.lastBackup = dating - CTimeSpan(1);
    EXPECT_FALSE(IsOnceDone(dates));
    dates.lastBackup = dates.end + CTimeSpan(1);
    EXPECT_FALSE(IsOnceDone(dates));
}

TEST_F(Calendar, DateOutsideTheCalendarIsAFailure) {
    TaskDates const dates{TaskTypeDaily, CTime(99999999999), CTime(99999999999), Local(5, 1, 8, 0), CTime(0)};
    EXPECT_THROW(BroughtForward(dates, Local(5, 15, 12, 0), 0), CAtlException);
}

}  // namespace

}  // namespace rampart::test
