// The full run of one task, stage by stage.
#include <algorithm>
#include <optional>

#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "interfaces/vault_admin.h"
#include "manager/backup_manage.h"
#include "paths/copy_folder.h"
#include "paths/global_function.h"
#include "paths/path_manage.h"
#include "platform/clock.h"
#include "progress/task_prg.h"
#include "run/copy_cache.h"
#include "run/moved_content.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "run/server_match.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

using rampart::DebugLine;
using rampart::DictionaryText;

namespace {

constexpr uint32_t kJoinWorkersMs = 2;
constexpr uint32_t kJoinCopyMs = 1;

}  // namespace

namespace rampart {

// One run of a task and what its stages share. A stage that answers false ends the run.
class FullRun {
public:
    explicit FullRun(CBackupTask& task) : m_task(task) {}

    // False when the task has nowhere to store its files: the thread then ends at once, with no end of the
    // run.
    bool Begin();
    void Stages();
    // What the run did not come to stands on the ledger, with the code that ended it: each path of the list
    // for itself, the files of a folder that could not be made too. Not after an end that the user wished.
    void NoteRest();
    __int64& Result() { return m_result; }

private:
    bool Connect();
    bool Scan();
    bool EnterFiles();
    bool MakeTargetFolder();
    void Upload();
    void SendRecordChanges();
    void UploadInSequence();
    void JoinWorkers();
    void UploadThroughCache();
    void JoinCopyThread();
    void NoteRest(CStringList const& paths);
    CTaskPrgClass& Progress() { return *m_task.m_pTaskPrg; }

