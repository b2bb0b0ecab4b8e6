#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "progress/progress_bar.h"
#include "progress/recording_observer.h"
#include "support/engine_stand_in.h"
#include "support/scripted_clock.h"
#include "support/service_stand_in.h"
#include "support/temp_tree.h"

namespace rampart::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ProgressList : public testing::Test {
protected:
    void SetUp() override {
        m_bar.SetTaskName(_T("Task"));
        m_bar.AddAttachment(&m_observer);
    }
    void TearDown() override { m_bar.RemoveAttachment(&m_observer); }

    CString Path(std::string_view name) { return CString(m_tree.Engine(name)); }
    void AddFiles() {
        CStringList list;
        for (const char* name : {"a", "folder", "b", "c", "d"}) {
            list.AddTail(Path(name));
        }
        ASSERT_EQ(m_bar.AddFileList(list), 1);
    }
    // Names of the items, each of which must have its place as its number.
    std::vector<std::string> Items() {
        std::vector<std::string> names;
        for (void* entry : m_bar.m_items) {
            const auto& item = *static_cast<TaskItemInfo*>(entry);
            EXPECT_EQ(item.m_id, static_cast<__int64>(names.size()));
            names.push_back(item.m_strPath.Right(1).ToUtf8());
        }
        return names;
    }
    TaskItemInfo& Item(int number) {
        return *static_cast<TaskItemInfo*>(m_bar.m_items.GetAt(m_bar.m_items.FindIndex(number)));
    }
    bool IsFree() {
        const bool free = WaitForObject(m_bar.m_hLock, 0) == kWaitSignaled;
        if (free) {
            SetEvent(m_bar.m_hLock);
        }
        return free;
    }

    TempTree m_tree{{"a", "1"}, {"b", "1234567890"}, {"c", "123"}, {"d", ""}, {"folder/x", "1"}};
    EngineStandIn m_engine;
    RecordingObserver m_observer;
    CProgressBar m_bar;
};

TEST_F(ProgressList, HoldsFilesAndNoFolders) {
    AddFiles();
    EXPECT_THAT(Items(), ElementsAre("a", "b", "c", "d"));
    EXPECT_EQ(Item(1).m_nSize, 10);
    CStringList ignored;
    EXPECT_EQ(m_bar.InitFileList(ignored), 1);
    EXPECT_THAT(Items(), IsEmpty());
    EXPECT_THAT(m_observer.Told(), ElementsAre("RemoveAllItem"));
}

TEST_F(ProgressList, FinishedFileLeavesAndTheRestMovesUp) {
    AddFiles();
    ASSERT_EQ(m_bar.BeginFile(Path("b"), 10, 0), 1);
    EXPECT_EQ(m_bar.m_nWaitBytes, 10);
    EXPECT_EQ(m_bar.EndFile(Path("b"), 0), 0);
    EXPECT_THAT(Items(), ElementsAre("a", "c", "d"));
    EXPECT_EQ(m_bar.m_nWaitBytes, 0);
    EXPECT_EQ(m_bar.m_bSaveWaitList, 0);
    EXPECT_THAT(m_observer.Told(), ElementsAre("UpdateItem 1 b 1", "RemoveItem 1"));
}

TEST_F(ProgressList, QueuedFileStaysInTransferAndAFailedOneDoesNot) {
    AddFiles();
    m_bar.BeginFile(Path("a"), 0, 0);
    m_bar.BeginFile(Path("a"), 0, 0);
    m_bar.BeginFile(Path("b"), 0, 0);
    EXPECT_EQ(m_bar.m_waitList.GetCount(), 2) << "an item is in transfer once";
    m_observer.Told();
    EXPECT_EQ(m_bar.EndFile(Path("a"), 70), 0);
    EXPECT_EQ(m_bar.EndFile(Path("b"), 5), 0);
    EXPECT_THAT(m_observer.Told(), ElementsAre("UpdateItem 0 a 1", "UpdateItem 1 b 3"));
    EXPECT_EQ(m_bar.m_nWaitBytes, 1);
    EXPECT_THAT(Items(), ElementsAre("a", "b", "c", "d"));
    EXPECT_EQ(m_bar.EndFile(Path("nothing"), 0), 0);
    EXPECT_EQ(m_bar.BeginFile(Path("nothing"), 0, 0), 0);
}

TEST_F(ProgressList, StatusOfTheFileAtHandChanges) {
    AddFiles();
    m_bar.BeginFile(Path("b"), 0, 0);
    m_observer.Told();
    EXPECT_EQ(m_bar.ChangeStatus(TaskItemInTransfer), 1);
    EXPECT_THAT(m_observer.Told(), IsEmpty());
    EXPECT_EQ(m_bar.ChangeStatus(TaskItemWaiting), 1);
    EXPECT_THAT(m_observer.Told(), ElementsAre("UpdateItem 1 b 0", "ChangeStatus 0"));
    EXPECT_EQ(m_bar.m_nWaitBytes, 0);
    m_bar.ChangeStatus(TaskItemInTransfer);
    EXPECT_EQ(m_bar.m_nWaitBytes, 10);
}

