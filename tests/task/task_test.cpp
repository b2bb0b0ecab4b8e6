// The record and its sources.
#include <gtest/gtest.h>

#include "support/engine_home.h"

namespace rampart::test {

namespace {

class TaskRecord : public testing::Test {
protected:
    CString Local(std::string_view relative) const { return CString(TextView(m_home.Engine(relative))); }

    static std::vector<CString> Paths(CBackupTask const& task) {
        std::vector<CString> paths;
        for (SourceInfo const* const source : task.m_localDirList) {
            paths.push_back(source->path);
        }
        return paths;
    }

    EngineHome m_home;
    CBackupTask m_task;
};

TEST_F(TaskRecord, FreshTaskBelongsToThisMachineAndHasNeverRun) {
    EXPECT_EQ(m_task.m_pcID, m_home.manager->m_myID);
    EXPECT_EQ(m_task.m_pcName, m_home.manager->m_pcName);
    EXPECT_EQ(m_task.m_backupDate, CTime(1971, 1, 1, 0, 0, 0));
    EXPECT_LT(m_task.m_beginDate, m_task.m_dating);
    EXPECT_TRUE(m_task.GetFirstSrcPath().IsEmpty());
    EXPECT_TRUE(m_task.GetTopFolder().IsEmpty());
}

TEST_F(TaskRecord, ReplacedSourcesAreFoldersFirstEachInOrder) {
    m_home.Write("src/b/", "");
    m_home.Write("src/a/", "");
    m_home.Write("src/2.txt", "x");
    m_home.Write("src/1.txt", "x");
    CStringList paths;
    for (char const* const name : {"src/2.txt", "src/b", "src/1.txt", "src/a"}) {
        paths.AddTail(Local(name));
    }
    m_task.ReplaceLocalList(paths);
    EXPECT_EQ(Paths(m_task),
              (std::vector<CString>{Local("src/a"), Local("src/b"), Local("src/1.txt"), Local("src/2.txt")}));
    EXPECT_EQ(m_task.m_localDirList[0]->isFolder, 1);
    EXPECT_EQ(m_task.m_localDirList[2]->isFolder, 0);
    EXPECT_NE(m_task.m_localDirList[0]->serial, 0u);
    EXPECT_EQ(m_task.GetTopFolder(), Local("src") + _T("\\"));
    EXPECT_EQ(m_task.GetBackupParentPath(), Local("src") + _T("\\"));
    m_task.ClearSrcList();
    m_task.AddSrcPath(Local("src/a"));
    EXPECT_EQ(m_task.GetBackupParentPath(), Local("src/a")) << "a single source is its own parent";
}

TEST_F(TaskRecord, PathBelongsToTheBackupInAnyCaseButNotByAPrefix) {
    m_task.AddSrcPath(_T("C:\\Data\\One"));
    EXPECT_TRUE(m_task.IsInBackupList(_T("c:\\data\\one\\x\\y.txt")));
    EXPECT_TRUE(m_task.IsInBackupList(_T("C:\\DATA\\ONE")));
    EXPECT_FALSE(m_task.IsInBackupList(_T("C:\\Data\\One2\\x")));
    EXPECT_FALSE(m_task.IsInBackupList(_T("C:\\Data\\One\\thumbs.db")));
}

TEST_F(TaskRecord, SourcesAreTheSameByPathKindAndVolume) {
    CBackupTask other;
    m_task.m_localDirList.push_back(new SourceInfo{_T("C:\\A"), 5, 1});  // the tasks' own
    other.m_localDirList.push_back(new SourceInfo{_T("c:\\a"), 5, 1});
    EXPECT_TRUE(m_task.IsSameSrcList(other.m_localDirList));
    other.m_localDirList[0]->serial = 6;
    EXPECT_FALSE(m_task.IsSameSrcList(other.m_localDirList));
    other.ClearSrcList();
    EXPECT_FALSE(m_task.IsSameSrcList(other.m_localDirList));
}

TEST_F(TaskRecord, SourceFollowsItsVolumeToAnotherLetter) {
    TCHAR const letter = _T('C');
    auto const serial = static_cast<uint32_t>(GetDiskserial(letter));
    ASSERT_NE(serial, 0u);
    m_task.m_localDirList.push_back(new SourceInfo{_T("Q:\\x"), serial, 1});  // the task's own
    EXPECT_EQ(m_task.UpdateSrcDriveLetter(), 1);
    EXPECT_EQ(m_task.GetFirstSrcPath(), _T("C:\\x"));
    EXPECT_EQ(m_task.UpdateSrcDriveLetter(), 0);
}

TEST_F(TaskRecord, AssignmentTakesTheSourcesAway) {
    CBackupTask other;
    other.m_taskName = _T("other");
    other.m_type = TaskTypeDaily;
    other.AddSrcPath(_T("C:\\A"));
    other.m_filterExList.AddTail(_T("*.tmp"));
    SourceInfo const* const source = other.m_localDirList.front();
    m_task.AddSrcPath(_T("C:\\B"));
    m_task.m_filterExList.AddTail(_T("*.old"));
    m_task = other;
    ASSERT_EQ(m_task.m_localDirList.size(), 1u);
    EXPECT_EQ(m_task.m_localDirList.front(), source);
    EXPECT_TRUE(other.m_localDirList.empty());
    EXPECT_EQ(m_task.m_filterExList.GetCount(), 1);
    EXPECT_EQ(m_task.m_taskName, _T("other"));
}

TEST_F(TaskRecord, EmailTaskIsMarkedByTheWordNotTheMode) {
    for (auto const& [word, isEmail] : {std::pair{15, 0}, {16, 1}, {31, 1}, {32, 0}}) {
        m_task.m_type = static_cast<TaskType>(word);
        EXPECT_EQ(m_task.IsEmailBackup(), isEmail) << word;
    }
}

TEST_F(TaskRecord, TimeToStopGrowsWithTheEntriesUpToALimit) {
    EXPECT_EQ(m_task.CalcuteSecondsForUploadTaskToServerDatabase(), 0);
    for (int count = 0; count < 2000; ++count) {
        m_task.m_filterExList.AddTail(_T("x"));
    }
    EXPECT_EQ(m_task.CalcuteSecondsForUploadTaskToServerDatabase(), 2);
}

TEST_F(TaskRecord, ReportKeepsAHundredAndOneLinesAndIsDrainedByReading) {
    for (int line = 0; line < 101; ++line) {
        m_task.AddEmailErrorLog(_T("t"), FormatText(_T("%d"), line));
    }
    EXPECT_EQ(m_task.m_errorEmailLog.GetCount(), 101);
    m_task.AddEmailErrorLog(_T("t"), _T("last"));
    EXPECT_EQ(m_task.GetErrorEmailLog(), _T("\n\nt: last\n"));
    EXPECT_TRUE(m_task.GetErrorEmailLog().IsEmpty());
}

// The mail takes its lines away; who shows the outcome still reads them, until the next run begins.
TEST_F(TaskRecord, LinesOfARunOutlastTheMail) {
    m_task.AddEmailErrorLog(_T("t"), _T("one"));
    m_task.AddEmailErrorLog(_T("t"), _T("two"));
    m_task.AddEmailWarningLog(_T("t"), _T("left out"));
    m_task.GetErrorEmailLog();
    m_task.InitEventLog();
    for (int reading = 0; reading < 2; ++reading) {
        EXPECT_EQ(m_task.GetErrorsOfRun(), _T("t: one\nt: two"));
        EXPECT_EQ(m_task.GetWarningsOfRun(), _T("t: left out"));
    }
    m_task.ClearRunError();
    EXPECT_TRUE(m_task.GetErrorsOfRun().IsEmpty());
    EXPECT_TRUE(m_task.GetWarningsOfRun().IsEmpty());
}

TEST_F(TaskRecord, SuccessLineCountsNoMoreUploadsThanWereNeeded) {
    m_task.AddSuccessEmailLog();
    EXPECT_TRUE(m_task.m_successEmailLog.IsEmpty()) << "nothing was looked at";
    m_task.m_reportTotalCount = 10;
    m_task.m_reportAddedCount = 2;
    m_task.m_reportChangedCount = 1;
    m_task.m_reportUploadedCount = 9;
    m_task.AddSuccessEmailLog();
    EXPECT_EQ(m_task.m_reportUploadedCount, 3);
    EXPECT_EQ(m_task.m_successEmailLog.GetCount(), 1);
}

}  // namespace

}  // namespace rampart::test
