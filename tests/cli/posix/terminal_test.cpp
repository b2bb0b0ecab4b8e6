// The program in front of a terminal: keys, and the display that they change.
#include "cli/cli_fixture.h"
#include "support/posix/terminal_program.h"

namespace rampart::test {

namespace {

using testing::HasSubstr;

TEST_F(Cli, KeysPauseARunLetItGoOnAndCancelIt) {
    MakeVault();
    TempFolder const tree;
    WriteHoles(tree, "d", 5);
    TerminalProgram program(
        {RAMPART_PROGRAM, "backup", tree.Native("d"), "--name", "d", "--no", "--vault", Vault()});
    ASSERT_TRUE(program.WaitFor("\r"));
    program.Press('p');
    ASSERT_TRUE(program.WaitFor("paused; ")) << program.Shown();
    program.Press('p');
    ASSERT_TRUE(program.WaitFor("\r")) << program.Shown();
    program.Press('q');
    EXPECT_EQ(6, program.End());
    EXPECT_THAT(program.Shown(), HasSubstr("Task 'd' cancelled"));
    ExpectClean();
}

TEST_F(Cli, AWatchedStatusEndsWithItsKey) {
    MakeVault();
    TempTree const tree({{"d/a", "one"}});
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "letters"}).exitCode);
    TerminalProgram program({RAMPART_PROGRAM, "status", "--watch", "--vault", Vault()});
    ASSERT_TRUE(program.WaitFor("letters  done")) << program.Shown();
    ASSERT_TRUE(program.WaitFor("q ends this display")) << program.Shown();
    program.Press('q');
    EXPECT_EQ(0, program.End());
}

}  // namespace

}  // namespace rampart::test
