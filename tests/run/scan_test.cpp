// What a scan finds, in which order, and how much it says it is.
#include <filesystem>

#include "run/scan_filter.h"
#include "storage/account_settings.h"
#include "storage/embedded_service.h"
#include "support/engine_home.h"
#include "transferlib/service_connection.h"

namespace rampart::test {

namespace {

class Scan : public EngineTest {
protected:
    // Scans the task's sources as a run does, without sending anything.
    void ScanTask(CBackupTask& task) {
        list.RemoveAll();
        need = total = result = 0;
        ManageMultipleRunningTask::GetInstance()->AddWoringTaskToVector(&task);
        EXPECT_EQ(1, task.CalculateBackupFilesSize(need, total, list, result));
        ManageMultipleRunningTask::GetInstance()->RemoveWorkingTaskFromVector(&task);
    }

    // From now on; the process gets a new connection.
    void SetAccountLimit(char const* name, int value) {
        std::unique_ptr<EmbeddedService> service;
        ASSERT_TRUE(EmbeddedService::Open(home.Native("vault"), {}, service).Ok());
        ASSERT_TRUE(service->SetSetting(name, std::to_string(value)).Ok());
        SetStorageService(std::move(service));
    }

    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
            CString const path = list.GetNext(position);
            names.push_back(path.Mid(path.ReverseFind(_T('\\')) + 1).ToUtf8());
        }
        return names;
    }

    CStringList list;
    __int64 need = 0;
    __int64 total = 0;
    __int64 result = 0;
};

constexpr int64_t kTime = 1700000000 * platform::kNanosecondsPerSecond;

}  // namespace

TEST_F(Scan, BigFilesComeFirstLastFoundFirstAndANewFolderBeforeItsSmallFiles) {
    size_t const batch = static_cast<size_t>(ApiUtil::GetBatchTotalSize(0));
    TempTree const tree({{"d/small", "s"}});
    // Two big files in one folder: found in either order, they stand in the reverse of it, in front of all
    // else.
    tree.Write("d/big1", std::string(batch, 'x'));
    tree.Write("d/big2", std::string(batch + 5, 'x'));
    CBackupTask& task = MakeTask("t", {tree.Native("d")});

    ScanTask(task);

    std::vector<std::string> const names = Names();
    ASSERT_EQ(4u, names.size());
    EXPECT_TRUE(names[0].starts_with("big") && names[1].starts_with("big") && names[0] != names[1]);
    EXPECT_EQ("d", names[2]);
    EXPECT_EQ("small", names[3]);
    __int64 const bytes = static_cast<__int64>(2 * batch + 5 + 1);
    EXPECT_EQ(bytes, need);
    EXPECT_EQ(bytes, total);
    EXPECT_EQ(3, task.m_reportAddedCount);
    EXPECT_EQ(3, task.m_reportTotalCount);
    EXPECT_EQ(0, task.m_reportChangedCount);
}

TEST_F(Scan, WhatWasLookedAtIsCountedOverAllSources) {
    TempTree const tree({{"a/1", "x"}, {"a/2", "x"}, {"b/3", "x"}, {"file", "x"}});
    CBackupTask& task = MakeTask("t", {tree.Native("a"), tree.Native("file"), tree.Native("b")});
    ScanTask(task);
    EXPECT_EQ(4, task.m_reportTotalCount);
    EXPECT_EQ(4, task.m_reportAddedCount);
}

