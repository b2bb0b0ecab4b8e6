#include <filesystem>
#include <map>
#include <thread>

#include "framework/cwin_thread.h"
#include "transferlib/vault_fixture.h"

namespace rampart::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

constexpr int64_t kSomeTime = 1'600'000'000'123'456'700;

class TransferTest : public VaultTest {
protected:
    TransferTest() { EXPECT_TRUE(MakeFolder(_T("\\docs"))); }

    // Nothing is left of a transfer that failed.
    void ExpectNoLeftovers() {
        for (const auto& [name, entry] : ReadTree(files.Path())) {
            EXPECT_EQ(name.find(".tmp"), std::string::npos) << name;
        }
    }
};

TEST_F(TransferTest, EveryKindOfNameAndContentComesBack) {
    std::map<std::string, std::string> contents{{"with blanks .txt", "a"},
                                                {"empty", ""},
                                                {"Gr\xC3\xBC\xC3\x9F"
                                                 "e \xE2\x82\xAC",
                                                 "b"},
                                                {"\xF0\x9F\x98\x80 smile", "c"},
                                                {"Case", "upper"},
                                                {"big", Noise(9'500'000, 3)},
                                                {"text", std::string(3'000'000, 'x')}};
    if (kKeepsEveryName) {
        contents.insert({{"not utf8 \xFF\xC3", "d"},
                         {"a:colon*and|bar\\back", "e"},
                         {"case", "lower"},
                         {"dot at end.", "f"}});
    }
    for (const auto& [name, content] : contents) {
        files.Write("from/" + name, content);
        const CString local = Local("from/" + name);
        ASSERT_FALSE(local.IsEmpty());
        EXPECT_EQ(ApiUtil::UploadFile(local, _T("\\docs"), _T(""), _T(""), message, nullptr, 0, 1, 1, 0, 0),
                  0)
            << name << message.ToUtf8();
    }
    CPtrList list;
    ASSERT_EQ(ApiUtil::GetServerPathlist().GetSubList(list, _T("\\docs"), 0, 0, 1), 0);
    ASSERT_EQ(list.GetCount(), static_cast<intptr_t>(contents.size()));
    std::filesystem::create_directories(files.Path("to"));
    while (!list.IsEmpty()) {
        const CAutoMyPathInfo info(static_cast<MyPathInfo*>(list.RemoveHead()));
        const CString target = Local("to") + _T("\\") + info->m_name;
        EXPECT_EQ(ApiUtil::DownloadFile(info->m_path, target, nullptr, 0), 0) << info->m_path.ToUtf8();
    }
    for (const auto& [name, content] : contents) {
        EXPECT_TRUE(files.Read("to/" + name) == content) << name;
    }
}

