// The last decision before transfer, for each path that the scan found: same or changed, where to read from,
// which of three ways it goes, and what follows from the service's answer.
#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "paths/path_manage.h"
#include "platform/clock.h"
#include "progress/task_prg.h"
#include "run/copy_cache.h"
#include "run/copy_progress.h"
#include "run/file_compare.h"
#include "run/recovery.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "run/server_folder.h"
#include "run/server_match.h"
#include "run/upload_worker.h"
#include "run/version_names.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

using rampart::DebugLine;

namespace {

constexpr int kMaxRetries = 20;
constexpr int kSpaceRetryPasses = 3;
constexpr __int64 kReadAtOnceBelow = 0x20000;

int PercentDone(CTaskPrgClass& progress) {
    __int64 sent = 0;
    __int64 total = 0;
    progress.GetProgressBarInfo(sent, total);
    return total > 0 ? static_cast<int>(progress.GetByteSend() * 100 / total) : 0;
}

void SetWorkingFile(CString const& file, CString const& serverFile) {
    if (CBackupManage* const manager = theVaultLibApp.m_pBackupManage) {
        manager->SetWorkingFile(file, serverFile);
    }
}

}  // namespace

int CBackupTask::BackupPath(CString& path, CString serverFolder, int recurse, int fromCacheThread) {
    try {
        // A listed path is exact: only one that is not there as it stands loses the blanks at its ends.
        CFileInfo info(path);
        if (info.m_exists == 0) {
            path.Trim();
            info = CFileInfo(path);
        }
        bool const isFolder = info.m_isFolder != 0;
        if (!isFolder && rampart::IsThumbsFile(rampart::LastElement(path))) {
            DebugLine(_T("Task: backup path no exist-") + path);
            return rampart::kOk;
        }
        if (serverFolder.IsEmpty()) {
            serverFolder = GetTargetSvrFolder(path, 1);
        }
        if (isFolder) {
            return BackupDir(path, serverFolder, recurse);
        }
        if (info.m_exists == 0) {
            BackupDrive(path, serverFolder);
            return rampart::kOk;
        }
        return BackupFile(path, serverFolder, 0, fromCacheThread);
    } catch (...) {
        rampart::LogUnexpected(_T("Unexpected error:  BackupThread"));
        return rampart::kUnexpected;
    }
}

int CBackupTask::BackupPathIsFile(CString path) {
    return rampart::Guarded(_T("Error:BackupPathIsFile"), 0, [&] {
        if (path.IsEmpty() || KXFolder::IsDirectory(path) || KXFolder::IsDriveRoot(path)) {
            return 0;
        }
        if (KXFile::FileExists(path)) {
            return 1;
        }
        SourceInfo const* const source = GetSrcItem(path);
        return source != nullptr && source->isFolder == 0 ? 1 : 0;
    });
}

void CBackupTask::BackupDrive(CString& path, CString const& serverFolder) {
    DebugLine(_T("Task: backup drive-") + path + _T(" to ") + serverFolder);
    path = rampart::WithoutTrailingBackslash(path);
    NoteSkippedEntry({path, rampart::DictionaryText(_T("SourceVanished")), true});
}

