// rampart vault repair
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "output.h"
#include "progress_display.h"

namespace rampart::cli {

namespace {

constexpr size_t kLackingShown = 20;

char const* BaseName(VaultRepair::Base base) {
    return base == VaultRepair::kCatalog ? "catalog" : base == VaultRepair::kCopy ? "copy" : "nothing";
}

void PrintAsJson(VaultRepair const& repair) {
    nlohmann::json lacking = nlohmann::json::array();
    for (CString const& path : repair.lacking) {
        lacking.push_back(Utf8(path));
    }
    nlohmann::json result = {{"changed", repair.changed},
                             {"base", BaseName(repair.base)},
                             {"lostRecords", repair.lostRecords},
                             {"setAside", Utf8(repair.setAside)},
                             {"files", repair.files},
                             {"folders", repair.folders},
                             {"chunks", repair.chunks},
                             {"newChunks", repair.newChunks},
                             {"packs", repair.packs},
                             {"filesLacking", repair.filesLacking},
                             {"lacking", lacking}};
    if (repair.base == VaultRepair::kCopy) {
        result["copyTime"] = FormatTime(repair.baseTime);
    }
    PrintJson(result);
}

std::string Origin(VaultRepair const& repair) {
    switch (repair.base) {
        case VaultRepair::kCatalog:
            return "The catalog that was there was sound and was completed.";
        case VaultRepair::kCopy:
            return "The catalog was made anew from its copy of " + FormatTime(repair.baseTime) +
                   " and from the packs.";
        default:
            return "There is no copy of the catalog: names, versions, tasks and settings could not be "
                   "brought "
                   "back. All content that the packs hold is known again.";
    }
}

void Print(CommonOptions const& common, VaultRepair const& repair) {
    if (!repair.changed) {
        PrintLine(common, "The catalog is in order. Nothing was changed.");
        return;
    }
    PrintLine(common, Origin(repair));
    if (!repair.setAside.IsEmpty()) {
        PrintLine(common, "The old catalog is kept as " + Utf8(repair.setAside) + ".");
    }
    PrintLine(common, "There are " + FormatCount(repair.files, "file", "files") + " with their versions, " +
                          FormatCount(repair.folders, "folder", "folders") + ", " +
                          FormatCount(repair.chunks, "chunk", "chunks") + " in " +
                          FormatCount(repair.packs, "pack", "packs") + "; " +
                          FormatCount(repair.newChunks, "chunk was", "chunks were") + " found in the packs.");
    if (repair.lostRecords) {
        PrintLine(common,
                  "What was stored or changed later than that is in no list any more. Its content is "
                  "kept, so that the next backup sends nearly nothing.");
    }
    for (size_t i = 0; i < repair.lacking.size() && i < kLackingShown; ++i) {
        std::cerr << "  content is missing: " << Printable(Utf8(repair.lacking[i])) << '\n';
    }
    if (repair.filesLacking > 0) {
        PrintLine(common, "Content of " + FormatCount(repair.filesLacking, "file is", "files are") +
                              " in no pack; the next backup that has it sends it again.");
    }
}

}  // namespace

int RunVaultRepair(CommonOptions const& common) {
    VaultRepair repair;
    CString message;
    int code = 0;
    {
        ProgressDisplay display(common);
        code = VaultAdmin::Repair(
            CString::FromUtf8(common.vault),
            [&](__int64 done, __int64 total) {
                display.Show("Looked at " + std::to_string(total > 0 ? done * 100 / total : 0) + "%");
                return !IsInterrupted();
            },
            repair, message);
    }
    if (code == kCancelledCode) {
        PrintLine(common, "Cancelled. Nothing was changed.");
        return kExitCancelled;
    }
    if (code != 0) {
        throw CommandError(kExitFailed, Utf8(message.IsEmpty() ? ApiUtil::GetQuilString(code) : message));
    }
    if (common.json) {
        PrintAsJson(repair);
    } else {
        Print(common, repair);
    }
    return repair.filesLacking > 0 ? kExitWarnings : kExitDone;
}

}  // namespace rampart::cli
