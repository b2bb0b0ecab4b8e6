#include "common/schedule.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <regex>

#include "common/exit_code.h"
#include "common/text.h"

namespace rampart::host {

namespace {

constexpr std::array<char const*, 7> kDayNames{"sunday",   "monday", "tuesday", "wednesday",
                                               "thursday", "friday", "saturday"};
constexpr int kWeekDays = 7;
constexpr __int64 kDaySeconds = 86400;
constexpr int kNoon = 12;

[[noreturn]] void Refuse(std::string const& text, std::string const& wanted) {
    throw CommandError(kExitUsage, "'" + Printable(text) + "' is not " + wanted);
}

bool ReadTimeOfDay(std::string const& text, int& hour, int& minute) {
    static std::regex const form(R"((\d{1,2}):(\d{2}))");
    std::smatch match;
    if (!std::regex_match(text, match, form)) {
        return false;
    }
    hour = std::stoi(match[1]);
    minute = std::stoi(match[2]);
    return hour < 24 && minute < 60;
}

// A day by its name or a beginning of it of three letters or more; -1 for none.
int DayOf(std::string const& name) {
    constexpr size_t kShortest = 3;
    for (size_t day = 0; day < kDayNames.size(); ++day) {
        if (name.size() >= kShortest && std::string(kDayNames[day]).starts_with(name)) {
            return static_cast<int>(day);
        }
    }
    return -1;
}

// One day or a range of days, as a mask; 0 for none.
int DaysOf(std::string const& part) {
    size_t const dash = part.find('-');
    int const first = DayOf(part.substr(0, dash));
    int const last = dash == std::string::npos ? first : DayOf(part.substr(dash + 1));
    if (first < 0 || last < 0) {
        return 0;
    }
    int mask = 1 << last;
    for (int day = first; day != last; day = (day + 1) % kWeekDays) {
        mask |= 1 << day;
    }
    return mask;
}

bool ReadWeekly(std::string text, Schedule& schedule) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    static std::regex const form(R"(\s*([a-z,\-]+)\s+(\S+)\s*)");
    std::smatch match;
    if (!std::regex_match(text, match, form) || !ReadTimeOfDay(match[2], schedule.hour, schedule.minute)) {
        return false;
    }
    schedule.mode = TaskTypeWeekly;
    schedule.days = 0;
    std::string const days = match[1];
    for (size_t start = 0; start <= days.size();) {
        size_t const end = std::min(days.find(',', start), days.size());
        int const mask = DaysOf(days.substr(start, end - start));
        if (mask == 0) {
            return false;
        }
        schedule.days |= mask;
        start = end + 1;
    }
    return true;
}

// A moment of local time; a day without a time of day takes that of `hour`, `minute`, `second`.
std::optional<CTime> ReadMoment(std::string const& text, bool needsTime, int hour, int minute, int second) {
    static std::regex const form(R"((\d{4})-(\d{1,2})-(\d{1,2})(?:[ T](\d{1,2}:\d{2}))?)");
    std::smatch match;
    if (!std::regex_match(text, match, form) || (needsTime && !match[4].matched)) {
        return std::nullopt;
    }
    if (match[4].matched) {
        if (!ReadTimeOfDay(match[4], hour, minute)) {
            return std::nullopt;
        }
        second = second == 0 ? 0 : 59;
    }
    int const month = std::stoi(match[2]);
    int const day = std::stoi(match[3]);
    try {
        CTime const time(std::stoi(match[1]), month, day, hour, minute, second);
        return time.GetDay() == day && time.GetMonth() == month ? std::optional(time) : std::nullopt;
    } catch (...) {
        return std::nullopt;  // a field out of range
    }
}

// The calendar day `days` after that of `from`, at a time of day. Noon is far from every change of the clock.
CTime DayLater(CTime const& from, int days, int hour, int minute) {
    CTime const noon =
        CTime(from.GetYear(), from.GetMonth(), from.GetDay(), kNoon, 0, 0) + CTimeSpan(days * kDaySeconds);
    return CTime(noon.GetYear(), noon.GetMonth(), noon.GetDay(), hour, minute, 0);
}

bool IsSameDay(CTime const& a, CTime const& b) {
    return a.GetYear() == b.GetYear() && a.GetMonth() == b.GetMonth() && a.GetDay() == b.GetDay();
}

}  // namespace

Schedule Schedule::RealTime() {
    Schedule schedule;
    schedule.mode = TaskTypeRealTime;
    return schedule;
}

Schedule Schedule::Daily(std::string const& time) {
    Schedule schedule;
    schedule.mode = TaskTypeDaily;
    if (!ReadTimeOfDay(time, schedule.hour, schedule.minute)) {
        Refuse(time, "a time of day: write 02:30");
    }
    return schedule;
}

