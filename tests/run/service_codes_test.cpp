// What each code of the service leads to at each kind of call of a run: the event, the mail lines, the
// counters, the retries, what is stored and how the run ends.
#include <set>

#include "eventlog/error_log.h"
#include "progress/task_prg.h"
#include "storage/embedded_service.h"
#include "storage/service_code.h"
#include "support/engine_home.h"
#include "support/scripted_service.h"
#include "transferlib/service_connection.h"

namespace rampart::test {

namespace {

// How the text of an event is made.
enum class Text {
    kNone,
    kStandard,      // local path, server path, the code's text
    kLocalPath,     // local path and the code's text
    kServerPath,    // server path and the code's text
    kTooBig,        // local path and the limit in megabytes
    kItemLimit,     // server path and the limit
    kFreeItemLimit  // the same of a free account
};

struct CodeRow {
    int code;
    EventTypes level;  // of the one event, where there is a text
    Text text;
    bool isLeftOut;       // counted as a file that was left out, to be tried again
    bool endsThreaded;    // the files behind it are not sent
    bool endsSequential;  // the same on the road without a copy thread
};

constexpr EventTypes kError = EVENT_ERROR;
constexpr EventTypes kWarning = EVENT_WARNING;

constexpr CodeRow kCodes[] = {
    {1, kError, Text::kStandard, false, false, false},
    {2, kError, Text::kStandard, false, false, false},
    {3, kError, Text::kStandard, false, false, false},
    {4, kWarning, Text::kLocalPath, true, false, false},
    {5, kError, Text::kServerPath, false, true, true},
    {6, EVENT_INFO, Text::kNone, false, false, true},
    {8, kError, Text::kStandard, false, false, false},
    {9, kError, Text::kStandard, false, false, false},
    {10, kError, Text::kStandard, false, false, false},
    {12, kError, Text::kStandard, false, true, true},
    {52, kWarning, Text::kLocalPath, true, false, false},
    {71, kError, Text::kTooBig, false, false, false},
    {73, kError, Text::kItemLimit, false, true, true},
    {74, kError, Text::kStandard, false, true, true},
    {75, kError, Text::kFreeItemLimit, false, true, true},
    {96, kWarning, Text::kLocalPath, true, false, false},
    {100, EVENT_INFO, Text::kNone, false, true, true},
    {102, kError, Text::kStandard, true, false, false},
    {104, kError, Text::kStandard, false, false, false},
    {999, kError, Text::kStandard, false, false, false},
    {1000, kWarning, Text::kStandard, true, false, false},
    {1005, kWarning, Text::kStandard, true, false, false},
    {-1, kError, Text::kStandard, false, false, false},
};

constexpr int kMostTries = 21;
constexpr int64_t kAloneBytes = 1000;  // a file of that size goes alone

class ServiceCodes : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        Connect();
    }

    // Connects to the vault anew, with the account's settings as they are now.
    void Connect() {
        std::unique_ptr<EmbeddedService> opened;
        ASSERT_TRUE(EmbeddedService::Open(home.Native("vault"), {}, opened).Ok());
        service = std::make_shared<ScriptedService>(std::shared_ptr<StorageService>(std::move(opened)));
        SetAccount("BatchBytes", kAloneBytes);
        SetStorageService(service);
        CString message;
        ASSERT_EQ(0, ApiUtil::Logon(_T("user"), _T("password"), message));
    }
    void SetAccount(const std::string& name, int64_t value) {
        ASSERT_TRUE(service->SetSetting(name, std::to_string(value)).Ok());
    }
    void UseThreads(bool threads) {
        ASSERT_TRUE(
            DictUtil::SetConfigString(_T("Options"), _T("SupportCopyThread"), threads ? _T("1") : _T("0")));
        DictUtil::Refresh();
    }