namespace {

// One try of one file; what its steps share.
struct FileTry {
    CString path;
    CString serverFolder;
    CString name;
    int attempt;
    int fromCacheThread;
    __int64 savedSent = 0;  // the progress counters before the try, for a retry
    __int64 savedTotal = 0;
    __int64 startBytes = 0;
    CString copyPath;        // of the copy that is or may be made; empty if none
    CString cachePath;       // where the transfer reads from
    bool isRefused = false;  // nothing to read from: the code is the file's result, and has been reported
    CString ServerPath() const { return PathUtilities::Append(serverFolder, name); }
    void NameCopy() {
        copyPath = rampart::CopyPathOf(serverFolder, name);
        if (!copyPath.IsEmpty() && IsSameFileLocal(path, copyPath)) {
            rampart::DebugFormat(_T("Task-BackupFile: same cache file: %s"), path);
            copyPath.Empty();  // never deleted as one
        }
    }
};

bool IsUnchanged(MyPathInfo const& record, CFileInfo const& info, CString const& serverFolder) {
    bool const isOther = info.m_size + rampart::OverheadOf(serverFolder) != record.m_size ||
                         record.m_kind != info.m_kind || record.m_isGone || record.m_isDamaged;
    if (isOther || record.m_isExact) {
        return !isOther && record.m_exactModifiedTime == info.m_exactWriteTime &&
               record.m_changeTime == info.m_changeTime;
    }
    // The creation stamp on purpose; the scan compares the other one. Both go against the local last-write
    // time.
    __int64 const serverTime = rampart::RecordSeconds(record.m_createdTime);
    return rampart::TimesAgree(serverTime, info.m_lastWriteTime.GetTime(), rampart::IgnoreTimeSpan());
}

// Whether only the stored bytes are at fault: what is sent again is no other version.
bool IsSentAgain(MyPathInfo const& record, CFileInfo const& info) {
    return record.m_isDamaged && !record.m_isGone && record.m_isExact && record.m_size == info.m_size &&
           record.m_exactModifiedTime == info.m_exactWriteTime;
}

// Tells the display that a file needs no transfer. False when the user cancelled.
bool ShowUnchanged(CBackupTask& task, CString const& path) {
    CTaskPrgClass* const progress = task.m_pTaskPrg;
    int percent = 0;
    if (progress != nullptr) {
        percent = PercentDone(*progress);
        progress->SetState(ProgressStateUnchanged);
        progress->SetFilePath(path);
    }
    SetWorkingFile(path, task.m_serverFilePath);
    return progress == nullptr || progress->DoProgress(percent, _T("")) != 0;
}

}  // namespace

// Where the transfer reads from: the task's own cache, the temporary copy, or the source itself. A nonzero
// result ends the file.
static int ChooseReadPath(CBackupTask& task, FileTry& file) {
    file.cachePath = file.path;
    if (task.IsEmailBackup() || CFileInfo(file.path).m_kind != FileKind::kFile) {
        return rampart::kOk;
    }
    if (file.fromCacheThread != 0) {
        // A copy that failed for lack of room left no cache file: the source itself is read then.
        if (!file.copyPath.IsEmpty() && KXFile::FileExists(file.copyPath)) {
            file.cachePath = file.copyPath;
        }
        return rampart::kOk;
    }
    file.NameCopy();
    if (file.copyPath.IsEmpty()) {
        return rampart::kOk;
    }
    __int64 error = 0;
    if (task.CopyBackupFile(file.path, file.copyPath, error)) {
        file.cachePath = file.copyPath;
    } else if (error != rampart::kReadFromSource) {
        return rampart::IsCancelled(task.m_pTaskPrg) ? rampart::kCancelled : static_cast<int>(error);
    }
    if (task.m_pTaskPrg != nullptr) {
        task.m_pTaskPrg->SetState(ProgressStateTransfer);
    }
    return rampart::kOk;
}

// The file goes by itself: on a worker thread (103), or here.
static int SendAlone(CBackupTask& task, FileTry const& file, bool hasBatch) {
    CTaskPrgClass* const progress = task.m_pTaskPrg;
    if (file.attempt == 0 && progress != nullptr) {
        CStringList list(10);
        list.AddTail(file.path);
        progress->AddFileList(list);
        task.InitUIProgressBarItems(file.path, 1, list);
    }
    if (ApiUtil::GetSupportMultipleThreadTransfer() &&
        KXFile::GetFileLength(file.path) < ApiUtil::GetLimitThreadPoolSize()) {
        rampart::StartUploadWorker(task, file.cachePath, file.serverFolder, file.path,
                                   hasBatch ? file.path : CString());
        return rampart::kOnWorker;
    }
    CString message;
    int const code = ApiUtil::UploadFile(file.cachePath, file.serverFolder, file.path, _T(""), message,
                                         progress, 0, 1, 1, 0, 0);
    rampart::DebugFormat(_T("Upload: \"%s\", %d"), file.path, code);
    if (code == rampart::kOk) {
        ++task.m_reportUploadedCount;
    }
    return code;
}

