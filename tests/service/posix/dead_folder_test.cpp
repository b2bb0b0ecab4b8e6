// A source that does not answer, as a network folder whose server has gone: the rest goes on.
#include "service/programs.h"
#include "support/posix/dead_mount.h"

namespace rampart::test {

namespace {

using testing::HasSubstr;

TEST_F(ServiceProgram, FolderThatDoesNotAnswerHoldsUpItsOwnTaskOnly) {
    tree.Write("far/f", "f");
    AddDaily("docs", "docs");
    AddDaily("far", "far");
    ASSERT_EQ(0, Task({"add", tree.Native("far"), "--name", "always", "--realtime"}).exitCode);
    StartService();
    ASSERT_TRUE(WaitForLog("task 'always' done"));
    {
        DeadMount const dead(tree.Path("far"));
        if (!dead.IsMounted()) {
            GTEST_SKIP() << "needs the right to mount a file system";
        }
        ASSERT_EQ(0, Task({"run", "far", "--no-wait"}).exitCode);
        ASSERT_TRUE(WaitForLog("task 'far' started"));
        EXPECT_EQ("running", Show("far")["state"]);
        // The choice for all tasks arrives at once: another one has a place beside it.
        EXPECT_EQ(0, Rampart({"config", "set", "tasks-at-once", "2"}).exitCode);
        EXPECT_EQ(0, Task({"run", "docs"}).exitCode);
        EXPECT_EQ(0, Rampart({"config", "set", "tasks-at-once", "default"}).exitCode);
        Outcome const edit = Task({"edit", "far", "--versions", "5"});
        EXPECT_EQ(1, edit.exitCode);
        EXPECT_THAT(edit.err, HasSubstr("does not end; does one of its folders not answer?"));
        EXPECT_NE(5, Show("far")["versions"]);
        EXPECT_EQ("stopping", Show("far")["state"]);
        EXPECT_NE(0, Task({"run", "far"}).exitCode);
        // Its place is free again, and the tasks can be read anew.
        EXPECT_EQ(0, Task({"run", "docs"}).exitCode);
        EXPECT_EQ(0, Task({"delete", "docs"}).exitCode);
        EXPECT_EQ(0, StopService());
        EXPECT_THAT(Log(), HasSubstr("a run that does not end is left behind"));
        // A service that starts while the folder is dead.
        StartService();
        ASSERT_TRUE(WaitForLog("task 'always' started"));
        EXPECT_EQ("running", Show("always")["state"]);
    }
    EXPECT_TRUE(WaitForLog("task 'always' "));
    EXPECT_EQ(0, Task({"edit", "far", "--versions", "5"}).exitCode);
    EXPECT_EQ(0, Task({"run", "far"}).exitCode);
    EXPECT_EQ(0, StopService());
}

}  // namespace

}  // namespace rampart::test
