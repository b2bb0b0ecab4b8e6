// Keeps a task still while it is changed: its run has been ended, and none begins until the hold is gone.
#pragma once

#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "task/backup_task.h"

namespace rampart {

// Waits for the end of a run as CBackupTask::EndTask does, which stops the task's watchers too: who changes
// nothing in the end starts them again. Holds may nest. Not under the manager's locks.
class RunHold {
public:
    RunHold(CBackupManage& manager, CBackupTask& task) : m_task(task), m_before(task.m_isDeleting) {
        {
            // Behind a pass that starts it.
            CKorvaneAutoLock const lock(&manager.m_taskLock, _T("RunHold"), 1);
            m_task.m_isDeleting = 1;
        }
        m_task.EndTask();
    }
    // False if the run hangs, as in a folder that does not answer: the task must not be changed then.
    bool HasRunEnded() const { return !m_task.HasThreads(); }
    ~RunHold() { m_task.m_isDeleting = m_before; }
    RunHold(RunHold const&) = delete;
    RunHold& operator=(RunHold const&) = delete;

private:
    CBackupTask& m_task;
    int32_t const m_before;
};

}  // namespace rampart