Schedule Schedule::Weekly(std::string const& daysAndTime) {
    Schedule schedule;
    if (!ReadWeekly(daysAndTime, schedule)) {
        Refuse(daysAndTime, "a list of days and a time: write mon,thu 22:00 or mon-fri 18:00");
    }
    return schedule;
}

bool Schedule::IsWeekly(std::string const& text) {
    Schedule schedule;
    return ReadWeekly(text, schedule);
}

Schedule Schedule::Once(std::string const& moment) {
    std::optional<CTime> const time = ReadMoment(moment, true, 0, 0, 0);
    if (!time) {
        Refuse(moment, "a moment: write 2026-12-01T08:00");
    }
    Schedule schedule;
    schedule.moment = time->GetTime();
    schedule.hour = time->GetHour();
    schedule.minute = time->GetMinute();
    return schedule;
}

CTime Schedule::FirstRun(CTime const& earliest) const {
    if (mode == TaskTypeOnce) {
        return CTime(moment);
    }
    if (mode == TaskTypeRealTime) {
        return earliest;
    }
    for (int days = 0; days <= kWeekDays; ++days) {
        CTime const run = DayLater(earliest, days, hour, minute);
        bool const isDay = mode == TaskTypeDaily || (this->days >> (run.GetDayOfWeek() - 1) & 1) != 0;
        if (isDay && run >= earliest) {
            return run;
        }
    }
    return DayLater(earliest, kWeekDays, hour, minute);
}

Window Window::Parse(std::string const& text) {
    char const* const wanted = "a window: write 2026-12-01..2027-01-31, or leave one of the two out";
    size_t const dots = text.find("..");
    if (dots == std::string::npos || text.size() == 2) {
        Refuse(text, wanted);
    }
    std::string const from = text.substr(0, dots);
    std::string const to = text.substr(dots + 2);
    Window window{CTime(1971, 1, 1, 0, 0, 0).GetTime(), CTime(2099, 1, 1, 0, 0, 0).GetTime()};
    if (!from.empty()) {
        std::optional<CTime> const begin = ReadMoment(from, false, 0, 0, 0);
        if (!begin) {
            Refuse(text, wanted);
        }
        window.begin = begin->GetTime();
    }
    if (!to.empty()) {
        std::optional<CTime> const end = ReadMoment(to, false, 23, 59, 59);
        if (!end) {
            Refuse(text, wanted);
        }
        window.end = end->GetTime();
    }
    if (window.end <= window.begin) {
        Refuse(text, "a window: it ends before it begins");
    }
    return window;
}

void to_json(nlohmann::json& json, Schedule const& schedule) {
    json = {{"mode", static_cast<int>(schedule.mode)},
            {"hour", schedule.hour},
            {"minute", schedule.minute},
            {"days", schedule.days},
            {"moment", static_cast<long long>(schedule.moment)}};
}

void from_json(nlohmann::json const& json, Schedule& schedule) {
    schedule.mode = static_cast<TaskType>(json.at("mode").get<int>());
    schedule.hour = json.at("hour");
    schedule.minute = json.at("minute");
    schedule.days = json.at("days");
    schedule.moment = json.at("moment").get<long long>();
}

void to_json(nlohmann::json& json, Window const& window) {
    json = {static_cast<long long>(window.begin), static_cast<long long>(window.end)};
}

void from_json(nlohmann::json const& json, Window& window) {
    window.begin = json.at(0).get<long long>();
    window.end = json.at(1).get<long long>();
}

Schedule ScheduleOf(CBackupTask const& task) {
    Schedule schedule;
    schedule.mode = static_cast<TaskType>(ScheduleMode(task.m_type));
    schedule.hour = task.MeantTime().GetHour();
    schedule.minute = task.MeantTime().GetMinute();
    schedule.days = task.m_repeatDays;
    schedule.moment = ToRaw(task.m_dating).GetTime();
    return schedule;
}

CTime ToStored(CTime raw) {
    TimeUtil::LocalTimeToUtcTime(raw);
    return raw;
}

CTime ToRaw(CTime stored) {
    TimeUtil::UtcTimeToLocalTime(stored);
    return stored;
}

std::string DayAndTime(CTime const& time, CTime const& now) {
    std::string const clock = " at " + Utf8(time.Format(_T("%H:%M")));
    if (IsSameDay(time, now)) {
        return "today" + clock;
    }
    if (IsSameDay(time, DayLater(now, 1, kNoon, 0))) {
        return "tomorrow" + clock;
    }
    return "on " + Utf8(time.Format(_T("%a %Y-%m-%d"))) + clock;
}

}  // namespace rampart::host
