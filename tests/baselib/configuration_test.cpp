#include <gtest/gtest.h>

#include <thread>

#include "interfaces/baselib.h"
#include "platform/settings.h"
#include "platform/volumes.h"
#include "support/child_process.h"
#include "support/scripted_clock.h"
#include "support/temp_home.h"

namespace rampart {
namespace {

int Int(LPCTSTR section, CString const& key, LPCTSTR otherwise = _T("")) {
    return DictUtil::GetConfigInt(section, key, otherwise, _T(""));
}

CString String(LPCTSTR section, LPCTSTR key, LPCTSTR otherwise = _T("")) {
    return DictUtil::GetConfigString(section, key, otherwise, _T(""));
}

class Configuration : public testing::Test {
protected:
    Configuration() { DictUtil::Refresh(); }

    void WriteUserFile(std::string_view text) {
        m_home.Write("config/rampart.ini", text);
        DictUtil::Refresh();
    }

    test::TempHome m_home;
};

TEST_F(Configuration, ShippedValuesHoldWithoutAnyFile) {
    EXPECT_EQ(Int(_T("Function"), _T("MultipleThreadCount")), 4);
    EXPECT_EQ(Int(_T("Options"), _T("MinFreeDiskSpace"), _T("1")), 3072);
    EXPECT_EQ(String(_T("Service"), _T("Url"), _T("x")), _T(""));
    EXPECT_EQ(Int(_T("Options"), _T("NoSuchKey"), _T("17")), 17);
    EXPECT_EQ(String(_T("NoSuchSection"), _T("IgnoreTimeSpan"), _T("text")), _T("text"));
}

TEST_F(Configuration, TheUsersValueWinsKeyByKey) {
    WriteUserFile("[options]\nignoretimespan = 9\nMinCopyCount =\n");
    EXPECT_EQ(Int(_T("Options"), _T("IgnoreTimeSpan"), _T("3")), 9);
    EXPECT_EQ(Int(_T("Options"), _T("MinCopyCount"), _T("7")), 0);  // empty is a value
    EXPECT_EQ(Int(_T("Options"), _T("MaxCopyCount")), 100);
    WriteUserFile("");
    EXPECT_EQ(Int(_T("Options"), _T("IgnoreTimeSpan"), _T("3")), 3);
}

TEST_F(Configuration, NumbersAreReadAsFarAsTheyGo) {
    WriteUserFile("[N]\na= \t-12x\nb=+7\nc=99999999999\nd=-99999999999\ne=x1\nf=--1\n");
    EXPECT_EQ(Int(_T("N"), _T("a")), -12);
    EXPECT_EQ(Int(_T("N"), _T("b")), 7);
    EXPECT_EQ(Int(_T("N"), _T("c")), 2147483647);
    EXPECT_EQ(Int(_T("N"), _T("d")), -2147483647 - 1);
    EXPECT_EQ(Int(_T("N"), _T("e"), _T("5")), 0);
    EXPECT_EQ(Int(_T("N"), _T("f")), 0);
}

TEST_F(Configuration, AChangedFileIsSeenBySecondsLaterReads) {
    test::ScriptedClock clock(test::Utc(2024, 1, 1));
    WriteUserFile("[Options]\nIgnoreTimeSpan = 5\n");
    EXPECT_EQ(Int(_T("Options"), _T("IgnoreTimeSpan")), 5);
    m_home.Write("config/rampart.ini", "[Options]\nIgnoreTimeSpan = 60\n");
    clock.Advance(2);
    EXPECT_EQ(Int(_T("Options"), _T("IgnoreTimeSpan")), 60);
}

TEST_F(Configuration, AFileThatCannotBeReadForAWhileChangesNothing) {
    WriteUserFile("[Service]\nUrl = https://mine\n");
    EXPECT_EQ(String(_T("Service"), _T("Url")), _T("https://mine"));
    std::filesystem::remove(m_home.Path("config/rampart.ini"));
    m_home.Write("config/rampart.ini/", "");  // a folder in its place
    DictUtil::Refresh();
    EXPECT_EQ(String(_T("Service"), _T("Url")), _T("https://mine"));
    EXPECT_FALSE(DictUtil::SetConfigString(_T("Service"), _T("Url"), _T("x")));
    std::filesystem::remove(m_home.Path("config/rampart.ini"));
    DictUtil::Refresh();
    EXPECT_EQ(String(_T("Service"), _T("Url")), _T(""));
}

TEST_F(Configuration, AValueThatIsSetIsReadAtOnceAndLosesNoneOfTheOthers) {
    WriteUserFile("; mine\n[Options]\nIgnoreTimeSpan = 5\n");
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; index++) {
        threads.emplace_back([index] {
            const CString key = FormatText(_T("Key%d"), index);
            for (int value = 1; value <= 5; value++) {
                EXPECT_TRUE(DictUtil::SetConfigString(_T("Mine"), key, FormatText(_T(" %d "), value)));
                EXPECT_EQ(DictUtil::GetConfigInt(_T("Mine"), key, _T(""), _T("")), value);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(String(_T("Mine"), _T("Key3")), _T(" 5 "));
    EXPECT_EQ(Int(_T("Options"), _T("IgnoreTimeSpan")), 5);
    EXPECT_TRUE(m_home.Read("config/rampart.ini").starts_with("; mine\n"));
    EXPECT_FALSE(DictUtil::SetConfigString(_T("Mine"), _T("Key"), _T("two\nlines")));
}

TEST_F(Configuration, ProgramsThatWriteAtOnceLoseNothingOfEachOther) {
    WriteUserFile("[Mine]\nKey = 1\n");
    constexpr int kKeys = 40;
    std::vector<std::unique_ptr<test::ChildProcess>> writers;
    for (const char* section : {"First", "Second"}) {
        writers.push_back(
            test::ChildProcess::Start({CONFIGURATION_WRITER, {section, std::to_string(kKeys)}, "", ""}));
        ASSERT_TRUE(writers.back());
    }
    for (const auto& writer : writers) {
        EXPECT_EQ(writer->Wait(), 0);
    }
    DictUtil::Refresh();
    EXPECT_EQ(Int(_T("Mine"), _T("Key")), 1);
    for (LPCTSTR section : {_T("First"), _T("Second")}) {
        for (int number = 1; number <= kKeys; number++) {
            EXPECT_EQ(Int(section, FormatText(_T("Key%d"), number)), number);
        }
    }
}

TEST_F(Configuration, AFileThatIsALinkStaysOne) {
    m_home.Write("elsewhere/mine.ini", "[Mine]\nKey = 1\n");
    m_home.Write("config/", "");
    if (!test::MakeLink(m_home.Path("config/rampart.ini"), "../elsewhere/mine.ini")) {
        GTEST_SKIP() << "no links here";
    }
    DictUtil::Refresh();
    ASSERT_TRUE(DictUtil::SetConfigString(_T("Mine"), _T("Key"), _T("2")));
    EXPECT_EQ(Int(_T("Mine"), _T("Key")), 2);
    EXPECT_TRUE(std::filesystem::is_symlink(m_home.Path("config/rampart.ini")));
    EXPECT_EQ(m_home.Read("elsewhere/mine.ini"), "[Mine]\nKey = 2\n");
}

#ifndef _WIN32
TEST_F(Configuration, AChangeKeepsTheFileAsPrivateAsItWas) {
    using std::filesystem::perms;
    for (const perms rights : {perms::owner_read | perms::owner_write,
                               perms::owner_read | perms::owner_write | perms::group_read}) {
        WriteUserFile("[Mine]\nKey = 1\n");
        std::filesystem::permissions(m_home.Path("config/rampart.ini"), rights);
        ASSERT_TRUE(DictUtil::SetConfigString(_T("Mine"), _T("Key"), _T("2")));
        EXPECT_EQ(rights, std::filesystem::status(m_home.Path("config/rampart.ini")).permissions());
    }
}
#endif

TEST_F(Configuration, ReadersNeverSeeHalfOfAChange) {
    ASSERT_TRUE(DictUtil::SetConfigString(_T("P"), _T("a"), _T("1")));
    std::atomic<bool> stop = false;
    std::thread reader([&] {
        while (!stop) {
            const CString value = String(_T("P"), _T("a"));
            EXPECT_TRUE(value == _T("1") || value == _T("2")) << value.ToUtf8();
        }
    });
    for (int round = 0; round < 20; round++) {
        EXPECT_TRUE(DictUtil::SetConfigString(_T("P"), _T("a"), round % 2 == 0 ? _T("2") : _T("1")));
    }
    stop = true;
    reader.join();
}

TEST_F(Configuration, FilesBesideTheProgramReplaceTheBuiltInOnes) {
    m_home.Write("share/config/rampart.ini", "[Options]\nIgnoreTimeSpan = 44\nLanguage = klingon\n");
    m_home.Write("share/lang/klingon.ini", "[Text]\nIDS_STRREADY = qeylIS\\nmaH\n");
    test::ScopedVariable share("RAMPART_SHARE", m_home.Native("share"));
    DictUtil::Refresh();
    EXPECT_EQ(Int(_T("Options"), _T("IgnoreTimeSpan")), 44);
    EXPECT_EQ(Int(_T("Options"), _T("MinFreeDiskSpace"), _T("-1")), -1);
    EXPECT_EQ(DictUtil::GetValue(_T("IDS_STRREADY"), _T("")), _T("qeylIS\nmaH"));
    EXPECT_EQ(DictUtil::GetValue(_T("ids_strrunning"), _T("")), _T("Running"));
    EXPECT_EQ(DictUtil::GetValue(_T("NoSuchKey"), _T("other")), _T("other"));
}

TEST_F(Configuration, DriveLettersArePinnedAndFreedAgain) {
    const std::string mountPoint = m_home.Native("stick");
    m_home.Write("stick/", "");
    const auto hasPin = [&] {
        const auto drives = platform::Drives();
        return std::any_of(drives.begin(), drives.end(), [&](const platform::Drive& drive) {
            return drive.letter == _T('X') && drive.mountPoint == mountPoint;
        });
    };
    WriteUserFile("[Drives]\nx = " + mountPoint + "\nC = /nowhere\n");
    EXPECT_EQ(Int(_T("Options"), _T("IgnoreTimeSpan")), 3);
    EXPECT_TRUE(hasPin());
    WriteUserFile("");
    EXPECT_FALSE(hasPin());
}

TEST_F(Configuration, SettingsLiveInTheConfigurationFileOfAPortableInstallation) {
    CString value = _T("untouched");
    EXPECT_FALSE(CRegSettingUtil::GetRegInfo(_T("Software\\X"), _T("Name"), value));
    EXPECT_EQ(value, _T("untouched"));
    EXPECT_TRUE(CRegSettingUtil::SetRegInfo(_T("Software\\X"), _T("Name"), _T("per user")));
    EXPECT_TRUE(CRegSettingUtil::GetRegInfo(_T("Software\\X"), _T("Name"), value));
    EXPECT_EQ(value, _T("per user"));

    WriteUserFile("[Options]\nGreenVersion = 1\n");
    EXPECT_TRUE(CRegSettingUtil::IsGreenVersion());
    EXPECT_FALSE(CRegSettingUtil::GetRegInfo(_T("Software\\X"), _T("Name"), value));
    EXPECT_TRUE(CRegSettingUtil::SetRegInfo(_T("Options"), _T("Name"), _T("in the file")));
    EXPECT_EQ(String(_T("Options"), _T("Name")), _T("in the file"));
}

TEST_F(Configuration, ALogonIsOnlyKeptWhenTheUserWantsIt) {
    CString user, password;
    int saved = 5, automatic = 5;
    EXPECT_FALSE(MiscUtil::ReadUserSettings(user, password, saved, automatic));
    EXPECT_EQ(saved, 0);
    EXPECT_TRUE(MiscUtil::WriteUserSettings(_T("me"), _T("s\u00e9cret"), 1, 1));
    EXPECT_TRUE(MiscUtil::ReadUserSettings(user, password, saved, automatic));
    EXPECT_EQ(user, _T("me"));
    EXPECT_EQ(password, _T("s\u00e9cret"));
    EXPECT_EQ(automatic, 1);
    EXPECT_TRUE(MiscUtil::WriteUserSettings(_T("me"), _T("s\u00e9cret"), 0, 0));
    EXPECT_FALSE(MiscUtil::ReadUserSettings(user, password, saved, automatic));
    EXPECT_EQ(password, _T(""));
}

}  // namespace
}  // namespace rampart
