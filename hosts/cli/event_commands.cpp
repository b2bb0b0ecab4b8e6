// rampart events
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "common/task_report.h"
#include "output.h"
#include "session.h"

namespace rampart::cli {

namespace {

constexpr unsigned int kFollowMs = 500;
constexpr __int64 kFollowed = host::kEventsKept;  // so many events at most come between two looks

struct Event {
    std::string time;
    std::string task;
    std::string message;
    int type = EVENT_INFO;
    bool operator==(Event const&) const = default;
};

// The last events of one task, or of all, the newest last.
std::vector<Event> LastEvents(__int64 count, CString const& task) {
    CErrorLog log;
    CPtrList list;
    log.GetEventList(count, list);
    std::vector<Event> events;
    for (void* const entry : list) {
        auto const& info = *static_cast<ErrorInfo const*>(entry);
        if (task.IsEmpty() || info.m_strTaskName.CompareNoCase(task) == 0) {
            events.push_back({WhenText(TimeUtil::StrToTime(info.m_strTime)),
                              Printable(Utf8(info.m_strTaskName)), Printable(Utf8(info.m_strMessage)),
                              info.m_nType});
        }
    }
    log.ClearErrorList(list);
    std::reverse(events.begin(), events.end());
    return events;
}

char const* WordOf(int type) {
    return type == EVENT_ERROR ? "error" : type == EVENT_WARNING ? "warning" : "info";
}

nlohmann::json JsonOf(Event const& event) {
    return {
        {"time", event.time}, {"type", WordOf(event.type)}, {"task", event.task}, {"message", event.message}};
}

void Print(CommonOptions const& common, Event const& event) {
    if (common.json) {
        PrintJsonLine(JsonOf(event));
        return;
    }
    char start[64];
    std::snprintf(start, sizeof start, "%s  %-7s  ", event.time.c_str(), WordOf(event.type));
    std::cout << start << (event.task.empty() ? "" : event.task + ": ") << event.message << std::endl;
}

// How many of `now` stand behind what was there `before`: a log that is full has lost its oldest.
size_t NewEvents(std::vector<Event> const& before, std::vector<Event> const& now) {
    for (size_t lost = 0; lost < before.size(); ++lost) {
        size_t const kept = before.size() - lost;
        if (kept <= now.size() &&
            std::equal(before.begin() + static_cast<ptrdiff_t>(lost), before.end(), now.begin())) {
            return now.size() - kept;
        }
    }
    return now.size();
}

// Tells a log that was written to from one that was not, without reading it.
struct LogStamp {
    __int64 size = -1;
    CTime written;
    bool operator==(LogStamp const&) const = default;
};

LogStamp StampOfLog() {
    CFileInfo const file(CErrorLog::GetLogFilePath());
    return {file.m_size, file.m_lastWriteTime};
}

// Prints what comes behind the events that were there `before`.
void Follow(CommonOptions const& common, CString const& task, std::vector<Event> before) {
    LogStamp seen;  // something may have come since they were read
    while (!IsInterrupted()) {
        SleepMilliseconds(kFollowMs);
        // Taken before the events are read: what comes meanwhile is read again.
        LogStamp const stamp = StampOfLog();
        if (stamp == seen) {
            continue;
        }
        seen = stamp;
        std::vector<Event> now = LastEvents(kFollowed, task);
        for (size_t index = now.size() - NewEvents(before, now); index < now.size(); ++index) {
            Print(common, now[index]);
        }
        before.swap(now);
    }
}

}  // namespace

int RunEvents(CommonOptions const& common, EventOptions const& options) {
    EngineSession session(common, false);
    CString task;
    if (!options.task.empty()) {
        task = RequireTask(session.Manager(), options.task, false).m_taskName;
    }
    __int64 const read = options.follow ? std::max<__int64>(options.last, kFollowed) : options.last;
    std::vector<Event> const all = LastEvents(task.IsEmpty() ? read : INT64_MAX, task);
    size_t const shown = std::min(all.size(), static_cast<size_t>(options.last));
    std::vector<Event> const events(all.end() - static_cast<ptrdiff_t>(shown), all.end());
    if (common.json && !options.follow) {
        nlohmann::json list = nlohmann::json::array();
        for (Event const& event : events) {
            list.push_back(JsonOf(event));
        }
        PrintJson(list);
        return kExitDone;
    }
    for (Event const& event : events) {
        Print(common, event);
    }
    if (events.empty() && !options.follow) {
        PrintLine(common, "There are no events yet.");
    }
    if (options.follow) {
        Follow(common, task, all);
    }
    return kExitDone;
}

}  // namespace rampart::cli
