#include "common/task_report.h"

#include "common/paths.h"
#include "common/schedule.h"
#include "common/text.h"

namespace rampart::host {

namespace {

CTime NeverMark() {
    return CTime(1971, 1, 2, 0, 0, 0);
}

int ModeOf(CBackupTask const& task) {
    return ScheduleMode(task.m_type);
}

bool IsRunning(CBackupTask& task) {
    return ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task) != 0;
}

std::string ResumeReason(CBackupTask const& task) {
    if (task.m_state == TaskStateCanceled) {
        return "its last run was cut short, and the rest is made up";
    }
    if (task.m_state == TaskStateFailed || task.m_errorRetryFactor != 0) {
        return "its last run failed or left files out, and is tried again";
    }
    return "a run was missed, and is made up";
}

std::string ModeReason(CBackupTask const& task) {
    switch (ModeOf(task)) {
        case TaskTypeDaily:
            return "it runs daily at that time";
        case TaskTypeWeekly:
            return "it runs " + ScheduleText(task);
        default:
            return "it runs once, at that time";
    }
}

// The date may be that of a clock that was wrong when the task was made.
std::string WindowHint(CBackupTask const& task, CTime const& now) {
    return "to change that: rampart task edit '" + Printable(Utf8(task.m_taskName)) + "' --window " +
           Utf8(now.Format(_T("%Y-%m-%d"))) + "..";
}

// A date that has come: what happens to it depends on who looks at it, and on whether the window has begun.
NextRun DueRun(CBackupTask const& task, Surroundings const& surroundings, CTime const& dating,
               CTime const& now) {
    CTime const begin = ToRaw(task.m_beginDate);
    std::string const since = "its time was " + DayAndTime(dating, now);
    bool const isSkipped = surroundings.skipsMissedRuns && ModeOf(task) != TaskTypeOnce;
    if (isSkipped && (begin > now || !surroundings.isServiceRunning)) {
        return {ScheduleOf(task).FirstRun(std::max(now, begin)),
                since + "; runs that were missed are skipped"};
    }
    if (begin > now) {
        return {begin, "its window begins then; " + WindowHint(task, now)};
    }
    return {now, since + (surroundings.isServiceRunning ? " and it is started now"
                                                        : " and no service was there to start it")};
}

// A date ahead; the engine runs nothing before the window begins.
NextRun PlannedRun(CBackupTask const& task, Surroundings const& surroundings, CTime const& dating,
                   CTime const& now) {
    CTime const begin = ToRaw(task.m_beginDate);
    if (dating >= begin) {
        return {dating, ModeReason(task)};
    }
    if (surroundings.skipsMissedRuns && ModeOf(task) != TaskTypeOnce) {
        return {ScheduleOf(task).FirstRun(begin), ModeReason(task)};
    }
    return {begin, "its window begins then; " + WindowHint(task, now)};
}

}  // namespace

std::string NextRun::Text(CTime const& now) const {
    return time ? "runs " + DayAndTime(*time, now) + ": " + why : "does not run by itself: " + why;
}

NextRun NextRunOf(CBackupTask& task, Surroundings const& surroundings, CTime const& now) {
    if (task.m_pcID != surroundings.machine) {
        return {std::nullopt, "the machine " + Printable(Utf8(task.m_pcName)) + " runs it"};
    }
    if (task.m_scheduleEnabled == 0 || task.m_state == TaskStateDisabled) {
        return {std::nullopt, "it is disabled"};
    }
    if (IsRunning(task)) {
        return {now, "it runs at this moment"};
    }
    if (task.m_pTaskPrg != nullptr && task.m_pTaskPrg->IsStopping()) {
        return {std::nullopt, "its last run does not end; does one of its folders not answer?"};
    }
    if (task.m_state == TaskStateWaiting && surroundings.isServiceRunning) {
        return {now, surroundings.others.empty() ? "it is about to start"
                                                 : "it waits for its turn behind " + surroundings.others};
    }
    CTime const end = ToRaw(task.m_endDate);
    CTime const dating = ToRaw(task.m_dating);
    bool const isOver = now > end;
    std::optional<NextRun> dated;
    std::string none;
    if (isOver) {
        none = "its window ended " + DayAndTime(end, now);
    } else if (ModeOf(task) == TaskTypeRealTime) {
        CTime const begin = ToRaw(task.m_beginDate);
        dated = NextRun{begin > now ? begin : now,
                        begin > now ? "its window begins then; " + WindowHint(task, now)
                                    : "it runs continuously, at least every " +
                                          std::to_string(RealTimePassMinutes()) + " minutes"};
    } else if (IsOnceDone(task)) {
        none = "its one run was made " + DayAndTime(ToRaw(task.m_backupDate), now);
    } else if (dating > end) {
        none = "its window ends before its next time, " + DayAndTime(dating, now);
    } else if (dating > now) {
        dated = PlannedRun(task, surroundings, dating, now);
    } else {
        dated = DueRun(task, surroundings, dating, now);
    }
    if (task.m_isResume != 0) {
        CTime const resume = std::max(ToRaw(task.m_resumeDate), now);
        if (!dated || resume < *dated->time) {
            return {resume, ResumeReason(task)};
        }
    }
    return dated ? *dated : NextRun{std::nullopt, none};
}

