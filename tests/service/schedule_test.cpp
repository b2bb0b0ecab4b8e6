// Schedules as they are typed, and the first run that follows from them.
#include "common/schedule.h"

#include <cstdlib>
#include <ctime>

#include "common/exit_code.h"
#include "common/text.h"

namespace rampart::host {

namespace {

// Daylight saving time begins on 2026-03-29 at 02:00 and ends on 2026-10-25 at 03:00. Windows programs take
// the zone with which they are started.
#ifndef _WIN32
class Zone : public testing::Environment {
    void SetUp() override {
        setenv("TZ", "Europe/Berlin", 1);
        tzset();
    }
};
testing::Environment* const s_zone = testing::AddGlobalTestEnvironment(new Zone);
#endif

CTime At(std::string const& text) {
    return CTime(Schedule::Once(text).moment);
}

std::string First(Schedule const& schedule, std::string const& earliest) {
    return Utf8(schedule.FirstRun(At(earliest)).Format(_T("%a %Y-%m-%d %H:%M")));
}

TEST(Schedule, FirstRunIsTheNextTimeThatFits) {
    struct Case {
        Schedule schedule;
        char const* earliest;
        char const* first;
    };
    Case const cases[] = {
        {Schedule::Daily("02:30"), "2026-11-24T02:30", "Tue 2026-11-24 02:30"},
        {Schedule::Daily("2:30"), "2026-11-24T02:31", "Wed 2026-11-25 02:30"},
        {Schedule::Daily("00:00"), "2026-12-31T00:01", "Fri 2027-01-01 00:00"},
        {Schedule::Daily("12:00"), "2028-02-28T13:00", "Tue 2028-02-29 12:00"},
        {Schedule::Daily("04:00"), "2026-03-28T05:00", "Sun 2026-03-29 04:00"},  // a day of 23 hours
        {Schedule::Daily("23:30"), "2026-10-24T23:45", "Sun 2026-10-25 23:30"},  // and of 25
        {Schedule::Daily("00:10"), "2026-10-25T00:20", "Mon 2026-10-26 00:10"},
        {Schedule::Weekly("mon,thu 22:00"), "2026-11-24T00:00", "Thu 2026-11-26 22:00"},
        {Schedule::Weekly("Thu,MON 22:00"), "2026-11-26T22:01", "Mon 2026-11-30 22:00"},
        {Schedule::Weekly("tuesday 08:00"), "2026-11-24T08:01", "Tue 2026-12-01 08:00"},
        {Schedule::Weekly("fri-mon 08:00"), "2026-11-24T09:00", "Fri 2026-11-27 08:00"},
        {Schedule::Weekly("sun 01:00"), "2026-10-19T00:00", "Sun 2026-10-25 01:00"},
    };
    for (Case const& row : cases) {
        EXPECT_EQ(row.first, First(row.schedule, row.earliest)) << row.earliest;
    }
    EXPECT_EQ(0x63, Schedule::Weekly("fri-mon 08:00").days);
}

TEST(Schedule, OtherTextsAreRefused) {
    for (char const* const text : {"", "2", "24:00", "12:60", "-1:00", "2:3", "noon"}) {
        EXPECT_THROW(Schedule::Daily(text), CommandError) << text;
    }
    for (char const* const text :
         {"22:00", "mon", "mo 22:00", "mon,,tue 2:00", "mon, tue 2:00", "mon-foo 2:00"}) {
        EXPECT_THROW(Schedule::Weekly(text), CommandError) << text;
    }
    for (char const* const text : {"2026-12-01", "2026-13-01T08:00", "2026-02-29T08:00", "tomorrow"}) {
        EXPECT_THROW(Schedule::Once(text), CommandError) << text;
    }
    for (char const* const text : {"", "..", "2026-12-01", "2026-12-02..2026-12-01", "x..y"}) {
        EXPECT_THROW(Window::Parse(text), CommandError) << text;
    }
}

TEST(Schedule, DayOfAWindowIsMeantWhole) {
    Window const window = Window::Parse("2026-12-01..2026-12-02");
    EXPECT_EQ(At("2026-12-01T00:00").GetTime(), window.begin);
    EXPECT_EQ(At("2026-12-03T00:00").GetTime() - 1, window.end);
    EXPECT_LT(Window::Parse("..2026-12-02").begin, At("1990-01-01T00:00").GetTime());
    EXPECT_GT(Window::Parse("2026-12-02..").end, At("2098-01-01T00:00").GetTime());
    EXPECT_EQ(At("2026-12-01T08:15").GetTime(), Window::Parse("2026-12-01T08:15..").begin);
}

TEST(Schedule, DaysAreNamedFromNow) {
    CTime const now = At("2026-10-24T23:30");
    EXPECT_EQ("today at 23:45", DayAndTime(At("2026-10-24T23:45"), now));
    EXPECT_EQ("tomorrow at 00:10", DayAndTime(At("2026-10-25T00:10"), now));
    EXPECT_EQ("tomorrow at 23:59", DayAndTime(At("2026-10-25T23:59"), now));
    EXPECT_EQ("on Mon 2026-10-26 at 00:00", DayAndTime(At("2026-10-26T00:00"), now));
}

TEST(Schedule, SurvivesTheWayToTheService) {
    Schedule const schedule = nlohmann::json(Schedule::Weekly("mon-fri 18:05")).get<Schedule>();
    EXPECT_EQ(TaskTypeWeekly, schedule.mode);
    EXPECT_EQ(0x3E, schedule.days);
    EXPECT_EQ("Tue 2026-11-24 18:05", First(schedule, "2026-11-24T00:00"));
}

}  // namespace

}  // namespace rampart::host