TEST_F(ProgressList, CancelAndMissingManagerEndTheWork) {
    m_bar.m_bCancel = 1;
    AddFiles();
    EXPECT_THAT(Items(), IsEmpty());
    m_bar.m_bCancel = 0;
    AddFiles();
    theVaultLibApp.m_pBackupManage = nullptr;
    EXPECT_EQ(m_bar.BeginFile(Path("a"), 0, 0), 0);
    EXPECT_EQ(m_bar.RefreshProgressInfo(), 1);
    EXPECT_THAT(m_observer.Told(), IsEmpty());
}

TEST_F(ProgressList, EndClearsEverything) {
    AddFiles();
    m_bar.BeginFile(Path("a"), 0, 0);
    m_bar.SetProgressBarInfo(5, 10);
    m_bar.m_bCancel = 1;
    m_bar.m_nPercent = 50;
    m_observer.Told();
    EXPECT_EQ(m_bar.EndCurrent(), 1);
    EXPECT_THAT(m_observer.Told(), ElementsAre("EndCurrent", "RemoveAllItem"));
    EXPECT_THAT(Items(), IsEmpty());
    EXPECT_EQ(m_bar.m_waitList.GetCount(), 0);
    EXPECT_EQ(m_bar.m_bCancel, 0);
    EXPECT_EQ(m_bar.m_nPercent, 0);
}

TEST_F(ProgressList, PercentIsCappedAndZeroIsNotStored) {
    EXPECT_EQ(m_bar.SetPercent(10, _T("x")), 0) << "nothing to do";
    m_bar.SetProgressBarInfo(0, 100);
    EXPECT_EQ(m_bar.SetPercent(150, _T("x")), 1);
    EXPECT_EQ(m_bar.m_nPercent, 100);
    EXPECT_EQ(m_bar.SetPercent(0, _T("x")), 1);
    EXPECT_EQ(m_bar.m_nPercent, 100);
    m_bar.SetByteSend(500, 0);
    m_bar.SetPercent(20, _T("x"));
    __int64 done = 0;
    __int64 total = 0;
    m_bar.GetProgressBarInfo(done, total);
    EXPECT_EQ(total, 500) << "what was sent is the least that there is to send";
    m_bar.m_bCancel = 1;
    EXPECT_EQ(m_bar.SetPercent(30, _T("x")), 0);
}

TEST_F(ProgressList, RefreshesComeFourTimesASecondAtMost) {
    ScriptedClock clock(Utc(2024, 1, 1));
    clock.Advance(3600);
    AddFiles();
    m_bar.BeginFile(Path("b"), 0, 0);
    m_observer.Told();
    CProgressBar other;
    EXPECT_EQ(m_bar.RefreshProgressInfo(), 1);
    EXPECT_THAT(m_observer.Told(), Not(IsEmpty()));
    clock.AdvanceMilliseconds(249);
    EXPECT_EQ(m_bar.RefreshProgressInfo(), 1);
    EXPECT_THAT(m_observer.Told(), IsEmpty());
    clock.AdvanceMilliseconds(1);
    EXPECT_EQ(other.RefreshProgressInfo(), 1);
    EXPECT_EQ(m_bar.RefreshProgressInfo(), 1);
    EXPECT_THAT(m_observer.Told(), IsEmpty()) << "the interval is that of the whole process";
}

TEST_F(ProgressList, RefreshSharesWhatWasSentAmongTheItemsInTransfer) {
    ScriptedClock clock(Utc(2024, 1, 1));
    clock.Advance(7200);
    AddFiles();
    m_bar.BeginFile(Path("b"), 0, 0);
    m_bar.SetByteSend(4, 1);
    ASSERT_EQ(m_bar.RefreshProgressInfo(), 1);
    EXPECT_EQ(Item(1).m_nDone, 6);
    clock.Advance(1);
    m_bar.SetByteSend(100, 1);
    ASSERT_EQ(m_bar.RefreshProgressInfo(), 1);
    EXPECT_EQ(Item(1).m_nDone, 0);

    // Without bytes in transfer there is nothing to share.
    m_bar.EndFile(Path("b"), 5);
    m_bar.BeginFile(Path("d"), 0, 0);
    clock.Advance(1);
    m_observer.Told();
    ASSERT_EQ(m_bar.RefreshProgressInfo(), 1);
    EXPECT_THAT(m_observer.Told(), ElementsAre("UpdateItem 3 d 1", "Refresh"));
}

TEST_F(ProgressList, CancelEndsTransfersAndSignalsTheEvent) {
    m_bar.CancelMe();
    EXPECT_EQ(m_bar.RefreshProgressInfo(), 0);
    EXPECT_EQ(WaitForObject(m_bar.m_hCancelEvent, 0), kWaitSignaled);
    EXPECT_EQ(WaitForObject(m_bar.m_hCancelEvent, 0), kWaitTimedOut);
    EXPECT_EQ(m_observer.m_bStop, 1);
}

