#include "restore/task_places.h"

#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "run/server_path_map.h"
#include "storage/server_path.h"
#include "task/backup_task.h"

namespace rampart {
namespace {

bool LiesBelow(CString const& path, CString const& folder) {
    return path.GetLength() > folder.GetLength() && path[folder.GetLength()] == _T('\\') &&
           path.Left(folder.GetLength()).CompareNoCase(folder) == 0;
}

// "\MACHINE\TASK", where a task stores that was told no other place. Empty for a path above it.
CString UsualTaskFolder(CString const& serverPath) {
    std::string const path = serverPath.ToUtf8();
    const auto names = SplitServerPath(path);
    return names.size() < 2 ? CString()
                            : CString::FromUtf8(JoinServerPath(JoinServerPath("", names[0]), names[1]));
}

}  // namespace

CBackupTask* TaskOfServerPath(CBackupManage& manager, CString const& serverPath) {
    CReadSync const lock(manager.m_taskListSync);
    CBackupTask* best = nullptr;
    for (CBackupTask* const task : manager.m_taskList) {
        CString const& folder = task->m_serverFilePath;
        bool const holds = serverPath.CompareNoCase(folder) == 0 || LiesBelow(serverPath, folder);
        if (holds && (best == nullptr || folder.GetLength() > best->m_serverFilePath.GetLength())) {
            best = task;
        }
    }
    return best;
}

CString LocalPathOf(CBackupTask& task, CString const& serverPath) {
    return Guarded(_T("Error: LocalPathOf"), CString(), [&] {
        return LiesBelow(serverPath, task.m_serverFilePath)
                   ? ServerPathMap(task.m_localDirList)
                         .ToLocal(serverPath.Mid(task.m_serverFilePath.GetLength()))
                   : CString();
    });
}

CString StoredPathOf(CBackupTask& task, CString const& localPath) {
    return Guarded(_T("Error: StoredPathOf"), CString(), [&] {
        return task.IsInBackupList(localPath)
                   ? task.m_serverFilePath + ServerPathMap(task.m_localDirList).ToServer(localPath)
                   : CString();
    });
}

CString HistoryFolderOf(CBackupManage& manager, CString const& serverFile) {
    if (CBackupTask* const task = TaskOfServerPath(manager, serverFile)) {
        return task->GetFileHistoryFolder(serverFile);
    }
    CString const folder = UsualTaskFolder(serverFile);
    CString const root = CBackupManage::GetSvrHistFolder(0, 0);
    if (root.IsEmpty() || !LiesBelow(serverFile, folder)) {
        return CString();
    }
    return PathUtilities::Append(root, PathUtilities::GetFileName(folder)) +
           serverFile.Mid(folder.GetLength());
}

}  // namespace rampart
