// What a run tells: the counters, and the lines from which mail reports are made.
#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "progress/task_prg.h"
#include "task/backup_task.h"
#include "task/engine_text.h"
#include "task/stored_time.h"

namespace {

// A list keeps at most one line more than this; a further one empties it first.
constexpr int kMaxLines = 100;
constexpr int kMaxRunErrorLength = 10240;

void AddLine(CStringList& list, CString const& line) {
    if (list.GetCount() > kMaxLines) {
        list.RemoveAll();
    }
    list.AddTail(line);
}

CString DrainLines(CStringList& list, TCHAR const* start, TCHAR const* separator,
                   CTaskPrgClass const* progress) {
    if (list.IsEmpty()) {
        return CString();
    }
    CString text = start;
    for (int taken = 0; !list.IsEmpty() && taken <= kMaxLines; ++taken) {
        if ((progress != nullptr && progress->m_bCancel != 0) || rampart::IsAppEnding()) {
            break;
        }
        text += list.RemoveHead() + separator;
    }
    return text;
}

CString JoinLines(CStringList const& list) {
    CString text;
    for (CString const& line : list) {
        text += (text.IsEmpty() ? _T("") : _T("\n")) + line;
    }
    return text;
}

}  // namespace

void CBackupTask::InitEventLog() {
    rampart::CriticalLock const lock(m_reportLock);
    m_reportUploadedCount = 0;
    m_reportChangedCount = 0;
    m_reportAddedCount = 0;
    m_reportTotalCount = 0;
    m_failedUploadCount = 0;
    m_errorEmailLog.RemoveAll();
    m_successEmailLog.RemoveAll();
    m_warningEmailLog.RemoveAll();
}

void CBackupTask::AddRunError(CString const& text) {
    rampart::CriticalLock const lock(m_reportLock);
    if (m_runErrorText.GetLength() < kMaxRunErrorLength) {
        m_runErrorText += text + _T("\n");
    }
}

void CBackupTask::ClearRunError() {
    rampart::CriticalLock const lock(m_reportLock);
    m_runErrorText.Empty();
    m_errorsOfRun.RemoveAll();
    m_warningsOfRun.RemoveAll();
}

CString CBackupTask::GetRunErrorText() {
    rampart::CriticalLock const lock(m_reportLock);
    return m_runErrorText;
}

CString CBackupTask::GetErrorsOfRun() {
    rampart::CriticalLock const lock(m_reportLock);
    return JoinLines(m_errorsOfRun);
}

CString CBackupTask::GetWarningsOfRun() {
    rampart::CriticalLock const lock(m_reportLock);
    return JoinLines(m_warningsOfRun);
}

void CBackupTask::AddEmailErrorLog(CString const& name, CString const& text) {
    CString const line = name + _T(": ") + text;
    rampart::CriticalLock const lock(m_reportLock);
    AddLine(m_errorEmailLog, line);
    AddLine(m_errorsOfRun, line);
}

void CBackupTask::AddEmailWarningLog(CString const& name, CString const& text) {
    CString const line = name + _T(": ") + text;
    rampart::CriticalLock const lock(m_reportLock);
    AddLine(m_warningEmailLog, line);
    AddLine(m_warningsOfRun, line);
}

void CBackupTask::AddSuccessEmailLog() {
    if (m_reportTotalCount == 0) {
        return;
    }
    __int64 const needed = m_reportChangedCount + m_reportAddedCount;
    if (m_reportUploadedCount > needed) {
        m_reportUploadedCount = needed;
    }
    CString line;
    line.Format(DictUtil::GetValue(_T("SuccessEmailBody"), _T("")), m_taskName,
                rampart::RawNow().Format(_T("%m/%d/%Y %H:%M:%S")));
    CString counts;
    counts.Format(DictUtil::GetValue(_T("SuccessEmailScanFiles"), _T("")),
                  static_cast<__int64>(m_reportTotalCount), static_cast<__int64>(m_reportAddedCount),
                  static_cast<__int64>(m_reportChangedCount), static_cast<__int64>(m_reportUploadedCount));
    rampart::CriticalLock const lock(m_reportLock);
    AddLine(m_successEmailLog, line + _T("\n") + counts + _T("\n"));
}

CString CBackupTask::GetErrorEmailLog() {
    rampart::CriticalLock const lock(m_reportLock);
    return DrainLines(m_errorEmailLog, _T("\n\n"), _T("\n"), m_pTaskPrg);
}

CString CBackupTask::GetSuccessEmailLog() {
    rampart::CriticalLock const lock(m_reportLock);
    return DrainLines(m_successEmailLog, _T("\n"), _T("\n\n"), m_pTaskPrg);
}

CString CBackupTask::GetWarningLog() {
    rampart::CriticalLock const lock(m_reportLock);
    return DrainLines(m_warningEmailLog, _T("\n\n"), _T("\n"), m_pTaskPrg);
}