    CBackupTask& m_task;
    __int64 m_result = rampart::kOk;
    CStringList m_list{100};
    CString m_topFolder;
    __int64 m_need = 0;
    __int64 m_total = 0;
    __int64 m_scanTime = 0;  // nanoseconds since 1970 UTC
};

bool FullRun::Begin() {
    rampart::RecordEvent(&m_task, DictionaryText(_T("EventLogStart")), EVENT_INFO);
    DebugLine(_T("------Task:BackupThread------"));
    CString line = _T("TaskName:") + m_task.m_taskName;
    if (m_task.IsEmailBackup()) {
        line += _T(". EmailTask:Email Task. ");
    }
    DebugLine(line + _T(" TaskType:") + GlobalFunction::GetTaskStyType(rampart::ScheduleMode(m_task.m_type)));
    if (theVaultLibApp.m_pBackupManage != nullptr) {
        theVaultLibApp.m_pBackupManage->SetScanDivideBatchIndex(0);
    }
    CPathManage::SetVaultFolder(VaultAdmin::Folder());
    CPathManage::RestoreUIFilterToVector(m_task.m_filterExList);
    CPathManage::RestoreUIFiltedPathToVector(m_task.m_filtedPathList);
    if (m_task.m_serverFilePath.IsEmpty()) {
        DebugLine(_T("BackupThread-- server path is empty"));
        return false;
    }
    if (theVaultLibApp.m_pMainWnd != nullptr) {
        theVaultLibApp.m_pMainWnd->StartTrayAnimation();
    }
    m_topFolder = rampart::WithoutTrailingBackslash(m_task.GetTopFolder());
    m_task.InitProgressBar();
    m_task.ClearRunError();
    m_task.m_hadFileFailure = 0;
    m_task.m_roomRefused = 0;
    // Workers that outlived an earlier run: their count is that of a new run from here.
    while (m_task.GetRunningUploadCount() > 0) {
        rampart::platform::SleepMilliseconds(kJoinCopyMs);
    }
    m_task.m_isWorkerCut = 0;
    m_task.ResetCopyThread();
    m_task.SetReCheckSize(1);
    m_task.m_pendingChange = 0;
    return true;
}

void FullRun::Stages() {
    if (m_task.IsEmailBackup()) {
        m_result = rampart::kSkipped;
        rampart::FailRun(&m_task, DictionaryText(_T("EmailTaskNotSupported")));
        return;
    }
    if (!Connect() || !Scan()) {
        return;
    }
    __int64 ignored = 0;  // the run goes on whatever was answered; the upload then meets the full account
    __int64 const moved = MovedBytes(m_task.m_recordChanges.Gone(), m_list);
    m_task.CheckAccountSpace(m_need - std::min(moved, std::max<__int64>(0, m_need)), ignored);
    if (EnterFiles() && MakeTargetFolder()) {
        Upload();
        SendRecordChanges();
    }
}

void FullRun::SendRecordChanges() {
    CString message;
    if (m_result == rampart::kConnectionFailed || m_result == rampart::kSessionLost) {
        return;  // told already; the next run finds the same
    }
    if (int const code = m_task.m_recordChanges.Send(m_scanTime, message)) {
        rampart::DebugFormat(_T("BackupThread-- record changes: %d"), code);
        rampart::FailRun(&m_task, DictionaryText(_T("RecordChangesError")) + message);
    }
}

bool FullRun::Connect() {
    unsigned long error = 0;
    if (KXFolder::ConnectUNC(m_topFolder, error)) {
        Progress().SetState(ProgressStateSearching);
        Progress().SetByteSend(0, 0);
        return true;
    }
    CString const start = DictionaryText(_T("NetworkPathError")) + ShownPath(m_topFolder) + _T(" ");
    CString const first = start + DictionaryText(_T("NetworkTipError"));
    m_task.RetryConnectNetworkPath(error, m_topFolder);
    CString const second = start + GetLastErrorMsgEx(error);
    bool const retriesLeft = m_task.m_networkRetryCount >= 1;
    m_task.m_errorOccured = retriesLeft ? 0 : 1;
    if (!retriesLeft) {
        m_result = rampart::kSkipped;
    }
    for (CString const& text : {first, second}) {
        rampart::RecordEvent(&m_task, text, retriesLeft ? EVENT_WARNING : EVENT_ERROR);
    }
    return false;
}

bool FullRun::Scan() {
    DebugLine(_T("BackupThread-- start scan local paths"));
    m_scanTime = rampart::platform::CurrentClock().NowNanoseconds();
    if (!m_task.CalculateBackupFilesSize(m_need, m_total, m_list, m_result)) {
        return false;
    }
    DebugLine(_T("BackupThread-- finish scan local paths"));
    if (m_list.GetCount() > 1) {
        m_task.m_networkRetryCount = 0;  // a scan that found something ends a series of retries
    }
    return true;
}

bool FullRun::EnterFiles() {
    try {
        if (!rampart::IsRunEnding(&Progress())) {
            Progress().InitFileList(m_list);
        }
    } catch (...) {
        m_result = rampart::kUnexpected;
        DebugLine(_T("Unexpected error:  BackupThread--PrepareEmailBackupCacheError"));
        rampart::FailRun(&m_task, DictionaryText(_T("PrepareEmailBackupCacheError")));
        return false;
    }
    if (rampart::IsRunEnding(&Progress())) {
        m_result = rampart::kCancelled;
        return false;
    }
    return true;
}

bool FullRun::MakeTargetFolder() {
    auto make = [&] {
        return rampart::Guarded(_T("Error:CreateSrvFolder"), 1, [&] {
            return GlobalFunction::CreateSrvFolder(m_task.m_serverFilePath, m_task.m_description,
                                                   m_task.m_taskName, &m_result);
        });
    };
    bool const isMade = make() != 0;
    // Not among the codes that CreateSrvFolder takes for a failure; the run ends without a word.
    if (m_result == rampart::kSecondFactorNeeded) {
        return false;
    }
    if (!isMade && m_result == rampart::kConnectionFailed && (!m_task.CheckNetwork(m_result) || !make())) {
        rampart::FailRun(&m_task, DictionaryText(_T("CreateFolderError")) +
                                      ShownPath(m_task.m_serverFilePath) + _T(": ") +
                                      ApiUtil::GetQuilString(m_result));
        return false;
    }
    if (m_result == rampart::kSecondFactorNeeded) {  // the second try's
        return false;
    }
    m_result = rampart::kOk;
    return true;
}

void FullRun::Upload() {
    if (DictUtil::GetConfigInt(_T("Options"), _T("SupportCopyThread"), _T(""), _T("")) == 1) {
        UploadThroughCache();
        return;
    }
    DebugLine(_T("Backupthread- not support copy thread"));
    UploadInSequence();
}

void FullRun::UploadInSequence() {
    m_task.BeginUploadingData(m_list, 0, m_topFolder, m_result);
    JoinWorkers();
}

// What they end with belongs to the run.
void FullRun::JoinWorkers() {
    while (m_task.GetRunningUploadCount() > 0) {
        rampart::platform::SleepMilliseconds(kJoinWorkersMs);
    }
    if (m_task.m_isWorkerCut != 0) {
        m_result = rampart::kCancelled;
    }
}

void FullRun::UploadThroughCache() {
    m_task.m_copyQueueList.AddHead(&m_list);
    CWinThread* const copyThread = AfxBeginThread(&CopyFileToCacheThread, &m_task, rampart::kBelowNormal, 0,
                                                  CWinThread::kCreateSuspended);
    if (copyThread == nullptr) {
        m_task.m_copyQueueList.RemoveAll();
        UploadInSequence();  // no thread to be had
        return;
    }
    m_list.RemoveAll();  // the thread's own from here on
    Progress().SetCopyWorker(copyThread);
    copyThread->ResumeThread();
    m_task.UploadFilesFromCahce(0, m_topFolder, m_result);
    m_task.SetStopCopyFileToCacheThread(1);
    JoinWorkers();
    JoinCopyThread();
    Progress().SetCopyWorker(nullptr);
    NoteRest(m_task.GetUploadCachePathList());
    m_task.ClearCopyCacheFiles();
    m_task.ClearCopyTempList();
}

void FullRun::JoinCopyThread() {
    // The upload's failure stops a copy in progress without making the run a cancelled one.
    bool borrowed = false;
    while (!m_task.IsFinishCopyFileToCacheThread()) {
        if (m_result != rampart::kOk && !rampart::IsCancelled(&Progress())) {
            Progress().m_bCancel = 1;
            borrowed = true;
        }
        rampart::platform::SleepMilliseconds(kJoinCopyMs);
    }
    if (borrowed && !Progress().IsClickedCancel()) {
        Progress().m_bCancel = 0;
    }
}

void FullRun::NoteRest() {
    NoteRest(m_list);
    NoteRest(m_task.m_copyQueueList);
    m_task.m_copyQueueList.RemoveAll();
}

void FullRun::NoteRest(CStringList const& paths) {
    if (paths.IsEmpty() || m_result == kCancelled || IsRunEnding(&Progress())) {
        return;
    }
    if (m_result == kOk) {  // the copy thread broke off
        m_result = kUnexpected;
        m_task.m_hadFileFailure = 1;  // the task gets its retry
    }
    for (POSITION position = paths.GetHeadPosition(); position != nullptr;) {
        CString const path = paths.GetNext(position);
        // A file in it may have made the folder before, unless nothing was sent at all.
        bool const isMade = m_result != kConnectionFailed && KXFolder::IsDirectory(path) &&
                            FindServerFolder(m_task.GetTargetSvrFolder(path, 0), path);
        if (!isMade) {
            NoteLeftOut(path, m_result);
        }
    }
}

}  // namespace rampart

