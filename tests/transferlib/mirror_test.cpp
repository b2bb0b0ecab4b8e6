#include <thread>

#include "support/scripted_clock.h"
#include "transferlib/vault_fixture.h"

namespace rampart::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

class Mirror : public VaultTest {
protected:
    // Another process makes an empty file.
    static void StoreEmpty(StorageService& other, const std::string& folder, const std::string& name) {
        FileCommit file;
        file.folder = folder;
        file.name = name;
        file.modifiedTime = file.createdTime = 1'700'000'000'000'000'000;
        std::vector<int64_t> ids;
        EXPECT_TRUE(other.CommitFiles({&file, 1}, ids).Ok());
    }
    static bool FindFile(LPCTSTR path, CString* inexactPath = nullptr) {
        CServerPathList::Facts facts;
        const int code = ApiUtil::GetServerPathlist().FindFacts(path, facts);
        if (inexactPath != nullptr) {
            *inexactPath = facts.inexactPath;
        }
        return code == 0;
    }
};

TEST_F(Mirror, OwnUploadsReloadNoFolder) {
    ASSERT_TRUE(MakeFolder(_T("\\docs")));
    ASSERT_TRUE(MakeFolder(_T("\\docs\\sub")));
    files.Write("a.txt", "content");
    EXPECT_FALSE(FindFile(_T("\\docs\\sub\\a.txt")));
    service->ForgetCalls();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Upload("a.txt", _T("\\docs\\sub")), 0);
        EXPECT_TRUE(FindFile(_T("\\docs\\sub\\a.txt")));
        EXPECT_FALSE(FindFile(_T("\\docs\\sub\\a.txt.part")));
    }
    EXPECT_EQ(service->Calls("ListFolder"), 0);
    EXPECT_EQ(service->Calls("ChangedFolders"), 0);
    EXPECT_THAT(Listing(_T("\\docs\\sub")), ElementsAre(Pair("a.txt", 7)));
}

