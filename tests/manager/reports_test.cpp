// Events and mail of a run.
#include <gtest/gtest.h>

#include <thread>

#include "eventlog/error_log.h"
#include "paths/global_function.h"
#include "support/engine_home.h"
#include "support/scripted_clock.h"
#include "task/stored_time.h"

namespace rampart::test {

namespace {

class Reports : public testing::Test {
protected:
    Reports() {
        m_task.m_type = TaskTypeDaily;
        Setting(_T("LogSendErrorhappen"), 1);
        Setting(_T("LogSendAfterRun"), 1);
        GlobalFunction::SaveStringToRegstry(ApiUtil::GetCustomerID() + _T("LogEmailAdd"),
                                            _T("me@example.org"));
    }

    static void Setting(TCHAR const* suffix, unsigned long value) {
        GlobalFunction::SaveFlag(ApiUtil::GetCustomerID() + suffix, value);
    }

    void Send(int result) { m_home.manager->SendLogByEmail(&m_task, _T(""), result); }

    // Whether the report left: what was told is cleared then.
    bool IsSent(int result) {
        m_task.m_reportTotalCount = 7;
        Send(result);
        return m_task.m_reportTotalCount == 0;
    }

    ScriptedClock m_clock{Utc(2024, 5, 15, 10), 7200};
    EngineHome m_home;
    CBackupTask& m_task = m_home.ListedTask(_T("t"));
};

TEST_F(Reports, EventGoesToLogMailAndRun) {
    CBackupManage& manager = *m_home.manager;
    EXPECT_EQ(manager.RecordErr(&m_task, _T("info"), EVENT_INFO), 1);
    EXPECT_EQ(manager.RecordErr(&m_task, _T("warning"), EVENT_WARNING), 1);
    EXPECT_EQ(manager.RecordErr(&m_task, _T("error"), EVENT_ERROR), 1);
    EXPECT_EQ(manager.RecordErr(nullptr, _T("global"), EVENT_ERROR), 1);
    EXPECT_EQ(m_task.GetRunErrorText(), _T("info\nwarning\nerror\n"));
    EXPECT_EQ(m_task.GetErrorEmailLog(), _T("\n\nt: error\n"));
    EXPECT_EQ(m_task.GetWarningLog(), _T("\n\nt: warning\n"));
    CErrorLog log;
    CPtrList list;
    EXPECT_EQ(log.GetErrorList(list), 1);
    EXPECT_EQ(list.GetCount(), 4);
    log.ClearErrorList(list);
}

TEST_F(Reports, EventsComeFromManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int event = 0; event < 20; ++event) {
                m_home.manager->RecordErr(&m_task, _T("0123456789"), EVENT_ERROR);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(m_task.GetRunErrorText().GetLength(), 4 * 20 * 11);
}

TEST_F(Reports, FailedRunIsMailedWhenTheCustomerWantsIt) {
    m_task.m_errorOccured = 1;
    EXPECT_FALSE(IsSent(0)) << "nothing to tell";
    m_task.AddEmailErrorLog(_T("t"), _T("disk gone"));
    Setting(_T("LogSendErrorhappen"), 0);
    EXPECT_FALSE(IsSent(0));
    Setting(_T("LogSendErrorhappen"), 1);
    EXPECT_TRUE(IsSent(0));
    EXPECT_TRUE(m_task.m_errorEmailLog.IsEmpty());
}

TEST_F(Reports, NothingIsMailedWithoutAnAddressOrDuringNetworkRetries) {
    m_task.AddEmailWarningLog(_T("t"), _T("w"));
    m_task.m_networkRetryCount = 1;
    EXPECT_FALSE(IsSent(0));
    m_task.m_networkRetryCount = 0;
    GlobalFunction::SaveStringToRegstry(ApiUtil::GetCustomerID() + _T("LogEmailAdd"), _T(""));
    EXPECT_FALSE(IsSent(0));
    EXPECT_EQ(m_task.m_warningEmailLog.GetCount(), 1) << "the lines stay for the next run";
}

TEST_F(Reports, RunWithFailedFilesIsMailedOnceWithTheDateOfItsRetry) {
    m_task.AddEmailWarningLog(_T("t"), _T("w"));
    m_task.m_errorRetryFactor = 1;
    EXPECT_TRUE(IsSent(0));
    EXPECT_EQ(m_task.m_failureRetryTried, 1);
    m_task.m_errorRetryFactor = 0;
    m_task.AddEmailWarningLog(_T("t"), _T("again"));
    EXPECT_TRUE(IsSent(0)) << "the retry clears its report in quiet";
    EXPECT_TRUE(m_task.m_warningEmailLog.IsEmpty());
}

TEST_F(Reports, OnlyAGoodRunWithSomethingToTellIsMailed) {
    EXPECT_FALSE(IsSent(0)) << "both logs are empty";
    m_task.m_reportTotalCount = 3;
    m_task.AddSuccessEmailLog();
    EXPECT_FALSE(IsSent(6));
    Setting(_T("LogSendAfterRun"), 0);
    EXPECT_FALSE(IsSent(0));
    Setting(_T("LogSendAfterRun"), 1);
    EXPECT_TRUE(IsSent(0));
}

TEST_F(Reports, RealTimeTaskIsMailedOnceInItsPeriod) {
    m_task.m_type = TaskTypeRealTime;
    m_clock.Advance(1);
    m_task.AddEmailWarningLog(_T("t"), _T("w"));
    EXPECT_TRUE(IsSent(0));
    m_task.AddEmailWarningLog(_T("t"), _T("w"));
    m_clock.Advance(480 * 60);
    EXPECT_FALSE(IsSent(0));
    m_clock.Advance(1);
    EXPECT_TRUE(IsSent(0));
}

}  // namespace

}  // namespace rampart::test