unsigned int BackupThread(void* data) {
    auto& task = *static_cast<CBackupTask*>(data);
    std::optional<rampart::CopiesInUse> copies(std::in_place);
    rampart::FullRun run(task);
    if (!rampart::Guarded(_T("Error: BackupThread"), true, [&] { return run.Begin(); })) {
        return 0;
    }
    if (!rampart::Guarded(_T("Error: BackupThread"), false, [&] {
            run.Stages();
            return true;
        })) {
        run.Result() = rampart::kUnexpected;
        rampart::FailRun(&task, DictionaryText(_T("UnknownErrorOccuredError")) + GetLastErrorMsg());
    }
    rampart::Guarded(_T("Error: BackupThread"), [&] { run.NoteRest(); });
    rampart::Guarded(_T("Error: BackupThread"), 0, [&] {
        if (task.m_errorOccured == 0 && task.m_pTaskPrg != nullptr &&
            !rampart::IsCancelled(task.m_pTaskPrg) && !task.m_emailCacheFolder.IsEmpty()) {
            KXFolder::DeleteDirectory(task.m_emailCacheFolder, 0);
            DebugLine(_T("Task: empty path-") + task.m_emailCacheFolder);
        }
        rampart::DeleteCopiesOf(task);
        copies.reset();  // before the run counts as over: the process may end then
        return 1;
    });
    if (task.m_pTaskPrg != nullptr) {
        task.m_pTaskPrg->m_bCancel = 0;
    }
    DebugLine(_T("------Task Backup Thread: end thread------"));
    return static_cast<unsigned int>(task.FinishBackupThread(run.Result(), BACKUP_THREAD_FULL));
}