TEST_F(Mirror, ChangesOfAnotherProcessShowWithinASecond) {
    ScriptedClock clock(1'700'000'000);
    const auto other = OpenAgain();
    int64_t id = 0;
    ASSERT_TRUE(other->CreateFolder("\\docs", "", 0, id).Ok());
    StoreEmpty(*other, "\\docs", "a");
    clock.Advance(2);
    EXPECT_TRUE(FindFile(_T("\\docs\\a")));
    StoreEmpty(*other, "\\docs", "b");
    clock.Advance(2);
    EXPECT_TRUE(FindFile(_T("\\docs\\b")));
    ASSERT_TRUE(other->Rename("\\docs", "papers").Ok());
    ASSERT_TRUE(other->CreateFolder("\\docs", "", 0, id).Ok());
    clock.Advance(2);
    EXPECT_TRUE(FindFile(_T("\\papers\\b")));
    EXPECT_FALSE(FindFile(_T("\\docs\\b"))) << "another folder has the name now";
    const std::vector<std::string> gone{"\\papers"};
    ASSERT_TRUE(other->Delete(gone, {}).Ok());
    EXPECT_EQ(ApiUtil::GetServerPathlist().RefreshFolder(_T("\\"), 1, 1), 0);
    EXPECT_FALSE(FindFile(_T("\\papers\\b")));
    EXPECT_EQ(ApiUtil::GetServerPathlist().RefreshFolder(_T("\\papers"), 1, 1), kNotFound);
}

TEST_F(Mirror, AnOwnChangeBesideOneOfAnotherProcessLosesNeither) {
    ScriptedClock clock(1'700'000'000);
    const auto other = OpenAgain();
    ASSERT_TRUE(MakeFolder(_T("\\docs")));
    EXPECT_FALSE(FindFile(_T("\\docs\\a")));
    files.Write("own", "x");
    StoreEmpty(*other, "\\docs", "foreign");
    ASSERT_EQ(Upload("own", _T("\\docs")), 0);
    StoreEmpty(*other, "\\", "beside");
    clock.Advance(2);
    EXPECT_THAT(Listing(_T("\\docs")), ElementsAre(Pair("foreign", 0), Pair("own", 1)));
    EXPECT_TRUE(FindFile(_T("\\beside")));
}

TEST_F(Mirror, AFileThatCommitsWhileItsFolderIsReadIsNotLost) {
    ASSERT_TRUE(MakeFolder(_T("\\docs")));
    ASSERT_TRUE(MakeFolder(_T("\\docs\\sub")));
    SetStorageService(service);  // nothing is loaded
    files.Write("a", "x");
    bool once = false;
    service->Before("ListFolder", [&] {
        if (!std::exchange(once, true)) {
            // Its own lookups read the folders too, and its change comes in between.
            std::thread([&] { EXPECT_EQ(Upload("a", _T("\\docs\\sub")), 0); }).join();
        }
    });
    EXPECT_TRUE(FindFile(_T("\\docs\\sub\\a")));
    EXPECT_TRUE(Exists(_T("\\docs\\sub\\a")));
}

TEST_F(Mirror, NamesThatDifferInCaseAreFoundEachByItsOwn) {
    ASSERT_TRUE(MakeFolder(_T("\\Docs")));
    files.Write("lower/name.txt", "1");
    files.Write("upper/NAME.txt", "22");
    ASSERT_EQ(Upload("lower/name.txt", _T("\\Docs")), 0);
    CString own;
    EXPECT_TRUE(FindFile(_T("\\docs\\NAME.TXT"), &own));
    EXPECT_EQ(own.ToUtf8(), "\\Docs\\name.txt");
    ASSERT_EQ(Upload("upper/NAME.txt", _T("\\docs")), 0) << "into the folder that is there";
    EXPECT_THAT(Listing(_T("\\Docs")), ElementsAre(Pair("NAME.txt", 2), Pair("name.txt", 1)));
    EXPECT_TRUE(FindFile(_T("\\Docs\\NAME.txt"), &own));
    EXPECT_TRUE(own.IsEmpty());
    EXPECT_TRUE(FindFile(_T("\\Docs\\name.txt"), &own));
    EXPECT_TRUE(own.IsEmpty());
    EXPECT_TRUE(FindFile(_T("\\\\Docs\\name.txt"), &own)) << "doubled backslashes are no other name";
    EXPECT_TRUE(own.IsEmpty());
    ASSERT_TRUE(MakeFolder(_T("\\docs")));
    EXPECT_FALSE(FindFile(_T("\\docs\\name.txt"))) << "the exact folder comes first";
}

TEST_F(Mirror, AFolderTellsItsEntriesAndAllBytesBelow) {
    ASSERT_TRUE(MakeFolder(_T("\\docs")));
    ASSERT_TRUE(MakeFolder(_T("\\docs\\sub")));
    files.Write("a", "12345");
    files.Write("b", "123");
    ASSERT_EQ(Upload("a", _T("\\docs")), 0);
    ASSERT_EQ(Upload("b", _T("\\docs\\sub")), 0);
    const auto sizeOf = [](LPCTSTR path) {
        const CAutoMyPathInfo info(ApiUtil::GetPathInfoEx(path, 0, 0));
        return std::pair(info->m_size, info->m_subItemCount);
    };
    EXPECT_EQ(sizeOf(_T("\\docs")), std::pair(8ll, 2));
    service->ForgetCalls();
    files.Write("b", "1234567");
    ASSERT_EQ(Upload("b", _T("\\docs\\sub")), 0);
    EXPECT_EQ(sizeOf(_T("\\docs")), std::pair(12ll, 2));
    ASSERT_EQ(ApiUtil::DeleteFileW(_T("\\docs\\a")), 0);
    EXPECT_EQ(sizeOf(_T("\\docs")), std::pair(7ll, 1));
    ASSERT_EQ(ApiUtil::DeleteFileW(_T("\\docs\\sub")), 0);
    EXPECT_EQ(sizeOf(_T("\\docs")), std::pair(0ll, 0));
    EXPECT_EQ(service->Calls("ListTree"), 0) << "the sum is kept, not taken again";
    const auto other = OpenAgain();
    int64_t id = 0;
    ASSERT_TRUE(other->CreateFolder("\\docs\\new", "", 0, id).Ok());
    EXPECT_EQ(ApiUtil::GetServerPathlist().RefreshFolder(_T("\\docs"), 1, 1), 0);
    EXPECT_EQ(sizeOf(_T("\\docs")), std::pair(0ll, 1));
    EXPECT_EQ(service->Calls("ListTree"), 1);
    EXPECT_EQ(sizeOf(_T("\\")).second, 1);
    EXPECT_EQ(ApiUtil::GetPathInfoEx(_T("\\nothing"), 0, 0), nullptr);
}

TEST_F(Mirror, EditsShowAtOnceWithoutAReload) {
    ASSERT_TRUE(MakeFolder(_T("\\docs")));
    ASSERT_TRUE(MakeFolder(_T("\\old")));
    files.Write("a", "12345");
    ASSERT_EQ(Upload("a", _T("\\docs")), 0);
    EXPECT_FALSE(Exists(_T("\\old\\a")));
    service->ForgetCalls();
    const CAutoMyPathInfo source(ApiUtil::GetPathInfoEx(_T("\\docs\\a"), 0, 0));
    ASSERT_EQ(ApiUtil::CopyServerPath(*source, 1, _T("\\old"), 1), 0);
    ASSERT_EQ(ApiUtil::EditFile(_T("\\old\\a"), _T("a1"), _T(""), _T(""), message), 0);
    EXPECT_THAT(Listing(_T("\\old")), ElementsAre(Pair("a1", 5)));
    const CAutoMyPathInfo copy(ApiUtil::GetPathInfoEx(_T("\\old\\a1"), 0, 0));
    EXPECT_EQ(copy->m_storedTime, source->m_storedTime);
    ASSERT_EQ(ApiUtil::EditFolder(_T("\\old"), _T("older"), _T("a note"), _T("")), 0);
    EXPECT_TRUE(Exists(_T("\\older\\a1")));
    EXPECT_FALSE(Exists(_T("\\old\\a1")));
    const CAutoMyPathInfo folder(ApiUtil::GetPathInfoEx(_T("\\older"), 0, 0));
    EXPECT_EQ(folder->m_description.ToUtf8(), "a note");
    EXPECT_EQ(service->Calls("ListFolder"), 0);
    EXPECT_EQ(ApiUtil::EditFile(_T("\\docs\\a"), _T("A"), _T(""), _T(""), message), 0);
    EXPECT_EQ(ApiUtil::EditFile(_T("\\docs"), _T("older"), _T(""), _T(""), message), kNameTaken);
    EXPECT_FALSE(message.IsEmpty());
    const __int64 id = ApiUtil::AddEditFolder(_T("\\docs"), _T(""), _T(""), _T("Y"));
    EXPECT_EQ(ApiUtil::AddEditFolder(_T("\\docs"), _T(""), _T(""), _T("Y")), id);
    EXPECT_EQ(ApiUtil::AddEditFolder(_T("\\none\\sub"), _T(""), _T(""), _T("Y")), kNotFound);
    ASSERT_EQ(ApiUtil::CopyServerPath(*CAutoMyPathInfo(ApiUtil::GetPathInfoEx(_T("\\older"), 0, 0)), 1,
                                      _T("\\docs"), 1),
              0);
    EXPECT_EQ(Listing(_T("\\docs"), 1).size(), 3u);
}

TEST_F(Mirror, AServiceOutOfReachEndsTheScanInsteadOfHidingFiles) {
    ScriptedClock clock(1'700'000'000);
    ASSERT_TRUE(MakeFolder(_T("\\docs")));
    files.Write("a", "12345");
    ASSERT_EQ(Upload("a", _T("\\docs")), 0);
    SetStorageService(service);
    service->Answer("ListFolder", kConnectionFailed, 2);
    EXPECT_TRUE(FindFile(_T("\\docs\\a"))) << "a short failure is passed over";
    SetStorageService(service);
    service->Answer("ListFolder", kConnectionFailed, 100);
    EXPECT_FALSE(FindFile(_T("\\docs\\a")));
    EXPECT_EQ(ApiUtil::GetManageLogonStatus().GetLogOnStatus(), LogonStatusOff);
    service->ForgetCalls();
    CServerPathList::Facts facts;
    EXPECT_EQ(ApiUtil::GetServerPathlist().FindFacts(_T("\\docs\\b"), facts), kConnectionFailed);
    EXPECT_EQ(service->Calls("ListFolder"), 1) << "no more waits for what is out of reach";
    service->Answer("ListFolder", 0, 0);
    EXPECT_EQ(ApiUtil::AutoConnect(nullptr, 1), 1);
    EXPECT_EQ(ApiUtil::GetManageLogonStatus().GetLogOnStatus(), LogonStatusOn);
    EXPECT_TRUE(FindFile(_T("\\docs\\a")));
    SetStorageService(service);
    service->Throw("ListFolder");
    EXPECT_FALSE(FindFile(_T("\\docs\\a")));
    EXPECT_TRUE(FindFile(_T("\\docs\\a")));
}

TEST_F(Mirror, AFileThatTakesTheNameOfAFolderLeavesNothingOfIt) {
    ScriptedClock clock(1'700'000'000);
    ASSERT_TRUE(MakeFolder(_T("\\docs")));
    ASSERT_TRUE(MakeFolder(_T("\\docs\\x")));
    files.Write("x", "12345");
    ASSERT_EQ(Upload("x", _T("\\docs\\x")), 0);
    EXPECT_TRUE(FindFile(_T("\\docs\\x\\x"))) << "and remembered by this thread";
    EXPECT_EQ(CAutoMyPathInfo(ApiUtil::GetPathInfoEx(_T("\\docs"), 0, 0))->m_size, 5);
    const auto other = OpenAgain();
    const std::string folder = "\\docs\\x";
    ASSERT_TRUE(other->Delete({&folder, 1}, [](size_t) { return true; }).Ok());
    ASSERT_EQ(Upload("x", _T("\\docs")), 0) << "before this process has asked for changes";
    EXPECT_FALSE(FindFile(_T("\\docs\\x\\x")));
    CServerPathList::Facts facts;
    EXPECT_EQ(ApiUtil::GetServerPathlist().FindFacts(_T("\\docs\\x"), facts), 0);
    EXPECT_FALSE(facts.isFolder);
    clock.Advance(2);
    EXPECT_EQ(CAutoMyPathInfo(ApiUtil::GetPathInfoEx(_T("\\docs"), 0, 0))->m_size, 5);
}

TEST_F(Mirror, ADeletionInAnotherCaseIsSeenAtOnce) {
    ASSERT_TRUE(MakeFolder(_T("\\Docs")));
    files.Write("a", "12345");
    ASSERT_EQ(Upload("a", _T("\\Docs")), 0);
    EXPECT_TRUE(FindFile(_T("\\Docs\\a")));
    CStringList list(10);
    list.AddTail(_T("\\docs\\a"));
    EXPECT_EQ(ApiUtil::DeletePaths(list), 0);
    EXPECT_FALSE(FindFile(_T("\\Docs\\a")));
}

TEST_F(Mirror, ManyThreadsFindWhatOthersStore) {
    constexpr int kThreads = 4, kFiles = 40;
    ASSERT_TRUE(MakeFolder(_T("\\docs")));
    files.Write("x", "content");
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kFiles; ++i) {
                CString folder;
                folder.Format(_T("\\docs\\%d-%d"), t, i % 5);
                if (!Exists(folder)) {
                    EXPECT_TRUE(MakeFolder(folder));
                }
                EXPECT_EQ(Upload("x", folder), 0);
                EXPECT_TRUE(FindFile(folder + _T("\\x")));
                EXPECT_FALSE(FindFile(folder + _T("\\y")));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Listing(_T("\\docs"), 1).size(), kThreads * 5 * 2u);
}

}  // namespace
}  // namespace rampart::test
