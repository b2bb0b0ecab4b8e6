#include "file_versions.h"

#include <algorithm>

namespace rampart::cli {

CBackupTask* TaskOfServerPath(CBackupManage& manager, CString const& serverPath) {
    CReadSync const lock(manager.m_taskListSync);
    CBackupTask* best = nullptr;
    for (CBackupTask* const task : manager.m_taskList) {
        CString const folder = task->m_serverFilePath;
        bool const isBelow =
            serverPath.Left(folder.GetLength()).CompareNoCase(folder) == 0 &&
            (serverPath.GetLength() == folder.GetLength() || serverPath[folder.GetLength()] == _T('\\'));
        if (isBelow && (best == nullptr || folder.GetLength() > best->m_serverFilePath.GetLength())) {
            best = task;
        }
    }
    return best;
}

std::vector<VaultEntry> VersionsOf(CBackupTask* task, VaultEntry const& current) {
    std::vector<VaultEntry> versions{current};
    if (task == nullptr) {
        return versions;
    }
    CString message;
    VaultEntry folder;
    CString const history = task->GetFileHistoryFolder(current.path);
    // Exactly this folder: one in another case belongs to another file.
    if (history.IsEmpty() || VaultAdmin::Find(history, folder, message) != 0 || folder.path != history) {
        return versions;
    }
    VaultAdmin::List(
        history, false,
        [&](VaultEntry const& entry) {
            if (!entry.isFolder && !entry.isPartial) {
                versions.push_back(entry);
            }
            return true;
        },
        message);
    std::stable_sort(versions.begin() + 1, versions.end(),
                     [](VaultEntry const& a, VaultEntry const& b) { return a.storedTime > b.storedTime; });
    return versions;
}

}  // namespace rampart::cli
