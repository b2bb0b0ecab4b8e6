// What is to be stored against the room of the account, and the questions that are asked about it.
#include "eventlog/error_log.h"
#include "paths/global_function.h"
#include "progress/task_prg.h"
#include "storage/embedded_service.h"
#include "support/engine_home.h"
#include "support/scripted_service.h"
#include "transferlib/service_connection.h"

namespace rampart::test {

namespace {

constexpr __int64 kMegabyte = 0x100000;

// An account of which the test says what it holds and may hold.
class RoomService : public ScriptedService {
public:
    using ScriptedService::ScriptedService;
    ServiceResult Space(AccountSpace& space) override {
        AccountSpace ignored;
        ServiceResult result = ScriptedService::Space(ignored);
        if (result.Ok()) {
            space = {100, 50, 150 + free};
        }
        return result;
    }
    SessionInfo Session() override {
        SessionInfo session = ScriptedService::Session();
        session.maySubscribe = maySubscribe;
        session.paid = paid;
        session.webAddress = webAddress;
        return session;
    }

    __int64 free = 0;
    bool maySubscribe = false;
    bool paid = true;
    std::string webAddress;
};

struct Question {
    CString text;
    unsigned int style;
    unsigned long seconds;
    bool operator==(Question const&) const = default;
};

void PrintTo(Question const& question, std::ostream* out) {
    *out << question.text.ToUtf8() << " (" << question.style << ", " << question.seconds << " s)";
}

constexpr unsigned int kYesNo = 4;
constexpr unsigned int kRetryCancel = 5;
constexpr int kYes = 6;
constexpr int kRetry = 4;
constexpr int kYesAndRetry = -1;  // to each question what leads on

class Limits : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        std::unique_ptr<EmbeddedService> opened;
        ASSERT_TRUE(EmbeddedService::Open(home.Native("vault"), {}, opened).Ok());
        service = std::make_shared<RoomService>(std::shared_ptr<StorageService>(std::move(opened)));
        SetStorageService(service);
        TempTree const tree({{"d/f", "x"}});
        m_task = &MakeTask("t", {tree.Native("d")});
        CErrorLog().RemoveAllLogs();
        s_asked.clear();
        s_answer = 0;
        SetMsgBoxProc([](TCHAR const* text, unsigned int style, unsigned long seconds, int) {
            s_asked.push_back({text, style, seconds});
            return s_answer == kYesAndRetry ? (style == kRetryCancel ? kRetry : kYes) : s_answer;
        });
        s_opened.clear();
        s_onOpen = [] {};
        SetUIShellExecute([](CString const& verb, CString const& target) {
            s_opened.push_back(verb + _T(" ") + target);
            s_onOpen();
            return 1;
        });
    }
    void TearDown() override {
        m_spaceAlertAllowed = 1;
        m_spaceAlertNoteOnly = 0;
        SetUIShellExecute(nullptr);
        EngineTest::TearDown();
    }

    static CString Words(TCHAR const* key) { return DictUtil::GetValue(key, _T("")); }

    __int64 CheckAccount(__int64 need) {
        m_task->m_errorOccured = 0;
        __int64 code = -7;
        m_task->CheckAccountSpace(need, code);
        return code;
    }

    // The texts of the errors since the last call.
    static std::vector<CString> Errors() {
        std::vector<CString> texts;
        CErrorLog log;
        CPtrList list;
        log.GetErrorList(list);
        for (void* entry : list) {
            if (static_cast<ErrorInfo*>(entry)->m_nType == EVENT_ERROR) {
                texts.push_back(static_cast<ErrorInfo*>(entry)->m_strMessage);
            }
        }
        log.ClearErrorList(list);
        log.RemoveAllLogs();
        return texts;
    }

    static std::vector<Question> Asked() { return std::exchange(s_asked, {}); }

    std::shared_ptr<RoomService> service;
    CBackupTask* m_task = nullptr;
    static inline std::vector<Question> s_asked;
    static inline int s_answer = 0;
    static inline std::vector<CString> s_opened;
    static inline std::function<void()> s_onOpen;
};

}  // namespace

