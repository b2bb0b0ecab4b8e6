// Older versions of a file: its history folder on the server, how many are kept, and the clean-up of what has
// no source.
#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "manager/loop_worker.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "run/run_state.h"
#include "run/server_folder.h"
#include "run/server_path_map.h"
#include "run/version_names.h"
#include "task/backup_task.h"

using rampart::DebugFormat;
using rampart::DebugLine;

namespace {

bool IsAppGone() {
    return MiscUtil::IsAppStopping() && MiscUtil::IsAppLoggingOff();
}

int DeleteServerPath(CString const& path) {
    CStringList list(10);
    list.AddTail(path);
    CString message;
    return ApiUtil::DeletePaths(list, nullptr, 0, message);
}

// Records of a listing, freed together.
class RecordList {
public:
    RecordList() : m_list(50) {}
    ~RecordList() {
        while (!m_list.IsEmpty()) {
            CAutoMyPathInfo const freed(static_cast<MyPathInfo*>(m_list.RemoveHead()));
        }
    }
    RecordList(RecordList const&) = delete;
    RecordList& operator=(RecordList const&) = delete;
    CPtrList& List() { return m_list; }

private:
    CPtrList m_list;
};

// The files in a history folder; folders there belong to other files.
void ListVersions(CString const& folder, RecordList& versions) {
    CPtrList all(50);
    ApiUtil::GetServerPathlist().GetSubList(all, folder, 0, 0, 1);
    while (!all.IsEmpty()) {
        auto* const record = static_cast<MyPathInfo*>(all.RemoveHead());
        if (record != nullptr && record->m_isFolder != 0) {
            CAutoMyPathInfo const freed(record);
        } else {
            versions.List().AddTail(record);
        }
    }
}

__int64 ModifiedSeconds(MyPathInfo const& record) {
    return TimeUtil::SystemTimeToTime(record.m_modifiedTime).GetTime();
}

}  // namespace

CString CBackupTask::GetFileHistoryFolder(CString const& serverFile) {
    CString const root =
        CBackupManage::GetSvrHistFolder(GlobalFunction::IsEncryptionPath(m_serverFilePath), 0);
    if (root.IsEmpty()) {
        return root;  // a path below nothing would be one of another task
    }
    CString const taskFolder = PathUtilities::Append(
        root, PathUtilities::GetSubPath(m_serverFilePath, PathUtilities::GetParentFolder(m_serverFilePath)));
    return PathUtilities::Append(taskFolder, PathUtilities::GetSubPath(serverFile, m_serverFilePath));
}

namespace {

// The name under which the next version goes into a history folder, after the oldest one made way for it.
// Empty on a failure, which has been logged.
CString NameForVersion(CBackupTask& task, CString& folder, __int64 count, __int64 maxVersions,
                       CString const& base, CString const& extension) {
    if (count < maxVersions - 1) {
        return rampart::FreeVersionName(folder, base, count, extension);
    }
    CString const oldest = task.GetOldTimeFileHistory(folder);
    if (oldest.IsEmpty()) {
        return rampart::FreeVersionName(folder, base, count + 1, extension);
    }
    bool const isOwn = oldest.Find(base) >= 0;
    if (!isOwn) {
        DebugLine(_T("Task File History: error history file name-") + oldest);
    }
    if (int const code = DeleteServerPath(folder + _T("\\") + oldest)) {
        DebugFormat(_T("Task File History: failed to delete  history file-%d"), code);
        return CString();
    }
    return isOwn ? oldest : rampart::FreeVersionName(folder, base, count, extension);
}

}  // namespace

int CBackupTask::RecoredHistroryFile(CString serverFile, __int64 maxVersions, CString fileName) {
    return rampart::Guarded(_T("Error: RecoredHistroryFile"), 0, [&] {
        if (serverFile.IsEmpty() || fileName.IsEmpty()) {
            return 0;
        }
        CString folder = GetFileHistoryFolder(serverFile);
        DebugLine(_T("Task File Hisotry: task history path-") + folder);
        if (folder.IsEmpty()) {
            DebugLine(_T("Task File History: failed to create path-") + folder);
            return 0;
        }
        CString const base = PathUtilities::RemoveExtension(fileName);
        CString const extension = PathUtilities::GetExtension(fileName);
        __int64 count = 0;
        {
            // Exactly this name: a folder in another case holds the versions of another file.
            CAutoMyPathInfo const record(ApiUtil::GetPathInfoEx(folder, 0, 0));
            if (record != nullptr && record->m_path == folder && record->m_isFolder != 0) {
                RecordList versions;
                ListVersions(folder, versions);
                count = versions.List().GetCount();
            } else if (!rampart::EnsureExactServerFolder(folder)) {
                DebugLine(_T("Task File History: failed to create path-") + folder);
                return 0;
            }
        }
        CString const newName = NameForVersion(*this, folder, count, maxVersions, base, extension);
        if (newName.IsEmpty() || IsAppGone()) {
            return 0;
        }
        CAutoMyPathInfo const source(ApiUtil::GetPathInfoEx(serverFile, 0, 0));
        if (source == nullptr) {
            DebugLine(_T("Task File History: failed to find orignal file"));
            return 0;
        }
        CString message;
        if (int const code = ApiUtil::CopyServerPath(*source, 1, folder, 1, nullptr, _T("All"), message)) {
            DebugFormat(_T("Task File History: failed copy orgial file to history path-%d"), code);
            return 0;
        }
        CString const copied = folder + _T("\\") + PathUtilities::GetFileName(serverFile);
        if (int const code = ApiUtil::EditFile(copied, newName, _T(""), _T(""), message)) {
            DebugFormat(_T("Task File History: failed to edit file name-%d"), code);
            return 0;
        }
        return 1;
    });
}

