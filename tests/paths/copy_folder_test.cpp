// Copies of a person's files in the cache: whose they are, and what becomes of those that nobody owns.
#include "paths/copy_folder.h"

#include <gtest/gtest.h>

#include "paths/path_manage.h"
#include "platform/file_system.h"
#include "support/service_stand_in.h"
#include "support/temp_home.h"

namespace rampart::test {

namespace {

class CopyFolders : public testing::Test {
protected:
    void SetUp() override { Service().cacheFolder = CString(platform::TextView(m_home.Engine("cache"))); }
    void TearDown() override {
        LeaveOwnCopyFolder();
        Service().cacheFolder.Empty();
    }

    // A copy in this process's folder; its path below the home.
    std::string MakeCopy() {
        CString const name = PathUtilities::GetFileName(OwnCopyFolder());
        std::string const path = "cache/Temp/" + name.ToUtf8() + "/pc/task/secret";
        m_home.Write(path, "private");
        return path;
    }

    TempHome m_home;
};

constexpr char const* kOther = "cache/Temp/copies-0123456789abcdef";

}  // namespace

TEST_F(CopyFolders, TheEndOfAProcessTakesItsCopiesAlong) {
    std::string const copy = MakeCopy();
    CString const folder = OwnCopyFolder();
    EXPECT_EQ(folder, OwnCopyFolder());
    LeaveOwnCopyFolder();
    EXPECT_FALSE(m_home.Exists(copy));
    EXPECT_TRUE(ReadTree(m_home.Path("cache/Temp")).empty()) << "nor does the lock stay";
    EXPECT_NE(folder, OwnCopyFolder()) << "a name that was given up is never used again";
}

TEST_F(CopyFolders, WhatALiveProcessOwnsStays) {
    std::string const own = MakeCopy();
    std::string const others = std::string(kOther) + "/pc/task/secret";
    m_home.Write(others, "private");
    m_home.Write(std::string(kOther) + ".lock", "");
    // Another process holds its lock; here another handle, which the system does not tell from one.
    auto held =
        platform::FileHandle::Open(m_home.Engine(std::string(kOther) + ".lock"), platform::kOpenWrite);
    ASSERT_TRUE(held && held->TryLock(true));
    SweepDeadCopies();
    EXPECT_TRUE(m_home.Exists(own));
    EXPECT_TRUE(m_home.Exists(others));
    EXPECT_EQ(1, CPathManage::RemoveTempData(1));
    EXPECT_TRUE(m_home.Exists(others));

    held.reset();  // it ended, however that came
    SweepDeadCopies();
    EXPECT_FALSE(m_home.Exists(kOther));
    EXPECT_FALSE(m_home.Exists(std::string(kOther) + ".lock"));
}

TEST_F(CopyFolders, AFolderWithoutALockBelongsToNobody) {
    m_home.Write(std::string(kOther) + "/pc/task/secret", "private");
    SweepDeadCopies();
    EXPECT_FALSE(m_home.Exists(kOther));
}

TEST_F(CopyFolders, OnlyWhatThisProgramMakesIsSwept) {
    char const* const kForeign[] = {"cache/Temp/a.txt",         "cache/Temp/pc/task/f",
                                    "cache/Temp/copies-mine/f", "cache/Temp/copies-0123456789abcdeg/f",
                                    "cache/Temp/x.lock",        "cache/f"};
    for (char const* const path : kForeign) {
        m_home.Write(path, "somebody's");
    }
    SweepDeadCopies();
    CPathManage::RemoveTempData(1);
    for (char const* const path : kForeign) {
        EXPECT_TRUE(m_home.Exists(path)) << path;
    }
}

// A disk that is full in the middle of a run must not cost the files that wait for their upload.
TEST_F(CopyFolders, TemporaryDataGoesUnlessARunUsesIt) {
    std::string const copy = MakeCopy();
    {
        CopiesInUse const run;
        EXPECT_EQ(1, CPathManage::RemoveTempData(1));
        EXPECT_TRUE(m_home.Exists(copy));
    }
    EXPECT_EQ(1, CPathManage::RemoveTempData(0));
    EXPECT_FALSE(m_home.Exists(copy));
    std::string const later = MakeCopy();
    SweepDeadCopies();
    EXPECT_TRUE(m_home.Exists(later)) << "it is still this process's folder";
}

// In "cache\Temp" of the user's data, beside what other programs keep there.
TEST_F(CopyFolders, CopiesOfEarlierProgramsGo) {
    m_home.Write("data/cache/Temp/pc/task/big", "private");
    m_home.Write("data/cache/Temp/other/f", "somebody's");
    SweepFormerCopies({_T("\\pc\\task"), _T("\\pc\\deeper\\task"), _T("\\missing\\task"), _T("\\"), _T("")});
    EXPECT_FALSE(m_home.Exists("data/cache/Temp/pc"));
    EXPECT_EQ("somebody's", m_home.Read("data/cache/Temp/other/f"));
    SweepFormerCopies({_T("\\other\\task")});
    EXPECT_FALSE(m_home.Exists("data/cache")) << "nothing else was there";
    m_home.Write("data/cache/program/f", "somebody's");
    m_home.Write("data/cache/Temp/pc/task/big", "private");
    SweepFormerCopies({_T("\\pc\\task")});
    EXPECT_TRUE(m_home.Exists("data/cache/program/f"));
    EXPECT_FALSE(m_home.Exists("data/cache/Temp"));
}

// Nobody could tell whose the copies are, so none are made.
TEST_F(CopyFolders, WithoutAPlaceForThemThereAreNone) {
    m_home.Write("blocked", "a file where the folder should be");
    Service().cacheFolder = CString(platform::TextView(m_home.Engine("blocked")));
    EXPECT_TRUE(OwnCopyFolder().IsEmpty());
    SweepDeadCopies();
    EXPECT_EQ(1, CPathManage::RemoveTempData(0));
}

}  // namespace rampart::test
