// The built program, run as a user runs it, in a home and a vault of its own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    void ExpectRestores(std::string const& task, std::filesystem::path const& source) {
        TempFolder const target;
        Outcome const restored = Rampart({"restore", task, "--into", target.Native(), "--vault", Vault()});
        EXPECT_EQ(0, restored.exitCode) << restored.out << restored.err;
        EXPECT_EQ(ReadTree(source), ReadTree(target.Path() / source.filename()));
    }

    TempHome home;
    TempFolder work;
    std::string vaultPlace;
    unsigned user = 0;  // the program runs as this one
};

inline void WriteMany(TempFolder const& tree, int files, size_t bytes) {
    for (int i = 0; i < files; ++i) {
        tree.Write("d/" + std::to_string(i % 50) + "/f" + std::to_string(i),
                   std::string(bytes, static_cast<char>('a' + i % 26)) + std::to_string(i));
    }
}

}  // namespace rampart::test