    // A task of new files in a folder "d". Contents differ from task to task, so that each has chunks to
    // send.
    CBackupTask& NewTask(std::vector<std::string> const& names, size_t bytes) {
        ++m_number;
        m_tree = std::make_unique<TempFolder>();
        std::vector<std::string> paths;
        for (std::string const& name : names) {
            m_tree->Write("d/" + name,
                          std::string(name == "small" ? 0 : bytes, 'x') + name + std::to_string(m_number));
            paths.push_back(m_tree->Native("d/" + name));
        }
        m_task = &MakeTask("t" + std::to_string(m_number), paths);
        return *m_task;
    }

    int RunTask() {
        CErrorLog().RemoveAllLogs();
        service->ForgetCalls();
        return Run(*m_task);
    }

    CString Local(std::string const& name) const { return Engine(m_tree->Native("d/" + name)); }
    CString Server(std::string const& name) const {
        return m_task->m_serverFilePath +
               (name.empty() ? CString() : CString(_T("\\")) + CString::FromUtf8(name));
    }
    bool IsStored(std::string const& name) const {
        return ApiUtil::GetServerPathlist().IsPathExistEx(Server(name), 0, 0) != 0;
    }
    bool IsOnLedger(std::string const& name) const { return skipped.contains(m_tree->Native("d/" + name)); }

    static CString TextOf(CodeRow const& row, CString const& localPath, CString const& serverPath) {
        CString const local = ShownPath(localPath);
        CString const server = ShownPath(serverPath);
        CString const reason = ApiUtil::GetQuilString(row.code);
        CString text;
        switch (row.text) {
            case Text::kNone:
                break;
            case Text::kStandard:
                text.Format(DictUtil::GetValue(_T("IDS_STRLOGUPLOADFAIL"), _T("")), local, server, reason);
                break;
            case Text::kLocalPath:
                text = local + _T(": ") + reason;
                break;
            case Text::kServerPath:
                text = server + _T(": ") + reason;
                break;
            case Text::kTooBig:
                text.Format(DictUtil::GetValue(_T("MaxSingleFileforFreeUser"), _T("")), local,
                            ApiUtil::GetFreeMaxSingleFileSize() / 0x100000);
                break;
            case Text::kItemLimit:
            case Text::kFreeItemLimit:
                text.Format(DictUtil::GetValue(row.text == Text::kItemLimit ? _T("SubItemLimitation")
                                                                            : _T("FreeSubItemLimitation"),
                                               _T("")),
                            server, ApiUtil::GetLimitUploadNumber());
                break;
        }
        return text;
    }

    // Warnings and errors of the event list, oldest first.
    static std::vector<std::pair<int, std::string>> Events() {
        std::vector<std::pair<int, std::string>> events;
        CErrorLog log;
        CPtrList list;
        log.GetErrorList(list);
        for (void* entry : list) {
            auto const& info = *static_cast<ErrorInfo*>(entry);
            if (info.m_nType != EVENT_INFO) {
                events.emplace(events.begin(), info.m_nType, info.m_strMessage.ToUtf8());
            }
        }
        log.ClearErrorList(list);
        return events;
    }

    static size_t Lines(CStringList& mail, CString const& text) {
        size_t count = 0;
        for (CString const& line : mail) {
            count += line.Right(text.GetLength()) == text ? 1 : 0;
        }
        return count;
    }

    // The one event of a row, or none, with the mail lines that go with it: a warning has two.
    void ExpectEvent(CodeRow const& row, CString const& text) {
        std::vector<std::pair<int, std::string>> expected;
        if (row.text != Text::kNone) {
            expected.emplace_back(row.level, text.ToUtf8());
        }
        EXPECT_EQ(expected, Events());
        bool const isError = row.text != Text::kNone && row.level == EVENT_ERROR;
        bool const isWarning = row.text != Text::kNone && row.level == EVENT_WARNING;
        EXPECT_EQ(isError ? 1 : 0, m_task->m_errorEmailLog.GetCount());
        EXPECT_EQ(isWarning ? 2 : 0, m_task->m_warningEmailLog.GetCount());
        if (isError || isWarning) {
            EXPECT_EQ(isError ? 1u : 2u,
                      Lines(isError ? m_task->m_errorEmailLog : m_task->m_warningEmailLog, text));
        }
        EXPECT_EQ(isError ? 1 : 0, m_task->m_errorOccured);
    }

