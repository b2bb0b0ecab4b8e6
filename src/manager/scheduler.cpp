// The passes that a host repeats: which tasks are due, which of those that wait may start, and what was
// missed while nobody looked.
#include "engine/vaultlib_app.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "progress/task_prg.h"
#include "task/backup_task.h"
#include "task/engine_text.h"
#include "task/schedule_calendar.h"
#include "task/stored_time.h"

using rampart::DebugLine;
using rampart::kDaySeconds;
using rampart::kWeekSeconds;

namespace {

// One pass at a time for the library. An application that ends in the middle of a pass leaves it set.
rampart::Word<int32_t> s_scheduling = 0;

// Ends the pass unless the application is going down.
class SchedulingPass {
public:
    ~SchedulingPass() {
        if (!m_isAbandoned) {
            s_scheduling = 0;
        }
    }
    void Abandon() { m_isAbandoned = true; }

private:
    bool m_isAbandoned = false;
};

ManageMultipleRunningTask& Registry() {
    return *ManageMultipleRunningTask::GetInstance();
}

// The folder of a network source is tried where the task is queued; the run itself reports what it finds.
void TryNetworkFolder(CString const& folder, TCHAR const* complaint) {
    unsigned long error = 0;
    if (!KXFolder::ConnectUNC(folder, error)) {
        DebugLine(_T("Path: ") + CString(complaint) + folder +
                  _T("Please make sure the service logon account can access the network path. ") +
                  GetLastErrorMsg());
    }
}

bool IsMine(CBackupTask const& task, uint32_t machine) {
    return task.m_pcID == machine;
}

bool IsDated(CBackupTask const& task) {
    return rampart::ScheduleMode(task.m_type) != TaskTypeRealTime;
}

bool IsInWindow(CBackupTask const& task, CTime const& now) {
    return rampart::LiesWithin(now, task.m_beginDate, task.m_endDate);
}

bool IsOnceDone(CBackupTask const& task) {
    return rampart::IsOnceDone({rampart::ScheduleMode(task.m_type), task.m_beginDate, task.m_endDate,
                                task.m_dating, task.m_backupDate});
}

// Whether the run that should have followed the last one has not come.
bool IsRunMissed(CBackupTask const& task, CTime const& now) {
    CTime const backup = task.m_backupDate;
    CTime const base = backup > rampart::FirstBackupMark() ? backup : task.m_serverNextDate.Get();
    int const mode = rampart::ScheduleMode(task.m_type);
    CTime const dating = task.m_dating;
    CTime next(now.GetYear(), now.GetMonth(), now.GetDay(), dating.GetHour(), dating.GetMinute(), 0);
    CTimeSpan period(kDaySeconds);
    switch (mode) {
        case TaskTypeDaily:
        case TaskTypeOnce:
            break;
        case TaskTypeWeekly: {
            constexpr int kWeekDays = 7;
            period = CTimeSpan(kWeekSeconds);
            int const span = (dating.GetDayOfWeek() - next.GetDayOfWeek() + kWeekDays) % kWeekDays;
            next += CTimeSpan(span * kDaySeconds);
            break;
        }
        default:
            return false;
    }
    if (next < now) {
        next += period;
    }
    return next > base + period;
}

}  // namespace

void CBackupManage::DoScheduleTask() {
    if (rampart::IsAppEnding()) {
        return;
    }
    if (!s_scheduling.Replace(0, 1)) {
        DebugLine(_T("Manage: Tasks are being scheduled."));
        return;
    }
    SchedulingPass pass;
    CKorvaneAutoLock const lock(&m_taskLock, _T("DoScheduleTask"), 1);
    bool isGoingOn = rampart::Guarded(_T("Error: DoScheduleTask()."), false, [&] {
        if (!QueueDueTasks()) {
            pass.Abandon();
            return false;
        }
        return !m_waitList.IsEmpty();
    });
    if (isGoingOn) {
        rampart::Guarded(_T("Error: DoScheduleTask"), [&] {
            if (!StartQueuedTasks()) {
                pass.Abandon();
            }
        });
    }
}

// False when the application is going down. m_taskLock is held.
bool CBackupManage::QueueDueTasks() {
    CReadSync const read(m_taskListSync);
    for (CBackupTask* const task : m_taskList) {
        if (rampart::IsAppEnding()) {
            return false;
        }
        if ((task->m_pTaskPrg != nullptr && task->m_pTaskPrg->IsStopping()) ||
            m_waitList.Find(task) != nullptr || Registry().FindWorkingTask(task) || !task->NowDating()) {
            continue;
        }
        m_waitList.AddTail(task);
        if (!Registry().FindWorkingTask(task)) {
            task->m_state = TaskStateWaiting;
            task->m_errorOccured = 0;
        }
        RefreshTaskInfo(task, 1);
    }
    return true;
}

