// Copies of source files in the local cache: made before the transfer, deleted after it.
#include "run/copy_cache.h"

#include <optional>

#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "interfaces/snapcopylib.h"
#include "manager/backup_manage.h"
#include "paths/copy_folder.h"
#include "paths/path_manage.h"
#include "platform/clock.h"
#include "platform/error.h"
#include "platform/file_system.h"
#include "progress/task_prg.h"
#include "run/copy_progress.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

using rampart::DebugLine;

namespace {

constexpr __int64 kMegabyte = 0x100000;
constexpr __int64 kSmallFile = 0x20000;
constexpr int kBigFileBound = 10;
constexpr int kShortOfSpaceBound = 1;

// One file that sits in the cache and waits for its upload.
struct CopyTempRecord {
    CString path;
    __int64 size;
};

int OptionOr(TCHAR const* key, int fallback) {
    int const value = DictUtil::GetConfigInt(_T("Options"), key, _T(""), _T(""));
    return value != 0 ? value : fallback;
}

int MinCopyCount() {
    return OptionOr(_T("MinCopyCount"), 5);
}

bool IsNoRoom(uint32_t error) {
    return error == rampart::platform::kHandleDiskFull || error == rampart::platform::kDiskFull ||
           error == rampart::platform::kPathNotFound;
}

// 0 on success, otherwise the system's error number.
uint32_t CopyOnce(CString const& source, CString const& target, CTaskPrgClass* progress,
                  bool mustRest = true) {
    CString const from = ApiUtil::PathToFullPath(source);
    CString const to = ApiUtil::PathToFullPath(target);
    bool const done = rampart::platform::CopyFileContent(
        from.View(), to.View(),
        [&](uint64_t total, uint64_t moved) {
            return rampart::CopyProgressRoutine(static_cast<__int64>(total), static_cast<__int64>(moved),
                                                progress) == rampart::kCopyGoOn;
        },
        mustRest);
    return done ? 0 : rampart::platform::LastError();
}

}  // namespace

CString rampart::CopyPathOf(CString const& serverFolder, CString const& name) {
    CString const root = OwnCopyFolder();
    CString folder = serverFolder;
    folder.TrimLeft(_T('\\'));
    return root.IsEmpty() ? root : PathUtilities::Append(root, folder) + _T("\\") + name;
}

void rampart::DeleteCopy(CString const& copyPath) {
    CString const root = OwnCopyFolder();
    if (!root.IsEmpty() && ApiFunctions::FindPathNoCase(copyPath, root) == 0 &&
        KXFile::FileExists(copyPath) && !KXFolder::ForceDelFile(copyPath)) {
        DebugFormat(_T("Failed to delete cache: %s, error:%s"), copyPath, GetLastErrorMsg());
    }
}

void rampart::DeleteCopiesOf(CBackupTask& task) {
    CString folder = task.m_serverFilePath;
    folder.TrimLeft(_T('\\'));
    CString const root = OwnCopyFolder();
    // Workers delete what they have sent themselves.
    if (root.IsEmpty() || folder.IsEmpty() || task.GetRunningUploadCount() > 0) {
        return;
    }
    CString const copies = PathUtilities::Append(root, folder);
    if (KXFolder::IsDirectory(copies)) {
        KXFolder::DeleteDirectory(copies, 1);
    }
}

// The source itself where no copy can be had.
static CString CacheFileOf(CBackupTask& task, CString const& path) {
    CString const copy = rampart::CopyPathOf(task.GetTargetSvrFolder(path, 1), rampart::LastElement(path));
    return copy.IsEmpty() ? path : copy;
}

static void DeleteCopyOf(CBackupTask& task, CString const& path, CString const& root) {
    // A path outside the copies' folder is a source and is never deleted: only the copy made of it.
    bool const isSource = root.IsEmpty() || ApiFunctions::FindPathNoCase(path, root) != 0;
    rampart::DeleteCopy(isSource ? CacheFileOf(task, path) : path);
}

// A copy may fail for the place that it goes to; what changes meanwhile is no better read in its place.
static bool CanBeRead(CString const& source, uint32_t error) {
    return error != rampart::platform::kSharingViolation &&
           rampart::platform::FileHandle::Open(ApiUtil::PathToFullPath(source),
                                               rampart::platform::kOpenRead) != nullptr;
}

static CString CopyFailure(CString const& source, uint32_t error) {
    return rampart::DictionaryText(_T("FromCopyError")) + rampart::ShownPath(source) + _T(", try VSSCopy:") +
           GetLastErrorMsgEx(error);
}

// A file that nothing can be read of; the run goes on without it.
static void LeaveOut(CBackupTask& task, CString const& source, uint32_t error) {
    CString const reason = GetLastErrorMsgEx(error);
    CString const shown = rampart::ShownPath(source);
    NoteSkippedEntry({source, reason, true});
    CString const text = error == rampart::platform::kSharingViolation
                             ? rampart::DictionaryFormat(_T("LockFile"), shown)
                         : error == rampart::platform::kAccessDenied
                             ? rampart::DictionaryFormat(_T("DeniedFile"), shown)
                             : rampart::DictionaryFormat(_T("UnreadableFile"), shown, reason);
    rampart::RecordEvent(&task, text, EVENT_WARNING);
    task.AddEmailWarningLog(task.m_taskName, text);
}

