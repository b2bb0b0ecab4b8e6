// When a task runs, as people write it: "02:30", "mon,thu 22:00", "2026-12-01T08:00". All times are local.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "engine/vaultlib.h"

namespace rampart::host {

struct Schedule {
    TaskType mode = TaskTypeOnce;
    int hour = 0;
    int minute = 0;
    int days = 0;        // weekly: bit 0 is Sunday, bit 6 Saturday
    __int64 moment = 0;  // once: seconds since 1970 UTC

    static Schedule RealTime();
    // These throw CommandError for a text of another form, or a date that is none.
    static Schedule Daily(std::string const& time);
    static Schedule Weekly(std::string const& daysAndTime);
    static Schedule Once(std::string const& moment);
    static bool IsWeekly(std::string const& text);

    // The first run at `earliest` or after it, in raw time. A once task's is its own moment.
    CTime FirstRun(CTime const& earliest) const;
};

// The dates between which a task may run at all, seconds since 1970 UTC, both ends included.
struct Window {
    __int64 begin = 0;
    __int64 end = 0;

    // "FROM..TO", each "YYYY-MM-DD" or with "THH:MM"; one of them may be left out, a day without a time is
    // meant whole. Throws CommandError.
    static Window Parse(std::string const& text);
};

void to_json(nlohmann::json& json, Schedule const& schedule);
void from_json(nlohmann::json const& json, Schedule& schedule);
void to_json(nlohmann::json& json, Window const& window);
void from_json(nlohmann::json const& json, Window& window);

// The schedule that the task has.
Schedule ScheduleOf(CBackupTask const& task);

// The two time forms: a task keeps its dates in stored form, the calendar is that of raw time.
CTime ToStored(CTime raw);
CTime ToRaw(CTime stored);

// "today at 22:00", "tomorrow at 02:30", "on Thu 2026-11-26 at 22:00", seen from `now`; both raw.
std::string DayAndTime(CTime const& time, CTime const& now);

}  // namespace rampart::host
