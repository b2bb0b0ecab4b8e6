// What the engine answers with and without a host, and how it logs on again.
#include "platform/process.h"
#include "storage/embedded_service.h"
#include "support/engine_home.h"
#include "support/scripted_service.h"
#include "transferlib/service_connection.h"

namespace rampart::test {

namespace {

constexpr int kFailed = 9;
constexpr int kRefused = 2;

class LogonAgain : public EngineTest {
protected:
    LogonAgain() {
        std::unique_ptr<EmbeddedService> vault;
        EXPECT_TRUE(EmbeddedService::Open(home.Native("vault"), {}, vault).Ok());
        service = std::make_shared<ScriptedService>(std::move(vault));
        SetStorageService(service);
        CString message;
        EXPECT_EQ(0, ApiUtil::Logon(_T("me"), _T("secret"), message));
        service->ForgetCalls();
    }

    std::shared_ptr<ScriptedService> service;
};

}  // namespace

TEST(HostHooks, WithoutAHostEachQuestionHasItsFixedAnswer) {
    EXPECT_EQ(1, theVaultLibApp.IsLoopRetry());
    EXPECT_EQ(0, theVaultLibApp.IsLoopCancel());
    EXPECT_EQ(0, theVaultLibApp.SetLoopCancel());
    EXPECT_EQ(1, theVaultLibApp.LeaveLoopMode());
    EXPECT_EQ(1, theVaultLibApp.SetLoopMsg(CString(_T("text"))));
    EXPECT_EQ(0u, theVaultLibApp.EnterLoopMode(nullptr, 1, 1));
    EXPECT_EQ(0, GlobalFunction::QuilMessageBox(_T("text"), 4, 60, 0));
    EXPECT_EQ(0, GlobalFunction::IsNeedShowPrg());
    EXPECT_EQ(0, GlobalFunction::AskUIForShellExecute(_T("open"), _T("https://example.org")));
}

TEST(HostHooks, TheLoopOfAHostIsAskedButWhatItsEntryAnswersIsDropped) {
    struct Loop : CLoopItem {
        unsigned int EnterLoopMode(CWinThread*, unsigned int, int) override { return 7; }
        int IsLoopCancel(unsigned long) override { return 1; }
    };
    Loop loop;
    EXPECT_EQ(1, SetLoopItem(&loop));
    EXPECT_EQ(0u, theVaultLibApp.EnterLoopMode(nullptr, 1, 1));
    EXPECT_EQ(1, theVaultLibApp.IsLoopCancel());
    EXPECT_EQ(0, theVaultLibApp.IsLoopRetry()) << "the item's own answer";
    SetLoopItem(nullptr);
}

TEST(HostHooks, ASecondServiceGetsNoMutex) {
    TempHome const home;
    ASSERT_FALSE(GlobalFunction::IsBackupServiceRunning());
    std::unique_ptr<platform::NamedMutex> const first(
        static_cast<platform::NamedMutex*>(GlobalFunction::CreateBackServiceMutex()));
    ASSERT_TRUE(first);
    EXPECT_TRUE(GlobalFunction::IsBackupServiceRunning());
    EXPECT_EQ(nullptr, GlobalFunction::CreateBackServiceMutex());
    EXPECT_TRUE(GlobalFunction::IsBackupServiceRunning()) << "the refused one took nothing away";
}

TEST(HostHooks, AMessageThatNobodyReceivesGivesNoReplyAndFreesItsBuffer) {
    TempHome const home;
    auto* const buffer = static_cast<unsigned char*>(malloc(3));  // the call's; a leak is the sanitizer's
    memcpy(buffer, "abc", 3);
    unsigned char* reply = buffer;
    __int64 replySize = 1;
    EXPECT_EQ(0, GlobalFunction::SendMsgToUI(_T(""), 1, buffer, 3, &reply, &replySize));
    EXPECT_EQ(nullptr, reply);
    EXPECT_EQ(0, replySize);
}

TEST_F(LogonAgain, TheSessionsOwnNameIsTriedFirstAndARefusalEndsIt) {
    MiscUtil::WriteUserSettings(_T("stored"), _T("word"), 1, 0);
    EXPECT_EQ(1, ReLogon(0));
    EXPECT_EQ(1, service->Calls("Logon"));
    service->Answer("Logon", kRefused);
    EXPECT_EQ(0, ReLogon(1));
    EXPECT_EQ(2, service->Calls("Logon")) << "the stored pair was not tried";
    EXPECT_TRUE(messages.empty());
}

TEST_F(LogonAgain, TheStoredPairIsTriedOnlyWhenAskedForAndSaved) {
    service->Answer("Logon", kFailed, 2);
    EXPECT_EQ(0, ReLogon(0));
    EXPECT_EQ(0, ReLogon(1)) << "nothing is stored";
    EXPECT_EQ(2, service->Calls("Logon"));

    MiscUtil::WriteUserSettings(_T("stored"), _T("word"), 1, 0);
    service->Answer("Logon", kFailed);
    EXPECT_EQ(1, ReLogon(1));
    EXPECT_EQ(_T("stored"), ApiUtil::GetUsername());
    EXPECT_TRUE(messages.empty());

    CString message;
    ASSERT_EQ(0, ApiUtil::Logon(_T(""), _T(""), message));  // a session without a name of its own
    service->Answer("Logon", kRefused);
    EXPECT_EQ(0, ReLogon(1));
    EXPECT_EQ(1u, messages.size()) << "the stored password is wrong, and the user is told";
}

}  // namespace rampart::test
