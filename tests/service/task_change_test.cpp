// Changes that are refused for what other tasks have stored.
#include "common/task_change.h"

#include "common/exit_code.h"

namespace rampart::host {

namespace {

using testing::HasSubstr;

void List(CBackupManage& manager, TCHAR const* name, TCHAR const* folder) {
    auto task = std::make_unique<CBackupTask>();
    task->m_taskName = name;
    task->m_serverFilePath = folder;
    manager.m_taskList.push_back(task.release());  // the list's own
}

}  // namespace

TEST(TaskDelete, WhatAnotherTaskStoresThereTooIsKept) {
    for (TCHAR const* const folder :
         {_T("\\kept\\docs"), _T("\\KEPT\\docs\\deep"), _T("\\kept"), _T("\\x\\Docs")}) {
        CBackupManage manager;
        List(manager, _T("docs"), _T("\\kept\\docs"));
        List(manager, _T("other"), folder);
        TaskChange change;
        change.kind = ChangeKind::kDelete;
        change.name = "docs";
        change.deletesBackup = true;
        try {
            ApplyChange(manager, change, false);
            ADD_FAILURE() << CString(folder).ToUtf8();
        } catch (CommandError const& error) {
            EXPECT_EQ(kExitUsage, error.Code());
            EXPECT_THAT(error.what(), HasSubstr("the task 'other' is stored there, too"));
        }
        EXPECT_EQ(2u, manager.m_taskList.size());
    }
}

}  // namespace rampart::host
