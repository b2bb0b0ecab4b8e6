// rampart restore
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "common/vault_paths.h"
#include "ledger_print.h"
#include "moment.h"
#include "output.h"
#include "progress_display.h"
#include "session.h"

namespace rampart::cli {

namespace {

Overwrite OverwriteOf(std::string const& text) {
    return text == "always" ? Overwrite::kAlways : text == "older" ? Overwrite::kOlder : Overwrite::kNever;
}

std::vector<CString> PatternsOf(std::vector<std::string> const& patterns) {
    std::vector<CString> result;
    for (std::string pattern : patterns) {
        bool const namesFolder = pattern.size() > 1 && pattern.back() == '/';
        if (namesFolder) {
            pattern.pop_back();
        }
        result.push_back(ToEnginePattern(pattern) + (namesFolder ? _T("\\") : _T("")));
    }
    return result;
}

std::vector<RestorePlace> PlacesOf(CBackupManage& manager, RestoreOptions const& options,
                                   CString const& serverPath) {
    if (options.inPlace) {
        return OwnPlaces(manager, serverPath);
    }
    VaultEntry top;
    CString message;
    if (VaultAdmin::Find(serverPath, top, message) != 0) {
        throw CommandError(kExitFailed, Utf8(message));
    }
    CString const target = ToEnginePath(options.into);
    return {{top.path, top.isFolder ? target : PathUtilities::Append(target, top.name), false}};
}

std::string ProgressLine(RestoreProgress const& progress) {
    if (progress.isPlanning) {
        return "Looking at what is stored: " + FormatCount(progress.totalFiles, "file", "files") + ", " +
               FormatBytes(progress.totalBytes);
    }
    std::string const left =
        progress.remainingSeconds < 0 ? "" : ", " + FormatDuration(progress.remainingSeconds) + " left";
    return "Restored " + FormatCount(progress.files, "file", "files") + " of " +
           FormatCount(progress.totalFiles, "", "") + ", " + FormatBytes(progress.bytes) + " of " +
           FormatBytes(progress.totalBytes) + left + "  " + PrintablePath(progress.current);
}

std::string WhereText(RestoreOptions const& options) {
    return options.inPlace ? "in place" : "into " + PrintablePath(ToEnginePath(options.into));
}

void PrintCounts(CommonOptions const& common, RestoreReport const& report, Ledger const& ledger) {
    auto line = [&](char const* title, __int64 count) {
        if (count > 0) {
            PrintLine(common, std::string("  ") + title + " " + FormatCount(count, "file", "files"));
        }
    };
    line("already there", report.alreadyThere);
    line("read back and equal", report.verified);
    line("left out by the patterns", report.filteredOut);
    line("not in that state", report.notInState);
    if (!ledger.IsEmpty()) {
        PrintLine(common,
                  "  not restored as stored: " + FormatCount(static_cast<__int64>(ledger.Count()),
                                                             "path, listed above", "paths, listed above"));
    }
}

void PrintOutcome(CommonOptions const& common, RestoreOptions const& options, RestoreReport const& report,
                  Ledger const& ledger, int exitCode) {
    if (common.json) {
        PrintJson({{"result", exitCode},
                   {"dryRun", options.dryRun},
                   {"plannedFiles", report.plannedFiles},
                   {"plannedBytes", report.plannedBytes},
                   {"plannedFolders", report.plannedFolders},
                   {"restored", report.files},
                   {"restoredBytes", report.bytes},
                   {"alreadyThere", report.alreadyThere},
                   {"conflicts", report.conflicts},
                   {"failed", report.failed},
                   {"verified", report.verified},
                   {"filteredOut", report.filteredOut},
                   {"notInThatState", report.notInState},
                   {"ownersRestored", !report.ownersWithheld},
                   {"into", options.inPlace ? nlohmann::json()
                                            : nlohmann::json(PrintablePath(ToEnginePath(options.into)))},
                   {"notRestored", ledger.ToJson()}});
        return;
    }
    PrintLedger(common, ledger, options.dryRun ? "Would not be restored:" : "Not restored as stored:");
    if (options.dryRun) {
        PrintLine(common, "Would restore " + FormatCount(report.plannedFiles, "file", "files") + ", " +
                              FormatBytes(report.plannedBytes) + ", " + WhereText(options) + ", and make " +
                              FormatCount(report.plannedFolders, "folder", "folders") +
                              ". Nothing was changed.");
    } else {
        PrintLine(common, "Restored " + FormatCount(report.files, "file", "files") + ", " +
                              FormatBytes(report.bytes) + ", " + WhereText(options) +
                              (exitCode == kExitCancelled ? ", then cancelled." : "."));
    }
    PrintCounts(common, report, ledger);
    if (report.ownersWithheld && !options.noOwner) {
        PrintLine(common,
                  "  Owners are yours, not the recorded ones: only an administrator can give files away.");
    }
}

void CheckUsage(RestoreOptions const& options) {
    if (options.into.empty() && !options.inPlace) {
        throw CommandError(kExitUsage, "name the folder to restore into with --into, or use --in-place");
    }
    if (!options.inPlace && ToEnginePath(options.into).IsEmpty()) {
        throw CommandError(kExitUsage, "'" + Printable(options.into) + "' can be no folder");
    }
}

}  // namespace

int RunRestore(CommonOptions const& common, RestoreOptions const& options) {
    CheckUsage(options);
    std::optional<long long> const moment = RequireMoment(options.at);
    EngineSession session(common, false);
    CBackupManage& manager = session.Manager();
    CString const serverPath = ResolveVaultPath(manager, options.what);

    Ledger ledger;
    RestoreReport report;
    CString message;
    int code = 0;
    {
        ProgressDisplay display(common);
        RestoreRequest request;
        request.state = WishOf(manager);
        request.state.version = options.version;
        request.state.withGone = options.deleted;
        if (moment) {
            request.state.moment = *moment;
        }
        request.places = PlacesOf(manager, options, serverPath);
        request.overwrite = OverwriteOf(options.overwrite);
        request.owners = !options.noOwner && VaultRestore::MayGiveOwners();
        request.verify = options.verify;
        request.dryRun = options.dryRun;
        request.include = PatternsOf(options.include);
        request.exclude = PatternsOf(options.exclude);
        request.localOf = [&](CString const& path) {
            CBackupTask* const task = TaskOfServerPath(manager, path);
            return task == nullptr ? CString() : LocalPathOf(*task, path);
        };
        request.progress = [&](RestoreProgress const& progress) {
            display.Show(ProgressLine(progress));
            return !IsInterrupted();
        };
        request.leftOut = [&](SkippedEntry const& entry) { ledger.Add(entry); };
        code = VaultRestore::Run(request, report, message);
    }
    if (code != 0 && code != kCancelledCode) {
        throw CommandError(kExitFailed, Utf8(message));
    }
    __int64 const found = report.plannedFiles + report.alreadyThere + report.conflicts + report.failed;
    if (code == 0 && found == 0 && report.notInState > 0) {
        throw CommandError(kExitFailed, NothingInState(PrintableServerPath(serverPath), options.at, moment,
                                                       report.firstStored));
    }
    bool const hasAny = report.files + report.alreadyThere > 0 || options.dryRun;
    int const exitCode = code == kCancelledCode ? kExitCancelled
                         : ledger.IsEmpty()     ? kExitDone
                         : hasAny               ? kExitWarnings
                                                : kExitFailed;
    PrintOutcome(common, options, report, ledger, exitCode);
    return exitCode;
}

std::string NothingInState(std::string const& what, std::string const& at,
                           std::optional<long long> const& moment, long long firstStored) {
    if (!moment) {
        return "there is no such version of " + what;
    }
    std::string text = "nothing of " + what + " was stored at " + at;
    if (firstStored != INT64_MIN && firstStored > *moment) {
        text += "; its first state was stored at " + FormatTime(firstStored);
    }
    return text;
}

}  // namespace rampart::cli