std::string StartRefusal(CBackupTask const& task) {
    CString const reason = task.GetManualStartErrorMsg();
    CTime const now = NowRaw();
    CTime const begin = ToRaw(task.m_beginDate);
    if (reason.IsEmpty()) {
        return "the task is disabled";
    }
    return Utf8(reason) +
           (begin > now ? " It begins " + DayAndTime(begin, now) + "; " + WindowHint(task, now) : "");
}

bool IsOnceDone(CBackupTask const& task) {
    return ModeOf(task) == TaskTypeOnce && task.m_backupDate.Get() >= task.m_dating &&
           task.m_beginDate <= task.m_backupDate && task.m_backupDate <= task.m_endDate;
}

std::string ScheduleText(CBackupTask const& task) {
    CTime const dating = ToRaw(task.m_dating);
    std::string const clock = Utf8(task.MeantTime().Format(_T("%H:%M")));
    switch (ModeOf(task)) {
        case TaskTypeRealTime:
            return "continuously";
        case TaskTypeDaily:
            return "daily at " + clock;
        case TaskTypeWeekly: {
            CString const days = GlobalFunction::GetDaysOfWeekStr(task.m_repeatDays, 1);
            return "every " + Utf8(days) + " at " + clock;
        }
        case TaskTypeOnce:
            return "once, on " + Utf8(dating.Format(_T("%a %Y-%m-%d"))) + " at " + clock;
        default:
            return "by no schedule that is known here";
    }
}

std::string WhenText(CTime const& stored) {
    return stored <= NeverMark() ? "never" : Utf8(ToRaw(stored).Format(_T("%Y-%m-%d %H:%M:%S")));
}

namespace {

std::string WindowText(CBackupTask const& task) {
    return WhenText(task.m_beginDate) + " .. " + WhenText(task.m_endDate);
}

nlohmann::json SourcesOf(CBackupTask const& task) {
    nlohmann::json sources = nlohmann::json::array();
    for (SourceInfo const* const source : task.m_localDirList) {
        if (source != nullptr) {
            sources.push_back(PrintablePath(source->path));
        }
    }
    return sources;
}

// The patterns as they were typed: those of folders end in a slash.
nlohmann::json PatternsOf(CBackupTask const& task) {
    nlohmann::json patterns = nlohmann::json::array();
    for (CString const& pattern : task.m_filterExList) {
        patterns.push_back(PrintableServerPath(pattern));
    }
    for (CString const& pattern : task.m_filtedPathList) {
        if (task.m_filterExList.Find(pattern) == nullptr) {
            patterns.push_back(PrintableServerPath(pattern) + "/");
        }
    }
    return patterns;
}

char const* StateWord(CBackupTask& task) {
    if (IsRunning(task)) {
        return "running";
    }
    if (task.m_pTaskPrg != nullptr && task.m_pTaskPrg->IsStopping()) {
        return "stopping";
    }
    switch (task.m_state) {
        case TaskStateWaiting:
            return "waiting";
        case TaskStateCanceled:
            return "cancelled";
        case TaskStateFinished:
            return "done";
        case TaskStateFailed:
            return "failed";
        case TaskStateDisabled:
            return "disabled";
        default:
            return "ready";
    }
}

char const* ModeWord(CBackupTask const& task) {
    static constexpr char const* kWords[] = {"realtime", "daily", "weekly", "once"};
    int const mode = ModeOf(task);
    return mode >= TaskTypeRealTime && mode <= TaskTypeOnce ? kWords[mode] : "unknown";
}

}  // namespace

nlohmann::json DescribeTask(CBackupTask& task, Surroundings const& surroundings) {
    CTime const now = NowRaw();
    NextRun const next = NextRunOf(task, surroundings, now);
    bool const includes = task.m_filterType == _T("1");
    return {{"task", Printable(Utf8(task.m_taskName))},
            {"machine", Printable(Utf8(task.m_pcName))},
            {"isOfThisMachine", task.m_pcID == surroundings.machine},
            {"mode", ModeWord(task)},
            {"schedule", ScheduleText(task)},
            {"window", WindowText(task)},
            {"enabled", task.m_scheduleEnabled != 0},
            {"state", StateWord(task)},
            {"lastRun", WhenText(task.LastRun())},
            {"date", WhenText(task.m_dating)},
            {"next",
             next.time ? nlohmann::json(Utf8(next.time->Format(_T("%Y-%m-%d %H:%M:%S")))) : nlohmann::json()},
            {"nextText", next.Text(now)},
            {"sources", SourcesOf(task)},
            {includes ? "include" : "exclude", PatternsOf(task)},
            {"versions", static_cast<long long>(task.m_maxVersion)},
            {"folder", PrintableServerPath(task.m_serverFilePath)},
            {"hadError", task.m_errorOccured != 0},
            {"errors", Utf8(task.GetErrorsOfRun())},
            {"warnings", Utf8(task.GetWarningsOfRun())},
            {"files", task.m_reportTotalCount.Get()},
            {"new", task.m_reportAddedCount.Get()},
            {"changed", task.m_reportChangedCount.Get()}};
}

