#include "run/upload_driver.h"

#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "paths/global_function.h"
#include "platform/clock.h"
#include "progress/task_prg.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "run/server_match.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

namespace rampart {

namespace {

constexpr uint32_t kAtLimitPollMs = 10;
constexpr uint32_t kEmptyQueuePollMs = 1;
constexpr int kReducedWorkers = 6;

// A batch that failed for the fault of one file has stored the others.
bool IsStored(CBackupTask& task, CString const& path) {
    CString const serverPath = PathUtilities::Append(task.GetTargetSvrFolder(path, 1), LastElement(path));
    CServerPathList::Facts record;
    if (!FindServerFile(serverPath, path, record)) {
        return false;
    }
    CFileInfo const info(path);
    return record.isExact && !record.isGone && !record.isDamaged &&
           record.size == info.m_size + OverheadOf(serverPath) &&
           record.exactModifiedTime == info.m_exactWriteTime && record.changeTime == info.m_changeTime;
}

}  // namespace

UploadDriver::UploadDriver(CBackupTask& task, CStringList* paths, bool isEmail, CString const& topFolder,
                           __int64& result)
    : m_task(task), m_paths(paths), m_isEmail(isEmail), m_topFolder(topFolder), m_result(result) {}

CTaskPrgClass* UploadDriver::Progress() const {
    return m_task.m_pTaskPrg;
}

template <typename Body>
bool UploadDriver::Stretch(TCHAR const* threadedSuffix, TCHAR const* sequentialSuffix, TCHAR const* key,
                           Body const& body) {
    try {
        body();
        return true;
    } catch (...) {
        m_result = kUnexpected;
        CString const reason = GetLastErrorMsg();
        LogUnexpected(IsThreaded()
                          ? CString(_T("Unexpected error:  UploadFilesFromCahce")) + threadedSuffix
                          : CString(_T("Unexpected error:  BeginUploadingData--")) + key + sequentialSuffix);
        FailRun(&m_task, DictionaryText(key) + reason);
        return false;
    }
}

int UploadDriver::Run() {
    m_limit = DictUtil::GetConfigInt(_T("Function"), _T("MultipleThreadCount"), _T(""), _T(""));
    if (!IsThreaded()) {
        DebugLine(_T("Task: start bengin uploading data"));
    }
    bool aborted = false;
    bool const isWhole = Stretch(_T("05"), _T(""), _T("UnknownErrorOccuredError"), [&] {
        m_task.CreateNewBatchMode();
        aborted = TakeAll() == Loop::kAbort || !LeaveBatch();
    });
    if (aborted || !isWhole) {
        NoteBrokenOff();
    }
    if (aborted) {
        m_task.ClearAllCopyCacheFiles(m_waitList);
        return 0;
    }
    if (!m_isEmail) {
        RecordCounts();
    }
    return 1;
}

UploadDriver::Loop UploadDriver::TakeAll() {
    for (;;) {
        CString path;
        bool isFolder = false;
        Next next = Next::kAbort;
        if (!Stretch(_T(""), _T(""), _T("GetPathItemError"), [&] { next = TakePath(path, isFolder); })) {
            return Loop::kAbort;
        }
        if (next == Next::kAgain) {
            continue;
        }
        if (next != Next::kPath) {
            return next == Next::kLeave ? Loop::kLeave : Loop::kAbort;
        }
        Loop const loop = SendPath(path, !isFolder);
        if (loop != Loop::kGoOn) {
            return loop;
        }
    }
}

UploadDriver::Next UploadDriver::TakePath(CString& path, bool& isFolder) {
    if (IsThreaded()) {
        Next const next = TakeQueuedPath(path);
        if (next != Next::kPath) {
            return next;
        }
    } else {
        m_isCut = !m_paths->IsEmpty() && IsRunEnding(Progress());
        if (m_paths->IsEmpty() || m_isCut) {
            return Next::kLeave;
        }
        if (m_task.GetRunningUploadCount() >= std::max(1, m_limit)) {
            platform::SleepMilliseconds(kAtLimitPollMs);
            return Next::kAgain;
        }
        path = m_paths->RemoveHead();
    }
    CFileInfo const info(path);
    isFolder = info.m_isFolder != 0;
    if (info.m_exists == 0) {
        if (IsThreaded()) {
            DebugLine(DictionaryFormat(_T("BackupTask.pathNotExistErr"), path));
        }
        NoteSkippedEntry({path, DictionaryText(_T("SourceVanished")), true});
        return Next::kAgain;
    }
    return Next::kPath;
}

UploadDriver::Next UploadDriver::TakeQueuedPath(CString& path) {
    // The flag first: once it is set nothing more enters the queue.
    bool const copyEnded = m_task.IsFinishCopyFileToCacheThread() != 0;
    if (copyEnded && m_task.GetUploadCachePathListCount() == 0) {
        DebugLine(_T("Task Upload Cache File: Finished copy thread"));
        return Next::kLeave;
    }
    if (IsRunEnding(Progress())) {
        m_isCut = true;
        DebugLine(_T("Task Upload Cache File: Prgbar cancel or log off"));
        return Next::kLeave;
    }
    if (m_task.GetRunningUploadCount() >= m_limit) {
        platform::SleepMilliseconds(kAtLimitPollMs);
        return Next::kAgain;
    }
    path = m_task.GetHeadPathAndRemoveHeadFromUploadCachePathList();
    if (path.IsEmpty()) {
        m_task.SetSendCopyInfoToPrgbar(1);
        platform::SleepMilliseconds(kEmptyQueuePollMs);
        return Next::kAgain;
    }
    return Next::kPath;
}

void UploadDriver::LookForPart(CString const& path) {
    m_task.m_partSizeFromServer = m_task.GetPartSizeFromSever(path);
    if (m_task.m_partSizeFromServer > 0) {
        // The bytes will be counted again as they arrive.
        m_task.m_remoteSize = std::max<__int64>(0, m_task.m_remoteSize - m_task.m_partSizeFromServer);
        Progress()->BeginFile(_T(""), m_task.m_remoteSize, 1);
    }
}

UploadDriver::Loop UploadDriver::SendPath(CString& path, bool isFile) {
    CTaskPrgClass* const progress = Progress();
    m_pathAtWork = path;
    if (progress != nullptr && isFile) {
        LookForPart(path);
    }
    if (IsRunEnding(progress)) {
        m_result = kCancelled;
        return Loop::kAbort;
    }
    m_task.SetSendCopyInfoToPrgbar(0);
    int const code = m_task.BackupPath(path, _T(""), 0, IsThreaded() ? 1 : 0);
    m_pathAtWork.Empty();
    m_result = code;
    switch (ActionOf(code, IsThreaded())) {
        case FileAction::kOnWorker:
            return Loop::kGoOn;
        case FileAction::kLimitWorkers:
            m_limit = kReducedWorkers;
            NoteLeftOut(path, code);
            return Loop::kGoOn;
        case FileAction::kSkip:
            m_task.m_hadFileFailure = 1;
            ++m_task.m_failedUploadCount;
            NoteLeftOut(path, code);
            m_result = kOk;
            break;
        case FileAction::kSendBatch:
            if (!Stretch(_T("02"), _T(""), _T("UpdateBackupInfoLogError"), [&] { SendBatch(path); })) {
                QueueForBatch(path);  // it opened the new batch all the same
                return Loop::kGoOn;
            }
            [[fallthrough]];
        case FileAction::kQueued:
            QueueForBatch(path);
            break;
        case FileAction::kFailed:
            DebugLine(_T("CBackupTask::DeleteCopyCacheFile()-UploadFilesFromCache"));
            m_task.DeleteCopyCacheFile(path);
            [[fallthrough]];
        case FileAction::kDone:
            if (code != kOk && code != kOnWorker && code != kCancelled) {
                NoteLeftOut(path, code);
            }
            break;
    }
    return EndOfFile(path, isFile);
}

void UploadDriver::QueueForBatch(CString const& path) {
    m_task.AddNeedBackupFileToWaitList(m_isEmail, m_topFolder, m_task.m_emailCacheFolder, path, m_waitList,
                                       m_joinedNames);
}

UploadDriver::Loop UploadDriver::EndOfFile(CString const& path, bool isFile) {
    if (isFile && Progress() != nullptr) {
        Progress()->EndFile(path, static_cast<int>(m_result));
    }
    if (m_result == kNoSpace) {
        m_task.m_errorOccured = 1;
        __int64 code = 0;
        if (m_task.GetUserHaveSpace(code) < 1) {
            return EndUpload();
        }
    }
    return EndsUpload(m_result, IsThreaded()) ? EndUpload() : Loop::kGoOn;
}

UploadDriver::Loop UploadDriver::EndUpload() {
    m_endedBy = m_result;
    m_task.m_pBatchMode->CancelMe();
    return Loop::kLeave;
}

void UploadDriver::NoteWaitingFiles() const {
    for (POSITION position = m_waitList.GetHeadPosition(); position != nullptr;) {
        CString const path = m_waitList.GetNext(position);
        if (!IsStored(m_task, path)) {
            NoteLeftOut(path, m_result);
        }
    }
}

void UploadDriver::NoteBrokenOff() const {
    if (m_result == kCancelled) {
        return;
    }
    if (!m_pathAtWork.IsEmpty()) {
        NoteLeftOut(m_pathAtWork, m_result);
    }
    NoteWaitingFiles();
}

void UploadDriver::SendBatch(CString const& path) {
    CTaskPrgClass* const progress = Progress();
    if (progress != nullptr) {
        progress->AddFileList(m_waitList);
        m_task.InitUIProgressBarItems(_T(""), m_waitList.GetCount(), m_waitList);
        progress->BatchBegin();
    }
    m_task.BatchUploadingFiles(m_result);
    if (!IsThreaded()) {
        DebugLine(_T("CBackupTask::ClearAllCopyCacheFiles()-BeginUploadingData"));
    }
    if (m_result != kOk && m_result != kCancelled) {
        m_task.m_hadFileFailure = 1;  // the run goes on, and the task gets its retry
        NoteWaitingFiles();
    }
    CStringList sent(10);
    sent.AddTail(&m_waitList);
    __int64 const batchCode = m_result;
    m_task.ClearAllCopyCacheFiles(m_waitList);
    if (m_result == kOk) {
        // Read after the list was emptied: a batch in the middle of a run adds nothing to the report's count.
        m_task.m_reportUploadedCount += m_waitList.GetCount();
        m_result = kBatchFull;
    }
    if (m_result != kConnectionFailed) {
        if (progress != nullptr) {
            progress->BatchEnd();
            progress->ChangeStatus(1);
        } else {
            m_task.LogUploadFileResultInfo(m_result, m_task.GetTargetSvrFolder(path, 1), _T(""), 0);
        }
    }
    // Otherwise the list of files in transfer would grow with every batch of the run.
    m_task.SetBacthUploadedFilesState(sent, batchCode);
    m_waitList.RemoveAll();
    m_joinedNames.Empty();
}

bool UploadDriver::LeaveBatch() {
    CTaskPrgClass* const progress = Progress();
    if (progress != nullptr) {
        progress->AddFileList(m_waitList);
        m_task.InitUIProgressBarItems(_T(""), m_waitList.GetCount(), m_waitList);
        if (!IsThreaded() || !m_waitList.IsEmpty()) {
            progress->BatchBegin();
        }
    }
    if (!Stretch(_T("03"), _T(""), _T("LeaveBatchModeError"),
                 [&] { m_result = m_task.m_pBatchMode->LeaveMode(0); })) {
        return false;
    }
    if (m_endedBy != kOk && (m_result == kOk || m_result == kBatchAborted)) {
        // The batch was dropped because of this code: it is the one to tell, and a run that left out the rest
        // of its files has not ended well.
        m_result = m_endedBy;
    }
    Stretch(_T("04"), _T("02"), _T("UpdateBackupInfoLogError"), [&] {
        if (!m_waitList.IsEmpty()) {
            if (m_result == kOk) {
                m_task.m_reportUploadedCount += m_waitList.GetCount();
                DebugFormat(_T("Batch upload:%s, %d"), m_joinedNames, static_cast<int>(m_result));
            } else if (m_result != kCancelled) {
                NoteWaitingFiles();
            }
            m_task.SetBacthUploadedFilesState(m_waitList, m_result);
            CString const last = m_waitList.GetTail();
            if (!IsThreaded()) {
                DebugLine(_T("CBackupTask::ClearAllCopyCacheFiles()-BeginUploadingData01"));
            }
            m_task.ClearAllCopyCacheFiles(m_waitList);
            m_joinedNames.Trim(_T(" |"));
            m_task.LogUploadFileResultInfo(m_result, m_task.GetTargetSvrFolder(last, 1), m_joinedNames, 0);
        }
        // The list has just been emptied, so on the threaded road the last batch has no such end.
        if (progress != nullptr && (!IsThreaded() || !m_waitList.IsEmpty())) {
            progress->BatchEnd();
        }
        m_task.m_pBatchMode->CancelMe();
        if (m_isCut || IsCancelled(progress)) {
            m_result = kCancelled;
        }
        if (progress != nullptr) {
            progress->SetBatch(nullptr);
        }
        m_waitList.RemoveAll();
        m_joinedNames.Empty();
    });
    return true;
}

void UploadDriver::RecordCounts() const {
    CString const text = DictionaryFormat(
        _T("SuccessEmailScanFiles"), static_cast<__int64>(m_task.m_reportTotalCount),
        static_cast<__int64>(m_task.m_reportAddedCount), static_cast<__int64>(m_task.m_reportChangedCount),
        static_cast<__int64>(m_task.m_reportUploadedCount));
    RecordEvent(&m_task, text, EVENT_INFO);
    DebugLine(text);
}

}  // namespace rampart
