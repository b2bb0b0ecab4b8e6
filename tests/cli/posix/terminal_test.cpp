// The program in front of a terminal: keys, and the display that they change.
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/cli_fixture.h"

namespace rampart::test {

namespace {

using testing::HasSubstr;

class Terminal : public Cli {
protected:
    void TearDown() override {
        if (m_child > 0) {
            kill(m_child, SIGKILL);
            waitpid(m_child, nullptr, 0);
        }
        close(m_terminal);
    }

    void StartInFront(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), RAMPART_PROGRAM);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        winsize size = {24, 100, 0, 0};
        m_child = forkpty(&m_terminal, nullptr, nullptr, &size);
        ASSERT_GE(m_child, 0);
        if (m_child == 0) {
            execv(pointers.front(), pointers.data());
            _exit(127);
        }
    }

    // False if the program ended without showing it.
    bool WaitFor(std::string const& text) {
        while (m_shown.find(text, m_seen) == std::string::npos) {
            if (!ReadMore()) {
                return false;
            }
        }
        m_seen = m_shown.size();
        return true;
    }

    void Press(char key) { ASSERT_EQ(1, write(m_terminal, &key, 1)); }

    int End() {
        while (ReadMore()) {
        }
        int status = 0;
        waitpid(m_child, &status, 0);
        m_child = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    std::string m_shown;

private:
    bool ReadMore() {
        char buffer[4096];
        ssize_t const got = read(m_terminal, buffer, sizeof buffer);  // fails once the program has ended
        m_shown.append(buffer, got > 0 ? static_cast<size_t>(got) : 0);
        return got > 0;
    }

    pid_t m_child = 0;
    int m_terminal = -1;
    size_t m_seen = 0;
};

TEST_F(Terminal, KeysPauseARunLetItGoOnAndCancelIt) {
    MakeVault();
    TempFolder const tree;
    // Holes cost no room, and their bytes are read and named like all others.
    for (int i = 0; i < 8; ++i) {
        std::string const name = "d/" + std::to_string(i);
        tree.Write(name, std::to_string(i));
        std::filesystem::resize_file(tree.Path(name), 2ull << 30);
    }
    StartInFront({"backup", tree.Native("d"), "--name", "d", "--vault", Vault()});
    ASSERT_TRUE(WaitFor("\r"));
    Press('p');
    ASSERT_TRUE(WaitFor("paused; ")) << m_shown;
    Press('p');
    ASSERT_TRUE(WaitFor("\r")) << m_shown;
    Press('q');
    EXPECT_EQ(6, End());
    EXPECT_THAT(m_shown, HasSubstr("Task 'd' cancelled"));
    ExpectClean();
}

TEST_F(Terminal, AWatchedStatusEndsWithItsKey) {
    MakeVault();
    TempTree const tree({{"d/a", "one"}});
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "letters"}).exitCode);
    StartInFront({"status", "--watch", "--vault", Vault()});
    ASSERT_TRUE(WaitFor("letters  done")) << m_shown;
    ASSERT_TRUE(WaitFor("q ends this display")) << m_shown;
    Press('q');
    EXPECT_EQ(0, End());
}

}  // namespace

}  // namespace rampart::test
