// The programs of this build, run in a home of their own.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <thread>

#include "support/program_outcome.h"
#include "support/temp_home.h"
#include "support/temp_tree.h"

namespace rampart::test {

class Programs : public testing::Test {
protected:
    // Generous: the machine may be busy with other tests.
    static constexpr std::chrono::seconds kPatience{120};

    void SetUp() override { ASSERT_EQ(0, Rampart({"vault", "init"}).exitCode); }
    void TearDown() override {
        if (m_service > 0) {
            kill(m_service, SIGKILL);
            waitpid(m_service, nullptr, 0);
        }
        if (HasFailure()) {
            std::cerr << "log of the service:\n" << Log();
        }
    }

    pid_t Start(char const* program, std::vector<std::string> arguments, std::string const& name, int mode) {
        arguments.insert(arguments.begin(), program);
        arguments.insert(arguments.end(), {"--vault", work.Native(vault)});
        pid_t const child = fork();
        if (child != 0) {
            return child;
        }
        dup2(open(work.Native(name + ".out").c_str(), O_WRONLY | O_CREAT | mode, 0600), STDOUT_FILENO);
        dup2(open(work.Native(name + ".err").c_str(), O_WRONLY | O_CREAT | mode, 0600), STDERR_FILENO);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        execv(pointers.front(), pointers.data());
        _exit(127);
    }

    static int Wait(pid_t child) {
        int status = 0;
        EXPECT_EQ(child, waitpid(child, &status, 0));
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    Outcome Rampart(std::vector<std::string> const& arguments) {
        int const code = Wait(Start(RAMPART_PROGRAM, arguments, "cli", O_TRUNC));
        return {code, work.Read("cli.out"), work.Read("cli.err")};
    }

    Outcome Task(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "task");
        return Rampart(arguments);
    }

    nlohmann::json Show(std::string const& name) {
        Outcome const outcome = Task({"show", name, "--json"});
        EXPECT_EQ(0, outcome.exitCode) << outcome.err;
        return outcome.exitCode == 0 ? outcome.Json() : nlohmann::json();
    }

    void StartService() {
        m_logStart = Log().size();
        m_service = Start(RAMPART_SERVICE, {}, "service", O_APPEND);
        ASSERT_TRUE(WaitForLog("started"));
    }
    // Exit code of the service after a signal.
    int EndService(int signal) {
        kill(m_service, signal);
        int const code = Wait(m_service);
        m_service = 0;
        return code;
    }

    std::string Log() {
        return std::filesystem::exists(work.Path("service.out")) ? work.Read("service.out") : "";
    }
    // Of the service that was started last.
    bool WaitForLog(std::string const& text) {
        return WaitUntil([&] { return Log().find(text, m_logStart) != std::string::npos; });
    }
    static bool WaitUntil(std::function<bool()> const& condition) {
        auto const end = std::chrono::steady_clock::now() + kPatience;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return true;
    }

    TempHome home;
    TempFolder work;
    std::string vault = "vault";
    pid_t m_service = 0;
    size_t m_logStart = 0;
};

}  // namespace rampart::test