    // State of a run that ends with `result`.
    void ExpectState(int result) {
        int const expected = result == kCancelled          ? TaskStateCanceled
                             : m_task->m_errorOccured != 0 ? TaskStateFailed
                             : result == kOk               ? TaskStateFinished
                                                           : TaskStateCanceled;
        EXPECT_EQ(expected, m_task->m_state);
    }

    // Big files one by one: the first of them meets the code at `operation`.
    void CheckFileAlone(CodeRow const& row, std::string const& operation, bool threads) {
        SCOPED_TRACE(operation + (threads ? ", threads, code " : ", code ") + std::to_string(row.code));
        // Of files that go alone the last one found goes first; small ones follow.
        CBackupTask& task = NewTask({"after", "small", "victim"}, kAloneBytes);
        int const tries = row.code == kConnectionFailed ? kMostTries : 1;
        service->Answer(operation, row.code, tries);

        RunTask();

        bool const ends = threads ? row.endsThreaded : row.endsSequential;
        ExpectEvent(row, TextOf(row, Local("victim"), Server("victim")));
        EXPECT_FALSE(IsStored("victim"));
        EXPECT_EQ(!ends, IsStored("after"));
        EXPECT_EQ(!ends, IsStored("small"));
        EXPECT_EQ(ends ? tries : tries + 2, service->Calls(operation));
        EXPECT_EQ(row.isLeftOut ? 1 : 0, task.m_failedUploadCount);
        EXPECT_EQ(row.isLeftOut ? 1 : 0, task.m_hadFileFailure);
        EXPECT_EQ(row.code == kConnectionFailed ? 1 : 0, task.m_errorBackupCount);
        EXPECT_EQ(ends ? 0 : 2, task.m_reportUploadedCount);
        EXPECT_EQ(row.code != kCancelled, IsOnLedger("victim"));
        for (char const* behind : {"after", "small"}) {
            EXPECT_EQ(ends && row.code != kCancelled, IsOnLedger(behind));
        }
        EXPECT_TRUE(toldTwice.empty());
        ExpectState(ends ? row.code : kOk);
        EXPECT_EQ(0, CacheBytes()) << "a whole private copy of a file that was left out";
    }

    // Two small files that go with the end of the batch.
    void CheckLastBatch(CodeRow const& row, std::string const& operation, bool threads) {
        SCOPED_TRACE(operation + (threads ? ", threads, code " : ", code ") + std::to_string(row.code));
        CBackupTask& task = NewTask({"a", "b"}, 10);
        // The sender tries three times more by itself.
        service->Answer(operation, row.code, row.code == kConnectionFailed ? 4 : 1);

        RunTask();

        ExpectEvent(row, TextOf(row, ShownPath(Local("a")) + _T(" | ") + ShownPath(Local("b")), Server("")));
        EXPECT_FALSE(IsStored("a") || IsStored("b"));
        EXPECT_EQ(0, task.m_failedUploadCount) << "a code of the batch is none of a file";
        EXPECT_EQ(0, task.m_reportUploadedCount);
        EXPECT_EQ(row.code != kCancelled, IsOnLedger("a"));
        EXPECT_EQ(row.code != kCancelled, IsOnLedger("b"));
        ExpectState(row.code);
        EXPECT_EQ(0, CacheBytes());
    }

    static __int64 CacheBytes() {
        CString temp;
        CPathManage::GetTempFolder(temp, 0, 1);
        return KXFolder::GetFolderSize(temp, 0);
    }

    std::shared_ptr<ScriptedService> service;
    std::unique_ptr<TempFolder> m_tree;
    CBackupTask* m_task = nullptr;
    int m_number = 0;
};

