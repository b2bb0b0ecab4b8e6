// A task in creation, from the account's limit to its row in the database.
#include "engine/vaultlib_app.h"
#include "framework/safe_point.h"
#include "manager/backup_manage.h"
#include "manager/loop_worker.h"
#include "paths/global_function.h"
#include "platform/process.h"
#include "progress/task_prg.h"
#include "run/recovery.h"
#include "task/backup_task.h"
#include "task/engine_text.h"
#include "task/stored_time.h"
#include "task/unexpected.h"

using rampart::DebugLine;
using rampart::DictionaryText;

namespace {

constexpr size_t kUnpaidTasks = 2;
constexpr int kNameTries = 1000000;
constexpr uint32_t kOpenPageMs = 1000;
constexpr UINT kSaveTimer = 150;
constexpr UINT kSaveTimerMs = 300000;

int Ask(TCHAR const* key, unsigned int style) {
    return GlobalFunction::QuilMessageBox(DictionaryText(key), style, 0, 0);
}

bool IsPaid() {
    return ApiUtil::IsPaidUser(ApiUtil::GetUsertype()) != 0;
}

CString SubscriptionAddress(CString const& webAddress) {
    CString const page = _T("/Secure/Subscribe.aspx");
    CString const session = ApiUtil::GetSessionID();
    if (session.IsEmpty()) {
        return webAddress + page + _T("?") + ApiUtil::GetSrcRefString();
    }
    return webAddress + _T("/secure/autologon.aspx?sesID=") + session + _T("&gotoURL=") + page +
           ApiUtil::GetSrcRefString();
}

// An unpaid account is at its limit: shows the way to a plan, and whether one was taken.
bool HasSubscribed() {
    if (Ask(_T("IDS_STRACCOUNTLIMIT"), rampart::kBoxYesNo) != rampart::kAnswerYes) {
        return false;
    }
    CString const webAddress = ApiUtil::GetRealWebAppURL();
    if (webAddress.IsEmpty()) {
        Ask(_T("IDS_NETERROR"), 0);
        return false;
    }
    rampart::platform::OpenDocument(SubscriptionAddress(webAddress));
    rampart::Sleep(kOpenPageMs);
    if (Ask(_T("IDS_STRACCOUNTLIMIT"), rampart::kBoxRetryCancel) != rampart::kAnswerRetry) {
        return false;
    }
    ReLogon(1);
    AccountBalance balance;
    rampart::ReadBalance(balance);
    if (theVaultLibApp.m_pMainWnd != nullptr) {
        theVaultLibApp.m_pMainWnd->RefreshUsageAlertString(1);
    }
    return IsPaid();
}

bool IsWatchingNow(CBackupTask const& task) {
    return rampart::ScheduleMode(task.m_type) == TaskTypeRealTime && task.m_scheduleEnabled != 0 &&
           rampart::LiesWithin(rampart::StoredNow(), task.m_beginDate, task.m_endDate);
}

// Whether `name` is among `names`, which "|" separates.
bool IsNameTaken(CString const& name, CString names) {
    names.TrimLeft(_T('|'));
    for (int start = 0; start <= names.GetLength();) {
        int const bar = names.Find(_T('|'), start);
        int const end = bar < 0 ? names.GetLength() : bar;
        if (names.Mid(start, end - start).Trim().CompareNoCase(name) == 0) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

}  // namespace

int CBackupManage::BeginNewTask() {
    return rampart::Guarded(_T("Error:BeginNewTask"), 0, [&] {
        auto countTasks = [&] {
            CReadSync const read(m_taskListSync);
            return m_taskList.size();
        };
        if (!IsPaid() && countTasks() >= kUnpaidTasks && !HasSubscribed()) {
            return 0;
        }
        if (m_pNewTask != nullptr) {
            m_pPrevNewTask = m_pNewTask;
        }
        m_pNewTask = new CBackupTask;  // an exported raw pointer; the list takes it over
        m_pNewTask->m_pcID = m_myID;
        CreateRandomName(m_pNewTask->m_taskName);
        m_pNewTask->m_description = m_pNewTask->m_taskName;
        return 1;
    });
}

void CBackupManage::CancelNewTask() {
    rampart::Guarded(_T("Error:CancelNewTask"), [&] {
        CBackupTask* const cancelled = m_pNewTask;
        m_pNewTask = m_pPrevNewTask;
        m_pPrevNewTask = nullptr;
        Discard(cancelled);
    });
}

int CBackupManage::EndNewTask() {
    return rampart::Guarded(_T("Error:EndNewTask"), 0, [&] {
        CBackupTask* const finished = m_pNewTask;
        m_pNewTask = m_pPrevNewTask;
        m_pPrevNewTask = nullptr;
        return finished != nullptr ? AddTask(finished) : 0;
    });
}

int CBackupManage::CreateRandomName(CString& name) {
    return rampart::Guarded(_T("Error:CreateRandomName"), 0, [&] {
        CReadSync const read(m_taskListSync);
        CString const format = DictionaryText(_T("IDS_TASKNAMEFOR"));
        for (int number = 0; number < kNameTries; ++number) {
            CString candidate;
            candidate.Format(format, number);
            bool const isTaken =
                std::any_of(m_taskList.begin(), m_taskList.end(), [&](CBackupTask const* task) {
                    return task->m_taskName.CompareNoCase(candidate) == 0 ||
                           (m_pPrevNewTask != nullptr &&
                            m_pPrevNewTask->m_taskName.CompareNoCase(candidate) == 0);
                });
            if (!isTaken) {
                name = candidate;
                return 1;
            }
        }
        return 0;
    });
}

int CBackupManage::AddTask(CBackupTask* task) {
    return rampart::Guarded(_T("Error:AddTask"), 0, [&] {
        m_addNewTaskRet = 0;
        if (task == nullptr) {
            return 0;
        }
        if (GetTaskByName(task->m_taskName) != nullptr) {
            CString const text = DictionaryText(_T("IDS_MSGDUPNAME"));
            GlobalFunction::QuilMessageBox(text, 0, 0, 0);
            SetNeedReloadTaskListValue(1);
            DebugLine(text);
            return 0;
        }
        if (int const code = UploadTaskInfoToDatabase(task); code != 0) {
            DebugLine(rampart::FormatText(_T("Task: add task ret- %d"), code));
            m_addNewTaskRet = code;
            return 0;
        }
        {
            CWriteSync const write(m_taskListSync);
            if (MiscUtil::IsAppStopping()) {
                return 0;
            }
            task->SetTaskNameToPrgbar(task->m_taskName);
            m_taskList.push_back(task);
        }
        m_taskListChanged = 1;
        bool const isWatching = IsWatchingNow(*task);
        if (isWatching || task->NowDating()) {
            {
                CKorvaneAutoLock const lock(&m_taskLock, _T("AddTask"), 1);
                QueueTask(task);
            }
            task->StartBackup(1, 1);
        }
        RefreshTaskInfo(nullptr, 1);
        if (isWatching) {
            task->StartHook();
        }
        return 1;
    });
}

int CBackupManage::UploadTaskInfoToDatabase(CBackupTask* task) {
    return rampart::Guarded(_T("Error:UploadTaskInfoToDatabase"), 0, [&] {
        if (task == nullptr || MiscUtil::IsAppStopping() ||
            (task->m_pTaskPrg != nullptr && task->m_pTaskPrg->IsStopping())) {
            return ~0;
        }
        DWORD exitCode = 0;
        if (m_saveTaskThreadHandle != nullptr &&
            rampart::GetExitCodeThread(m_saveTaskThreadHandle, exitCode) &&
            exitCode == rampart::kStillActive) {
            if (m_wokenUp != 0 && theVaultLibApp.m_pMainWnd != nullptr) {
                theVaultLibApp.m_pMainWnd->SetTimer(kSaveTimer, kSaveTimerMs, nullptr);
            }
            return 0;
        }
        int result = ~0;  // there was no thread to be had
        rampart::RunUnderLoop(_T("Error:UploadTaskInfoToDatabase"), rampart::kLoopPlain, 0, [&] {
            result = 0;
            theVaultLibApp.SetLoopMsg(DictionaryText(_T("UploadingTaskListInfo")));
            task->m_modifyTime = rampart::StoredNow();
            result = AddOrEditTaskToDatabase(task, _T("Add"), _T("0"), _T(""), _T("1"));
        });
        return result;
    });
}

int CBackupManage::IsValidateTaskName(CString name, int& errorCode) {
    errorCode = 0;
    int valid = 0;
    rampart::RunUnderLoop(_T("Error:IsValidateTaskName"), rampart::kLoopPlain, 0, [&] {
        try {
            theVaultLibApp.SetLoopMsg(DictionaryText(_T("CheckTaskName")));
            CString names;
            CString other;
            errorCode = ApiUtilExp::GetTaskNamesFromWebDatabase(1, names, other);
            valid = errorCode == 0 && !IsNameTaken(name, names) ? 1 : 0;
        } catch (...) {
            rampart::LogUnexpected(_T("Unexpected error: IsValidateTaskName"));
            errorCode = rampart::kUnexpected;
            valid = 1;
        }
    });
    return valid;
}

// ---- Accessors of the task in creation ----

CString CBackupManage::GetTaskName() const {
    return m_pNewTask->m_taskName;
}

int CBackupManage::SetTaskName(CString name, int) {
    int errorCode = 0;
    if (!IsValidateTaskName(name, errorCode)) {
        return 0;
    }
    m_pNewTask->m_taskName = name;
    return 1;
}

CString CBackupManage::GetTaskDescription() const {
    return m_pNewTask->m_description;
}

void CBackupManage::SetTaskDescription(CString const& text) {
    m_pNewTask->m_description = text;
}

CString CBackupManage::GetServerFolder() const {
    return m_pNewTask->m_serverFilePath;
}

void CBackupManage::SetServerFolder(CString const& folder) {
    m_pNewTask->m_serverFilePath = folder;
}

int CBackupManage::GetType() const {
    return m_pNewTask->m_type;
}

void CBackupManage::SetType(int type) {
    m_pNewTask->m_type = static_cast<TaskType>(type);
}

int CBackupManage::GetEncryMode() const {
    return m_pNewTask != nullptr ? m_pNewTask->m_encryMode : 0;
}

void CBackupManage::SetEncryMode(int mode) {
    m_pNewTask->m_encryMode = mode;
}

__int64 CBackupManage::GetMaxVersions() const {
    return m_pNewTask != nullptr ? m_pNewTask->m_maxVersion : 1;
}

void CBackupManage::SetMaxVersions(__int64 versions) {
    if (m_pNewTask != nullptr) {
        m_pNewTask->m_maxVersion = versions;
    }
}

void CBackupManage::SetBeginDate(CTime const& date) {
    rampart::Guarded(_T("Error:SetBeginDate"), [&] { m_pNewTask->SetBeginDate(date); });
}

void CBackupManage::SetEndDate(CTime const& date) {
    m_pNewTask->SetEndDate(date);
}

void CBackupManage::SetDating(CTime const& date) {
    rampart::Guarded(_T("Error:SetDating"), [&] { m_pNewTask->SetDating(date, 1); });
}

CStringList& CBackupManage::GetFilter() {
    return m_pNewTask->m_filterExList;
}

void CBackupManage::SetFilter(CString text) {
    m_pNewTask->m_filterExList.RemoveAll();
    StrToStrList(text, m_pNewTask->m_filterExList);
}

void CBackupManage::AddLocalPath(CString path) {
    rampart::Guarded(_T("Error:AddLocalPath"), [&] { m_pNewTask->AddSrcPath(path); });
}

void CBackupManage::AddLocalPath(CStringList& paths) {
    rampart::Guarded(_T("Error:AddLocalPath"), [&] { m_pNewTask->AddSrcPathList(paths); });
}

void CBackupManage::ClearLocalPathList() {
    m_pNewTask->ClearSrcList();
}

int CBackupManage::GetLocalFolderCount() const {
    return m_pNewTask->GetLocalPathCount();
}

CStringList& CBackupManage::GetLocalFileList() {
    rampart::Guarded(_T("Error:GetLocalFileList"), [&] {
        m_localFileList.RemoveAll();
        for (SourceInfo const* const source : m_pNewTask->m_localDirList) {
            if (source != nullptr) {
                m_localFileList.AddTail(source->path);
            }
        }
    });
    return m_localFileList;
}