TEST_F(Scan, AnEmptySourceStillGivesTheBarABase) {
    TempTree const tree({{"d/", ""}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ScanTask(task);
    EXPECT_EQ(std::vector<std::string>{"d"}, Names());
    EXPECT_EQ(0, need);
    EXPECT_EQ(1024, total);
}

TEST_F(Scan, ComparesTimesWithinTwoSecondsOrAnHourAndSizesExactly) {
    TempTree const tree({{"d/f", "12345"}});
    tree.SetWriteTime("d/f", kTime);
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    ForgetExactTimes(task.m_serverFilePath + _T("\\d\\f"));
    struct Case {
        int64_t shift;
        bool listed;
    };
    for (Case const& c : std::initializer_list<Case>{{0, false},
                                                     {2, false},
                                                     {-2, false},
                                                     {3, true},
                                                     {3600, false},
                                                     {3602, false},
                                                     {-3598, false},
                                                     {3604, true}}) {
        tree.SetWriteTime("d/f", kTime + c.shift * platform::kNanosecondsPerSecond);
        ScanTask(task);
        EXPECT_EQ(c.listed, !list.IsEmpty()) << c.shift;
    }
    tree.Write("d/f", "123456");
    tree.SetWriteTime("d/f", kTime);
    ScanTask(task);
    EXPECT_EQ(1, task.m_reportChangedCount);
    EXPECT_EQ(6, need);
}

TEST_F(Scan, ThreeSecondsAreAChangeHereAndNoneBeforeTheTransfer) {
    TempTree const tree({{"d/f", "12345"}});
    tree.SetWriteTime("d/f", kTime);
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    ForgetExactTimes(task.m_serverFilePath + _T("\\d\\f"));
    __int64 const before = FilesSent();
    tree.SetWriteTime("d/f", kTime + 3 * platform::kNanosecondsPerSecond);
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(1, task.m_reportChangedCount);
    EXPECT_EQ(before, FilesSent());
}

TEST_F(Scan, APartialUploadLessensWhatIsNeededNotWhatIsSent) {
    TempTree const tree({{"d/f", std::string(1000, 'f')}, {"d/other", "o"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    // A new file whose beginning lies on the server as a file of that name with ".part".
    TempTree const local({{"g.part", std::string(300, 'g')}});
    CString message;
    ASSERT_EQ(0, ApiUtil::UploadFile(CString(local.Engine("g.part")), task.m_serverFilePath + _T("\\d"),
                                     _T(""), _T(""), message, nullptr, 0, 1, 1, 0, 0));
    tree.Write("d/g", std::string(1000, 'g'));
    task.m_remoteSize = 5000;
    ScanTask(task);
    EXPECT_EQ(700, need);
    EXPECT_EQ(1000, total);
    EXPECT_EQ(4700, task.m_remoteSize);
}

TEST_F(Scan, WhatALostSessionLeavesUnseenIsNamed) {
    TempTree const tree({{"d/f", "12345"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ApiUtil::GetManageLogonStatus().SetLogOnStatus(LogonStatusOff);
    ScanTask(task);
    ApiUtil::GetManageLogonStatus().SetLogOnStatus(LogonStatusOn);
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_TRUE(skipped.contains(tree.Native("d")));
}

TEST_F(Scan, ThumbsAndNamedFilesAsSources) {
    TempTree const tree({{"Thumbs.db", "t"}, {"plain", "p"}});
    CBackupTask& task = MakeTask("t", {tree.Native("Thumbs.db"), tree.Native("plain")});
    ScanTask(task);
    EXPECT_EQ(std::vector<std::string>{"plain"}, Names());
}

TEST_F(Scan, TheCheckOfOneFileReadsOnlyThePathList) {
    CBackupTask& task = MakeTask("t", {home.Native()});
    CStringList none;
    CStringList names;
    names.AddTail(_T("*.txt"));
    CStringList folders;
    folders.AddTail(_T("photos"));
    CPathManage::RestoreUIFilterToVector(names);
    CPathManage::RestoreUIFiltedPathToVector(folders);
    CString const text = _T("C:\\d\\a.txt");
    CString const photo = _T("C:\\d\\photos\\p.jpg");
    // Two empty lists leave every file out here, and take every file in the scan.
    EXPECT_NE(0, task.CheckFileFilter(text, &none, &none, _T("1")));
    EXPECT_TRUE(ScanFilter(_T("1"), &none, &none, true).TakesFile(text));
    // Names only: judged with the empty path list, so left out; the scan takes it.
    EXPECT_NE(0, task.CheckFileFilter(text, &names, &none, _T("1")));
    EXPECT_TRUE(ScanFilter(_T("1"), &names, &none, true).TakesFile(text));
    EXPECT_EQ(0, task.CheckFileFilter(photo, &none, &folders, _T("1")));
    EXPECT_NE(0, task.CheckFileFilter(text, &none, &folders, _T("1")));
    EXPECT_EQ(0, task.CheckFileFilter(photo, &names, &folders, _T("1")));
    EXPECT_EQ(0, task.CheckFileFilter(text, &names, &folders, _T("1")));
    EXPECT_NE(0, task.CheckFileFilter(_T("C:\\d\\x.bin"), &names, &folders, _T("1")));
    EXPECT_EQ(0, task.CheckFileFilter(_T("C:\\d\\x.bin"), &none, &none, _T("2")));
}

TEST_F(Scan, MeasuringStopsAtAFolderWithTooManyItemsAndAsksOnce) {
    TempFolder const tree;
    for (int i = 0; i < 19; ++i) {
        tree.Write("d/f" + std::to_string(i), "12345");
    }
    tree.Write("d/named.txt", "12345");
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    EXPECT_EQ(1, manager->StartScanTask(&task));
    EXPECT_EQ(100, task.m_scanNeedSize);
    EXPECT_EQ(20, task.m_scanFoundCount);
    EXPECT_TRUE(task.m_scanPathList.IsEmpty());
    SCANFILESINFO info;
    manager->GetScanTaskInfo(info);
    EXPECT_EQ(_T("20"), info.m_count);
    EXPECT_EQ(0, manager->StartScanTask(nullptr));

    task.m_filterType = _T("1");
    task.m_filterExList.AddTail(_T("*.txt"));
    CPathManage::RestoreUIFilterToVector(task.m_filterExList);
    EXPECT_EQ(1, manager->StartScanTask(&task));
    EXPECT_EQ(1, task.m_scanFoundCount);
    EXPECT_EQ(5, task.m_scanNeedSize);
    task.m_filterType = _T("2");

    SetAccountLimit(account_setting::kMaxItemsOfTask.name, 19);
    EXPECT_EQ(0, manager->StartScanTask(&task));
    EXPECT_EQ(1u, messages.size());
    CString folder;
    int passed = 1;
    task.GetLimitUploadInfo(folder, passed);
    EXPECT_EQ(0, passed);
    EXPECT_EQ(Engine(tree.Native("d")), folder);
    SetAccountLimit(account_setting::kMaxItemsOfTask.name, 20);
    EXPECT_EQ(1, manager->StartScanTask(&task));
}

}  // namespace rampart::test
