// Tasks that another program of this user runs at this moment: they take a place in the registry here, so
// that they are not started a second time and no more tasks run than may.
#pragma once

#include <vector>

#include "engine/vaultlib.h"

namespace rampart::service {

inline ManageMultipleRunningTask& Registry() {
    return *ManageMultipleRunningTask::GetInstance();
}

class ForeignRuns {
public:
    explicit ForeignRuns(CBackupManage& manager) : m_manager(manager) {}
    ~ForeignRuns() { Forget(); }
    ForeignRuns(ForeignRuns const&) = delete;
    ForeignRuns& operator=(ForeignRuns const&) = delete;

    // Looks at the marks of all tasks. True if a run elsewhere has ended since the last look: its dates stand
    // in the database.
    bool Look();
    // Takes all of them out of the registry; before tasks are replaced or die.
    void Forget();
    bool Has(CBackupTask* task) const;
    int Count() const { return static_cast<int>(m_tasks.size()); }
    // How many tasks run in this process.
    int OwnCount() const;

private:
    CBackupManage& m_manager;
    std::vector<CBackupTask*> m_tasks;
};

}  // namespace rampart::service
