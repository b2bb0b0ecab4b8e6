#include "common/vault_paths.h"

#include <algorithm>

#include "common/exit_code.h"
#include "common/session.h"
#include "common/text.h"

namespace rampart::host {

namespace {

bool IsStored(CString const& serverPath) {
    VaultEntry entry;
    CString message;
    return !serverPath.IsEmpty() && VaultAdmin::Find(serverPath, entry, message) == 0;
}

std::vector<CBackupTask*> TasksOf(CBackupManage& manager) {
    CReadSync const lock(manager.m_taskListSync);
    return {manager.m_taskList.begin(), manager.m_taskList.end()};
}

// "\xNN", as Printable shows bytes that a terminal cannot, back to bytes.
std::string Unescaped(std::string const& text) {
    auto const digit = [](char c) {
        return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    };
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        bool const isEscape = text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' &&
                              digit(text[i + 2]) >= 0 && digit(text[i + 3]) >= 0;
        bytes += isEscape ? static_cast<char>(digit(text[i + 2]) * 16 + digit(text[i + 3])) : text[i];
        i += isEscape ? 3 : 0;
    }
    return bytes;
}

// With a backslash before each name; `separators` part them.
CString AsServerPath(std::string const& text, char const* separators) {
    CString path;
    for (size_t at = 0; at < text.size();) {
        size_t const end = std::min(text.find_first_of(separators, at), text.size());
        if (end > at) {
            path += _T("\\") + ToEnginePattern(text.substr(at, end - at));
        }
        at = end + 1;
    }
    return path;
}

// All readings of what was typed, the likeliest first. A backslash may be part of a name.
std::vector<CString> Readings(std::string const& text) {
    std::vector<CString> readings;
    for (std::string const& form : {text, Unescaped(text)}) {
        for (char const* const separators : {"/\\", "/"}) {
            CString const path = AsServerPath(form, separators);
            if (std::find(readings.begin(), readings.end(), path) == readings.end()) {
                readings.push_back(path);
            }
        }
    }
    return readings;
}

// The first name of a path with a backslash before each, and the rest with its own.
std::pair<CString, CString> CutFirst(CString const& path) {
    int const end = path.Find(_T('\\'), 1);
    return end < 0 ? std::pair(path.Mid(1), CString()) : std::pair(path.Mid(1, end - 1), path.Mid(end));
}

// What tasks that are not there any more left: folders of that name below those of machines.
std::vector<CString> LeftByDeletedTask(CString const& path) {
    auto const [name, rest] = CutFirst(path);
    std::vector<CString> found;
    std::vector<CString> machines;
    CString message;
    VaultAdmin::List(
        _T("\\"), false,
        [&](VaultEntry const& entry) {
            if (entry.isFolder) {
                machines.push_back(entry.path);
            }
            return true;
        },
        message);
    CString const history = CBackupManage::GetSvrHistFolder(0, 0);
    for (CString const& machine : machines) {
        CString const candidate = machine + _T("\\") + name + rest;
        if (machine.CompareNoCase(history) != 0 && IsStored(candidate)) {
            found.push_back(candidate);
        }
    }
    return found;
}

CString OnlyOne(std::vector<CString> const& found, std::string const& text) {
    if (found.size() > 1) {
        std::string list;
        for (CString const& path : found) {
            list += "\n  " + PrintableServerPath(path);
        }
        throw CommandError(kExitUsage, "'" + Printable(text) + "' may mean several things:" + list);
    }
    return found.empty() ? CString() : found.front();
}

CString BelowTasks(std::vector<CBackupTask*> const& tasks, CString const& path, std::string const& text) {
    auto const [name, rest] = CutFirst(path);
    std::vector<CString> found;
    for (CBackupTask* const task : tasks) {
        if (task->m_taskName.CompareNoCase(name) == 0 && IsStored(task->m_serverFilePath + rest)) {
            return task->m_serverFilePath + rest;
        }
        if (IsStored(task->m_serverFilePath + path)) {
            found.push_back(task->m_serverFilePath + path);
        }
    }
    return OnlyOne(found, text);
}

CString OfLocalPath(CBackupManage& manager, std::vector<CBackupTask*> const& tasks, std::string const& text) {
    CString const local = ToEnginePath(text);
    for (CBackupTask* const task : tasks) {
        if (!local.IsEmpty() && task->m_pcID == manager.m_myID) {
            CString const stored = StoredPathOf(*task, local);
            if (IsStored(stored)) {
                return stored;
            }
        }
    }
    return CString();
}

}  // namespace

CString ResolveVaultPath(CBackupManage& manager, std::string const& text) {
    if (text.empty()) {
        throw CommandError(kExitUsage, "an empty name means nothing; see: rampart ls");
    }
    if (CBackupTask const* const task = manager.GetTaskByName(CString::FromUtf8(text))) {
        return task->m_serverFilePath;
    }
    std::vector<CString> const readings = Readings(text);
    if (readings.front().IsEmpty()) {
        return _T("\\");
    }
    std::vector<CBackupTask*> const tasks = TasksOf(manager);
    for (CString const& path : readings) {
        if (IsStored(path)) {
            return path;
        }
    }
    if (CString const stored = OfLocalPath(manager, tasks, text); !stored.IsEmpty()) {
        return stored;
    }
    for (CString const& path : readings) {
        if (CString const stored = BelowTasks(tasks, path, text); !stored.IsEmpty()) {
            return stored;
        }
        if (CString const stored = OnlyOne(LeftByDeletedTask(path), text); !stored.IsEmpty()) {
            return stored;
        }
    }
    throw CommandError(kExitFailed, "'" + Printable(text) +
                                        "' is neither a task, nor a path in the vault, nor a local path that "
                                        "is stored; see: rampart ls");
}

StateWish WishOf(CBackupManage& manager) {
    StateWish wish;
    wish.historyOf = [&manager](CString const& serverFile) { return HistoryFolderOf(manager, serverFile); };
    return wish;
}

std::vector<RestorePlace> OwnPlaces(CBackupManage& manager, CString const& serverPath) {
    CBackupTask* const task = TaskOfServerPath(manager, serverPath);
    if (task == nullptr || task->m_pcID != manager.m_myID) {
        throw CommandError(kExitUsage, PrintableServerPath(serverPath) +
                                           " belongs to no task of this machine, so that nobody knows where "
                                           "it came from; name a folder with --into");
    }
    std::vector<RestorePlace> places;
    if (CString const local = LocalPathOf(*task, serverPath); !local.IsEmpty()) {
        places.push_back({serverPath, local, true});
        return places;
    }
    for (SourceInfo const* source : task->m_localDirList) {
        CString const stored = source == nullptr ? CString() : StoredPathOf(*task, source->path);
        if (IsStored(stored)) {
            places.push_back({stored, source->path, true});
        }
    }
    return places;
}

}  // namespace rampart::host
