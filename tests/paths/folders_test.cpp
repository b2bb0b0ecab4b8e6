#include <gtest/gtest.h>

#include "paths/path_manage.h"
#include "support/scripted_clock.h"
#include "support/service_stand_in.h"
#include "support/temp_home.h"

namespace rampart::test {

namespace {

class DataFolders : public testing::Test {
protected:
    void SetUp() override {
        Service().cacheFolder = CString(m_home.Engine("cache"));
        m_product = CString(platform::UserDataFolder()) + _T("\\") +
                    DictUtil::GetValue(_T("IDS_STRCOMPANY"), CString()) + _T("\\") +
                    DictUtil::GetValue(_T("IDS_STRPRODUCT"), CString());
    }
    void TearDown() override { Service().cacheFolder.Empty(); }

    TempHome m_home;
    CString m_product;
};

TEST_F(DataFolders, ApplicationDataIsMadeOnDemand) {
    CString out;
    ASSERT_EQ(CPathManage::GetOrCreateInAppDataPath(CString(), out), 1);
    EXPECT_EQ(out, m_product + _T("\\"));
    EXPECT_TRUE(KXFolder::IsDirectory(m_product));
    ASSERT_EQ(CPathManage::GetOrCreateInAppDataPath(_T("PCInfo.dat"), out), 1);
    EXPECT_EQ(out, m_product + _T("\\PCInfo.dat"));
    EXPECT_TRUE(KXFile::FileExists(out));
}

TEST_F(DataFolders, AskingForAFileKeepsItsContent) {
    CString out;
    ASSERT_EQ(CPathManage::GetOrCreateInAppDataPath(_T("kept.dat"), out), 1);
    {
        KXFile file(out, CFile::modeWrite);
        file.Write("abc", 3);
    }
    ASSERT_EQ(CPathManage::GetOrCreateInAppDataPath(_T("kept.dat"), out), 1);
    EXPECT_EQ(KXFile::GetFileLength(out), 3);
}

TEST_F(DataFolders, BlockedFolderIsAFailure) {
    m_home.Write("data", "a file where the folder should be");
    const ScopedVariable home("RAMPART_HOME", m_home.Native("data"));
    CString out = _T("before");
    EXPECT_EQ(CPathManage::GetOrCreateInAppDataPath(CString(), out), 0);
    EXPECT_EQ(out, _T("before"));
    EXPECT_EQ(CPathManage::GetTempFolder(out, 0, 0), 0);
}

TEST_F(DataFolders, TemporaryFoldersLieInTheDataAndInTheCache) {
    CString out;
    ASSERT_NE(CPathManage::GetTempFolder(out, 0, 0), 0);
    EXPECT_EQ(out, m_product + _T("\\Temp"));
    ASSERT_NE(CPathManage::GetTempFolder(out, 0, 1), 0);
    EXPECT_EQ(out, CString(m_home.Engine("cache")) + _T("\\Temp"));
    ASSERT_EQ(CPathManage::GetTempPathW(_T("a.txt"), out, 0), 1);
    EXPECT_FALSE(KXFile::FileExists(out));
    ASSERT_EQ(CPathManage::GetTempPathW(_T("a.txt"), out, 1), 1);
    EXPECT_TRUE(m_home.Exists("cache/Temp/a.txt"));
    EXPECT_EQ(CPathManage::GetTempPathW(_T("no\\such\\folder.txt"), out, 1), 0);
}

TEST_F(DataFolders, FolderOfAFileIsMade) {
    const CString folder(m_home.Engine("x/y"));
    EXPECT_NE(CPathManage::CreateFolderforFile(folder + _T("\\z.txt")), 0);
    EXPECT_TRUE(KXFolder::IsDirectory(folder));
    EXPECT_NE(CPathManage::CreateFolderforFile(_T("C:\\z.txt")), 0);
    EXPECT_EQ(CPathManage::CreateFolderforFile(CString()), 0);
    EXPECT_EQ(CPathManage::CreateFolderforFile(_T("z.txt")), 0);
    EXPECT_EQ(CPathManage::CreateFolderforFile(_T("\\z.txt")), 0);
}

TEST_F(DataFolders, TemporaryDataGoesAsAWhole) {
    CString temp;
    ASSERT_NE(CPathManage::GetTempFolder(temp, 0, 0), 0);
    { KXFile file(temp + _T("\\a.tmp"), CFile::modeCreate | CFile::modeWrite); }
    EXPECT_EQ(CPathManage::NeedRemoveTempData(), 0) << "the disk has room for an empty file";
    EXPECT_EQ(CPathManage::RemoveTempData(0), 1);
    EXPECT_FALSE(PathUtilities::IsExisting(temp));
}

class LocalSizes : public testing::Test {
protected:
    void SetUp() override {
        CPathManage::s_fileFilters = {_T(".*never")};
        m_entries.AddTail(_T("*.skip"));
        CPathManage::RestoreUIFilterToVector(m_entries);
        CPathManage::RestoreUIFiltedPathToVector(CStringList());
    }
    void TearDown() override {
        CPathManage::s_fileFilters.clear();
        CPathManage::RestoreUIFilterToVector(CStringList());
    }
    CString Path(std::string_view relative) { return CString(m_tree.Engine(relative)); }

    TempTree m_tree{
        {"a.txt", "12345"}, {"b.skip", "1234567"}, {"sub/c.txt", "123"}, {"sub/deep/d.skip", "1"}};
    CStringList m_entries;
};

TEST_F(LocalSizes, CountWhatTheFiltersKeep) {
    CString root = Path("");
    EXPECT_EQ(CPathManage::GetPathSize(root, _T("2"), &m_entries), 16U);
    EXPECT_EQ(CPathManage::GetPathSize(root, _T("0"), &m_entries), 8U);
    CString skipped = Path("b.skip");
    EXPECT_EQ(CPathManage::GetPathSize(skipped, _T("0"), &m_entries), 0U);
    EXPECT_EQ(CPathManage::GetFileSizeSimple(skipped), 7U);
    CString missing = Path("nothing");
    EXPECT_EQ(CPathManage::GetPathSize(missing, _T("2"), nullptr), 0U);
}

TEST_F(LocalSizes, TimesOfAFileComeBack) {
    CString path = Path("a.txt");
    CTime modified(Utc(2021, 5, 6, 7, 8, 9));
    ASSERT_EQ(CPathManage::SetFileTime(path, nullptr, nullptr, &modified), 1);
    CTime created;
    CTime read;
    ASSERT_EQ(CPathManage::GetFileTime(path, &created, nullptr, &read), 1);
    EXPECT_EQ(read.GetTime(), modified.GetTime());
    EXPECT_NE(created.GetTime(), 0);
    CString missing = Path("nothing");
    EXPECT_EQ(CPathManage::GetFileTime(missing, &created, nullptr, &read), 0);
    EXPECT_EQ(CPathManage::SetFileTime(missing, nullptr, nullptr, &modified), 0);
    EXPECT_EQ(CPathManage::GetNameBeforeExtension(_T("a.tar.gz")), _T("a.tar"));
}

}  // namespace

}  // namespace rampart::test
