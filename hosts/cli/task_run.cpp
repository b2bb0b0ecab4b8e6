// Runs a task in this process and shows how it goes.
#include "task_run.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <sstream>

#include "common/exit_code.h"
#include "common/service_link.h"
#include "common/task_change.h"
#include "common/task_report.h"
#include "output.h"
#include "person.h"
#include "progress_display.h"

namespace rampart::cli {

namespace {

constexpr unsigned int kRunPollMs = 10;

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

void RunToEnd(CBackupTask& task, bool isStarted, ProgressDisplay& display) {
    if (task.m_serverFilePath.IsEmpty()) {  // its run would wait for one for ever
        throw CommandError(kExitFailed, "the task has no folder in the vault");
    }
    if (!isStarted && !task.StartBackupByUser(0)) {
        throw CommandError(kExitFailed, StartRefusal(task));
    }
    Keys keys;
    bool isEndWanted = false;
    while (ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task)) {
        if (IsInterrupted() || isEndWanted) {
            CancelRun(task);
        }
        display.Show(task);
        switch (keys.Next(kRunPollMs)) {
            case Wish::kPause:
                SetRunPaused(task, !task.m_pTaskPrg->IsPaused());
                break;
            case Wish::kEnd:
                isEndWanted = true;
                break;
            case Wish::kNone:
                break;
        }
    }
    while (task.GetRunningUploadCount() > 0) {
        SleepMilliseconds(kRunPollMs);
    }
}

int ExitCodeOf(Outcome const& outcome, Ledger const& ledger) {
    // A batch that was given up, or whose last files were left out, ends like a cancelled one; only the
    // user's own cancel counts as that.
    bool const endedEarly = outcome.state == TaskStateCanceled && !outcome.hadError && !ledger.HasErrors();
    if (IsInterrupted() || endedEarly) {
        return kExitCancelled;
    }
    if (outcome.hadError || outcome.state == TaskStateFailed) {
        return kExitFailed;
    }
    return !ledger.HasErrors() && outcome.warnings.IsEmpty() ? kExitDone : kExitWarnings;
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

// A line names all files of a batch that failed; they stand on the ledger too.
void PrintErrors(std::string const& errors) {
    constexpr size_t kLongestLine = 500;
    std::istringstream lines(errors);
    for (std::string line; std::getline(lines, line);) {
        std::cerr << Shortened(line, kLongestLine) << '\n';
    }
    std::cerr.flush();
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
    PrintLedger(common, ledger);
    if (!outcome.errors.IsEmpty()) {
        PrintErrors(Utf8(outcome.errors));
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

std::unique_ptr<HeldName> MarkRun(CBackupTask const& task) {
    auto mark = HeldName::Take(RunMarkName(task));
    if (mark == nullptr) {
        throw CommandError(kExitFailed,
                           "another program runs the task '" + Printable(Utf8(task.m_taskName)) + "' now");
    }
    // A service that saw no mark yet has started the task, or will see it.
    std::optional<ServiceAnswer> const answer =
        AskService(RequestKind::kHello, {{"task", Utf8(task.m_taskName)}});
    if (answer && answer->data.value("vault", "") == Utf8(VaultAdmin::Location()) &&
        answer->data.value("runs", false)) {
        throw CommandError(kExitFailed,
                           "BackupService runs the task '" + Printable(Utf8(task.m_taskName)) + "' now");
    }
    return mark;
}

int RunTaskHere(CommonOptions const& common, CBackupManage& manager, CBackupTask& task, bool isStarted,
                Ledger const& ledger) {
    auto const begin = std::chrono::steady_clock::now();
    {
        ProgressDisplay display(common);
        RunToEnd(task, isStarted, display);
    }
    // Dates moved: the service reads them when the mark of this run goes.
    WriteTask(manager, task);
    Outcome outcome;
    outcome.taskName = task.m_taskName;
    outcome.serverFolder = task.m_serverFilePath;
    outcome.state = task.m_state;
    outcome.hadError = task.m_errorOccured != 0;
    outcome.looked = task.m_reportTotalCount;
    outcome.added = task.m_reportAddedCount;
    outcome.changed = task.m_reportChangedCount;
    outcome.errors = task.GetErrorsOfRun();
    outcome.warnings = task.GetWarningsOfRun();
    VaultAdmin::Transferred(outcome.transferred);
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    int const exitCode = ExitCodeOf(outcome, ledger);
    PrintOutcome(common, outcome, ledger, exitCode);
    return exitCode;
}

}  // namespace rampart::cli
