// The spine of a run: the start checks, and what follows when it has ended.
#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "manager/error_box.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "storage/service_code.h"
#include "task/backup_task.h"
#include "task/stored_time.h"

using rampart::DebugLine;
using rampart::DictionaryFormat;
using rampart::DictionaryText;

namespace {

constexpr int kNetworkRetrySeconds = 20;
constexpr unsigned long kErrorBoxSeconds = 60;
constexpr int kNoFilesMoved = 2;

int Refuse(CBackupTask& task, CString const& text) {
    task.m_manualStartErrorMsg = text;
    DebugLine(text);
    return 0;
}

bool IsStoppingOrPaused(CBackupTask const& task) {
    return task.m_pTaskPrg != nullptr && (task.m_pTaskPrg->IsPaused() || task.m_pTaskPrg->IsStopping());
}

// Whether a start is allowed, and then the task has its place in the registry; otherwise it has been refused.
bool TakeStart(CBackupTask& task) {
    if (task.m_isDeleting != 0) {
        return Refuse(task, DictionaryFormat(_T("TaskIsDeleting"), task.m_taskName));
    }
    if (IsStoppingOrPaused(task)) {
        return Refuse(task, DictionaryFormat(_T("TaskIsStopping"), task.m_taskName));
    }
    if (task.m_state == TaskStateDisabled) {
        DebugLine(_T("Task:") + task.m_taskName + _T(" disable."));
        return false;
    }
    ManageMultipleRunningTask* const registry = ManageMultipleRunningTask::GetInstance();
    if (!registry->TakePlace(&task)) {
        return Refuse(task, DictionaryFormat(_T("IDS_STRTASKWORKING"), registry->GetWorkingTaskName()));
    }
    return true;
}

AFX_THREADPROC ThreadOf(CBackupTask& task) {
    // Queued changes of a real-time task are covered by a full run, which compares everything.
    if (task.m_actionList.HaveAction() && task.m_backupDate > rampart::FirstBackupMark()) {
        task.m_actionList.RemoveAllActions();
        return &BackupThread;
    }
    return task.m_onlyUpdateBackupDate != 0 ? &OnlyUpdateRealTaskBackupDateThread : &BackupThread;
}

void LeaveRegistry(CBackupTask& task) {
    task.m_pBackupThread = nullptr;
    ManageMultipleRunningTask* const registry = ManageMultipleRunningTask::GetInstance();
    if (registry->IsWorking(&task)) {
        registry->RemoveWorkingTaskFromVector(&task);
    }
}

// A start that comes to no thread leaves no run behind: the place is free again and the task has failed.
class Launch {
public:
    explicit Launch(CBackupTask& task) : m_task(task) {}
    ~Launch() {
        if (!m_hasThread) {
            m_task.m_errorOccured = 1;
            m_task.m_state = TaskStateFailed;
            LeaveRegistry(m_task);
        }
    }
    Launch(Launch const&) = delete;
    Launch& operator=(Launch const&) = delete;
    void HasThread() { m_hasThread = true; }

private:
    CBackupTask& m_task;
    bool m_hasThread = false;
};

CTime MidnightOf(CTime const& stored) {
    return CTime(stored.GetYear(), stored.GetMonth(), stored.GetDay(), 0, 0, 0);
}

}  // namespace

