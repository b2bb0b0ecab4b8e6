// rampart task without a service: the list, its dates, and what is refused.
#include "service/programs.h"

namespace rampart::test {

namespace {

using testing::HasSubstr;

class TaskCommands : public Programs {
protected:
    TempTree tree{{{"docs/a.txt", "a"}, {"docs/skip.log", "l"}, {"more/b.txt", "b"}}};
    std::vector<std::string> AddDocs(std::vector<std::string> const& rest) {
        std::vector<std::string> arguments{"add", tree.Native("docs"), "--name", "docs"};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return arguments;
    }
};

TEST_F(TaskCommands, TaskKeepsWhatWasTyped) {
    Outcome const added = Task({"add", tree.Native("docs"), tree.Native("more/b.txt"), "--name", "docs",
                                "--weekly", "mon,thu", "22:00", "--versions", "7", "--exclude", "*.log",
                                "--exclude", "build/", "--to", "/kept/here", "--window", "2020-01-01.."});
    ASSERT_EQ(0, added.exitCode) << added.err;
    EXPECT_THAT(added.out, HasSubstr("BackupService is not running"));
    nlohmann::json const task = Show("docs");
    EXPECT_EQ("weekly", task["mode"]);
    EXPECT_EQ("every Mon Thu at 22:00", task["schedule"]);
    EXPECT_EQ(7, task["versions"]);
    EXPECT_EQ((nlohmann::json{tree.Native("docs"), tree.Native("more/b.txt")}), task["sources"]);
    EXPECT_EQ((nlohmann::json{"*.log", "build/"}), task["exclude"]);
    EXPECT_EQ("/kept/here", task["folder"]);
    EXPECT_THAT(task["window"].get<std::string>(), HasSubstr("2020-01-01 00:00:00"));
    EXPECT_EQ("never", task["lastRun"]);
    EXPECT_THAT(task["next"].get<std::string>(), HasSubstr("22:00:00"));
}

TEST_F(TaskCommands, EditChangesOnlyWhatIsNamed) {
    ASSERT_EQ(0, Task(AddDocs({"--daily", "02:30", "--versions", "7", "--to", "/kept/here"})).exitCode);
    ASSERT_EQ(0, Task({"run", "docs"}).exitCode);
    ASSERT_EQ(0, Task({"edit", "docs", "--versions", "3", "--add", tree.Native("more")}).exitCode);
    nlohmann::json task = Show("docs");
    EXPECT_EQ(3, task["versions"]);
    EXPECT_EQ("daily at 02:30", task["schedule"]);
    EXPECT_EQ("/kept/here", task["folder"]);
    EXPECT_EQ(2u, task["sources"].size());
    EXPECT_NE("never", task["lastRun"]);

    ASSERT_EQ(0, Task({"edit", "docs", "--drop", tree.Native("more"), "--once", "2090-12-01T08:00",
                       "--include", "*.txt"})
                     .exitCode);
    task = Show("docs");
    EXPECT_EQ("2090-12-01 08:00:00", task["next"]);
    EXPECT_EQ(1u, task["sources"].size());
    EXPECT_EQ((nlohmann::json{"*.txt"}), task["include"]);
}

TEST_F(TaskCommands, RenamedTaskTakesItsFolderAlong) {
    ASSERT_EQ(0, Task(AddDocs({"--daily", "02:30"})).exitCode);
    ASSERT_EQ(0, Task({"run", "docs"}).exitCode);
    ASSERT_EQ(0, Task({"edit", "docs", "--rename", "papers"}).exitCode);
    EXPECT_EQ(2, Task({"show", "docs"}).exitCode);
    EXPECT_THAT(Show("papers")["folder"].get<std::string>(), testing::EndsWith("/papers"));
    EXPECT_THAT(Rampart({"ls", "-r", "papers"}).out, HasSubstr("a.txt"));
    Outcome const again = Rampart({"task", "run", "papers", "--json"});
    EXPECT_EQ(0, again.Json()["transferred"]);
}

TEST_F(TaskCommands, WindowThatComesLaterHoldsUpTheOneRun) {
    ASSERT_EQ(0, Task(AddDocs({"--once", "2090-12-01T08:00"})).exitCode);
    EXPECT_EQ(2, Task({"edit", "docs", "--window", "2090-12-02.."}).exitCode);
    EXPECT_EQ(2, Task({"edit", "docs", "--window", "..2090-11-30"}).exitCode);
    ASSERT_EQ(0, Task({"edit", "docs", "--window", "2090-12-01..2090-12-02"}).exitCode);
    EXPECT_THAT(Task({"next", "docs"}).out, HasSubstr("on Fri 2090-12-01 at 08:00: it runs once"));
}

TEST_F(TaskCommands, RunTransfersAndMovesTheDate) {
    ASSERT_EQ(0, Task(AddDocs({"--daily", "02:30", "--exclude", "*.log"})).exitCode);
    Outcome const ran = Task({"run", "docs", "--json"});
    ASSERT_EQ(0, ran.exitCode) << ran.err;
    EXPECT_EQ(1, ran.Json()["transferred"]);
    EXPECT_NE("never", Show("docs")["lastRun"]);
    EXPECT_THAT(Show("docs")["nextText"].get<std::string>(), HasSubstr("it runs daily at that time"));
}

TEST_F(TaskCommands, DisabledTaskDoesNotRun) {
    ASSERT_EQ(0, Task(AddDocs({"--daily", "02:30", "--disabled"})).exitCode);
    EXPECT_THAT(Task({"next", "docs"}).out, HasSubstr("does not run by itself: it is disabled"));
    Outcome const refused = Task({"run", "docs"});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_THAT(refused.err, HasSubstr("disabled"));
    ASSERT_EQ(0, Task({"enable", "docs"}).exitCode);
    EXPECT_EQ(0, Task({"run", "docs"}).exitCode);
    ASSERT_EQ(0, Task({"disable", "docs"}).exitCode);
    EXPECT_EQ("disabled", Show("docs")["state"]);
}

TEST_F(TaskCommands, DeletedTaskLeavesItsBackupUnlessToldOtherwise) {
    ASSERT_EQ(0, Task(AddDocs({"--daily", "02:30", "--to", "/kept/docs"})).exitCode);
    ASSERT_EQ(0, Task({"run", "docs"}).exitCode);
    ASSERT_EQ(0, Task({"delete", "docs"}).exitCode);
    EXPECT_EQ(nlohmann::json::array(), Task({"list", "--json"}).Json());
    EXPECT_THAT(Rampart({"ls", "-r", "/kept/docs"}).out, HasSubstr("a.txt"));

    ASSERT_EQ(0, Task(AddDocs({"--daily", "02:30", "--to", "/kept/docs"})).exitCode);
    ASSERT_EQ(0, Task({"delete", "docs", "--with-backup", "--yes"}).exitCode);
    EXPECT_NE(0, Rampart({"ls", "-r", "/kept/docs"}).exitCode);

    ASSERT_EQ(0, Task(AddDocs({"--daily", "02:30", "--to", "/"})).exitCode);
    Outcome const refused = Task({"delete", "docs", "--with-backup", "--yes"});
    EXPECT_EQ(2, refused.exitCode);
    EXPECT_THAT(refused.err, HasSubstr("root of the vault"));
    EXPECT_EQ(0, Task({"delete", "docs"}).exitCode);
}

TEST_F(TaskCommands, EachTaskHasAFolderOfItsOwn) {
    ASSERT_EQ(0, Task(AddDocs({"--daily", "02:30", "--to", "/kept/papers"})).exitCode);
    std::vector<std::string> const add{"add", tree.Native("more"), "--name", "more", "--daily", "02:30",
                                       "--to"};
    for (char const* const folder :
         {"/kept/papers", "/Kept/PAPERS/", "/kept/papers/deep", "/kept", "/", "docs", "/elsewhere/papers"}) {
        std::vector<std::string> arguments = add;
        arguments.emplace_back(folder);
        Outcome const refused = Task(arguments);
        EXPECT_EQ(2, refused.exitCode) << folder;
        EXPECT_THAT(refused.err, HasSubstr("the task 'docs' is stored in /kept/papers")) << folder;
    }
    std::vector<std::string> arguments = add;
    arguments.emplace_back("/kept/papers-2");
    ASSERT_EQ(0, Task(arguments).exitCode);
    EXPECT_EQ(2, Task({"edit", "more", "--rename", "papers"}).exitCode);
    EXPECT_EQ("/kept/papers-2", Show("more")["folder"]);
    for (char const* const name : {"docs", "more"}) {
        ASSERT_EQ(0, Task({"run", name}).exitCode);
    }
    ASSERT_EQ(0, Task({"delete", "docs", "--with-backup", "--yes"}).exitCode);
    EXPECT_THAT(Rampart({"ls", "-r", "more"}).out, HasSubstr("b.txt"));
}

TEST_F(TaskCommands, WrongUseChangesNothing) {
    ASSERT_EQ(0, Task(AddDocs({"--daily", "02:30"})).exitCode);
    nlohmann::json const before = Task({"list", "--json"}).Json();
    std::string const docs = tree.Native("docs");
    std::vector<std::vector<std::string>> const wrong{
        {"add", docs, "--name", "docs", "--daily", "03:00"},          // taken
        {"add", docs, "--name", "x"},                                 // no schedule
        {"add", docs, "--name", "x", "--daily", "25:00"},             //
        {"add", docs, "--name", "x", "--weekly", "mon,foo", "2:00"},  //
        {"add", docs, "--name", "x", "--once", "2020-01-01T00:00"},   // past
        {"add", docs, "--name", "x", "--once", "2090-02-30T00:00"},   // no such day
        {"add", docs, "--name", "x", "--daily", "2:00", "--realtime"},
        {"add", docs, "--name", "x", "--daily", "2:00", "--window", "2031-01-01..2030-01-01"},
        {"add", docs, "--name", "x", "--daily", "2:00", "--window", "..2001-01-01"},
        {"add", docs, "--name", "a/b", "--daily", "2:00"},
        {"add", tree.Native("gone"), "--name", "x", "--daily", "2:00"},
        {"add", "--name", "x", "--daily", "2:00"},
        {"edit", "nobody", "--daily", "2:00"},
        {"edit", "docs", "--drop", docs},           // its last source
        {"edit", "docs", "--drop", tree.Native()},  // not one of its sources
        {"edit", "docs", "--include", "a", "--exclude", "b"},
        {"edit", "docs"},
        {"add", docs, "--name", "x", "--daily", "2:00", "--to", "/RampartData/Backup/History"},
        {"run", "nobody"},
        {"delete", "nobody"},
        {}};
    for (std::vector<std::string> const& arguments : wrong) {
        Outcome const outcome = Task(arguments);
        EXPECT_EQ(2, outcome.exitCode) << testing::PrintToString(arguments) << outcome.out;
        EXPECT_FALSE(outcome.err.empty()) << testing::PrintToString(arguments);
    }
    EXPECT_EQ(before, Task({"list", "--json"}).Json());
}

TEST_F(TaskCommands, ProgramsThatStartTogetherOnANewMachineAreOfOneMachine) {
    std::vector<std::unique_ptr<ChildProcess>> programs;
    for (int i = 0; i < 6; ++i) {
        std::string const name = "t" + std::to_string(i);
        tree.Write(name + "/a", "a");
        programs.push_back(Launch(RAMPART_PROGRAM, {"backup", tree.Native(name), "--name", name}, name));
    }
    for (size_t i = 0; i < programs.size(); ++i) {
        EXPECT_EQ(0, programs[i]->Wait()) << work.Read("t" + std::to_string(i) + ".err");
    }
    nlohmann::json const tasks = Task({"list", "--json"}).Json();
    EXPECT_EQ(programs.size(), tasks.size());
    for (nlohmann::json const& task : tasks) {
        EXPECT_TRUE(task["isOfThisMachine"]) << task["task"];
    }
    // The log that they share holds what each has told.
    std::map<std::string, int> events;
    for (nlohmann::json const& event : Rampart({"events", "--json", "--last", "1000"}).Json()) {
        ++events[event["task"]];
    }
    EXPECT_EQ(programs.size(), events.size());
    for (auto const& [task, count] : events) {
        EXPECT_EQ(4, count) << task;  // start, scan, counts, end
    }
}

}  // namespace

}  // namespace rampart::test