TEST_F(TransferTest, TheRecordAndTheRestoredFileHaveTheLastWriteTime) {
    files.Write("a", "content");
    files.SetWriteTime("a", kSomeTime);
    ASSERT_EQ(Upload("a", _T("\\docs")), 0);
    const CAutoMyPathInfo info(ApiUtil::GetPathInfoEx(_T("\\docs\\a"), 0, 0));
    EXPECT_EQ(info->m_size, 7);
    EXPECT_EQ(ApiUtil::SystemTimeToTime(info->m_modifiedTime).GetTime(), 1'600'000'000);
    EXPECT_EQ(ApiUtil::SystemTimeToTime(info->m_createdTime).GetTime(), 1'600'000'000);
    files.Write("back", "what was here before");
    ASSERT_EQ(ApiUtil::DownloadFile(_T("\\docs\\a"), Local("back"), nullptr, 0), 0);
    EXPECT_EQ(ReadTree(files.Path())["back"], (TreeEntry{"content", kSomeTime}));
    ExpectNoLeftovers();
}

TEST_F(TransferTest, EachPieceIsToldOnceAndAnUploadThatWasCancelledLeavesNothing) {
    files.Write("big", Noise(20'000'000, 1));
    CountingCallback callback;
    ASSERT_EQ(Upload("big", _T("\\docs"), &callback), 0);
    EXPECT_EQ(callback.moved, 20'000'000);
    ASSERT_EQ(ApiUtil::DeleteFileW(_T("\\docs\\big")), 0);
    CountingCallback cancelling;
    cancelling.cancelAtCall = 2;
    EXPECT_EQ(Upload("big", _T("\\docs"), &cancelling), kCancelled);
    EXPECT_FALSE(Exists(_T("\\docs\\big")));
    ASSERT_EQ(Upload("big", _T("\\docs")), 0);
    CountingCallback downloading;
    downloading.cancelAtCall = 3;
    EXPECT_EQ(ApiUtil::DownloadFile(_T("\\docs\\big"), Local("big"), &downloading, 0), kCancelled);
    EXPECT_EQ(files.Read("big"), Noise(20'000'000, 1)) << "the file that was there stays";
    ExpectNoLeftovers();
}

TEST_F(TransferTest, WhatCannotBeReadIsSkippedWithItsOwnCode) {
    EXPECT_EQ(Upload("nothing", _T("\\docs")), kSourceVanished);
    EXPECT_FALSE(message.IsEmpty());
    files.Write("folder/", "");
    EXPECT_EQ(Upload("folder", _T("\\docs")), kSourceNotAFile);
    files.Write("a", "x");
    EXPECT_EQ(Upload("a", _T("\\nowhere")), kNotFound);
    EXPECT_EQ(ApiUtil::DownloadFile(_T("\\docs\\nothing"), Local("b"), nullptr, 0), kNotFound);
    EXPECT_FALSE(files.Exists("b"));
}

TEST_F(TransferTest, AFileThatChangesUnderTheReadIsReadAgainAndThenTakenAsItIs) {
    files.Write("a", Noise(3'000'000, 1));
    int changes = 0;
    service->Before("PutChunks", [&] {
        if (changes++ == 0) {
            files.Write("a", "short");
        }
    });
    CountingCallback callback;
    EXPECT_EQ(Upload("a", _T("\\docs"), &callback), 0);
    EXPECT_EQ(Download(_T("\\docs\\a")), "short");
    EXPECT_EQ(callback.moved, 3'000'000) << "bytes are not told twice";
    files.Write("a", Noise(3'000'000, 2));
    uint32_t seed = 10;
    service->Before("PutChunks", [&] {
        ++seed;
        files.Write("a", Noise(3'000'000 + seed, seed));
    });
    EXPECT_EQ(Upload("a", _T("\\docs")), kOk) << "an older one is worth less than one that may be torn";
    service->Before("PutChunks", {});
    EXPECT_GE(Download(_T("\\docs\\a")).size(), 3'000'000u);
}

TEST_F(TransferTest, ContentThatTheServiceLostIsSentAgain) {
    files.Write("a", Noise(2'500'000, 4));
    ASSERT_EQ(Upload("a", _T("\\docs")), 0);
    service->ForgetCalls();
    ASSERT_EQ(Upload("a", _T("\\docs")), 0);
    EXPECT_EQ(service->Calls("PutChunks"), 0) << "known content is not sent";
    service->Answer("CommitFiles", kContentMissing);
    ASSERT_EQ(Upload("a", _T("\\docs")), 0);
    EXPECT_EQ(service->Calls("PutChunks"), 1);
    service->Answer("CommitFiles", kContentMissing, 5);
    EXPECT_EQ(Upload("a", _T("\\docs")), kContentMissing);
}

TEST_F(TransferTest, CodesOfTheServiceReachTheCaller) {
    files.Write("a", "x");
    for (const int code : {kSessionLost, kConnectionFailed, kNoSpace, kItemLimit, kSecondFactorNeeded}) {
        service->Answer("PutChunks", code);
        files.Write("a", "content " + std::to_string(code));
        EXPECT_EQ(Upload("a", _T("\\docs")), code);
    }
    service->Throw("CommitFiles");
    EXPECT_EQ(Upload("a", _T("\\docs")), kFailed);
    EXPECT_EQ(Upload("a", _T("\\docs")), 0);
    service->Answer("ReadChunks", kContentDamaged);
    EXPECT_EQ(ApiUtil::DownloadFile(_T("\\docs\\a"), Local("b"), nullptr, 0), kContentDamaged);
    EXPECT_FALSE(files.Exists("b"));
    ExpectNoLeftovers();
}

TEST_F(TransferTest, ABigFileShowsItsPartUntilItIsWhole) {
    const std::string content(150'000'000, 'a');
    files.Write("big", content);
    CountingCallback callback;
    __int64 shown = 0;
    callback.onCall = [&] {
        const CAutoMyPathInfo part(ApiUtil::GetPathInfoEx(_T("\\docs\\big.part"), 0, 0));
        shown = part != nullptr ? std::max(shown, part->m_size) : shown;
    };
    ASSERT_EQ(Upload("big", _T("\\docs"), &callback), 0);
    EXPECT_GT(shown, 100'000'000);
    EXPECT_THAT(Listing(_T("\\docs")), ElementsAre(Pair("big", 150'000'000)));
    ApiUtil::GetServerPathlist().RefreshFolder(_T("\\docs"), 1, 1);
    EXPECT_THAT(Listing(_T("\\docs")), ElementsAre(Pair("big", 150'000'000)));
}

TEST_F(TransferTest, APauseHoldsTransfersAndACutEndsTheOneOfItsThread) {
    files.Write("a", Noise(2'000'000, 5));
    std::atomic<int> calls{0};
    std::atomic<unsigned long> threadId{0};
    CountingCallback callback;
    callback.onCall = [&] { ++calls; };
    ApiUtil::SetSuspendStatus(1);
    int code = -1;
    std::thread worker([&] {
        threadId = CurrentThreadId();
        code = Upload("a", _T("\\docs"), &callback);
    });
    while (calls < 3) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(Exists(_T("\\docs\\a")));
    EXPECT_EQ(ApiUtil::CloseConnectionByThreadID(threadId), 1);
    worker.join();
    EXPECT_EQ(code, kConnectionFailed);
    ApiUtil::SetSuspendStatus(0);
    EXPECT_EQ(ApiUtil::CloseConnectionByThreadID(threadId), 0);
    EXPECT_EQ(Upload("a", _T("\\docs")), 0);
}

TEST_F(TransferTest, DeletionsTellTheirProgressAndStopWhenCancelled) {
    CStringList paths;
    for (const char* name : {"a", "b", "c"}) {
        files.Write(name, name);
        ASSERT_EQ(Upload(name, _T("\\docs")), 0);
        paths.AddTail(_T("\\docs\\") + Text16(name));
    }
    CountingCallback callback;
    callback.cancelAtCall = 2;
    EXPECT_EQ(ApiUtil::DeletePaths(paths, &callback), kCancelled);
    EXPECT_THAT(Listing(_T("\\docs")), ElementsAre(Pair("b", 1), Pair("c", 1)));
    EXPECT_EQ(ApiUtil::DeletePaths(paths), 0) << "what is gone counts as deleted";
    EXPECT_TRUE(Listing(_T("\\docs")).empty());
}

}  // namespace
}  // namespace rampart::test
