// BackupService beside the command line: tasks run at their time, changes arrive, ends of every kind lose
// nothing.
#include "service/programs.h"

namespace rampart::test {

namespace {

using testing::HasSubstr;

TEST_F(ServiceProgram, SecondOneSaysSoAndEnds) {
    StartService();
    EXPECT_EQ(1, Launch(RAMPART_SERVICE, {}, "second")->Wait());
    EXPECT_THAT(work.Read("second.err"), HasSubstr("another BackupService runs already"));
    EXPECT_EQ(0, StopService());
    EXPECT_THAT(Log(), HasSubstr("stopped"));
    EXPECT_EQ(0, Launch(RAMPART_SERVICE, {"--stop"}, "second")->Wait());
    EXPECT_THAT(work.Read("second"), HasSubstr("no BackupService runs"));
    EXPECT_EQ(2, Launch(RAMPART_SERVICE, {"--no-such-option"}, "second")->Wait());
    EXPECT_EQ(0, Launch(RAMPART_SERVICE, {"--help"}, "second")->Wait());
}

TEST_F(ServiceProgram, DueTaskRunsAtItsTimeAndOnce) {
    StartService();
    std::time_t const minute = std::time(nullptr) / 60 * 60 + 60;
    char moment[32];
    std::strftime(moment, sizeof moment, "%Y-%m-%dT%H:%M", std::localtime(&minute));
    Outcome const added = Task({"add", tree.Native("docs"), "--name", "docs", "--once", moment});
    // The minute may have begun while the program started.
    if (added.exitCode == 2) {
        GTEST_SKIP() << added.err;
    }
    ASSERT_EQ(0, added.exitCode) << added.err;
    ASSERT_TRUE(WaitForLog("task 'docs' done"));
    EXPECT_GE(std::time(nullptr), minute);
    EXPECT_THAT(Task({"next", "docs"}).out, HasSubstr("its one run was made today"));
    ASSERT_EQ(0, StopService());
    StartService();
    ASSERT_TRUE(WaitForLog("nothing is planned"));
    EXPECT_EQ(std::string::npos, Log().find("task 'docs' started"));
    EXPECT_THAT(Rampart({"ls", "-r", "docs"}).out, HasSubstr("a.txt"));
}

TEST_F(ServiceProgram, ChangesOfTheCommandLineArriveAtOnce) {
    StartService();
    AddDaily("docs", "docs");
    EXPECT_TRUE(WaitForLog("Task 'docs' is added"));
    EXPECT_TRUE(WaitForLog("next is task 'docs'"));
    ASSERT_EQ(0, Task({"edit", "docs", "--weekly", "sun 04:05", "--versions", "3"}).exitCode);
    EXPECT_TRUE(WaitUntil([&] { return Log().find("04:05") != std::string::npos; }));
    EXPECT_EQ(3, Show("docs")["versions"]);
    Outcome const ran = Task({"run", "docs", "--json"});
    EXPECT_EQ(0, ran.exitCode) << ran.err;
    EXPECT_EQ("done", ran.Json()["state"]);
    ASSERT_EQ(0, Task({"disable", "docs"}).exitCode);
    Outcome const refused = Task({"run", "docs"});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_THAT(refused.err, HasSubstr("disabled"));
    EXPECT_EQ(2, Task({"edit", "nobody", "--versions", "3"}).exitCode);
    ASSERT_EQ(0, Task({"delete", "docs"}).exitCode);
    EXPECT_EQ(nlohmann::json::array(), Task({"list", "--json"}).Json());
    EXPECT_EQ(0, StopService());
    EXPECT_EQ(nlohmann::json::array(), Task({"list", "--json"}).Json());
}

TEST_F(ServiceProgram, BackupBesideTheServiceIsSeenAndNotRepeated) {
    StartService();
    ASSERT_EQ(0, Rampart({"backup", tree.Native("docs"), "--name", "docs"}).exitCode);
    EXPECT_TRUE(WaitForLog("read changed tasks: 1 task now"));
    EXPECT_THAT(Task({"next", "docs"}).out, HasSubstr("its one run was made today"));
    EXPECT_EQ(std::string::npos, Log().find("task 'docs' started"));
}

// It may run for months without a start of any program that would trim it.
TEST_F(ServiceProgram, EventLogIsTrimmedAtTheEndOfARun) {
    constexpr int kMany = 1000;
    WriteMany("big");
    AddDaily("big", "big");
    ASSERT_EQ(0, Rampart({"backup", tree.Native("docs"), "--name", "docs"}).exitCode);
    StartService();
    ASSERT_EQ(0, Task({"run", "big", "--no-wait"}).exitCode);
    ASSERT_TRUE(WaitForLog("task 'big' started"));
    RepeatEvents(2 * kMany);  // the run has not ended: it has thousands of files to send
    ASSERT_EQ(std::string::npos, Log().find("task 'big' done"));
    ASSERT_TRUE(WaitForLog("task 'big' done"));
    constexpr int kLast = 10;  // the run's own last words may come behind it
    EXPECT_TRUE(WaitUntil([&] { return EventCount() <= kMany + kLast; })) << EventCount();
}

TEST_F(ServiceProgram, CommandForAnotherVaultIsCarriedOutThereAndSaysSo) {
    StartService();
    vaultPlace = work.Native("second");
    MakeVault();
    Outcome const added = Task({"add", tree.Native("docs"), "--name", "docs", "--daily", "02:30"});
    ASSERT_EQ(0, added.exitCode) << added.err;
    EXPECT_THAT(added.out, HasSubstr("BackupService works on another vault"));
    EXPECT_THAT(Task({"next"}).out, HasSubstr("BackupService works on another vault"));
    EXPECT_EQ(0, Task({"run", "docs"}).exitCode);
    EXPECT_EQ(std::string::npos, Log().find("docs"));
}

TEST_F(ServiceProgram, StopCutsARunShortAndTheNextStartGoesOn) {
    tree.Write("big/first", "");
    AddDaily("big", "big");
    ASSERT_NO_FATAL_FAILURE(CutARunShort());
    EXPECT_THAT(Task({"next", "big"}).out, HasSubstr("its last run was cut short"));
    StartService();
    EXPECT_TRUE(WaitForLog("task 'big' done"));
    EXPECT_EQ(0, StopService());
    EXPECT_EQ(0, Rampart({"vault", "verify"}).exitCode);
    EXPECT_THAT(Show("big")["nextText"].get<std::string>(), HasSubstr("it runs daily at that time"));
}

// At its start, while it scans and sends, while a change arrives, at the end of a run.
TEST_F(ServiceProgram, KilledAtAnyMomentItMakesWhatIsDue) {
    constexpr int kKills = 15;
    constexpr std::chrono::milliseconds kLater{150};
    tree.Write("big/first", "");
    AddDaily("big", "big");
    ASSERT_NO_FATAL_FAILURE(CutARunShort());
    std::chrono::milliseconds delay{0};
    for (int i = 0; i < kKills; ++i) {
        SCOPED_TRACE(i);
        StartService();
        std::unique_ptr<ChildProcess> edit;
        if (i % 3 == 1) {
            edit = Launch(RAMPART_PROGRAM, {"task", "edit", "big", "--versions", std::to_string(20 + i)},
                          "edit");
        }
        std::this_thread::sleep_for(delay);
        m_service->Kill();
        WaitForService();
        if (edit) {
            edit->Wait();  // it may have come too late
        }
        delay += kLater;
        if (Log().find("task 'big' done") != std::string::npos) {
            ASSERT_NO_FATAL_FAILURE(CutARunShort());
            delay = std::chrono::milliseconds(50);
        }
    }
    StartService();
    EXPECT_TRUE(WaitForLog("task 'big' done"));
    EXPECT_EQ(0, StopService());
    nlohmann::json const task = Show("big");
    EXPECT_EQ("done", task["state"]);
    EXPECT_EQ("daily at 02:30", task["schedule"]);
    EXPECT_THAT(task["date"].get<std::string>(), testing::EndsWith("02:30:00"));
    EXPECT_THAT(task["nextText"].get<std::string>(), HasSubstr("it runs daily at that time"));
    EXPECT_EQ((nlohmann::json{tree.Native("big")}), task["sources"]);
    ExpectClean();
    ExpectRestores("big", tree.Path("big"));
}

TEST_F(ServiceProgram, KilledServiceStartsAgainWithTheSameTasksAndDates) {
    WriteMany("big");
    AddDaily("big", "big");
    AddDaily("docs", "docs");
    ASSERT_EQ(0, Task({"run", "docs"}).exitCode);
    StartService();
    ASSERT_EQ(0, Task({"run", "big", "--no-wait"}).exitCode);
    ASSERT_TRUE(WaitForLog("task 'big' started"));
    m_service->Kill();
    WaitForService();
    nlohmann::json const before = Task({"list", "--json"}).Json();
    StartService();
    EXPECT_TRUE(WaitForLog("2 tasks"));
    nlohmann::json const after = Task({"list", "--json"}).Json();
    ASSERT_EQ(2u, after.size());
    for (size_t i = 0; i < after.size(); ++i) {
        for (char const* const key :
             {"task", "schedule", "date", "lastRun", "sources", "versions", "folder"}) {
            EXPECT_EQ(before[i][key], after[i][key]) << key;
        }
    }
    EXPECT_EQ(0, Task({"run", "big"}).exitCode);
    EXPECT_EQ(0, StopService());
    EXPECT_EQ(0, Rampart({"vault", "verify"}).exitCode);
}

TEST_F(ServiceProgram, RunThatWasKilledBeforeItsEndIsMadeByTheService) {
    WriteMany("big");
    auto const child = Launch(RAMPART_PROGRAM, {"backup", tree.Native("big"), "--name", "big"}, "first");
    ASSERT_TRUE(WaitUntil([&] { return Task({"show", "big"}).exitCode == 0; }));
    child->Kill();
    child->Wait();
    bool const wasDone = Show("big")["lastRun"] != "never";
    StartService();
    EXPECT_TRUE(wasDone || WaitForLog("task 'big' done"));
}

TEST_F(ServiceProgram, EditEndsTheRunAndBeginsItAnew) {
    WriteMany("big");
    AddDaily("big", "big");
    StartService();
    ASSERT_EQ(0, Task({"run", "big", "--no-wait"}).exitCode);
    Outcome const edited = Task({"edit", "big", "--versions", "3"});
    ASSERT_EQ(0, edited.exitCode) << edited.err;
    ASSERT_TRUE(WaitForLog("task 'big' done"));
    EXPECT_EQ(3, Show("big")["versions"]);
    EXPECT_EQ(0, Rampart({"vault", "verify"}).exitCode);
}

TEST_F(ServiceProgram, WhatARunLeftOutIsToldEachTime) {
    AddDaily("more", "more");
    std::filesystem::remove_all(tree.Path("more"));
    StartService();
    for (int round = 0; round < 2; ++round) {
        Outcome const ran = Task({"run", "more"});
        EXPECT_EQ(3, ran.exitCode);
        EXPECT_THAT(ran.err, HasSubstr("is not there"));
    }
}

TEST_F(ServiceProgram, FailedTaskThatWaitsForItsTurnRuns) {
    WriteMany("big");
    AddDaily("big", "big");
    AddDaily("docs", "docs");
    // Where a file takes the place of the packs nothing can be stored.
    std::filesystem::rename(work.Path("vault/packs"), work.Path("vault/kept"));
    work.Write("vault/packs", "");
    StartService();
    EXPECT_EQ(1, Task({"run", "docs"}).exitCode);
    std::filesystem::remove(work.Path("vault/packs"));
    std::filesystem::rename(work.Path("vault/kept"), work.Path("vault/packs"));
    ASSERT_EQ(0, Task({"run", "big", "--no-wait"}).exitCode);
    Outcome const ran = Task({"run", "docs"});
    EXPECT_EQ(0, ran.exitCode) << ran.err;
}

TEST_F(Cli, ExampleOfAHostBacksUpAFolderThroughExportedNamesOnly) {
    TempTree const tree({{"docs/a.txt", "a"}});
    for (char const* const said : {"1 file looked at, 1 new", "1 file looked at, 0 new"}) {
        auto const example = ChildProcess::Start(
            {RAMPART_EXAMPLE, {Vault(), tree.Native("docs")}, work.Native("out"), work.Native("err")});
        ASSERT_TRUE(example);
        EXPECT_EQ(0, example->Wait()) << work.Read("err");
        EXPECT_THAT(work.Read("out"), HasSubstr(said));
    }
}

}  // namespace

}  // namespace rampart::test