int CBackupTask::StartBackup(int, int lockWaitlist) {
    return rampart::Guarded(_T("Error:StartBackup"), 0, [&] {
        if (!TakeStart(*this)) {
            return 0;
        }
        Launch launch(*this);
        if (CBackupManage* const manager = theVaultLibApp.m_pBackupManage) {
            manager->SetWorkingTask(this);
            if (lockWaitlist != 0) {
                manager->RemoveTaskFromWaitlist(this);
            } else {
                manager->RemoveTaskFromWaitlistNoLock(this);
            }
            m_state = TaskStateRunning;
            manager->SetWorkingFile(_T(""), _T(""));
        } else {
            m_state = TaskStateRunning;
        }
        m_errorOccured = 0;
        m_pTaskPrg->ShowPrg();
        m_pTaskPrg->EmptyData();
        m_pTaskPrg->m_bCancel = 0;
        rampart::ResetEvent(m_pTaskPrg->m_hCancelEvent);  // of a cancel that nobody waited for
        __int64 const now = rampart::StoredNow().GetTime();
        m_lastRunDate = CTime(now - now % rampart::kSecondsOfMinute);
        SetErrorBackupCount(0);
        // Suspended until both pointers to it stand: the run clears them when it ends.
        CWinThread* const thread =
            AfxBeginThread(ThreadOf(*this), this, rampart::kBelowNormal, 0, CWinThread::kCreateSuspended);
        m_pBackupThread = thread;
        m_runThread = thread != nullptr ? thread->m_hThread : nullptr;
        m_pTaskPrg->SetWorker(thread);
        if (thread != nullptr) {
            launch.HasThread();
            thread->ResumeThread();
        }
        return 1;
    });
}

int CBackupTask::StartBackupByUser(int fromMonitor) {
    return rampart::Guarded(_T("Error:StartBackupByUser"), 0, [&] {
        CBackupManage* const manager = theVaultLibApp.m_pBackupManage;
        m_manualStartErrorMsg = _T("");
        if (IsStoppingOrPaused(*this)) {
            return Refuse(*this, DictionaryFormat(_T("TaskIsStopping"), m_taskName));
        }
        if (m_isDeleting != 0) {
            return Refuse(*this, DictionaryFormat(_T("TaskIsDeleting"), m_taskName));
        }
        CTime const now = rampart::StoredNow();
        if (MidnightOf(now) < MidnightOf(m_beginDate) || now > m_endDate) {
            if (fromMonitor != 0) {
                StopHook();
            }
            m_manualStartErrorMsg = DictionaryFormat(_T("TaskInvalidTime"), m_taskName);
            rampart::RecordEvent(this, m_manualStartErrorMsg, EVENT_WARNING);
            return 0;
        }
        if (fromMonitor == 0) {
            if (manager != nullptr &&
                !ManageMultipleRunningTask::GetInstance()->IsAllowToAddWorkingTask(this)) {
                manager->AddTaskToWaitlist(this, 0);
            }
            m_actionList.RemoveAllActions();
            m_networkRetryArmed = 1;
            return StartBackup(1, 1);
        }
        __int64 const delay =
            manager != nullptr ? static_cast<__int64>(manager->GetRealTimeDelaySeconds()) : 0;
        if (m_isResume != 0 && m_resumeDate >= now && m_resumeDate <= now + CTimeSpan(delay)) {
            m_manualStartErrorMsg = DictionaryText(_T("ResumeTaskMsg"));
            rampart::RecordEvent(this, m_manualStartErrorMsg, EVENT_WARNING);
            return 0;
        }
        m_actionsPending = 1;
        return 0;
    });
}

namespace {

void AskAboutFailure(CBackupTask& task) {
    if (!rampart::g_isErrorBoxOpen.Replace(0, 1)) {
        return;
    }
    int answer = 0;
    rampart::Guarded(_T("Error: FinishBackupThread"), 0, [&] {
        answer = GlobalFunction::QuilMessageBox(DictionaryFormat(_T("IDS_STRERRBACKUP"), task.m_taskName),
                                                rampart::kBoxYesNo, kErrorBoxSeconds, 0);
        return 1;
    });
    rampart::g_isErrorBoxOpen = 0;
    if (answer == rampart::kAnswerYes && theVaultLibApp.m_pBackupManage != nullptr) {
        theVaultLibApp.m_pBackupManage->ViewErrLog();
    }
}

// The task has left the registry: the thread may be that of its next run already, with its own flags.
void LeaveProgress(CBackupTask& task) {
    if (task.m_pTaskPrg == nullptr) {
        return;
    }
    DWORD const worker = task.m_pTaskPrg->m_pWorker.ThreadId();
    if (worker == 0 || worker == rampart::CurrentThreadId()) {
        task.m_pTaskPrg->LeaveRun();
        task.m_pTaskPrg->SetStopping(0);
    }
}

void LeaveDisplays(CBackupTask& task) {
    if (theVaultLibApp.m_pBackupManage != nullptr) {
        theVaultLibApp.m_pBackupManage->RefreshTaskInfo(&task, 0);
    }
    if (theVaultLibApp.m_pMainWnd != nullptr) {
        theVaultLibApp.m_pMainWnd->StopTrayAnimation();
    }
}

template <typename Body>
void FinishStep(Body const& body) {
    rampart::Guarded(_T("Error: FinishBackupThread"), 0, [&] {
        body();
        return 1;
    });
}

}  // namespace

