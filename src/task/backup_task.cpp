// The record: defaults, copy and compare, end of life.
#include "task/backup_task.h"

#include <random>

#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "platform/clock.h"
#include "platform/fnv_hash.h"
#include "platform/process.h"
#include "progress/task_prg.h"
#include "task/machine_name.h"
#include "task/stored_time.h"

namespace {

constexpr __int64 kEntriesASecond = 1000;
constexpr __int64 kMaxStopSeconds = 10000;
constexpr uint32_t kEndPollMs = 50;
constexpr uint32_t kEndTimeoutMs = 20000;
constexpr uint32_t kCutAfterMs = 15000;         // then the connection of a run that is to end is cut
constexpr int kWindowBackSeconds = 2592000;     // 30 days
constexpr int kCountEventDelaySeconds = 25200;  // 7 hours

void FreeSources(std::vector<SourceInfo*>& sources) {
    for (SourceInfo* source : sources) {
        delete source;  // the exported lists hold raw pointers
    }
    sources.clear();
}

void LeaveWaitList(CBackupTask& task, CBackupManage* manager) {
    if (manager != nullptr) {
        manager->RemoveTaskFromWaitlist(&task);
    }
}

// Of the tick and a random number. Tasks of one millisecond, made here or by another program, have ids of
// their own: events and edits go by them.
int32_t NewTaskID() {
    static rampart::Word<uint32_t> s_made = 0;
    uint32_t const tick = rampart::platform::TickCount();
    std::seed_seq seed{tick, rampart::platform::ProcessId(), ++s_made};
    std::mt19937 random(seed);
    return static_cast<int32_t>(static_cast<uint32_t>(random()) - 1u + tick);
}

}  // namespace

CBackupTask::CBackupTask() {
    CTime const never(1971, 1, 1, 0, 0, 0);
    CTime const now = rampart::StoredNow();
    m_backupDate = m_resumeDate = m_lastRunDate = m_modifyTime = never;
    m_beginDate = rampart::ToStored(rampart::RawNow() - CTimeSpan(kWindowBackSeconds));
    m_endDate = CTime(2099, 1, 1, 0, 0, 0);
    m_dating = m_nextEmailDate = m_lastRetryDate = now;
    m_nextCountEventDate = rampart::ToStored(rampart::RawNow() + CTimeSpan(kCountEventDelaySeconds));
    m_serverNextDate = m_networkRetryDate = CTime(0);
    m_lastMonitorTick = rampart::RawNow().GetTime();
    m_taskID = NewTaskID();
    if (CBackupManage const* manager = theVaultLibApp.m_pBackupManage) {
        m_pcID = manager->m_myID;
        m_pcName = manager->m_pcName;
    }
    if (m_pcName.IsEmpty()) {
        m_pcName = rampart::MachineName();
    }
    m_pTaskPrg = new CTaskPrgClass;  // an exported raw pointer; deleted by the destructor
    m_pTaskPrg->SetHostPrg(theVaultLibApp.m_pPrgAttachment);
    m_pTaskPrg->Create();
    m_pTaskPrg->EmptyData();
    m_pTaskPrg->SetTaskName(m_taskName);
}

CBackupTask::~CBackupTask() {
    CBackupManage* const manager = theVaultLibApp.m_pBackupManage;
    // No pass may start it any more; the end of its run may still put it on the wait list.
    m_isDeleting = 1;
    LeaveWaitList(*this, manager);
    EndTask();
    WaitForThreads();
    LeaveWaitList(*this, manager);
    delete m_pTaskPrg;
    m_pTaskPrg = nullptr;
    if (manager != nullptr) {
        for (CBackupTask** pointer :
             {&manager->m_pNewTask, &manager->m_pPrevNewTask, &CBackupManage::s_pRestoreWorkingTask}) {
            if (*pointer == this) {
                *pointer = nullptr;
            }
        }
    }
    delete m_pBatchMode;
    ClearCopyTempList();
    ClearSrcList();
    ClearAddPathList();
    ClearDeletePathList();
}

bool CBackupTask::HasThreads() {
    HANDLE const runThread = m_runThread;
    return (runThread != nullptr && MyWaitForSingleObject(runThread, 0) == rampart::kWaitTimedOut) ||
           GetRunningUploadCount() > 0;
}

void CBackupTask::WaitForThreads() {
    while (HasThreads()) {
        rampart::platform::SleepMilliseconds(kEndPollMs);
    }
}

