// The built program, run as a user runs it, in a home and a vault of its own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <ctime>

#include "support/child_process.h"
#include "support/program_outcome.h"
#include "support/temp_home.h"
#include "support/temp_tree.h"

namespace rampart::test {

class Cli : public testing::Test {
protected:
    // Starts the program with its output in files; the caller waits for it.
    std::unique_ptr<ChildProcess> Start(std::vector<std::string> arguments) {
        auto child = ChildProcess::Start(
            {RAMPART_PROGRAM, std::move(arguments), work.Native("out"), work.Native("err"), user});
        EXPECT_TRUE(child);
        return child;
    }

    Outcome Finish(ChildProcess& child) {
        int const exitCode = child.Wait();
        return {exitCode, work.Read("out"), work.Read("err")};
    }

    Outcome Rampart(std::vector<std::string> const& arguments) { return Finish(*Start(arguments)); }

    Outcome Backup(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"backup", "--json", "--vault", Vault()});
        return Rampart(arguments);
    }

    std::string Vault() const { return vaultPlace.empty() ? work.Native("vault") : vaultPlace; }
    void MakeVault() { ASSERT_EQ(0, Rampart({"vault", "init", "--vault", Vault()}).exitCode); }
    void ExpectClean() {
        Outcome const verified = Rampart({"vault", "verify", "--read-data", "--vault", Vault()});
        EXPECT_EQ(0, verified.exitCode) << verified.out << verified.err;
    }
    // Behind all that was done so far, as a person types it.
    static std::string Now() {
        auto const now = std::chrono::system_clock::now();
        std::time_t const seconds = std::chrono::system_clock::to_time_t(now);
        auto const fraction = now - std::chrono::system_clock::from_time_t(seconds);
        char text[64];
        size_t const length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&seconds));
        std::snprintf(
            text + length, sizeof text - length, ".%09lld",
            static_cast<long long>(std::chrono::duration_cast<std::chrono::nanoseconds>(fraction).count()));
        return text;
    }
    void ExpectRestores(std::string const& task, std::filesystem::path const& source) {
        TempFolder const target;
        Outcome const restored = Rampart({"restore", task, "--into", target.Native(), "--vault", Vault()});
        EXPECT_EQ(0, restored.exitCode) << restored.out << restored.err;
        EXPECT_EQ(ReadTree(source), ReadTree(target.Path() / source.filename()));
    }

    // As if all events so far had come `times` times.
    void RepeatEvents(int times) {
        std::string const log = EventLog();
        std::string const bytes = home.Read(log);
        int64_t const count = EventCount() * times;
        std::string repeated = bytes.substr(0, kEventHeader);
        std::memcpy(repeated.data() + kEventCountAt, &count, sizeof count);
        for (int i = 0; i < times; ++i) {
            repeated += bytes.substr(kEventHeader);
        }
        home.Write(log, repeated);
    }
    // Read from the file: the program trims it whenever it starts.
    int64_t EventCount() {
        std::string const bytes = home.Read(EventLog());
        int64_t count = 0;
        if (bytes.size() >= kEventHeader) {
            std::memcpy(&count, bytes.data() + kEventCountAt, sizeof count);
        }
        return count;
    }

    TempHome home;
    TempFolder work;
    std::string vaultPlace;
    unsigned user = 0;  // the program runs as this one

private:
    static constexpr size_t kEventCountAt = 8;
    static constexpr size_t kEventHeader = 20;

    std::string EventLog() const {
        for (auto const& entry : std::filesystem::recursive_directory_iterator(home.Path())) {
            if (entry.path().filename() == "errlog.txt") {
                return std::filesystem::relative(entry.path(), home.Path()).generic_string();
            }
        }
        ADD_FAILURE() << "there is no event log";
        return "errlog.txt";
    }
};

inline void WriteMany(TempFolder const& tree, int files, size_t bytes) {
    for (int i = 0; i < files; ++i) {
        tree.Write("d/" + std::to_string(i % 50) + "/f" + std::to_string(i),
                   std::string(bytes, static_cast<char>('a' + i % 26)) + std::to_string(i));
    }
}

}  // namespace rampart::test
