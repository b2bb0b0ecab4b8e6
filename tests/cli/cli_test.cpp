// The command line as a user meets it: results, exit codes, and what is left after a bad end.
#include <chrono>
#include <thread>

#include "cli/cli_fixture.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::HasSubstr;

TEST_F(Cli, BacksUpTwiceListsAndRestores) {
    TempTree const tree({{"docs/a.txt", "a"}, {"docs/sub/b ü.txt", "b"}, {"docs/empty/", ""}});
    MakeVault();
    Outcome const first = Backup({tree.Native("docs")});
    ASSERT_EQ(0, first.exitCode) << first.out << first.err;
    EXPECT_EQ(2, first.Json()["transferred"]);
    EXPECT_EQ("docs", first.Json()["task"]);
    Outcome const second = Backup({tree.Native("docs")});
    EXPECT_EQ(0, second.exitCode);
    EXPECT_EQ(0, second.Json()["transferred"]);
    EXPECT_EQ("docs", second.Json()["task"]);
    EXPECT_THAT(Rampart({"ls", "--vault", Vault()}).out, HasSubstr("docs"));
    EXPECT_THAT(Rampart({"ls", "-r", "docs", "--vault", Vault()}).out, HasSubstr("b ü.txt"));
    EXPECT_THAT(Rampart({"vault", "stats", "--vault", Vault()}).out, HasSubstr("packs"));
    ExpectRestores("docs", tree.Path("docs"));
    ExpectClean();
}

