// Session, connection and state of the account.
#include "framework/safe_point.h"
#include "framework/waitable.h"
#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "transferlib/service_connection.h"
#include "transferlib/transfer.h"

using namespace rampart;

namespace {

constexpr int kMostConnectTries = 10;
constexpr DWORD kConnectAgainAfterMs = 1000;

// Texts that hosts set and the library keeps for them.
struct ProcessTexts {
    std::mutex mutex;  // guards what follows
    CString progressId;
    CString supportId;
    AccountBalance balance;

    static ProcessTexts& Get() {
        static ProcessTexts texts;
        return texts;
    }
};

// Of the session in force; logs on if there is none.
SessionInfo Session() {
    SessionInfo session;
    WithService(_T("Error: Session"), nullptr, [&](ServiceConnection& connection) {
        session = connection.Service().Session();
        return ServiceResult();
    });
    return session;
}

// A connection that holds is told to hold all the while.
bool Reaches() {
    const int code = WithService(_T("Error: DetectConnect"), nullptr,
                                 [](ServiceConnection& connection) { return connection.Service().Ping(); });
    if (code == kOk) {
        LogonStatus().SetLogOnStatus(LogonStatusOn);
    }
    return code == kOk;
}

ServiceResult AskBalance(ServiceConnection& connection, AccountBalance& balance) {
    AccountSpace space;
    ServiceResult result = connection.Service().Space(space);
    if (result.Ok()) {
        balance.m_usedSpace = space.usedBytes;
        balance.m_usedSpaceOther = space.otherBytes;
        balance.m_totalSpace = space.totalBytes;
        balance.m_accountText = CString::FromUtf8(connection.Service().Session().customerId);
    }
    return result;
}

}  // namespace

int ApiUtil::Logon(CString user, CString password, CString& message) {
    return Guarded(_T("Error: Logon"), static_cast<int>(kFailed), [&] {
        ServiceResult result;
        if (const auto connection = CurrentConnection(&result)) {
            result = connection->Logon(user.ToUtf8(), password.ToUtf8());
        }
        message = result.Ok() ? CString() : CString::FromUtf8(result.message);
        return result.code;
    });
}

CString ApiUtil::GetUsername() {
    const auto connection = CurrentConnection();
    return connection ? CString::FromUtf8(connection->User()) : CString();
}

CString ApiUtil::GetPassword() {
    const auto connection = CurrentConnection();
    return connection ? CString::FromUtf8(connection->Password()) : CString();
}

CString ApiUtil::GetSessionID() {
    return CString::FromUtf8(Session().sessionId);
}

CString ApiUtil::GetCustomerID() {
    return CString::FromUtf8(Session().customerId);
}

CString ApiUtil::GetUsertype() {
    return CString::FromUtf8(Session().userType);
}

int ApiUtil::IsPaidUser(CString) {
    return Session().paid ? 1 : 0;
}

int ApiUtil::IsAllowSubscribe() {
    return Session().maySubscribe ? 1 : 0;
}

CString ApiUtil::GetRealWebAppURL() {
    return CString::FromUtf8(Session().webAddress);
}

CString ApiUtil::GetSrcRefString() {
    return CString();
}

ManageLogonStatus& ApiUtil::GetManageLogonStatus() {
    if (LogonStatus().GetLogOnStatus() == LogonStatusOff && !PresentConnection()) {
        Session();
    }
    return LogonStatus();
}

int ApiUtil::AutoConnect(void* cancelEvent, int) {
    for (int tries = 0; tries < kMostConnectTries; ++tries) {
        if (Reaches()) {
            return 1;
        }
        LogonStatus().SetLogOnStatus(LogonStatusConnecting);
        if (MiscUtil::IsAppStopping() || MiscUtil::IsAppLoggingOff()) {
            break;
        }
        if (cancelEvent == nullptr) {
            Sleep(kConnectAgainAfterMs);
        } else if (WaitForObject(cancelEvent, kConnectAgainAfterMs) == kWaitSignaled) {
            // The event frees one wait only, and others wait for it too.
            SetEvent(cancelEvent);
            break;
        }
    }
    LogonStatus().SetLogOnStatus(LogonStatusOff);
    return 0;
}

int ApiUtil::DetectConnect(int) {
    if (Reaches()) {
        return 1;
    }
    NoteNotConnected();
    return 0;
}

int ApiUtil::CloseConnectionByThreadID(unsigned long threadId) {
    return CutTransfersOfThread(threadId) ? 1 : 0;
}

void ApiUtil::SetSuspendStatus(int suspend) {
    SetTransfersSuspended(suspend != 0);
}

// No service tells of newer versions of the program.
int ApiUtil::GetVersionFromServer(int) {
    return 0;
}

void ApiUtil::SetProgressID(CString id) {
    std::lock_guard lock(ProcessTexts::Get().mutex);
    ProcessTexts::Get().progressId = id;
}

CString ApiUtil::GetProgressID() {
    std::lock_guard lock(ProcessTexts::Get().mutex);
    return ProcessTexts::Get().progressId;
}

void ApiUtil::SetDropBoxDropBoxUniqueID(CString id) {
    std::lock_guard lock(ProcessTexts::Get().mutex);
    ProcessTexts::Get().supportId = id;
}

int ApiUtil::GetAccountBalance(AccountBalance& balance) {
    return GetAccountBalance(balance, 1);
}

int ApiUtil::GetAccountBalance(AccountBalance& balance, int refresh) {
    ProcessTexts& texts = ProcessTexts::Get();
    {
        std::lock_guard lock(texts.mutex);
        if (refresh == 0 && texts.balance.m_totalSpace > 0) {
            balance = texts.balance;
            return kOk;
        }
    }
    AccountBalance read;
    const int code = WithService(_T("Error: GetAccountBalance"), nullptr,
                                 [&](ServiceConnection& connection) { return AskBalance(connection, read); });
    if (code == kOk) {
        // Runs pass the process's own record, several at a time.
        std::lock_guard lock(texts.mutex);
        texts.balance = read;
        balance = read;
    }
    return code;
}

// ---- Limits ----

namespace {

AccountLimits CurrentLimits() {
    AccountLimits limits = DefaultLimits();
    WithService(_T("Error: Limits"), nullptr, [&](ServiceConnection& connection) {
        limits = connection.Limits();
        return ServiceResult();
    });
    return limits;
}

}  // namespace

__int64 ApiUtil::GetLimitUploadNumber() {
    return CurrentLimits().maxItemsOfTask;
}

__int64 ApiUtil::GetFreeMaxSingleFileSize() {
    return CurrentLimits().freeMaxFileBytes;
}

__int64 ApiUtil::GetBatchTotalSize(int) {
    return CurrentLimits().batchBytes;
}

int ApiUtil::GetSupportMultipleThreadTransfer() {
    return CurrentLimits().parallelTransfer ? 1 : 0;
}

__int64 ApiUtil::GetLimitThreadPoolSize() {
    return CurrentLimits().workerMaxFileBytes;
}

int ApiUtil::IsSupportVSS() {
    return CurrentLimits().snapshotCopies ? 1 : 0;
}

CString ApiUtil::GetFileFilterSetting() {
    return CString::FromUtf8(CurrentLimits().fileFilter);
}

CString ApiUtil::GetFolderFilterSetting() {
    return CString::FromUtf8(CurrentLimits().folderFilter);
}