CBackupTask& CBackupTask::operator=(CBackupTask& other) {
    if (this == &other) {
        return *this;
    }
    ClearTask();
    WaitForThreads();  // a run that has left the registry still names its task
    // A spelling that differs in case only is taken as it is: older versions lie under the name as it is
    // spelled.
    if (m_serverFilePath.CompareNoCase(other.m_serverFilePath) != 0) {
        GlobalFunction::CreateSrvFolder(other.m_serverFilePath, _T(""), _T(""), nullptr);
        ApiUtil::GetServerPathlist().RefreshFolder(other.m_serverFilePath, 1, 1);
    }
    if (CBackupManage* const manager = theVaultLibApp.m_pBackupManage) {
        // Others walk the list meanwhile.
        CKorvaneAutoLock const lock(&manager->m_taskLock, _T("CBackupTask"), 1);
        CWriteSync const write(manager->m_taskListSync);
        TakeSettings(other);
    } else {
        TakeSettings(other);
    }
    KeepMeantTime();
    if (m_type == TaskTypeRealTime) {
        StartHook();
    }
    return *this;
}

void CBackupTask::TakeSettings(CBackupTask& other) {
    m_taskName = other.m_taskName;
    m_description = other.m_description;
    m_type = other.m_type;
    ClearSrcList();
    m_localDirList.swap(other.m_localDirList);
    m_filterExList.RemoveAll();
    m_filterExList.AddTail(&other.m_filterExList);
    m_filtedPathList.RemoveAll();
    m_filtedPathList.AddTail(&other.m_filtedPathList);
    m_serverFilePath = other.m_serverFilePath;
    m_logFilePath = other.m_logFilePath;
    m_backupDate = other.m_backupDate;
    m_pcID = other.m_pcID;
    m_pcName = other.m_pcName;
    m_taskID = other.m_taskID;
    m_isResume = other.m_isResume;
    m_errorOccured = other.m_errorOccured;
    m_state = other.m_state;
    m_encryMode = other.m_encryMode;
    m_beginDate = other.m_beginDate;
    m_endDate = other.m_endDate;
    TakeDating(other);
    m_resumeDate = other.m_resumeDate;
    m_remoteSize = other.m_remoteSize;
    m_pendingChange = 0;
    m_maxVersion = other.m_maxVersion;
    m_modifyTime = other.m_modifyTime;
    m_filterType = other.m_filterType;
    m_nextCountEventDate = other.m_nextCountEventDate;
    m_scheduleEnabled = other.m_scheduleEnabled;
    m_repeatDays = other.m_repeatDays;
}

int CBackupTask::operator==(CBackupTask& other) {
    if (m_taskID != other.m_taskID || m_taskName != other.m_taskName || m_pcID != other.m_pcID ||
        m_description != other.m_description || m_type != other.m_type || m_beginDate != other.m_beginDate ||
        m_endDate != other.m_endDate || m_dating.Get() != other.m_dating ||
        m_modifyTime != other.m_modifyTime || m_encryMode != other.m_encryMode ||
        !IsSameSrcList(other.m_localDirList)) {
        return 0;
    }
    CString const serverLog =
        CBackupManage::GetSvrInfoFolder() + _T("\\") + PathUtilities::GetFileName(m_logFilePath);
    constexpr unsigned int kSame = 1;
    if (GlobalFunction::IsServerLocalSameFile(serverLog, m_logFilePath, 0) == kSame) {
        return 1;
    }
    CString const suffix = _T(".4.0");
    return GlobalFunction::IsServerLocalSameFile(serverLog + suffix, m_logFilePath + suffix, 0) == kSame ? 1
                                                                                                         : 0;
}

void CBackupTask::GetLimitUploadInfo(CString& path, int& flag) {
    path = m_limitUploadMsg;
    flag = m_limitUploadFlag;
}

int CBackupTask::IsEmailBackup() const {
    return m_type >= TaskTypeEmailFlag && m_type < 2 * TaskTypeEmailFlag;
}

void CBackupTask::SetTaskNameToPrgbar(CString const& name) {
    if (m_pTaskPrg != nullptr) {
        m_pTaskPrg->SetTaskName(name);
    }
}

void CBackupTask::ChangeMaxVersion(__int64) {}