TEST_F(Limits, WhatWasOnlyRenamedOrMovedNeedsNoRoom) {
    TempTree const tree({{"d/a", std::string(5000, 'a')}, {"d/sub/b", std::string(5000, 'b')}});
    CBackupTask& task = MakeTask("moved", {tree.Native("d")});
    service->free = 1'000'000;
    ASSERT_EQ(TaskStateFinished, Run(task));
    Asked();

    std::filesystem::rename(tree.Path("d/a"), tree.Path("d/renamed"));
    std::filesystem::rename(tree.Path("d/sub"), tree.Path("d/other"));
    service->free = 4000;
    EXPECT_EQ(TaskStateFinished, Run(task));
    EXPECT_TRUE(Asked().empty());

    // Of that size too, but nobody knows its content.
    std::filesystem::remove(tree.Path("d/renamed"));
    tree.Write("d/new", std::string(5000, 'n'));
    Run(task);
    EXPECT_EQ(1u, Asked().size());
    auto const stored = Restored(task.m_serverFilePath);
    for (auto const& [name, entry] : ReadTree(tree.Path())) {
        EXPECT_TRUE(stored.contains(name) && stored.at(name) == entry) << name;
    }
}

TEST_F(Limits, RoomForOneByteMoreIsEnough) {
    service->free = 1001;
    EXPECT_EQ(0, CheckAccount(1000));
    EXPECT_TRUE(Asked().empty());
    __int64 code = -1;
    EXPECT_EQ(1001, m_task->GetUserHaveSpace(code));
    EXPECT_EQ(0, code);
}

// The mail files are copied to a local drive first.
TEST_F(Limits, MailCacheThatHasRoomIsMadeWithoutAQuestion) {
    TempFolder const drive;
    m_task->m_emailCacheFolder = CString(drive.Engine()) + _T("\\mail");
    __int64 code = 0;
    EXPECT_EQ(1, m_task->CheckLocalSpace(1, code));
    EXPECT_TRUE(drive.Exists("mail"));
    EXPECT_TRUE(Asked().empty());
}

TEST_F(Limits, MailCacheWithoutRoomIsAskedAboutUntilThereIsSome) {
    TempFolder const drive;
    CString const folder = CString(drive.Engine()) + _T("\\mail");
    m_task->m_emailCacheFolder = folder;
    static __int64 s_need;
    static int s_asks;
    s_need = INT64_MAX;
    s_asks = 0;
    SetMsgBoxProc([](TCHAR const*, unsigned int style, unsigned long, int) {
        EXPECT_EQ(1u, style);
        if (++s_asks == 2) {
            s_need = 1;  // as if room had been made
        }
        return 1;
    });
    __int64 code = 0;
    EXPECT_EQ(1, m_task->CheckLocalSpace(s_need, code));
    EXPECT_EQ(2, s_asks);
    EXPECT_EQ(folder + _T("\\temp\\t_") + ApiUtil::GetCustomerID(), m_task->m_emailCacheFolder);
    EXPECT_TRUE(KXFolder::IsDirectory(m_task->m_emailCacheFolder));
    EXPECT_EQ(0, m_task->m_errorOccured);
}

TEST_F(Limits, MailCacheWithoutRoomThatStaysSoFailsTheRun) {
    TempFolder const drive;
    m_task->m_emailCacheFolder = CString(drive.Engine()) + _T("\\mail");
    s_answer = 2;
    __int64 code = 0;
    EXPECT_EQ(0, m_task->CheckLocalSpace(INT64_MAX, code));
    EXPECT_EQ(4, code);
    EXPECT_EQ(1, m_task->m_errorOccured);
    EXPECT_EQ((std::vector<CString>{Words(_T("NoSpaceCachingFiles"))}), Errors());
    ASSERT_EQ(1u, s_asked.size());
    EXPECT_EQ(1u, s_asked[0].style);
}

TEST_F(Limits, WithTooLittleRoomTheUserMayGoOn) {
    service->free = 3 * kMegabyte - 1;
    CString text;
    text.Format(Words(_T("IDS_NEEDMOREBUYSPACE")), _T("t"), int64_t{3}, int64_t{2});
    EXPECT_EQ(0, CheckAccount(3 * kMegabyte - 1));
    EXPECT_EQ((std::vector<Question>{{text, kYesNo, 0}}), Asked());
    EXPECT_EQ(0, m_task->m_errorOccured);
    EXPECT_TRUE(Errors().empty());
}

// A box that fails is no answer.
TEST_F(Limits, AnAccountCheckThatBreaksFailsTheRun) {
    SetMsgBoxProc(
        [](TCHAR const*, unsigned int, unsigned long, int) -> int { throw std::runtime_error("box"); });
    EXPECT_EQ(6, CheckAccount(1));
    EXPECT_EQ(1, m_task->m_errorOccured);
    std::vector<CString> const errors = Errors();
    ASSERT_EQ(1u, errors.size());
    EXPECT_EQ(0, errors[0].Find(Words(_T("GetAccountBalanceError"))));
}

