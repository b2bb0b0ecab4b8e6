// rampart restore
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "file_versions.h"
#include "ledger_print.h"
#include "moment.h"
#include "output.h"
#include "progress_display.h"
#include "session.h"

namespace rampart::cli {

namespace {

constexpr int kCancelledCode = 6;

struct Wanted {
    int version = 1;
    std::optional<long long> moment;
    bool overwrite = false;
    bool IsPlain() const { return version == 1 && !moment; }
};

class Restore {
public:
    Restore(CommonOptions const& common, CBackupManage& manager, Wanted const& wanted, CString const& target)
        : m_manager(manager), m_wanted(wanted), m_target(target), m_display(common) {}

    // Restores a file, or a folder with all below it.
    void Run(VaultEntry const& top);

    Ledger ledger;
    __int64 restored = 0;
    __int64 bytes = 0;
    __int64 already = 0;  // the same content was there
    __int64 absent = 0;   // did not exist in the state that is wanted
    bool cancelled = false;

private:
    bool RestoreEntry(VaultEntry const& entry, CString const& localPath);
    void RestoreFile(VaultEntry const& current, CString const& localPath);
    // The stored file that is wanted for a present one; false if there was none in that state.
    bool Choose(VaultEntry const& current, VaultEntry& chosen);
    void Fail(CString const& localPath, int code, CString const& message);