CString CBackupTask::GetOldTimeFileHistory(CString& folder) {
    DebugLine(_T("Taks File History: start check"));
    RecordList records;
    CPtrList& list = records.List();
    ListVersions(folder, records);
    CString oldest;
    rampart::Guarded(_T("Error: GetOldTimeFileHistory"), 0, [&] {
        __int64 const extra = list.GetCount() - m_maxVersion + 1;
        if (!list.IsEmpty() && extra >= 1) {
            DebugLine(_T("Task File History: start sort file history"));
            GlobalFunction::SortFileHistoryList(list, 1);
            DebugLine(_T("Task File History: finish sort file history"));
            CStringList doomed(10);
            CString line = _T("Taks File History: delete files-");
            for (__int64 i = 0; i < extra && !list.IsEmpty() && !IsAppGone(); ++i) {
                CAutoMyPathInfo const record(static_cast<MyPathInfo*>(list.RemoveHead()));
                if (record != nullptr) {
                    doomed.AddTail(record->m_path);
                    line += record->m_path + _T("|");
                }
            }
            if (!doomed.IsEmpty()) {
                DebugLine(line);
                CString message;
                ApiUtil::DeletePaths(doomed, nullptr, 0, message);
            }
        }
        __int64 lowest = 0;
        for (POSITION position = list.GetHeadPosition(); position != nullptr && !IsAppGone();) {
            auto const* const record = static_cast<MyPathInfo const*>(list.GetNext(position));
            if (record != nullptr && (oldest.IsEmpty() || ModifiedSeconds(*record) < lowest)) {
                oldest = PathUtilities::GetFileName(record->m_path);
                lowest = ModifiedSeconds(*record);
            }
        }
        return 1;
    });
    DebugLine(_T("Taks File History: Get older file-") + oldest);
    return oldest;
}

void GlobalFunction::SortFileHistoryList(CPtrList& list, int) {
    CPtrList sorted(50);
    for (POSITION from = list.GetHeadPosition(); from != nullptr;) {
        auto* const record = static_cast<MyPathInfo*>(list.GetNext(from));
        if (record == nullptr) {
            return;
        }
        POSITION place = sorted.GetHeadPosition();
        while (place != nullptr &&
               ModifiedSeconds(*static_cast<MyPathInfo*>(sorted.GetAt(place))) <= ModifiedSeconds(*record)) {
            sorted.GetNext(place);
        }
        if (place != nullptr) {
            sorted.InsertBefore(place, record);
        } else {
            sorted.AddTail(record);
        }
    }
    list.RemoveAll();
    list.AddTail(&sorted);
}

int CBackupTask::DeleteFileVersions(CString file, CStringList& versions, int) {
    return rampart::Guarded(_T("Error: DeleteFileVersions"), 0, [&] {
        CString const folder = GetFileHistoryFolder(file);
        CStringList paths(10);
        for (POSITION position = versions.GetHeadPosition(); position != nullptr;) {
            paths.AddTail(folder + _T("\\") + versions.GetNext(position));
        }
        int result = 0;
        rampart::RunUnderLoop(_T("Error: DeleteVersionProc"), rampart::kLoopPlain, 1, [&] {
            theVaultLibApp.SetLoopMsg(rampart::DictionaryText(_T("IDS_STRDELETEINGVER")));
            result = ApiUtil::DeletePaths(paths) == 0 ? 1 : 0;
        });
        return result;
    });
}