std::vector<int> AllCodesAnd(int other) {
    std::vector<int> codes{other};
    for (CodeRow const& row : kCodes) {
        codes.push_back(row.code);
    }
    return codes;
}

CodeRow const& RowOf(int code) {
    return *std::find_if(std::begin(kCodes), std::end(kCodes),
                         [code](CodeRow const& row) { return row.code == code; });
}

}  // namespace

TEST_F(ServiceCodes, OfAFileThatGoesAlone) {
    for (CodeRow const& row : kCodes) {
        CheckFileAlone(row, "CommitFiles", false);
    }
    for (int const code : {3, 5, 9, 10, 52, 100, 1000}) {
        CheckFileAlone(RowOf(code), "HasChunks", false);
        CheckFileAlone(RowOf(code), "PutChunks", false);
    }
}

TEST_F(ServiceCodes, OfAFileThatGoesAloneBesideACopyThread) {
    UseThreads(true);
    for (CodeRow const& row : kCodes) {
        CheckFileAlone(row, "CommitFiles", true);
    }
}

// Not at the end of the run, which may be hours away.
TEST_F(ServiceCodes, TheCopyOfAFileThatIsLeftOutGoesBeforeTheNextFileIsSent) {
    for (bool const threads : {false, true}) {
        UseThreads(threads);
        for (int const code : {3, 52, 102, 1000, -1}) {
            SCOPED_TRACE((threads ? "threads, code " : "code ") + std::to_string(code));
            NewTask({"after", "victim"}, 0x20000);  // bytes above which a file is copied before it is sent
            service->Answer("CommitFiles", code, code == kConnectionFailed ? kMostTries : 1);
            std::set<std::string> left;
            service->Before("CommitFiles", [&] {
                CString temp;
                CPathManage::GetTempFolder(temp, 0, 1);
                for (auto const& [name, entry] : ReadTree(platform::ToNativePath(temp))) {
                    left.insert(name.substr(name.rfind('/') + 1));
                }
            });
            RunTask();
            service->Before("CommitFiles", [] {});
            EXPECT_TRUE(IsOnLedger("victim"));
            EXPECT_TRUE(left.contains("after")) << "it is being sent";
            EXPECT_FALSE(left.contains("victim"));
        }
    }
}

TEST_F(ServiceCodes, OfTheLastBatch) {
    for (CodeRow const& row : kCodes) {
        CheckLastBatch(row, "CommitFiles", false);
    }
    for (int const code : {5, 10, 52, 1000}) {
        CheckLastBatch(RowOf(code), "HasChunks", false);
        CheckLastBatch(RowOf(code), "PutChunks", false);
    }
    UseThreads(true);
    for (CodeRow const& row : kCodes) {
        CheckLastBatch(row, "CommitFiles", true);
    }
}

