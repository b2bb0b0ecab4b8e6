#include <filesystem>

#include "transferlib/vault_fixture.h"

namespace rampart::test {
namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::SizeIs;

class Batch : public VaultTest {
protected:
    Batch() { EXPECT_TRUE(MakeFolder(_T("\\docs"))); }

    int Queue(const std::string& name, ProgressCallBack* callback = nullptr) {
        return batch.BatchFileUpload(Local(name), _T("\\docs"), _T(""), _T(""), callback, 1, 1);
    }
    int QueueNew(const std::string& name, size_t bytes = 10, ProgressCallBack* callback = nullptr) {
        files.Write(name, Noise(bytes, ++m_seed));
        return Queue(name, callback);
    }

    BatchMode batch{1};

private:
    uint32_t m_seed = 0;
};

TEST_F(Batch, FilesGoInOneCommitAndComeBack) {
    CountingCallback callback;
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(QueueNew("f" + std::to_string(i), 1000 + i, &callback), kBatchQueued);
    }
    files.Write("empty", "");
    EXPECT_EQ(Queue("empty", &callback), kBatchQueued);
    files.Write("same", files.Read("f7"));
    EXPECT_EQ(Queue("same", &callback), kBatchQueued);
    // What the engine keeps of a file after it was queued does not matter.
    std::filesystem::remove(files.Path("f7"));
    EXPECT_TRUE(Listing(_T("\\docs")).empty());
    service->ForgetCalls();
    EXPECT_EQ(batch.LeaveMode(0), 0);
    EXPECT_EQ(service->Calls("CommitFiles"), 1);
    EXPECT_THAT(Listing(_T("\\docs")), SizeIs(102));
    EXPECT_TRUE(Download(_T("\\docs\\f7")) == files.Read("same"));
    EXPECT_TRUE(Download(_T("\\docs\\f99")) == files.Read("f99"));
    EXPECT_EQ(callback.perFile[Local("f99").ToUtf8()], 1099);
    EXPECT_EQ(callback.moved, 100 * 1000 + 99 * 50 + 1007);
    EXPECT_EQ(batch.LeaveMode(0), 0);
}

TEST_F(Batch, AFullBatchIsSentByItselfAndTheFileThatOverflowedWithTheNext) {
    int i = 0;
    for (; i < 512; ++i) {
        ASSERT_EQ(QueueNew("n" + std::to_string(i)), kBatchQueued);
    }
    EXPECT_EQ(QueueNew("overflow"), kBatchFull);
    EXPECT_EQ(batch.DoBatch(0, 0), 0);
    EXPECT_THAT(Listing(_T("\\docs")), SizeIs(512));
    EXPECT_FALSE(Exists(_T("\\docs\\overflow")));
    EXPECT_EQ(batch.DoBatch(0, 0), 0) << "nothing is sealed";
    EXPECT_EQ(batch.LeaveMode(0), 0);
    EXPECT_TRUE(Exists(_T("\\docs\\overflow")));
}

TEST_F(Batch, ItsBytesAreLimitedAndBigFilesAreNotTaken) {
    const auto limit = static_cast<size_t>(ApiUtil::GetBatchTotalSize(0));
    EXPECT_EQ(QueueNew("big", limit), 0);
    int queued = 0;
    int code = kBatchQueued;
    while (code == kBatchQueued) {
        code = QueueNew("b" + std::to_string(queued++), limit - 1);
    }
    EXPECT_EQ(code, kBatchFull);
    EXPECT_EQ(queued, 9);
    // Without a send in between the full batch still goes, and nothing is lost.
    for (; queued < 20; ++queued) {
        EXPECT_THAT(QueueNew("b" + std::to_string(queued), limit - 1),
                    testing::AnyOf(kBatchQueued, kBatchFull));
    }
    EXPECT_EQ(batch.LeaveMode(0), 0);
    EXPECT_THAT(Listing(_T("\\docs")), SizeIs(20));
}

