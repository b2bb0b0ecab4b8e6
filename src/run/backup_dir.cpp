// One folder of the list: made on the server, and walked where a host asks for that.
#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "paths/path_manage.h"
#include "progress/task_prg.h"
#include "run/recovery.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "run/server_folder.h"
#include "run/server_match.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

using rampart::DebugLine;

bool CBackupTask::MakeServerFolder(CString const& path, CString const& serverFolder, CString const& name,
                                   __int64& r, bool& tryAgain) {
    CString const flag = PathUtilities::IsHidePath(path) ? _T("N") : _T("Y");
    CString const serverPath = serverFolder + _T("\\") + name;
    auto make = [&] { return ApiUtil::AddEditFolder(serverPath, name, name, flag); };
    auto fail = [&](__int64 code) {
        r = code;
        rampart::FailRun(this,
                         rampart::DictionaryText(_T("CreateFolderError")) + rampart::ShownPath(serverPath));
        return false;
    };
    r = make();
    bool const firstCall = r != rampart::kSessionLost;
    if (r == rampart::kSessionLost) {
        if (!ReLogon(1)) {
            return true;
        }
        r = make();
    }
    if (r == rampart::kConnectionFailed) {
        if (!rampart::Reconnect(nullptr)) {
            return fail(r);
        }
        r = make();
        return true;
    }
    CString const reported = PathUtilities::Append(serverFolder, name);
    if (r == rampart::kItemLimit || r == rampart::kFreeItemLimit) {
        LogUploadFileResultInfo(r, reported, path, 0);
        return false;
    }
    if (r == rampart::kNoSpace) {
        tryAgain = rampart::UserMadeRoom(*this);
        if (!tryAgain) {
            LogUploadFileResultInfo(r, reported, path, 0);
        }
        return false;
    }
    if (r == rampart::kSecondFactorNeeded && firstCall) {
        return false;
    }
    if (r < rampart::kNoSpace) {
        return fail(r);
    }
    return true;
}

int CBackupTask::BackupDir(CString& path, CString serverFolder, int recurse) {
    DebugLine(_T("Task: backup dir-") + path);
    path = rampart::WithoutTrailingBackslash(path);
    // A drive's own name, "D:", is none for a folder.
    bool const isDrive = path.Find(_T('\\')) < 0;
    CString const name = rampart::LastElement(isDrive ? GetTargetSvrFolder(path, 0) : path);
    CString const serverPath = serverFolder + _T("\\") + name;
    __int64 r = 0;
    if (!rampart::FindServerFolder(serverPath, path)) {
        // Another folder may hold the parent's name in another case, or a file the name.
        rampart::EnsureServerFolder(*this, serverFolder, PathUtilities::GetParentFolder(path));
        if (int const code = rampart::MakeWay(*this, serverPath, path, true)) {
            rampart::DebugFormat(_T("Task: \"%s\" does not make way, %d"), serverPath, code);
        }
        bool tryAgain = false;
        if (!MakeServerFolder(path, serverFolder, name, r, tryAgain)) {
            if (tryAgain) {
                return BackupDir(path, serverFolder, recurse);
            }
            // Of a folder without its files the upload loop tells.
            if (recurse != 0 && r != rampart::kCancelled) {
                rampart::NoteLeftOut(path, r);
            }
            return static_cast<int>(r);
        }
    }
    if (r == rampart::kCancelled) {
        return rampart::kCancelled;
    }
    if (recurse == 0) {
        return r <= rampart::kNoSpace ? static_cast<int>(r) : rampart::kOk;
    }
    return WalkBackupDir(path, serverPath);
}

int CBackupTask::WalkBackupDir(CString const& path, CString const& serverFolder) {
    int code = rampart::kOk;
    try {
        KXFileFind find;
        int more = find.FindFile(ApiUtil::PathToFullPath(path) + _T("\\*.*"));
        while (more != 0) {
            more = find.FindNextFileW();
            if (find.IsDots() || (find.IsTemporary() && !rampart::AllowTemporaryFiles())) {
                continue;
            }
            CString entry = PathUtilities::Append(path, find.GetFileName());
            bool const isFolder = find.IsDirectory() != 0;
            if (isFolder) {
                if (m_filterType != _T("1") &&
                    CPathManage::FilterFolder(entry, &m_filtedPathList, m_filterType) != 0) {
                    continue;
                }
                code = BackupDir(entry, serverFolder, 1);
            } else {
                if (CheckFileFilter(entry, &m_filterExList, &m_filtedPathList, m_filterType) != 0) {
                    continue;
                }
                code = BackupFile(entry, serverFolder, 0, 0);
            }
            if (code == rampart::kItemLimit || code == rampart::kFreeItemLimit) {
                LogUploadFileResultInfo(code, serverFolder, entry, 0);
                return code;
            }
            if (code == rampart::kConnectionFailed || code == rampart::kCancelled ||
                code == rampart::kBatchAborted) {
                return code;
            }
            __int64 balanceCode = 0;
            if (code == rampart::kNoSpace && (isFolder || GetUserHaveSpace(balanceCode) <= 0)) {
                return code;
            }
        }
    } catch (...) {
        rampart::LogUnexpected(_T("Unexpected error:  BackupDir"));
    }
    return code;
}
