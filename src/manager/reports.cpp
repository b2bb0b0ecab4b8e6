// What leaves the manager towards the user: events, the list of failed tasks, mail.
#include "engine/vaultlib_app.h"
#include "eventlog/error_log.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "task/backup_task.h"
#include "task/engine_text.h"
#include "task/stored_time.h"

using rampart::DebugLine;
using rampart::DictionaryFormat;
using rampart::DictionaryText;

namespace {

constexpr UINT kViewErrorLogMessage = 1053;
constexpr int kDefaultMailPeriodMinutes = 480;

// The mail settings of the signed-in customer.
CString MailRecipient() {
    CString address;
    GlobalFunction::LoadStringFromRegstry(ApiUtil::GetCustomerID() + _T("LogEmailAdd"), address);
    return address;
}

bool IsMailWanted(TCHAR const* suffix) {
    unsigned long value = 0;
    return GlobalFunction::LoadFlag(ApiUtil::GetCustomerID() + suffix, value) && value == 1;
}

bool IsFailureMailWanted() {
    return IsMailWanted(_T("LogSendErrorhappen"));
}

bool IsSuccessMailWanted() {
    return IsMailWanted(_T("LogSendAfterRun"));
}

CTimeSpan MailPeriod() {
    CString const option =
        DictUtil::GetConfigString(_T("Options"), _T("FlexEmailTimeMinutes"), _T(""), _T(""));
    __int64 const minutes = option.IsEmpty() ? kDefaultMailPeriodMinutes : rampart::ReadNumber(option);
    return CTimeSpan(minutes * rampart::kSecondsOfMinute);
}

CString MailDate() {
    return rampart::RawNow().Format(_T("%m/%d/%Y %H:%M:%S"));
}

CString ProductLine() {
    return DictionaryText(_T("ProductName")) + _T(" ") + DictionaryText(_T("ZQVersion"));
}

// The report of one run. Whether the mail left is not looked at; what it told is told.
class RunMail {
public:
    RunMail(CBackupTask& task, CString recipient, CString machine)
        : m_task(task), m_recipient(recipient), m_machine(machine) {}

    void Send(int result) {
        if (m_task.m_errorOccured != 0) {
            SendFailure();
        } else if (m_task.m_failureRetryTried != 0) {
            DebugLine(_T("SKip send email, send email by resume"));
            m_task.InitEventLog();
        } else if (m_task.m_errorRetryFactor >= 1) {
            SendWithRetry();
        } else if (result == 0) {
            SendSuccess();
        }
    }

private:
    void SendFailure() {
        if (!IsFailureMailWanted()) {
            return;
        }
        CString const errors = m_task.GetErrorEmailLog();
        if (errors.IsEmpty()) {
            DebugLine(_T("SKip send email, error log is empty"));
            return;
        }
        Deliver(Subject(_T("IDS_STRFAILEMAILTITLE")),
                DictionaryFormat(_T("IDS_STRFAILEMAILBODY"), DictionaryText(_T("IDS_TITLE")),
                                 m_task.m_taskName, MailDate(), errors));
    }

    void SendWithRetry() {
        m_task.m_failureRetryTried = 1;
        if (!IsSuccessMailWanted()) {
            return;
        }
        CString const done = m_task.GetSuccessEmailLog();
        CString const warnings = m_task.GetWarningLog();
        if (done.IsEmpty() && warnings.IsEmpty()) {
            DebugLine(_T("SKip send email, warning log is empty"));
            return;
        }
        CString body = SuccessHead();
        if (!done.IsEmpty()) {
            body += done + _T("\n\n");
        }
        if (!warnings.IsEmpty()) {
            CTime const retry = rampart::ToRaw(m_task.m_resumeDate);
            body += DictionaryFormat(_T("WarningEmailInfo"), TimeUtil::TimeToStr(retry)) + warnings;
        }
        Deliver(Subject(_T("IDS_STRSUCCESSEMAILTITLE")), body);
    }