CString CBackupTask::IdAndNameMark() const {
    CString lower = m_taskName;
    lower.MakeLower();
    return rampart::FormatText(_T("%d-%08x"), m_taskID, rampart::platform::Fnv32(lower.ToUtf8()));
}

int CBackupTask::IsEncryptionBackup() {
    return rampart::Guarded(_T("Error:IsEncryptionBackup"), 0, [&] {
        CString folder = m_serverFilePath;
        if (folder.Right(1) != _T("\\")) {
            folder += _T("\\");
        }
        return GlobalFunction::IsEncryptionPath(folder);
    });
}

CString CBackupTask::GetStateString() {
    TCHAR const* key = _T("IDS_STRREADY");
    switch (m_state) {
        case TaskStateRunning:
            key = _T("IDS_STRRUNNING");
            break;
        case TaskStateWaiting:
            key = _T("IDS_STRWAITING");
            break;
        case TaskStateCanceled:
            key = _T("IDS_STRCANCELED");
            break;
        case TaskStateFailed:
            key = _T("IDS_STRTASKERR");
            break;
        default:
            break;
    }
    return DictUtil::GetValue(key, _T(""));
}

// A run may hang in a source that does not answer, so nobody waits for it longer than that. One that has left
// the registry is waited for, too: its thread may still use this object.
void CBackupTask::EndTask() {
    StopHook();
    ManageMultipleRunningTask* const registry = ManageMultipleRunningTask::GetInstance();
    DWORD const worker = m_pTaskPrg != nullptr ? m_pTaskPrg->m_pWorker.ThreadId() : 0;
    bool const isOwnRun = worker != 0 && worker == rampart::CurrentThreadId();
    auto isThere = [&] { return registry->IsWorking(this) || (!isOwnRun && HasThreads()); };
    bool const wasWorking = registry->IsWorking(this);
    EndWorkingTask();
    for (uint32_t waited = 0; waited < kEndTimeoutMs && isThere(); waited += kEndPollMs) {
        if (waited == kCutAfterMs && m_pTaskPrg != nullptr) {
            m_pTaskPrg->CancelMe();
            ApiUtil::CloseConnectionByThreadID(worker);
        }
        HANDLE const runThread = m_runThread;
        if (runThread == nullptr || MyWaitForSingleObject(runThread, kEndPollMs) != rampart::kWaitTimedOut) {
            rampart::platform::SleepMilliseconds(kEndPollMs);  // for a worker that it left
        }
    }
    if (registry->IsWorking(this)) {
        rampart::DebugLine(_T("Task: run does not end: ") + m_taskName);
        registry->RemoveWorkingTaskFromVector(this);
    } else if (wasWorking && m_pTaskPrg != nullptr && !HasThreads()) {
        m_pTaskPrg->EndCurrent();
    }
    m_pBackupThread = nullptr;
}

void CBackupTask::EndWorkingTask() {
    ManageMultipleRunningTask::GetInstance()->AskToStop(this);
}

void CBackupTask::ClearTask() {
    rampart::Guarded(_T("Error:ClearTask"), 0, [&] {
        EndTask();
        return 1;
    });
}

__int64 CBackupTask::CalcuteSecondsForUploadTaskToServerDatabase() {
    __int64 const entries =
        static_cast<__int64>(m_localDirList.size()) + m_filterExList.GetCount() + m_filtedPathList.GetCount();
    return std::min(entries / kEntriesASecond, kMaxStopSeconds);
}

CString CBackupTask::GetFirstSrcPath() const {
    if (m_localDirList.empty() || m_localDirList.front() == nullptr) {
        return CString();
    }
    return m_localDirList.front()->path;
}

void CBackupTask::ClearSrcList() {
    FreeSources(m_localDirList);
}

void CBackupTask::ClearAddPathList() {
    FreeSources(m_newPathList);
}

void CBackupTask::ClearDeletePathList() {
    FreeSources(m_deletePathList);
}

CString GlobalFunction::GetTaskStyType(int mode) {
    static constexpr TCHAR const* kKeys[] = {_T("IDS_STRBACKUPTYPE0"), _T("IDS_STRBACKUPTYPE1"),
                                             _T("IDS_STRBACKUPTYPE2"), _T("IDS_STRBACKUPTYPE3")};
    if (mode < TaskTypeRealTime || mode > TaskTypeOnce) {
        return CString();
    }
    return DictUtil::GetValue(kKeys[mode], _T(""));
}