// Nonzero if a run may begin as far as the network is concerned.
bool CBackupManage::IsNetworkThere() {
    bool const isAsked = m_checkNetworkBeforeRun != 0 &&
                         (m_pScheduleThread == nullptr ||
                          MyWaitForSingleObject(m_pScheduleThread->m_hThread, 0) != rampart::kWaitTimedOut);
    if (!isAsked) {
        return true;
    }
    DebugLine(_T("DoScheduleTask-DetectConnect"));
    if (ApiUtil::DetectConnect(0)) {
        return true;
    }
    DebugLine(_T("Manage: Cannot run scheduled task due to network unavailable."));
    return false;
}

// False when the application is going down. m_taskLock is held.
bool CBackupManage::StartQueuedTasks() {
    for (void* const entry : std::vector<void*>(m_waitList.begin(), m_waitList.end())) {
        if (rampart::IsAppEnding()) {
            return false;
        }
        auto* const task = static_cast<CBackupTask*>(entry);
        if (m_waitList.Find(task) == nullptr || !Registry().IsAllowToAddWorkingTask(task)) {
            continue;
        }
        if (!IsNetworkThere()) {
            return true;
        }
        bool const isCancelledLately = task->m_state == TaskStateCanceled &&
                                       task->m_lastRunDate > rampart::RawNow() - CTimeSpan(kDaySeconds);
        if (task->m_errorOccured != 0 || isCancelledLately) {
            RemoveTaskFromWaitlistNoLock(task);
        } else if (task->StartBackup(0, 0)) {
            RefreshTaskInfo(task, 0);
        }
    }
    return true;
}

int CBackupManage::ConnectLoopNetwork() {
    return rampart::Guarded(_T("Error:ConnectLoopNetwork"), 0, [&] {
        DebugLine(_T("ConnectLoopNetwork-DetectConnect"));
        if (ApiUtil::DetectConnect(1)) {
            return 1;
        }
        {
            CKorvaneAutoLock const lock(&m_taskLock, _T("RetryConnectNetwork"), 1);
            for (void* const task : m_waitList) {
                static_cast<CBackupTask*>(task)->m_state = TaskStateReady;
            }
            m_waitList.RemoveAll();
        }
        RefreshTaskInfo(nullptr, 1);
        return 0;
    });
}

// A share that is away may take long to say so: the folders are tried while no lock is held.
void CBackupManage::SyncRealTimeTask() {
    rampart::Guarded(_T("Error: SyncRealTimeTask"), [&] {
        CTime const now = rampart::StoredNow();
        auto isMeant = [&](CBackupTask const& task) {
            return IsMine(task, m_myID) && !IsDated(task) && IsInWindow(task, now) &&
                   task.m_scheduleEnabled != 0;
        };
        std::vector<CString> folders;
        {
            CKorvaneAutoLock const lock(&m_taskLock, _T("SyncRealTimeTask"), 1);
            CReadSync const read(m_taskListSync);
            for (CBackupTask* const task : m_taskList) {
                if (isMeant(*task) && m_waitList.Find(task) == nullptr) {
                    folders.push_back(task->GetTopFolder());
                }
            }
        }
        for (CString const& folder : folders) {
            TryNetworkFolder(folder, _T("Fail to connect network path: "));
        }
        CKorvaneAutoLock const lock(&m_taskLock, _T("SyncRealTimeTask"), 1);
        CReadSync const read(m_taskListSync);
        for (CBackupTask* const task : m_taskList) {
            if (!isMeant(*task)) {
                continue;
            }
            if (AddTaskToWaitlist(task, 1)) {
                RefreshTaskInfo(task, 1);
            }
            task->StartHook();
        }
    });
}

void CBackupManage::SyncScheduleTask() {
    if (m_skipMissedTask != 0) {
        return;
    }
    rampart::Guarded(_T("Error: SyncScheduleTask"), [&] {
        CTime const now = rampart::StoredNow();
        auto isMeant = [&](CBackupTask const& task) {
            return IsMine(task, m_myID) && IsDated(task) && IsInWindow(task, now);
        };
        std::vector<CString> folders;
        {
            CReadSync const read(m_taskListSync);
            for (CBackupTask* const task : m_taskList) {
                if (isMeant(*task)) {
                    folders.push_back(task->GetTopFolder());
                }
            }
        }
        for (CString const& folder : folders) {
            TryNetworkFolder(folder, _T("In SyncScheduleTask, Fail to connect network path: "));
        }
        CKorvaneAutoLock const lock(&m_taskLock, _T("SyncScheduleTask"), 1);
        CReadSync const read(m_taskListSync);
        CTime const resume = now + CTimeSpan(m_missedTaskDelay);
        for (CBackupTask* const task : m_taskList) {
            // The dates of a running task belong to its run.
            if (Registry().FindWorkingTask(task) || m_waitList.Find(task) != nullptr || !isMeant(*task) ||
                IsOnceDone(*task) || !IsRunMissed(*task, now)) {
                continue;
            }
            if (task->m_isResume == 0 || resume < task->m_resumeDate) {
                task->m_resumeDate = resume;
            }
            task->m_isResume = 1;
        }
    });
}

