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
    // Whether a program holds the mark of the only task.
    bool IsMarkedAsRunning() const {
        for (auto const& file : std::filesystem::directory_iterator(home.Path("run"))) {
            std::string const name = file.path().stem().string();
            if (name.starts_with("KorvaneRampartRun-")) {
                return platform::NamedMutex::Exists(platform::FromUtf8(name));
            }
        }
        return false;
    }
};

TEST_F(HaltedProgram, ProgramThatIsKilledFreesTheTask) {
    for (int i = 0; i < 3000; ++i) {
        tree.Write("docs/d/" + std::to_string(i), std::to_string(i) + std::string(2000, 'x'));
    }
    AddDaily("docs", "docs");
    std::unique_ptr<ChildProcess> first;
    // Halted while it holds the task: a run that was quicker than that is made once more.
    for (int tries = 0; first == nullptr && tries < 20; ++tries) {
        tree.Write("docs/a.txt", "state " + std::to_string(tries));
        first = Launch(RAMPART_PROGRAM, {"task", "run", "docs"}, "first");
        bool hasEnded = false;
        while (!hasEnded && !IsMarkedAsRunning()) {
            hasEnded = first->HasEnded();
        }
        if (!hasEnded) {
            kill(first->Id(), SIGSTOP);
            if (IsMarkedAsRunning()) {
                break;
            }
        }
        first.reset();
    }
    ASSERT_TRUE(first);
    Outcome const refused = Task({"edit", "docs", "--versions", "3"});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_THAT(refused.err, HasSubstr("another program runs the task"));
    first->Kill();
    first->Wait();
    EXPECT_EQ(0, Task({"edit", "docs", "--versions", "3"}).exitCode);
    EXPECT_EQ(0, Task({"run", "docs"}).exitCode);
}

}  // namespace

}  // namespace rampart::test
