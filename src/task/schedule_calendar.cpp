#include "task/schedule_calendar.h"

#include "paths/global_function.h"
#include "task/stored_time.h"

namespace rampart {

namespace {

constexpr int kWeekDays = 7;
constexpr int kNoon = 12;

CTime NextWeekday(CTime const& from, int weekday, CTime const& earliest) {
    int const span = (weekday - from.GetDayOfWeek() + kWeekDays) % kWeekDays;
    CTime const date = DaysAfter(from, span);
    return date < earliest ? DaysAfter(date, kWeekDays) : date;
}

}  // namespace

CTime AtTimeOfDay(CTime const& day, CTime const& time) {
    return CTime(day.GetYear(), day.GetMonth(), day.GetDay(), time.GetHour(), time.GetMinute(),
                 time.GetSecond());
}

// Noon is far from every change of the clock, so that so many times 24 hours are so many days.
CTime DaysAfter(CTime const& time, int days) {
    CTime const noon(time.GetYear(), time.GetMonth(), time.GetDay(), kNoon, 0, 0);
    return AtTimeOfDay(noon + CTimeSpan(days * kDaySeconds), time);
}

bool IsOnceDone(TaskDates const& dates) {
    return dates.mode == TaskTypeOnce && LiesWithin(dates.lastBackup, dates.begin, dates.end) &&
           dates.lastBackup >= dates.dating;
}

CTime NextRunAfter(int mode, int repeatDays, CTime today, CTime const& dating,
                   std::function<CTime()> const& clock, DateTrace const& trace) {
    CTime run = AtTimeOfDay(today, dating);
    trace(_T("createLocalTime: "), run);
    if (mode == TaskTypeWeekly) {
        int const span = GlobalFunction::GetNextSpanDaysOfWeek(repeatDays, run.GetDayOfWeek());
        CTime const day = DaysAfter(today, span != 0 ? span : kWeekDays);
        trace(span != 0 ? _T("weekLocalDate: ") : _T("weekLocalDate - add 7: "), day);
        run = AtTimeOfDay(day, dating);
        trace(_T("createLocalTime: "), run);
        return run;
    }
    while (run < clock()) {
        today = DaysAfter(today, 1);
        run = AtTimeOfDay(today, dating);
        trace(_T("createLocalTime: "), run);
    }
    return run;
}

CTime BroughtForward(TaskDates const& dates, CTime const& minute, int keepOnceDone) {
    CTime const earliest = std::max(minute, dates.begin);
    CTime const sameTime = AtTimeOfDay(earliest, dates.dating);
    if (keepOnceDone == 0 && IsOnceDone(dates)) {
        return dates.dating;
    }
    if (dates.mode == TaskTypeWeekly) {
        return NextWeekday(sameTime, dates.dating.GetDayOfWeek(), earliest);
    }
    bool const isPast = dates.dating < earliest;
    return isPast || sameTime < earliest ? DaysAfter(sameTime, 1) : sameTime;
}

}  // namespace rampart
