// The date rules of a task, as functions over values: no clock, no task, no log.
//
// Calendar fields are those of local time. A date that has no calendar, or a field out of its range, ends the
// function by CAtlException. Day numbers are 1 to 7, 1 is Sunday; bit 0 of a repeat mask is Sunday, bit 6
// Saturday.
#pragma once

#include <functional>

#include "framework/framework.h"
#include "task/task_types.h"

namespace rampart {

inline constexpr __int64 kDaySeconds = 86400;
inline constexpr __int64 kWeekSeconds = 604800;

// Told each date that a search looks at, with the name that the debug log gives it.
using DateTrace = std::function<void(TCHAR const* label, CTime const& date)>;

// The date of `day` at the hour, minute and second of `time`.
CTime AtTimeOfDay(CTime const& day, CTime const& time);

// The same time of day so many days later, however long those days are: adding 24 hours would pass over a day
// of 23 hours late in the evening, and move the time of day on the others.
CTime DaysAfter(CTime const& time, int days);

// The window of a task and its dates, all in stored form.
struct TaskDates {
    int mode = 0;
    CTime begin;
    CTime end;
    CTime dating;
    CTime lastBackup;
};

// Whether the one run of a once task has been made.
bool IsOnceDone(TaskDates const& dates);

// The next run after the present one, in raw time: a weekly task goes to a later day, any other to the first
// time of day of `dating` that is not before `clock()`. `today` and `dating` are raw times.
CTime NextRunAfter(int mode, int repeatDays, CTime today, CTime const& dating,
                   std::function<CTime()> const& clock, DateTrace const& trace);

// `dates.dating` brought close to `minute`, the present one: its time of day and weekday stay. A past date of
// a task that is not weekly goes to the day after, whether or not its time of day lies ahead. `keepOnceDone`
// nonzero moves the date of a once task that has run, too.
CTime BroughtForward(TaskDates const& dates, CTime const& minute, int keepOnceDone);

}  // namespace rampart
