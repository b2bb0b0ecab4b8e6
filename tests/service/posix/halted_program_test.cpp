// A program that another one halted, or killed, while it ran a task.
#include <signal.h>

#include "platform/process.h"
#include "platform/text.h"
#include "service/programs.h"

namespace rampart::test {

namespace {

using testing::HasSubstr;

class HaltedProgram : public ServiceProgram {
protected:
    // Whether a program holds the mark of a task.
    bool IsMarkedAsRunning() const {
        for (auto const& file : std::filesystem::directory_iterator(home.Path("run"))) {
            std::string const name = file.path().stem().string();
            if (name.starts_with("KorvaneRampartRun-") &&
                platform::NamedMutex::Exists(platform::FromUtf8(name))) {
                return true;
            }
        }
        return false;
    }

    // A program that was halted while it held the task "docs".
    std::unique_ptr<ChildProcess> HaltARun() {
        for (int i = 0; i < 3000; ++i) {
            tree.Write("docs/d/" + std::to_string(i), std::to_string(i) + std::string(2000, 'x'));
        }
        AddDaily("docs", "docs");
        // A run that was quicker than that is made once more.
        for (int tries = 0; tries < 20; ++tries) {
            tree.Write("docs/a.txt", "state " + std::to_string(tries));
            auto program = Launch(RAMPART_PROGRAM, {"task", "run", "docs"}, "first");
            bool hasEnded = false;
            while (!hasEnded && !IsMarkedAsRunning()) {
                hasEnded = program->HasEnded();
            }
            if (!hasEnded) {
                kill(program->Id(), SIGSTOP);
                if (IsMarkedAsRunning()) {
                    return program;
                }
            }
        }
        return nullptr;
    }
};

TEST_F(HaltedProgram, ProgramThatIsKilledFreesTheTask) {
    std::unique_ptr<ChildProcess> const first = HaltARun();
    ASSERT_TRUE(first);
    Outcome const refused = Task({"edit", "docs", "--versions", "3"});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_THAT(refused.err, HasSubstr("another program runs the task"));
    first->Kill();
    first->Wait();
    EXPECT_EQ(0, Task({"edit", "docs", "--versions", "3"}).exitCode);
    EXPECT_EQ(0, Task({"run", "docs"}).exitCode);
}

// What the program that waits for the run answers is what became of it.
TEST_F(HaltedProgram, RunThatWaitsForItsTurnOutlastsAnEditAndEndsWithItsTask) {
    std::unique_ptr<ChildProcess> const first = HaltARun();
    ASSERT_TRUE(first);
    AddDaily("more", "more");
    StartService();
    auto startToWait = [&] {
        auto program = Launch(RAMPART_PROGRAM, {"task", "run", "more"}, "run");
        EXPECT_TRUE(WaitUntil([&] { return Show("more")["state"] == "waiting"; }));
        return program;
    };
    auto const disabled = startToWait();
    ASSERT_EQ(0, Task({"disable", "more"}).exitCode);
    EXPECT_EQ(6, disabled->Wait());
    ASSERT_EQ(0, Task({"enable", "more"}).exitCode);

    auto const edited = startToWait();
    ASSERT_EQ(0, Task({"edit", "more", "--versions", "3"}).exitCode);
    EXPECT_EQ("waiting", Show("more")["state"]);
    EXPECT_FALSE(edited->HasEnded());
    first->Kill();
    first->Wait();
    EXPECT_EQ(0, edited->Wait()) << work.Read("run.err");
    EXPECT_EQ(3, Show("more")["versions"]);
    EXPECT_THAT(Rampart({"ls", "-r", "more"}).out, HasSubstr("b.txt"));
}

}  // namespace

}  // namespace rampart::test
