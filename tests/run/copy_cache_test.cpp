// Copies of sources in the local cache: how far ahead they are made, what happens to one that fails, and what
// is deleted.
#ifdef _WIN32
#include <share.h>
#endif

#include "eventlog/error_log.h"
#include "link/manage_multiple_running_task.h"
#include "paths/copy_folder.h"
#include "progress/task_prg.h"
#include "run/copy_cache.h"
#include "run/copy_progress.h"
#include "support/engine_home.h"
#include "support/scripted_clock.h"

namespace rampart::test {

namespace {

constexpr __int64 kPlenty = 1000000;  // megabytes

// Of what MakeUnreadable makes.
#ifdef _WIN32
constexpr TCHAR const* kUnreadableText = _T("LockFile");
#else
constexpr TCHAR const* kUnreadableText = _T("DeniedFile");
#endif

class CopyCache : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        m_tree.Write("d/good", "content");
        m_task = &MakeTask("t", {m_tree.Native("d")});
        CErrorLog().RemoveAllLogs();
    }

    static void SetOption(TCHAR const* key, TCHAR const* value) {
        ASSERT_TRUE(DictUtil::SetConfigString(_T("Options"), key, value));
        DictUtil::Refresh();
    }
    CString Local(std::string const& name) const { return Engine(m_tree.Native("d/" + name)); }
    CString CacheFile(std::string const& name) const {
        return CopyPathOf(m_task->m_serverFilePath + _T("\\d"), CString::FromUtf8(name));
    }
    void WriteCacheFile(std::string const& name, std::string const& content) const {
        CPathManage::CreateFolderforFile(CacheFile(name));
        KXFile file(CacheFile(name), CFile::modeCreate | CFile::modeWrite);
        file.Write(content.data(), static_cast<UINT>(content.size()));
    }
    // A file that is there and cannot be read.
    void MakeUnreadable(std::string const& name) {
#ifdef _WIN32
        m_inUse.reset(_wfsopen(m_tree.Path("d/" + name).c_str(), L"wb", _SH_DENYRW));
        ASSERT_NE(nullptr, m_inUse);
#else
        ASSERT_EQ(0, std::system(("mkfifo '" + m_tree.Native("d/" + name) + "'").c_str()));
#endif
    }
    static std::vector<std::pair<int, CString>> Events() {
        std::vector<std::pair<int, CString>> events;
        CErrorLog log;
        CPtrList list;
        log.GetErrorList(list);
        for (void* entry : list) {
            auto const& info = *static_cast<ErrorInfo*>(entry);
            events.emplace_back(info.m_nType, info.m_strMessage);
        }
        log.ClearErrorList(list);
        return events;
    }

    TempFolder m_tree;
    std::unique_ptr<FILE, int (*)(FILE*)> m_inUse{nullptr, &std::fclose};
    CBackupTask* m_task = nullptr;
};

}  // namespace

TEST_F(CopyCache, RunsFarAheadOfSmallFilesAndHardlyWhenSpaceIsShort) {
    m_tree.Write("d/small", std::string(0x20000 - 1, 's'));
    m_tree.Write("d/big", std::string(0x20000, 'b'));
    EXPECT_EQ(5, m_task->GetCopyFileToCacheLimitCount(kPlenty, _T("")));
    EXPECT_EQ(100, m_task->GetCopyFileToCacheLimitCount(kPlenty, Local("small")));
    EXPECT_EQ(10, m_task->GetCopyFileToCacheLimitCount(kPlenty, Local("big")));
    EXPECT_EQ(10, m_task->GetCopyFileToCacheLimitCount(kPlenty, Local("none")));
    EXPECT_EQ(1, m_task->GetCopyFileToCacheLimitCount(3072, Local("small")));
    EXPECT_EQ(100, m_task->GetCopyFileToCacheLimitCount(3073, Local("small")));

    SetOption(_T("MinCopyCount"), _T("7"));
    SetOption(_T("MaxCopyCount"), _T("70"));
    SetOption(_T("MinFreeDiskSpace"), _T("2"));
    EXPECT_EQ(7, m_task->GetCopyFileToCacheLimitCount(kPlenty, _T("")));
    EXPECT_EQ(70, m_task->GetCopyFileToCacheLimitCount(kPlenty, Local("small")));
    // Three megabytes wait in the cache: more than it may hold, and the room that they took is not free.
    m_tree.Write("d/three", std::string(3 << 20, '3'));
    m_task->AddPathToUploadCachePathList(Local("three"), 1);
    EXPECT_EQ(3, m_task->GetCopyTempPathUsedSize());
    EXPECT_EQ(1, m_task->GetCopyFileToCacheLimitCount(kPlenty, Local("small")));
    SetOption(_T("MinFreeDiskSpace"), _T("3"));
    EXPECT_EQ(70, m_task->GetCopyFileToCacheLimitCount(7, Local("small")));
    EXPECT_EQ(1, m_task->GetCopyFileToCacheLimitCount(6, Local("small")));
}

