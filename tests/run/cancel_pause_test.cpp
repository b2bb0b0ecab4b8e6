// A cancel and a pause at each stage of a run: the run ends or waits there, and what follows sends the rest.
#include <chrono>

#include "eventlog/error_log.h"
#include "progress/task_prg.h"
#include "run/copy_progress.h"
#include "storage/embedded_service.h"
#include "support/engine_home.h"
#include "support/scripted_service.h"
#include "transferlib/service_connection.h"

namespace rampart::test {

namespace {

struct Stage {
    char const* name;
    char const* operation;  // of the service, at which the run is stopped
    int call;               // at which of its calls, from 1
    int smallFiles;
    bool threads;  // with a copy thread
    bool workers;  // files that go alone have workers
};

// Seconds in which a cancelled run has ended, also on a slow machine under a sanitizer.
constexpr std::chrono::seconds kLongestEnd{20};

constexpr int kFew = 5;
constexpr int kMoreThanABatch = 520;

// Two files of 2 MB go alone; then come the small ones.
constexpr Stage kStages[] = {
    {"scan", "ListFolder", 1, kFew, false, false},
    {"account", "Space", 1, kFew, false, false},
    {"folder", "CreateFolder", 1, kFew, false, false},
    {"file alone", "PutChunks", 1, kFew, false, false},
    {"commit beside copies", "CommitFiles", 1, kFew, true, false},
    {"worker", "PutChunks", 1, kFew, true, true},
    {"batch", "CommitFiles", 3, kMoreThanABatch, false, false},
    {"batch beside copies", "CommitFiles", 3, kMoreThanABatch, true, false},
    {"leave", "CommitFiles", 3, kFew, false, false},
    {"leave beside copies", "CommitFiles", 3, kFew, true, false},
};

class StoppedRun : public EngineTest {
protected:
    CBackupTask& NewTask(Stage const& stage) {
        // Contents of its own, so that each run has chunks to send.
        std::string const number = std::to_string(++m_number);
        m_tree = std::make_unique<TempFolder>();
        m_tree->Write("d/big1", std::string(2 << 20, '1') + number);
        m_tree->Write("d/big2", std::string(2 << 20, '2') + number);
        for (int i = 0; i < stage.smallFiles; ++i) {
            m_tree->Write("d/" + std::to_string(i), "small " + std::to_string(i) + " of " + number);
        }
        std::unique_ptr<EmbeddedService> opened;
        EXPECT_TRUE(EmbeddedService::Open(home.Native("vault"), {}, opened).Ok());
        service = std::make_shared<ScriptedService>(std::shared_ptr<StorageService>(std::move(opened)));
        EXPECT_TRUE(service->SetSetting("ParallelTransfer", stage.workers ? "1" : "0").Ok());
        SetStorageService(service);
        EXPECT_TRUE(DictUtil::SetConfigString(_T("Options"), _T("SupportCopyThread"),
                                              stage.threads ? _T("1") : _T("0")));
        DictUtil::Refresh();
        CErrorLog().RemoveAllLogs();
        CBackupTask& task = MakeTask("t" + std::to_string(m_number), {m_tree->Native("d")});
        if (std::string_view(stage.operation) == "CreateFolder") {
            task.m_serverFilePath += _T(" elsewhere");  // away from the folder that was made with the task
        }
        return task;
    }

    // Runs `action` within the stage's call, once.
    void At(Stage const& stage, std::function<void()> action) {
        auto calls = std::make_shared<std::atomic<int>>(0);
        service->Before(stage.operation, [calls, stage, action = std::move(action)] {
            if (++*calls == stage.call) {
                action();
            }
        });
    }

    // Returns with the run paused within the stage's call, which goes on.
    void StartAndPauseAt(Stage const& stage, CBackupTask& task) {
        struct Gate {
            std::atomic<bool> reached{false};
            std::atomic<bool> paused{false};
        };
        auto const gate = std::make_shared<Gate>();  // the call still looks at it when this has returned
        At(stage, [gate] {
            gate->reached = true;
            while (!gate->paused) {
                platform::SleepMilliseconds(1);
            }
        });
        ASSERT_EQ(1, task.StartBackupByUser(0));
        while (!gate->reached) {
            platform::SleepMilliseconds(1);
        }
        task.m_pTaskPrg->Pause(task.m_taskName);
        gate->paused = true;
    }

