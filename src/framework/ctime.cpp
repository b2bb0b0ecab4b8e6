#include "framework/ctime.h"

#include <algorithm>

#include "framework/cexception.h"
#include "platform/clock.h"

using rampart::TextView;
using rampart::platform::BrokenDownTime;

namespace {

constexpr __int64 kLastSecond = 32535215999;  // 3000-12-31 23:59:59 UTC

bool HasCalendar(__int64 seconds) {
    return seconds >= 0 && seconds <= kLastSecond;
}

int DayOfYear(const BrokenDownTime& time) {
    BrokenDownTime newYear;
    newYear.year = time.year;
    newYear.month = 1;
    newYear.day = 1;
    BrokenDownTime day = newYear;
    day.month = time.month;
    day.day = time.day;
    return static_cast<int>((rampart::platform::FromUtcTime(day) - rampart::platform::FromUtcTime(newYear)) /
                            86400);
}

struct tm* FillTm(const BrokenDownTime& time, struct tm* fields) {
    *fields = {};
    fields->tm_year = time.year - 1900;
    fields->tm_mon = time.month - 1;
    fields->tm_mday = time.day;
    fields->tm_hour = time.hour;
    fields->tm_min = time.minute;
    fields->tm_sec = time.second;
    fields->tm_wday = time.weekday;
    fields->tm_yday = DayOfYear(time);
    fields->tm_isdst = -1;
    return fields;
}

// A field of local time, or `missing` for a moment without a calendar.
int LocalField(__int64 seconds, int BrokenDownTime::*field, int missing) {
    return HasCalendar(seconds) ? rampart::platform::ToLocalTime(seconds).*field : missing;
}

__int64 FromWall(int year, int month, int day, int hour, int minute, int second) {
    const auto within = [](int value, int least, int most) { return value >= least && value <= most; };
    if (year < 1970 || !within(month, 1, 12) || !within(day, 1, 31) || hour > 23 || minute > 59 ||
        second > 59) {  // negative ones are carried
        AtlThrow(rampart::kErrorFail);
    }
    constexpr int kYearBehindAll = 3002;  // years far off would overflow on their way
    BrokenDownTime wall;
    wall.year = std::min(year, kYearBehindAll);
    wall.month = month;
    wall.day = day;
    wall.hour = hour;
    wall.minute = minute;
    wall.second = second;
    const __int64 seconds = rampart::platform::FromLocalTime(wall);
    if (!HasCalendar(seconds)) {
        AtlThrow(rampart::kErrorInvalidArgument);
    }
    return seconds;
}

constexpr LPCTSTR kDays[] = {_T("Sunday"),   _T("Monday"), _T("Tuesday"), _T("Wednesday"),
                             _T("Thursday"), _T("Friday"), _T("Saturday")};
constexpr LPCTSTR kMonths[] = {_T("January"),   _T("February"), _T("March"),    _T("April"),
                               _T("May"),       _T("June"),     _T("July"),     _T("August"),
                               _T("September"), _T("October"),  _T("November"), _T("December")};

class TimeFormatter {
public:
    TimeFormatter(const BrokenDownTime& time, int yearDay) : m_time(time), m_yearDay(yearDay) {}

    CString Expand(TextView format) {
        for (size_t index = 0; index < format.size(); ++index) {
            if (format[index] != '%' || index + 1 == format.size()) {
                m_out += format[index];
                continue;
            }
            const size_t percent = index++;
            const bool bare = format[index] == '#' && index + 1 < format.size();
            index += bare;
            if (!Convert(format[index], bare)) {
                m_out += format.substr(percent, index - percent + 1);
            }
        }
        return m_out;
    }

private:
    void Number(int value, int width, bool bare) { m_out.AppendFormat(_T("%0*d"), bare ? 0 : width, value); }
    void Name(LPCTSTR name, bool whole) { m_out += whole ? CString(name) : CString(name).Left(3); }

    // Weeks of the year when they begin on this day of the week; days before the first such day lie in week
    // 0.
    int Week(int firstWeekday) const { return (m_yearDay + 7 - (m_time.weekday + 7 - firstWeekday) % 7) / 7; }

    void Sequence(TextView format) { m_out += TimeFormatter(m_time, m_yearDay).Expand(format); }

    bool Convert(TCHAR letter, bool bare) {
        switch (letter) {
            case '%':
                m_out += TCHAR('%');
                return true;
            case 'a':
            case 'A':
                Name(kDays[m_time.weekday], letter == 'A');
                return true;
            case 'b':
            case 'B':
                Name(kMonths[m_time.month - 1], letter == 'B');
                return true;
            case 'p':
                m_out += m_time.hour < 12 ? _T("AM") : _T("PM");
                return true;
            default:
                return ConvertNumber(letter, bare) || ConvertSequence(letter);
        }
    }