TEST_F(Batch, AFileThatCannotBeReadIsNotInTheBatch) {
    EXPECT_EQ(Queue("nothing"), kSourceVanished);
    files.Write("folder/", "");
    EXPECT_EQ(Queue("folder"), kSourceNotAFile);
    EXPECT_EQ(QueueNew("good"), kBatchQueued);
    EXPECT_EQ(batch.LeaveMode(0), 0);
    EXPECT_THAT(Listing(_T("\\docs")), ElementsAre(Pair("good", 10)));
}

TEST_F(Batch, CancelDropsWhatIsQueued) {
    CountingCallback callback;
    EXPECT_EQ(QueueNew("a", 10, &callback), kBatchQueued);
    batch.CancelMe();
    EXPECT_EQ(batch.LeaveMode(0), kBatchAborted) << "the user did not cancel, and the files are not stored";
    callback.cancelAtCall = callback.calls + 1;
    EXPECT_EQ(batch.LeaveMode(0), kCancelled);
    EXPECT_EQ(QueueNew("b"), kCancelled);
    BatchMode empty(1);
    empty.CancelMe();
    EXPECT_EQ(empty.LeaveMode(0), 0);
    EXPECT_TRUE(Listing(_T("\\docs")).empty());
}

TEST_F(Batch, ACancelDuringTheSendLeavesNoneOfItsFiles) {
    CountingCallback callback;
    for (const char* name : {"a", "b", "c"}) {
        EXPECT_EQ(QueueNew(name, 500'000, &callback), kBatchQueued);
    }
    callback.cancelAtCall = callback.calls + 2;
    EXPECT_EQ(batch.LeaveMode(0), kCancelled);
    EXPECT_TRUE(Listing(_T("\\docs")).empty());
    BatchMode second(1);
    EXPECT_EQ(second.BatchFileUpload(Local("a"), _T("\\docs"), _T(""), _T(""), nullptr, 1, 1), kBatchQueued);
    service->Before("PutChunks", [&] {
        EXPECT_EQ(second.IsBatchWorking(), 1);
        second.CancelMe();
    });
    files.Write("d", "never stored before");
    EXPECT_EQ(second.BatchFileUpload(Local("d"), _T("\\docs"), _T(""), _T(""), nullptr, 1, 1), kBatchQueued);
    EXPECT_EQ(second.LeaveMode(0), kCancelled);
    EXPECT_EQ(second.IsBatchWorking(), 0);
    EXPECT_TRUE(Listing(_T("\\docs")).empty());
}

TEST_F(Batch, AShortFailureOfTheConnectionIsPassedOver) {
    EXPECT_EQ(QueueNew("a"), kBatchQueued);
    service->Answer("CommitFiles", kConnectionFailed);
    EXPECT_EQ(batch.LeaveMode(0), 0);
    EXPECT_EQ(QueueNew("b"), kBatchQueued);
    service->Answer("CommitFiles", kNoSpace);
    EXPECT_EQ(batch.LeaveMode(0), kNoSpace);
    EXPECT_THAT(Listing(_T("\\docs")), ElementsAre(Pair("a", 10)));
}

TEST_F(Batch, ContentThatTheServiceLostIsSentAgain) {
    EXPECT_EQ(QueueNew("a"), kBatchQueued);
    service->Answer("CommitFiles", kContentMissing);
    EXPECT_EQ(batch.LeaveMode(0), 0);
    EXPECT_TRUE(Download(_T("\\docs\\a")) == files.Read("a"));
}

TEST_F(Batch, OneFileAtFaultDoesNotKeepTheOthersOut) {
    ASSERT_TRUE(MakeFolder(_T("\\docs\\taken")));
    EXPECT_EQ(QueueNew("a"), kBatchQueued);
    EXPECT_EQ(QueueNew("taken"), kBatchQueued);
    EXPECT_EQ(QueueNew("b"), kBatchQueued);
    EXPECT_EQ(batch.LeaveMode(0), kNameTaken);
    EXPECT_THAT(Listing(_T("\\docs")), ElementsAre(Pair("a", 10), Pair("b", 10), Pair("taken", -1)));
}

}  // namespace
}  // namespace rampart::test