// From a snapshot; else, if it is written to all the time, as it is: an old copy is worth less than one of
// parts that were written at different times. `error` is why it could not be copied at rest.
static bool CopyInAnotherWay(CTaskPrgClass* progress, CString const& source, CString const& target,
                             uint32_t error) {
    if (!rampart::IsCancelled(progress) && ApiUtil::IsSupportVSS()) {
        CString message;
        if (VSSCopyFile(source, target, 0, &rampart::CopyProgressRoutine, progress, message)) {
            return true;
        }
        DebugLine(_T("Copy: VSSCopy error- ") + source);
    }
    if (rampart::IsCancelled(progress) || error != rampart::platform::kSharingViolation ||
        CopyOnce(source, target, progress, /*mustRest=*/false) != 0) {
        return false;
    }
    NoteSkippedEntry({source, rampart::DictionaryText(_T("StoredWhileWritten")), false});
    return true;
}

int CBackupTask::CopyBackupFile(CString& source, CString& target, __int64& error) {
    try {
        CPathManage::CreateFolderforFile(target);
        uint32_t number = CopyOnce(source, target, m_pTaskPrg);
        bool isForPlace = false;
        if (number != 0 && IsNoRoom(number)) {
            CPathManage::RemoveTempData(1);
            CPathManage::CreateFolderforFile(target);
            number = CopyOnce(source, target, m_pTaskPrg);
            isForPlace = number != 0 && IsNoRoom(number);
        }
        if (number == 0) {
            return 1;
        }
        if (!isForPlace) {
            DebugLine(CopyFailure(source, number));
            if (CopyInAnotherWay(m_pTaskPrg, source, target, number)) {
                return 1;
            }
            if (rampart::IsCancelled(m_pTaskPrg)) {
                return 0;
            }
            isForPlace = CanBeRead(source, number);
        }
        if (isForPlace) {
            error = rampart::kReadFromSource;
            rampart::RecordNotice(this, CopyFailure(source, number));
            return 0;
        }
        error = rampart::kSkipped;
        LeaveOut(*this, source, number);
        if (!target.IsEmpty()) {
            KXFolder::DeleteDirectory(target, 0);
        }
        return 0;
    } catch (...) {
        rampart::LogUnexpected(_T("Unexpected error: CopyBackupFile"));
        error = rampart::kUnexpected;  // so that the file counts as left out, and no part of it is sent
        return 0;
    }
}

int CBackupTask::GetCopyFileToCacheLimitCount(__int64 freeMB, CString const& cachePath) {
    return rampart::Guarded(_T("Error: CopyCacheThread-check limit count"), kShortOfSpaceBound, [&] {
        if (cachePath.IsEmpty()) {
            DebugLine(_T("CopyCacheThread: Lfailed to copy path to cache"));
            return MinCopyCount();
        }
        __int64 const used = GetCopyTempPathUsedSize();
        __int64 const minFree = OptionOr(_T("MinFreeDiskSpace"), 3072);
        if (freeMB - used <= minFree) {
            DebugLine(_T("CopyCacheThread: Leave enough space for the user"));
            return kShortOfSpaceBound;
        }
        if (used > minFree) {
            DebugLine(_T("CopyCacheThread: used much disk space."));
            return kShortOfSpaceBound;
        }
        CFileInfo const info(cachePath);
        return info.m_exists != 0 && info.m_size < kSmallFile ? OptionOr(_T("MaxCopyCount"), 100)
                                                              : kBigFileBound;
    });
}

__int64 CBackupTask::GetCopyTempPathUsedSize() {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("GetCopyTempPathUsedSize"), 0);
    return m_copyTempUsedSize / kMegabyte;
}

void CBackupTask::AddCopyTempToList(CString const& path) {
    rampart::Guarded(_T("Error: CopyCacheThread-AddCopyTempToList"), 0, [&] {
        CFileInfo const info(path);
        if (info.m_exists == 0) {
            DebugLine(_T("CopyCacheThread: failed to add temp list: ") + path);
            return 0;
        }
        m_copyTempList.AddTail(new CopyTempRecord{path, info.m_size});  // a list of raw pointers
        m_copyTempUsedSize += info.m_size;
        return 1;
    });
}

void CBackupTask::RemoveTempAndCalculatorTempUsedSize(CString const& path) {
    rampart::Guarded(_T("Error: RemoveTempAndCalculatorTempUsedSize"), 0, [&] {
        for (POSITION position = m_copyTempList.GetHeadPosition(); position != nullptr;) {
            POSITION const here = position;
            auto* const record = static_cast<CopyTempRecord*>(m_copyTempList.GetNext(position));
            if (record->path.CompareNoCase(path) == 0) {
                m_copyTempUsedSize -= record->size;
                m_copyTempList.RemoveAt(here);
                delete record;
                break;
            }
        }
        return 1;
    });
}

