#include "engine/vaultlib_app.h"

#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "paths/global_function.h"
#include "paths/path_manage.h"
#include "storage/service_code.h"

CvaultlibApp theVaultLibApp;

int CvaultlibApp::InitInstance() {
    CWinApp::InitInstance();
    InitVersionInfo();
    return 1;
}

void CvaultlibApp::InitVersionInfo() {
    auto isOn = [](TCHAR const* key) {
        return DictUtil::GetConfigString(_T("Options"), key, _T(""), _T("")) == _T("1") ? 1 : 0;
    };
    m_isKPBranding = isOn(_T("KP"));
    m_isCastlinBranding = isOn(_T("Castlin"));
    m_isBrenmoorBranding = isOn(_T("Brenmoor"));
}

unsigned int CvaultlibApp::EnterLoopMode(CWinThread* thread, unsigned int loopType, int canCancel) {
    if (m_pLoopItem != nullptr) {
        m_pLoopItem->EnterLoopMode(thread, loopType, canCancel);
    }
    return 0;
}

unsigned int CvaultlibApp::WaitForEnterLoopMode(CWinThread* thread) {
    if (m_pLoopItem != nullptr) {
        m_pLoopItem->WaitForEnterLoopMode(thread);
    }
    return 0;
}

int CvaultlibApp::LeaveLoopMode() {
    return m_pLoopItem != nullptr ? m_pLoopItem->LeaveLoopMode(0) : 1;
}

int CvaultlibApp::SetLoopMsg(CString text) {
    return m_pLoopItem != nullptr ? m_pLoopItem->SetLoopMsg(text, 0) : 1;
}

int CvaultlibApp::SetLoopMsg(SCANFILESINFO const& info) {
    return m_pLoopItem != nullptr ? m_pLoopItem->SetLoopMsg(info, 0) : 1;
}

int CvaultlibApp::SetLoopType(unsigned int type) {
    return m_pLoopItem != nullptr ? m_pLoopItem->SetLoopType(type, 0) : 1;
}

int CvaultlibApp::IsLoopCancel() {
    return m_pLoopItem != nullptr ? m_pLoopItem->IsLoopCancel(0) : 0;
}

int CvaultlibApp::IsLoopRetry() {
    return m_pLoopItem != nullptr ? m_pLoopItem->IsLoopRetry(0) : 1;
}

int CvaultlibApp::SetLoopCancel() {
    return m_pLoopItem != nullptr ? m_pLoopItem->SetLoopCancel(0) : 0;
}

void SetMsgBoxProc(MsgBoxProc proc) {
    theVaultLibApp.m_pfnMsgBox = proc;
}

int SetProgress(CProgressBar* progress) {
    theVaultLibApp.m_pProgress = progress;
    return 1;
}

int SetPrgUIAttatchment(CPrgAttachment* attachment) {
    theVaultLibApp.m_pPrgAttachment = attachment;
    return 1;
}

int SetLoopItem(CLoopItem* item) {
    theVaultLibApp.m_pLoopItem = item;
    return 1;
}

void SetRefreshTaskListUIProc(RefreshTaskProc proc) {
    theVaultLibApp.m_pfnRefreshTaskListUI = proc;
}

void SetRefreshCurrentTaskInfoProc(RefreshTaskProc proc) {
    theVaultLibApp.m_pfnRefreshCurrentTaskInfo = proc;
}

void SetIsNeedShowPrgProc(IsNeedShowPrgProc proc) {
    theVaultLibApp.m_pfnIsNeedShowPrg = proc;
}

void SetUIShellExecute(ShellExecuteProc proc) {
    theVaultLibApp.m_pfnUIShellExecute = proc;
}

int OnOtherApp(int value) {
    return ApiUtil::GetVersionFromServer(value);
}

namespace {

int LogOnAgain(int askStored) {
    CString message;
    CString user = ApiUtil::GetUsername();
    if (!user.IsEmpty()) {
        switch (ApiUtil::Logon(user, ApiUtil::GetPassword(), message)) {
            case rampart::kOk:
                return 1;
            case rampart::kCancelled:
            case rampart::kRefused:
            case rampart::kConnectionFailed:
                return 0;
            default:
                break;
        }
    }
    if (askStored == 0) {
        return 0;
    }
    CString password;
    int saved = 0;
    int autoLogon = 0;
    MiscUtil::ReadUserSettings(user, password, saved, autoLogon);
    if (saved == 0 || user.IsEmpty() || password.IsEmpty()) {
        return 0;
    }
    int const result = ApiUtil::Logon(user, password, message);
    if (result == rampart::kRefused) {
        GlobalFunction::QuilMessageBox(DictUtil::GetValue(_T("IDS_MSGPASSWORD"), _T("")), 0, 0, 0);
    }
    return result == rampart::kOk ? 1 : 0;
}

}  // namespace

int ReLogon(int askStored) {
    return rampart::Guarded(_T("Error:ReLogon"), 0, [&] {
        if (!LogOnAgain(askStored)) {
            return 0;
        }
        CPathManage::InitRegexFilter();  // the account's own
        return 1;
    });
}
