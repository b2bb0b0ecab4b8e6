// The scan's exported operations: all sources of a run, one path, one tree, one file.
#include "baselib/file_kind.h"
#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "paths/path_manage.h"
#include "platform/error.h"
#include "platform/file_system.h"
#include "progress/task_prg.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "run/source_scan.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

using rampart::DebugLine;
using rampart::DictionaryFormat;
using rampart::DictionaryText;
using rampart::LocalFile;
using rampart::ScanFilter;
using rampart::ScanRequest;
using rampart::SourceScan;

namespace {

constexpr __int64 kEmptyRunTotal = 1024;  // a progress bar needs a base above zero

LocalFile FileOf(CString const& path) {
    CFileInfo const info(path);
    LocalFile file;
    file.exists = info.m_exists != 0;
    file.temporary = FileIsTemporary(path) != 0;
    file.size = info.m_size;
    file.kind = info.m_kind;
    file.writeTime = info.m_lastWriteTime.GetTime();
    file.exactWriteTime = info.m_exactWriteTime;
    file.changeTime = info.m_changeTime;
    return file;
}

// Of a source that is there, but neither file nor folder; empty for any other.
CString KindNotStored(CString const& path) {
    rampart::platform::FileStatus status;
    if (!rampart::platform::QueryStatus(path, status)) {
        return CString();
    }
    // A source is named for what lies there; a link in its place would store a name of it.
    return status.IsLink() ? _T("symbolic link") : rampart::ReasonToSkip(status.attributes);
}

}  // namespace

int CBackupTask::CalculateBackupFilesSize(__int64& need, __int64& total, CStringList& list, __int64& result) {
    try {
        InitEventLog();
        m_recordChanges = {};
        m_scanTotalFileCount = 0;
        m_scanNeedBackupFileCount = 0;
        m_addedFileCount = 0;
        __int64 lookedAt = 0;
        for (SourceInfo const* source : std::vector<SourceInfo*>(m_localDirList)) {
            if (source == nullptr) {
                continue;
            }
            if (rampart::IsRunEnding(m_pTaskPrg)) {
                result = rampart::kCancelled;
                return 0;
            }
            m_scanTotalFileCount = 0;  // of this source: the walk of a folder begins from 0 too
            __int64 remote = m_remoteSize;
            need += GetPathNeedBackup(list, source->path, total, remote, _T(""), 1);
            m_remoteSize = remote;
            lookedAt += m_scanTotalFileCount;
            m_reportTotalCount = lookedAt;
            m_reportChangedCount = m_scanNeedBackupFileCount;
            m_reportAddedCount = m_addedFileCount;
            rampart::RecordEvent(this,
                                 DictionaryFormat(_T("ScaningFiles"), FormatSizeToString(need, 0),
                                                  static_cast<__int64>(m_reportTotalCount),
                                                  static_cast<__int64>(m_reportAddedCount),
                                                  static_cast<__int64>(m_reportChangedCount)),
                                 EVENT_INFO);
        }
        SetReCheckSize(1);
        if (total <= 0) {
            DebugLine(_T("Task: no size"));
            total = kEmptyRunTotal;
        }
        if (m_pTaskPrg != nullptr) {
            m_pTaskPrg->SetProgressBarInfo(0, total);
        }
        return 1;
    } catch (...) {
        result = rampart::kSkipped;
        rampart::FailRun(this, DictionaryText(_T("SearchFilesError")) + GetLastErrorMsg());
        return 0;
    }
}

__int64 CBackupTask::GetPathNeedBackup(CStringList& list, CString path, __int64& total, __int64& remote,
                                       CString serverFolder, int useFolderFilter) {
    return rampart::Guarded(_T("Error:GetPathNeedBackup "), 0LL, [&]() -> __int64 {
        if (!PathUtilities::IsExisting(path)) {
            path.Trim();
        }
        CString const name = rampart::LastElement(path);
        rampart::platform::SetLastError(rampart::platform::kNoError);
        bool const isTree = KXFolder::IsDirectory(path) || KXFolder::IsDriveRoot(path);
        uint32_t const error = rampart::platform::LastError();
        if (!isTree && error != rampart::platform::kNoError) {
            CString const reason = GetLastErrorMsgEx(error);
            rampart::RecordEvent(
                this,
                reason + DictionaryFormat(_T("PathNotExistErr"), rampart::ShownPath(path)) + _T(" ") + reason,
                EVENT_WARNING);
            NoteSkippedEntry({path, reason, true});
            RetryConnectNetworkPath(error, path);
        }
        bool const isFile = !isTree && KXFile::FileExists(path) && CFileInfo(path).m_kind == FileKind::kFile;
        if (!isTree && rampart::IsThumbsFile(name)) {
            return 0;
        }
        if (!isTree && !isFile) {
            DebugLine(DictionaryFormat(_T("BackupTask.pathNotExistErr"), path));
            if (CString const kind = KindNotStored(path); !kind.IsEmpty()) {
                rampart::RecordEvent(this,
                                     DictionaryFormat(_T("SourceKindErr"), rampart::ShownPath(path), kind),
                                     EVENT_WARNING);
                NoteSkippedEntry({path, kind, true});
            }
        }
        if (serverFolder.IsEmpty()) {
            serverFolder = GetTargetSvrFolder(path, 0);
        }
        bool const include = rampart::IsIncludeMode(m_filterType);
        ScanRequest const request{list, total, remote, IsEmailBackup() != 0, m_taskName, &m_recordChanges};
        ScanFilter const filter(m_filterType, &m_filterExList, &m_filtedPathList, include);
        SourceScan scan(request, filter);
        if (CPathManage::IsInVault(path)) {
            NoteSkippedEntry({path, DictionaryText(_T("VaultIsSource")), true});
            return 0;
        }
        if (isTree) {
            if (MiscUtil::IsAppStopping() || MiscUtil::IsAppLoggingOff() ||
                rampart::IsCancelled(m_pTaskPrg)) {
                return 0;
            }
            return scan.WalkFolder(path, serverFolder, useFolderFilter != 0);
        }
        if (!isFile) {
            return 0;
        }
        ++m_scanTotalFileCount;
        return scan.JudgeFile(path, serverFolder + _T("\\") + name, FileOf(path), false);
    });
}

