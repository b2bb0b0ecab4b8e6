// What a host does to the tasks while runs begin and end in their own threads. A lock that is taken in the
// wrong order, or a task that is used after its end, shows here under a sanitizer, or as a test that hangs.
#include <atomic>
#include <thread>

#include "progress/task_prg.h"
#include "support/engine_home.h"
#include "task/stored_time.h"

namespace rampart::test {

namespace {

constexpr int kTasks = 4;
constexpr int kRounds = 40;

class HostAndRuns : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        EngineHome::SetOption(_T("MultipleRunningTaskCount"), _T("3"));
        ManageMultipleRunningTask::GetInstance()->SetAllowTwoTasksConcurrently(1);
        for (int number = 0; number < kTasks; ++number) {
            Make(number);
        }
    }
    void TearDown() override {
        ManageMultipleRunningTask::GetInstance()->SetAllowTwoTasksConcurrently(0);
        EngineTest::TearDown();
    }
    static std::string NameOf(int number) { return "t" + std::to_string(number); }
    CBackupTask* Find(int number) { return manager->GetTaskByName(CString::FromUtf8(NameOf(number))); }

    void Make(int number) {
        m_tree.Write(NameOf(number) + "/file", NameOf(number));
        MakeTask(NameOf(number), {m_tree.Native(NameOf(number))}).m_state = TaskStateReady;
    }

    // New content of another size, so that the run has something to send.
    void Start(int number) {
        m_tree.Write(NameOf(number) + "/file", std::string(++m_written, 'x'));
        if (CBackupTask* const task = Find(number)) {
            task->m_errorOccured = 0;
            manager->AddTaskToWaitlist(task, 0);
        }
    }

    void Edit(int number) {
        CBackupTask* const task = Find(number);
        if (task == nullptr) {
            return;
        }
        CBackupTask edited;
        edited.m_taskID = task->m_taskID;
        edited.m_taskName = task->m_taskName;
        edited.m_description = task->m_description;
        edited.m_type = TaskTypeOnce;
        edited.m_dating = task->m_dating;
        edited.m_serverFilePath = task->m_serverFilePath;
        CStringList sources;
        sources.AddTail(Engine(m_tree.Native(NameOf(number))));
        edited.ReplaceLocalList(sources);
        EXPECT_EQ(1, manager->UpdateTask(task, &edited));
    }

    void Replace(int number) {
        CStringList names;
        names.AddTail(CString::FromUtf8(NameOf(number)));
        int code = 0;
        EXPECT_EQ(1, manager->BatchDeleteTask(names, 1, code, 0, 0)) << code;
        Make(number);
    }

    void Refresh() {
        int code = 0;
        EXPECT_EQ(1, manager->RefreshTaskListFromDatabase(code)) << code;
    }

    // One of three changes.
    void Change(int kind, int number) {
        switch (kind) {
            case 0:
                Edit(number);
                break;
            case 1:
                Replace(number);
                break;
            default:
                Refresh();
                break;
        }
    }

    TempFolder m_tree;
    size_t m_written = 0;
};

}  // namespace

// A timer's thread makes the passes, while another one changes the tasks.
TEST_F(HostAndRuns, PassesMeetChangesWithoutHarm) {
    for (int const skipsMissed : {0, 1}) {
        manager->m_skipMissedTask = skipsMissed;
        std::atomic<bool> isOver{false};
        std::thread timer([&] {
            while (!isOver) {
                manager->DoScheduleTask();
                manager->SyncScheduleTask();
                manager->DoScheduleNextTime();
                manager->SyncRealTimeTask();
                if (manager->HaveActionToProcess()) {
                    manager->ProcessAlltheAction();
                }
                EXPECT_LE(manager->GetTaskStatusMapValue().size(), static_cast<size_t>(kTasks));
            }
        });
        for (int round = 0; round < kRounds / 2; ++round) {
            int const number = round / 3 % kTasks;
            Start(number);
            Change(round % 3, number);
        }
        isOver = true;
        timer.join();
    }
    for (int number = 0; number < kTasks; ++number) {
        CBackupTask* const task = Find(number);
        ASSERT_NE(nullptr, task) << number;
        WaitForEnd(*task);
        manager->RemoveTaskFromWaitlist(task);
        EXPECT_EQ(TaskStateFinished, Run(*task)) << number;
    }
}

TEST_F(HostAndRuns, MeetWithoutHarm) {
    std::atomic<bool> isOver{false};
    // A display asks at any time.
    std::thread display([&] {
        while (!isOver) {
            manager->GetWorkingFile();
            manager->GetWorkingTaskName();
            ManageMultipleRunningTask::GetInstance()->GetWorkingTaskName();
            platform::SleepMilliseconds(1);
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        for (int number = 0; number < kTasks; ++number) {
            Start(number);
        }
        manager->DoScheduleTask();
        manager->SyncScheduleTask();
        EXPECT_EQ(static_cast<size_t>(kTasks), manager->GetTaskStatusMapValue().size());
        int const number = round / 4 % kTasks;
        if (round % 4 == 3) {
            manager->ConnectLoopNetwork();
        } else {
            Change(round % 4, number);
        }
    }
    isOver = true;
    display.join();
    for (int number = 0; number < kTasks; ++number) {
        CBackupTask* const task = Find(number);
        ASSERT_NE(nullptr, task) << number;
        WaitForEnd(*task);
    }
    // All places are free now, and no pass gives them to those that wait.
    for (int number = 0; number < kTasks; ++number) {
        CBackupTask* const task = Find(number);
        manager->RemoveTaskFromWaitlist(task);
        EXPECT_EQ(TaskStateFinished, Run(*task)) << number;
        EXPECT_EQ(m_tree.Read(NameOf(number) + "/file"),
                  Restored(task->m_serverFilePath)[NameOf(number) + "/file"].content);
    }
    EXPECT_TRUE(manager->m_waitList.IsEmpty());
}

}  // namespace rampart::test
