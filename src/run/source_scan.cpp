#include "run/source_scan.h"

#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "link/manage_multiple_running_task.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "progress/task_prg.h"
#include "run/entries_gone.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "run/server_match.h"
#include "run/time_agreement.h"
#include "storage/service_code.h"
#include "task/backup_task.h"
#include "task/unexpected.h"

namespace rampart {

namespace {

constexpr int kMaxPathLength = 1024;
constexpr int kDefaultReportStep = 200;
constexpr uint32_t kPausePollMs = 100;
// Fixed here, not the option "IgnoreTimeSpan": the check before the transfer is the later and wider one.
constexpr uint32_t kScanTimeSpan = 2;

int ReportStep() {
    CString const text = DictUtil::GetConfigString(_T("Options"), _T("SendScanFileCount"), _T(""), _T(""));
    if (text.IsEmpty()) {
        return kDefaultReportStep;
    }
    // A step of 0 has no meaning; it counts as the default.
    int const step = DictUtil::GetConfigInt(_T("Options"), _T("SendScanFileCount"), _T(""), _T(""));
    return step > 0 ? step : kDefaultReportStep;
}

LocalFile FileOf(KXFileFind const& find) {
    LocalFile file;
    file.exists = true;
    file.temporary = find.IsTemporary() != 0;
    file.size = find.GetLength();
    file.kind = find.Kind();
    file.writeTime = find.GetLastWriteTime().GetTime();
    file.exactWriteTime = find.GetExactWriteTime();
    file.changeTime = find.GetChangeTime();
    return file;
}

}  // namespace

void EnterInUploadOrder(CStringList& list, CString const& path, __int64 size) {
    if (size < ApiUtil::GetBatchTotalSize(0)) {
        list.AddTail(path);
    } else {
        list.AddHead(path);
    }
}

SourceScan::SourceScan(ScanRequest const& request, ScanFilter const& filter)
    : m_request(request), m_filter(filter), m_reportStep(ReportStep()) {}

CBackupTask* SourceScan::Task() const {
    return ManageMultipleRunningTask::GetInstance()->GetWorkingTaskByName(m_request.taskName);
}

bool SourceScan::IsEnding() const {
    CBackupTask const* const task = Task();
    return IsRunEnding(task != nullptr ? task->m_pTaskPrg : nullptr);
}

bool SourceScan::WaitWhilePaused() const {
    for (;;) {
        CTaskPrgClass const* const progress =
            ManageMultipleRunningTask::GetInstance()->GetTaskPrgClass(m_request.taskName);
        if (progress == nullptr || !progress->IsPaused() || IsCancelled(progress)) {
            return true;
        }
        if (IsAppEnding()) {
            return false;
        }
        platform::SleepMilliseconds(kPausePollMs);
    }
}

__int64 SourceScan::WalkFolder(CString const& folder, CString const& serverFolder, bool useFolderFilter) {
    m_overhead = OverheadOf(serverFolder);
    m_source = WithoutTrailingBackslash(folder);
    if (CBackupTask* const task = Task()) {
        task->m_scanTotalFileCount = 0;
    }
    m_folders.AddTail(folder);
    m_serverFolders.AddTail(serverFolder);
    __int64 sum = 0;
    while (!m_folders.IsEmpty()) {
        bool const loggedOff =
            !m_filter.IsInclude() && ApiUtil::GetManageLogonStatus().GetLogOnStatus() == LogonStatusOff;
        if (loggedOff) {
            // The run goes on with what it has; what was not looked at is not protected.
            NoteLeftOut(m_folders.GetHead(), kSessionLost);
        }
        if (IsEnding() || loggedOff) {
            break;
        }
        CString const path = m_folders.RemoveHead();
        CString const serverPath = m_serverFolders.RemoveHead();
        if (path.GetLength() > kMaxPathLength) {
            NoteSkippedEntry({path, DictionaryText(_T("PathTooLong")), true});
            continue;
        }
        ScanFolder(WithoutTrailingBackslash(path), serverPath, useFolderFilter, sum);
    }
    return sum;
}

// A folder whose scan breaks off adds what it had found to `sum`, and the walk goes on with the next one.
void SourceScan::ScanFolder(CString const& path, CString const& serverPath, bool useFolderFilter,
                            __int64& sum) {
    CString const name = m_filter.IsInclude() ? _T("IncludeGetFolderNeedBackup") : _T("GetFolderNeedBackup");
    TCHAR const* block = _T("");
    try {
        if (useFolderFilter && !m_filter.IsInclude() && m_filter.DropsFolder(path)) {
            return;
        }
        CServerPathList::Facts record;
        bool const isNew = IsFolderNew(path, serverPath, useFolderFilter, record);
        if (isNew) {
            m_request.list.AddTail(path);
        }
        block = isNew && m_filter.IsInclude() ? _T("-03") : _T("-02");
        std::vector<CString> names;
        bool const isComplete = ScanEntries(path, serverPath, isNew, sum, names);
        if (m_request.changes != nullptr && !m_request.isEmail) {
            NoteFolder(path, serverPath, record, names, isComplete);
        }
    } catch (...) {
        LogUnexpected(_T("Unexpected error: ") + name + block);
        NoteSkippedEntry({path, DictionaryText(_T("UnknownErrorOccuredError")), true});
    }
}

bool SourceScan::IsFolderNew(CString const& folder, CString const& serverFolder, bool useFolderFilter,
                             CServerPathList::Facts& record) const {
    bool const isMissing = !FindServerFolder(serverFolder, folder, record);
    if (isMissing) {
        record = {};
    }
    // In include mode only a folder that the list names is taken as a whole; any other is walked file by
    // file.
    if (m_filter.IsInclude() && (!useFolderFilter || m_filter.DropsFolder(folder))) {
        return false;
    }
    return isMissing;
}

bool SourceScan::ScanEntries(CString const& folder, CString const& serverFolder, bool isNew, __int64& sum,
                             std::vector<CString>& names) {
    KXFileFind find;
    int more = find.FindFile(ApiUtil::PathToFullPath(folder) + _T("\\*.*"));
    while (more != 0 && !IsEnding() && WaitWhilePaused()) {
        more = find.FindNextFileW();
        CString const name = find.GetFileName();
        names.push_back(name);
        if (find.IsDots() || (find.IsTemporary() && !AllowTemporaryFiles())) {
            continue;
        }
        CString const path = PathUtilities::Append(folder, name);
        if (m_filter.IsInclude()) {
            DebugLine(_T("IncludeGetFolderNeedBackup scan: ") + path);
        }
        if (find.IsDirectory()) {
            m_folders.AddTail(path);
            m_serverFolders.AddTail(PathUtilities::Append(serverFolder, name));
        } else {
            sum += ScanFile(path, name, folder, serverFolder, FileOf(find), isNew);
        }
    }
    return more == 0 && find.IsComplete();
}

void SourceScan::NoteFolder(CString const& folder, CString const& serverFolder,
                            CServerPathList::Facts const& record, std::vector<CString>& names,
                            bool isComplete) {
    CFileInfo const info(folder);
    bool const isMounted = (info.m_attributes & platform::kMountRoot) != 0;
    if (record.isFolder && isComplete) {
        std::vector<CString> const gone = EntriesGone(serverFolder, folder, names);
        // Nothing at all in a source's place proves nothing, nor does what lies below a file system that is
        // not mounted.
        bool const isAway = !gone.empty() && !isMounted && RecordKeeping::WasMountRoot(record.attributes);
        if (isAway) {
            NoteSkippedEntry({folder, DictionaryText(_T("FileSystemAway")), true});
        }
        if (isAway || (names.empty() && folder.CompareNoCase(m_source) == 0)) {
            return;
        }
        for (CString const& path : gone) {
            m_request.changes->AddGone(path);
        }
    }
    bool const isKnown = record.isExact && record.exactModifiedTime == info.m_exactWriteTime &&
                         record.changeTime == info.m_changeTime;
    if (info.m_exists != 0 && !isKnown) {
        m_request.changes->AddAttributes(folder, serverFolder, info.m_exactWriteTime, info.m_changeTime);
    }
}

__int64 SourceScan::ScanFile(CString const& path, CString const& name, CString const& folder,
                             CString const& serverFolder, LocalFile const& file, bool isNew) {
    __int64 growth = 0;
    CBackupTask* task = Task();
    if (isNew) {
        if (m_filter.TakesFileOfFolder(path, folder)) {
            growth = TakeNewFile(path, file);
        }
    } else {
        growth =
            std::max<__int64>(0, JudgeFile(path, PathUtilities::Append(serverFolder, name), file, false));
    }
    if (task != nullptr) {
        ++task->m_scanTotalFileCount;
        if (task->m_scanTotalFileCount % m_reportStep == 0) {
            ReportProgress(folder);
        }
    }
    return growth;
}

__int64 SourceScan::TakeNewFile(CString const& path, LocalFile const& file) {
    __int64 const length = file.size + m_overhead;
    if (CBackupTask* const task = Task()) {
        ++task->m_addedFileCount;
    }
    EnterInUploadOrder(m_request.list, path, file.size);
    if (length <= 0) {
        return 0;
    }
    m_request.total += length;
    return length;
}

__int64 SourceScan::JudgeFile(CString const& path, CString const& serverPath, LocalFile const& file,
                              bool force) {
    if (IsCancelled(ManageMultipleRunningTask::GetInstance()->GetTaskPrgClass(m_request.taskName)) ||
        !WaitWhilePaused() || !m_filter.TakesFile(path)) {
        return 0;
    }
    if ((!file.exists || file.temporary) && !AllowTemporaryFiles()) {
        return 0;
    }
    CServerPathList::Facts record;
    if (!FindServerFile(serverPath, path, record)) {
        return JudgeNewFile(path, serverPath, file);
    }
    __int64 const size = file.size + OverheadOf(serverPath);
    CBackupTask* const task = Task();
    if (!m_request.isEmail && !force && size == record.size && !HasChanged(path, serverPath, file, record)) {
        return 0;
    }
    if (task != nullptr) {
        ++task->m_scanNeedBackupFileCount;
    }
    EnterInUploadOrder(m_request.list, path, file.size);
    if (m_request.isEmail || force) {
        m_request.total += size;
        return size - record.size;
    }
    // The whole size counts as growth, since the old copy goes to the history.
    __int64 const growth = std::max<__int64>(0, size);
    m_request.total += growth;
    return growth;
}

bool SourceScan::HasChanged(CString const& path, CString const& serverPath, LocalFile const& file,
                            CServerPathList::Facts const& record) {
    if (record.isDamaged || record.isGone || record.kind != file.kind) {
        return true;
    }
    if (!record.isExact) {
        // It knows no more than size and seconds.
        if (!TimesAgree(record.modifiedTime, file.writeTime, kScanTimeSpan)) {
            return true;
        }
    } else if (record.exactModifiedTime != file.exactWriteTime) {
        return true;
    } else if (record.changeTime == file.changeTime) {
        return false;
    } else if (!RecordKeeping::HoldsContent(serverPath, path, [this] { return !IsEnding(); })) {
        // Somebody wrote and put the time back. What only got other rights or another name holds what it
        // held.
        return true;
    }
    if (m_request.changes != nullptr) {
        m_request.changes->AddAttributes(path, serverPath, file.exactWriteTime, file.changeTime);
    }
    return false;
}

__int64 SourceScan::JudgeNewFile(CString const& path, CString const& serverPath, LocalFile const& file) {
    EnterInUploadOrder(m_request.list, path, file.size);
    __int64 growth = file.size + OverheadOf(serverPath);
    m_request.total += growth;
    if (CBackupTask* const task = Task()) {
        ++task->m_addedFileCount;
    }
    CServerPathList::Facts part;
    if (ApiUtil::GetServerPathlist().FindFacts(serverPath + _T(".part"), part) == kOk) {
        if (m_request.remote - part.size >= 0) {
            m_request.remote -= part.size;
        }
        growth -= part.size;
    }
    return growth;
}

void SourceScan::ReportProgress(CString const& folder) const {
    CBackupTask* const task = Task();
    if (task == nullptr || task->m_pTaskPrg == nullptr) {
        return;
    }
    task->m_pTaskPrg->SetState(ProgressStateSearching);
    task->m_pTaskPrg->SetStateString(
        DictionaryFormat(_T("IDS_STRSEARCHINGFOLDER"), static_cast<__int64>(task->m_scanTotalFileCount),
                         static_cast<__int64>(task->m_scanNeedBackupFileCount), ShownPath(folder)),
        m_request.taskName);
}

}  // namespace rampart
