#include "progress/task_prg.h"

#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"

namespace {

// Waits for the worker, cutting its connection again and again until it ends.
void WaitForWorker(HANDLE worker, DWORD firstWaitMs, DWORD nextWaitMs, const std::function<void()>& cut) {
    while (MyWaitForSingleObject(worker, firstWaitMs) == rampart::kWaitTimedOut) {
        cut();
        MyWaitForSingleObject(worker, nextWaitMs);
        DWORD exitCode = 0;
        if (rampart::GetExitCodeThread(worker, exitCode) && exitCode == rampart::kStillActive) {
            GetManageDebugLog().AddDebugInfo(
                _T("Prg: Failed to stop task in time; there might be an error or please wait longer"), 0);
        }
    }
}

}  // namespace

int CTaskPrgClass::Create() {
    return AddAttachment(m_pHostPrg);
}

int CTaskPrgClass::BeginFile(CString path, __int64 size, int flag) {
    SetState(ProgressStateTransfer);
    const int result = CProgressBar::BeginFile(path, size, flag);
    TellHost(_T("Error:BeginFile"),
             [&](CPrgAttachment& host) { host.BeginFileEx(path, size, flag, GetTaskName()); });
    return result;
}

int CTaskPrgClass::EndFile(CString path, int code) {
    const int result = CProgressBar::EndFile(path, code);
    TellHost(_T("Error:EndFile"), [&](CPrgAttachment& host) { host.EndFileEx(path, code, GetTaskName()); });
    return result;
}

int CTaskPrgClass::EndCurrent() {
    TellHost(_T("Error:EndCurrent"), [&](CPrgAttachment& host) { host.EndCurrent(GetTaskName()); });
    return 1;
}

int CTaskPrgClass::ShowPrg() {
    TellHost(_T("Error:ShowPrg"), [&](CPrgAttachment& host) { host.ShowPrg(GetTaskName()); });
    return 1;
}

int CTaskPrgClass::Stop(CString const&, unsigned long seconds) {
    const HANDLE worker = m_pWorker.Handle();
    const DWORD workerId = m_pWorker.ThreadId();
    if (!worker) {
        return 0;
    }
    SetStopping(1);
    CancelMe();
    if (workerId == rampart::CurrentThreadId()) {
        return 1;  // a run that stops itself ends by the cancel
    }
    rampart::Guarded(_T("Error: prg-Stop"), [&] {
        const auto nextWaitMs = static_cast<DWORD>((seconds + kStopExtraSeconds) * 1000);
        WaitForWorker(worker, m_stopWaitMs, nextWaitMs, [&] {
            CancelMe();
            ApiUtil::CloseConnectionByThreadID(workerId);
        });
        rampart::ResetEvent(m_hCancelEvent);
        CProgressBar::EndCurrent();
        EndCurrent();
    });
    SetStopping(0);
    return 1;
}

void CTaskPrgClass::TellHost(rampart::TextView line, const std::function<void(CPrgAttachment&)>& call) {
    if (CPrgAttachment* host = m_pHostPrg) {
        rampart::Guarded(line, [&] { call(*host); });
    }
}