void CBackupTask::ClearCopyTempList() {
    rampart::Guarded(_T("Error: AddCopyTempToList"), 0, [&] {
        while (!m_copyTempList.IsEmpty()) {
            delete static_cast<CopyTempRecord*>(m_copyTempList.RemoveHead());
        }
        return 1;
    });
}

void CBackupTask::DeleteCopyCacheFile(CString const& path) {
    DeleteCopyOf(*this, path, rampart::OwnCopyFolder());
}

void CBackupTask::ClearAllCopyCacheFiles(CStringList& paths) {
    DebugLine(_T("CBackupTask::DeleteCopyCacheFile()-ClearAllCopyCacheFiles"));
    DebugLine(_T("ClearAllCopyCacheFiles-start"));
    rampart::Guarded(_T("Error:ClearAllCopyCacheFiles"), 0, [&] {
        CString const root = rampart::OwnCopyFolder();
        while (!paths.IsEmpty()) {
            DeleteCopyOf(*this, paths.RemoveHead(), root);
        }
        return 1;
    });
    DebugLine(_T("ClearAllCopyCacheFiles-finish"));
}

void CBackupTask::ClearCopyCacheFiles() {
    for (CString path = GetHeadPathAndRemoveHeadFromUploadCachePathList(); !path.IsEmpty();
         path = GetHeadPathAndRemoveHeadFromUploadCachePathList()) {
        CString const cacheFile = CacheFileOf(*this, path);
        if (!IsSameFileLocal(path, cacheFile)) {
            rampart::DeleteCopy(cacheFile);
        }
    }
}

namespace {

// One path of the copy queue. The new bound of the upload queue; none if the end of the run stopped the copy.
std::optional<int> CopyOne(CBackupTask& task, CString& path, __int64 freeMB, int bound) {
    if (KXFolder::IsDirectory(path)) {
        task.AddPathToUploadCachePathList(path, 0);
        return bound;
    }
    if (!KXFile::FileExists(path)) {
        DebugLine(rampart::DictionaryFormat(_T("BackupTask.pathNotExistErr"), path));
        NoteSkippedEntry({path, rampart::DictionaryText(_T("SourceVanished")), true});
        return bound;
    }
    if (CFileInfo(path).m_kind != FileKind::kFile) {
        task.AddPathToUploadCachePathList(path, 1);  // a link's target is read in place
        return bound;
    }
    CString cacheFile = CacheFileOf(task, path);
    task.m_copyingFilePath = path;
    if (!IsSameFileLocal(path, cacheFile)) {
        if (KXFile::FileExists(cacheFile) && cacheFile.CompareNoCase(path) != 0 &&
            !KXFolder::ForceDelFile(cacheFile)) {
            DebugLine(_T("Delete:") + cacheFile + _T(":") + GetLastErrorMsg());
        }
        __int64 error = 0;
        if (!task.CopyBackupFile(path, cacheFile, error)) {
            rampart::DebugFormat(_T("Failed to copy %s to %s"), path, cacheFile);
            rampart::DeleteCopy(cacheFile);  // a part of one
            if (error == 0) {
                return std::nullopt;
            }
            if (error != rampart::kReadFromSource) {
                rampart::NoteLeftOut(path, error);
                return kShortOfSpaceBound;
            }
        }
    }
    int const next = task.GetCopyFileToCacheLimitCount(freeMB, cacheFile);
    task.AddPathToUploadCachePathList(path, 1);
    return next;
}

}  // namespace

unsigned int CopyFileToCacheThread(void* data) {
    auto& task = *static_cast<CBackupTask*>(data);
    try {
        __int64 const freeMB = GetDiskFreeSize(_T("c:"));
        int bound = MinCopyCount();
        DebugLine(_T("Task: copy cache thread"));
        CStringList& work = task.m_copyQueueList;  // what stays on it is left to the run to tell of
        while (!work.IsEmpty() && !task.IsStopCopyFileToCacheThread() &&
               !rampart::IsRunEnding(task.m_pTaskPrg)) {
            rampart::platform::SleepMilliseconds(1);
            if (task.GetUploadCachePathListCount() > bound) {
                continue;
            }
            CString path = work.GetHead();
            std::optional<int> const next = CopyOne(task, path, freeMB, bound);
            if (!next) {
                break;
            }
            bound = *next;
            work.RemoveHead();
        }
        task.SetFinishCopyFileToCacheThread(1);
        DebugLine(_T("Task Copy thread: exit"));
    } catch (...) {
        rampart::LogUnexpected(_T("Unexpected error: CopyFileToCacheThread-01"));
        task.SetFinishCopyFileToCacheThread(1);
    }
    return 1;
}
