// A whole host: backs up one folder into a vault and says what happened.
//   host_example VAULT FOLDER
#include <cstdio>

#include "engine/vaultlib.h"

namespace {

// The engine's questions and messages. A host without a user answers 0, which is "no".
int OnMessage(TCHAR const* text, unsigned int, unsigned long, int) {
    std::printf("engine: %s\n", CString(text).ToUtf8().c_str());
    return 0;
}

// What the run could not read or never backs up, told from the run's threads.
void OnSkipped(SkippedEntry const& entry, void*) {
    std::printf("left out: %s (%s)\n", rampart::ToNativePath(entry.path).c_str(),
                entry.reason.ToUtf8().c_str());
}

int BackUp(CBackupManage& manager, CString const& folder) {
    CBackupTask* task = manager.GetTaskByName(_T("example"));
    if (task == nullptr) {
        if (!manager.BeginNewTask()) {
            return 1;
        }
        task = manager.m_pNewTask;
        task->m_taskName = task->m_description = _T("example");
        task->m_type = TaskTypeDaily;
        task->m_serverFilePath = _T("\\example");
        manager.AddLocalPath(folder);
        CTime tomorrow = rampart::NowRaw() + CTimeSpan(86400);
        TimeUtil::LocalTimeToUtcTime(tomorrow);  // a task keeps its dates in stored form
        task->SetDating(tomorrow, 0);
        if (!manager.EndNewTask()) {  // the list owns the task from here on
            return 1;
        }
    }
    if (!task->StartBackupByUser(0)) {
        std::printf("%s\n", task->GetManualStartErrorMsg().ToUtf8().c_str());
        return 1;
    }
    while (ManageMultipleRunningTask::GetInstance()->FindWorkingTask(task)) {
        rampart::SleepMilliseconds(10);  // here a host shows task->m_pTaskPrg
    }
    std::printf("%lld %s looked at, %lld new\n", task->m_reportTotalCount.Get(),
                task->m_reportTotalCount == 1 ? "file" : "files", task->m_reportAddedCount.Get());
    return task->m_errorOccured;
}

}  // namespace

int main(int argc, char** argv) {
    CString message;
    if (argc != 3 || VaultAdmin::Open(CString::FromUtf8(argv[1]), true, message) != 0) {
        std::printf("usage: host_example VAULT FOLDER\n%s\n", message.ToUtf8().c_str());
        return 2;
    }
    SetMsgBoxProc(&OnMessage);
    SetSkippedEntrySink(&OnSkipped, nullptr);
    int result = 1;
    {
        rampart::RunningEngine const engine;
        result = BackUp(engine.Manager(), rampart::ToEnginePath(argv[2]));
    }
    VaultAdmin::Close();
    return result;
}
