#include "platform/settings.h"

#include "support/temp_home.h"

namespace rampart::platform {
namespace {

using test::TempHome;

TEST(Settings, EveryTextComesBack) {
    TempHome home;
    const std::vector<Text> texts = {_T("plain"),
                                     _T(""),
                                     _T(" blanks "),
                                     _T("a=b"),
                                     _T("[x]"),
                                     _T("%25"),
                                     _T("100%"),
                                     _T("Software\\A\\B"),
                                     _T("line\r\nbreak"),
                                     _T("\u20AC"),
                                     Text(1, static_cast<TCHAR>(0xD800)),
                                     Text(_T("a\0b"), 3),
                                     _T("; no comment")};
    for (const Text& section : texts) {
        for (const Text& name : texts) {
            ASSERT_TRUE(WriteSetting(section, name, section + _T("/") + name));
        }
    }
    for (const Text& section : texts) {
        for (const Text& name : texts) {
            Text value;
            ASSERT_TRUE(ReadSetting(section, name, value));
            EXPECT_EQ(value, section + _T("/") + name);
        }
    }
}

TEST(Settings, AreChangedAndRemovedOneByOne) {
    TempHome home;
    Text value = _T("untouched");
    EXPECT_FALSE(ReadSetting(_T("s"), _T("a"), value));
    EXPECT_EQ(value, _T("untouched"));
    EXPECT_TRUE(WriteSetting(_T("s"), _T("a"), _T("1")));
    EXPECT_TRUE(WriteSetting(_T("s"), _T("b"), _T("2")));
    EXPECT_TRUE(WriteSetting(_T("s"), _T("a"), _T("3")));
    EXPECT_TRUE(RemoveSetting(_T("s"), _T("b")));
    EXPECT_FALSE(RemoveSetting(_T("s"), _T("b")));
    EXPECT_FALSE(ReadSetting(_T("s"), _T("b"), value));
    ASSERT_TRUE(ReadSetting(_T("s"), _T("a"), value));
    EXPECT_EQ(value, _T("3"));
}

TEST(Settings, AFileThatCannotBeReadIsNotReplaced) {
    TempHome home;
    home.Write("data/rampart/settings.ini/in-the-way", "x");
    Text value;
    EXPECT_FALSE(ReadSetting(_T("s"), _T("a"), value));
    EXPECT_FALSE(WriteSetting(_T("s"), _T("a"), _T("1")));
    EXPECT_TRUE(home.Exists("data/rampart/settings.ini/in-the-way"));
    EXPECT_FALSE(home.Exists("data/rampart/settings.ini.new"));
}

TEST(Settings, WritersAtOneTimeLoseNothing) {
    TempHome home;
    constexpr int kWriters = 4;
    constexpr int kValues = 25;
    std::vector<std::thread> writers;
    std::atomic<int> failures = 0;
    for (int writer = 0; writer < kWriters; writer++) {
        writers.emplace_back([&, writer] {
            const Text section(1, static_cast<TCHAR>('A' + writer % 2));
            for (int i = 0; i < kValues; i++) {
                const Text name = FromUtf8(std::to_string(writer) + "." + std::to_string(i));
                Text value;
                if (!WriteSetting(section, name, name) || !ReadSetting(section, name, value) ||
                    value != name) {
                    failures++;
                }
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(failures, 0);
    for (int writer = 0; writer < kWriters; writer++) {
        for (int i = 0; i < kValues; i++) {
            Text value;
            EXPECT_TRUE(ReadSetting(Text(1, static_cast<TCHAR>('A' + writer % 2)),
                                    FromUtf8(std::to_string(writer) + "." + std::to_string(i)), value));
        }
    }
}

}  // namespace
}  // namespace rampart::platform
