#include "framework/ctime.h"

#include "framework/cexception.h"
#include "print_text.h"
#include "support/scripted_clock.h"

using rampart::test::ScriptedClock;
using rampart::test::Utc;

namespace {

constexpr __int64 kLastSecond = 32535215999;

HRESULT FailureOf(int year, int month, int day, int hour, int minute, int second) {
    try {
        CTime(year, month, day, hour, minute, second);
    } catch (const CAtlException& exception) {
        return exception.m_hr;
    }
    return 0;
}

}  // namespace

TEST(Time, FieldsAreThoseOfLocalTime) {
    ScriptedClock clock(Utc(2024, 2, 29, 23, 30, 15), 3600);
    const CTime now = rampart::NowRaw();
    EXPECT_EQ(now.GetYear(), 2024);
    EXPECT_EQ(now.GetMonth(), 3);
    EXPECT_EQ(now.GetDay(), 1);
    EXPECT_EQ(now.GetHour(), 0);
    EXPECT_EQ(now.GetMinute(), 30);
    EXPECT_EQ(now.GetSecond(), 15);
    EXPECT_EQ(now.GetDayOfWeek(), 6);  // a Friday
    EXPECT_EQ(CTime(2024, 3, 1, 0, 30, 15), now);
    SYSTEMTIME fields;
    ASSERT_TRUE(now.GetAsSystemTime(fields));
    EXPECT_EQ(fields.wDayOfWeek, 5);
    EXPECT_EQ(CTime(fields), now);
    struct tm broken;
    ASSERT_EQ(now.GetGmtTm(&broken), &broken);
    EXPECT_EQ(broken.tm_mday, 29);
    EXPECT_EQ(broken.tm_yday, 59);
    EXPECT_EQ(now.GetLocalTm(&broken)->tm_yday, 60);
}

TEST(Time, FieldsOutOfRangeFailAndMomentsOutOfRangeFailOtherwise) {
    ScriptedClock clock(0, 3600);
    EXPECT_EQ(FailureOf(1969, 12, 31, 23, 59, 59), rampart::kErrorFail);
    EXPECT_EQ(FailureOf(2024, 0, 1, 0, 0, 0), rampart::kErrorFail);
    EXPECT_EQ(FailureOf(2024, 13, 1, 0, 0, 0), rampart::kErrorFail);
    EXPECT_EQ(FailureOf(2024, 1, 32, 0, 0, 0), rampart::kErrorFail);
    EXPECT_EQ(FailureOf(2024, 1, 0, 0, 0, 0), rampart::kErrorFail);
    EXPECT_EQ(FailureOf(2024, 1, 1, 24, 0, 0), rampart::kErrorFail);
    EXPECT_EQ(FailureOf(2024, 1, 1, 0, 60, 0), rampart::kErrorFail);
    EXPECT_EQ(FailureOf(2024, 1, 1, 0, 0, 60), rampart::kErrorFail);
    EXPECT_EQ(CTime(2024, 3, 1, -1, 0, 0), CTime(2024, 2, 29, 23, 0, 0));
    EXPECT_EQ(CTime(2024, 1, 1, 0, -1, -61), CTime(2023, 12, 31, 23, 57, 59));
    EXPECT_EQ(FailureOf(1970, 1, 1, 0, 59, 59), rampart::kErrorInvalidArgument);  // before 1970 in UTC
    EXPECT_EQ(FailureOf(1970, 1, 1, 1, 0, 0), 0);
    EXPECT_EQ(FailureOf(3001, 1, 1, 1, 0, 0), rampart::kErrorInvalidArgument);
    EXPECT_EQ(FailureOf(2'000'000'000, 1, 1, 0, 0, 0), rampart::kErrorInvalidArgument);
    EXPECT_EQ(CTime(3001, 1, 1, 0, 59, 59).GetTime(), kLastSecond);
    EXPECT_EQ(CTime(2023, 2, 31, 0, 0, 0), CTime(2023, 3, 3, 0, 0, 0));
    EXPECT_EQ(CTime(SYSTEMTIME{}).GetTime(), 0);
}

TEST(Time, WithoutACalendarTheFieldsSaySo) {
    for (const __int64 seconds : {LONGLONG{-1}, kLastSecond + 1, std::numeric_limits<__int64>::min(),
                                  std::numeric_limits<__int64>::max()}) {
        const CTime time(seconds);
        EXPECT_EQ(time.GetYear(), 0);
        EXPECT_EQ(time.GetMonth(), 0);
        EXPECT_EQ(time.GetDay(), 0);
        EXPECT_EQ(time.GetDayOfWeek(), 0);
        EXPECT_EQ(time.GetHour(), -1);
        EXPECT_EQ(time.GetMinute(), -1);
        EXPECT_EQ(time.GetSecond(), -1);
        struct tm fields;
        EXPECT_EQ(time.GetLocalTm(&fields), nullptr);
        SYSTEMTIME system{1, 2, 3, 4, 5, 6, 7, 8};
        EXPECT_FALSE(time.GetAsSystemTime(system));
        EXPECT_EQ(system.wMilliseconds, 0);
        EXPECT_EQ(time.Format(_T("%Y")), CString());
        EXPECT_EQ(time.GetTime(), seconds);
    }
}

TEST(Time, FormatsLikeTheSystem) {
    ScriptedClock clock(Utc(2024, 1, 1), 0);
    char expected[256];
    for (__int64 seconds = 86399; seconds < 1'800'000'000; seconds += 11'111'111) {
        const CTime time(seconds);
        struct tm fields;
        time.GetLocalTm(&fields);
        constexpr char kFormat[] = "%Y-%m-%d %H:%M:%S %a %A %b %B %j %U %W %w %y %I %p %%";
        ASSERT_GT(std::strftime(expected, sizeof expected, kFormat, &fields), 0u);
        ASSERT_EQ(time.Format(CString::FromUtf8(kFormat)).ToUtf8(), expected);
        // Not every system has the others.
        const std::string day = std::to_string(fields.tm_mday);
        ASSERT_EQ(
            time.Format(_T("%u %e")).ToUtf8(),
            std::to_string(fields.tm_wday == 0 ? 7 : fields.tm_wday) + (day.size() == 1 ? "  " : " ") + day);
        ASSERT_EQ(time.Format(_T("%D %T %R %F")), time.Format(_T("%m/%d/%y %H:%M:%S %H:%M %Y-%m-%d")));
    }
    EXPECT_EQ(CTime(0).Format(_T("%#d.%#m. %Q %")), _T("1.1. %Q %"));
    EXPECT_EQ(CTime(0).FormatGmt(_T("%c|%x|%X")), _T("Thu Jan  1 00:00:00 1970|01/01/70|00:00:00"));
}

TEST(Time, ArithmeticAndOrder) {
    const CTime time(100);
    EXPECT_EQ((time + CTimeSpan(1, 2, 3, 4)).GetTime(), 100 + 93784);
    EXPECT_EQ((time - CTime(40)).GetTotalSeconds(), 60);
    EXPECT_TRUE(time < CTime(101) && time >= CTime(100) && time != CTime(99));
    const CTimeSpan span(93784);
    EXPECT_EQ(span.GetDays(), 1);
    EXPECT_EQ(span.GetHours(), 2);
    EXPECT_EQ(span.GetMinutes(), 3);
    EXPECT_EQ(span.GetSeconds(), 4);
    EXPECT_EQ((CTime(std::numeric_limits<__int64>::max()) + CTimeSpan(1)).GetTime(),
              std::numeric_limits<__int64>::min());
}
