#include <gtest/gtest.h>

#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "paths/global_function.h"
#include "support/service_stand_in.h"
#include "support/temp_home.h"

namespace rampart::test {

namespace {

TEST(PathText, ColonGoesBehindTheDriveLetter) {
    const std::vector<std::pair<LPCTSTR, LPCTSTR>> cases{
        {_T("C\\Data"), _T("C:\\Data")},
        {_T("  C\\Data "), _T("C:\\Data")},
        {_T("\\\\?\\C\\Data"), _T("\\\\?\\C:\\Data")},
        {_T("\\\\?\\C"), _T("\\:\\?\\C")},
    };
    for (const auto& [before, after] : cases) {
        CString path = before;
        GlobalFunction::AddColonToPath(path);
        EXPECT_EQ(path, after);
    }
    CString empty;
    GlobalFunction::AddColonToPath(empty);
    EXPECT_LE(empty.GetLength(), 1);
}

TEST(PathText, SlashesBecomeBackslashes) {
    EXPECT_EQ(GlobalFunction::ConverMacPathToWINPath(_T("/a//b/")), _T("\\a\\b"));
    EXPECT_EQ(GlobalFunction::ConverMacPathToWINPath(_T("/")), _T("\\"));
    EXPECT_EQ(GlobalFunction::ConverMacPathToWINPath(CString()), CString());
    EXPECT_EQ(GlobalFunction::IsWINOSBackupType(_T("/a")), 0);
    EXPECT_EQ(GlobalFunction::IsWINOSBackupType(_T("C:\\a")), 1);
    EXPECT_EQ(GlobalFunction::IsWINOSBackupType(CString()), 1);
}

TEST(PathText, EncryptionFolderIsKnownWithoutRegardToCase) {
    CString folder = DictUtil::GetValue(_T("IDS_STRENCRYFOLDER"), CString());
    ASSERT_FALSE(folder.IsEmpty());
    EXPECT_EQ(GlobalFunction::IsEncryptionPath(folder.MakeUpper() + _T("a.txt")), 1);
    EXPECT_EQ(GlobalFunction::IsEncryptionPath(_T("\\Plain\\a.txt")), 0);
}

TEST(PathText, SortingKeepsTheOrderOfEqualTexts) {
    CStringList list;
    for (LPCTSTR text : {_T("b"), _T("A"), _T("a"), _T("B"), _T("c")}) {
        list.AddTail(text);
    }
    const auto texts = [&] { return std::vector<CString>(list.begin(), list.end()); };
    GlobalFunction::SortStringList(list, 1);
    EXPECT_EQ(texts(), (std::vector<CString>{_T("A"), _T("a"), _T("b"), _T("B"), _T("c")}));
    GlobalFunction::SortStringList(list, 0);
    EXPECT_EQ(texts(), (std::vector<CString>{_T("c"), _T("b"), _T("B"), _T("A"), _T("a")}));
}

TEST(UserSettings, FlagsAndTextsComeBack) {
    TempHome home;
    unsigned long value = 17;
    EXPECT_EQ(GlobalFunction::LoadFlag(_T("DelaySecs"), value), 0);
    EXPECT_EQ(value, 17U);
    EXPECT_NE(GlobalFunction::SaveFlag(_T("DelaySecs"), 4294967295UL), 0);
    EXPECT_EQ(GlobalFunction::LoadFlag(_T("DelaySecs"), value), 1);
    EXPECT_EQ(value, 4294967295UL);
    CString text;
    EXPECT_EQ(GlobalFunction::LoadStringFromRegstry(_T("LogEmailAdd"), text), 0);
    EXPECT_NE(GlobalFunction::SaveStringToRegstry(_T("LogEmailAdd"), _T("me@example.org")), 0);
    EXPECT_EQ(GlobalFunction::LoadStringFromRegstry(_T("LogEmailAdd"), text), 1);
    EXPECT_EQ(text, _T("me@example.org"));
}

class ServerFolders : public testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        Service().createdFolders.clear();
        Service().missingFolders.clear();
        Service().userType.Empty();
        theVaultLibApp.m_isKPBranding = 0;
    }
    static CString Text(LPCTSTR key) { return DictUtil::GetValue(key, CString()); }
};

TEST_F(ServerFolders, AreMadeLevelByLevel) {
    const CString root = _T("\\") + Text(_T("IDS_STRQUILFOLDER"));
    const CString application = root + _T("\\") + Text(_T("ServerStoreTaskPath"));
    EXPECT_EQ(GlobalFunction::GetSvrAppFolder(_T("Info"), _T("note")), application + _T("\\Info"));
    EXPECT_EQ(Service().createdFolders,
              (std::vector<CString>{root, application, application + _T("\\Info")}));

    Service().missingFolders = {application};
    EXPECT_EQ(GlobalFunction::GetSvrAppFolder(_T("Info"), _T("note")), CString());
}

TEST_F(ServerFolders, DependOnUserAndEdition) {
    Service().userType = _T("A");
    const CString administrator = _T("\\") + Text(_T("IDS_STRADMINROOTFOLDER")) + _T("\\");
    EXPECT_EQ(GlobalFunction::GetSvrAppFolder(_T("Info"), _T("")).Left(administrator.GetLength()),
              administrator);
    theVaultLibApp.m_isKPBranding = 1;
    EXPECT_EQ(GlobalFunction::GetSvrAppFolder(_T("Info"), _T("")),
              _T("\\") + Text(_T("IDS_STRAPPFOLDER")) + _T("\\Info"));
}

}  // namespace

}  // namespace rampart::test
