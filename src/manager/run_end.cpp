// The end of a run: its state, its next date, its retry, its row in the database.
#include "engine/vaultlib_app.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "storage/service_code.h"
#include "task/backup_task.h"
#include "task/engine_text.h"
#include "task/stored_time.h"

using rampart::DebugLine;

namespace {

constexpr int kOnlyDateThread = 2;         // a kind of thread that ends without having been a run
constexpr int kNoFilesMoved = 2;           // the date alone was renewed
constexpr int kCountEventSeconds = 25200;  // 7 hours
constexpr int kDefaultRetryPeriodMinutes = 60;
constexpr int kQuietUpdates = 4;  // so many refreshes of the date, and one more, stay off the server
constexpr int kLeastSecondsBetweenWrites = 180;

// A run that failed may be retried unless this customer has switched that off.
bool IsRetryAllowed() {
    unsigned long value = 0;
    CString const flag = ApiUtil::GetCustomerID() + rampart::DictionaryText(_T("TaskRetryOnceReg"));
    return !GlobalFunction::LoadFlag(flag, value) || value != 0;
}

__int64 RetryPeriodSeconds() {
    CString const option =
        DictUtil::GetConfigString(_T("Options"), _T("FlexEmailTimeMinutes"), _T(""), _T(""));
    __int64 const minutes = option.IsEmpty() ? kDefaultRetryPeriodMinutes : rampart::ReadNumber(option);
    return minutes * rampart::kSecondsOfMinute;
}

// What the end of one run does to the dates and the state of its task.
class RunEnd {
public:
    RunEnd(CBackupTask& task, int result, int moved, BackupThreadType type)
        : m_task(task),
          m_result(result),
          m_hasLookedAtFiles(moved != kNoFilesMoved),
          m_isDateThread(static_cast<int>(type) == kOnlyDateThread),
          m_isFullRun(type == BACKUP_THREAD_FULL),
          m_mode(rampart::ScheduleMode(task.m_type)),
          m_mayRetry(IsRetryAllowed()),
          m_now(rampart::StoredNow()) {}

    void Settle(CBackupManage& manager) {
        if (m_mode == TaskTypeRealTime) {
            SettleRetryPeriod(manager);
        }
        CTime const now = rampart::StoredNow();
        CTime const lastRun = m_hasLookedAtFiles ? now : m_task.LastRun();
        m_task.m_backupDate = now;
        m_task.KeepLastRun(lastRun);
        if (m_task.m_errorOccured != 0) {
            SettleFailure();
        } else {
            SettleSuccess();
        }
    }

    // Whether what came in during the run may be worked off at once.
    bool IsGood() const {
        return m_task.m_errorOccured == 0 && m_result != rampart::kCancelled && m_result != rampart::kNoSpace;
    }

private:
    bool RepeatsByDate() const { return m_mode == TaskTypeDaily || m_mode == TaskTypeWeekly; }

    // A failure that lasts for the whole period counts as one; before that the retries are quiet.
    void SettleRetryPeriod(CBackupManage& manager) {
        if (m_now > m_task.m_nextCountEventDate) {
            m_task.m_nextCountEventDate =
                rampart::ToStored(rampart::RawNow() + CTimeSpan(kCountEventSeconds));
            manager.RecordErr(&m_task,
                              rampart::DictionaryFormat(_T("TaskUploadFileCountMsg"), m_task.m_taskName,
                                                        m_task.m_reportUploadedCount.Get()),
                              EVENT_INFO);
        }
        if (m_task.m_retryScheduled == 0) {
            m_task.m_lastRetryDate = m_now;
            return;
        }
        if (m_now >= m_task.m_lastRetryDate.Get() + CTimeSpan(RetryPeriodSeconds())) {
            m_task.m_retryScheduled = 0;
            m_task.m_lastRetryDate = m_now;
            if (m_task.m_realTimeFailed != 0) {
                m_task.m_errorOccured = 1;
            }
        }
    }

    void ScheduleRetry() {
        int const interval =
            DictUtil::GetConfigInt(_T("Options"), _T("errorRetryInterval"), _T("240"), _T(""));
        m_task.m_errorRetryFactor = 1;
        __int64 const minutes = static_cast<__int64>(interval) * m_task.m_errorRetryFactor;
        m_task.m_resumeDate =
            rampart::ToStored(rampart::RawNow() + CTimeSpan(minutes * rampart::kSecondsOfMinute));
        m_task.m_isResume = 1;
        m_task.m_retryScheduled = 1;
    }

    void SettleFailure() {
        m_task.m_isResume = 0;
        m_task.m_errorRetryFactor = 0;
        if (m_result == rampart::kCancelled) {
            m_task.m_state = TaskStateCanceled;
            if (!m_isDateThread) {
                m_task.m_realTimeFailed = 0;
            }
        } else {
            m_task.m_state = TaskStateFailed;
            if (m_mode == TaskTypeRealTime) {
                m_task.m_realTimeFailed = 1;
            }
            bool const isFirst = m_task.m_retryScheduled == 0;
            bool const isWanted =
                RepeatsByDate() || ((m_mode == TaskTypeRealTime || m_mode == TaskTypeOnce) && isFirst);
            if (m_mayRetry && isWanted && (isFirst || m_now > m_task.m_dating)) {
                ScheduleRetry();
            }
        }
        if (RepeatsByDate() || m_mode == TaskTypeOnce) {
            m_task.SetNextDating();
        }
    }

