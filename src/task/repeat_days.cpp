// The days of the week on which a task repeats: the mask as text, for display, and the way from day to day.
#include "framework/framework.h"
#include "interfaces/baselib.h"
#include "paths/global_function.h"

namespace {

constexpr int kNone = -1;
constexpr int kSunday = 1;
constexpr int kWeekDays = 7;
constexpr int kMaskBits = 8;

// Index i of the result stands for day i + 1.
CString Reversed(CString days) {
    return days.MakeReverse();
}

CString DaysOf(int mask) {
    return GlobalFunction::ConvertRepeatDaysToString(static_cast<unsigned char>(mask));
}

// Days from `day` to the day that the answers name, as a count of at least 1; `next` is the next set day of
// the same week or none. A multiple of 7 may mean today or a whole week.
int RawSpan(CString const& days, int day, int next) {
    int const sunday = GlobalFunction::GetSundayOfWeek(days);
    int const first = GlobalFunction::GetFirstdayOfWeekExincludeSunday(days);
    int const toSunday = kWeekDays + kSunday - day;
    if (next != kNone) {
        return sunday != kNone && next <= sunday ? toSunday : next - day + kWeekDays;
    }
    return first != kNone && sunday == kNone ? first - day + kWeekDays : toSunday;
}

}  // namespace

CString GlobalFunction::ConvertRepeatDaysToString(unsigned char mask) {
    CString text;
    for (int bit = kMaskBits - 1; bit >= 0; --bit) {
        text += (mask >> bit & 1) != 0 ? _T('1') : _T('0');
    }
    return text;
}

CString GlobalFunction::GetDaysOfWeekStr(int mask, int shorthand) {
    CString const prefix = shorthand != 0 ? _T("RepeatShorthandDay") : _T("RepeatDay");
    CString const days = Reversed(DaysOf(mask));
    CString text;
    auto add = [&](CString const& key) {
        text += (text.IsEmpty() ? CString() : CString(_T(" "))) + DictUtil::GetValue(key, _T(""));
    };
    for (int index = 1; index < kMaskBits; ++index) {
        if (days[index] == _T('1')) {
            CString key;
            key.Format(_T("%s%d"), prefix, index);
            add(key);
        }
    }
    if (days[0] == _T('1')) {
        add(prefix);
    }
    return text;
}

int GlobalFunction::GetNextDayOfWeek(CString const& days, int day, int includeToday) {
    int const start = includeToday != 0 ? day - 1 : day;
    if (start < 0 || start >= days.GetLength()) {
        return kNone;
    }
    int const index = Reversed(days).Find(_T('1'), start);
    return index < 0 ? kNone : index + 1;
}

int GlobalFunction::GetFirstdayOfWeekExincludeSunday(CString const& days) {
    int const index = Reversed(days).Find(_T('1'));
    return index < 0 ? kNone : index + 1;
}

int GlobalFunction::GetSundayOfWeek(CString const& days) {
    if (days.IsEmpty()) {
        AfxThrowInvalidArgException();
    }
    return Reversed(days)[0] == _T('1') ? kSunday : kNone;
}

int GlobalFunction::GetNextSpanDaysOfWeek(int mask, int day) {
    CString const days = DaysOf(mask);
    int const raw = RawSpan(days, day, GetNextDayOfWeek(days, day, 0));
    if (raw % kWeekDays == 0 && GetSundayOfWeek(days) != kNone && day != kSunday) {
        return (kWeekDays + kSunday - day) % kWeekDays;
    }
    return raw % kWeekDays;
}

int GlobalFunction::GetSpanDaysOfWeek(int mask, int day) {
    CString const days = DaysOf(mask);
    return RawSpan(days, day, GetNextDayOfWeek(days, day, 1)) % kWeekDays;
}
