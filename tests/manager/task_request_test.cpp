// The texts that go to the task database, and those that come back.
#include "manager/task_request.h"

#include <gtest/gtest.h>

#include "interfaces/transferlib.h"
#include "manager/task_reply.h"
#include "support/engine_home.h"
#include "support/scripted_clock.h"

namespace rampart::test {

namespace {

int Occurrences(CString const& text, TCHAR const* part) {
    int count = 0;
    for (int at = text.Find(part); at >= 0; at = text.Find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::vector<CString> RequestsFor(int paths, TCHAR const* action) {
    std::vector<CString> sent;
    PathRequests requests(_T("Row&"), action, 100);
    for (int index = 0; index < paths; ++index) {
        SourceInfo source;
        source.path = FormatText(_T("C:\\a b\\%d"), index);
        source.serial = 4000000000u;
        source.isFolder = index % 2;
        if (requests.Add(source, false)) {
            sent.push_back(requests.Take());
        }
    }
    sent.push_back(requests.Take());
    return sent;
}

TEST(PathRequests, TaskWithoutSourcesGoesInOneRequest) {
    EXPECT_EQ(RequestsFor(0, _T("Add")), std::vector<CString>{_T("Row&Action=Add&localPathNum=0&")});
    EXPECT_EQ(RequestsFor(0, _T("edit")), std::vector<CString>{_T("Row&Action=Edit&localPathNum=0&")});
}

TEST(PathRequests, PathTravelsWithVolumeKindAndAction) {
    EXPECT_EQ(RequestsFor(1, _T("Add")).front(),
              _T("Row&Action=Add&Path0=") + ApiUtil::EncodeURL(_T("C:\\a b\\0")) +
                  _T("&Serial0=4000000000&IsFolder0=0&Action0=0&localPathNum=1&"));
    PathRequests removal(_T("Row&"), _T("Edit"), 100);
    EXPECT_FALSE(removal.Add(SourceInfo{_T("D:"), 7, 1}, true));
    EXPECT_EQ(removal.Take(), _T("Row&Action=Edit&Path0=") + ApiUtil::EncodeURL(_T("D:")) +
                                  _T("&Serial0=7&IsFolder0=1&Action0=1&localPathNum=1&"));
}

TEST(PathRequests, FullRequestIsFollowedByEdits) {
    std::vector<CString> const hundred = RequestsFor(100, _T("Add"));
    ASSERT_EQ(hundred.size(), 2u);
    EXPECT_GE(hundred[0].Find(_T("Action=Add&Path0=")), 0);
    EXPECT_GE(hundred[0].Find(_T("&localPathNum=100&")), 0);
    EXPECT_EQ(Occurrences(hundred[0], _T("Serial")), 100);
    EXPECT_EQ(hundred[1], _T("Row&Action=Edit&localPathNum=0&"));

    std::vector<CString> const oneMore = RequestsFor(101, _T("Add"));
    ASSERT_EQ(oneMore.size(), 2u);
    EXPECT_GE(oneMore[1].Find(_T("Row&Action=Edit&Path0=")), 0) << "numbers begin anew in each request";
    EXPECT_GE(oneMore[1].Find(_T("&localPathNum=1&")), 0);
}

// Every key of a row, with values that must be encoded or printed in their own way.
TEST(TaskRowText, HoldsEveryFieldInOrder) {
    ScriptedClock const clock(Utc(2024, 5, 15, 12), 3600);
    EngineHome const home;
    CBackupTask task;
    task.m_taskID = -5;
    task.m_pcID = 3000000000u;
    task.m_taskName = _T("a&b");
    task.m_description = _T("d");
    task.m_pcName = _T("pc");
    task.m_type = static_cast<TaskType>(TaskTypeWeekly + TaskTypeEmailFlag);
    task.m_backupDate = CTime(2024, 5, 1, 2, 3, 4);
    task.m_serverFilePath = _T("\\S");
    task.m_logFilePath = _T("C:\\logs\\backup_a.dat");
    task.m_filterExList.AddTail(_T("*.tmp"));
    task.m_filterExList.AddTail(_T("*.bak"));
    task.m_maxVersion = 3;
    task.m_dating = task.m_beginDate = task.m_endDate = task.m_resumeDate = task.m_modifyTime =
        task.m_backupDate;
    task.m_remoteSize = 5000000000;
    task.m_isResume = 1;
    task.m_filterType = _T("2");
    task.m_state = TaskStateFinished;
    task.m_repeatDays = 18;

    CString const date = ApiUtil::EncodeURL(_T("2024-05-01 02:03:04"));
    auto encoded = [](TCHAR const* text) { return ApiUtil::EncodeURL(text); };
    CString const expected = _T("TaskID=") + encoded(_T("-5")) + _T("&ComputerID=") +
                             encoded(_T("-1294967296")) + _T("&TaskName=") + encoded(_T("a&b")) +
                             _T("&Descr=d&PcName=pc&Type=18&BackupDate=") + date + _T("&ServerPath=") +
                             encoded(_T("\\S")) + _T("&LogFilePath=") + encoded(_T("backup_a.dat")) +
                             _T("&FilterExts=") + encoded(_T("|*.tmp|*.bak")) +
                             _T("&FilterPaths=&MaxVersion=3&NextDate=") + date + _T("&BeginDate=") + date +
                             _T("&EndDate=") + date + _T("&ResumeDate=") + date + _T("&ModifyTime=") + date +
                             _T("&RemoteSize=5000000000&IsResume=1&Upgraded=1&FilterType=2&OldTaskName=old&")
                             _T("status=4&AdvancedOption=18&");
    EXPECT_EQ(TaskRow(task, _T("EDIT"), _T("old"), _T("1")), expected);
    EXPECT_GE(TaskRow(task, _T("Add"), _T("old"), _T("1")).Find(_T("&OldTaskName=") + encoded(_T("a&b"))), 0);
}

TEST(ReplyDate, IsReadAsFarAsItGoes) {
    ScriptedClock const clock(Utc(2024, 5, 15), 0);
    EXPECT_EQ(ReadReplyDate(_T("5/1/2024 2:03:04")), CTime(2024, 5, 1, 2, 3, 4));
    EXPECT_EQ(ReadReplyDate(_T("05/01/2024")), CTime(2024, 5, 1, 0, 0, 0));
    EXPECT_EQ(ReadReplyDate(_T("1/1/1900 1:01:01")), CTime(1971, 1, 1, 1, 1, 1));
    for (TCHAR const* const broken : {_T("13/1/2024"), _T("1/32/2024"), _T("1/1/2024 24:00:00"),
                                      _T("1/1/2024 1:60:00"), _T("2024-01-01"), _T("today")}) {
        EXPECT_THROW(ReadReplyDate(broken), CAtlException) << CString(broken).ToUtf8();
    }
}

}  // namespace

}  // namespace rampart::test
