// Settings of a user whose data was not moved: they lie in the registry.
#include "platform/error.h"
#include "platform/settings.h"
#include "support/temp_home.h"

namespace rampart::platform {
namespace {

TEST(RegistrySettings, EveryTextComesBackAndGoes) {
    const test::ScopedVariable home("RAMPART_HOME", "");
    const Text section = L"Test\\of registry " + FromUtf8(std::to_string(ProcessId()));
    const std::vector<Text> texts = {L"plain",       L"", L"a\\b", L"%5C", L"\u20AC", Text(L"a\0b", 3),
                                     Text(300, L'x')};
    for (const Text& text : texts) {
        const Text name = text.substr(0, 200);
        ASSERT_TRUE(WriteSetting(section, name, text)) << LastError();
        Text value;
        ASSERT_TRUE(ReadSetting(section, name, value));
        EXPECT_EQ(value, text);
    }
    for (const Text& text : texts) {
        EXPECT_TRUE(RemoveSetting(section, text.substr(0, 200)));
        SetLastError(kNoError);
        EXPECT_FALSE(RemoveSetting(section, text.substr(0, 200)));
        EXPECT_EQ(LastError(), kFileNotFound);
        Text value = L"untouched";
        EXPECT_FALSE(ReadSetting(section, text.substr(0, 200), value));
        EXPECT_EQ(value, L"untouched");
    }
}

}  // namespace
}  // namespace rampart::platform