void CBackupManage::DoScheduleNextTime() {
    DebugLine(_T("enter - DoScheduleNextTime"));
    if (m_skipMissedTask == 0) {
        return;
    }
    DebugLine(_T("start - DoScheduleNextTime"));
    rampart::Guarded(_T("Error: DoScheduleNextTime"), [&] {
        CReadSync const read(m_taskListSync);
        for (CBackupTask* const task : m_taskList) {
            // The dates of a running task belong to its run, whose end moves them.
            if (!Registry().FindWorkingTask(task)) {
                DoScheduleNextTimeWithTask(task);
            }
        }
    });
    DebugLine(_T("finish - DoScheduleNextTime"));
}

std::vector<CString> CBackupManage::BringBackDates() {
    std::vector<CString> moved;
    rampart::Guarded(_T("Error: BringBackDates"), [&] {
        CKorvaneAutoLock const lock(&m_taskLock, _T("BringBackDates"), 1);
        CReadSync const read(m_taskListSync);
        for (CBackupTask* const task : m_taskList) {
            // The dates of a running task belong to its run.
            if (!IsMine(*task, m_myID) || task->m_scheduleEnabled == 0 || Registry().FindWorkingTask(task)) {
                continue;
            }
            CTime const before = task->m_dating;
            if (task->BringBackDates()) {
                moved.push_back(task->m_taskName);
                RecordErr(task,
                          rampart::DictionaryFormat(_T("TaskDateBroughtBack"), task->m_taskName,
                                                    TimeUtil::TimeToStr(rampart::ToRaw(before)),
                                                    TimeUtil::TimeToStr(rampart::ToRaw(task->m_dating))),
                          EVENT_WARNING);
            }
        }
    });
    return moved;
}

void CBackupManage::DoScheduleNextTimeWithTask(CBackupTask* task) {
    DebugLine(_T("enter - DoScheduleNextTimeWithTask"));
    if (task == nullptr || m_skipMissedTask == 0) {
        return;
    }
    rampart::Guarded(_T("Error: DoScheduleNextTimeWithTask"), [&] {
        CTime const now = rampart::RawNow();
        CTime const minute = now - CTimeSpan(now.GetSecond()) - CTimeSpan(rampart::kSecondsOfMinute);
        if (IsMine(*task, m_myID) && IsDated(*task)) {
            SkipMissedRuns(*task, minute);
        }
    });
    DebugLine(_T("finish - DoScheduleNextTimeWithTask"));
}

// `minute` is the raw time up to which runs count as missed.
void CBackupManage::SkipMissedRuns(CBackupTask& task, CTime const& minute) {
    CTime const dating = rampart::ToRaw(task.m_dating);
    CTime const meant = task.MeantTime();
    DebugLine(task.m_taskName + _T(" currTime: ") + TimeUtil::TimeToStr(minute));
    int const mode = rampart::ScheduleMode(task.m_type);
    if (mode == TaskTypeDaily) {
        CTime next = rampart::AtTimeOfDay(minute, meant);
        DebugLine(task.m_taskName + _T(" createLocalTime:") + TimeUtil::TimeToStr(next));
        if (minute > next) {
            next = rampart::DaysAfter(next, 1);
        }
        task.MoveDating(next, meant);
        DebugLine(task.m_taskName + _T(" m_dating: ") + TimeUtil::TimeToStr(task.m_dating));
        return;
    }
    if (mode != TaskTypeWeekly || minute <= dating) {
        return;
    }
    bool const isTimePast = minute.GetHour() > meant.GetHour() ||
                            (minute.GetHour() == meant.GetHour() && minute.GetMinute() > meant.GetMinute());
    if (!isTimePast) {
        CTime const today = rampart::AtTimeOfDay(minute, meant);
        DebugLine(task.m_taskName + _T(" createLocalTime:") + TimeUtil::TimeToStr(today));
        if (today.GetDayOfWeek() == dating.GetDayOfWeek()) {
            task.MoveDating(today, meant);
            DebugLine(task.m_taskName + _T(" m_dating:") + TimeUtil::TimeToStr(task.m_dating));
            return;
        }
    }
    task.SetNextDating();
}
