#include "run/server_folder.h"

#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "interfaces/record_keeping.h"
#include "paths/global_function.h"
#include "platform/clock.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "run/server_match.h"
#include "run/server_path_map.h"
#include "run/version_names.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

namespace rampart {

namespace {

constexpr __int64 kFirstFolderResult = 10;

}  // namespace

int MakeWay(CBackupTask& task, CString const& serverPath, CString const& localPath, bool forFolder) {
    CAutoMyPathInfo record;
    if (int const code = FindServerRecord(serverPath, localPath, record)) {
        return code;
    }
    if (record == nullptr || (record->m_isFolder != 0) == forFolder) {
        return kOk;
    }
    CString const path = record->m_path;
    DebugLine(_T("Task: makes way-") + path);
    CString message;
    if (int const code =
            RecordKeeping::MarkGone({path}, platform::CurrentClock().NowNanoseconds(), message)) {
        return code;
    }
    // The version knows until when it was there.
    bool const isKept = !forFolder || IsVersionKept(task, **record) ||
                        task.RecoredHistroryFile(path, task.m_maxVersion, LastElement(path)) != 0;
    return isKept ? kOk : kFailed;
}

bool EnsureServerFolder(CBackupTask& task, CString const& serverFolder, CString const& localFolder) {
    if (FindServerFolder(serverFolder, localFolder)) {
        return true;
    }
    if (MakeWay(task, serverFolder, localFolder, true) != kOk) {
        return false;
    }
    if (!ApiUtil::GetServerPathlist().IsPathExistEx(serverFolder, 0, 0)) {
        return GlobalFunction::CreateSrvFolder(serverFolder, _T(""), _T(""), nullptr) != 0;
    }
    CString const name = LastElement(serverFolder);
    return EnsureServerFolder(task, PathUtilities::GetParentFolder(serverFolder),
                              PathUtilities::GetParentFolder(localFolder)) &&
           ApiUtil::AddEditFolder(serverFolder, name, _T(""), _T("Y")) >= kFirstFolderResult;
}

bool EnsureExactServerFolder(CString const& serverFolder) {
    if (!ApiUtil::GetServerPathlist().IsPathExistEx(serverFolder, 0, 0)) {
        CString const parent = PathUtilities::GetParentFolder(serverFolder);
        return (parent.GetLength() <= 1 || EnsureExactServerFolder(parent)) &&
               GlobalFunction::CreateSrvFolder(serverFolder, _T(""), _T(""), nullptr) != 0;
    }
    CAutoMyPathInfo const record(ApiUtil::GetPathInfoEx(serverFolder, 0, 0));
    if (record != nullptr && record->m_path == serverFolder) {
        return true;
    }
    return EnsureExactServerFolder(PathUtilities::GetParentFolder(serverFolder)) &&
           ApiUtil::AddEditFolder(serverFolder, LastElement(serverFolder), _T(""), _T("Y")) >=
               kFirstFolderResult;
}

}  // namespace rampart

int GlobalFunction::CreateSrvFolder(CString path, CString name, CString description, __int64* code) {
    try {
        if (ApiUtil::GetSessionID().IsEmpty()) {
            return 0;
        }
        if (ApiUtil::GetServerPathlist().IsPathExistEx(path, 0, 0)) {
            if (code != nullptr) {
                *code = 0;
            }
            return 1;
        }
        constexpr int kShortest = 2;
        if (path.GetLength() > kShortest) {
            path = rampart::WithoutTrailingBackslash(path);
        }
        CString const parent = path.Left(std::max(0, path.ReverseFind(_T('\\'))));
        if (parent.GetLength() > 1 && !CreateSrvFolder(parent, _T(""), _T(""), nullptr)) {
            return 0;
        }
        __int64 result = ApiUtil::AddEditFolder(path, name, description, _T("Y"));
        if (result == rampart::kSessionLost && ReLogon(1)) {
            result = ApiUtil::AddEditFolder(path, name, description, _T("Y"));
        }
        if (code != nullptr) {
            *code = result;
        }
        return result >= 1 && result < rampart::kFirstFolderResult ? 0 : 1;
    } catch (...) {
        rampart::LogUnexpected(_T("Unexpected error:  GF-CreateSrvFolder"));
        return 0;
    }
}

CString CBackupTask::GetTargetSvrFolder(CString path, int asFile) {
    return rampart::Guarded(_T("Error:GetTargetSvrFolder"), CString(), [&] {
        bool const isOwnFolder = asFile == 0 && (KXFolder::IsDirectory(path) || KXFolder::IsDriveRoot(path));
        bool const isCached =
            IsEmailBackup() && path.GetLength() > m_emailCacheFolder.GetLength() &&
            path.Left(m_emailCacheFolder.GetLength()).CompareNoCase(m_emailCacheFolder) == 0;
        CString const rest = isCached ? path.Mid(m_emailCacheFolder.GetLength())
                                      : rampart::ServerPathMap(m_localDirList).ToServer(path);
        if (isOwnFolder) {
            return m_serverFilePath + rest;
        }
        return m_serverFilePath + rest.Left(std::max(0, rest.ReverseFind(_T('\\'))));
    });
}
