// rampart vault init, verify, stats
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "output.h"
#include "progress_display.h"
#include "session.h"

namespace rampart::cli {

namespace {

[[noreturn]] void Fail(int code, CString const& message) {
    throw CommandError(kExitFailed, Utf8(message.IsEmpty() ? ApiUtil::GetQuilString(code) : message));
}

}  // namespace

int RunVaultInit(CommonOptions const& common) {
    CString message;
    CString const url = CString::FromUtf8(common.vault);
    if (int const code = VaultAdmin::Create(url, message)) {
        Fail(code, message);
    }
    std::string const place = Printable(Utf8(VaultAdmin::LocationOf(url)));
    if (common.json) {
        PrintJson({{"vault", place}});
    }
    PrintLine(common, "There is a new, empty vault at " + place);
    return kExitDone;
}

int RunVaultVerify(CommonOptions const& common, VerifyOptions const& options) {
    VaultSession session(common.vault, false);
    VaultCheck check;
    CString message;
    int code = 0;
    {
        ProgressDisplay display(common);
        code = VaultAdmin::Verify(
            options.readData,
            [&](__int64 done, __int64 total) {
                display.Show("Checked " + std::to_string(total > 0 ? done * 100 / total : 0) + "%");
                return !IsInterrupted();
            },
            check, message);
    }
    if (code == kCancelledCode) {
        PrintLine(common, "Cancelled.");
        return kExitCancelled;
    }
    if (code != 0 && check.problemCount == 0) {
        Fail(code, message);
    }
    if (common.json) {
        nlohmann::json problems = nlohmann::json::array();
        for (CString const& problem : check.problems) {
            problems.push_back(Utf8(problem));
        }
        PrintJson({{"clean", check.problemCount == 0},
                   {"files", check.filesChecked},
                   {"chunks", check.chunksChecked},
                   {"packs", check.packsChecked},
                   {"bytesRead", check.bytesRead},
                   {"problems", problems}});
    }
    for (CString const& problem : check.problems) {
        if (!common.json) {
            std::cerr << "  " << Printable(Utf8(problem)) << '\n';
        }
    }
    PrintLine(common, "Checked " + FormatCount(check.filesChecked, "file", "files") + ", " +
                          FormatCount(check.chunksChecked, "chunk", "chunks") + ", " +
                          FormatCount(check.packsChecked, "pack", "packs") +
                          (options.readData ? ", " + FormatBytes(check.bytesRead) + " read" : "") + ".");
    PrintLine(common, check.problemCount == 0
                          ? "The vault is clean."
                          : "The vault has " + FormatCount(check.problemCount, "problem", "problems") + ".");
    return check.problemCount == 0 ? kExitDone : kExitFailed;
}

int RunVaultStats(CommonOptions const& common) {
    VaultSession session(common.vault, false);
    VaultStatistics stats;
    CString message;
    if (int const code = VaultAdmin::Statistics(stats, message)) {
        Fail(code, message);
    }
    if (common.json) {
        PrintJson({{"vault", Utf8(VaultAdmin::Location())},
                   {"files", stats.files},
                   {"folders", stats.folders},
                   {"fileBytes", stats.fileBytes},
                   {"chunks", stats.chunks},
                   {"chunkBytes", stats.chunkBytes},
                   {"storedBytes", stats.storedBytes},
                   {"packs", stats.packs},
                   {"packBytes", stats.packBytes},
                   {"tasks", stats.tasks}});
        return kExitDone;
    }
    PrintLine(common, "Vault " + Printable(Utf8(VaultAdmin::Location())));
    PrintLine(common, "  files, versions included  " + FormatCount(stats.files, "", "") + "in " +
                          FormatCount(stats.folders, "folder", "folders") + ", " +
                          FormatBytes(stats.fileBytes));
    PrintLine(common, "  stored once               " + FormatBytes(stats.chunkBytes) + " in " +
                          FormatCount(stats.chunks, "chunk", "chunks"));
    PrintLine(common, "  compressed                " + FormatBytes(stats.storedBytes));
    PrintLine(common, "  packs                     " + FormatBytes(stats.packBytes) + " in " +
                          FormatCount(stats.packs, "pack", "packs"));
    PrintLine(common, "  tasks                     " + std::to_string(stats.tasks));
    return kExitDone;
}

}  // namespace rampart::cli
