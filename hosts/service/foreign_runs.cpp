#include "foreign_runs.h"

#include <algorithm>

#include "common/service_link.h"
#include "common/text.h"
#include "service_log.h"

namespace rampart::service {

bool ForeignRuns::Look() {
    std::vector<CBackupTask*> running;
    {
        CReadSync const read(m_manager.m_taskListSync);
        for (CBackupTask* const task : m_manager.m_taskList) {
            bool const isOwn = Registry().FindWorkingTask(task) != 0 && !Has(task);
            if (task->m_pcID == m_manager.m_myID && !isOwn && HeldName::IsHeld(host::RunMarkName(*task))) {
                running.push_back(task);
            }
        }
    }
    bool hasEnded = false;
    for (CBackupTask* const task : m_tasks) {
        if (std::find(running.begin(), running.end(), task) == running.end()) {
            Registry().RemoveWorkingTaskFromVector(task);
            Log("task '" + host::Printable(host::Utf8(task->m_taskName)) + "' has ended in another program");
            hasEnded = true;
        }
    }
    // One that has begun here meanwhile, under the same mark, is no run of another program.
    std::erase_if(running, [&](CBackupTask* task) {
        if (Has(task)) {
            return false;
        }
        if (Registry().AddIfNew(task) == 0) {
            return true;
        }
        Log("task '" + host::Printable(host::Utf8(task->m_taskName)) + "' runs in another program");
        return false;
    });
    m_tasks.swap(running);
    return hasEnded;
}

void ForeignRuns::Forget() {
    for (CBackupTask* const task : m_tasks) {
        Registry().RemoveWorkingTaskFromVector(task);
    }
    m_tasks.clear();
}

bool ForeignRuns::Has(CBackupTask* task) const {
    return std::find(m_tasks.begin(), m_tasks.end(), task) != m_tasks.end();
}

int ForeignRuns::OwnCount() const {
    return Registry().WorkingTaskCount() - Count();
}

}  // namespace rampart::service
