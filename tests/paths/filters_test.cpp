#include <gtest/gtest.h>

#include <thread>

#include "interfaces/filterlib.h"
#include "paths/path_manage.h"
#include "support/service_stand_in.h"
#include "support/temp_home.h"

namespace rampart::test {

namespace {

CString const kNoFilter(_T("2"));
CString const kExclude(_T("0"));
CString const kInclude(_T("1"));

class Filters : public testing::Test {
protected:
    void SetUp() override { Reset(); }
    void TearDown() override { Reset(); }

    static void Reset() {
        CPathManage::s_fileFilters.clear();
        CPathManage::s_folderFilters.clear();
        CPathManage::s_cacheFolder.Empty();
        CPathManage::s_cacheFolderLength = 0;
        CPathManage::s_productName.Empty();
        Service().fileFilters.Empty();
        Service().folderFilters.Empty();
        CPathManage::InitClientRegexFilter();
        CPathManage::RestoreUIFilterToVector(CStringList());
        CPathManage::RestoreUIFiltedPathToVector(CStringList());
    }

    // Account-wide expressions, and the task's entries put in place.
    void Account(CString const& files, CString const& folders) {
        Service().fileFilters = files;
        Service().folderFilters = folders;
        CPathManage::InitRegexFilter();
    }
    void Entries(std::initializer_list<LPCTSTR> files, std::initializer_list<LPCTSTR> folders) {
        m_files.RemoveAll();
        m_folders.RemoveAll();
        for (LPCTSTR entry : files) {
            m_files.AddTail(entry);
        }
        for (LPCTSTR entry : folders) {
            m_folders.AddTail(entry);
        }
        CPathManage::RestoreUIFilterToVector(m_files);
        CPathManage::RestoreUIFiltedPathToVector(m_folders);
    }
    int File(LPCTSTR path, CString const& type) { return CPathManage::FilterFile(path, &m_files, type); }
    int Folder(LPCTSTR path, CString const& type) {
        return CPathManage::FilterFolder(path, &m_folders, type);
    }