int CBackupTask::CheckFileFilter(CString file, CStringList* exList, CStringList* pathList,
                                 CString filterType) {
    // Without folders on the list its names do not count either.
    CStringList* const list = pathList != nullptr && !pathList->IsEmpty() ? exList : pathList;
    if (!rampart::IsIncludeMode(filterType)) {
        return CPathManage::FilterFile(file, list, filterType);
    }
    bool const hasNames = exList != nullptr && !exList->IsEmpty();
    bool const hasPaths = pathList != nullptr && !pathList->IsEmpty();
    if (!hasNames && !hasPaths) {
        return 1;
    }
    CString const parent = PathUtilities::GetParentFolder(file);
    if (!hasNames) {
        return CPathManage::FilterFolder(parent, pathList, filterType);
    }
    if (!hasPaths) {
        return CPathManage::FilterFile(file, list, filterType);
    }
    bool const taken = CPathManage::FilterFolder(parent, pathList, filterType) == 0 ||
                       CPathManage::FilterFile(file, list, filterType) == 0;
    return taken ? 0 : 1;
}

namespace {

__int64 WalkTree(ScanRequest const& request, ScanFilter const& filter, CString const& path,
                 CString const& serverFolder, int useFolderFilter) {
    return rampart::Guarded(_T("Error:GetFolderNeedBackup"), 0LL, [&] {
        return SourceScan(request, filter).WalkFolder(path, serverFolder, useFolderFilter != 0);
    });
}

__int64 JudgeOne(ScanRequest const& request, ScanFilter const& filter, CString const& path,
                 CString const& serverPath, int force) {
    return rampart::Guarded(_T("Error:GetFileNeedBackup"), 0LL, [&] {
        return SourceScan(request, filter).JudgeFile(path, serverPath, FileOf(path), force != 0);
    });
}

}  // namespace

__int64 CBackupManage::GetFolderNeedBackup(CStringList& list, CString path, CString serverFolder,
                                           CString filterType, __int64& total, __int64& remote,
                                           CStringList* exList, CStringList* pathList, int useFolderFilter,
                                           int isEmail, CString const& taskName) {
    return WalkTree({list, total, remote, isEmail != 0, taskName}, {filterType, exList, pathList, false},
                    path, serverFolder, useFolderFilter);
}

__int64 CBackupManage::IncludeGetFolderNeedBackup(CStringList& list, CString path, CString serverFolder,
                                                  CString filterType, __int64& total, __int64& remote,
                                                  CStringList* exList, CStringList* pathList,
                                                  int useFolderFilter, int isEmail, CString const& taskName) {
    return WalkTree({list, total, remote, isEmail != 0, taskName}, {filterType, exList, pathList, true}, path,
                    serverFolder, useFolderFilter);
}

__int64 CBackupManage::GetFileNeedBackup(CStringList& list, CString path, CString serverPath,
                                         CString filterType, __int64& total, __int64& remote,
                                         CStringList* exList, int force, int isEmail,
                                         CString const& taskName) {
    return JudgeOne({list, total, remote, isEmail != 0, taskName}, {filterType, exList, nullptr, false}, path,
                    serverPath, force);
}

__int64 CBackupManage::IncludeGetFileNeedBackup(CStringList& list, CString path, CString serverPath,
                                                CString filterType, __int64& total, __int64& remote,
                                                CStringList* exList, CStringList* pathList, int force,
                                                int isEmail, CString const& taskName) {
    return JudgeOne({list, total, remote, isEmail != 0, taskName}, {filterType, exList, pathList, true}, path,
                    serverPath, force);
}

void CBackupManage::AdjustScanDivideBatchIndex(CStringList& list, CString const& path, __int64 size) {
    rampart::Guarded(_T("Error: adjust scan path - ") + path, 0, [&] {
        rampart::EnterInUploadOrder(list, path, size);
        return 1;
    });
}

void CBackupManage::SetScanTaskInfo(CString const& size, CString const& count, CString const& path) {
    CKorvaneAutoLock const lock(&m_scanInfoLock, _T("SetScanTaskInfo"), 0);
    m_scanInfoSize = size;
    m_scanInfoCount = count;
    m_scanInfoPath = path;
}

void CBackupManage::GetScanTaskInfo(SCANFILESINFO& info) {
    CKorvaneAutoLock const lock(&m_scanInfoLock, _T("GetScanTaskInfo"), 0);
    info.m_size = m_scanInfoSize;
    info.m_count = m_scanInfoCount;
    info.m_path = m_scanInfoPath;
}