TEST_F(Cli, RestoresAnyVersionAndTheStateAtAMoment) {
    TempTree const tree({{"d/letter", "one"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    std::this_thread::sleep_for(1100ms);
    char moment[64];
    std::time_t const now = std::time(nullptr);
    std::strftime(moment, sizeof moment, "%Y-%m-%d %H:%M:%S", std::localtime(&now));
    std::this_thread::sleep_for(1100ms);
    tree.Write("d/letter", "second");
    tree.Write("d/later", "came later");
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);

    Outcome const versions = Rampart({"versions", tree.Native("d/letter"), "--json", "--vault", Vault()});
    ASSERT_EQ(0, versions.exitCode) << versions.err;
    ASSERT_EQ(2u, versions.Json().size());
    EXPECT_EQ(6, versions.Json()[0]["size"]);
    EXPECT_EQ(3, versions.Json()[1]["size"]);

    auto restored = [&](std::string const& option, std::string const& value) {
        TempFolder const target;
        EXPECT_EQ(
            0,
            Rampart({"restore", "d", "--into", target.Native(), option, value, "--vault", Vault()}).exitCode);
        std::map<std::string, std::string> contents;
        for (auto const& [name, entry] : ReadTree(target.Path())) {
            if (!name.ends_with('/')) {
                contents[name] = entry.content;
            }
        }
        return contents;
    };
    using Contents = std::map<std::string, std::string>;
    EXPECT_EQ((Contents{{"d/letter", "one"}}), restored("--version", "2"));
    EXPECT_EQ((Contents{{"d/letter", "one"}}), restored("--at", moment));
    EXPECT_EQ((Contents{{"d/letter", "second"}, {"d/later", "came later"}}), restored("--version", "1"));
}

TEST_F(Cli, NeverReplacesADifferentFileUnlessToldTo) {
    TempTree const tree({{"d/a", "stored"}, {"d/b", "same"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    TempTree const target({{"d/a", "mine"}, {"d/b", "same"}});
    Outcome const refused = Rampart({"restore", "d", "--into", target.Native(), "--vault", Vault()});
    EXPECT_EQ(3, refused.exitCode);
    EXPECT_THAT(refused.err, HasSubstr(target.Native("d/a")));
    EXPECT_EQ("mine", target.Read("d/a"));
    EXPECT_EQ(
        0, Rampart({"restore", "d", "--into", target.Native(), "--overwrite", "--vault", Vault()}).exitCode);
    EXPECT_EQ("stored", target.Read("d/a"));
}

TEST_F(Cli, WrongUseIsToldWithCodeTwo) {
    TempTree const tree({{"d/a", "a"}});
    MakeVault();
    EXPECT_EQ(2, Rampart({}).exitCode);
    EXPECT_EQ(2, Rampart({"backup"}).exitCode);
    EXPECT_EQ(2, Rampart({"backup", tree.Native("d"), "--no-such-option"}).exitCode);
    EXPECT_EQ(2, Rampart({"restore", "d"}).exitCode);
    EXPECT_EQ(2,
              Rampart({"restore", "d", "--into", work.Native("x"), "--at", "yesterday", "--vault", Vault()})
                  .exitCode);
    EXPECT_EQ(2, Backup({tree.Native("d"), "--exclude", "x", "--include", "y"}).exitCode);
    EXPECT_EQ(0, Rampart({"--help"}).exitCode);
    EXPECT_THAT(Rampart({"--help"}).out, HasSubstr("Examples:"));
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "mine"}).exitCode);
    EXPECT_EQ(2, Backup({work.Native(), "--name", "mine"}).exitCode);
}

TEST_F(Cli, EventsAreListedByTaskAndFollowedAsTheyCome) {
    MakeVault();
    TempTree const tree({{"d/a", "one"}, {"e/b", "two"}});
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "first"}).exitCode);
    ASSERT_EQ(0, Backup({tree.Native("e"), "--name", "second"}).exitCode);
    Outcome const all = Rampart({"events", "--json", "--last", "1000", "--vault", Vault()});
    Outcome const ofFirst = Rampart({"events", "first", "--json", "--vault", Vault()});
    ASSERT_EQ(0, all.exitCode) << all.err;
    EXPECT_LT(ofFirst.Json().size(), all.Json().size());
    for (nlohmann::json const& event : ofFirst.Json()) {
        EXPECT_EQ("first", event["task"]);
    }
    // The newest last, and no more than asked for.
    EXPECT_EQ("second", all.Json().back()["task"]);
    EXPECT_EQ(1u, Rampart({"events", "--json", "--last", "1", "--vault", Vault()}).Json().size());
    EXPECT_EQ(2, Rampart({"events", "nobody", "--vault", Vault()}).exitCode);

    TempFolder const output;
    auto const follower = ChildProcess::Start({RAMPART_PROGRAM,
                                               {"events", "--follow", "--last", "1", "--vault", Vault()},
                                               output.Native("out"),
                                               output.Native("err"),
                                               0});
    auto const lines = [&] {
        std::string const text = output.Exists("out") ? output.Read("out") : "";
        return std::count(text.begin(), text.end(), '\n');
    };
    auto const waitForLines = [&](int count) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
        while (lines() < count && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return lines() >= count;
    };
    ASSERT_TRUE(waitForLines(1));
    tree.Write("d/c", "three");
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "first"}).exitCode);
    EXPECT_TRUE(waitForLines(3));
    EXPECT_THAT(output.Read("out"), HasSubstr("first: The backup has started."));
    if (follower->Interrupt()) {
        EXPECT_EQ(0, follower->Wait());
    }
}

TEST_F(Cli, TheOldestEventsGoWhereThereAreManyAndTheNewestStay) {
    MakeVault();
    TempTree const tree({{"d/a", "one"}, {"e/b", "two"}});
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "first"}).exitCode);
    RepeatEvents(1000);
    ASSERT_LT(1000, EventCount());
    ASSERT_EQ(0, Backup({tree.Native("e"), "--name", "second"}).exitCode);
    nlohmann::json const events = Rampart({"events", "--json", "--last", "5000", "--vault", Vault()}).Json();
    ASSERT_EQ(1000u, events.size());
    EXPECT_EQ(1000, EventCount());
    EXPECT_EQ("first", events.front()["task"]);
    EXPECT_EQ("second", events.back()["task"]);
}

TEST_F(Cli, AVaultThatIsNoneIsToldAndLeftAlone) {
    TempTree const tree({{"d/a", "a"}});
    Outcome const missing = Backup({tree.Native("d")});
    EXPECT_EQ(1, missing.exitCode);
    EXPECT_THAT(missing.err, HasSubstr("rampart vault init"));

    work.Write("vault", "a file");
    Outcome const file = Backup({tree.Native("d")});
    EXPECT_EQ(1, file.exitCode);
    EXPECT_THAT(file.err, HasSubstr(work.Native("vault")));
    EXPECT_EQ("a file", work.Read("vault"));
    EXPECT_EQ(1, Rampart({"vault", "init", "--vault", Vault()}).exitCode);
    EXPECT_EQ("a file", work.Read("vault"));
}

