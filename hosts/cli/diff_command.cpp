// rampart diff
#include <array>
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "common/vault_paths.h"
#include "ledger_print.h"
#include "moment.h"
#include "output.h"
#include "session.h"

namespace rampart::cli {

namespace {

struct Sign {
    DifferenceKind kind;
    char letter;
    char const* key;   // in JSON
    char const* word;  // behind a number
};

constexpr std::array kSigns = {
    Sign{DifferenceKind::kAdded, '+', "added", "added"},
    Sign{DifferenceKind::kGone, '-', "gone", "gone"},
    Sign{DifferenceKind::kContent, 'M', "content", "changed"},
    Sign{DifferenceKind::kAttributes, 'A', "attributes", "with other attributes"},
    Sign{DifferenceKind::kKind, 'T', "kind", "of another kind"},
};

Sign const& SignOf(DifferenceKind kind) {
    return *std::find_if(kSigns.begin(), kSigns.end(), [&](Sign const& sign) { return sign.kind == kind; });
}

// The task's sources that lie at the path or below it, each beside its place on the disk.
std::vector<RestorePlace> PlacesOnDisk(CBackupTask& task, CString const& serverPath) {
    CString const local = LocalPathOf(task, serverPath);
    if (!local.IsEmpty() && !StoredPathOf(task, local).IsEmpty()) {
        return {{serverPath, local, true}};
    }
    std::vector<RestorePlace> places;
    for (SourceInfo const* const source : task.m_localDirList) {
        CString const stored = source == nullptr ? CString() : StoredPathOf(task, source->path);
        if (stored.Left(serverPath.GetLength() + 1).CompareNoCase(serverPath + _T("\\")) == 0) {
            places.push_back({stored, source->path, true});
        }
    }
    return places;
}

// A moment at which nothing was stored yet is a mistake rather than an empty state.
void RequireState(StateWish const& wish, CString const& serverPath, std::string const& at) {
    bool hasAny = false;
    CString message;
    __int64 firstStored = INT64_MIN;
    auto const look = [&](VaultEntry const&) {
        hasAny = true;
        return false;
    };
    if (VaultRestore::List(wish, serverPath, false, look, message, &firstStored) == 0 && !hasAny &&
        wish.moment && firstStored > *wish.moment) {
        throw CommandError(kExitFailed, NothingInState(PrintableServerPath(serverPath), at,
                                                       std::optional<long long>(*wish.moment), firstStored));
    }
}

class DiffOutput {
public:
    DiffOutput(CommonOptions const& common, CString base) : m_common(common), m_base(std::move(base)) {}

    void Show(Difference const& difference) {
        Sign const& sign = SignOf(difference.change);
        ++m_counts[static_cast<size_t>(&sign - kSigns.data())];
        if (m_common.json) {
            m_list.push_back({{"path", PrintableServerPath(difference.serverPath)},
                              {"change", sign.key},
                              {"type", difference.isFolder ? "folder"
                                       : difference.isLink ? "link"
                                                           : "file"}});
            return;
        }
        CString rest = difference.serverPath.Mid(m_base.GetLength());
        rest.TrimLeft(_T('\\'));
        CString const path = rest.IsEmpty() ? PathUtilities::GetFileName(difference.serverPath) : rest;
        std::cout << sign.letter << ' ' << PrintableServerPath(path) << (difference.isFolder ? "/" : "")
                  << '\n';
    }

    void Finish(Ledger const& ledger, int exitCode) const {
        if (m_common.json) {
            nlohmann::json counts;
            for (Sign const& sign : kSigns) {
                counts[sign.key] = CountOf(sign);
            }
            PrintJson({{"result", exitCode},
                       {"differences", m_list},
                       {"counts", counts},
                       {"notCompared", ledger.ToJson()}});
            return;
        }
        std::cout.flush();
        PrintLedger(m_common, ledger, "Not compared:");
        PrintLine(m_common, CountLine() + (exitCode == kExitCancelled ? ", then cancelled" : ""));
    }

private:
    long long CountOf(Sign const& sign) const { return m_counts[static_cast<size_t>(&sign - kSigns.data())]; }
    std::string CountLine() const {
        std::string line;
        for (Sign const& sign : kSigns) {
            if (CountOf(sign) > 0) {
                line += (line.empty() ? "" : ", ") + FormatCount(CountOf(sign), "", "") + sign.word;
            }
        }
        return line.empty() ? "Nothing differs" : line;
    }

    CommonOptions const& m_common;
    CString m_base;  // paths are shown from here on
    std::array<long long, kSigns.size()> m_counts{};
    nlohmann::json m_list = nlohmann::json::array();
};

}  // namespace

int RunDiff(CommonOptions const& common, DiffOptions const& options) {
    if (options.at.size() > 2) {
        throw CommandError(kExitUsage, "--at may be given twice: from one moment to another");
    }
    EngineSession session(common, false);
    CBackupManage& manager = session.Manager();
    CString const serverPath = ResolveVaultPath(manager, options.what);
    std::vector<StateWish> states;
    for (std::string const& at : options.at) {
        StateWish wish = WishOf(manager);
        wish.moment = RequireMoment(at);
        RequireState(wish, serverPath, at);
        states.push_back(std::move(wish));
    }

    DifferenceRequest request;
    request.before = states.empty() ? WishOf(manager) : states.front();
    if (states.size() == 2) {
        request.after = states.back();
        request.places = {{serverPath, CString(), false}};
    } else {
        CBackupTask* const task = TaskOfServerPath(manager, serverPath);
        if (task == nullptr || task->m_pcID != manager.m_myID) {
            throw CommandError(kExitUsage,
                               PrintableServerPath(serverPath) +
                                   " belongs to no task of this machine, so that there is nothing "
                                   "on the disk to compare it with; give two moments with --at");
        }
        request.task = task;
        request.places = PlacesOnDisk(*task, serverPath);
    }
    Ledger ledger;
    DiffOutput output(common, serverPath);
    request.goOn = [] { return !IsInterrupted(); };
    request.visit = [&](Difference const& difference) { output.Show(difference); };
    request.leftOut = [&](SkippedEntry const& entry) {
        if (request.after) {
            ledger.Add(PrintableServerPath(entry.path), Utf8(entry.reason), entry.isError);
        } else {
            ledger.Add(entry);
        }
    };
    CString message;
    int const code = VaultDifference::Run(request, message);
    if (code != 0 && code != kCancelledCode) {
        throw CommandError(kExitFailed, Utf8(message));
    }
    int const exitCode = code == kCancelledCode ? kExitCancelled
                         : ledger.IsEmpty()     ? kExitDone
                                                : kExitWarnings;
    output.Finish(ledger, exitCode);
    return exitCode;
}

}  // namespace rampart::cli
