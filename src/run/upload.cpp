// The upload's exported operations beside the loop: batch, wait list, reports of codes, partial uploads.
#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "run/upload_dispatch.h"
#include "run/upload_driver.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

using rampart::DebugLine;

namespace {

constexpr __int64 kReportedConnectionErrors = 10;
constexpr TCHAR const* kBetweenNames = _T(" | ");  // an engine path holds no bar

// One path, or those of a batch.
CString ShownPaths(CString const& paths) {
    CString shown;
    int const gap = CString(kBetweenNames).GetLength();
    for (int start = 0, end = 0; end >= 0; start = end + gap) {
        end = paths.Find(kBetweenNames, start);
        shown += (start > 0 ? CString(kBetweenNames) : CString()) +
                 rampart::ShownPath(end < 0 ? paths.Mid(start) : paths.Mid(start, end - start));
    }
    return shown;
}

}  // namespace

int CBackupTask::UploadFilesFromCahce(int isEmail, CString const& topFolder, __int64& result) {
    return rampart::UploadDriver(*this, nullptr, isEmail != 0, topFolder, result).Run();
}

int CBackupTask::BeginUploadingData(CStringList& paths, int isEmail, CString const& topFolder,
                                    __int64& result) {
    return rampart::UploadDriver(*this, &paths, isEmail != 0, topFolder, result).Run();
}

int CBackupTask::BatchUploadingFiles(__int64& result) {
    try {
        result = m_pBatchMode != nullptr ? m_pBatchMode->DoBatch(0, 0) : rampart::kOk;
        return 1;
    } catch (...) {
        result = rampart::kUnexpected;
        DebugLine(_T("Unexpected error:  BatchUploadingFiles"));
        rampart::FailRun(this, rampart::DictionaryText(_T("BatchBackupFilesError")) + GetLastErrorMsg());
        return 0;
    }
}

void CBackupTask::AddNeedBackupFileToWaitList(int isEmail, CString const& topFolder,
                                              CString const& emailCacheFolder, CString const& path,
                                              CStringList& waitList, CString& joinedNames) {
    CString name = path;
    if (isEmail != 0) {
        CString rest = path.Mid(emailCacheFolder.GetLength());
        rest.TrimLeft(_T('\\'));
        if (topFolder.IsEmpty()) {
            GlobalFunction::AddColonToPath(rest);
            name = rest;
        } else {
            name = PathUtilities::Append(topFolder, rest);
        }
    }
    waitList.AddTail(name);
    joinedNames += name + kBetweenNames;
}

void CBackupTask::CreateNewBatchMode() {
    if (m_pTaskPrg != nullptr) {
        m_pTaskPrg->SetBatch(nullptr);
    }
    delete m_pBatchMode;  // an exported raw pointer
    m_pBatchMode = new BatchMode(1);
    if (m_pTaskPrg != nullptr) {
        m_pTaskPrg->SetBatch(m_pBatchMode);
    }
}

void CBackupTask::LogUploadFileResultInfo(__int64 code, CString serverPath, CString localPath,
                                          int cacheError) {
    rampart::CodeReport const report = rampart::ReportOf(code, cacheError != 0);
    if (report.action == rampart::ReportAction::kNone) {
        return;
    }
    if (report.action == rampart::ReportAction::kDebugOnly) {
        DebugLine(_T("QUIL_NEED_TWOFACTOR_AUTHENTICATION"));
        return;
    }
    CString const codeText = ApiUtil::GetQuilString(code);
    CString const server = rampart::ShownPath(serverPath);
    CString const local = ShownPaths(localPath);
    CString text;
    if (report.key == nullptr) {
        text.Format(_T("%s: %s"), report.byServerPath ? server : local, codeText);
    } else if (code == rampart::kFileTooBig) {
        text = rampart::DictionaryFormat(report.key, local,
                                         ApiUtil::GetFreeMaxSingleFileSize() / rampart::kMegabyte);
    } else if (code == rampart::kItemLimit || code == rampart::kFreeItemLimit) {
        text = rampart::DictionaryFormat(report.key, server, ApiUtil::GetLimitUploadNumber());
    } else if (server.IsEmpty() || local.IsEmpty()) {
        text = codeText;
    } else {
        text = rampart::DictionaryFormat(report.key, local, server, codeText);
    }
    if (report.action == rampart::ReportAction::kWarn) {
        rampart::RecordEvent(this, text, EVENT_WARNING);
        AddEmailWarningLog(m_taskName, text);
        return;
    }
    // A connection that keeps failing gives eleven events in one run at most.
    if (report.action == rampart::ReportAction::kFailCounted &&
        m_errorBackupCount++ > kReportedConnectionErrors) {
        return;
    }
    rampart::FailRun(this, text);
}

__int64 CBackupTask::GetPartSizeFromSever(CString const& path) {
    CString const folder = GetTargetSvrFolder(path, 1);
    CString const serverPath = folder + _T("\\") + rampart::LastElement(path);
    for (CString const& candidate : {serverPath + _T(".part"), serverPath}) {
        CServerPathList::Facts facts;
        if (ApiUtil::GetServerPathlist().FindFacts(candidate, facts) == rampart::kOk && facts.size > 0) {
            return facts.size;
        }
    }
    return 0;
}

void CBackupTask::SetBacthUploadedFilesState(CStringList& paths, __int64 code) {
    for (POSITION position = paths.GetHeadPosition();
         position != nullptr && !rampart::IsRunEnding(m_pTaskPrg);) {
        CString const& path = paths.GetNext(position);
        if (m_pTaskPrg != nullptr) {
            m_pTaskPrg->EndFile(path, static_cast<int>(code));
        }
    }
}