    CBackupManage& m_manager;
    Wanted const m_wanted;
    CString const m_target;
    ProgressDisplay m_display;
};

void Restore::Run(VaultEntry const& top) {
    if (!top.isFolder) {
        KXFolder::RCreateDirectory(m_target);
        RestoreEntry(top, PathUtilities::Append(m_target, top.name));
        return;
    }
    if (!KXFolder::RCreateDirectory(m_target)) {
        throw CommandError(kExitFailed,
                           PrintablePath(m_target) + " cannot be made: " + Utf8(GetLastErrorMsg()));
    }
    CString message;
    int const code = VaultAdmin::List(
        top.path, true,
        [&](VaultEntry const& entry) {
            return RestoreEntry(entry, m_target + entry.path.Mid(top.path.GetLength()));
        },
        message);
    if (code != 0 && code != kCancelledCode) {
        throw CommandError(kExitFailed, Utf8(message));
    }
}

bool Restore::RestoreEntry(VaultEntry const& entry, CString const& localPath) {
    if (IsInterrupted()) {
        cancelled = true;
        return false;
    }
    m_display.Show("Restored " + FormatCount(restored, "file", "files") + ", " + FormatBytes(bytes) + "  " +
                   PrintablePath(localPath));
    if (entry.isPartial) {
        return true;
    }
    if (!entry.isFolder) {
        RestoreFile(entry, localPath);
    } else if (m_wanted.moment && entry.storedTime > *m_wanted.moment) {
        return true;  // made later; a file below it makes it again
    } else if (!KXFolder::RCreateDirectory(localPath)) {
        Fail(localPath, 0, GetLastErrorMsg());
    }
    return !cancelled;
}

bool Restore::Choose(VaultEntry const& current, VaultEntry& chosen) {
    if (m_wanted.IsPlain()) {
        chosen = current;
        return true;
    }
    std::vector<VaultEntry> const versions = VersionsOf(TaskOfServerPath(m_manager, current.path), current);
    if (!m_wanted.moment) {
        if (static_cast<size_t>(m_wanted.version) > versions.size()) {
            return false;
        }
        chosen = versions[static_cast<size_t>(m_wanted.version) - 1];
        return true;
    }
    for (VaultEntry const& version : versions) {
        if (version.storedTime <= *m_wanted.moment) {
            chosen = version;
            return true;
        }
    }
    return false;
}

void Restore::RestoreFile(VaultEntry const& current, CString const& localPath) {
    VaultEntry chosen;
    if (!Choose(current, chosen)) {
        ++absent;
        return;
    }
    if (PathUtilities::IsExisting(localPath)) {
        if (VaultAdmin::SameContent(chosen.path, localPath)) {
            ++already;
            return;
        }
        if (!m_wanted.overwrite) {
            ledger.Add(PrintablePath(localPath), "a different file is there; use --overwrite to replace it",
                       true);
            return;
        }
    }
    KXFolder::RCreateDirectory(PathUtilities::GetParentFolder(localPath));
    CString message;
    int const code = VaultAdmin::Restore(
        chosen.path, localPath, m_wanted.overwrite, [](__int64) { return !IsInterrupted(); }, message);
    if (code == kCancelledCode) {
        cancelled = true;
    } else if (code != 0) {
        Fail(localPath, code, message);
    } else {
        ++restored;
        bytes += chosen.size;
    }
}

void Restore::Fail(CString const& localPath, int code, CString const& message) {
    ledger.Add(PrintablePath(localPath),
               message.IsEmpty() ? Utf8(ApiUtil::GetQuilString(code)) : Utf8(message), true);
}

void PrintOutcome(CommonOptions const& common, Restore const& restore, CString const& target, int exitCode) {
    if (common.json) {
        PrintJson({{"result", exitCode},
                   {"restored", restore.restored},
                   {"restoredBytes", restore.bytes},
                   {"alreadyThere", restore.already},
                   {"notInThatState", restore.absent},
                   {"into", PrintablePath(target)},
                   {"notRestored", restore.ledger.ToJson()}});
        return;
    }
    PrintLedger(common, restore.ledger, "Not restored:");
    PrintLine(common, std::string("Restored ") + FormatCount(restore.restored, "file", "files") + ", " +
                          FormatBytes(restore.bytes) + ", into " + PrintablePath(target) +
                          (exitCode == kExitCancelled ? ", then cancelled." : "."));
    if (restore.already > 0) {
        PrintLine(common, "  already there " + FormatCount(restore.already, "file", "files"));
    }
    if (restore.absent > 0) {
        PrintLine(common, "  not in that state " + FormatCount(restore.absent, "file", "files"));
    }
    if (!restore.ledger.IsEmpty()) {
        PrintLine(common, "  not restored  " + FormatCount(static_cast<__int64>(restore.ledger.Count()),
                                                           "path, listed above", "paths, listed above"));
    }
}

}  // namespace

int RunRestore(CommonOptions const& common, RestoreOptions const& options) {
    Wanted wanted;
    wanted.version = options.version;
    wanted.overwrite = options.overwrite;
    if (!options.at.empty()) {
        wanted.moment = ParseMoment(options.at);
        if (!wanted.moment) {
            throw CommandError(kExitUsage,
                               "'" + options.at + "' is no moment; type it as YYYY-MM-DD HH:MM:SS");
        }
    }
    EngineSession session(common, false);
    CString const path = ServerPathOf(session.Manager(), options.what);
    CString message;
    VaultEntry top;
    if (VaultAdmin::Find(path, top, message) != 0) {
        throw CommandError(kExitFailed, "'" + Printable(options.what) +
                                            "' is neither a task nor a path in the vault; see: rampart ls");
    }
    CString const target = ToEnginePath(options.into);
    Restore restore(common, session.Manager(), wanted, target);
    restore.Run(top);
    bool const hasAny = restore.restored + restore.already > 0;
    int const exitCode = restore.cancelled             ? kExitCancelled
                         : !restore.ledger.HasErrors() ? kExitDone
                         : hasAny                      ? kExitWarnings
                                                       : kExitFailed;
    if (exitCode == kExitDone && !hasAny && !top.isFolder) {
        throw CommandError(kExitFailed, "there is no such version of " + PrintableServerPath(top.path));
    }
    PrintOutcome(common, restore, target, exitCode);
    return exitCode;
}

}  // namespace rampart::cli