    bool ConvertNumber(TCHAR letter, bool bare) {
        switch (letter) {
            case 'd':
                Number(m_time.day, 2, bare);
                return true;
            case 'e':
                m_out.AppendFormat(_T("%*d"), bare ? 0 : 2, m_time.day);
                return true;
            case 'H':
                Number(m_time.hour, 2, bare);
                return true;
            case 'I':
                Number((m_time.hour + 11) % 12 + 1, 2, bare);
                return true;
            case 'j':
                Number(m_yearDay + 1, 3, bare);
                return true;
            case 'm':
                Number(m_time.month, 2, bare);
                return true;
            case 'M':
                Number(m_time.minute, 2, bare);
                return true;
            case 'S':
                Number(m_time.second, 2, bare);
                return true;
            case 'u':
                Number(m_time.weekday == 0 ? 7 : m_time.weekday, 1, bare);
                return true;
            case 'w':
                Number(m_time.weekday, 1, bare);
                return true;
            case 'U':
                Number(Week(0), 2, bare);
                return true;
            case 'W':
                Number(Week(1), 2, bare);
                return true;
            case 'y':
                Number(m_time.year % 100, 2, bare);
                return true;
            case 'Y':
                Number(m_time.year, 4, bare);
                return true;
            default:
                return false;
        }
    }

    bool ConvertSequence(TCHAR letter) {
        switch (letter) {
            case 'c':
                Sequence(_T("%a %b %e %H:%M:%S %Y"));
                return true;
            case 'D':
            case 'x':
                Sequence(_T("%m/%d/%y"));
                return true;
            case 'F':
                Sequence(_T("%Y-%m-%d"));
                return true;
            case 'R':
                Sequence(_T("%H:%M"));
                return true;
            case 'T':
            case 'X':
                Sequence(_T("%H:%M:%S"));
                return true;
            default:
                return false;
        }
    }

    const BrokenDownTime m_time;
    const int m_yearDay;
    CString m_out;
};

}  // namespace

CTime::CTime(int year, int month, int day, int hour, int minute, int second, int daylightFlag)
    : m_seconds(FromWall(year, month, day, hour, minute, second)) {
    static_cast<void>(daylightFlag);
}

CTime::CTime(const SYSTEMTIME& localTime, int daylightFlag) {
    constexpr WORD kFirstYearChecked = 1900;
    if (localTime.wYear >= kFirstYearChecked) {
        *this = CTime(localTime.wYear, localTime.wMonth, localTime.wDay, localTime.wHour, localTime.wMinute,
                      localTime.wSecond, daylightFlag);
    }
}

int CTime::GetYear() const {
    return LocalField(m_seconds, &BrokenDownTime::year, 0);
}
int CTime::GetMonth() const {
    return LocalField(m_seconds, &BrokenDownTime::month, 0);
}
int CTime::GetDay() const {
    return LocalField(m_seconds, &BrokenDownTime::day, 0);
}
int CTime::GetHour() const {
    return LocalField(m_seconds, &BrokenDownTime::hour, -1);
}
int CTime::GetMinute() const {
    return LocalField(m_seconds, &BrokenDownTime::minute, -1);
}
int CTime::GetSecond() const {
    return LocalField(m_seconds, &BrokenDownTime::second, -1);
}
int CTime::GetDayOfWeek() const {
    return LocalField(m_seconds, &BrokenDownTime::weekday, -1) + 1;
}

bool CTime::GetAsSystemTime(SYSTEMTIME& localTime) const {
    localTime = {};
    if (!HasCalendar(m_seconds)) {
        return false;
    }
    const BrokenDownTime time = rampart::platform::ToLocalTime(m_seconds);
    localTime.wYear = static_cast<WORD>(time.year);
    localTime.wMonth = static_cast<WORD>(time.month);
    localTime.wDayOfWeek = static_cast<WORD>(time.weekday);
    localTime.wDay = static_cast<WORD>(time.day);
    localTime.wHour = static_cast<WORD>(time.hour);
    localTime.wMinute = static_cast<WORD>(time.minute);
    localTime.wSecond = static_cast<WORD>(time.second);
    return true;
}

struct tm* CTime::GetLocalTm(struct tm* fields) const {
    return HasCalendar(m_seconds) ? FillTm(rampart::platform::ToLocalTime(m_seconds), fields) : nullptr;
}

struct tm* CTime::GetGmtTm(struct tm* fields) const {
    return HasCalendar(m_seconds) ? FillTm(rampart::platform::ToUtcTime(m_seconds), fields) : nullptr;
}

CString CTime::Format(TextView format) const {
    if (!HasCalendar(m_seconds)) {
        return CString();
    }
    const BrokenDownTime time = rampart::platform::ToLocalTime(m_seconds);
    return TimeFormatter(time, DayOfYear(time)).Expand(format);
}

CString CTime::FormatGmt(TextView format) const {
    if (!HasCalendar(m_seconds)) {
        return CString();
    }
    const BrokenDownTime time = rampart::platform::ToUtcTime(m_seconds);
    return TimeFormatter(time, DayOfYear(time)).Expand(format);
}

CTime rampart::NowRaw() {
    return CTime(rampart::platform::NowSeconds());
}
