// rampart backup
#include <chrono>
#include <iostream>

#include "commands.h"
#include "exit_code.h"
#include "ledger.h"
#include "output.h"
#include "progress_display.h"
#include "session.h"
#include "task_choice.h"

namespace rampart::cli {

namespace {

constexpr unsigned int kPollMs = 10;

struct Outcome {
    CString taskName;
    CString serverFolder;
    int state = TaskStateReady;
    bool hadError = false;
    __int64 looked = 0;
    __int64 added = 0;
    __int64 changed = 0;
    TransferTotals transferred;
    double seconds = 0;
    CString errors;
    CString warnings;
};

// Sources that exist; those that do not are on the ledger, and it is an error when none is left.
std::vector<CString> ExistingSources(BackupOptions const& options, Ledger& ledger) {
    std::vector<CString> sources;
    for (std::string const& path : options.paths) {
        CString const source = ToEnginePath(path);
        if (source.IsEmpty() || !PathUtilities::IsExisting(source)) {
            ledger.Add(Printable(path), "there is no such file or folder", true);
        } else if (VectorFindNoCase(source, sources) == 0 ||
                   std::find(sources.begin(), sources.end(), source) == sources.end()) {
            sources.push_back(source);
        }
    }
    return sources;
}

void Run(CBackupTask& task, ChosenTask const& chosen, ProgressDisplay& display) {
    CTime const never(1971, 1, 1, 0, 0, 0);
    // A new task that was due at once has been started by the manager.
    bool const startedAlready = chosen.isNew && task.m_lastRunDate != never;
    if (!startedAlready && !task.StartBackupByUser(0)) {
        CString const reason = task.GetManualStartErrorMsg();
        throw CommandError(kExitFailed, reason.IsEmpty() ? "the task is disabled" : Utf8(reason));
    }
    while (ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task)) {
        // Again while it lasts: a run that has just begun clears a cancel that came before it.
        if (IsInterrupted() && task.m_pTaskPrg->m_bCancel == 0) {
            task.m_pTaskPrg->CancelMe();
        }
        display.Show(task);
        SleepMilliseconds(kPollMs);
    }
    while (task.GetRunningUploadCount() > 0) {
        SleepMilliseconds(kPollMs);
    }
}

int ExitCodeOf(Outcome const& outcome, Ledger const& ledger) {
    // A batch that was given up after an error ends like a cancelled one; only the user's own cancel counts
    // as that.
    if (IsInterrupted() || (outcome.state == TaskStateCanceled && !outcome.hadError)) {
        return kExitCancelled;
    }
    if (outcome.hadError || outcome.state == TaskStateFailed) {
        return kExitFailed;
    }
    return ledger.IsEmpty() && outcome.warnings.IsEmpty() ? kExitDone : kExitWarnings;
}

char const* WordFor(int exitCode) {
    switch (exitCode) {
        case kExitDone:
            return "done";
        case kExitWarnings:
            return "done, but not everything is protected";
        case kExitCancelled:
            return "cancelled; what was sent is kept, the next run sends the rest";
        default:
            return "failed; what was sent is kept, the next run sends the rest";
    }
}

void PrintOutcome(CommonOptions const& common, Outcome const& outcome, Ledger const& ledger, int exitCode) {
    if (common.json) {
        PrintJson({{"task", Utf8(outcome.taskName)},
                   {"folder", PrintableServerPath(outcome.serverFolder)},
                   {"result", exitCode},
                   {"files", outcome.looked},
                   {"new", outcome.added},
                   {"changed", outcome.changed},
                   {"transferred", outcome.transferred.files},
                   {"transferredBytes", outcome.transferred.bytes},
                   {"storedBytes", outcome.transferred.storedBytes},
                   {"seconds", outcome.seconds},
                   {"errors", Utf8(outcome.errors)},
                   {"warnings", Utf8(outcome.warnings)},
                   {"notProtected", ledger.ToJson()}});
        return;
    }
    ledger.Print(common);
    CString errors = outcome.errors;
    errors.Trim();
    if (!errors.IsEmpty()) {
        std::cerr << Utf8(errors) << std::endl;
    }
    PrintLine(common, "Task '" + Utf8(outcome.taskName) + "' " + WordFor(exitCode) + ".");
    PrintLine(common, "  looked at     " + FormatCount(outcome.looked, "file", "files") + ": " +
                          FormatCount(outcome.added, "new", "new") + ", " +
                          FormatCount(outcome.changed, "changed", "changed"));
    PrintLine(common, "  transferred   " + FormatCount(outcome.transferred.files, "file", "files") + ", " +
                          FormatBytes(outcome.transferred.bytes) + " (" +
                          FormatBytes(outcome.transferred.storedBytes) + " stored)");
    if (!ledger.IsEmpty()) {
        PrintLine(common, "  not protected " + FormatCount(static_cast<__int64>(ledger.Count()),
                                                           "path, listed above", "paths, listed above"));
    }
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f s", outcome.seconds);
    PrintLine(common, "  in the vault  " + PrintableServerPath(outcome.serverFolder) + " of " +
                          Printable(Utf8(VaultAdmin::Location())) + ", in " + seconds);
}

}  // namespace

int RunBackup(CommonOptions const& common, BackupOptions const& options) {
    if (!options.exclude.empty() && !options.include.empty()) {
        throw CommandError(kExitUsage,
                           "a task either excludes or includes: use --exclude or --include, not both");
    }
    Ledger ledger;
    std::vector<CString> const sources = ExistingSources(options, ledger);
    if (sources.empty()) {
        ledger.Print(common);
        throw CommandError(kExitFailed, "there is nothing to back up: none of the paths exists");
    }
    auto const begin = std::chrono::steady_clock::now();
    EngineSession session(common, true);
    ChosenTask const chosen = ChooseTask(session.Manager(), options, sources);
    CBackupTask& task = *chosen.task;
    {
        ProgressDisplay display(common);
        Run(task, chosen, display);
    }
    Outcome outcome;
    outcome.taskName = task.m_taskName;
    outcome.serverFolder = task.m_serverFilePath;
    outcome.state = task.m_state;
    outcome.hadError = task.m_errorOccured != 0;
    outcome.looked = task.m_reportTotalCount;
    outcome.added = task.m_reportAddedCount;
    outcome.changed = task.m_reportChangedCount;
    outcome.errors = task.GetErrorEmailLog();
    outcome.warnings = task.GetWarningLog();
    VaultAdmin::Transferred(outcome.transferred);
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    int const exitCode = ExitCodeOf(outcome, ledger);
    PrintOutcome(common, outcome, ledger, exitCode);
    return exitCode;
}

}  // namespace rampart::cli