TEST_F(CopyCache, WhatWaitsIsCountedOnceForEachFileAndTakenOffWithIt) {
    m_tree.Write("d/two", std::string(2 << 20, '2'));
    m_task->AddPathToUploadCachePathList(Local("two"), 1);
    m_task->AddPathToUploadCachePathList(Local("two"), 1);
    m_task->AddPathToUploadCachePathList(Local("none"), 1);
    m_task->AddPathToUploadCachePathList(Local("two"), 0);
    EXPECT_EQ(4, m_task->GetCopyTempPathUsedSize());
    EXPECT_EQ(2, m_task->m_copyTempList.GetCount()) << "a file that is gone has no record";
    m_task->RemoveTempAndCalculatorTempUsedSize(Local("TWO"));
    EXPECT_EQ(2, m_task->GetCopyTempPathUsedSize());
    for (int left = 4; left > 0; --left) {
        EXPECT_EQ(left, m_task->GetUploadCachePathListCount());
        EXPECT_FALSE(m_task->GetHeadPathAndRemoveHeadFromUploadCachePathList().IsEmpty());
    }
    EXPECT_EQ(0, m_task->GetCopyTempPathUsedSize());
    EXPECT_TRUE(m_task->GetHeadPathAndRemoveHeadFromUploadCachePathList().IsEmpty());
}

TEST_F(CopyCache, AFileThatCannotBeReadIsWarnedOfAndLeftOut) {
    MakeUnreadable("locked");
    CString source = Local("locked");
    CString target = CacheFile("locked");
    __int64 error = 0;
    EXPECT_EQ(0, m_task->CopyBackupFile(source, target, error));
    EXPECT_EQ(4, error);
    CString text;
    text.Format(DictUtil::GetValue(kUnreadableText, _T("")), ShownPath(source));
    EXPECT_EQ((std::vector<std::pair<int, CString>>{{EVENT_WARNING, text}}), Events());
    EXPECT_EQ(2, m_task->m_warningEmailLog.GetCount());
    EXPECT_EQ(0, m_task->m_errorOccured);
    EXPECT_FALSE(KXFile::FileExists(target));

    CErrorLog().RemoveAllLogs();
    m_task->m_pTaskPrg->m_bCancel = 1;
    error = 0;
    EXPECT_EQ(0, m_task->CopyBackupFile(source, target, error));
    m_task->m_pTaskPrg->m_bCancel = 0;
    EXPECT_EQ(0, error) << "a cancel is no fault of the file";
    EXPECT_TRUE(Events().empty());
}

// Writes to the source while it is copied, as often as it is told to.
class Writer : public CPrgAttachment {
public:
    Writer(TempFolder const& folder, int changes) : m_folder(folder), m_changesLeft(changes) {}

    int SetStateString(CString const&, CString const&) override {
        if (m_changesLeft > 0) {
            // Each state is longer: the system's times of files are too coarse for quick changes.
            m_folder.Write("d/good", m_content += '+');
            --m_changesLeft;
        }
        platform::SleepMilliseconds(1000);  // the display is asked once a second
        return 0;
    }

private:
    TempFolder const& m_folder;
    int m_changesLeft;
    std::string m_content = "state";
};