// The engine's reports say nothing of it; the ledger does, and codes that end the upload end it.
TEST_F(ServiceCodes, OfABatchInTheMiddleOfARun) {
    constexpr int64_t kBatchBytes = 4 << 20;
    for (bool const threads : {false, true}) {
        UseThreads(threads);
        for (int const code : AllCodesAnd(0)) {
            SCOPED_TRACE((threads ? "threads, code " : "code ") + std::to_string(code));
            SetAccount("BatchBytes", 2 * kBatchBytes);
            SetStorageService(service);
            // The second of these is too much for a batch with the first.
            CBackupTask& task = NewTask({"a", "b"}, kBatchBytes + 1000);
            service->Answer("CommitFiles", code, code == 0 ? 0 : code == kConnectionFailed ? 4 : 1);

            RunTask();

            CodeRow const* const row = code != 0 ? &RowOf(code) : nullptr;
            bool const ends = row != nullptr && (threads ? row->endsThreaded : row->endsSequential);
            EXPECT_EQ(code == 0, IsStored("a"));
            EXPECT_EQ(!ends, IsStored("b"));
            EXPECT_EQ(code != 0 && code != kCancelled, IsOnLedger("a"));
            EXPECT_EQ(ends && code != kCancelled, IsOnLedger("b"));
            EXPECT_EQ(0, task.m_failedUploadCount);
            EXPECT_EQ(code != 0 && code != kCancelled ? 1 : 0, task.m_hadFileFailure) << "for a retry";
            EXPECT_EQ(ends ? 0 : 1, task.m_reportUploadedCount) << "only the last batch counts";
            // What was dropped with the batch is told with the code that ended the upload.
            if (ends) {
                ExpectEvent(*row, TextOf(*row, Local("b"), Server("")));
            } else {
                EXPECT_TRUE(Events().empty());
            }
            ExpectState(ends ? code : kOk);
            EXPECT_EQ(0, CacheBytes());
            // Sent files have left the progress list, failed ones are in transfer no more.
            EXPECT_EQ(0, task.m_pTaskPrg->m_waitList.GetCount());
            EXPECT_EQ(code == 0 ? 0 : ends ? 2 : 1, task.m_pTaskPrg->m_items.GetCount());
        }
    }
}

// A worker's code goes to the progress list and the ledger, and nowhere else.
TEST_F(ServiceCodes, OfAWorker) {
    SetAccount("ParallelTransfer", 1);
    SetStorageService(service);
    UseThreads(true);
    for (CodeRow const& row : kCodes) {
        SCOPED_TRACE(row.code);
        CBackupTask& task = NewTask({"after", "victim"}, kAloneBytes);
        service->Answer("CommitFiles", row.code, 2);

        RunTask();

        EXPECT_TRUE(Events().empty());
        EXPECT_FALSE(IsStored("victim") || IsStored("after"));
        EXPECT_EQ(row.code != kCancelled, IsOnLedger("victim"));
        EXPECT_EQ(row.code != kCancelled, IsOnLedger("after"));
        EXPECT_EQ(2, service->Calls("CommitFiles")) << "no second try";
        EXPECT_EQ(0, task.m_errorOccured + task.m_hadFileFailure + task.m_failedUploadCount);
        EXPECT_EQ(0, task.m_reportUploadedCount);
        ExpectState(kOk);
        EXPECT_EQ(2, task.m_pTaskPrg->m_items.GetCount());
        for (void* entry : task.m_pTaskPrg->m_items) {
            EXPECT_EQ(TaskItemFailed, static_cast<TaskItemInfo*>(entry)->m_nStatus);
        }
        EXPECT_EQ(0, CacheBytes());
    }
}

TEST_F(ServiceCodes, AConnectionThatComesBackCostsNothing) {
    for (bool const threads : {false, true}) {
        UseThreads(threads);
        NewTask({"after", "victim"}, kAloneBytes);
        service->Answer("CommitFiles", kConnectionFailed, kMostTries - 1);
        RunTask();
        EXPECT_TRUE(Events().empty());
        EXPECT_EQ(kMostTries + 1, service->Calls("CommitFiles"));
        EXPECT_TRUE(IsStored("victim") && IsStored("after"));
        EXPECT_TRUE(skipped.empty());
        ExpectState(kOk);
    }
}

TEST_F(ServiceCodes, AFullAccountEndsTheUploadWhenItHasNoRoomLeft) {
    CBackupTask& task = NewTask({"after", "victim"}, kAloneBytes);
    service->Answer("CommitFiles", kNoSpace);
    // The first look at the account belongs to the check before the upload.
    service->Answer("Space", kFailed, 1, 1);
    RunTask();
    CodeRow const& row = RowOf(kNoSpace);
    ExpectEvent(row, TextOf(row, Local("victim"), Server("victim")));
    EXPECT_EQ(1, service->Calls("CommitFiles"));
    EXPECT_FALSE(IsStored("after"));
    EXPECT_EQ(TaskStateFailed, task.m_state);
}

