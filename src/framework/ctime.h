// CTime: a moment, in whole seconds since 1970-01-01 00:00 UTC.
#pragma once

#include <compare>
#include <ctime>

#include "framework/cstring.h"
#include "framework/ctime_span.h"
#include "framework/types.h"

// Calendar fields are those of local time, by the zone of platform/clock.h. The calendar reaches from 1970 to
// the end of the year 3000 (UTC); a value outside it is kept and compared like any other, but has no fields.
class VAULTLIB_API CTime {
public:
    CTime() = default;
    CTime(__int64 seconds) : m_seconds(seconds) {}
    // From local time. A year below 1970, a month outside 1 to 12, a day outside 1 to 31, an hour above 23, a
    // minute or a second above 59 throws CAtlException with rampart::kErrorFail, a moment outside the
    // calendar one with rampart::kErrorInvalidArgument. The 31st of a shorter month is a day of the next one.
    // Whether daylight saving time holds is the zone's own rule, whatever `daylightFlag` says.
    CTime(int year, int month, int day, int hour, int minute, int second, int daylightFlag = -1);
    // As above; a year below 1900 gives the value 0.
    explicit CTime(const SYSTEMTIME& localTime, int daylightFlag = -1);

    __int64 GetTime() const { return m_seconds; }

    // Without a calendar: 0 for year, month, day and day of the week, -1 for the rest.
    int GetYear() const;
    int GetMonth() const;  // 1 to 12
    int GetDay() const;    // 1 to 31
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    int GetDayOfWeek() const;  // 1 to 7, 1 is Sunday

    // Local time; false without a calendar, and then `localTime` is all zeros.
    bool GetAsSystemTime(SYSTEMTIME& localTime) const;
    // Fill `fields` and return it; null without a calendar, and then it is left alone. `tm_isdst` is -1.
    struct tm* GetLocalTm(struct tm* fields) const;
    struct tm* GetGmtTm(struct tm* fields) const;

    // Local or UTC time by the conversions of strftime: %a %A %b %B %c %d %D %e %F %H %I %j %m %M %p %R %S %T
    // %u %U %w %W %x %X %y %Y %%, names in English, "#" takes leading zeros off. Another conversion is copied
    // as it stands. Empty without a calendar.
    CString Format(rampart::TextView format) const;
    CString FormatGmt(rampart::TextView format) const;

    CTime operator+(CTimeSpan span) const { return CTimeSpan::Sum(m_seconds, span.GetTimeSpan()); }
    CTime operator-(CTimeSpan span) const { return CTimeSpan::Difference(m_seconds, span.GetTimeSpan()); }
    CTimeSpan operator-(CTime other) const { return CTimeSpan::Difference(m_seconds, other.m_seconds); }
    CTime& operator+=(CTimeSpan span) { return *this = *this + span; }
    CTime& operator-=(CTimeSpan span) { return *this = *this - span; }
    auto operator<=>(const CTime&) const = default;  // NOLINT(modernize-use-nullptr): not understood

private:
    __int64 m_seconds = 0;
};

namespace rampart {

// The clock's present moment.
VAULTLIB_API CTime NowRaw();

}  // namespace rampart
