// What is to be stored against what the account may hold, and the questions asked when it does not fit.
#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "run/recovery.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

using rampart::DebugLine;
using rampart::DictionaryFormat;
using rampart::DictionaryText;

rampart::Word<int> m_spaceAlertAllowed = 1;
rampart::Word<int> m_spaceAlertNoteOnly = 0;

namespace {

constexpr int kAccountPasses = 10;
constexpr unsigned long kNoteSeconds = 60;

__int64 FreeSpace(AccountBalance const& balance) {
    return balance.m_totalSpace - balance.m_usedSpaceOther - balance.m_usedSpace;
}

CString ReachedLimitText() {
    return DictionaryText(_T("IDS_STRREACHLIMIT")) + _T(" ") + DictionaryText(_T("IDS_ORDERSPACE"));
}

void RefreshUsage() {
    if (theVaultLibApp.m_pMainWnd != nullptr) {
        theVaultLibApp.m_pMainWnd->RefreshUsageAlertString(1);
    }
}

// What one look at the account says.
enum class Room { kEnough, kEnded, kTryAgain };

Room AskForRoom(CBackupTask& task, __int64 need, __int64 free, __int64& code) {
    CString text;
    bool wantsRetry = false;
    if (free > 0) {
        text = DictionaryFormat(_T("IDS_NEEDMOREBUYSPACE"), task.m_taskName,
                                (need + 0xFFFFF) / rampart::kMegabyte, free / rampart::kMegabyte);
        if (GlobalFunction::SpaceLimitAlert(text, rampart::kBoxShortOfRoom) == 0) {
            task.m_roomRefused = 1;
            code = rampart::kOk;  // the user goes on with what there is
            return Room::kEnded;
        }
        wantsRetry = GlobalFunction::SpaceLimitRetry(_T("")) != 0;
    } else {
        text = DictionaryFormat(_T("NeedMoreBuySpace"), free / rampart::kMegabyte);
        wantsRetry = GlobalFunction::SpaceLimitAlert(text, rampart::kBoxNoRoom) != 0 &&
                     GlobalFunction::SpaceLimitRetry(_T("")) != 0;
    }
    if (wantsRetry) {
        return Room::kTryAgain;
    }
    task.m_roomRefused = 1;
    code = rampart::kNoSpace;
    rampart::FailRun(&task, text);
    return Room::kEnded;
}

Room LookAtAccount(CBackupTask& task, __int64 need, __int64& code) {
    AccountBalance balance;
    code = rampart::ReadBalance(balance);
    if (!task.CheckNetwork(code)) {
        return Room::kEnded;
    }
    if (code != rampart::kOk) {
        rampart::DebugFormat(_T("CheckAccountSpace, ret:%d"), static_cast<int>(code));
        return Room::kEnded;
    }
    __int64 const free = FreeSpace(balance);
    if (free - need > 0) {
        return Room::kEnough;
    }
    if (need < 0) {
        rampart::DebugFormat(_T("Task: need space- %I64d"), need);
    }
    if (rampart::IsCancelled(task.m_pTaskPrg)) {
        code = rampart::kCancelled;
        return Room::kEnded;
    }
    return AskForRoom(task, need, free, code);
}

}  // namespace

void CBackupTask::CheckAccountSpace(__int64 const& need, __int64& code) {
    try {
        for (int pass = 0; pass < kAccountPasses; ++pass) {
            if (LookAtAccount(*this, need, code) != Room::kTryAgain) {
                return;
            }
            RefreshUsage();
        }
    } catch (...) {
        code = rampart::kCancelled;
        rampart::FailRun(this, DictionaryText(_T("GetAccountBalanceError")) + GetLastErrorMsg());
    }
}

namespace {

CString NeedMoreSpaceText(CBackupTask const& task, __int64 size, __int64 free) {
    CString const needText = FormatSizeToString(size, 0);
    CString freeText = FormatSizeToString(free < 0 ? -free : free, 0);
    if (free < 0) {
        freeText = _T("-") + freeText;
    }
    CString const buyText = FormatSizeToString(2 * (size - free), 0);
    bool const talmor = MiscUtil::IsBrandingForTalmor() != 0;
    bool const generic = MiscUtil::IsGeneric() != 0;
    bool const subscribe = ApiUtil::IsAllowSubscribe() != 0;
    if (!subscribe && free <= 0) {
        return DictionaryText(_T("CommonUserStorageSpace"));
    }
    TCHAR const* key = _T("IDS_STRNEEDMORESPACE");
    if (talmor && !subscribe) {
        key = _T("SubUserHaveBuyStorageSpace");
    }
    if ((generic || talmor) && free == 0) {
        key = _T("GroupAdministratorHaveBuyStorageSpace");
    }
    if (generic || (talmor && free != 0)) {
        return DictionaryFormat(key, task.m_taskName, needText, freeText, buyText);
    }
    return DictionaryFormat(key, task.m_taskName, needText, freeText);
}

}  // namespace

