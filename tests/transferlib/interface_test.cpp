#include <thread>

#include "framework/waitable.h"
#include "support/scripted_clock.h"
#include "transferlib/mail_text.h"
#include "transferlib/vault_fixture.h"

namespace rampart::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class Interface : public VaultTest {};

std::vector<std::string> ValuesOf(const CString& reply, LPCTSTR key) {
    CStringList list;
    ApiUtil::GetVarValueList(reply, key, list);
    std::vector<std::string> values;
    for (const CString& value : list) {
        values.push_back(value.ToUtf8());
    }
    return values;
}

TEST_F(Interface, TasksAreStoredListedAndDeleted) {
    const auto add = [](const CString& name) {
        return ApiUtilExp::UploadTaskInfoToWebDatabase(
            _T("TaskName=") + ApiUtil::EncodeURL(name) +
            _T("&MaxVersion=7&NextDate=2024-01-31%2008%3A05%3A00&Path0=C%3A%5Cdocs&Serial0=4&IsFolder0=1&")
            _T("Action0=0&")
            _T("localPathNum=1&OldTaskName=&Action=Add&"));
    };
    ASSERT_EQ(add(_T("First & last")), 0);
    ASSERT_EQ(add(Text16("Gr\xC3\xBC\xC3\x9F"
                         "e")),
              0);
    CString reply, names, other;
    ASSERT_EQ(ApiUtilExp::GetTaskListFromWebDatabase(_T(""), _T("false"), reply), 0);
    EXPECT_THAT(ValuesOf(reply, _T("RETURN_TaskName")), ElementsAre("First & last",
                                                                    "Gr\xC3\xBC\xC3\x9F"
                                                                    "e"));
    EXPECT_THAT(ValuesOf(reply, _T("ETURN_MaxVersion")), ElementsAre("7", "7"));
    EXPECT_THAT(ValuesOf(reply, _T("RETURN_MaxVersion")), ElementsAre("7", "7"));
    EXPECT_EQ(ApiUtil::GetVarValue(reply, _T("RETURN_NextDate"), 0).ToUtf8(), "1/31/2024 8:5:0");
    EXPECT_TRUE(ApiUtil::GetVarValue(reply, _T("TaskName"), 0).IsEmpty()) << "a part of a key is no key";
    ASSERT_EQ(ApiUtilExp::GetTaskListFromWebDatabase(_T("First & last"), _T("true"), reply), 0);
    EXPECT_THAT(ValuesOf(reply, _T("RETURN_Path")), ElementsAre("C:\\docs"));
    ASSERT_EQ(ApiUtilExp::GetTaskNamesFromWebDatabase(1, names, other), 0);
    EXPECT_EQ(names.ToUtf8(),
              "First & last|Gr\xC3\xBC\xC3\x9F"
              "e");
    ASSERT_EQ(ApiUtilExp::DeleteTaskFromWebDatabase(ApiUtil::EncodeURL(_T("First & last")) + _T("|gone|")),
              0);
    ASSERT_EQ(ApiUtilExp::GetTaskListFromWebDatabase(_T("First & last"), _T("false"), reply), 0);
    EXPECT_TRUE(reply.IsEmpty());
    EXPECT_EQ(ApiUtilExp::UploadTaskInfoToWebDatabase(_T("nonsense")), kInvalidRequest);
    service->Answer("QueryTasks", kConnectionFailed);
    EXPECT_EQ(ApiUtilExp::GetTaskListFromWebDatabase(_T(""), _T("false"), reply), kConnectionFailed);
}

