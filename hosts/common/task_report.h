// What a host tells about a task: its settings, its state, and when and why it runs next.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "engine/vaultlib.h"

namespace rampart::host {

// What the answer depends on beside the task and the clock.
struct Surroundings {
    uint32_t machine = 0;           // this machine's id
    bool skipsMissedRuns = false;   // missed runs are left out instead of made up
    bool isServiceRunning = false;  // somebody runs what is due
    std::string others;             // names of the tasks that run, for one that waits
};

struct NextRun {
    std::optional<CTime> time;  // raw; none if the task does not run by itself
    std::string why;            // a sentence's second half
    std::string Text(CTime const& now) const;
};

// When the task runs next by itself and why, seen from `now` (raw).
NextRun NextRunOf(CBackupTask& task, Surroundings const& surroundings, CTime const& now);

// Why a start by hand was refused, and what can be done about it.
std::string StartRefusal(CBackupTask const& task);

// Whether the one run of a once task has been made.
bool IsOnceDone(CBackupTask const& task);

// "daily at 02:30", "every Mon Thu at 22:00", "once, on ...", "continuously".
std::string ScheduleText(CBackupTask const& task);
// "never", or a local time.
std::string WhenText(CTime const& stored);

// Settings, state, last result and next run, in printable texts.
nlohmann::json DescribeTask(CBackupTask& task, Surroundings const& surroundings);

// How far a running task is: bytes, files, speed, what is left.
nlohmann::json DescribeProgress(CBackupTask& task);
// The same in a line for people.
std::string ProgressText(nlohmann::json const& progress);

// Describes all tasks of a manager, in its order. The dates of a running task belong to its run: what was
// told of it before, or the little that may be told, stands for it until it ends.
class TaskDescriptions {
public:
    nlohmann::json Describe(CBackupManage& manager, bool isServiceRunning);

private:
    std::map<CString, nlohmann::json> m_known;
};

// Minutes after which a service looks at the sources of a continuous task even if no change was told.
int RealTimePassMinutes();

}  // namespace rampart::host