int CBackupTask::CheckFreeSpaceFromServer(__int64 size, CBackupTask* task, int& code) {
    try {
        if (task == nullptr) {
            return 0;
        }
        for (;;) {
            AccountBalance balance;
            code = rampart::ReadBalance(balance);
            if (code != rampart::kOk) {
                return 0;
            }
            __int64 const free = FreeSpace(balance);
            if (free - size > 0) {
                return 1;
            }
            if (size < 0) {
                rampart::DebugFormat(_T("Scan: need space-%I64d"), size);
                return 0;
            }
            CString const text = NeedMoreSpaceText(*task, size, free);
            DebugLine(text);
            if (GlobalFunction::SpaceLimitAlert(text, rampart::kBoxShortOfRoom) == 0) {
                return 1;
            }
            if (GlobalFunction::SpaceLimitRetry(DictionaryText(_T("IDS_REBACKAGAIN"))) == 0) {
                return 0;
            }
        }
    } catch (...) {
        DebugLine(_T("Error: CheckFreeSpaceFromServer"));
        return 0;
    }
}

__int64 CBackupTask::GetUserHaveSpace(__int64& code) {
    AccountBalance balance;
    code = rampart::ReadBalance(balance);
    return code == rampart::kOk ? FreeSpace(balance) : 0;
}

int CBackupTask::UpdateServiceForUploadLimit(CString path) {
    TCHAR const* const key =
        ApiUtil::IsPaidUser(_T("")) ? _T("PayUserUploadNumberLimit") : _T("FreeUserUploadNumberLimit");
    CString const text = DictionaryFormat(key, rampart::ShownPath(path), ApiUtil::GetLimitUploadNumber(),
                                          rampart::ShownPath(path));
    if (ApiUtil::IsAllowSubscribe()) {
        return GlobalFunction::SpaceLimitAlert(text, rampart::kBoxNoRoom) != 0 &&
                       GlobalFunction::SpaceLimitRetry(text) != 0
                   ? 1
                   : 0;
    }
    GlobalFunction::QuilMessageBox(text, 0, 0, 0);
    return 0;
}

int GlobalFunction::SpaceLimitAlert(CString text, int style) {
    if (m_spaceAlertAllowed == 0) {
        return 0;
    }
    if (text.IsEmpty()) {
        text = ReachedLimitText();
    }
    unsigned int buttons = rampart::kBoxYesNo;
    if (MiscUtil::IsBrandingForOrvelle() || MiscUtil::IsGeneric() || MiscUtil::IsBrandingForTalmor()) {
        buttons = static_cast<unsigned int>(style);
        if (!ApiUtil::IsAllowSubscribe()) {
            text = DictionaryText(_T("CommonUserStorageSpace"));
        }
    }
    if (m_spaceAlertNoteOnly != 0) {
        QuilMessageBox(text, 0, kNoteSeconds, 1);
        return 0;
    }
    if (QuilMessageBox(text, buttons, 0, 1) != rampart::kAnswerYes) {
        return 0;
    }
    // Without a page the user makes room in some other way; the retry question waits for it.
    if (CString const address = ApiUtil::GetRealWebAppURL(); !address.IsEmpty()) {
        AskUIForShellExecute(_T("open"), address + _T("/secure/autologon.aspx?sesID=") +
                                             ApiUtil::GetSessionID() + _T("&gotoURL=/Secure/Subscribe.aspx") +
                                             ApiUtil::GetSrcRefString());
    }
    return 1;
}

int GlobalFunction::SpaceLimitRetry(CString text) {
    if (text.IsEmpty()) {
        text = ReachedLimitText();
    }
    if (QuilMessageBox(text, rampart::kBoxRetryCancel, 0, 0) != rampart::kAnswerRetry) {
        return 0;
    }
    ReLogon(1);
    AccountBalance balance;
    if (rampart::ReadBalance(balance) != rampart::kOk) {
        DebugLine(_T("Error: SpaceLimitRetry"));
    }
    RefreshUsage();
    return 1;
}