    static __int64 CacheBytes() {
        CString temp;
        CPathManage::GetTempFolder(temp, 0, 1);
        return KXFolder::GetFolderSize(temp, 0);
    }

    void ExpectAllStored(CBackupTask& task) {
        EXPECT_EQ(ReadTree(m_tree->Path()), Restored(task.m_serverFilePath));
    }

    std::unique_ptr<TempFolder> m_tree;
    std::shared_ptr<ScriptedService> service;
    int m_number = 0;
};

}  // namespace

// Between the start of its thread and the scan.
TEST_F(StoppedRun, ACancelInTheFirstMomentHolds) {
    struct Window : CMainWnd {
        void StartTrayAnimation() override {
            if (CBackupTask* const started = task.exchange(nullptr)) {
                started->m_pTaskPrg->CancelMe();
            }
        }
        std::atomic<CBackupTask*> task{nullptr};
    };
    static Window window;  // stays: the end of the run's thread looks at it too
    CBackupTask& task = NewTask(kStages[0]);
    window.task = &task;
    theVaultLibApp.m_pMainWnd = &window;
    service->ForgetCalls();
    Run(task);
    EXPECT_EQ(TaskStateCanceled, task.m_state);
    EXPECT_EQ(0, service->Calls("PutChunks") + service->Calls("CommitFiles"));
}

TEST_F(StoppedRun, TheEndOfTheApplicationEndsItLikeACancel) {
    int cut = 0;
    for (void (*const end)(int) : {&MiscUtil::SetAppStopping, &MiscUtil::SetAppLoggingOff}) {
        for (Stage const& stage : kStages) {
            SCOPED_TRACE(stage.name);
            CBackupTask& task = NewTask(stage);
            service->ForgetCalls();
            auto const calls = std::make_shared<std::atomic<int>>(0);
            service->Before(stage.operation, [&, calls] {
                if (++*calls >= stage.call) {
                    end(1);
                }
            });
            ASSERT_EQ(1, task.StartBackupByUser(0));
            WaitForEnd(task);
            service->Before(stage.operation, [] {});
            end(0);
            if (task.m_state == TaskStateFinished) {
                ExpectAllStored(task);  // it came with the last of the files, and cut nothing
                continue;
            }
            ++cut;
            EXPECT_EQ(TaskStateCanceled, task.m_state);
            ASSERT_EQ(TaskStateFinished, Run(task));
            ExpectAllStored(task);
        }
    }
    EXPECT_GE(cut, 6) << "of the stages before the last files";
}

TEST_F(StoppedRun, ACancelEndsItAtAnyStageAndTheNextRunSendsTheRest) {
    for (Stage const& stage : kStages) {
        SCOPED_TRACE(stage.name);
        CBackupTask& task = NewTask(stage);
        std::chrono::steady_clock::time_point cancelled;
        At(stage, [&] {
            cancelled = std::chrono::steady_clock::now();
            task.m_pTaskPrg->CancelMe();
            task.m_pTaskPrg->Pause(task.m_taskName);  // comes too late to hold anything
        });
        EXPECT_EQ(TaskStateCanceled, Run(task));
        EXPECT_LT(std::chrono::steady_clock::now() - cancelled, kLongestEnd);
        EXPECT_EQ(0, task.m_errorOccured);
        EXPECT_EQ(0, task.GetRunningUploadCount());
        EXPECT_TRUE(skipped.empty()) << "a cancel leaves nothing out by itself";
        EXPECT_EQ(0, CacheBytes()) << "a cancelled run takes its copies with it";

        EXPECT_EQ(TaskStateFinished, Run(task));
        ExpectAllStored(task);
    }
}

TEST_F(StoppedRun, APauseHoldsItAtAnyStageAndItGoesOnFromThere) {
    for (Stage const& stage : kStages) {
        SCOPED_TRACE(stage.name);
        CBackupTask& task = NewTask(stage);
        ASSERT_NO_FATAL_FAILURE(StartAndPauseAt(stage, task));
        // The call that was under way ends; then nothing moves any more.
        for (__int64 sent = -1; sent != FilesSent();) {
            sent = FilesSent();
            platform::SleepMilliseconds(200);
        }
        EXPECT_EQ(TaskStateRunning, task.m_state) << "it would have ended meanwhile";

        task.m_pTaskPrg->Resume(task.m_taskName);
        WaitForEnd(task);
        EXPECT_EQ(TaskStateFinished, task.m_state);
        ExpectAllStored(task);
    }
}

// Where a copy to the cache may work for one percent of the time, a big file lasts.
TEST_F(StoppedRun, ACopyIsHeldByAPauseAndEndedByACancel) {
    CBackupTask& task = NewTask({"copy", "", 0, kFew, true, false});
    m_tree->Write("d/huge", std::string(64 << 20, 'h'));
    LimitCopyDuty(1);
    ASSERT_EQ(1, task.StartBackupByUser(0));
    while (task.m_pTaskPrg->GetStateString().Find(_T("huge")) < 0 && task.m_state == TaskStateRunning) {
        platform::SleepMilliseconds(1);
    }
    task.m_pTaskPrg->Pause(task.m_taskName);
    platform::SleepMilliseconds(100);
    EXPECT_EQ(TaskStateRunning, task.m_state);
    task.m_pTaskPrg->Resume(task.m_taskName);
    auto const cancelled = std::chrono::steady_clock::now();
    task.m_pTaskPrg->CancelMe();
    WaitForEnd(task);
    EXPECT_LT(std::chrono::steady_clock::now() - cancelled, kLongestEnd);
    EXPECT_EQ(TaskStateCanceled, task.m_state);
    EXPECT_EQ(0, CacheBytes());
    LimitCopyDuty(0);
    EXPECT_EQ(TaskStateFinished, Run(task));
    ExpectAllStored(task);
}

// A run that is paused hears a cancel all the same.
TEST_F(StoppedRun, ACancelEndsAPausedRun) {
    Stage const stage{"batch", "CommitFiles", 3, kMoreThanABatch, true, false};
    CBackupTask& task = NewTask(stage);
    ASSERT_NO_FATAL_FAILURE(StartAndPauseAt(stage, task));
    task.m_pTaskPrg->CancelMe();
    WaitForEnd(task);
    EXPECT_EQ(TaskStateCanceled, task.m_state);
    EXPECT_EQ(0, task.m_pTaskPrg->IsPaused());
    EXPECT_EQ(TaskStateFinished, Run(task));
    ExpectAllStored(task);
}

// The refresh asks what runs to stop while it holds locks that the end of a run takes.
TEST_F(StoppedRun, ARefreshOfTheTaskListGoesOnWhileTheRunWaitsForTheService) {
    constexpr int kAway = 3;
    constexpr int kAlways = 1000000;
    CBackupTask& task = NewTask(kStages[0]);
    service->Answer("CommitFiles", kAway, kAlways);
    service->Answer("Ping", kAway, kAlways);
    ASSERT_EQ(1, task.StartBackupByUser(0));
    while (service->Calls("Ping") == 0 && task.m_state == TaskStateRunning) {
        platform::SleepMilliseconds(1);
    }
    int code = 0;
    EXPECT_EQ(1, manager->RefreshTaskListFromDatabase(code)) << code;
    WaitForEnd(task);
    EXPECT_EQ(TaskStateCanceled, task.m_state);
    // Told a little later than the end of the run.
    while (task.m_pTaskPrg->IsStopping()) {
        platform::SleepMilliseconds(1);
    }
    for (char const* const operation : {"CommitFiles", "Ping"}) {
        service->Answer(operation, 0, 0);
    }
    EXPECT_EQ(TaskStateFinished, Run(task));
    ExpectAllStored(task);
}

}  // namespace rampart::test
