#include <random>
#include <unordered_set>

#include "platform/error.h"
#include "platform/path_mapping.h"
#include "support/temp_tree.h"

namespace rampart::platform {
namespace {

// Pieces that meet the edges of the mapping far more often than plain random bytes do.
std::string RandomName(std::mt19937& random) {
    static const std::vector<std::string> pieces = {"a",
                                                    ".",
                                                    " ",
                                                    ":",
                                                    "\\",
                                                    "*",
                                                    "?",
                                                    "\"",
                                                    "<",
                                                    ">",
                                                    "|",
                                                    "\n",
                                                    "\x01",
                                                    "\x7f",
                                                    "~",
                                                    "\xC3\xA9",
                                                    "\xFF",
                                                    "\xC3",
                                                    "\x80",
                                                    "\xED\xB2\x80",
                                                    "\xED\xA0\xBD",
                                                    "\xEF\x80\xBA",
                                                    "\xEF\x80\xAE",
                                                    "\xEF\x80\xA0",
                                                    "\xEF\x80\xAF",
                                                    "\xEF\x82\x80",
                                                    "\xF0\x9F\x98\x80",
                                                    "\xEF\xBF\xBD"};
    std::string name;
    for (size_t length = 1 + random() % 8; length > 0; length--) {
        if (random() % 3 == 0) {
            name.push_back(static_cast<char>(1 + random() % 255));
        } else {
            name += pieces[random() % pieces.size()];
        }
    }
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
}

TEST(PathMapping, EveryByteStringComesBackAndNoTwoMeet) {
    std::mt19937 random(11);
    std::map<Text, std::string> seen;
    for (int round = 0; round < 200000; round++) {
        const std::string name = RandomName(random);
        const Text engine = NameToEngine(name);
        ASSERT_EQ(NameToNative(engine), name);
        const auto [other, isNew] = seen.emplace(engine, name);
        ASSERT_TRUE(isNew || other->second == name);
        ASSERT_EQ(engine.find_first_of(_T("\\/:*?\"<>|")), Text::npos);
        ASSERT_TRUE(engine.back() != '.' && engine.back() != ' ');
    }
}

TEST(PathMapping, EverySingleByteAndEveryPairOfBytesComesBackAndNoTwoMeet) {
    std::unordered_set<Text> seen;
    const auto check = [&](const std::string& name) {
        const Text engine = NameToEngine(name);
        ASSERT_EQ(NameToNative(engine), name);
        ASSERT_TRUE(seen.insert(engine).second) << testing::PrintToString(name);
    };
    for (int first = 1; first < 256; first++) {
        for (int second = 0; second < 256; second++) {
            std::string name(1, static_cast<char>(first));
            if (second != 0) {
                name.push_back(static_cast<char>(second));
            }
            if (name.find('/') == std::string::npos) {
                ASSERT_NO_FATAL_FAILURE(check(name));
            }
        }
    }
    EXPECT_EQ(seen.size(), 254u + 254u * 254u);
}

TEST(PathMapping, EveryPathComesBack) {
    std::mt19937 random(13);
    for (int round = 0; round < 50000; round++) {
        std::string path;
        for (size_t depth = 1 + random() % 5; depth > 0; depth--) {
            std::string name = RandomName(random);
            path += '/' + (name == "." || name == ".." ? "x" : name);
        }
        ASSERT_EQ(ToNativePath(ToEnginePath(path)), path);
    }
}

TEST(PathMapping, NamesThatWindowsCouldNotHold) {
    EXPECT_EQ(NameToEngine("a."), _T("a\uF02E"));
    EXPECT_EQ(NameToEngine("a "), _T("a\uF020"));
    EXPECT_EQ(NameToEngine("a. b"), _T("a. b"));
    EXPECT_EQ(NameToEngine("a:b\\c"), _T("a\uF03Ab\uF05Cc"));
    EXPECT_EQ(NameToEngine(".hidden~\n"), _T(".hidden~\n"));
    EXPECT_EQ(NameToEngine("\xE9"), Text(1, static_cast<TCHAR>(0xDCE9)));
    EXPECT_EQ(NameToNative(_T("a\uF03Ab")), "a:b");
}

TEST(PathMapping, AFileOfEveryOddNameIsFoundByItsEnginePath) {
    test::TempFolder folder;
    for (const std::string name :
         {"a.", " ", "a\\b", "c:d", "\xFF\xFE", "\xEF\x80\xBA", "new\nline", "..."}) {
        folder.Write(name, name);
        EXPECT_EQ(ToNativePath(folder.Engine() + _T("\\") + NameToEngine(name)), folder.Native(name));
        EXPECT_EQ(folder.Read(name), name);
    }
}

TEST(PathMapping, ADisguisedWayUpIsRefused) {
    for (const Text& path :
         {Text(_T("C:\\a\\\uF02E\uF02E\\b")), Text(_T("C:\\a\\.\uF02E")), Text(_T("C:\\a\\\uF02E"))}) {
        SetLastError(kNoError);
        EXPECT_EQ(ToNativePath(path), "");
        EXPECT_EQ(LastError(), kInvalidName);
    }
}

// For texts that a person reads.
TEST(PathMapping, AShownPathIsTheSystemsOwn) {
    const std::pair<TextView, TextView> kPaths[] = {
        {_T("C:\\home\\me\\a b"), _T("/home/me/a b")},
        {_T("C:\\"), _T("/")},
        {_T("\\\\?\\C:\\home"), _T("/home")},
        {_T("C:\\a\xF03A" _T("b\xF05C"
                             _T("c"))),
         _T("/a:b\\c")},
        {_T("C:\\\xDCFF\x07"), _T("/\\xFF\\x07")},
        {_T("\\pc\\task\\a\xF03F"), _T("/pc/task/a?")},
        {_T("\\"), _T("/")},
        {_T("\\\\server\\share"), _T("\\\\server\\share")},
        {_T("/home/me"), _T("/home/me")},
        {_T("words: like these"), _T("words: like these")},
        {_T(""), _T("")},
    };
    SetLastError(kDiskFull);
    for (const auto& [path, shown] : kPaths) {
        EXPECT_EQ(ToUtf8(ShownPath(path)), ToUtf8(shown));
        EXPECT_EQ(ToUtf8(ShownPath(shown)), ToUtf8(shown)) << "shown once more it stays as it is";
    }
    EXPECT_EQ(LastError(), kDiskFull);
}

TEST(PathMapping, AShareHasToBeMounted) {
    for (const TextView share :
         {TextView(_T("\\\\server\\share")), TextView(_T("\\\\?\\UNC\\server\\share"))}) {
        SetLastError(kNoError);
        EXPECT_EQ(ToNativePath(share), "");
        EXPECT_EQ(LastError(), kBadNetworkPath);
    }
}

}  // namespace
}  // namespace rampart::platform
