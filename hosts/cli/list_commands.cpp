// rampart ls, rampart versions
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "common/task_report.h"
#include "common/vault_paths.h"
#include "moment.h"
#include "output.h"
#include "session.h"

namespace rampart::cli {

namespace {

[[noreturn]] void Fail(int code, CString const& message, std::string const& what) {
    throw CommandError(kExitFailed,
                       message.IsEmpty() ? what + ": " + Utf8(ApiUtil::GetQuilString(code)) : Utf8(message));
}

nlohmann::json JsonOf(VaultEntry const& entry) {
    nlohmann::json json = {{"path", PrintableServerPath(entry.path)},
                           {"type", entry.isFolder    ? "folder"
                                    : entry.isPartial ? "partial"
                                    : entry.isLink    ? "link"
                                    : entry.isSpecial ? "special"
                                                      : "file"},
                           {"size", entry.size},
                           {"modified", FormatTime(entry.modifiedTime)},
                           {"stored", FormatTime(entry.storedTime)}};
    if (entry.goneTime != INT64_MIN) {
        json["deleted"] = FormatTime(entry.goneTime);
    }
    return json;
}

std::string LineOf(VaultEntry const& entry, CString const& base) {
    char start[64];
    std::snprintf(start, sizeof start, "%-19s  %12s  ", FormatTime(entry.modifiedTime).c_str(),
                  entry.isFolder ? "" : FormatBytes(entry.size).c_str());
    CString rest = entry.path.Mid(base.GetLength());
    rest.TrimLeft(_T('\\'));
    std::string const gone =
        entry.goneTime == INT64_MIN ? "" : "  (deleted " + FormatTime(entry.goneTime) + ")";
    return start + PrintableServerPath(rest) + (entry.isFolder ? "/" : "") + gone;
}

int ListTasks(CommonOptions const& common, CBackupManage& manager) {
    nlohmann::json list = nlohmann::json::array();
    CReadSync const lock(manager.m_taskListSync);
    for (CBackupTask* const task : manager.m_taskList) {
        nlohmann::json sources = nlohmann::json::array();
        std::string paths;
        for (SourceInfo const* source : task->m_localDirList) {
            std::string const path = PrintablePath(source->path);
            sources.push_back(path);
            paths += (paths.empty() ? "" : ", ") + path;
        }
        list.push_back({{"task", Utf8(task->m_taskName)},
                        {"state", Utf8(task->GetStateString())},
                        {"lastRun", WhenText(task->LastRun())},
                        {"folder", PrintableServerPath(task->m_serverFilePath)},
                        {"versions", static_cast<long long>(task->m_maxVersion)},
                        {"sources", sources}});
        PrintLine(common, Utf8(task->m_taskName) + "  (" + PrintableServerPath(task->m_serverFilePath) + ")");
        PrintLine(common, "  last run " + WhenText(task->LastRun()) + ", " + Utf8(task->GetStateString()) +
                              "; " + paths);
    }
    if (common.json) {
        PrintJson(list);
    } else if (list.empty()) {
        PrintLine(common, "There is no task yet. Start with: rampart backup FOLDER");
    }
    return kExitDone;
}

}  // namespace

int RunList(CommonOptions const& common, ListOptions const& options) {
    std::optional<long long> const moment = RequireMoment(options.at);
    EngineSession session(common, false);
    if (options.path.empty() && !options.recursive && !options.deleted && !moment) {
        return ListTasks(common, session.Manager());
    }
    CString const path =
        options.path.empty() ? CString(_T("\\")) : ResolveVaultPath(session.Manager(), options.path);
    CString message;
    VaultEntry top;
    if (int const code = VaultAdmin::Find(path, top, message)) {
        Fail(code, message, PrintableServerPath(path));
    }
    StateWish wish = WishOf(session.Manager());
    wish.withGone = options.deleted;
    if (moment) {
        wish.moment = *moment;
    }
    nlohmann::json list = nlohmann::json::array();
    __int64 firstStored = INT64_MIN;
    bool hasAny = false;
    auto show = [&](VaultEntry const& entry) {
        hasAny = true;
        if (common.json) {
            list.push_back(JsonOf(entry));
        } else {
            std::cout << LineOf(entry, top.isFolder ? top.path : CString()) << '\n';
        }
        return !IsInterrupted();
    };
    if (int const code = VaultRestore::List(wish, top.path, options.recursive, show, message, &firstStored)) {
        Fail(code, message, PrintableServerPath(path));
    }
    if (!hasAny && moment && firstStored > *moment) {
        throw CommandError(kExitFailed,
                           NothingInState(PrintableServerPath(path), options.at, moment, firstStored));
    }
    if (common.json) {
        PrintJson(list);
    }
    return IsInterrupted() ? kExitCancelled : kExitDone;
}

int RunVersions(CommonOptions const& common, ListOptions const& options) {
    EngineSession session(common, false);
    CBackupManage& manager = session.Manager();
    CString const path = ResolveVaultPath(manager, options.path);
    CString message;
    VaultEntry current;
    if (int const code = VaultAdmin::Find(path, current, message)) {
        Fail(code, message, Printable(options.path));
    }
    if (current.isFolder) {
        throw CommandError(kExitUsage, PrintableServerPath(path) + " is a folder; name a file");
    }
    nlohmann::json list = nlohmann::json::array();
    PrintLine(common, PrintableServerPath(current.path));
    PrintLine(common, "version  last written         stored               size");
    int number = 0;
    std::vector<VaultEntry> versions;
    if (int const code = VaultRestore::Versions(WishOf(manager), current.path, versions, message)) {
        Fail(code, message, PrintableServerPath(path));
    }
    for (VaultEntry const& version : versions) {
        ++number;
        nlohmann::json entry = JsonOf(version);
        entry["version"] = number;
        list.push_back(entry);
        char line[128];
        std::snprintf(line, sizeof line, "%7d  %-19s  %-19s  %s", number,
                      FormatTime(version.modifiedTime).c_str(), FormatTime(version.storedTime).c_str(),
                      FormatBytes(version.size).c_str());
        PrintLine(common, line + (version.goneTime == INT64_MIN
                                      ? std::string()
                                      : "  (deleted " + FormatTime(version.goneTime) + ")"));
    }
    if (common.json) {
        PrintJson(list);
    }
    return kExitDone;
}

}  // namespace rampart::cli