// Whatever ends the run before its last path: each file is stored or on the ledger with the code, and none is
// both.
TEST_F(ServiceCodes, OfAnEarlyEndStandOnEachFileThatWasNotStored) {
    constexpr int kFiles = 150;
    struct End {
        char const* operation;
        int code;
        bool endsSequential;
        bool endsThreaded;
    };
    for (bool const threads : {false, true}) {
        UseThreads(threads);
        for (End const& end :
             {End{"CommitFiles", kBatchAborted, true, true}, End{"CommitFiles", kItemLimit, true, true},
              End{"CommitFiles", kFreeItemLimit, true, true}, End{"CommitFiles", kNoSpace, true, true},
              End{"CommitFiles", kConnectionFailed, false, false}}) {
            SCOPED_TRACE((threads ? "threads, code " : "code ") + std::to_string(end.code));
            m_tree = std::make_unique<TempFolder>();
            m_tree->Write("d/empty/", "");
            std::vector<std::string> names;
            for (int i = 0; i < kFiles; ++i) {
                names.push_back((i % 3 == 0 ? "sub/f" : "f") + std::to_string(i));
                m_tree->Write("d/" + names.back(),
                              std::string(i % 10 == 0 ? 10 : kAloneBytes, 'x') + std::to_string(++m_number));
            }
            CBackupTask& task = MakeTask("t" + std::to_string(m_number), {m_tree->Native("d")});
            m_task = &task;
            // The account's room: none, for the code that asks for it.
            service->Answer("Space", kFailed, end.code == kNoSpace ? 1000 : 0, 1);
            service->Answer(end.operation, end.code, end.code == kConnectionFailed ? kMostTries : 1, 40);

            RunTask();

            service->Answer("Space", 0, 0);
            int stored = 0;
            for (std::string const& name : names) {
                bool const isStored = IsStored(CString(platform::TextView(m_tree->Engine("d/" + name)))
                                                   .Mid(CString(m_tree->Engine()).GetLength() + 1)
                                                   .ToUtf8());
                stored += isStored ? 1 : 0;
                EXPECT_NE(isStored, IsOnLedger(name)) << name;
            }
            bool const ends = threads ? end.endsThreaded : end.endsSequential;
            EXPECT_EQ(ends ? 40 : kFiles - 1, stored);
            EXPECT_TRUE(toldTwice.empty()) << toldTwice.front();
            for (auto const& [path, reason] : skipped) {
                EXPECT_EQ(ApiUtil::GetQuilString(end.code).ToUtf8(), reason) << path;
            }
            EXPECT_EQ(0, CacheBytes());

            Run(task);
            EXPECT_TRUE(skipped.empty());
            EXPECT_EQ(ReadTree(m_tree->Path()), Restored(task.m_serverFilePath));
        }
    }
}

// Nothing was sent at all.
TEST_F(ServiceCodes, OfATaskWithoutItsFolderStandOnEachFile) {
    ASSERT_EQ(1, GlobalFunction::CreateSrvFolder(_T("\\pc"), _T(""), _T(""), nullptr));
    for (int const code : {3, 100}) {
        SCOPED_TRACE(code);
        NewTask({"a", "b"}, 10).m_serverFilePath += _T(" elsewhere");
        service->Answer("CreateFolder", code, code == 3 ? 3 : 1);
        RunTask();
        EXPECT_TRUE(IsOnLedger("a") && IsOnLedger("b"));
        EXPECT_TRUE(toldTwice.empty());
        service->Answer("CreateFolder", 0, 0);
    }
}

// The batch is sent again file by file.
TEST_F(ServiceCodes, OfOneFileOfABatchStandOnItAlone) {
    NewTask({"a", "b", "c"}, 10);
    service->Answer("CommitFiles", kInvalidRequest, 2);
    RunTask();
    EXPECT_EQ(1u, skipped.size());
    for (char const* name : {"a", "b", "c"}) {
        EXPECT_NE(IsStored(name), IsOnLedger(name)) << name;
    }
}

