// Whether the drive of the mail cache has room for a snapshot of the mail files, and the question when it has
// not.
#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "interfaces/message_box.h"
#include "paths/global_function.h"
#include "platform/volumes.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

using rampart::DebugLine;
using rampart::DictionaryFormat;
using rampart::DictionaryText;

namespace {

constexpr __int64 kUsablePercent = 95;  // the rest of the drive is left alone
constexpr __int64 kNotPrepared = 2;

CString RootOf(CString const& folder) {
    int const end = folder.Find(_T('\\'));
    return end < 0 ? folder : folder.Left(end);
}

// Bytes; a drive that cannot be asked has none.
__int64 UsableSpace(CString const& folder) {
    rampart::platform::DiskSpace space;
    if (!rampart::platform::QueryDiskSpace((RootOf(folder) + _T("\\")).View(), space)) {
        return 0;
    }
    return static_cast<__int64>(space.availableBytes / 100 * kUsablePercent);
}

bool WantsToMakeRoom(CBackupTask const& task, __int64 need, __int64 usable) {
    CString const drive = RootOf(task.m_emailCacheFolder);
    CString const text = DictionaryFormat(
        _T("IDS_STRMSGNOSPACETEMPFOLDER"), task.m_taskName, need / rampart::kMegabyte,
        rampart::ShownPath(task.m_emailCacheFolder), drive, usable / rampart::kMegabyte, drive);
    return GlobalFunction::QuilMessageBox(text, rampart::kBoxOkCancel, 0, 0) == rampart::kAnswerOk;
}

// The folder of the task below the one that the user has chosen anew, which is remembered.
CString FolderOfTask(CBackupTask const& task) {
    CString const part = task.m_taskName + _T("_") + ApiUtil::GetCustomerID();
    CString const folder = PathUtilities::Append(task.m_emailCacheFolder, _T("temp"));
    KXFolder::RCreateDirectory(folder);
    GlobalFunction::SaveStringToRegstry(_T("TempFolder"), folder);
    return PathUtilities::Append(folder, part);
}

}  // namespace

int CBackupTask::CheckLocalSpace(__int64 const& need, __int64& code) {
    try {
        __int64 usable = UsableSpace(m_emailCacheFolder);
        while (need > usable) {
            if (!WantsToMakeRoom(*this, need, usable)) {
                code = rampart::kSkipped;
                rampart::FailRun(this, DictionaryText(_T("NoSpaceCachingFiles")));
                return 0;
            }
            bool const isMeasured = rampart::Guarded(_T("Error: checklocalspace"), false, [&] {
                usable = UsableSpace(m_emailCacheFolder);
                if (need <= usable) {
                    m_emailCacheFolder = FolderOfTask(*this);
                }
                return true;
            });
            if (!isMeasured) {
                code = rampart::kCancelled;
                return 0;
            }
        }
        KXFolder::RCreateDirectory(m_emailCacheFolder);
        return 1;
    } catch (...) {
        code = kNotPrepared;
        DebugLine(_T("Unexpected error:  PrepareEmailBackupCacheError"));
        rampart::FailRun(this, DictionaryText(_T("PrepareEmailBackupCacheError")) + GetLastErrorMsg());
        return 0;
    }
}
