// A program in front of a terminal, which the test holds the other end of.
#pragma once

#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/temp_tree.h"

namespace rampart::test {

class TerminalProgram {
public:
    // `words` begin with the program.
    explicit TerminalProgram(std::vector<std::string> words) {
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        winsize size = {24, 100, 0, 0};
        m_child = forkpty(&m_terminal, nullptr, nullptr, &size);
        EXPECT_GE(m_child, 0);
        if (m_child == 0) {
            execv(pointers.front(), pointers.data());
            _exit(127);
        }
    }
    ~TerminalProgram() {
        if (m_child > 0) {
            kill(m_child, SIGKILL);
            waitpid(m_child, nullptr, 0);
        }
        close(m_terminal);
    }
    TerminalProgram(TerminalProgram const&) = delete;
    TerminalProgram& operator=(TerminalProgram const&) = delete;

    // Whether it shows the text, behind what was waited for before; false if it ends without that.
    bool WaitFor(std::string const& text) {
        while (m_shown.find(text, m_seen) == std::string::npos) {
            if (!ReadMore()) {
                return false;
            }
        }
        m_seen = m_shown.size();
        return true;
    }
    void Press(char key) { EXPECT_EQ(1, write(m_terminal, &key, 1)); }
    // Waits for its end; the exit code.
    int End() {
        while (ReadMore()) {
        }
        int status = 0;
        waitpid(m_child, &status, 0);
        m_child = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::string const& Shown() const { return m_shown; }

private:
    bool ReadMore() {
        char buffer[4096];
        ssize_t const got = read(m_terminal, buffer, sizeof buffer);  // fails once the program has ended
        m_shown.append(buffer, got > 0 ? static_cast<size_t>(got) : 0);
        return got > 0;
    }

    pid_t m_child = 0;
    int m_terminal = -1;
    std::string m_shown;
    size_t m_seen = 0;
};

// Files of a gigabyte that are holes: they cost no room, and their bytes are read and named like all
// others.
inline void WriteHoles(TempFolder const& tree, std::string const& folder, int files) {
    for (int i = 0; i < files; ++i) {
        std::string const name = folder + "/" + std::to_string(i);
        tree.Write(name, std::to_string(i));
        std::filesystem::resize_file(tree.Path(name), 1ull << 30);
    }
}

}  // namespace rampart::test