TEST_F(ServiceCodes, AUserWhoMakesNoRoomIsAskedOnceInARun) {
    for (bool const threads : {false, true}) {
        UseThreads(threads);
        CBackupTask& task = NewTask({"a", "b", "c", "d"}, kAloneBytes);
        messageAnswer = kAnswerNo;
        for (int run = 0; run < 2; ++run) {  // a no is for one run
            messages.clear();
            service->Answer("CommitFiles", kNoSpace, 4);
            RunTask();
            EXPECT_EQ(1u, messages.size());
            EXPECT_EQ(4u, skipped.size());
            EXPECT_EQ(4u, Events().size()) << "each is told";
        }
        // A yes is one for this time.
        messages.clear();
        std::vector<int> answers{kAnswerYes, kAnswerRetry, kAnswerYes, kAnswerRetry, kAnswerNo};
        answerMessage = [&] {
            int const answer = answers.front();
            answers.erase(answers.begin());
            return answer;
        };
        service->Answer("CommitFiles", kNoSpace, 4);
        RunTask();
        answerMessage = nullptr;
        EXPECT_EQ(5u, messages.size());
        EXPECT_EQ(2u, skipped.size());
        EXPECT_EQ(TaskStateFailed, task.m_state);
    }
}

TEST_F(ServiceCodes, BytesCountAsStoredOnceTheirCommitStands) {
    auto const stored = [] {
        TransferTotals totals;
        VaultAdmin::Transferred(totals);
        return totals.storedBytes;
    };
    NewTask({"a"}, kAloneBytes);
    __int64 const before = stored();
    service->Answer("CommitFiles", kNoSpace);
    RunTask();
    EXPECT_EQ(before, stored()) << "planned, not stored";
    RunTask();
    EXPECT_LT(before, stored());
}

TEST_F(ServiceCodes, AConnectionThatKeepsFailingGivesElevenEvents) {
    CBackupTask& task = NewTask({"file"}, 0);
    for (int i = 0; i < 15; ++i) {
        task.LogUploadFileResultInfo(kConnectionFailed, _T("\\s"), _T("C:\\l"), 0);
    }
    EXPECT_EQ(11u, Events().size());
    EXPECT_EQ(15, task.m_errorBackupCount);
}

TEST_F(ServiceCodes, WithoutBothPathsTheTextIsThatOfTheCode) {
    CBackupTask& task = NewTask({"file"}, 0);
    task.LogUploadFileResultInfo(kLocalSpace, _T(""), _T("C:\\l"), 0);
    task.LogUploadFileResultInfo(kLocalSpace, _T("\\s"), _T("C:\\l"), 1);
    CString cache;
    cache.Format(DictUtil::GetValue(_T("IDS_STRNOCACHESPACE"), _T("")), ShownPath(_T("C:\\l")),
                 ShownPath(_T("\\s")), ApiUtil::GetQuilString(kLocalSpace));
    EXPECT_EQ(
        (std::vector<std::pair<int, std::string>>{{EVENT_ERROR, ApiUtil::GetQuilString(kLocalSpace).ToUtf8()},
                                                  {EVENT_ERROR, cache.ToUtf8()}}),
        Events());
}

