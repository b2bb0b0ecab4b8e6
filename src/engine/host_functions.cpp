// The forwarders to the host's hooks, and what tells the two hosts of one machine apart.
#include <cstdlib>
#include <memory>

#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "paths/global_function.h"
#include "platform/clock.h"
#include "platform/process.h"

namespace {

constexpr TCHAR const* kServiceMutex = _T("Global\\KorvaneRampartService");
constexpr TCHAR const* kGuiMutex = _T("Global\\KorvaneRampartGUI");
constexpr uint32_t kServiceStartMs = 1000;

CString MutexName(TCHAR const* key, TCHAR const* fixedName) {
    CString const name = DictUtil::GetValue(key, _T(""));
    return name.IsEmpty() ? CString(fixedName) : name;
}

}  // namespace

int GlobalFunction::QuilMessageBox(TCHAR const* text, unsigned int type, unsigned long timeoutSeconds,
                                   int value) {
    MsgBoxProc const box = theVaultLibApp.m_pfnMsgBox;
    return box != nullptr ? box(text, type, timeoutSeconds, value) : 0;
}

int GlobalFunction::IsNeedShowPrg() {
    if (MiscUtil::IsAppStopping() || MiscUtil::IsAppLoggingOff() ||
        theVaultLibApp.m_pfnIsNeedShowPrg == nullptr) {
        return 0;
    }
    return theVaultLibApp.m_pfnIsNeedShowPrg();
}

int GlobalFunction::AskUIForShellExecute(CString const& verb, CString const& target) {
    return theVaultLibApp.m_pfnUIShellExecute != nullptr ? theVaultLibApp.m_pfnUIShellExecute(verb, target)
                                                         : 0;
}

int GlobalFunction::IsBackupServiceRunning() {
    return rampart::platform::NamedMutex::Exists(
        MutexName(_T("IDS_BACKUPSERVICEMUTEX"), kServiceMutex).View());
}

int GlobalFunction::IsBackupGUIRunning() {
    return rampart::platform::NamedMutex::Exists(MutexName(_T("IDS_BACKUPGUIMUTEX"), kGuiMutex).View());
}

void* GlobalFunction::CreateBackServiceMutex() {
    // Open for the life of the service: the caller has a handle, not an owner.
    return rampart::platform::NamedMutex::Create(
               MutexName(_T("IDS_BACKUPSERVICEMUTEX"), kServiceMutex).View())
        .release();
}

int GlobalFunction::StartServiceProcess() {
    CString const program = DictUtil::GetAppExeFolder() + _T("\\BackupService.exe");
    if (!rampart::platform::StartProgram(program.View(), _T("-d"))) {
        GetManageDebugLog().AddDebugInfo(_T("Couldn't create  BackupService.exe process."), 0);
        return 0;
    }
    rampart::platform::SleepMilliseconds(kServiceStartMs);
    return 1;
}

int GlobalFunction::SendMsgToUI(CString const&, int command, unsigned char* buffer, __int64 size,
                                unsigned char** reply, __int64* replySize) {
    std::unique_ptr<unsigned char, decltype(&std::free)> const owned(buffer, &std::free);
    COPYDATASTRUCT message;
    message.dwData = static_cast<uintptr_t>(command);
    message.cbData = static_cast<DWORD>(size);
    message.lpData = buffer;
    CString const receiver =
        DictUtil::GetValue(_T("GUIServiceInterMsgReceiver"), _T("GUIServiceInterMsgRecvr"));
    return static_cast<int>(
        SendProcessMsgRetBuf(receiver, _T("NULL_SVC_UIAttachment"), message, reply, replySize));
}
