// rampart mount
#include <iostream>
#include <set>

#include "commands.h"
#include "common/exit_code.h"
#include "common/schedule.h"
#include "moment.h"
#include "output.h"
#include "session.h"

namespace rampart::cli {

namespace {

// The ends of runs: of the last one of each task, and of those that the list of events remembers, by date.
std::vector<CString> MomentsOf(std::vector<MountedTask> const& tasks) {
    std::set<int32_t> ids;
    std::set<__int64> ends;  // seconds since 1970 UTC
    for (MountedTask const& task : tasks) {
        ids.insert(task.id);
        if (task.lastRun) {
            ends.insert(*task.lastRun);
        }
    }
    CString const finished = DictUtil::GetValue(_T("EventLogFinish"), CString());
    CErrorLog log;
    CPtrList list;
    log.GetEventList(host::kEventsKept, list);
    for (void* const entry : list) {
        auto const& event = *static_cast<ErrorInfo const*>(entry);
        __int64 const end = host::ToRaw(TimeUtil::StrToTime(event.m_strTime)).GetTime();
        // It comes a moment after the end that the task itself notes.
        bool const isNoted = ends.contains(end) || ends.contains(end - 1);
        if (event.m_strMessage == finished && ids.contains(event.m_nTaskID) && !isNoted) {
            ends.insert(end);
        }
    }
    log.ClearErrorList(list);
    std::vector<CString> names;
    for (__int64 const end : ends) {
        names.push_back(CTime(end).Format(_T("%Y-%m-%dT%H:%M:%S")));
    }
    return names;
}

void CheckFolder(CString const& folder, std::string const& typed) {
    if (folder.IsEmpty() || !KXFolder::IsDirectory(folder)) {
        throw CommandError(kExitUsage, "'" + Printable(typed) + "' is no folder; make it first");
    }
    KXFileFind find;
    if (find.FindFile(folder + _T("\\*")) != 0) {
        throw CommandError(
            kExitUsage, PrintablePath(folder) + " is not empty; what lies in it would be hidden meanwhile");
    }
}

int ServeMount(CommonOptions const& common, MountOptions const& options, CString const& folder) {
    EngineSession session(common, false);
    MountRequest request;
    request.folder = folder;
    request.moments = &MomentsOf;
    request.momentOf = [](CString const& name) -> std::optional<__int64> {
        std::optional<long long> const moment = ParseMoment(ToNativeName(name));
        return moment ? std::optional<__int64>(*moment) : std::nullopt;
    };
    request.mounted = [&] {
        if (common.json) {
            PrintJson({{"mounted", PrintablePath(folder)}});
        }
        PrintLine(common,
                  "Mounted at " + PrintablePath(folder) +
                      (options.foreground ? "; Ctrl-C ends it."
                                          : "; end it with: fusermount3 -u " + PrintablePath(folder)));
        std::cout.flush();
        TellBackgroundStarted();
    };
    request.goOn = [] { return !IsInterrupted(); };
    CString message;
    if (VaultMount::Run(request, message) != 0) {
        throw CommandError(kExitFailed, Utf8(message));
    }
    return kExitDone;
}

}  // namespace

int RunMount(CommonOptions const& common, MountOptions const& options) {
    CString reason;
    if (!VaultMount::IsAvailable(reason)) {
        throw CommandError(kExitFailed, Utf8(reason));
    }
    CString const folder = ToEnginePath(options.folder);
    CheckFolder(folder, options.folder);
    int exitCode = kExitDone;
    if (!options.foreground && !GoToBackground(exitCode)) {
        return exitCode;
    }
    return ServeMount(common, options, folder);
}

}  // namespace rampart::cli
