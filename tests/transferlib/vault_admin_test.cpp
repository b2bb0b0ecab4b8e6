#include "interfaces/vault_admin.h"

#include "transferlib/vault_fixture.h"

namespace rampart::test {
namespace {

using testing::ElementsAre;

class VaultAdminTest : public testing::Test {
protected:
    ~VaultAdminTest() override { VaultAdmin::Close(); }

    void Store(const std::string& name, const std::string& content, LPCTSTR folder) {
        home.Write(name, content);
        EXPECT_EQ(ApiUtil::UploadFile(CString(TextView(home.Engine(name))), folder, _T(""), _T(""), message,
                                      nullptr, 0, 1, 1, 0, 0),
                  0)
            << message.ToUtf8();
    }

    TempHome home;
    CString message;
};

TEST_F(VaultAdminTest, TheVaultInTheUsersDataIsMadeOnFirstUse) {
    EXPECT_TRUE(VaultAdmin::Location().IsEmpty());
    EXPECT_FALSE(ApiUtil::GetSessionID().IsEmpty());
    EXPECT_EQ(ApiUtil::GetManageLogonStatus().GetLogOnStatus(), LogonStatusOn);
    EXPECT_EQ(VaultAdmin::Location(), VaultAdmin::LocationOf(_T("")));
    Store("a", "x", _T("\\"));
    VaultAdmin::Close();
    EXPECT_TRUE(ApiUtil::GetServerPathlist().IsPathExistEx(_T("\\a"), 0, 0));
}

TEST_F(VaultAdminTest, AVaultThatWasNamedIsMadeOnlyWhenAsked) {
    const CString url = Text16("vault://" + home.Native("my%20vault"));
    EXPECT_EQ(VaultAdmin::Open(url, false, message), kVaultMissing);
    EXPECT_FALSE(message.IsEmpty());
    EXPECT_EQ(VaultAdmin::Open(url, true, message), 0) << message.ToUtf8();
    EXPECT_TRUE(home.Exists("my vault/catalog.db"));
    EXPECT_EQ(VaultAdmin::Location().ToUtf8(), home.Native("my vault"));
    EXPECT_EQ(VaultAdmin::Create(url, message), kNameTaken);
    EXPECT_EQ(VaultAdmin::Open(Text16(home.Native("my vault")), false, message), 0);
    EXPECT_EQ(VaultAdmin::Open(_T("https://host"), true, message), kInvalidRequest);
    EXPECT_EQ(VaultAdmin::Location().ToUtf8(), home.Native("my vault")) << "a failure changes no connection";
}

TEST_F(VaultAdminTest, AConfiguredVaultThatIsAwayIsNotMade) {
    ASSERT_NE(DictUtil::SetConfigString(_T("Service"), _T("Url"), Text16(home.Native("away"))), 0);
    EXPECT_TRUE(ApiUtil::GetSessionID().IsEmpty());
    EXPECT_EQ(ApiUtil::GetManageLogonStatus().GetLogOnStatus(), LogonStatusOff);
    EXPECT_EQ(ApiUtil::DetectConnect(0), 0);
    EXPECT_FALSE(home.Exists("away"));
}

TEST_F(VaultAdminTest, StoredFilesAreFoundListedAndRestored) {
    ASSERT_EQ(VaultAdmin::Open(Text16(home.Native("v")), true, message), 0);
    ASSERT_GT(ApiUtil::AddEditFolder(_T("\\docs"), _T(""), _T(""), _T("Y")), 2000);
    ASSERT_GT(ApiUtil::AddEditFolder(_T("\\docs\\sub"), _T(""), _T(""), _T("Y")), 2000);
    Store("b", Noise(3'000'000, 1), _T("\\docs"));
    home.SetWriteTime("b", 1'600'000'000'000'000'500);
    Store("b", home.Read("b"), _T("\\docs\\sub"));
    std::vector<std::string> paths;
    const auto visit = [&](const VaultEntry& entry) {
        paths.push_back(entry.path.ToUtf8());
        VaultEntry found;
        EXPECT_EQ(VaultAdmin::Find(entry.path, found, message), 0) << "the library may be called from here";
        EXPECT_EQ(found.size, entry.size);
        return true;
    };
    EXPECT_EQ(VaultAdmin::List(_T("\\"), true, visit, message), 0);
    EXPECT_THAT(paths, ElementsAre("\\docs", "\\docs\\b", "\\docs\\sub", "\\docs\\sub\\b"));
    paths.clear();
    EXPECT_EQ(VaultAdmin::List(_T("\\docs"), false, visit, message), 0);
    EXPECT_THAT(paths, ElementsAre("\\docs\\b", "\\docs\\sub"));
    EXPECT_EQ(VaultAdmin::List(_T("\\none"), true, visit, message), kNotFound);
    VaultEntry entry;
    EXPECT_EQ(VaultAdmin::Find(_T("\\none"), entry, message), kNotFound);

    const CString target(TextView(home.Engine("new folder/back")));
    EXPECT_EQ(VaultAdmin::Restore(_T("\\docs\\b"), target, false, {}, message), 0) << message.ToUtf8();
    EXPECT_TRUE(home.Read("new folder/back") == home.Read("b"));
    EXPECT_TRUE(VaultAdmin::SameContent(_T("\\docs\\b"), target));
    EXPECT_EQ(VaultAdmin::Restore(_T("\\docs\\b"), target, false, {}, message), kNameTaken);
    EXPECT_EQ(VaultAdmin::Restore(
                  _T("\\docs\\b"), target, true, [](__int64) { return false; }, message),
              kCancelled);
    home.Write("new folder/back", Noise(3'000'000, 2));
    EXPECT_FALSE(VaultAdmin::SameContent(_T("\\docs\\b"), target));
    home.Write("new folder/back", "short");
    EXPECT_FALSE(VaultAdmin::SameContent(_T("\\docs\\b"), target));
    EXPECT_EQ(VaultAdmin::Restore(_T("\\docs\\b"), target, true, {}, message), 0);
    EXPECT_TRUE(home.Read("new folder/back") == home.Read("b"));
}

TEST_F(VaultAdminTest, WhatWasTransferredIsCountedAndTheVaultIsSound) {
    ASSERT_EQ(VaultAdmin::Open(Text16(home.Native("v")), true, message), 0);
    Store("a", Noise(100'000, 1), _T("\\"));
    Store("b", home.Read("a"), _T("\\"));
    TransferTotals totals;
    VaultAdmin::Transferred(totals);
    EXPECT_EQ(totals.files, 2);
    EXPECT_EQ(totals.bytes, 200'000);
    EXPECT_EQ(totals.storedBytes, 100'000);
    VaultStatistics statistics;
    EXPECT_EQ(VaultAdmin::Statistics(statistics, message), 0);
    EXPECT_EQ(statistics.files, 2);
    EXPECT_EQ(statistics.chunkBytes, 100'000);
    VaultCheck check;
    EXPECT_EQ(VaultAdmin::Verify(true, {}, check, message), 0) << message.ToUtf8();
    EXPECT_EQ(check.problemCount, 0);
    EXPECT_GE(check.bytesRead, 100'000);
    EXPECT_EQ(VaultAdmin::Verify(
                  true, [](__int64, __int64) { return false; }, check, message),
              kCancelled);
}

}  // namespace
}  // namespace rampart::test
