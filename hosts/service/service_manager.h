// The task manager of the service: the engine's own, which also logs the beginning and the end of each run
// and wakes the service when a place becomes free.
#pragma once

#include <mutex>
#include <vector>

#include "engine/vaultlib.h"
#include "run_ledgers.h"

namespace rampart::service {

class ServiceManager : public CBackupManage {
public:
    ~ServiceManager() override { ClearTaskList(); }  // the runs end while this object is whole
    int SetWorkingTask(CBackupTask* task) override;
    int SetDoneTask(CString const& name) override;
    // Names of the tasks whose runs have ended since the last call.
    std::vector<CString> TakeEndedRuns();
    void NoteEndedRun(CString const& name);
    // A task that waits runs again, however its last run ended: the engine would drop a failed one unseen.
    void ForgetFailuresOfWaiting();
    RunLedgers const& Ledgers() const { return m_ledgers; }

private:
    std::mutex m_endedLock;
    std::vector<CString> m_ended;
    RunLedgers m_ledgers;
};

}  // namespace rampart::service
