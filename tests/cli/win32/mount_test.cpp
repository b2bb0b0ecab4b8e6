// A command of the other systems.
#include "cli/cli_fixture.h"

namespace rampart::test {

namespace {

TEST_F(Cli, MountSaysThatThisSystemHasNoSuchThing) {
    work.Write("look/", "");
    Outcome const outcome = Rampart({"mount", work.Native("look"), "--vault", Vault()});
    EXPECT_EQ(1, outcome.exitCode);
    EXPECT_THAT(outcome.err, testing::HasSubstr("cannot be mounted on Windows"));
    EXPECT_EQ("", outcome.out);
}

}  // namespace

}  // namespace rampart::test