    TempHome m_home;
    CStringList m_files;
    CStringList m_folders;
};

TEST_F(Filters, UnknownModeTextMeansNoTaskFilter) {
    Account(_T("*.bak"), _T("skip"));
    Entries({_T("*.tmp")}, {});
    for (LPCTSTR type : {_T("2"), _T(""), _T("x"), _T("00")}) {
        EXPECT_EQ(File(_T("C:\\a.tmp"), type), 0);
    }
    EXPECT_EQ(File(_T("C:\\a.tmp"), kExclude), 1);
}

TEST_F(Filters, AccountWideExpressionsHoldInEveryMode) {
    Account(_T("*.bak"), _T("node_modules"));
    Entries({_T("*.bak")}, {_T("C:\\w\\node_modules")});
    for (CString const& type : {kNoFilter, kExclude, kInclude}) {
        EXPECT_EQ(File(_T("C:\\w\\a.BAK"), type), 1);
        EXPECT_EQ(Folder(_T("C:\\w\\node_modules"), type), 1);
        EXPECT_EQ(Folder(_T("C:\\w\\node_modules\\"), type), 1);
    }
    EXPECT_EQ(File(_T("C:\\w\\a.txt"), kNoFilter), 0);
}

TEST_F(Filters, ExcludeNeedsAnAccountWideExpressionBesideIt) {
    Entries({_T("*.tmp")}, {_T("C:\\w\\cache")});
    EXPECT_EQ(File(_T("C:\\w\\a.tmp"), kExclude), 0);
    EXPECT_EQ(Folder(_T("C:\\w\\cache"), kExclude), 0);
    Account(_T("*.never"), _T("never"));
    EXPECT_EQ(File(_T("C:\\w\\a.tmp"), kExclude), 1);
    EXPECT_EQ(File(_T("C:\\w\\a.txt"), kExclude), 0);
    EXPECT_EQ(Folder(_T("C:\\w\\cache"), kExclude), 1);
    EXPECT_EQ(Folder(_T("C:\\w\\cached"), kExclude), 0);
    EXPECT_EQ(CPathManage::FilterFile(_T("C:\\w\\a.tmp"), nullptr, kExclude), 0);
}

TEST_F(Filters, IncludeKeepsOnlyWhatTheListsName) {
    Entries({}, {});
    EXPECT_EQ(File(_T("C:\\w\\a.txt"), kInclude), 1);
    EXPECT_EQ(Folder(_T("C:\\w"), kInclude), 1);
    Entries({_T("*.txt")}, {_T("C:\\w")});
    EXPECT_EQ(File(_T("C:\\w\\a.txt"), kInclude), 0);
    EXPECT_EQ(File(_T("C:\\w\\a.doc"), kInclude), 1);
    EXPECT_EQ(Folder(_T("C:\\w"), kInclude), 0);
    EXPECT_EQ(Folder(_T("C:\\v"), kInclude), 1);
}

TEST_F(Filters, CacheFolderIsLeftOutWhateverTheMode) {
    EXPECT_EQ(File(_T("C:\\cache\\Temp\\a.txt"), kNoFilter), 0) << "nothing is in a cache that is not known";
    Service().cacheFolder = _T("C:\\cache");
    CPathManage::UpdateCacheFolder();
    Entries({_T("*.txt")}, {_T("C:\\cache\\Temp")});
    for (CString const& type : {kNoFilter, kExclude, kInclude}) {
        EXPECT_EQ(File(_T("c:\\CACHE\\Temp\\a.txt"), type), 1);
        EXPECT_EQ(Folder(_T("C:\\cache\\Temp"), type), 1);
    }
    EXPECT_EQ(File(_T("C:\\cache.txt"), kNoFilter), 0);
    EXPECT_EQ(CPathManage::IsInCacheFolder(_T("C:\\cache")), 0);
}

TEST_F(Filters, DefaultTextServesOnlyASettingThatYieldsNothing) {
    CPathManage::s_fullFileFilter = _T("*.default");
    Account(_T("|"), CString());
    EXPECT_EQ(File(_T("C:\\a.default"), kNoFilter), 1);
    EXPECT_TRUE(CPathManage::s_folderFilters.empty());
    Account(CString(), CString());
    EXPECT_TRUE(CPathManage::s_fileFilters.empty());
    EXPECT_EQ(File(_T("C:\\a.default"), kNoFilter), 0);
}

TEST_F(Filters, UserTextSplitsIntoEntries) {
    std::vector<CString> out;
    CPathManage::StoreFilterToVector(_T("|*.TMP | *.bak||*.tmp|"), out);
    EXPECT_EQ(out, (std::vector<CString>{_T("*.tmp"), _T("*.bak")}));
    CPathManage::StoreFilterToVector(_T("  || |"), out);
    CPathManage::StoreFilterToVector(_T("*.BAK|one"), out);
    EXPECT_EQ(out, (std::vector<CString>{_T("*.tmp"), _T("*.bak"), _T("one")}));
}

TEST_F(Filters, PackageFormComesBackAndAppends) {
    XMLDocument document;
    document.Create(_T("Package"));
    XMLNode root = document.GetAsNode();
    CPathManage::s_productName = _T("Product");
    CPathManage::s_fileFilters = {_T("a"), _T("b")};
    CPathManage::s_folderFilters = {_T("c")};
    ASSERT_TRUE(CPathManage::SaveFilterInfoToPackageXML(root));
    EXPECT_EQ(root.GetNumberOfNodes(), 6);
    Reset();
    ASSERT_TRUE(CPathManage::LoadFilterInfoFromPackageXML(root));
    ASSERT_TRUE(CPathManage::LoadFilterInfoFromPackageXML(root));
    EXPECT_EQ(CPathManage::s_fileFilters, (std::vector<CString>{_T("a"), _T("b"), _T("a"), _T("b")}));
    EXPECT_EQ(CPathManage::s_folderFilters, (std::vector<CString>{_T("c"), _T("c")}));
    EXPECT_EQ(CPathManage::GetProductName(), _T("Product"));
    XMLNode invalid;
    EXPECT_FALSE(CPathManage::LoadFilterInfoFromPackageXML(invalid));
}

TEST_F(Filters, CountOfAPackageIsNotTrusted) {
    XMLDocument document;
    document.Create(_T("Package"));
    XMLNode root = document.GetAsNode();
    root.SetValue(_T("PathFilterFileCount"), CString(_T("4611686018427387904")));
    root.SetValue(_T("FilterEx0"), CString(_T("a")));
    CPathManage::LoadFilterInfoFromPackageXML(root);
    EXPECT_LE(CPathManage::s_fileFilters.size(), 2U);
}

TEST_F(Filters, ArchiveFormComesBackOrLeavesTheListsAlone) {
    CPathManage::s_productName = _T("Product");
    CPathManage::s_fileFilters = {_T("a"), _T("b")};
    CPathManage::s_folderFilters = {_T("c")};
    CMemFile memory;
    CArchive out(&memory, CArchive::store);
    ASSERT_EQ(CPathManage::SaveToArchive(out), 1);
    out.Close();
    const ULONGLONG length = memory.GetLength();
    Reset();

    memory.SeekToBegin();
    CArchive in(&memory, CArchive::load);
    ASSERT_EQ(CPathManage::InitByArchive(in), 1);
    in.Close();
    EXPECT_EQ(CPathManage::s_fileFilters, (std::vector<CString>{_T("a"), _T("b")}));
    EXPECT_EQ(CPathManage::s_folderFilters, (std::vector<CString>{_T("c")}));

    memory.SetLength(length - 1);
    memory.SeekToBegin();
    CArchive cut(&memory, CArchive::load);
    EXPECT_EQ(CPathManage::InitByArchive(cut), 0);
    EXPECT_EQ(CPathManage::s_fileFilters.size(), 2U);
}

// One pair of lists for the process let the second of two tasks swap the first one's filters in the middle of
// its scan.
TEST_F(Filters, TasksThatScanAtOnceKeepTheirOwnLists) {
    Account(_T("*.never"), _T("never"));
    std::atomic<int> strayed{0};
    auto scan = [&](LPCTSTR own, LPCTSTR other) {
        CStringList files;
        files.AddTail(CString(_T("*.")) + own);
        CStringList folders;
        folders.AddTail(CString(_T("C:\\w\\")) + own);
        for (int round = 0; round < 500; ++round) {
            strayed += CPathManage::FilterFile(CString(_T("C:\\w\\x.")) + own, &files, kExclude) == 1 ? 0 : 1;
            strayed +=
                CPathManage::FilterFile(CString(_T("C:\\w\\x.")) + other, &files, kExclude) == 0 ? 0 : 1;
            strayed += CPathManage::FilterFile(CString(_T("C:\\w\\x.")) + own, &files, kInclude) == 0 ? 0 : 1;
            strayed +=
                CPathManage::FilterFolder(CString(_T("C:\\w\\")) + own, &folders, kExclude) == 1 ? 0 : 1;
            strayed +=
                CPathManage::FilterFolder(CString(_T("C:\\w\\")) + other, &folders, kExclude) == 0 ? 0 : 1;
        }
    };
    std::thread first([&] { scan(_T("one"), _T("two")); });
    std::thread second([&] { scan(_T("two"), _T("one")); });
    for (int round = 0; round < 50; ++round) {
        Entries({_T("*.one"), _T("*.two")}, {_T("C:\\w\\one"), _T("C:\\w\\two")});
    }
    first.join();
    second.join();
    EXPECT_EQ(strayed, 0);
}

TEST_F(Filters, ScansJudgeWhileListsChange) {
    Account(_T("*.never"), _T("never"));
    std::atomic<bool> done{false};
    std::thread scan([&] {
        CStringList list;
        list.AddTail(_T("*.tmp"));
        while (!done) {
            CPathManage::FilterFile(_T("C:\\w\\a.tmp"), &list, kExclude);
            CPathManage::FilterFolder(_T("C:\\w"), &list, kInclude);
        }
    });
    for (int round = 0; round < 50; ++round) {
        Entries({_T("*.tmp"), _T("*.bak")}, {_T("C:\\w")});
        CPathManage::InitRegexFilter();
        CPathManage::UpdateCacheFolder();
    }
    done = true;
    scan.join();
    EXPECT_EQ(CPathManage::GetUIFilterFile().size(), 2U);
    EXPECT_EQ(CPathManage::GetUIFilterFolder().size(), 1U);
}

}  // namespace

}  // namespace rampart::test
