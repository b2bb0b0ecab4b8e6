#include <gtest/gtest.h>

#include "baselib/name_pattern.h"
#include "interfaces/baselib.h"

namespace rampart {
namespace {

using P = PathUtilities;

TEST(PathUtilities, AppendLeavesExactlyOneBackslash) {
    EXPECT_EQ(P::Append(_T("C:\\a\\\\"), _T("\\\\b\\")), _T("C:\\a\\b\\"));
    EXPECT_EQ(P::Append(_T("C:"), _T("b")), _T("C:\\b"));
    EXPECT_EQ(P::Append(_T(""), _T("b")), _T("\\b"));
    EXPECT_EQ(P::Append(_T("a"), _T("")), _T("a\\"));
    EXPECT_EQ(P::Append(_T(""), _T("")), _T("\\"));
}

TEST(PathUtilities, AnExtensionIsThatOfTheLastComponent) {
    EXPECT_EQ(P::GetExtension(_T("C:\\a.b\\c.tar.gz")), _T(".gz"));
    EXPECT_EQ(P::GetExtension(_T(".profile")), _T(".profile"));
    EXPECT_EQ(P::GetExtension(_T("C:\\a.b\\c")), _T(""));
    EXPECT_EQ(P::RemoveExtension(_T("C:\\a.b\\c.tar.gz")), _T("C:\\a.b\\c.tar"));
    EXPECT_EQ(P::RemoveExtension(_T("C:\\a.b\\c")), _T("C:\\a.b\\c"));
    EXPECT_EQ(P::RemoveExtension(_T(".profile")), _T(""));
}

TEST(PathUtilities, ParentsEndAtTheRoot) {
    struct Case {
        LPCTSTR path, parent, name, root;
    };
    for (const Case& c :
         {Case{_T("C:\\a\\b\\"), _T("C:\\a"), _T("b"), _T("C:\\")},
          Case{_T("C:\\a"), _T("C:\\"), _T("a"), _T("C:\\")}, Case{_T("C:\\"), _T(""), _T(""), _T("C:\\")},
          Case{_T("C:"), _T(""), _T(""), _T("C:\\")}, Case{_T("\\Docs\\x"), _T("\\Docs"), _T("x"), _T("\\")},
          Case{_T("\\Docs"), _T("\\"), _T("Docs"), _T("\\")},
          Case{_T("\\\\nas\\music\\a\\b"), _T("\\\\nas\\music\\a"), _T("b"), _T("\\\\nas\\music\\")},
          Case{_T("\\\\nas\\music\\a"), _T("\\\\nas\\music\\"), _T("a"), _T("\\\\nas\\music\\")},
          Case{_T("\\\\nas\\music"), _T(""), _T(""), _T("\\\\nas\\music\\")},
          Case{_T("\\\\?\\C:\\a\\b"), _T("\\\\?\\C:\\a"), _T("b"), _T("\\\\?\\C:\\")},
          Case{_T("name"), _T(""), _T("name"), _T("")}, Case{_T(""), _T(""), _T(""), _T("")}}) {
        EXPECT_EQ(P::GetParentFolder(c.path), c.parent) << CString(c.path).ToUtf8();
        EXPECT_EQ(P::GetFileName(c.path), c.name) << CString(c.path).ToUtf8();
        EXPECT_EQ(P::StripToRoot(c.path), c.root) << CString(c.path).ToUtf8();
    }
}

TEST(PathUtilities, ASubPathLiesBehindWholeComponents) {
    EXPECT_EQ(P::GetSubPath(_T("C:\\Docs\\a\\b"), _T("c:\\docs")), _T("a\\b"));
    EXPECT_EQ(P::GetSubPath(_T("C:\\Docs\\a\\b"), _T("C:\\Docs\\")), _T("a\\b"));
    EXPECT_EQ(P::GetSubPath(_T("C:\\x"), _T("C:\\")), _T("x"));
    EXPECT_EQ(P::GetSubPath(_T("\\Docs"), _T("\\")), _T("Docs"));
    EXPECT_EQ(P::GetSubPath(_T("C:\\Docs"), _T("C:\\Docs")), _T(""));
    // What lies elsewhere must not look like the base itself.
    EXPECT_EQ(P::GetSubPath(_T("C:\\Docs2\\a"), _T("C:\\Docs")), _T("C:\\Docs2\\a"));
}

TEST(PathUtilities, DriveLettersAndRoots) {
    EXPECT_EQ(GetDriveFromPath(_T("d:\\x")), _T('D'));
    EXPECT_EQ(GetDriveFromPath(_T("\\\\?\\E:\\x")), _T('E'));
    EXPECT_EQ(GetDriveFromPath(_T("\\\\nas\\c:")), 0);
    EXPECT_EQ(GetDriveFromPath(_T("x\\y")), 0);
    EXPECT_EQ(GetDriveFromPath(_T("")), 0);
    EXPECT_TRUE(KXFolder::IsDriveRoot(_T("C:")));
    EXPECT_TRUE(KXFolder::IsDriveRoot(_T("C:\\")));
    EXPECT_FALSE(KXFolder::IsDriveRoot(_T("C:\\x")));
    EXPECT_FALSE(KXFolder::IsDriveRoot(_T("\\")));
    EXPECT_FALSE(KXFolder::IsDriveRoot(_T("")));
    EXPECT_EQ(P::RemoveBackslash(_T("a\\\\")), _T("a"));
}

TEST(NamePattern, WildcardsStretchAsFarAsNeeded) {
    EXPECT_TRUE(MatchesPattern(_T("Report.TXT"), _T("*.txt")));
    EXPECT_TRUE(MatchesPattern(_T("aXbXc"), _T("a*b*c")));
    EXPECT_TRUE(MatchesPattern(_T("aab"), _T("*ab")));
    EXPECT_TRUE(MatchesPattern(_T("ab"), _T("?b*")));
    EXPECT_TRUE(MatchesPattern(_T(""), _T("*")));
    EXPECT_FALSE(MatchesPattern(_T("b"), _T("?b")));
    EXPECT_FALSE(MatchesPattern(_T("report.txt.bak"), _T("*.txt")));
    EXPECT_FALSE(MatchesPattern(_T("a"), _T("")));
    EXPECT_FALSE(MatchesPattern(Text(3000, _T('a')), _T("*a*a*a*a*a*a*b")));
}

}  // namespace
}  // namespace rampart