bool rampart::IsVersionKept(CBackupTask& task, MyPathInfo const& record) {
    constexpr __int64 kClockSeconds = 2;  // between this process and the service
    CString const folder = task.GetFileHistoryFolder(record.m_path);
    CAutoMyPathInfo const history(ApiUtil::GetPathInfoEx(folder, 0, 0));
    if (folder.IsEmpty() || history == nullptr || history->m_path != folder) {
        return false;
    }
    RecordList versions;
    ListVersions(folder, versions);
    return std::any_of(versions.List().begin(), versions.List().end(), [&](void* entry) {
        auto const* const version = static_cast<MyPathInfo const*>(entry);
        // Two lives of a file may look alike but for the change time.
        return version != nullptr && version->m_size == record.m_size &&
               version->m_changeTime == record.m_changeTime && version->m_isGone == record.m_isGone &&
               ModifiedSeconds(*version) == ModifiedSeconds(record) &&
               std::abs(version->m_storedTime - record.m_storedTime) <= kClockSeconds;
    });
}

namespace {

constexpr int kPartLength = 5;

// An empty folder proves nothing: so does one look whose file system is not mounted.
bool HoldsAnything(CString const& folder) {
    KXFileFind find;
    for (int more = find.FindFile(folder + _T("\\*.*")); more != 0;) {
        more = find.FindNextFileW();
        if (!find.IsDots()) {
            return true;
        }
    }
    return false;
}

// Whether the place of a source can be looked at now. A network share or a drive that is away must not wipe
// its backup; neither must a file system that is not mounted, which leaves an empty folder behind.
bool IsSourceReachable(SourceInfo const& source) {
    CString const full = ApiUtil::PathToFullPath(source.path);
    // The source itself may be gone for good; the folder that held it must be there, on the volume it was on.
    CString const place = PathUtilities::IsExisting(full) ? full : PathUtilities::GetParentFolder(full);
    if (!PathUtilities::IsExisting(place) || (KXFolder::IsDirectory(place) && !HoldsAnything(place))) {
        return false;
    }
    return source.serial == 0 || GetDiskserial(GetDriveFromPath(full)) == source.serial;
}

bool IsKept(CBackupTask& task, MyPathInfo const& record, CString const& localPath) {
    bool const exists =
        record.m_isFolder != 0 ? KXFolder::IsDirectory(localPath) != 0 : KXFile::FileExists(localPath) != 0;
    if (!exists) {
        return false;
    }
    if (task.IsInBackupList(localPath)) {
        return true;
    }
    // A folder above a source holds what is backed up, though it is no source itself.
    return record.m_isFolder != 0 &&
           std::any_of(task.m_localDirList.begin(), task.m_localDirList.end(), [&](SourceInfo const* source) {
               CString const start = PathUtilities::Append(localPath, _T(""));
               return source != nullptr && source->path.Left(start.GetLength()).CompareNoCase(start) == 0;
           });
}

}  // namespace

unsigned int CBackupTask::RemoveExtraData(unsigned int& folders, unsigned int& files) {
    folders = files = 0;
    return rampart::Guarded(_T("Error:RemoveExtraData"), 0u, [&]() -> unsigned int {
        for (SourceInfo const* source : m_localDirList) {
            if (source == nullptr || !IsSourceReachable(*source)) {
                return 0;
            }
        }
        CString const root = m_serverFilePath + _T("\\");
        RecordList records;
        if (m_localDirList.empty() ||
            ApiUtil::GetServerPathlist().GetSubList(records.List(), root, 0, 1, 1) != 0) {
            return 0;
        }
        rampart::ServerPathMap const map(m_localDirList);
        CStringList doomed(10);
        CString goingFolder;  // the latest of `doomed`, with a backslash
        for (POSITION position = records.List().GetHeadPosition(); position != nullptr;) {
            auto const* const record = static_cast<MyPathInfo const*>(records.List().GetNext(position));
            rampart::Guarded(_T("Error:RemoveExtraData"), 0, [&] {
                if (record == nullptr) {
                    return 0;
                }
                CString rest = record->m_path.Mid(m_serverFilePath.GetLength());
                if (record->m_isFolder == 0 && rest.Right(kPartLength).CompareNoCase(_T(".part")) == 0 &&
                    !KXFile::FileExists(map.ToLocal(rest))) {
                    rest = rest.Left(rest.GetLength() - kPartLength);
                }
                if (!IsKept(*this, *record, map.ToLocal(rest))) {
                    // What lies in a folder that goes, goes with it.
                    if (goingFolder.IsEmpty() ||
                        record->m_path.Left(goingFolder.GetLength()) != goingFolder) {
                        doomed.AddTail(record->m_path);
                        goingFolder = record->m_isFolder != 0 ? record->m_path + _T("\\") : CString();
                    }
                    ++(record->m_isFolder != 0 ? folders : files);
                }
                return 1;
            });
        }
        if (doomed.IsEmpty()) {
            return 0;
        }
        CProgressBar* const progress = theVaultLibApp.m_pManagePrg;
        int const code = ApiUtil::DeletePaths(doomed, progress);
        if (progress != nullptr) {
            progress->m_nPercent = -1;
        }
        return static_cast<unsigned int>(code);
    });
}
