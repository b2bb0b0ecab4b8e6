#include "restore/mounted_tasks.h"

#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "manager/task_reply.h"
#include "paths/global_function.h"
#include "task/engine_text.h"
#include "task/stored_time.h"

namespace rampart {
namespace {

MountedTask TaskOf(const TaskReplyRow& row) {
    MountedTask task;
    task.id = static_cast<int32_t>(ReadNumber(row.taskID));
    task.name = row.name;
    task.serverFolder = row.serverPath;
    task.serverFolder.TrimRight(_T('\\'));
    const CString root =
        CBackupManage::GetSvrHistFolder(GlobalFunction::IsEncryptionPath(task.serverFolder), 0);
    if (!root.IsEmpty()) {
        task.historyFolder = PathUtilities::Append(root, PathUtilities::GetFileName(task.serverFolder));
    }
    if (row.backupDate && *row.backupDate > FirstBackupMark()) {
        task.lastRun = ToRaw(*row.backupDate).GetTime();
    }
    return task;
}

}  // namespace

ServiceResult ReadMountedTasks(StorageService& service, std::vector<MountedTask>& tasks) {
    tasks.clear();
    std::string reply;
    ServiceResult read = service.QueryTasks("", false, reply);
    if (!read.Ok() || reply.empty()) {
        return read;
    }
    const bool isWhole = Guarded(_T("Error: ReadMountedTasks"), [&] {
        const TaskReply rows(CString::FromUtf8(reply));
        for (size_t index = 0; index < rows.Count(); ++index) {
            tasks.push_back(TaskOf(rows.Row(index)));
        }
    });
    return ServiceResult::OfCode(isWhole ? kOk : kFailed);
}

}  // namespace rampart