TEST_F(CopyCache, AFileThatChangesUnderTheCopyIsCopiedAgainAndThenAsItIs) {
    ScriptedClock clock(Utc(2026, 1, 1));  // the rests between the tries cost no time
    auto* const registry = ManageMultipleRunningTask::GetInstance();
    registry->AddWoringTaskToVector(m_task);
    m_task->m_copyingFilePath = Local("good");
    m_task->SetSendCopyInfoToPrgbar(1);
    CString source = Local("good");
    CString target = CacheFile("good");
    for (int const changes : {1, 2, 1000}) {
        Writer writer(m_tree, changes);
        m_task->m_pTaskPrg->AddAttachment(&writer);
        __int64 error = 0;
        int const copied = m_task->CopyBackupFile(source, target, error);
        m_task->m_pTaskPrg->RemoveAttachment(&writer);
        EXPECT_EQ(1, copied);
        EXPECT_EQ(0, error);
        EXPECT_TRUE(KXFile::FileExists(target));
        EXPECT_EQ(changes < 1000 ? 0u : 1u, skipped.size());
    }
    registry->RemoveWorkingTaskFromVector(m_task);
}

TEST_F(CopyCache, WithoutRoomTemporaryDataGoesAndThenTheSourceIsRead) {
    CString temp;
    ASSERT_TRUE(CPathManage::GetTempFolder(temp, 0, 0));
    ASSERT_TRUE(KXFolder::RCreateDirectory(temp + _T("\\of an earlier run")));
    WriteCacheFile("waiting", "for its upload");
    CopiesInUse const run;
    // A file where the cache folder should be: the path cannot be had, like on a disk that went away.
    m_tree.Write("d/blocked", "in the way");
    CString source = Local("good");
    CString target = Local("blocked") + _T("\\below\\good");
    __int64 error = 0;
    EXPECT_EQ(0, m_task->CopyBackupFile(source, target, error));
    EXPECT_EQ(102, error);
    EXPECT_FALSE(KXFolder::IsDirectory(temp));
    EXPECT_TRUE(KXFile::FileExists(CacheFile("waiting")));
    auto const events = Events();
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ(EVENT_WARNING, events[0].first);
    CString const start =
        DictUtil::GetValue(_T("FromCopyError"), _T("")) + ShownPath(source) + _T(", try VSSCopy:");
    EXPECT_EQ(start, events[0].second.Left(start.GetLength()));
    EXPECT_GT(events[0].second.GetLength(), start.GetLength());
    EXPECT_TRUE(m_task->GetWarningsOfRun().IsEmpty()) << "nothing is left out";
}

// Not only a full disk: whatever is wrong with the copy's place, the file itself can be sent.
TEST_F(CopyCache, APlaceThatTakesNoCopyCostsNoFile) {
    m_tree.Write("d/big", std::string(0x20000, 'b'));
    for (TCHAR const* const threads : {_T("0"), _T("1")}) {
        SetOption(_T("SupportCopyThread"), threads);
        CErrorLog().RemoveAllLogs();
        CString const place = CacheFile("big");
        ASSERT_TRUE(KXFolder::RCreateDirectory(place + _T("\\in the way")));
        EXPECT_EQ(TaskStateFinished, Run(*m_task));
        EXPECT_TRUE(skipped.empty());
        EXPECT_TRUE(m_task->GetWarningsOfRun().IsEmpty()) << m_task->GetWarningsOfRun().ToUtf8();
        int warnings = 0;
        for (auto const& [type, text] : Events()) {
            warnings += type == EVENT_WARNING ? 1 : 0;
        }
        EXPECT_EQ(1, warnings) << "it is told all the same";
        m_tree.Write("d/big", std::string(0x20000, 'c') + CString(threads).ToUtf8());
    }
    EXPECT_EQ(TaskStateFinished, Run(*m_task));
    EXPECT_EQ(ReadTree(m_tree.Path()), Restored(m_task->m_serverFilePath));
}