TEST_F(ProgressList, StateAndItsTextAreTold) {
    EXPECT_EQ(m_bar.SetState(ProgressStateSearching), 1);
    m_bar.SetStateString(_T("at work"), _T("Task"));
    m_bar.SetStateString(_T("at work"), _T("Task"));
    EXPECT_EQ(m_bar.GetStateString(), _T("at work"));
    EXPECT_THAT(m_observer.Told(), ElementsAre("SetState 4 4", "State at work"));
    ASSERT_NE(m_observer.m_pInfo.Get(), nullptr);
    m_bar.RemoveAttachment(&m_observer);
    EXPECT_EQ(m_observer.m_pInfo.Get(), nullptr) << "the snapshot does not outlive the bond";
}

TEST_F(ProgressList, NewDisplayIsGivenTheListAnew) {
    AddFiles();
    EXPECT_EQ(m_bar.UpdateBackupProgressList(CString(), 2), 1);
    EXPECT_EQ(m_bar.InitBackupProgressList(), 1);
    EXPECT_THAT(m_observer.Told(),
                ElementsAre("InitFileList 2 of 4", "InitBackupProgressList Task", "InitFileList 4 of 4"));
}

TEST_F(ProgressList, LockedListMakesOperationsGiveUp) {
    AddFiles();
    ASSERT_EQ(WaitForObject(m_bar.m_hLock, 0), kWaitSignaled);
    std::thread state([&] { EXPECT_EQ(m_bar.SetState(ProgressStateTransfer), 0); });
    std::thread begin([&] { EXPECT_EQ(m_bar.BeginFile(Path("a"), 0, 0), 0); });
    std::thread end([&] { EXPECT_EQ(m_bar.EndFile(Path("a"), 0), 1); });
    state.join();
    begin.join();
    end.join();
    SetEvent(m_bar.m_hLock);
    EXPECT_EQ(m_bar.m_items.GetCount(), 4);
}

class ThrowingObserver : public CPrgAttachment {
public:
    int UpdateItemEx(__int64, TaskItemInfo*, CString const&) override { throw std::runtime_error("display"); }
    int RemoveAllItem(CString const&) override { throw std::runtime_error("display"); }
    int RemoveItem(__int64, CString const&) override { throw std::runtime_error("display"); }
};

TEST_F(ProgressList, ObserverThatThrowsHarmsNothing) {
    AddFiles();
    ThrowingObserver thrower;
    m_bar.AddAttachment(&thrower);
    EXPECT_EQ(m_bar.BeginFile(Path("a"), 0, 0), 1);
    EXPECT_EQ(m_bar.EndFile(Path("a"), 0), 0);
    EXPECT_THAT(Items(), ElementsAre("b", "c", "d"));
    EXPECT_EQ(m_bar.EndCurrent(), 1);
    EXPECT_TRUE(IsFree());
    m_bar.RemoveAttachment(&thrower);
}

// Leaves while it is being told.
class LeavingObserver : public RecordingObserver {
public:
    explicit LeavingObserver(CProgressBar& bar) : m_bar(bar) { bar.AddAttachment(this); }
    int SetStateString(CString const& text, CString const& task) override {
        m_bar.RemoveAttachment(this);
        return RecordingObserver::SetStateString(text, task);
    }

private:
    CProgressBar& m_bar;
};

TEST_F(ProgressList, ObserverMayLeaveWhileItIsTold) {
    LeavingObserver leaving(m_bar);
    m_bar.SetStateString(_T("one"), _T("Task"));
    m_bar.SetStateString(_T("two"), _T("Task"));
    EXPECT_THAT(leaving.Told(), ElementsAre("State one"));
    EXPECT_EQ(m_bar.RemoveAttachment(&leaving), 0);
}

TEST_F(ProgressList, RunDisplayAndTransferAtOnce) {
    CStringList list;
    for (int number = 0; number < 200; ++number) {
        list.AddTail(Path("file" + std::to_string(number)));
    }
    m_bar.AddFileList(list);
    std::atomic<bool> done{false};
    std::thread display([&] {
        while (!done) {
            RecordingObserver visitor;
            m_bar.AddAttachment(&visitor);
            CMemFile memory;
            CArchive archive(&memory, CArchive::store);
            m_bar.SaveItemList(archive);
            m_bar.SaveProgressInfo(archive);
            m_bar.SavePrgbarItemList(archive);
            m_bar.RemoveAttachment(&visitor);
        }
    });
    std::thread transfer([&] {
        while (!done) {
            m_bar.DoProgressEx(_T("C:\\file"), 10, 1, 100);
            m_bar.RefreshProgressInfo();
        }
    });
    for (POSITION position = list.GetHeadPosition(); position;) {
        const CString path = list.GetNext(position);
        m_bar.BeginFile(path, 0, 0);
        m_bar.SetStateString(path, _T("Task"));
        m_bar.EndFile(path, position ? 0 : 5);
    }
    m_bar.CancelMe();
    m_bar.EmptyData();
    done = true;
    display.join();
    transfer.join();
    EXPECT_EQ(m_bar.m_items.GetCount(), 1);
    EXPECT_EQ(Item(0).m_nStatus, TaskItemFailed);
}

}  // namespace

}  // namespace rampart::test
