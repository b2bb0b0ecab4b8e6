// The command line and the background service of this build, run in a home and a vault of their own.
#pragma once

#include <chrono>
#include <functional>
#include <iostream>
#include <thread>

#include "cli/cli_fixture.h"

namespace rampart::test {

class Programs : public Cli {
protected:
    // Generous: the machine may be busy with other tests.
    static constexpr std::chrono::seconds kPatience{120};
    // After which the system ends a service that was told to stop the hard way.
    static constexpr std::chrono::seconds kStopPatience{60};

    void SetUp() override { MakeVault(); }
    void TearDown() override {
        if (HasFailure()) {
            for (int i = 1; i <= m_starts; ++i) {
                std::cerr << "log of service " << i << ":\n" << work.Read(LogName(i));
            }
        }
    }

    // A program that works on the vault, with its output in files of that name.
    std::unique_ptr<ChildProcess> Launch(char const* program, std::vector<std::string> arguments,
                                         std::string const& name) {
        arguments.insert(arguments.end(), {"--vault", Vault()});
        auto child = ChildProcess::Start(
            {program, std::move(arguments), work.Native(name), work.Native(name + ".err"), user});
        EXPECT_TRUE(child);
        return child;
    }
    Outcome Rampart(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--vault", Vault()});
        return Cli::Rampart(arguments);
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
        m_service = Launch(RAMPART_SERVICE, {}, LogName(++m_starts));
        ASSERT_TRUE(WaitForLog("started"));
    }
    // Tells the service to stop, as a person would; its exit code.
    int StopService() {
        EXPECT_EQ(0, Launch(RAMPART_SERVICE, {"--stop"}, "stop")->Wait()) << work.Read("stop.err");
        return WaitForService();
    }
    int WaitForService() {
        EXPECT_TRUE(WaitUntil([&] { return m_service->HasEnded(); }, kStopPatience)) << "it was told to stop";
        int const code = m_service->Wait();
        m_service.reset();
        return code;
    }

    // Of the service that was started last.
    std::string Log() const { return m_starts == 0 ? "" : work.Read(LogName(m_starts)); }
    bool WaitForLog(std::string const& text) {
        return WaitUntil([&] { return Log().find(text) != std::string::npos; });
    }
    static bool WaitUntil(std::function<bool()> const& condition, std::chrono::seconds patience = kPatience) {
        auto const end = std::chrono::steady_clock::now() + patience;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return true;
    }

    std::unique_ptr<ChildProcess> m_service;

private:
    static std::string LogName(int start) { return "service" + std::to_string(start); }

    int m_starts = 0;
};

// A service beside the command line, and something to back up.
class ServiceProgram : public Programs {
protected:
    TempTree const tree = TempTree({{"docs/a.txt", "a"}, {"more/b.txt", "b"}});

    void AddDaily(std::string const& name, std::string const& source) {
        Outcome const added = Task({"add", tree.Native(source), "--name", name, "--daily", "02:30"});
        ASSERT_EQ(0, added.exitCode) << added.err;
    }
    // Enough for a run that lasts until somebody interferes.
    void WriteMany(std::string const& folder) {
        for (int i = 0; i < 8000; ++i) {
            tree.Write(folder + "/" + std::to_string(i % 40) + "/" + std::to_string(i),
                       std::to_string(i) + std::string(3000, 'x'));
        }
    }
    // Starts a service that runs the task "big", and stops it, until a run was cut short, which is due then.
    void CutARunShort() {
        for (int tries = 0; tries < 10; ++tries) {
            WriteMany("big/" + std::to_string(++m_folders));
            StartService();
            ASSERT_EQ(0, Task({"run", "big", "--no-wait"}).exitCode);
            ASSERT_TRUE(WaitForLog("task 'big' started"));
            ASSERT_EQ(0, StopService());
            if (Log().find("task 'big' was cut short; it goes on at the next start") != std::string::npos) {
                return;
            }
            EXPECT_THAT(Log(), testing::HasSubstr("task 'big' done"));
        }
        FAIL() << "each run was quicker than its stop";
    }

private:
    int m_folders = 0;
};

}  // namespace rampart::test
