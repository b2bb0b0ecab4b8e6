#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>
#include <vector>

#include "link/manage_multiple_running_task.h"
#include "progress/task_prg.h"
#include "support/engine_stand_in.h"
#include "support/hex_bytes.h"
#include "support/service_stand_in.h"
#include "support/temp_home.h"

namespace rampart::test {

namespace {

class RunningTasks : public testing::Test {
protected:
    void SetUp() override {
        Name(m_a, _T("A"));
        Name(m_b, _T("B"));
        Name(m_c, _T("C"));
        Name(m_otherA, _T("a"));
    }
    void TearDown() override {
        m_configuration.reset();
        DictUtil::Refresh();
    }
    void Name(CBackupTask& task, LPCTSTR name) {
        task.m_taskName = name;
        task.m_pTaskPrg = &m_progress;
    }
    void Configure(std::string_view text) {
        m_home.Write("custom/rampart.ini", text);
        m_configuration.emplace("RAMPART_CONFIG", m_home.Native("custom"));
        DictUtil::Refresh();
    }

    TempHome m_home;
    std::optional<ScopedVariable> m_configuration;
    ManageMultipleRunningTask m_tasks;
    CTaskPrgClass m_progress;
    CBackupTask m_a, m_b, m_c, m_otherA;
};

TEST_F(RunningTasks, AsManyRunAsTheConfigurationSays) {
    Configure("[Options]\nMultipleRunningTaskCount = 2\n");
    m_tasks.AddWoringTaskToVector(&m_a);
    EXPECT_EQ(m_tasks.IsAllowToAddWorkingTask(&m_b), 0) << "one at a time unless it is switched on";
    m_tasks.SetAllowTwoTasksConcurrently(1);
    EXPECT_EQ(m_tasks.IsAllowToAddWorkingTask(&m_b), 1);
    EXPECT_EQ(m_tasks.IsAllowToAddWorkingTask(&m_otherA), 0) << "a name runs once";
    m_tasks.AddWoringTaskToVector(&m_b);
    EXPECT_EQ(m_tasks.IsAllowToAddWorkingTask(&m_c), 0);
    m_tasks.SetAllowTwoTasksConcurrently(0);
    m_tasks.RemoveWorkingTaskFromVector(&m_b);
    EXPECT_EQ(m_tasks.IsAllowToAddWorkingTask(&m_b), 0);
    EXPECT_EQ(m_tasks.IsAllowToAddWorkingTask(nullptr), 0);
}

TEST_F(RunningTasks, OnePlaceIsTakenByOneOfManyStarts) {
    std::vector<CBackupTask> tasks(8);
    std::atomic<int> taken = 0;
    std::vector<std::thread> starts;
    for (size_t number = 0; number < tasks.size(); ++number) {
        tasks[number].m_taskName = CString::FromUtf8("task " + std::to_string(number));
        starts.emplace_back([&, number] { taken += m_tasks.TakePlace(&tasks[number]); });
    }
    for (std::thread& start : starts) {
        start.join();
    }
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(m_tasks.WorkingTaskCount(), 1);
    EXPECT_EQ(m_tasks.TakePlace(nullptr), 0);
    EXPECT_EQ(m_tasks.AddIfNew(&m_a), 1) << "a run elsewhere counts, however many may run here";
    EXPECT_EQ(m_tasks.AddIfNew(&m_otherA), 0);
}

TEST_F(RunningTasks, TheUsersSettingSwitchesItOn) {
    Configure("[Options]\nMultipleRunningTaskCount = 5\n");
    m_tasks.InitAllowTwoTasksConcurrently();
    EXPECT_EQ(m_tasks.m_nMaxRunningTasks, 1);
    const CString section =
        DictUtil::GetValue(_T("ZQBackOptions"), CString()) + _T("\\") + Service().customerId;
    const CString name = DictUtil::GetValue(_T("SupportTwoTasksConcurrently"), CString());
    ASSERT_TRUE(CRegSettingUtil::SetRegInfo(section, name, _T("1")));
    m_tasks.InitAllowTwoTasksConcurrently();
    EXPECT_EQ(m_tasks.m_nMaxRunningTasks, 5);
    EXPECT_EQ(m_tasks.m_bAllowTwoTasks, 1);
    ASSERT_TRUE(CRegSettingUtil::SetRegInfo(section, name, _T("0")));
    m_tasks.InitAllowTwoTasksConcurrently();
    EXPECT_EQ(m_tasks.m_nMaxRunningTasks, 1);
}

TEST_F(RunningTasks, ATaskIsKnownByItsNameWithoutCase) {
    m_tasks.AddWoringTaskToVector(&m_a);
    m_tasks.AddWoringTaskToVector(&m_b);
    m_tasks.AddWoringTaskToVector(&m_otherA);
    m_tasks.AddWoringTaskToVector(nullptr);
    EXPECT_EQ(m_tasks.WorkingTaskCount(), 2);
    EXPECT_EQ(m_tasks.GetWorkingTaskName(), _T("A|B|"));
    EXPECT_EQ(m_tasks.GetWorkingTask(&m_otherA), &m_a);
    EXPECT_EQ(m_tasks.GetWorkingTaskByName(_T("b")), &m_b);
    EXPECT_EQ(m_tasks.GetTaskPrgClass(_T("B")), &m_progress);
    EXPECT_EQ(m_tasks.GetTaskPrgClass(_T("C")), nullptr);
    EXPECT_EQ(m_tasks.FindWorkingTask(&m_c), 0);
    m_tasks.RemoveWorkingTaskFromVector(&m_otherA);
    EXPECT_EQ(m_tasks.GetWorkingTaskName(), _T("B|"));
}

TEST_F(RunningTasks, HibernationKeepsACopy) {
    m_tasks.AddWoringTaskToVector(&m_a);
    m_tasks.StoreHibernateTask();
    m_tasks.ClearAllWoringTask();
    EXPECT_EQ(m_tasks.GetHibernateTasks(), std::vector<CBackupTask*>{&m_a});
    m_tasks.ClearHibernateTasks();
    EXPECT_TRUE(m_tasks.GetHibernateTasks().empty());
}

TEST_F(RunningTasks, PauseFlagOfANamedTask) {
    m_tasks.AddWoringTaskToVector(&m_a);
    m_tasks.SetSuspendForWokingTask(1, _T("C"));
    EXPECT_EQ(m_progress.IsPaused(), 0);
    m_tasks.SetSuspendForWokingTask(1, _T("a"));
    EXPECT_NE(m_progress.IsPaused(), 0);
}

// The mark of a stop goes with the end of a run; without a run it would stay for ever.
TEST_F(RunningTasks, OnlyTheRunningObjectIsAskedToStop) {
    m_tasks.AddWoringTaskToVector(&m_a);
    EXPECT_TRUE(m_tasks.IsWorking(&m_a));
    EXPECT_FALSE(m_tasks.IsWorking(nullptr));
    for (CBackupTask* const other : {&m_b, &m_otherA}) {
        EXPECT_FALSE(m_tasks.IsWorking(other));
        m_tasks.AskToStop(other);
    }
    EXPECT_EQ(m_progress.IsStopping(), 0);
    EXPECT_EQ(m_progress.m_bCancel, 0);
    m_tasks.AskToStop(&m_a);
    EXPECT_EQ(m_progress.IsStopping(), 1);
    EXPECT_EQ(m_progress.m_bCancel, 1);
}

TEST_F(RunningTasks, NamesForTheDisplay) {
    const auto stored = [&] {
        CMemFile memory;
        CArchive out(&memory, CArchive::store);
        m_tasks.StoreTaskInfoForUI(out);
        out.Close();
        std::string bytes(static_cast<size_t>(memory.GetLength()), '\0');
        memory.SeekToBegin();
        memory.Read(bytes.data(), static_cast<UINT>(bytes.size()));
        return ToHex(bytes);
    };
    EXPECT_EQ("00 00 00 00 FF FE FF 00 ", stored()) << "one empty name where none runs";
    m_tasks.AddWoringTaskToVector(&m_a);
    EXPECT_EQ("01 00 00 00 FF FE FF 01 41 00 ", stored());
    Name(m_b, _T("Bü"));
    m_tasks.AddWoringTaskToVector(&m_b);
    EXPECT_EQ("02 00 00 00 FF FE FF 01 41 00 FF FE FF 02 42 00 FC 00 ", stored());
}

TEST_F(RunningTasks, StopEndsWhatRunsAndMayChangeTheList) {
    auto& tasks = *ManageMultipleRunningTask::GetInstance();
    tasks.AddWoringTaskToVector(&m_a);
    CWinThread* thread = AfxBeginThread(
        [](LPVOID argument) -> UINT {
            auto& task = *static_cast<CBackupTask*>(argument);
            while (!task.m_pTaskPrg->m_bCancel) {
                rampart::Sleep(1);
            }
            ManageMultipleRunningTask::GetInstance()->RemoveWorkingTaskFromVector(&task);
            return 0;
        },
        &m_a, 0, 0, CWinThread::kCreateSuspended);
    m_progress.SetWorker(thread);
    thread->ResumeThread();
    ManageMultipleRunningTask::StopTasks();
    EXPECT_EQ(tasks.WorkingTaskCount(), 0);
}

}  // namespace

}  // namespace rampart::test