TEST_F(Interface, ConnectingTriesUntilItWorksOrIsCancelled) {
    ScriptedClock clock(1'700'000'000);
    service->Answer("Ping", kConnectionFailed, 3);
    EXPECT_EQ(ApiUtil::AutoConnect(nullptr, 1), 1);
    service->Answer("Ping", kConnectionFailed, 1000);
    EXPECT_EQ(ApiUtil::AutoConnect(nullptr, 1), 0);
    EXPECT_EQ(ApiUtil::DetectConnect(0), 0);
    const HANDLE cancelled = CreateEventHandle(false, true);
    service->ForgetCalls();
    EXPECT_EQ(ApiUtil::AutoConnect(cancelled, 1), 0);
    EXPECT_EQ(service->Calls("Ping"), 1);
    EXPECT_EQ(WaitForObject(cancelled, 0), kWaitSignaled) << "others hear of it too";
    CloseHandle(cancelled);
}

TEST_F(Interface, ACheckOfAConnectionThatHoldsIsSeenByNobody) {
    const auto status = [] { return ApiUtil::GetManageLogonStatus().GetLogOnStatus(); };
    std::vector<EM_LogonStatus> seen;
    service->Before("Ping", [&] { seen.push_back(status()); });
    EXPECT_EQ(ApiUtil::AutoConnect(nullptr, 1), 1);
    EXPECT_EQ(ApiUtil::DetectConnect(0), 1);
    EXPECT_THAT(seen, ElementsAre(LogonStatusOn, LogonStatusOn));
    EXPECT_EQ(status(), LogonStatusOn);
}

// A scan that goes on in another thread must not end before it is known that there is no connection.
TEST_F(Interface, TriesToConnectAreNoLossUntilTheyAreGivenUp) {
    ScriptedClock clock(1'700'000'000);
    const auto status = [] { return ApiUtil::GetManageLogonStatus().GetLogOnStatus(); };
    std::vector<EM_LogonStatus> seen;
    service->Before("Ping", [&] {
        seen.push_back(status());
        service->Answer("Ping", kConnectionFailed, 1);
        EXPECT_EQ(ApiUtil::DetectConnect(0), 0) << "by another thread";
        seen.push_back(status());
    });
    service->Answer("Ping", kConnectionFailed, 2);
    EXPECT_EQ(ApiUtil::AutoConnect(nullptr, 1), 1);
    EXPECT_THAT(seen, ElementsAre(LogonStatusConnecting, LogonStatusConnecting));
    EXPECT_EQ(status(), LogonStatusOn);
    service->Answer("Ping", kConnectionFailed, 1000);
    EXPECT_EQ(ApiUtil::DetectConnect(0), 0);
    EXPECT_EQ(status(), LogonStatusOff);
    EXPECT_EQ(ApiUtil::AutoConnect(nullptr, 1), 0);
    EXPECT_EQ(status(), LogonStatusOff);
}

// Runs read it into the process's own record.
TEST_F(Interface, OneRecordOfTheAccountServesManyThreads) {
    AccountBalance shared;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                EXPECT_EQ(ApiUtil::GetAccountBalance(shared, 1), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GT(shared.m_totalSpace, 0);
    EXPECT_FALSE(shared.m_accountText.IsEmpty());
}

TEST_F(Interface, TheAccountTellsItsRoomAndLimits) {
    AccountBalance balance;
    ASSERT_EQ(ApiUtil::GetAccountBalance(balance, 1), 0);
    EXPECT_GT(balance.m_totalSpace, balance.m_usedSpace + balance.m_usedSpaceOther);
    service->Answer("Space", kConnectionFailed, 1);
    AccountBalance kept;
    EXPECT_EQ(ApiUtil::GetAccountBalance(kept, 0), 0);
    EXPECT_EQ(kept.m_totalSpace, balance.m_totalSpace);
    EXPECT_EQ(ApiUtil::GetAccountBalance(kept), kConnectionFailed);
    EXPECT_EQ(ApiUtil::GetSupportMultipleThreadTransfer(), 0);
    EXPECT_EQ(ApiUtil::GetBatchTotalSize(0), 1 << 20);
    EXPECT_GT(ApiUtil::GetLimitUploadNumber(), 1'000'000);
    ASSERT_TRUE(service->SetSetting("FileFilter", "|*.tmp").Ok());
    SetStorageService(service);
    EXPECT_EQ(ApiUtil::GetFileFilterSetting().ToUtf8(), "|*.tmp");
    EXPECT_NE(ApiUtil::IsPaidUser(_T("")), 0);
    EXPECT_FALSE(ApiUtil::GetCustomerID().IsEmpty());
    EXPECT_EQ(ApiUtil::Logon(_T("me"), _T("secret"), message), 0);
    EXPECT_EQ(ApiUtil::GetUsername().ToUtf8(), "me");
    service->Answer("Logon", kRefused);
    EXPECT_EQ(ApiUtil::Logon(_T("me"), _T("wrong"), message), kRefused);
    EXPECT_EQ(ApiUtil::GetPassword().ToUtf8(), "secret");
}

TEST_F(Interface, AFreeAccountMayNotStoreBigFiles) {
    ASSERT_TRUE(service->SetSetting("Paid", "0").Ok());
    ASSERT_TRUE(service->SetSetting("FreeMaxFileBytes", "1000").Ok());
    SetStorageService(service);
    EXPECT_EQ(ApiUtil::Logon(_T(""), _T(""), message), 0);
    files.Write("a", Noise(1001, 1));
    EXPECT_EQ(Upload("a", _T("\\")), kFileTooBig);
    files.Write("a", Noise(1000, 1));
    EXPECT_EQ(Upload("a", _T("\\")), 0);
}

TEST_F(Interface, OnlyWhatLiesInsideAFolderIsFoundInIt) {
    EXPECT_EQ(ApiFunctions::FindPathNoCase(_T("C:\\Temp\\a"), _T("c:\\temp")), 0);
    EXPECT_EQ(ApiFunctions::FindPathNoCase(_T("C:\\Temp\\a\\b"), _T("c:\\temp\\")), 0);
    EXPECT_NE(ApiFunctions::FindPathNoCase(_T("C:\\Temporary\\a"), _T("c:\\temp")), 0);
    EXPECT_NE(ApiFunctions::FindPathNoCase(_T("C:\\Temp"), _T("C:\\Temp")), 0);
    EXPECT_NE(ApiFunctions::FindPathNoCase(_T("C:\\Temp\\"), _T("C:\\Temp")), 0);
    EXPECT_NE(ApiFunctions::FindPathNoCase(_T("C:\\a"), _T("")), 0);
    const CString data = ApiFunctions::GetGlobalPath(0);
    EXPECT_EQ(ApiUtil::PathToFullPath(_T("Log\\a.dat")), data + _T("\\Log\\a.dat"));
    EXPECT_EQ(ApiUtil::PathToFullPath(_T("C:\\a")).ToUtf8(), "C:\\a");
    const CString cache = ApiUtil::GetManageCacheDirMan().GetCacheDir();
    EXPECT_EQ(cache, data + _T("\\Rampart\\Rampart\\cache")) << "not a folder that other programs share";
    EXPECT_TRUE(KXFolder::IsDirectory(cache));
}

TEST_F(Interface, EveryCodeHasAText) {
    for (const int code : {0, 3, 6, 10, 104, 999, 1001, 5000, -1}) {
        EXPECT_FALSE(ApiUtil::GetQuilString(code).IsEmpty()) << code;
    }
    EXPECT_EQ(ApiUtil::StrToInt64(_T(" -42x")), -42);
    EXPECT_EQ(ApiUtil::StrToDouble(_T("2.5")), 2.5);
    EXPECT_EQ(ApiUtil::EncodeURL(Text16("a b&\xC3\xBC")).ToUtf8(), "a%20b%26%C3%BC");
}

TEST_F(Interface, AMailLiesInTheOutbox) {
    CString recipient = _T("me@example.org"),
            subject = Text16(
                "Gr\xC3\xBC\xC3\x9F"
                "e"),
            body = _T("Hello");
    ASSERT_EQ(ApiUtil::SendEmail(recipient, subject, body, _T("false")), 0);
    int mails = 0;
    for (const auto& [name, entry] : ReadTree(home.Path("vault/outbox"))) {
        ++mails;
        EXPECT_THAT(entry.content, HasSubstr("To: me@example.org\r\n"));
        EXPECT_THAT(entry.content, HasSubstr("\r\n\r\nSGVsbG8=\r\n"));
    }
    EXPECT_EQ(mails, 1);
}

TEST(MailText, NoTextAddsAHeader) {
    const std::string mail = ComposeMail({"me@here", "you@there\r\nBcc: all@there",
                                          std::string(200, 'x') + "\r\nX-Evil: 1", "body", true, 0, "id"});
    EXPECT_THAT(mail, Not(HasSubstr("\nBcc:")));
    EXPECT_THAT(mail, Not(HasSubstr("\nX-Evil:")));
    EXPECT_THAT(mail, HasSubstr("Date: Thu, 01 Jan 1970 00:00:00 +0000\r\n"));
    EXPECT_THAT(mail, HasSubstr("Content-Type: text/html; charset=utf-8\r\n"));
    size_t longest = 0;
    for (size_t at = 0, end; (end = mail.find("\r\n", at)) != std::string::npos; at = end + 2) {
        longest = std::max(longest, end - at);
    }
    EXPECT_LE(longest, 90u);
}

}  // namespace
}  // namespace rampart::test
