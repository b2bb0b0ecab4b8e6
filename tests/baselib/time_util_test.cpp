#include <gtest/gtest.h>

#include "interfaces/baselib.h"
#include "support/scripted_clock.h"

namespace rampart {
namespace {

using test::ScriptedClock;
using test::Utc;

constexpr int32_t kHour = 3600;

// Berlin in 2024: summer time from March 31 to October 27, 01:00 UTC each.
class Berlin : public testing::Test {
protected:
    Berlin() {
        m_clock.AddZoneChange(kSpring, 2 * kHour);
        m_clock.AddZoneChange(kAutumn, kHour);
    }
    static __int64 Stored(__int64 raw) {
        CTime time(raw);
        TimeUtil::LocalTimeToUtcTime(time);
        return time.GetTime();
    }
    static __int64 Raw(__int64 stored) {
        CTime time(stored);
        TimeUtil::UtcTimeToLocalTime(time);
        return time.GetTime();
    }

    const int64_t kSpring = Utc(2024, 3, 31, 1);
    const int64_t kAutumn = Utc(2024, 10, 27, 1);
    ScriptedClock m_clock{Utc(2024, 6, 1), kHour};
};

TEST_F(Berlin, TheShiftIsTheOffsetAtTheRawInstant) {
    EXPECT_EQ(Stored(Utc(2024, 6, 1, 12)), Utc(2024, 6, 1, 10));
    EXPECT_EQ(Stored(Utc(2024, 1, 1, 12)), Utc(2024, 1, 1, 11));
    EXPECT_EQ(Raw(Utc(2024, 6, 1, 10)), Utc(2024, 6, 1, 12));
    EXPECT_EQ(TimeUtil::TimeToStr(CTime(Stored(Utc(2024, 6, 1, 12, 30, 5)))), _T("06/01/2024 12:30:05"));
    for (int64_t raw = kSpring - 3 * 86400; raw < kSpring + 3 * 86400; raw += 1800) {
        EXPECT_EQ(Stored(Raw(Stored(raw))), Stored(raw));
    }
}

TEST_F(Berlin, AStoredValueWithTwoAnswersGivesTheEarlier) {
    // The offset grows in spring, so raw instants up to an hour before and an hour after meet in one stored
    // value.
    EXPECT_EQ(Stored(kSpring - 1800), Stored(kSpring + 1800));
    EXPECT_EQ(Raw(Stored(kSpring + 1800)), kSpring - 1800);
}

TEST_F(Berlin, AStoredValueWithNoAnswerTakesTheOffsetAtItself) {
    // In autumn the stored values jump over an hour.
    const int64_t missing = kAutumn - 2 * kHour + 1800;
    EXPECT_EQ(Stored(kAutumn - 1), kAutumn - 1 - 2 * kHour);
    EXPECT_EQ(Stored(kAutumn), kAutumn - kHour);
    EXPECT_EQ(Raw(missing), missing + 2 * kHour);
}

TEST_F(Berlin, TextsShowLocalTimeAndComeBack) {
    EXPECT_EQ(TimeUtil::TimeToStr(CTime(Utc(2024, 6, 1, 23, 5, 9))), _T("06/02/2024 01:05:09"));
    EXPECT_EQ(TimeUtil::StrToTime(_T("06/02/2024 01:05:09")).GetTime(), Utc(2024, 6, 1, 23, 5, 9));
    EXPECT_EQ(TimeUtil::StrToTime(_T(" 6/2/2024 1:5:9 ")).GetTime(), Utc(2024, 6, 1, 23, 5, 9));
    EXPECT_EQ(TimeUtil::LocalStrToUtcStr(_T("06/02/2024 01:05:09")), _T("06/01/2024 23:05:09"));
    EXPECT_EQ(TimeUtil::LocalStrToUtcStr(_T("yesterday")), _T(""));
}

TEST_F(Berlin, WhatIsNoTimeReadsAsZero) {
    for (LPCTSTR text : {_T(""), _T("06/02/2024"), _T("13/02/2024 01:05:09"), _T("02/30/2024 01:05:09"),
                         _T("02/29/2023 01:05:09"), _T("06/02/2024 24:00:00"), _T("06/02/2024 01:05:09x"),
                         _T("06-02-2024 01:05:09"), _T("06/02/2024 01:05"), _T("-6/02/2024 01:05:09"),
                         _T("06/02/999999 01:05:09"), _T("0/2/2024 01:05:09")}) {
        EXPECT_EQ(TimeUtil::StrToTime(text).GetTime(), 0) << CString(text).ToUtf8();
    }
    EXPECT_NE(TimeUtil::StrToTime(_T("02/29/2024 01:05:09")).GetTime(), 0);
}

TEST_F(Berlin, SystemTimesHoldUtcAndComeBackExactly) {
    for (int64_t time : {int64_t{0}, int64_t{-1}, kSpring - 1, kSpring, kAutumn - 1800, kAutumn,
                         kAutumn + 1800, Utc(1903, 2, 28, 23, 59, 59), Utc(2399, 12, 31, 23, 59, 59)}) {
        EXPECT_EQ(TimeUtil::SystemTimeToTime(TimeUtil::TimeToSystemTime(CTime(time))).GetTime(), time);
    }
    const SYSTEMTIME fields = TimeUtil::TimeToSystemTime(CTime(Utc(2024, 6, 1, 23, 5, 9)));
    EXPECT_EQ(TimeUtil::TimeToStr(fields, 0), _T("06/01/2024 23:05:09"));
    EXPECT_EQ(fields.wDayOfWeek, 6);
    SYSTEMTIME unknown = fields;
    unknown.wYear = 1601;
    EXPECT_EQ(TimeUtil::SystemTimeToTime(unknown).GetTime(), 0);
    unknown = fields;
    unknown.wMonth = 13;
    EXPECT_EQ(TimeUtil::SystemTimeToTime(unknown).GetTime(), 0);
}

}  // namespace
}  // namespace rampart
