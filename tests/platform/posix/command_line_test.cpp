#include "platform/posix/command_line.h"

namespace rampart::platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Split(std::string_view line) {
    std::vector<std::string> words;
    EXPECT_TRUE(SplitCommandLine(line, words)) << line;
    return words;
}

TEST(SplitCommandLine, AsAShellDoesWithoutExpansion) {
    EXPECT_THAT(Split("  a  b\tc\n"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(Split(R"('a b' "c d" e\ f)"), ElementsAre("a b", "c d", "e f"));
    EXPECT_THAT(Split(R"(a'b'"c"d)"), ElementsAre("abcd"));
    EXPECT_THAT(Split(R"("" '' x)"), ElementsAre("", "", "x"));
    EXPECT_THAT(Split(R"("C:\dir\file" "say \"x\" \\ \$")"), ElementsAre(R"(C:\dir\file)", R"(say "x" \ $)"));
    EXPECT_THAT(Split(R"('a\b"' $HOME * ~ `x`)"), ElementsAre(R"(a\b")", "$HOME", "*", "~", "`x`"));
    EXPECT_THAT(Split("a\\"), ElementsAre("a\\"));
    EXPECT_THAT(Split(" "), IsEmpty());
    std::vector<std::string> words;
    EXPECT_FALSE(SplitCommandLine("a 'b", words));
    EXPECT_FALSE(SplitCommandLine("a \"b\\\"", words));
}

}  // namespace
}  // namespace rampart::platform