// The transfer begins; where its bytes count from.
static void NoteStart(CBackupTask& task, FileTry& file) {
    if (CTaskPrgClass* const progress = task.m_pTaskPrg) {
        progress->SetPercent(PercentDone(*progress), _T(""));
        file.startBytes = progress->GetByteSend();
    }
}

static BatchMode* BatchOf(CBackupTask const& task) {
    CTaskPrgClass* const progress = task.m_pTaskPrg;
    return progress != nullptr ? static_cast<BatchMode*>(progress->m_pBatch) : nullptr;
}

static int OfferToBatch(CBackupTask& task, BatchMode& batch, FileTry const& file) {
    return batch.BatchFileUpload(file.cachePath, file.serverFolder, file.path, _T(""), task.m_pTaskPrg, 1,
                                 task.m_batchFirstCall);
}

// A small file needs no copy on the disk: the batch reads it whole, and checks that it stayed the same
// meanwhile, before it returns. 0 when the file has to be copied after all: locked, unreadable, changing or
// grown.
static int OfferSmallSource(CBackupTask& task, FileTry& file, __int64 size) {
    BatchMode* const batch = BatchOf(task);
    if (batch == nullptr || file.fromCacheThread != 0 || task.IsEmailBackup() ||
        size >= std::min(kReadAtOnceBelow, ApiUtil::GetBatchTotalSize(0))) {
        return rampart::kOk;
    }
    file.cachePath = file.path;
    NoteStart(task, file);
    uint32_t const begin = rampart::platform::TickCount();
    int const code = OfferToBatch(task, *batch, file);
    rampart::RestAfterRead(rampart::platform::TickCount() - begin);
    return rampart::IsSourceFailure(code) ? rampart::kOk : code;
}

static int SendFile(CBackupTask& task, FileTry& file, __int64 size) {
    if (int const code = OfferSmallSource(task, file, size)) {
        return code;
    }
    if (int const code = ChooseReadPath(task, file)) {
        file.isRefused = true;
        return code;
    }
    NoteStart(task, file);
    BatchMode* const batch = BatchOf(task);
    if (batch != nullptr) {
        if (int const code = OfferToBatch(task, *batch, file)) {
            return code;
        }
    }
    return SendAlone(task, file, batch != nullptr);
}

// Whether a batch or a worker still has the file before it, and deletes its copy.
static bool IsUnderWay(int code) {
    return code == rampart::kBatchQueued || code == rampart::kBatchFull || code == rampart::kOnWorker;
}

// What BackupFile does up to the service's answer. `isAnswered`: the code is the file's result as it is.
static int TryFile(CBackupTask& task, FileTry& file, bool& isAnswered) {
    CTaskPrgClass* const progress = task.m_pTaskPrg;
    if (progress != nullptr) {
        progress->GetProgressBarInfo(file.savedSent, file.savedTotal);
    }
    CFileInfo const info(file.path);
    CAutoMyPathInfo record;
    int code = rampart::FindServerRecord(file.ServerPath(), file.path, record);
    if (code == rampart::kOk && record != nullptr && record->m_isFolder != 0) {
        code = rampart::MakeWay(task, file.ServerPath(), file.path, false);
        record = nullptr;
    }
    if (code != rampart::kOk) {
        // Without the record it cannot be told whether a version has to be kept.
        NoteStart(task, file);
        return code;
    }
    if (record != nullptr && record->m_path.CompareNoCase(file.serverFolder + _T("\\") + file.name) == 0) {
        if (IsUnchanged(**record, info, file.serverFolder)) {
            isAnswered = true;
            return ShowUnchanged(task, file.path) ? rampart::kOk : rampart::kCancelled;
        }
        DebugLine(_T("Backup: check history-") + record->m_path);
        if (!IsSentAgain(**record, info) && !rampart::IsVersionKept(task, **record)) {
            task.RecoredHistroryFile(record->m_path, task.m_maxVersion, file.name);
        }
        DebugLine(_T("Backup: finish check history-") + record->m_path);
    }
    SetWorkingFile(file.path, file.serverFolder);
    if (progress != nullptr) {
        progress->SetState(ProgressStateTransfer);
        progress->SetFilePath(file.path);
    }
    code = SendFile(task, file, info.m_size);
    isAnswered = code == rampart::kOk || code == rampart::kOnWorker || file.isRefused;
    return code;
}