// The size is measured wrongly, and the account is full: that is asked about all the same.
TEST_F(Limits, ANegativeNeedIsCheckedLikeAnyOther) {
    service->free = -10;
    EXPECT_EQ(10, CheckAccount(-10));
    EXPECT_EQ(1u, Asked().size());
    EXPECT_EQ(0, CheckAccount(-11));
    EXPECT_TRUE(Asked().empty());
}

// A vault on a disk of the user's own has no page: room is made beside the program, and the account is looked
// at again.
TEST_F(Limits, AYesWithoutAPageLeadsStraightToTheRetry) {
    CString const standard = Words(_T("IDS_STRREACHLIMIT")) + _T(" ") + Words(_T("IDS_ORDERSPACE"));
    Question const retry{standard, kRetryCancel, 0};
    s_answer = kYes;  // which is no retry
    for (int64_t const little : {int64_t{1}, int64_t{0}}) {
        service->free = little;
        EXPECT_EQ(10, CheckAccount(1));
        std::vector<Question> const asked = Asked();
        ASSERT_EQ(2u, asked.size());
        EXPECT_EQ(kYesNo, asked[0].style);
        EXPECT_EQ(retry, asked[1]);
        EXPECT_EQ(1, m_task->m_errorOccured);
        EXPECT_EQ(1u, Errors().size());
    }
    SetMsgBoxProc([](TCHAR const* text, unsigned int style, unsigned long seconds, int) {
        s_asked.push_back({text, style, seconds});
        if (style == kRetryCancel) {
            s_onOpen();
        }
        return style == kRetryCancel ? kRetry : kYes;
    });
    s_onOpen = [&] { service->free = 2; };
    EXPECT_EQ(0, CheckAccount(1)) << "room was made while the question stood";
    EXPECT_EQ(2u, Asked().size());
    EXPECT_TRUE(s_opened.empty());
    EXPECT_EQ(0, m_task->m_errorOccured);
}

TEST_F(Limits, WithoutRoomTheRunFailsAndGoesOn) {
    for (int64_t const free : {int64_t{0}, int64_t{-5 * kMegabyte}}) {
        service->free = free;
        CString text;
        text.Format(Words(_T("NeedMoreBuySpace")), free / kMegabyte);
        EXPECT_EQ(10, CheckAccount(1));
        EXPECT_EQ((std::vector<Question>{{text, kYesNo, 0}}), Asked());
        EXPECT_EQ(1, m_task->m_errorOccured);
        EXPECT_EQ(std::vector<CString>{text}, Errors());
    }
}

TEST_F(Limits, AnAccountThatDoesNotAnswerAsksNothing) {
    for (int const code : {2, 9, 1000}) {
        service->Answer("Space", code);
        EXPECT_EQ(code, CheckAccount(1));
    }
    service->Answer("Space", 3);
    EXPECT_EQ(3, CheckAccount(1)) << "reconnected, and not asked again";
    m_task->m_pTaskPrg->m_bCancel = 1;
    EXPECT_EQ(6, CheckAccount(1)) << "the room is too little, and nobody is asked after a cancel";
    m_task->m_pTaskPrg->m_bCancel = 0;
    EXPECT_TRUE(Asked().empty());
    EXPECT_TRUE(Errors().empty());
    service->Answer("Space", 9);
    __int64 code = 0;
    EXPECT_EQ(0, m_task->GetUserHaveSpace(code));
    EXPECT_EQ(9, code);
}

TEST_F(Limits, AlertsMayBeOffOrOnlyNotes) {
    m_spaceAlertNoteOnly = 1;
    s_answer = kYes;
    EXPECT_EQ(10, CheckAccount(1));
    ASSERT_EQ(1u, s_asked.size());
    EXPECT_EQ(0u, s_asked[0].style);
    EXPECT_EQ(60u, s_asked[0].seconds);
    Asked();
    m_spaceAlertAllowed = 0;
    EXPECT_EQ(10, CheckAccount(1));
    EXPECT_TRUE(Asked().empty());
}