    void SendSuccess() {
        if (!IsSuccessMailWanted()) {
            return;
        }
        CString const done = m_task.GetSuccessEmailLog();
        CString const warnings = m_task.GetWarningLog();
        if (done.IsEmpty() && warnings.IsEmpty()) {
            DebugLine(_T("SKip send email, email log is empty"));
            return;
        }
        CString body = SuccessHead() + done;
        if (!warnings.IsEmpty()) {
            body += _T("\n\n") + DictionaryText(_T("WarningLog")) + warnings;
        }
        Deliver(Subject(_T("IDS_STRSUCCESSEMAILTITLE")), body);
    }

    CString Subject(TCHAR const* key) const {
        return DictionaryFormat(key, m_task.m_taskName, m_machine, MailDate());
    }

    static CString SuccessHead() {
        return DictionaryFormat(_T("IDS_STRSUCCESSEMAILBODY"), ProductLine()) + _T("\n\n");
    }

    void Deliver(CString subject, CString body) {
        ApiUtil::SendEmail(m_recipient, subject, body, _T("false"));
        m_task.InitEventLog();
    }

    CBackupTask& m_task;
    CString m_recipient;
    CString const m_machine;
};

}  // namespace

int CBackupManage::RecordErr(CBackupTask* task, CString text, EventTypes type) {
    rampart::Guarded(_T("Error: RecordErr"), [&] {
        if (task != nullptr && type == EVENT_ERROR) {
            task->AddEmailErrorLog(task->m_taskName, text);
        } else if (task != nullptr && type == EVENT_WARNING) {
            task->AddEmailWarningLog(task->m_taskName, text);
        }
        CErrorLog log;
        log.RecordError(task, text, type);
        if (task != nullptr) {
            task->AddRunError(text);
        }
        DebugLine(text);
    });
    return 1;
}

void CBackupManage::SendLogByEmail(CBackupTask* task, CString, int result) {
    if (task->m_networkRetryCount > 0) {
        DebugLine(_T("Skip send email when ZQB retry connect network path"));
        return;
    }
    CString const recipient = MailRecipient();
    if (recipient.IsEmpty()) {
        DebugLine(_T("SKip send email, email address is empty"));
        return;
    }
    if (rampart::ScheduleMode(task->m_type) == TaskTypeRealTime) {
        CTime const now = rampart::StoredNow();
        if (now <= task->m_nextEmailDate) {
            DebugLine(_T("SKip send email, real time task"));
            return;
        }
        task->m_nextEmailDate = now + MailPeriod();
    }
    RunMail(*task, recipient, m_pcName).Send(result);
}

void CBackupManage::ViewErrLog() {
    if (theVaultLibApp.m_pMainWnd != nullptr) {
        theVaultLibApp.m_pMainWnd->MyPostMessage(kViewErrorLogMessage, 0, 0);
    }
}

void CBackupManage::AddErrTask(CBackupTask* task) {
    if (task == nullptr) {
        return;
    }
    rampart::CriticalLock const lock(m_errTaskLock);
    if (m_errTaskList.Find(task->m_taskName) == nullptr) {
        m_errTaskList.AddTail(task->m_taskName);
    }
}

int CBackupManage::ErrorOccured() {
    return rampart::Guarded(_T("Error:ErrorOccured"), 0, [&] {
        std::vector<CString> names;
        {
            rampart::CriticalLock const lock(m_errTaskLock);
            names.assign(m_errTaskList.begin(), m_errTaskList.end());
        }
        return std::any_of(names.begin(), names.end(),
                           [&](CString const& name) {
                               CBackupTask const* const task = GetTaskByName(name);
                               return task != nullptr && task->m_errorOccured != 0;
                           })
                   ? 1
                   : 0;
    });
}

void CBackupManage::ClearErrTasklist() {
    rampart::CriticalLock const lock(m_errTaskLock);
    m_errTaskList.RemoveAll();
}