TEST_F(Cli, ADamagedCatalogIsAClearErrorAndNothingIsTouched) {
    TempTree const tree({{"d/a", "a"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    {
        std::fstream catalog(work.Path("vault/catalog.db"), std::ios::in | std::ios::out | std::ios::binary);
        catalog.write(std::string(8192, '#').data(), 8192);
    }
    auto const before = ReadTree(work.Path("vault/packs"));
    for (std::vector<std::string> const& command :
         {std::vector<std::string>{"vault", "verify"}, {"backup", tree.Native("d")}, {"ls"}}) {
        std::vector<std::string> arguments = command;
        arguments.insert(arguments.end(), {"--vault", Vault()});
        Outcome const outcome = Rampart(arguments);
        EXPECT_EQ(1, outcome.exitCode);
        EXPECT_THAT(outcome.err, HasSubstr(work.Native("vault")));
    }
    EXPECT_EQ(before, ReadTree(work.Path("vault/packs")));
}

TEST_F(Cli, AVaultInASourceIsNotStoredInItself) {
    TempTree const tree({{"d/a", "one"}, {"d/x/b", "two"}});
    vaultPlace = tree.Native("d/vault");
    MakeVault();
    if (!std::filesystem::exists(tree.Path("d/Vault"))) {  // another folder here
        std::filesystem::rename(tree.Path("d/x"), tree.Path("d/Vault"));
    }
    Outcome const first = Backup({tree.Native("d"), "--name", "d"});
    EXPECT_EQ(0, first.exitCode) << first.err;
    EXPECT_EQ(2, first.Json()["transferred"]);
    EXPECT_EQ(0, Backup({tree.Native("d"), "--name", "d"}).Json()["transferred"]);
    Outcome const itself = Backup({Vault(), "--name", "itself"});
    EXPECT_EQ(3, itself.exitCode) << itself.err;
    EXPECT_THAT(itself.err + itself.out, testing::HasSubstr("not backed up into itself"));
}

TEST_F(Cli, AnInterruptEndsSoonWithCodeSixAndTheNextRunSendsTheRest) {
    TempFolder const tree;
    WriteMany(tree, 4000, 3000);
    MakeVault();
    auto const child = Start({"backup", tree.Native("d"), "--json", "--vault", Vault()});
    std::this_thread::sleep_for(400ms);
    if (!child->Interrupt()) {
        GTEST_SKIP() << "no interrupt can be sent here";
    }
    auto const begin = std::chrono::steady_clock::now();
    Outcome const outcome = Finish(*child);
    RecordProperty("milliseconds", static_cast<int>((std::chrono::steady_clock::now() - begin) / 1ms));
    EXPECT_TRUE(outcome.exitCode == 6 || outcome.exitCode == 0) << outcome.exitCode << outcome.err;
    ExpectClean();
    EXPECT_EQ(0, Backup({tree.Native("d")}).exitCode);
    ExpectRestores("d", tree.Path("d"));
}

TEST_F(Cli, AKillAtAnyMomentLosesNothingThatWasCommitted) {
    TempFolder const tree;
    WriteMany(tree, 3000, 3000);
    MakeVault();
    int64_t known = 0;
    for (auto const delay : {120ms, 200ms, 300ms, 450ms}) {
        auto const child = Start({"backup", tree.Native("d"), "--json", "--vault", Vault()});
        std::this_thread::sleep_for(delay);
        child->Kill();
        Finish(*child);
        ExpectClean();
        auto const stats = Rampart({"vault", "stats", "--json", "--vault", Vault()}).Json();
        EXPECT_GE(stats["files"], known);
        known = stats["files"];
    }
    Outcome const rest = Backup({tree.Native("d")});
    EXPECT_EQ(0, rest.exitCode) << rest.err;
    EXPECT_EQ(3000 - known, rest.Json()["transferred"]);
    ExpectClean();
    ExpectRestores("d", tree.Path("d"));
}

}  // namespace

}  // namespace rampart::test
