// The program in front of a terminal: keys, and the display that they change.
#include "cli/cli_fixture.h"
#include "support/posix/small_disk.h"
#include "support/posix/terminal_program.h"

namespace rampart::test {

namespace {

using testing::HasSubstr;

// A run that lasts until it is stopped.
class LongRun : public Cli {
protected:
    void SetUp() override {
        MakeVault();
        WriteHoles(m_tree, "d", 5);
    }
    TerminalProgram Begin() {
        return TerminalProgram(
            {RAMPART_PROGRAM, "backup", m_tree.Native("d"), "--name", "d", "--no", "--vault", Vault()});
    }

    TempFolder const m_tree;
};

TEST_F(LongRun, KeysPauseItLetItGoOnAndCancelIt) {
    TerminalProgram program = Begin();
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

TEST_F(LongRun, AnInterruptCancelsIt) {
    TerminalProgram program = Begin();
    ASSERT_TRUE(program.WaitFor("\r"));
    program.Press('\x03');
    EXPECT_EQ(6, program.End());
    ExpectClean();
    auto const stored = Rampart({"vault", "stats", "--json", "--vault", Vault()}).Json();
    EXPECT_LT(stored["files"], 5) << "the run was not over";
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

// A vault with less room than a task needs by its sizes; what is stored are holes, which fit.
class Questions : public Cli {
protected:
    void SetUp() override {
        vaultPlace = work.Native("disk/vault");
        if (!m_disk.IsMounted()) {
            GTEST_SKIP() << "needs the right to mount a file system";
        }
        MakeVault();
    }
    // A backup that must be asked about, of a folder of that name.
    std::vector<std::string> Words(std::string const& name) {
        std::string const file = name + "/holes";
        m_tree.Write(file, name);
        std::filesystem::resize_file(m_tree.Path(file), 100 << 20);
        return {"backup", m_tree.Native(name), "--name", name, "--vault", Vault()};
    }
    TerminalProgram OnTerminal(std::string const& name, std::string const& option = "") {
        std::vector<std::string> words = Words(name);
        words.insert(words.begin(), RAMPART_PROGRAM);
        if (!option.empty()) {
            words.push_back(option);
        }
        return TerminalProgram(words);
    }

    SmallDisk const m_disk{work.Path("disk"), "32m"};
    TempFolder const m_tree;
};

TEST_F(Questions, AKeyAnswersThem) {
    struct Case {
        std::string name;
        std::string keys;
        std::string answer;
    };
    for (Case const& one : {Case{"yes", "y", " yes\r\n"}, Case{"no", "n", " no\r\n"},
                            Case{"large", "Y", " yes\r\n"}, Case{"others", "x\n \x04y", " yes\r\n"}}) {
        TerminalProgram program = OnTerminal(one.name);
        ASSERT_TRUE(program.WaitFor("[y/n] ")) << program.Shown();
        for (char const key : one.keys) {
            program.Press(key);
        }
        if (one.answer == " yes\r\n") {
            // Whether room was made now, and the first question again, since there was none.
            ASSERT_TRUE(program.WaitFor("[y/n] ")) << program.Shown();
            program.Press('y');
            ASSERT_TRUE(program.WaitFor("[y/n] ")) << program.Shown();
            program.Press('n');
        }
        EXPECT_EQ(0, program.End()) << program.Shown();
        EXPECT_THAT(program.Shown(), HasSubstr("[y/n] " + one.answer));
    }
}

TEST_F(Questions, AnInterruptIsANoAndEndsTheRun) {
    TerminalProgram program = OnTerminal("interrupted");
    ASSERT_TRUE(program.WaitFor("[y/n] ")) << program.Shown();
    program.Press('\x03');
    EXPECT_EQ(6, program.End()) << program.Shown();
    EXPECT_THAT(program.Shown(), HasSubstr("[y/n]  no\r\n"));
}

TEST_F(Questions, AnOptionAnswersThemWithoutAKey) {
    for (std::string const answer : {"yes", "no"}) {
        TerminalProgram program = OnTerminal(answer, "--" + answer);
        EXPECT_EQ(0, program.End()) << program.Shown();
        EXPECT_THAT(program.Shown(), HasSubstr("rampart: "));
        // A yes to making room is for a person who makes it: given beforehand it is a note.
        EXPECT_THAT(program.Shown(), HasSubstr(answer == "yes" ? "make room?\r\n" : "make room? no\r\n"));
        EXPECT_THAT(program.Shown(), testing::Not(HasSubstr("[y/n]")));
    }
}

TEST_F(Questions, WithoutATerminalTheyAreANoAndTheRunGoesOn) {
    for (std::string const option : {"", "--yes", "--no"}) {
        std::vector<std::string> words = Words("o" + option);
        if (!option.empty()) {
            words.push_back(option);
        }
        Outcome const outcome = Rampart(words);
        EXPECT_EQ(0, outcome.exitCode) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr(option == "--yes" ? "make room?\n" : "make room? no\n"));
        EXPECT_THAT(outcome.err, testing::Not(HasSubstr("[y/n]")));
    }
}

}  // namespace

}  // namespace rampart::test
