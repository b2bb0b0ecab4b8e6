#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "interfaces/baselib.h"
#include "interfaces/progresslib.h"
#include "support/scripted_clock.h"

namespace rampart {
namespace {

class Progress : public testing::Test {
protected:
    test::ScriptedClock m_clock{test::Utc(2024, 1, 1)};
    CTruePrgCallback m_progress;
};

TEST_F(Progress, SpeedIsThatOfTheLastSecondsAndAverageThatOfAll) {
    for (int second = 0; second < 10; second++) {
        m_clock.Advance(1);
        EXPECT_TRUE(m_progress.DoProgressEx(_T("C:\\a"), 1000, 0, 0));
    }
    for (int second = 0; second < 10; second++) {
        m_clock.Advance(1);
        m_progress.DoProgressEx(_T("C:\\b"), 5000, 0, 0);
    }
    EXPECT_NEAR(m_progress.GetSpeed(), 5000, 500);
    EXPECT_EQ(m_progress.GetAveSpeed(), 3000);
    EXPECT_EQ(m_progress.GetNowSent(), 60000);
    EXPECT_EQ(m_progress.GetMillsecs(), 20000);
    EXPECT_EQ(m_progress.GetFilePath(), _T("C:\\b"));
    m_progress.SetProgressBarInfo(0, 90000);
    EXPECT_EQ(m_progress.GetRemSec(), 10);
    m_clock.Advance(60);
    EXPECT_EQ(m_progress.GetSpeed(), 0);
}

TEST_F(Progress, WorkBeginsWhenItsSizeIsKnown) {
    const int created = m_progress.GetBeginCount();
    m_clock.Advance(300);  // a long scan
    m_progress.SetProgressBarInfo(0, 1000);
    EXPECT_EQ(m_progress.GetBeginCount() - created, 300'000);
    m_clock.Advance(1);
    m_progress.SetByteSend(500, 1);
    EXPECT_EQ(m_progress.GetAveSpeed(), 500);
    m_progress.SetProgressBarInfo(10, 2000);  // the clock goes on
    EXPECT_EQ(m_progress.GetAveSpeed(), 500);
    __int64 sent = 0, total = 0;
    m_progress.GetProgressBarInfo(sent, total);
    EXPECT_EQ(sent, 10);
    EXPECT_EQ(total, 2000);
    m_progress.SetByteSend(7, 0);
    EXPECT_EQ(m_progress.GetByteSend(), 7);
}

TEST_F(Progress, APauseCountsInNoSpeed) {
    m_clock.Advance(1);
    m_progress.SetByteSend(1000, 1);
    m_progress.SetPause(1);
    EXPECT_TRUE(m_progress.IsPaused());
    m_clock.Advance(100);
    EXPECT_EQ(m_progress.GetSpeed(), 0);
    EXPECT_EQ(m_progress.GetMillsecs(), 1000);
    m_progress.SetPause(1);
    m_progress.SetPause(0);
    EXPECT_EQ(m_progress.GetSpeed(), 1000);
    EXPECT_EQ(m_progress.GetAveSpeed(), 1000);
}

TEST_F(Progress, ATransferWaitsThroughAPause) {
    m_progress.SetPause(1);
    auto transfer = std::async(std::launch::async, [&] { return m_progress.DoProgressEx(_T("f"), 1, 0, 0); });
    while (m_clock.SleptMilliseconds() < 1000) {
        std::this_thread::yield();
    }
    m_progress.SetPause(0);
    EXPECT_EQ(transfer.get(), 1);
}

TEST_F(Progress, ACancelEndsAPausedTransfer) {
    m_progress.SetPause(1);
    auto transfer = std::async(std::launch::async, [&] { return m_progress.DoProgressEx(_T("f"), 1, 0, 0); });
    while (m_clock.SleptMilliseconds() < 500) {
        std::this_thread::yield();
    }
    m_progress.CancelMe();
    EXPECT_EQ(transfer.get(), 0);
    EXPECT_EQ(m_progress.DoProgress(50, _T("")), 0);
    EXPECT_EQ(m_progress.SetPercent(50, _T("")), 0);
    EXPECT_EQ(m_progress.RefreshProgressInfo(), 0);
    m_progress.EndProgress();
    EXPECT_FALSE(m_progress.IsPaused());
    EXPECT_EQ(m_progress.DoProgressEx(_T("f"), 1, 0, 0), 1);
}

TEST_F(Progress, AStoppingApplicationEndsTransfers) {
    m_progress.SetPause(1);
    MiscUtil::SetAppStopping(1);
    EXPECT_EQ(m_progress.DoProgressEx(_T("f"), 1, 0, 0), 0);
    MiscUtil::SetAppStopping(0);
}

TEST_F(Progress, PercentStaysInItsBounds) {
    m_progress.SetPercent(150, _T("C:\\x"));
    EXPECT_EQ(m_progress.GetLastPercent(), 100);
    m_progress.NextPercent();
    EXPECT_EQ(m_progress.GetLastPercent(), 100);
    m_progress.SetPercent(0, _T(""));
    EXPECT_EQ(m_progress.GetLastPercent(), 100);
    EXPECT_EQ(m_progress.GetFilePath(), _T("C:\\x"));
    m_progress.EndProgress();
    EXPECT_EQ(m_progress.NextPercent(), 1);
    EXPECT_EQ(m_progress.GetLastPercent(), 1);
    m_progress.DoProgress(-5, _T(""));
    EXPECT_EQ(m_progress.GetLastPercent(), 0);
}

class Refused : public CTruePrgCallback {
    int RefreshProgressInfo() override { return 0; }
};

TEST_F(Progress, TheRefreshOfADerivedObjectDecides) {
    Refused refused;
    EXPECT_EQ(refused.DoProgressEx(_T("f"), 1, 0, 0), 0);
}

TEST_F(Progress, ThreadsTellTogether) {
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; index++) {
        threads.emplace_back([&] {
            for (int round = 0; round < 1000; round++) {
                m_progress.DoProgressEx(_T("f"), 3, 0, 0);
                m_progress.GetSpeed();
                m_progress.GetFilePath();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(m_progress.GetNowSent(), 12000);
}

}  // namespace
}  // namespace rampart