int CBackupTask::BackupFile(CString& path, CString serverFolder, int attempt, int fromCacheThread) {
    path = rampart::WithoutTrailingBackslash(path);
    FileTry file{path, serverFolder, rampart::LastElement(path), attempt, fromCacheThread};
    int code = rampart::kUnexpected;
    try {
        if (fromCacheThread != 0 && !IsEmailBackup()) {
            file.NameCopy();
        }
        if (!rampart::EnsureServerFolder(*this, file.serverFolder, PathUtilities::GetParentFolder(path))) {
            code = rampart::kConnectionFailed;
            LogUploadFileResultInfo(code, file.serverFolder, path, 0);
        } else {
            bool isAnswered = false;
            code = TryFile(*this, file, isAnswered);
            if (!isAnswered) {
                code = AnswerUploadCode(code, path, file.serverFolder, attempt, fromCacheThread,
                                        {file.savedSent, file.savedTotal, file.startBytes});
            }
        }
    } catch (...) {
        rampart::LogUnexpected(_T("Unexpected error:  BackupFile"));
        code = rampart::kUnexpected;
    }
    // At once, whatever ended the file: it is a whole private copy.
    if (!file.copyPath.IsEmpty() && !IsUnderWay(code)) {
        rampart::DeleteCopy(file.copyPath);
    }
    return code;
}

int CBackupTask::AnswerUploadCode(int code, CString& path, CString const& serverFolder, int attempt,
                                  int fromCacheThread, RetryCounters const& counters) {
    CString const serverPath = PathUtilities::Append(serverFolder, rampart::LastElement(path));
    if (theVaultLibApp.m_pMainWnd != nullptr) {
        theVaultLibApp.m_pMainWnd->RefreshUsageAlertString(1);
    }
    if (code == rampart::kNoSpace && (m_pTaskPrg == nullptr || m_pTaskPrg->IsAllowAlert()) &&
        rampart::UserMadeRoom(*this)) {
        if (attempt < kMaxRetries) {
            for (int pass = 0; pass < kSpaceRetryPasses && !rampart::IsRunEnding(m_pTaskPrg); ++pass) {
                rampart::platform::SleepMilliseconds(1);
            }
            return BackupFile(path, serverFolder, attempt + 1, fromCacheThread);
        }
    } else if (code == rampart::kConnectionFailed) {
        if (m_pTaskPrg != nullptr && m_pTaskPrg->GetByteSend() == 0) {
            m_pTaskPrg->SetByteSend(counters.startBytes, 0);
        }
        bool const reconnected =
            rampart::Reconnect(m_pTaskPrg != nullptr ? m_pTaskPrg->m_hCancelEvent : nullptr);
        if (reconnected && attempt < kMaxRetries) {
            if (m_pTaskPrg != nullptr) {
                m_pTaskPrg->SetProgressBarInfo(counters.sent, counters.total);
            }
            return BackupFile(path, serverFolder, attempt + 1, fromCacheThread);
        }
    }
    LogUploadFileResultInfo(code, serverPath, path, 0);
    return code;
}
