// rampart backup
#include <algorithm>

#include "commands.h"
#include "common/exit_code.h"
#include "common/service_link.h"
#include "ledger_print.h"
#include "output.h"
#include "session.h"
#include "task_choice.h"
#include "task_run.h"

namespace rampart::cli {

namespace {

// Right after a path was not found to exist: it may also be one that this user may not look at.
std::string WhyAbsent() {
    constexpr unsigned long kFileNotFound = 2;
    constexpr unsigned long kPathNotFound = 3;
    CString const reason = GetLastErrorMsg();
    bool const isMissing =
        reason == GetLastErrorMsgEx(kFileNotFound) || reason == GetLastErrorMsgEx(kPathNotFound);
    return isMissing ? "there is no such file or folder" : Utf8(reason);
}

// Sources that exist; those that do not are on the ledger, and it is an error when none is left.
std::vector<CString> ExistingSources(BackupOptions const& options, Ledger& ledger) {
    std::vector<CString> sources;
    for (std::string const& path : options.paths) {
        if (path.empty()) {
            throw CommandError(kExitUsage, "an empty path names nothing to back up");
        }
        CString const source = ToEnginePath(path);
        if (source.IsEmpty() || !PathUtilities::IsExisting(source)) {
            ledger.Add(Printable(path), source.IsEmpty() ? "this is no path of a file" : WhyAbsent(), true);
        } else if (VectorFindNoCase(source, sources) == 0 ||
                   std::find(sources.begin(), sources.end(), source) == sources.end()) {
            sources.push_back(source);
        }
    }
    return sources;
}

}  // namespace

int RunBackup(CommonOptions const& common, BackupOptions const& options) {
    if (!options.exclude.empty() && !options.include.empty()) {
        throw CommandError(kExitUsage,
                           "a task either excludes or includes: use --exclude or --include, not both");
    }
    Ledger ledger;
    SkippedEntryListener const listener([&](SkippedEntry const& entry) { ledger.Add(entry); });
    std::vector<CString> const sources = ExistingSources(options, ledger);
    if (sources.empty()) {
        PrintLedger(common, ledger);
        throw CommandError(kExitFailed, "there is nothing to back up: none of the paths exists");
    }
    if (options.limit > 0) {
        LimitCopyDuty(options.limit);
    }
    EngineSession session(common, true);
    if (options.special) {
        KeepSpecialFiles(true);
    }
    int exitCode = kExitFailed;
    {
        ChosenTask const chosen = ChooseTask(session.Manager(), options, sources);
        // A new task that was due at once has been started by the manager.
        bool const isStarted = chosen.isNew && chosen.task->m_lastRunDate != CTime(1971, 1, 1, 0, 0, 0);
        exitCode = RunTaskHere(common, session.Manager(), *chosen.task, isStarted, ledger);
    }
    TellServiceToReload();
    return exitCode;
}

}  // namespace rampart::cli
