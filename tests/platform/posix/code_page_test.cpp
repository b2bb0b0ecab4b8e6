#include <gtest/gtest.h>

#include "platform/text.h"

namespace rampart::platform {
namespace {

TEST(CodePage, IsUtf8OrLatin1WhereThatIsNotValid) {
    EXPECT_EQ(FromCodePage(""), _T(""));
    EXPECT_EQ(FromCodePage("Gr\xC3\xBC"), _T("Gr\u00FC"));
    EXPECT_EQ(FromCodePage("Gr\xFC"), _T("Gr\u00FC"));
    EXPECT_EQ(FromCodePage("\xC3\xBC and \xFC"), _T("\u00C3\u00BC and \u00FC"))
        << "one code for the whole text";
}

}  // namespace
}  // namespace rampart::platform
