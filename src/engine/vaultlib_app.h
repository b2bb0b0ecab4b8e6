// CvaultlibApp and theVaultLibApp: the one application object, whose members a host fills once before the
// first call. Pointers belong to the host; the library never deletes them. All threads read them without a
// lock.
#pragma once

#include "engine/loop_item.h"
#include "engine/main_wnd.h"
#include "framework/framework.h"
#include "interfaces/message_box.h"
#include "interfaces/transferlib.h"

class CBackupManage;
class CBackupTask;
class CPrgAttachment;
class CProgressBar;

using MsgBoxProc = int (*)(TCHAR const* text, unsigned int type, unsigned long timeoutSeconds, int);
using IsNeedShowPrgProc = int (*)();
using RefreshTaskProc = int (*)(CBackupTask*);
using ShellExecuteProc = int (*)(CString const& verb, CString const& target);

class VAULTLIB_API CvaultlibApp : public CWinApp {
public:
    int InitInstance() override;
    void InitVersionInfo();

    // Forwarded to m_pLoopItem; a fixed answer when there is none.
    unsigned int EnterLoopMode(CWinThread* thread, unsigned int loopType, int canCancel);
    unsigned int WaitForEnterLoopMode(CWinThread* thread);
    int LeaveLoopMode();
    int SetLoopMsg(CString text);
    int SetLoopMsg(SCANFILESINFO const& info);
    int SetLoopType(unsigned int type);
    int IsLoopCancel();
    int IsLoopRetry();
    int SetLoopCancel();

    AccountBalance m_accountBalance;  // last balance read for the process
    CBackupManage* m_pBackupManage = nullptr;
    CProgressBar* m_pManagePrg = nullptr;
    CProgressBar* m_pProgress = nullptr;
    CPrgAttachment* m_pPrgAttachment = nullptr;
    CLoopItem* m_pLoopItem = nullptr;
    IsNeedShowPrgProc m_pfnIsNeedShowPrg = nullptr;
    MsgBoxProc m_pfnMsgBox = nullptr;
    RefreshTaskProc m_pfnRefreshTaskListUI = nullptr;
    RefreshTaskProc m_pfnRefreshCurrentTaskInfo = nullptr;
    ShellExecuteProc m_pfnUIShellExecute = nullptr;
    CMainWnd* m_pMainWnd = nullptr;
    int32_t m_isKPBranding = 0;
    int32_t m_isCastlinBranding = 0;
    int32_t m_isBrenmoorBranding = 0;
};

extern VAULTLIB_API CvaultlibApp theVaultLibApp;

VAULTLIB_API void SetMsgBoxProc(MsgBoxProc proc);
VAULTLIB_API int SetProgress(CProgressBar* progress);
VAULTLIB_API int SetPrgUIAttatchment(CPrgAttachment* attachment);
VAULTLIB_API int SetLoopItem(CLoopItem* item);
VAULTLIB_API void SetRefreshTaskListUIProc(RefreshTaskProc proc);
VAULTLIB_API void SetRefreshCurrentTaskInfoProc(RefreshTaskProc proc);
VAULTLIB_API void SetIsNeedShowPrgProc(IsNeedShowPrgProc proc);
VAULTLIB_API void SetUIShellExecute(ShellExecuteProc proc);
VAULTLIB_API int OnOtherApp(int value);
VAULTLIB_API int ReLogon(int askStored);  // 1 when logged on again
