#include "platform/text.h"

#include <random>

#include "platform/error.h"

namespace rampart::platform {
namespace {

TEST(Text, EveryTextComesBackFromUtf8) {
    std::mt19937 random(7);
    for (int round = 0; round < 20000; round++) {
        Text text;
        const bool surrogatesOnly = round % 3 == 0;
        for (size_t length = random() % 12; length > 0; length--) {
            text.push_back(
                static_cast<TCHAR>(surrogatesOnly ? 0xD7F0 + random() % 0x820 : random() % 0x10000));
        }
        ASSERT_EQ(FromUtf8(ToUtf8(text)), text);
    }
}

TEST(Text, WritesOneFormForEachCodePoint) {
    EXPECT_EQ(ToUtf8(_T("a\u00e9\u20ac\U0001F600")), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(FromUtf8("\xF4\x8F\xBF\xBF"), _T("\U0010FFFF"));
}

TEST(Text, BytesThatAreNotTextBecomeTheReplacementCharacter) {
    const Text bad(1, static_cast<TCHAR>(0xFFFD));
    EXPECT_EQ(FromUtf8("a\xFF"
                       "b"),
              _T("a") + bad + _T("b"));
    EXPECT_EQ(FromUtf8("\xC0\x80"), bad + bad);                      // overlong
    EXPECT_EQ(FromUtf8("\xE0\x9F\xBF"), bad + bad + bad);            // overlong
    EXPECT_EQ(FromUtf8("\xF4\x90\x80\x80"), bad + bad + bad + bad);  // past the last code point
    EXPECT_EQ(FromUtf8("\xE2\x82"), bad + bad);                      // cut
    EXPECT_EQ(FromUtf8("\xE2z"), bad + _T("z"));
}

TEST(Error, EveryNumberHasASentence) {
    EXPECT_EQ(ErrorText(kFileNotFound), _T("The system cannot find the file specified."));
    EXPECT_EQ(ErrorText(4711), _T("The operation failed with error 4711."));
    EXPECT_FALSE(ErrorText(kNoError).empty());
}

TEST(Error, EachThreadHasItsOwn) {
    SetLastError(kAccessDenied);
    std::thread([] {
        EXPECT_EQ(LastError(), kNoError);
        SetLastError(kDiskFull);
    }).join();
    EXPECT_EQ(LastError(), kAccessDenied);
}

}  // namespace
}  // namespace rampart::platform