TEST_F(Limits, ARetryOfTheRunLooksAtTheAccountAgain) {
    service->webAddress = "https://backup.test";
    s_answer = kYesAndRetry;
    CString const page = _T("open https://backup.test/secure/autologon.aspx?sesID=") +
                         ApiUtil::GetSessionID() + _T("&gotoURL=/Secure/Subscribe.aspx");
    for (int64_t const little : {int64_t{0}, int64_t{500}}) {
        SCOPED_TRACE(little);
        service->free = little;
        s_onOpen = [&] { service->free = s_opened.size() < 2 ? little : 2000; };
        EXPECT_EQ(0, CheckAccount(1000));
        EXPECT_EQ((std::vector<CString>{page, page}), std::exchange(s_opened, {}));
        EXPECT_EQ(4u, Asked().size()) << "the way to more room and whether to try again, twice";
        EXPECT_EQ(0, m_task->m_errorOccured);
    }
    service->free = 0;
    s_onOpen = [] {};
    service->ForgetCalls();
    CheckAccount(1000);
    EXPECT_EQ(10u, s_opened.size()) << "not for ever";
    EXPECT_EQ(0, m_task->m_errorOccured);
    EXPECT_TRUE(Errors().empty());

    s_asked.clear();
    s_answer = kYes;  // which is no retry
    EXPECT_EQ(10, CheckAccount(1000));
    EXPECT_EQ(2u, Asked().size());
    EXPECT_EQ(1, m_task->m_errorOccured);
    EXPECT_EQ(1u, Errors().size());
}

TEST_F(Limits, ARetryAsksTheAccountAgain) {
    EXPECT_EQ(0, GlobalFunction::SpaceLimitRetry(_T("again?")));
    EXPECT_EQ(0, service->Calls("Space"));
    s_answer = kRetry;
    service->free = 77;
    EXPECT_EQ(1, GlobalFunction::SpaceLimitRetry(_T("again?")));
    EXPECT_EQ(227, theVaultLibApp.m_accountBalance.m_totalSpace);
    EXPECT_EQ((std::vector<Question>(2, {_T("again?"), 5, 0})), Asked());
}

TEST_F(Limits, ANewTaskIsMeasuredAgainstTheAccount) {
    int code = 0;
    service->free = 100;
    EXPECT_EQ(0, m_task->CheckFreeSpaceFromServer(1, nullptr, code));
    EXPECT_EQ(1, m_task->CheckFreeSpaceFromServer(99, m_task, code));
    service->free = -100;
    EXPECT_EQ(0, m_task->CheckFreeSpaceFromServer(-50, m_task, code)) << "a size that makes no sense";
    EXPECT_TRUE(Asked().empty());

    service->free = 100;
    CString text;
    text.Format(Words(_T("IDS_STRNEEDMORESPACE")), _T("t"), FormatSizeToString(100, 0),
                FormatSizeToString(100, 0));
    EXPECT_EQ(1, m_task->CheckFreeSpaceFromServer(100, m_task, code)) << "the user goes on";
    EXPECT_EQ((std::vector<Question>{{text, kYesNo, 0}}), Asked());

    service->free = 0;
    EXPECT_EQ(1, m_task->CheckFreeSpaceFromServer(100, m_task, code));
    EXPECT_EQ(Words(_T("CommonUserStorageSpace")), Asked().at(0).text)
        << "who may not buy is told whom to ask";

    service->maySubscribe = true;
    service->free = -200;
    EXPECT_EQ(1, m_task->CheckFreeSpaceFromServer(100, m_task, code));
    text.Format(Words(_T("IDS_STRNEEDMORESPACE")), _T("t"), FormatSizeToString(100, 0),
                _T("-") + FormatSizeToString(200, 0));
    EXPECT_EQ(text, Asked().at(0).text);

    service->Answer("Space", 9);
    EXPECT_EQ(0, m_task->CheckFreeSpaceFromServer(1, m_task, code));
    EXPECT_EQ(9, code);
}

TEST_F(Limits, TooManyItemsAreToldByTheKindOfAccount) {
    __int64 const limit = ApiUtil::GetLimitUploadNumber();
    for (bool const paid : {true, false}) {
        for (bool const maySubscribe : {true, false}) {
            service->paid = paid;
            service->maySubscribe = maySubscribe;
            CString text;
            text.Format(Words(paid ? _T("PayUserUploadNumberLimit") : _T("FreeUserUploadNumberLimit")),
                        ShownPath(_T("C:\\many")), limit, ShownPath(_T("C:\\many")));
            EXPECT_EQ(0, m_task->UpdateServiceForUploadLimit(_T("C:\\many")));
            EXPECT_EQ((std::vector<Question>{{text, maySubscribe ? kYesNo : 0, 0}}), Asked());
        }
    }
}

}  // namespace rampart::test