    void SettleSuccess() {
        if (!m_isDateThread) {
            m_task.m_isResume = 0;
            m_task.m_errorRetryFactor = 0;
            if (m_isFullRun) {
                m_task.m_realTimeFailed = 0;
            }
        }
        bool const hasFailedFiles = m_task.m_hadFileFailure != 0 && m_result != rampart::kCancelled;
        bool isScheduled = false;
        if (hasFailedFiles && RepeatsByDate()) {
            if (m_task.m_failureRetryTried == 0 && m_mayRetry && m_task.m_retryScheduled == 0) {
                ScheduleRetry();
                isScheduled = true;
            } else {
                m_task.m_isResume = 0;
            }
        } else {
            m_task.m_failureRetryTried = 0;
        }
        if (RepeatsByDate()) {
            if (m_now > m_task.m_dating) {
                if (hasFailedFiles && m_mayRetry && !isScheduled) {
                    ScheduleRetry();
                }
                m_task.m_failureRetryTried = 0;
            }
            m_task.SetNextDating();
        } else if (m_mode == TaskTypeOnce && m_result == rampart::kCancelled) {
            m_task.SetNextDating();
        }
        if (m_result == 0) {
            m_task.m_taskChanged = 1;
            m_task.m_state = TaskStateFinished;
            m_task.AddSuccessEmailLog();
        } else {
            m_task.m_state = TaskStateCanceled;
        }
    }

    CBackupTask& m_task;
    int const m_result;
    bool const m_hasLookedAtFiles;
    bool const m_isDateThread;
    bool const m_isFullRun;
    int const m_mode;
    bool const m_mayRetry;
    CTime const m_now;
};

// A real-time task that only refreshes its date reaches the server on one of some such runs.
bool IsWriteWanted(CBackupTask& task) {
    if (task.m_onlyUpdateBackupDate == 0) {
        task.m_onlyUpdateCount = 0;
        return true;
    }
    task.m_onlyUpdateBackupDate = 0;
    if (task.m_onlyUpdateCount <= kQuietUpdates) {
        ++task.m_onlyUpdateCount;
        return false;
    }
    task.m_onlyUpdateCount = 1;
    return true;
}

}  // namespace

void CBackupManage::DoneTask(CBackupTask* task, int result, int moved, BackupThreadType type) {
    rampart::Guarded(_T("Error: DoneTask"), [&] {
        if (theVaultLibApp.m_pMainWnd != nullptr) {
            theVaultLibApp.m_pMainWnd->RefreshUsageAlertString(1);
        }
        task->CalculateSize();
        if (task->m_errorOccured != 0) {
            AddErrTask(task);
        }
        CTime const lastBackup = task->m_backupDate;
        task->m_actionsPending = task->m_actionList.HaveAction() ? 1 : 0;
        RunEnd end(*task, result, moved, type);
        end.Settle(*this);
        bool const isWriteWanted = IsWriteWanted(*task);
        ManageMultipleRunningTask* const registry = ManageMultipleRunningTask::GetInstance();
        if (CTaskPrgClass* const progress = registry->GetTaskPrgClass(task->m_taskName)) {
            progress->SetState(ProgressStateFinishing);
        }
        m_taskListChanged = 1;
        if (task->m_scheduleEnabled == 0) {
            task->m_state = TaskStateDisabled;
        }
        if (isWriteWanted && lastBackup + CTimeSpan(kLeastSecondsBetweenWrites) <= rampart::StoredNow()) {
            rampart::Guarded(_T("Error:DoneTask"), [&] {
                int const code =
                    AddOrEditTaskToDatabase(task, _T("Edit"), _T("0"), task->m_taskName, _T("1"));
                if (code != 0) {
                    DebugLine(rampart::FormatText(_T("Task: done task ret- %d"), code));
                }
            });
        }
        constexpr int kKeptState = 6;
        if (task->m_state != TaskStateCanceled && task->m_state != TaskStateFailed &&
            task->m_state != kKeptState && task->m_scheduleEnabled != 0) {
            task->m_state = TaskStateFinished;
        }
        SetWorkingFile(_T(""), _T(""));
        if (task->m_actionList.HaveAction()) {
            if (end.IsGood()) {
                task->StartBackupByUser(1);
            }
            task->m_pendingChange = 0;
        } else if (task->m_pendingChange != 0) {
            if (end.IsGood()) {
                AddTaskToWaitlist(task, 1);
            }
            task->m_pendingChange = 0;
        }
        RefreshTaskInfo(task, 0);
    });
}