int CBackupTask::FinishBackupThread(__int64& result, BackupThreadType type) {
    CBackupManage* const manager = theVaultLibApp.m_pBackupManage;
    FinishStep([&] {
        if (rampart::IsCancelled(m_pTaskPrg)) {
            result = rampart::kCancelled;
        }
    });
    int const finalResult = static_cast<int>(result);
    FinishStep([&] {
        if (manager != nullptr) {
            manager->DoneTask(this, finalResult, 1, type);
        }
    });
    FinishStep([&] {
        if (manager != nullptr) {
            manager->SendLogByEmail(this, GetRunErrorText(), finalResult);
        }
    });
    FinishStep([&] {
        if (m_pTaskPrg != nullptr && theVaultLibApp.m_pMainWnd != nullptr &&
            theVaultLibApp.m_pMainWnd->IsVisible() && m_state == TaskStateFailed &&
            result != rampart::kCancelled && result != rampart::kNoSpace) {
            AskAboutFailure(*this);
        }
    });
    FinishStep([&] {
        if (m_pTaskPrg != nullptr && result != rampart::kCancelled) {
            m_pTaskPrg->EndCurrent();
        }
    });
    // What is told of this run, and when it is tried again, is settled before the next one may begin.
    bool const isGood = m_errorOccured == 0 && result != rampart::kCancelled;
    FinishStep([&] {
        if (m_networkRetryCount > 0) {
            m_networkRetryDate = rampart::StoredNow() + CTimeSpan(kNetworkRetrySeconds);
        }
    });
    FinishStep([&] {
        LeaveRegistry(*this);
        LeaveDisplays(*this);
    });
    FinishStep([&] {
        DebugLine(_T("Start done task:") + m_taskName);
        if (manager != nullptr) {
            manager->SetDoneTask(m_taskName);
        }
        DebugLine(_T("Finish done task:") + m_taskName);
    });
    FinishStep([&] {
        if (isGood) {
            rampart::RecordEvent(this, DictionaryText(_T("EventLogFinish")), EVENT_INFO);
        }
    });
    FinishStep([&] { LeaveProgress(*this); });
    DebugLine(_T("FinishBackupThread - end"));
    return finalResult;
}

unsigned int OnlyUpdateRealTaskBackupDateThread(void* data) {
    if (data == nullptr) {
        return 0;
    }
    auto& task = *static_cast<CBackupTask*>(data);
    CMainWnd* const window = theVaultLibApp.m_pMainWnd;
    if (window != nullptr) {
        window->StartTrayAnimation();
    }
    rampart::Guarded(_T("Error: OnlyUpdateRealTaskBackupDateThread"), 0, [&] {
        task.InitProgressBar();
        task.m_pTaskPrg->SetState(ProgressStateSearching);
        if (theVaultLibApp.m_pBackupManage != nullptr) {
            theVaultLibApp.m_pBackupManage->DoneTask(&task, 0, kNoFilesMoved, BACKUP_THREAD_FULL);
        }
        task.m_pTaskPrg->EndCurrent();
        return 1;
    });
    if (window != nullptr) {
        window->StopTrayAnimation();
    }
    LeaveRegistry(task);
    LeaveProgress(task);
    return 0;
}