namespace {

// Of a copy in the cache the name alone: its folder tells a person nothing.
std::string FileAtWork(CTaskPrgClass& progress) {
    CString const path = progress.GetFilePath();
    CString cache;
    CPathManage::GetTempFolder(cache, 0, 1);
    return LiesWithin(path, cache) ? Printable(Utf8(PathUtilities::GetFileName(path))) : PrintablePath(path);
}

}  // namespace

nlohmann::json DescribeProgress(CBackupTask& task) {
    CTaskPrgClass& progress = *task.m_pTaskPrg;
    __int64 sent = 0;
    __int64 total = 0;
    progress.GetProgressBarInfo(sent, total);
    // Copies to the cache beside the transfer have that state, too.
    bool const isSearching = total == 0 && progress.m_nState != ProgressStateTransfer &&
                             progress.m_nState != ProgressStateUnchanged;
    return {{"isPaused", progress.IsPaused() != 0},
            {"isSearching", isSearching},
            {"found", task.m_scanTotalFileCount.Get()},
            {"toSend", task.m_addedFileCount.Get() + task.m_scanNeedBackupFileCount.Get()},
            {"sentBytes", progress.GetNowSent()},
            {"totalBytes", total},
            {"bytesASecond", progress.GetSpeed()},
            {"secondsLeft", progress.GetRemSec()},
            {"file", FileAtWork(progress)}};
}

std::string ProgressText(nlohmann::json const& progress) {
    std::string const pause = progress.value("isPaused", false) ? "paused; " : "";
    if (progress.value("isSearching", false)) {
        return pause + "searching: " + FormatCount(progress.value("found", 0LL), "file", "files") + ", " +
               FormatCount(progress.value("toSend", 0LL), "to send", "to send");
    }
    __int64 const sent = progress.value("sentBytes", 0LL);
    __int64 const total = progress.value("totalBytes", 0LL);
    std::string line = pause;
    if (total > 0) {
        line += std::to_string(std::min<__int64>(100, sent * 100 / total)) + "%  ";
    }
    line += FormatBytes(sent) + " of " + FormatBytes(total);
    if (progress.contains("files")) {
        line += ", " + FormatCount(progress["files"].get<long long>(), "file", "files");
    }
    if (__int64 const speed = progress.value("bytesASecond", 0LL); speed > 0) {
        line += ", " + FormatBytes(speed) + "/s";
    }
    if (__int64 const seconds = progress.value("secondsLeft", 0LL); seconds > 0 && sent < total) {
        line += ", " + FormatDuration(seconds) + " left";
    }
    std::string const file = progress.value("file", "");
    return file.empty() ? line : line + "  " + file;
}

nlohmann::json TaskDescriptions::Describe(CBackupManage& manager, bool isServiceRunning) {
    Surroundings surroundings;
    surroundings.machine = manager.m_myID;
    surroundings.skipsMissedRuns = manager.m_skipMissedTask != 0;
    surroundings.isServiceRunning = isServiceRunning;
    CString running = ManageMultipleRunningTask::GetInstance()->GetWorkingTaskName();
    running.TrimRight(_T('|'));
    running.Replace(_T("|"), _T(", "));
    surroundings.others = Printable(Utf8(running));
    nlohmann::json list = nlohmann::json::array();
    std::map<CString, nlohmann::json> known;
    CReadSync const read(manager.m_taskListSync);
    for (CBackupTask* const task : manager.m_taskList) {
        nlohmann::json& entry = known[task->m_taskName];
        if (!IsRunning(*task)) {
            entry = DescribeTask(*task, surroundings);
        } else {
            entry = m_known[task->m_taskName];
            entry["task"] = Printable(Utf8(task->m_taskName));
            entry["state"] = "running";
            entry["nextText"] = "runs at this moment";
            entry["next"] = nullptr;
            // A run of another program has no progress here.
            if (task->m_pTaskPrg != nullptr && task->m_pBackupThread != nullptr) {
                entry["progress"] = DescribeProgress(*task);
            }
        }
        list.push_back(entry);
    }
    m_known.swap(known);
    return list;
}

int RealTimePassMinutes() {
    constexpr int kLeast = 1;
    return std::max(kLeast,
                    DictUtil::GetConfigInt(_T("Service"), _T("RealTimePassMinutes"), _T("15"), _T("")));
}

}  // namespace rampart::host
