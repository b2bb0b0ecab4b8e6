#include "service_manager.h"

#include "common/text.h"
#include "service_log.h"

namespace rampart::service {

namespace {

std::string ResultOf(CBackupTask& task) {
    switch (task.m_state) {
        case TaskStateFinished:
            return task.m_hadFileFailure != 0 ? "done, but files were left out" : "done";
        case TaskStateCanceled:
            return "cancelled";
        case TaskStateFailed:
            return "failed";
        default:
            return "ended";
    }
}

std::string NotProtectedText(host::Ledger const& ledger) {
    return ledger.IsEmpty()
               ? ""
               : ", " + host::FormatCount(static_cast<__int64>(ledger.Count()), "path", "paths") +
                     " not protected";
}

}  // namespace

// Called for a start, before the run's thread begins.
int ServiceManager::SetWorkingTask(CBackupTask* task) {
    int const result = CBackupManage::SetWorkingTask(task);
    // A continuous task that only renews its date looks at no file, and is not worth a line.
    if (task != nullptr && task->m_onlyUpdateBackupDate == 0) {
        m_ledgers.Begin(*task);
        Log("task '" + host::Printable(host::Utf8(task->m_taskName)) + "' started");
    }
    return result;
}

// Called by the run's thread after the run has left the registry.
int ServiceManager::SetDoneTask(CString const& name) {
    m_ledgers.End(name);
    if (CBackupTask* const task = GetTaskByName(name)) {
        CString errors = task->GetErrorsOfRun();
        errors.Replace(_T("\r\n"), _T("; "));
        errors.Replace(_T("\n"), _T("; "));
        Log("task '" + host::Printable(host::Utf8(name)) + "' " + ResultOf(*task) + ": " +
            host::FormatCount(task->m_reportTotalCount, "file", "files") + " looked at, " +
            host::FormatCount(task->m_reportAddedCount, "new", "new") + ", " +
            host::FormatCount(task->m_reportChangedCount, "changed", "changed") +
            NotProtectedText(*m_ledgers.Of(host::Printable(host::Utf8(name)))) +
            (errors.IsEmpty() ? "" : "; " + host::Printable(host::Utf8(errors))));
    } else {
        Log("task '" + host::Printable(host::Utf8(name)) + "' ended");
    }
    NoteEndedRun(name);
    WakeServiceWait();
    return CBackupManage::SetDoneTask(name);
}

void ServiceManager::ForgetFailuresOfWaiting() {
    CKorvaneAutoLock const lock(&m_taskLock, _T("ForgetFailuresOfWaiting"), 1);
    for (void* const entry : m_waitList) {
        auto* const task = static_cast<CBackupTask*>(entry);
        if (!ManageMultipleRunningTask::GetInstance()->FindWorkingTask(task)) {
            task->m_errorOccured = 0;
        }
    }
}

void ServiceManager::NoteEndedRun(CString const& name) {
    std::lock_guard const lock(m_endedLock);
    m_ended.push_back(name);
}

std::vector<CString> ServiceManager::TakeEndedRuns() {
    std::lock_guard const lock(m_endedLock);
    return std::exchange(m_ended, {});
}

}  // namespace rampart::service
