// The system's code page decides, not the look of the bytes.
#include <gtest/gtest.h>

#include "platform/text.h"
#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

TEST(CodePage, IsTheSystems) {
    EXPECT_EQ(FromCodePage(""), L"");
    EXPECT_EQ(FromCodePage(std::string_view("a\0b", 3)), Text(L"a\0b", 3));
    if (GetACP() != 1252) {
        GTEST_SKIP() << "code page " << GetACP();
    }
    EXPECT_EQ(FromCodePage("\x80 Gr\xFC"), L"\u20AC Gr\u00FC");
    EXPECT_EQ(FromCodePage("\xC3\xBC"), L"\u00C3\u00BC");
}

}  // namespace
}  // namespace rampart::platform
