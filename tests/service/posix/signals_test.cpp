// What the system and its file systems have that others have not: signals to the service, and entries that no
// backup can hold.
#include <signal.h>
#include <sys/stat.h>

#include "service/programs.h"
#include "support/posix/terminal_program.h"

namespace rampart::test {

namespace {

using testing::HasSubstr;

TEST_F(ServiceProgram, EndsBySignalsAsByTheWishOfAPerson) {
    WriteMany("big");
    AddDaily("big", "big");
    for (int const signal : {SIGTERM, SIGINT}) {
        StartService();
        Task({"run", "big", "--no-wait"});
        kill(m_service->Id(), signal);
        EXPECT_EQ(0, WaitForService());
        EXPECT_THAT(Log(), HasSubstr("stopped"));
    }
    EXPECT_EQ(0, Rampart({"vault", "verify"}).exitCode);
}

TEST_F(ServiceProgram, HangupReadsWhatAnotherMachineWrote) {
    StartService();
    {
        // Another home is another machine: it does not know of this service.
        TempHome const other;
        AddDaily("theirs", "docs");
    }
    kill(m_service->Id(), SIGHUP);
    EXPECT_TRUE(WaitForLog("read changed tasks: 1 task now"));
    EXPECT_THAT(Task({"next", "theirs"}).out, HasSubstr("does not run by itself: the machine"));
    Outcome const refused = Task({"run", "theirs"});
    EXPECT_EQ(2, refused.exitCode);
    EXPECT_THAT(refused.err, HasSubstr("is one of the machine"));
    EXPECT_EQ(2, Task({"edit", "theirs", "--versions", "3"}).exitCode);
}

TEST_F(ServiceProgram, KeysReachARunOfTheServiceFromTheRunAndFromTheStatus) {
    TempFolder const holes;
    WriteHoles(holes, "d", 5);
    ASSERT_EQ(0, Task({"add", holes.Native("d"), "--name", "d", "--daily", "02:30"}).exitCode);
    StartService();
    TerminalProgram run({RAMPART_PROGRAM, "task", "run", "d", "--vault", Vault()});
    TerminalProgram status({RAMPART_PROGRAM, "status", "--watch", "--vault", Vault()});
    ASSERT_TRUE(run.WaitFor("\r"));
    ASSERT_TRUE(status.WaitFor("d  running")) << status.Shown();
    run.Press('p');
    EXPECT_TRUE(status.WaitFor("paused; ")) << status.Shown();
    status.Press('p');
    EXPECT_TRUE(WaitForLog("task 'd' goes on as asked"));
    run.Press('q');
    EXPECT_EQ(6, run.End());
    EXPECT_TRUE(status.WaitFor("d  cancelled")) << status.Shown();
    Outcome const limited = Task({"run", "d", "--limit", "10"});
    EXPECT_EQ(2, limited.exitCode);
    EXPECT_THAT(limited.err, HasSubstr("CopySpeedCap"));
}

// Twice: nothing is forgotten because it was told once.
TEST_F(ServiceProgram, WhatNoBackupHoldsIsToldOfEachRun) {
    ASSERT_EQ(0, mkfifo(tree.Native("docs/pipe").c_str(), 0600));
    AddDaily("docs", "docs");
    AddDaily("more", "more");
    StartService();
    for (int round = 0; round < 2; ++round) {
        Outcome const ran = Task({"run", "docs"});
        EXPECT_EQ(3, ran.exitCode);
        EXPECT_THAT(ran.err, HasSubstr(tree.Native("docs/pipe")));
        Outcome const other = Task({"run", "more", "--json"});
        EXPECT_EQ(0, other.exitCode);
        EXPECT_TRUE(other.Json()["notProtected"].empty());
    }
    EXPECT_THAT(Log(), HasSubstr("1 path not protected"));
    EXPECT_THAT(Task({"show", "docs"}).err, HasSubstr("docs/pipe"));
}

}  // namespace

}  // namespace rampart::test