TEST_F(CopyCache, TheThreadQueuesWhatItCopiedAndNamesWhatItLeftOut) {
    MakeUnreadable("locked");
    m_tree.Write("d/sub/", "");
    WriteCacheFile("good", "a longer leftover of an earlier run");
    skipped.clear();
    m_task->ResetCopyThread();
    for (char const* name : {"locked", "sub", "gone", "good"}) {
        m_task->m_copyQueueList.AddTail(Local(name));
    }
    EXPECT_EQ(1u, CopyFileToCacheThread(m_task));
    EXPECT_EQ(1, m_task->IsFinishCopyFileToCacheThread());
    CStringList& queued = m_task->GetUploadCachePathList();
    ASSERT_EQ(2, queued.GetCount());
    EXPECT_EQ(Local("sub"), queued.GetHead());
    EXPECT_EQ(Local("good"), queued.GetTail());
    EXPECT_EQ(7, KXFile::GetFileLength(CacheFile("good")));
    EXPECT_TRUE(skipped.contains(m_tree.Native("d/locked")));
    EXPECT_TRUE(skipped.contains(m_tree.Native("d/gone")));

    // What is queued at the end of a run takes its copies with it, and leaves the sources.
    m_task->ClearCopyCacheFiles();
    EXPECT_FALSE(KXFile::FileExists(CacheFile("good")));
    EXPECT_EQ("content", m_tree.Read("d/good"));
    EXPECT_EQ(0, m_task->GetUploadCachePathListCount());
}

TEST_F(CopyCache, TheThreadWaitsForTheUploadAndHearsOfItsEnd) {
    m_task->ResetCopyThread();
    SetOption(_T("MinCopyCount"), _T("1"));
    m_task->AddPathToUploadCachePathList(Local("good"), 0);
    m_task->AddPathToUploadCachePathList(Local("good"), 0);
    m_task->m_copyQueueList.AddTail(Local("good"));
    HANDLE const thread = rampart::StartThread(&CopyFileToCacheThread, m_task);
    EXPECT_EQ(kWaitTimedOut, WaitForObject(thread, 100));
    EXPECT_EQ(2, m_task->GetUploadCachePathListCount()) << "the queue is above its bound";
    m_task->SetStopCopyFileToCacheThread(1);
    EXPECT_EQ(kWaitSignaled, WaitForObject(thread, 60000));
    EXPECT_EQ(1, m_task->IsFinishCopyFileToCacheThread());
}

TEST_F(CopyCache, OnlyCopiesAreDeletedNeverASource) {
    WriteCacheFile("good", "copy");
    m_task->DeleteCopyCacheFile(Local("good"));
    EXPECT_FALSE(KXFile::FileExists(CacheFile("good")));
    EXPECT_EQ("content", m_tree.Read("d/good"));
    WriteCacheFile("good", "copy");
    m_task->DeleteCopyCacheFile(CacheFile("good"));
    EXPECT_FALSE(KXFile::FileExists(CacheFile("good")));
    WriteCacheFile("good", "copy");
    CStringList paths;
    paths.AddTail(Local("good"));
    paths.AddTail(Local("none"));
    m_task->ClearAllCopyCacheFiles(paths);
    EXPECT_TRUE(paths.IsEmpty());
    EXPECT_FALSE(KXFile::FileExists(CacheFile("good")));
    EXPECT_EQ("content", m_tree.Read("d/good"));
}

TEST_F(CopyCache, ACopyIsShownOnlyWhileTheUserWaitsForIt) {
    CTaskPrgClass& progress = *m_task->m_pTaskPrg;
    auto* const registry = ManageMultipleRunningTask::GetInstance();
    registry->AddWoringTaskToVector(m_task);
    m_task->m_copyingFilePath = Local("good");
    CString text;
    text.Format(DictUtil::GetValue(_T("CopyCache"), _T("")), 100, FormatSizeToString(2048, 0), _T("good"));
    m_task->SetSendCopyInfoToPrgbar(0);
    EXPECT_EQ(kCopyGoOn, CopyProgressRoutine(2048, 2048, &progress));
    EXPECT_TRUE(progress.GetStateString().IsEmpty());
    m_task->SetSendCopyInfoToPrgbar(1);
    EXPECT_EQ(kCopyGoOn, CopyProgressRoutine(2048, 2048, &progress));
    EXPECT_EQ(text, progress.GetStateString());
    EXPECT_EQ(ProgressStateSearching, progress.m_nState);
    registry->RemoveWorkingTaskFromVector(m_task);

    EXPECT_EQ(kCopyGoOn, CopyProgressRoutine(10, 5, nullptr));
    progress.m_bCancel = 1;
    EXPECT_EQ(kCopyStop, CopyProgressRoutine(10, 5, &progress));
    progress.m_bCancel = 0;
}

}  // namespace rampart::test
