#include "task_choice.h"

#include <algorithm>
#include <ctime>

#include "common/exit_code.h"
#include "common/session.h"
#include "common/task_change.h"
#include "output.h"
#include "task_run.h"

namespace rampart::cli {

namespace {

bool HasSources(CBackupTask const& task, std::vector<CString> const& sources) {
    return task.m_localDirList.size() == sources.size() &&
           std::all_of(sources.begin(), sources.end(), [&](CString const& path) {
               return std::any_of(
                   task.m_localDirList.begin(), task.m_localDirList.end(),
                   [&](SourceInfo const* source) { return source != nullptr && source->path == path; });
           });
}

CBackupTask* FindBySources(CBackupManage& manager, std::vector<CString> const& sources) {
    CReadSync const lock(manager.m_taskListSync);
    for (CBackupTask* const task : manager.m_taskList) {
        if (task->m_pcID == manager.m_myID && HasSources(*task, sources)) {
            return task;
        }
    }
    return nullptr;
}

CString NameFor(CBackupManage& manager, std::vector<CString> const& sources) {
    CString base = PathUtilities::GetFileName(sources.front());
    if (base.IsEmpty()) {
        base = sources.front().Left(1);
    }
    CString name = base;
    for (int number = 2; manager.GetTaskByName(name) != nullptr; ++number) {
        name.Format(_T("%s-%d"), base, number);
    }
    return name;
}

void ApplySettings(CBackupTask& task, BackupOptions const& options) {
    SetFilters(task, options.include, options.exclude);
    if (options.versions > 0) {
        task.m_maxVersion = options.versions;
    }
}

ChosenTask MakeTask(CBackupManage& manager, BackupOptions const& options, std::vector<CString> const& sources,
                    CString const& name) {
    CBackupTask& task = BeginTask(manager, name, options.to, sources);
    ApplySettings(task, options);
    std::unique_ptr<HeldName> mark = MarkRun(task);
    if (!manager.EndNewTask()) {
        throw CommandError(kExitFailed, "the task '" + Utf8(name) + "' could not be stored: " +
                                            Utf8(ApiUtil::GetQuilString(manager.GetAddNewTaskRet())));
    }
    return {&task, true, std::move(mark)};
}

}  // namespace

ChosenTask ChooseTask(CBackupManage& manager, BackupOptions const& options,
                      std::vector<CString> const& sources) {
    CString const wanted = CString::FromUtf8(options.name);
    CBackupTask* task = wanted.IsEmpty() ? FindBySources(manager, sources) : manager.GetTaskByName(wanted);
    if (task == nullptr) {
        CString const name = wanted.IsEmpty() ? NameFor(manager, sources) : wanted;
        if (!wanted.IsEmpty()) {
            CheckTaskName(options.name);
        }
        return MakeTask(manager, options, sources, name);
    }
    std::string const name = Utf8(task->m_taskName);
    if (!HasSources(*task, sources)) {
        throw CommandError(
            kExitUsage,
            "the task '" + name + "' backs up other paths; give these a name of their own with --name");
    }
    if (!options.to.empty() && ServerPathOf(manager, options.to).CompareNoCase(task->m_serverFilePath) != 0) {
        throw CommandError(kExitUsage, "the task '" + name + "' is stored in " +
                                           PrintableServerPath(task->m_serverFilePath) +
                                           "; use another --name to store it elsewhere");
    }
    std::unique_ptr<HeldName> mark = MarkRun(*task);
    ApplySettings(*task, options);
    return {task, false, std::move(mark)};
}

}  // namespace rampart::cli
