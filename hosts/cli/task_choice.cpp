#include "task_choice.h"

#include <algorithm>
#include <ctime>

#include "exit_code.h"
#include "output.h"
#include "session.h"

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

void AddPattern(CBackupTask& task, std::string pattern, bool isInclude) {
    bool const isFolder = pattern.size() > 1 && pattern.back() == '/';
    if (isFolder) {
        pattern.pop_back();
    }
    CString const entry = ToEnginePattern(pattern);
    // An exclusion without a slash leaves out files and folders of that name alike.
    if (isFolder || !isInclude) {
        task.m_filtedPathList.AddTail(entry);
    }
    if (!isFolder) {
        task.m_filterExList.AddTail(entry);
    }
}

void ApplySettings(CBackupTask& task, BackupOptions const& options) {
    if (!options.exclude.empty() || !options.include.empty()) {
        bool const isInclude = !options.include.empty();
        task.m_filterExList.RemoveAll();
        task.m_filtedPathList.RemoveAll();
        for (std::string const& pattern : isInclude ? options.include : options.exclude) {
            AddPattern(task, pattern, isInclude);
        }
        task.m_filterType = isInclude ? _T("1") : _T("0");
    }
    if (options.versions > 0) {
        task.m_maxVersion = options.versions;
    }
}

CBackupTask* MakeTask(CBackupManage& manager, BackupOptions const& options,
                      std::vector<CString> const& sources, CString const& name) {
    if (!manager.BeginNewTask()) {
        throw CommandError(kExitFailed, "the account takes no further task");
    }
    CBackupTask* const task = manager.m_pNewTask;
    task->m_taskName = name;
    task->m_description = name;
    task->m_type = TaskTypeOnce;
    task->m_logFilePath.Format(_T("backup_%s.dat.4.0"), name);
    task->m_serverFilePath =
        options.to.empty() ? _T("\\") + task->m_pcName + _T("\\") + name : ServerPathOf(manager, options.to);
    CStringList list(10);
    for (CString const& source : sources) {
        list.AddTail(source);
    }
    task->ReplaceLocalList(list);
    ApplySettings(*task, options);
    task->m_encryMode = task->IsEncryptionBackup();
    if (!manager.EndNewTask()) {
        throw CommandError(kExitFailed, "the task '" + Utf8(name) + "' could not be stored: " +
                                            Utf8(ApiUtil::GetQuilString(manager.GetAddNewTaskRet())));
    }
    return task;
}

}  // namespace

ChosenTask ChooseTask(CBackupManage& manager, BackupOptions const& options,
                      std::vector<CString> const& sources) {
    CString const wanted = CString::FromUtf8(options.name);
    CBackupTask* task = wanted.IsEmpty() ? FindBySources(manager, sources) : manager.GetTaskByName(wanted);
    if (task == nullptr) {
        CString const name = wanted.IsEmpty() ? NameFor(manager, sources) : wanted;
        return {MakeTask(manager, options, sources, name), true};
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
    ApplySettings(*task, options);
    return {task, false};
}

}  // namespace rampart::cli
