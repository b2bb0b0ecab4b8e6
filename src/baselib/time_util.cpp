#include <algorithm>
#include <optional>

#include "interfaces/baselib.h"
#include "platform/clock.h"

using namespace rampart;
using platform::BrokenDownTime;

namespace {

// Further from any instant than the difference of two offsets of one zone, so that the offsets at both ends
// of such a span around an instant are those that can hold for it.
constexpr int64_t kLargestOffset = 15 * 3600;

int64_t OffsetAt(int64_t utcSeconds) {
    return platform::CurrentClock().LocalOffset(utcSeconds);
}

int64_t StoredOfRaw(int64_t raw) {
    return raw - OffsetAt(raw);
}

// The earliest raw instant whose stored form this is; where there is none, the offset at the stored value
// counts.
int64_t RawOfStored(int64_t stored) {
    std::optional<int64_t> earliest;
    for (const int64_t offset :
         {OffsetAt(stored - kLargestOffset), OffsetAt(stored), OffsetAt(stored + kLargestOffset)}) {
        const int64_t raw = stored + offset;
        if (StoredOfRaw(raw) == stored && (!earliest || raw < *earliest)) {
            earliest = raw;
        }
    }
    return earliest ? *earliest : stored + OffsetAt(stored);
}

CString TimeText(int month, int day, int year, int hour, int minute, int second) {
    return FormatText(_T("%.2d/%.2d/%d %.2d:%.2d:%.2d"), month, day, year, hour, minute, second);
}

// Takes one number of up to five digits and the separator behind it; 0 as separator stands for the end.
bool TakeNumber(TextView& text, int& number, TCHAR separator) {
    size_t digits = 0;
    number = 0;
    while (digits < text.size() && digits < 5 && text[digits] >= _T('0') && text[digits] <= _T('9')) {
        number = number * 10 + (text[digits++] - _T('0'));
    }
    text.remove_prefix(digits);
    if (digits == 0 || (separator == 0 ? !text.empty() : text.empty() || text.front() != separator)) {
        return false;
    }
    text.remove_prefix(separator == 0 ? 0 : 1);
    return true;
}

bool IsMoment(const BrokenDownTime& time) {
    constexpr int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (time.month < 1 || time.month > 12 || time.day < 1 || time.day > kDays[time.month - 1]) {
        return false;
    }
    const bool isLeap = time.year % 4 == 0 && (time.year % 100 != 0 || time.year % 400 == 0);
    return (time.month != 2 || time.day < 29 || isLeap) && time.year > 0 && time.hour >= 0 &&
           time.hour < 24 && time.minute >= 0 && time.minute < 60 && time.second >= 0 && time.second < 60;
}

std::optional<BrokenDownTime> ParseTimeText(CString const& text) {
    CString trimmed = text;
    TextView rest = trimmed.Trim();
    BrokenDownTime time;
    const bool complete = TakeNumber(rest, time.month, _T('/')) && TakeNumber(rest, time.day, _T('/')) &&
                          TakeNumber(rest, time.year, _T(' ')) && TakeNumber(rest, time.hour, _T(':')) &&
                          TakeNumber(rest, time.minute, _T(':')) && TakeNumber(rest, time.second, 0);
    return complete && IsMoment(time) ? std::optional(time) : std::nullopt;
}

}  // namespace

CString TimeUtil::TimeToStr(CTime const& time) {
    const BrokenDownTime wall = platform::ToLocalTime(time.GetTime());
    return TimeText(wall.month, wall.day, wall.year, wall.hour, wall.minute, wall.second);
}

CString TimeUtil::TimeToStr(SYSTEMTIME const& time, int) {
    return TimeText(time.wMonth, time.wDay, time.wYear, time.wHour, time.wMinute, time.wSecond);
}

CTime TimeUtil::StrToTime(CString const& text) {
    const auto wall = ParseTimeText(text);
    return wall ? CTime(platform::FromLocalTime(*wall)) : CTime();
}

SYSTEMTIME TimeUtil::TimeToSystemTime(CTime const& time) {
    const BrokenDownTime utc = platform::ToUtcTime(time.GetTime());
    SYSTEMTIME fields;
    fields.wYear = static_cast<WORD>(std::clamp(utc.year, 0, 0xFFFF));
    fields.wMonth = static_cast<WORD>(utc.month);
    fields.wDayOfWeek = static_cast<WORD>(utc.weekday);
    fields.wDay = static_cast<WORD>(utc.day);
    fields.wHour = static_cast<WORD>(utc.hour);
    fields.wMinute = static_cast<WORD>(utc.minute);
    fields.wSecond = static_cast<WORD>(utc.second);
    return fields;
}

CTime TimeUtil::SystemTimeToTime(SYSTEMTIME const& time) {
    constexpr int kFirstKnownYear = 1900;
    const BrokenDownTime utc{time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond, 0};
    return utc.year >= kFirstKnownYear && IsMoment(utc) ? CTime(platform::FromUtcTime(utc)) : CTime();
}

void TimeUtil::LocalTimeToUtcTime(CTime& time) {
    time = CTime(StoredOfRaw(time.GetTime()));
}

void TimeUtil::UtcTimeToLocalTime(CTime& time) {
    time = CTime(RawOfStored(time.GetTime()));
}

CString TimeUtil::LocalStrToUtcStr(CString const& text) {
    const auto wall = ParseTimeText(text);
    return wall ? TimeToStr(CTime(StoredOfRaw(platform::FromLocalTime(*wall)))) : CString();
}
