// rampart ls, rampart versions
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "common/task_report.h"
#include "file_versions.h"
#include "output.h"
#include "session.h"

namespace rampart::cli {

namespace {

[[noreturn]] void Fail(int code, CString const& message, std::string const& what) {
    throw CommandError(kExitFailed,
                       message.IsEmpty() ? what + ": " + Utf8(ApiUtil::GetQuilString(code)) : Utf8(message));
}

nlohmann::json JsonOf(VaultEntry const& entry) {
    return {{"path", PrintableServerPath(entry.path)},
            {"type", entry.isFolder    ? "folder"
                     : entry.isPartial ? "partial"
                                       : "file"},
            {"size", entry.size},
            {"modified", FormatTime(entry.modifiedTime)},
            {"stored", FormatTime(entry.storedTime)}};
}

std::string LineOf(VaultEntry const& entry, CString const& base) {
    char start[64];
    std::snprintf(start, sizeof start, "%-19s  %12s  ", FormatTime(entry.modifiedTime).c_str(),
                  entry.isFolder ? "" : FormatBytes(entry.size).c_str());
    CString rest = entry.path.Mid(base.GetLength());
    rest.TrimLeft(_T('\\'));
    return start + PrintableServerPath(rest) + (entry.isFolder ? "/" : "");
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
                        {"lastRun", WhenText(task->m_backupDate)},
                        {"folder", PrintableServerPath(task->m_serverFilePath)},
                        {"versions", static_cast<long long>(task->m_maxVersion)},
                        {"sources", sources}});
        PrintLine(common, Utf8(task->m_taskName) + "  (" + PrintableServerPath(task->m_serverFilePath) + ")");
        PrintLine(common, "  last run " + WhenText(task->m_backupDate) + ", " + Utf8(task->GetStateString()) +
                              "; " + paths);
    }
    if (common.json) {
        PrintJson(list);
    } else if (list.empty()) {
        PrintLine(common, "There is no task yet. Start with: rampart backup FOLDER");
    }
    return kExitDone;
}

// The server path of a local file that some task backs up; empty if none does.
CString ServerPathOfLocal(CBackupManage& manager, std::string const& text) {
    CString const local = ToEnginePath(text);
    CReadSync const lock(manager.m_taskListSync);
    for (CBackupTask* const task : manager.m_taskList) {
        if (!local.IsEmpty() && task->m_pcID == manager.m_myID && task->IsInBackupList(local)) {
            return task->GetTargetSvrFolder(local, 1) + _T("\\") + PathUtilities::GetFileName(local);
        }
    }
    return CString();
}

}  // namespace

int RunList(CommonOptions const& common, ListOptions const& options) {
    EngineSession session(common, false);
    if (options.path.empty() && !options.recursive) {
        return ListTasks(common, session.Manager());
    }
    CString const path = ServerPathOf(session.Manager(), options.path);
    CString message;
    VaultEntry top;
    if (int const code = VaultAdmin::Find(path, top, message)) {
        Fail(code, message, PrintableServerPath(path));
    }
    nlohmann::json list = nlohmann::json::array();
    auto show = [&](VaultEntry const& entry) {
        if (common.json) {
            list.push_back(JsonOf(entry));
        } else {
            std::cout << LineOf(entry, top.isFolder ? top.path : CString()) << '\n';
        }
        return !IsInterrupted();
    };
    if (!top.isFolder) {
        show(top);
    } else if (int const code = VaultAdmin::List(top.path, options.recursive, show, message)) {
        Fail(code, message, PrintableServerPath(path));
    }
    if (common.json) {
        PrintJson(list);
    }
    return IsInterrupted() ? kExitCancelled : kExitDone;
}

int RunVersions(CommonOptions const& common, ListOptions const& options) {
    EngineSession session(common, false);
    CBackupManage& manager = session.Manager();
    CString path = ServerPathOfLocal(manager, options.path);
    CString message;
    VaultEntry current;
    if (path.IsEmpty() || VaultAdmin::Find(path, current, message) != 0) {
        path = ServerPathOf(manager, options.path);
        if (int const code = VaultAdmin::Find(path, current, message)) {
            Fail(code, message, Printable(options.path));
        }
    }
    if (current.isFolder) {
        throw CommandError(kExitUsage, PrintableServerPath(path) + " is a folder; name a file");
    }
    nlohmann::json list = nlohmann::json::array();
    PrintLine(common, PrintableServerPath(current.path));
    PrintLine(common, "version  last written         stored               size");
    int number = 0;
    for (VaultEntry const& version : VersionsOf(TaskOfServerPath(manager, current.path), current)) {
        ++number;
        nlohmann::json entry = JsonOf(version);
        entry["version"] = number;
        list.push_back(entry);
        char line[128];
        std::snprintf(line, sizeof line, "%7d  %-19s  %-19s  %s", number,
                      FormatTime(version.modifiedTime).c_str(), FormatTime(version.storedTime).c_str(),
                      FormatBytes(version.size).c_str());
        PrintLine(common, line);
    }
    if (common.json) {
        PrintJson(list);
    }
    return kExitDone;
}

}  // namespace rampart::cli