// A folder of its own in the list, which is made on the server.
TEST_F(ServiceCodes, OfAFolder) {
    struct Row {
        int code;
        int times;
        int calls;
        Text text;
        int result;  // of the folder
    };
    Row const rows[] = {
        {1, 1, 2, Text::kNone, 0},
        {1, 2, 2, Text::kStandard, 1},
        {2, 1, 1, Text::kStandard, 2},
        {3, 1, 2, Text::kNone, 0},
        {3, 2, 2, Text::kNone, 3},
        {4, 1, 1, Text::kStandard, 4},
        {5, 1, 1, Text::kStandard, 5},
        {6, 1, 1, Text::kStandard, 6},
        {9, 1, 1, Text::kStandard, 9},
        {10, 1, 1, Text::kLocalPath, 10},
        {12, 1, 1, Text::kNone, 0},
        {73, 1, 1, Text::kItemLimit, 73},
        {75, 1, 1, Text::kFreeItemLimit, 75},
        {100, 1, 1, Text::kNone, 100},
        {1000, 1, 1, Text::kNone, 0},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::to_string(row.code) + " x " + std::to_string(row.times));
        CBackupTask& task = NewTask({"file"}, 10);
        RunTask();
        CErrorLog().RemoveAllLogs();
        std::filesystem::create_directory(m_tree->Path("d/new"));
        service->ForgetCalls();
        service->Answer("CreateFolder", row.code, row.times);
        task.m_errorOccured = 0;
        CString path = Local("new");

        EXPECT_EQ(row.result, task.BackupPath(path, _T(""), 0, 0));

        EXPECT_EQ(row.calls, service->Calls("CreateFolder"));
        CString text;
        if (row.text == Text::kStandard) {
            text = DictUtil::GetValue(_T("CreateFolderError"), _T("")) + ShownPath(Server("new"));
        } else if (row.text == Text::kLocalPath) {
            text =
                TextOf({row.code, kError, Text::kStandard, false, false, false}, Local("new"), Server("new"));
        } else {
            text = TextOf({row.code, kError, row.text, false, false, false}, Local("new"), Server("new"));
        }
        std::vector<std::pair<int, std::string>> expected;
        if (!text.IsEmpty()) {
            expected.emplace_back(EVENT_ERROR, text.ToUtf8());
        }
        EXPECT_EQ(expected, Events());
        EXPECT_EQ(expected.empty() ? 0 : 1, task.m_errorOccured);
    }
}

// None of these is the file's: it is stored, and the run ends well.
TEST_F(ServiceCodes, OfTheAccountTheHistoryAndTheTaskDatabase) {
    struct Call {
        char const* operation;
        int versions;  // of a file that changed
    };
    for (Call const& call :
         {Call{"Space", 1}, Call{"StoreTask", 1}, Call{"CopyFile", 0}, Call{"Rename", 1}}) {
        for (int const code : {2, 4, 9, 10, 73, 1000}) {
            SCOPED_TRACE(std::string(call.operation) + " " + std::to_string(code));
            CBackupTask& task = NewTask({"file"}, 10);
            RunTask();
            m_tree->Write("d/file", "changed");
            service->Answer(call.operation, code, 1);
            RunTask();
            EXPECT_TRUE(Events().empty());
            EXPECT_TRUE(skipped.empty());
            ExpectState(kOk);
            EXPECT_EQ("changed", Restored(task.m_serverFilePath).at("file").content);
            EXPECT_EQ(static_cast<size_t>(call.versions), VersionNames(task, Server("file")).size());
            service->Answer(call.operation, 0, 0);
        }
    }
}

TEST_F(ServiceCodes, OfTheTasksOwnFolder) {
    struct Row {
        int code;
        int times;
        bool isStored;
        int state;
    };
    ASSERT_EQ(1, GlobalFunction::CreateSrvFolder(_T("\\pc"), _T(""), _T(""), nullptr));
    for (Row const& row : {Row{1, 1, true, TaskStateFinished}, Row{3, 1, true, TaskStateFinished},
                           Row{3, 3, false, TaskStateFailed}, Row{100, 1, false, TaskStateCanceled},
                           Row{9, 1, true, TaskStateFinished}}) {
        SCOPED_TRACE(row.code);
        // Away from the folder that was made with the task.
        NewTask({"file"}, 10).m_serverFilePath += _T(" elsewhere");
        service->Answer("CreateFolder", row.code, row.times);
        RunTask();
        EXPECT_EQ(row.isStored, IsStored("file"));
        EXPECT_EQ(row.state, m_task->m_state);
    }
}

}  // namespace rampart::test
