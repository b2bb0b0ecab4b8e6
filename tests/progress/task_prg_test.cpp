#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "progress/recording_observer.h"
#include "progress/task_prg.h"
#include "support/engine_stand_in.h"
#include "support/service_stand_in.h"
#include "support/temp_tree.h"

namespace rampart::test {

namespace {

using testing::ElementsAre;

constexpr DWORD kLongMs = 60000;

// Cuts a worker's connection soon.
class ImpatientPrg : public CTaskPrgClass {
public:
    ImpatientPrg() { m_stopWaitMs = 20; }
};

// A worker that ends when it sees the cancel, or, if it is deaf, when its connection is cut.
class Worker {
public:
    Worker(CTaskPrgClass& progress, bool deaf) : m_progress(progress), m_deaf(deaf) {
        Service().onCut = [this] { m_cut = true; };
        CWinThread* thread = AfxBeginThread(Run, this, 0, 0, CWinThread::kCreateSuspended);
        m_handle = thread->m_hThread;
        m_id = thread->m_nThreadID;
        progress.SetWorker(thread);
        thread->ResumeThread();
    }
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;
    ~Worker() {
        m_cut = true;
        WaitForObject(m_handle, kLongMs);
        Service().onCut = nullptr;
        Service().suspended = 0;
        Service().cutThread = 0;
    }
    bool HasEnded(DWORD timeoutMs) const { return WaitForObject(m_handle, timeoutMs) == kWaitSignaled; }
    DWORD Id() const { return m_id; }

private:
    static UINT Run(LPVOID argument) {
        auto& self = *static_cast<Worker*>(argument);
        while (!self.m_cut && (self.m_deaf || !self.m_progress.m_bCancel)) {
            rampart::Sleep(1);
        }
        self.m_progress.SetWorker(nullptr);
        return 0;
    }

    CTaskPrgClass& m_progress;
    bool const m_deaf;
    std::atomic<bool> m_cut{false};
    HANDLE m_handle = nullptr;
    DWORD m_id = 0;
};

TEST(TaskProgress, StopWaitsForAWorkerThatHears) {
    CTaskPrgClass progress;
    EXPECT_EQ(progress.Stop(_T("Task"), 10), 0) << "nobody works";
    Worker worker(progress, false);
    EXPECT_EQ(progress.Stop(_T("Task"), 10), 1);
    EXPECT_TRUE(worker.HasEnded(0));
    EXPECT_EQ(Service().cutThread, 0U);
    EXPECT_EQ(progress.m_bCancel, 0);
    EXPECT_EQ(progress.IsStopping(), 0);
    EXPECT_EQ(WaitForObject(progress.m_hCancelEvent, 0), kWaitTimedOut);
}

TEST(TaskProgress, DeafWorkerIsCutOff) {
    ImpatientPrg progress;
    Worker worker(progress, true);
    EXPECT_EQ(progress.Stop(_T("Task"), 0), 1);
    EXPECT_TRUE(worker.HasEnded(0));
    EXPECT_EQ(Service().cutThread, worker.Id());
}

TEST(TaskProgress, PausedWorkerHearsTheCancel) {
    CTaskPrgClass progress;
    RecordingObserver observer;
    progress.AddAttachment(&observer);
    Worker worker(progress, false);
    progress.Pause(_T("Task"));
    progress.Pause(_T("Task"));
    EXPECT_EQ(Service().suspended, 1);
    EXPECT_NE(progress.IsPaused(), 0);
    EXPECT_EQ(observer.m_bPause, 1);
    progress.CancelMe();
    EXPECT_TRUE(worker.HasEnded(kLongMs));
    EXPECT_EQ(Service().suspended, 0);
    EXPECT_EQ(progress.IsPaused(), 0);
    progress.RemoveAttachment(&observer);
}

TEST(TaskProgress, CancelledRunTakesNoPauseAndAnEndedOneHoldsNothing) {
    CTaskPrgClass progress;
    {
        Worker worker(progress, true);
        progress.CancelMe();
        progress.Pause(_T("Task"));
        EXPECT_EQ(Service().suspended, 0);
        EXPECT_EQ(progress.IsPaused(), 0);
        progress.EmptyData();
        progress.Pause(_T("Task"));  // too late for a run that looks no more
        EXPECT_EQ(Service().suspended, 1);
        progress.LeaveRun();
        EXPECT_EQ(Service().suspended, 0);
        EXPECT_EQ(progress.IsPaused(), 0);
    }
    Worker next(progress, false);
    progress.Pause(_T("Task"));
    EXPECT_EQ(Service().suspended, 1) << "of the next run";
    progress.CancelMe();
}

TEST(TaskProgress, RunThatStopsItselfDoesNotWaitForItself) {
    CTaskPrgClass progress;
    CWinThread* thread = AfxBeginThread(
        [](LPVOID argument) -> UINT {
            auto& self = *static_cast<CTaskPrgClass*>(argument);
            const int result = self.Stop(_T("Task"), 10);
            return result == 1 && self.m_bCancel ? 0 : 1;
        },
        &progress, 0, 0, CWinThread::kCreateSuspended);
    const HANDLE handle = thread->m_hThread;
    progress.SetWorker(thread);
    thread->ResumeThread();
    ASSERT_EQ(WaitForObject(handle, kLongMs), kWaitSignaled);
    DWORD exitCode = 1;
    GetExitCodeThread(handle, exitCode);
    EXPECT_EQ(exitCode, 0U);
}

TEST(TaskProgress, HostIsToldOfEachFile) {
    TempTree tree{{"a", "1"}};
    EngineStandIn engine;
    CTaskPrgClass progress;
    EXPECT_EQ(progress.BeginFile(_T("C:\\a"), 1, 0), 0) << "no host, no list";
    RecordingObserver host;
    progress.SetHostPrg(&host);
    progress.Create();
    CStringList list;
    list.AddTail(CString(tree.Engine("a")));
    progress.AddFileList(list);
    progress.ShowPrg();
    EXPECT_EQ(progress.BeginFile(list.GetHead(), 1, 0), 1);
    EXPECT_EQ(progress.EndFile(list.GetHead(), 0), 0);
    progress.EndCurrent();
    EXPECT_THAT(host.Told(), ElementsAre("ShowPrg", "SetState 2 2", "UpdateItem 0 a 1", "BeginFileEx a",
                                         "RemoveItem 0", "EndFileEx a 0", "EndCurrent"));
}

}  // namespace

}  // namespace rampart::test
