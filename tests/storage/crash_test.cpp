// Processes that are killed while they write, and processes that write at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "storage/vault_files.h"
#include "support/child_process.h"

namespace rampart::test {
namespace {

class CrashTest : public VaultTest {
protected:
    // Runs the writer to its end, however that comes, and gives the paths it acknowledged.
    std::vector<std::string> RunWriter(const std::string& name, const std::string& arguments,
                                       int* status = nullptr) {
        const std::string output = folder.Native("out-" + name);
        std::istringstream words(arguments);
        std::vector<std::string> all = {Vault(), name};
        for (std::string word; words >> word;) {
            all.push_back(word);
        }
        const auto child = ChildProcess::Start({VAULT_WRITER, all, output, ""});
        EXPECT_TRUE(child);
        const int code = child->Wait();
        if (status != nullptr) {
            *status = code;
        }
        std::vector<std::string> paths;
        std::ifstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            paths.push_back(line);
        }
        return paths;
    }

    void ExpectAcknowledged(const std::vector<std::string>& paths) {
        for (const std::string& path : paths) {
            const ServerPathParts parts = SplitLastName(path);
            const auto i = static_cast<uint32_t>(std::stoul(std::string(parts.name)));
            ExpectContent(*service, path, WrittenContent(std::string(parts.folder.substr(1)), i));
        }
    }
};

TEST_F(CrashTest, NothingAcknowledgedIsLostWhereverTheStoreIsCut) {
    service.reset();
    constexpr int kCalls = 24;
    for (int call = 1; call <= kCalls; ++call) {
        const std::string name = "w" + std::to_string(call);
        int status = 0;
        const auto paths = RunWriter(name, "30 call " + std::to_string(call), &status);
        EXPECT_NE(status, 0) << "the writer was not cut at call " << call;
        Reopen();
        ExpectAcknowledged(paths);
        ExpectSound(*service);
        // The vault goes on from here, and equal content that was half written is stored again.
        ExpectOk(StoreFile(*service, "\\" + name + "-after", WrittenContent(name, 3)));
        ExpectContent(*service, "\\" + name + "-after", WrittenContent(name, 3));
        service.reset();
    }
}

TEST_F(CrashTest, NothingAcknowledgedIsLostWhenKilledAtAnyMoment) {
    service.reset();
    size_t acknowledged = 0;
    for (int milliseconds = 15; milliseconds < 160; milliseconds += 18) {
        const auto paths =
            RunWriter("k" + std::to_string(milliseconds), "100000 after " + std::to_string(milliseconds));
        Reopen();
        ExpectAcknowledged(paths);
        ExpectSound(*service);
        acknowledged += paths.size();
        service.reset();
    }
    EXPECT_GT(acknowledged, 0u);
}

TEST_F(CrashTest, WhatAKilledWriterLeftIsUntouchedByReadersAndTakenOverByTheNextWriter) {
    service.reset();
    RunWriter("a", "12 call 5");
    const std::string pack = folder.Read("vault/packs/0000000001.pack");
    Reopen();
    ServiceStatistics statistics;
    ExpectOk(service->Statistics(statistics));
    EXPECT_LT(statistics.packBytes, static_cast<int64_t>(pack.size()));
    ExpectSound(*service);
    EXPECT_EQ(TreeOf(*service).size(), statistics.files + 1u);
    Reopen();
    EXPECT_TRUE(folder.Read("vault/packs/0000000001.pack") == pack);

    // The content that is there whole is known now, also without being sent, and lasts with the next commit.
    const int64_t chunksBefore = statistics.chunks;
    ExpectOk(StoreFile(*service, "\\after", "small"));
    ExpectOk(service->Statistics(statistics));
    EXPECT_GT(statistics.chunks, chunksBefore + 1);
    const std::string after = folder.Read("vault/packs/0000000001.pack");
    EXPECT_EQ(static_cast<int64_t>(after.size()), statistics.packBytes);
    ExpectContent(*service, "\\after", "small");
    ExpectSound(*service);
}

TEST_F(CrashTest, TwoProcessesWriteAtOnce) {
    std::vector<std::string> first;
    std::vector<std::string> second;
    int firstStatus = 1;
    int secondStatus = 1;
    std::thread one([&] { first = RunWriter("one", "60", &firstStatus); });
    std::thread two([&] { second = RunWriter("two", "60", &secondStatus); });
    for (int i = 0; i < 20; ++i) {
        ExpectOk(StoreFile(*service, "\\here" + std::to_string(i),
                           NoiseOf(10'000, 1000u + static_cast<uint32_t>(i))));
    }
    one.join();
    two.join();
    EXPECT_EQ(firstStatus, 0);
    EXPECT_EQ(secondStatus, 0);
    EXPECT_EQ(first.size(), 60u);
    EXPECT_EQ(second.size(), 60u);
    ExpectAcknowledged(first);
    ExpectAcknowledged(second);
    EXPECT_EQ(TreeOf(*service).size(), 2u + 60 + 60 + 20);
    ExpectSound(*service);
}

}  // namespace
}  // namespace rampart::test
