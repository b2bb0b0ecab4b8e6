#include "run/server_path_map.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

namespace rampart {

namespace {

class Sources {
public:
    Sources(std::initializer_list<TCHAR const*> paths) {
        for (TCHAR const* path : paths) {
            m_owned.push_back(std::make_unique<SourceInfo>());
            m_owned.back()->path = path;
            list.push_back(m_owned.back().get());
        }
    }
    std::vector<SourceInfo*> list;

private:
    std::vector<std::unique_ptr<SourceInfo>> m_owned;
};

}  // namespace

TEST(ServerPathMap, MirrorsTheTreeFromTheFirstSourcesParentDown) {
    Sources const sources{_T("D:\\Docs"), _T("D:\\Other\\x.txt")};
    ServerPathMap const map(sources.list);
    EXPECT_EQ(_T("\\Docs\\a.txt"), map.ToServer(_T("D:\\Docs\\a.txt")));
    EXPECT_EQ(_T("\\Docs"), map.ToServer(_T("D:\\Docs")));
    EXPECT_EQ(_T("\\Other\\x.txt"), map.ToServer(_T("D:\\Other\\x.txt")));
}

TEST(ServerPathMap, ADriveRootOrAPathElsewhereLiesBelowItsLetter) {
    Sources const roots{_T("C:\\")};
    EXPECT_EQ(_T("\\C\\x\\y.txt"), ServerPathMap(roots.list).ToServer(_T("C:\\x\\y.txt")));
    EXPECT_EQ(_T("\\C"), ServerPathMap(roots.list).ToServer(_T("C:\\")));
    Sources const mixed{_T("C:\\home\\me\\docs"), _T("C:\\etc")};
    EXPECT_EQ(_T("\\C\\etc\\fstab"), ServerPathMap(mixed.list).ToServer(_T("C:\\etc\\fstab")));
}

TEST(ServerPathMap, TwoLocalPathsNeverMeetAndTheWayBackIsExact) {
    // A source is itself called C, beside the first one, while another source lies elsewhere on drive C.
    Sources const sources{_T("C:\\a\\b"), _T("C:\\a\\C"), _T("C:\\a\\C_\\deep"), _T("C:\\Docs"), _T("E:\\")};
    ServerPathMap const map(sources.list);
    std::set<CString> seen;
    for (TCHAR const* path : {_T("C:\\a\\b"), _T("C:\\a\\b\\x"), _T("C:\\a\\C\\Docs\\x"), _T("C:\\Docs\\x"),
                              _T("C:\\a\\C_\\deep\\Docs\\x"), _T("E:\\Docs\\x"), _T("C:\\a\\C")}) {
        CString const server = map.ToServer(path);
        EXPECT_TRUE(seen.insert(server).second)
            << CString(path).ToUtf8() << " meets another at " << server.ToUtf8();
        EXPECT_EQ(CString(path), map.ToLocal(server)) << server.ToUtf8();
    }
}

}  // namespace rampart
