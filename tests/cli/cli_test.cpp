// The command line as a user meets it: results, exit codes, and what is left after a bad end.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "support/temp_home.h"
#include "support/temp_tree.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::HasSubstr;

struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
    nlohmann::json Json() const { return nlohmann::json::parse(out); }
};

class Cli : public testing::Test {
protected:
    // Starts the program with its output in files; the caller waits for it.
    pid_t Start(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), RAMPART_PROGRAM);
        pid_t const child = fork();
        if (child != 0) {
            return child;
        }
        int const out = open(work.Native("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        int const err = open(work.Native("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        if (user != 0 && (setgid(user) != 0 || setuid(user) != 0)) {
            _exit(126);
        }
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        execv(pointers.front(), pointers.data());
        _exit(127);
    }

    Outcome Finish(pid_t child) {
        int status = 0;
        EXPECT_EQ(child, waitpid(child, &status, 0));
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), work.Read("out"),
                work.Read("err")};
    }

    Outcome Rampart(std::vector<std::string> const& arguments) { return Finish(Start(arguments)); }

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
    void ExpectRestores(std::string const& task, fs::path const& source) {
        TempFolder const target;
        Outcome const restored = Rampart({"restore", task, "--into", target.Native(), "--vault", Vault()});
        EXPECT_EQ(0, restored.exitCode) << restored.out << restored.err;
        EXPECT_EQ(ReadTree(source), ReadTree(target.Path() / source.filename()));
    }

    TempHome home;
    TempFolder work;
    std::string vaultPlace;
    uid_t user = 0;
};

void WriteMany(TempFolder const& tree, int files, size_t bytes) {
    for (int i = 0; i < files; ++i) {
        tree.Write("d/" + std::to_string(i % 50) + "/f" + std::to_string(i),
                   std::string(bytes, static_cast<char>('a' + i % 26)) + std::to_string(i));
    }
}

// A file system of its own, so small that it fills; taken down with the object.
class SmallDisk {
public:
    SmallDisk(fs::path const& place, std::string const& size) : m_place(place) {
        fs::create_directories(place);
        m_mounted = mount("tmpfs", place.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
    }
    SmallDisk(SmallDisk const&) = delete;
    SmallDisk& operator=(SmallDisk const&) = delete;
    ~SmallDisk() {
        if (m_mounted) {
            umount2(m_place.c_str(), MNT_DETACH);
        }
    }
    bool IsMounted() const { return m_mounted; }

private:
    fs::path m_place;
    bool m_mounted;
};

}  // namespace

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

TEST_F(Cli, WhatIsNotProtectedIsListedAndTheExitCodeSaysSo) {
    TempTree const tree({{"d/good", "good"}, {"d/closed/x", "x"}, {"d/secret", "s"}});
    fs::create_symlink("good", tree.Path("d/link"));
    ASSERT_EQ(0, mkfifo(tree.Native("d/pipe").c_str(), 0600));
    fs::permissions(tree.Path("d/closed"), fs::perms::none);
    fs::permissions(tree.Path("d/secret"), fs::perms::none);
    if (getuid() == 0) {
        // Permissions mean nothing to root: the program runs as nobody.
        user = 65534;
        for (fs::path const& place : {home.Path(), work.Path()}) {
            fs::permissions(place, fs::perms::all);
        }
        std::ofstream(work.Path("out")).close();
        std::ofstream(work.Path("err")).close();
        fs::permissions(work.Path("out"), fs::perms::all);
        fs::permissions(work.Path("err"), fs::perms::all);
    }
    MakeVault();
    Outcome const outcome = Backup({tree.Native("d"), tree.Native("gone")});
    EXPECT_EQ(3, outcome.exitCode) << outcome.out << outcome.err;
    std::set<std::string> paths;
    nlohmann::json const result = outcome.Json();
    for (auto const& entry : result["notProtected"]) {
        paths.insert(entry["path"]);
        EXPECT_FALSE(entry["reason"].get<std::string>().empty());
    }
    EXPECT_EQ((std::set<std::string>{tree.Native("d/link"), tree.Native("d/pipe"), tree.Native("d/closed"),
                                     tree.Native("d/secret"), tree.Native("gone")}),
              paths);
    EXPECT_EQ(1, outcome.Json()["transferred"]);
    fs::permissions(tree.Path("d/closed"), fs::perms::owner_all);

    Outcome const nothing = Backup({tree.Native("gone")});
    EXPECT_EQ(1, nothing.exitCode);
    EXPECT_THAT(nothing.err, HasSubstr("none of the paths exists"));
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

TEST_F(Cli, AnInterruptEndsSoonWithCodeSixAndTheNextRunSendsTheRest) {
    TempFolder const tree;
    WriteMany(tree, 4000, 3000);
    MakeVault();
    pid_t const child = Start({"backup", tree.Native("d"), "--json", "--vault", Vault()});
    std::this_thread::sleep_for(400ms);
    kill(child, SIGINT);
    auto const begin = std::chrono::steady_clock::now();
    Outcome const outcome = Finish(child);
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
    __int64_t known = 0;
    for (auto const delay : {120ms, 200ms, 300ms, 450ms}) {
        pid_t const child = Start({"backup", tree.Native("d"), "--json", "--vault", Vault()});
        std::this_thread::sleep_for(delay);
        kill(child, SIGKILL);
        Finish(child);
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

TEST_F(Cli, AFullDiskOfTheVaultIsToldAndNothingStoredIsLost) {
    SmallDisk const disk(work.Path("disk"), "6m");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "needs the right to mount a file system";
    }
    vaultPlace = work.Native("disk/vault");
    TempFolder const tree;
    tree.Write("small/a", "a");
    std::string noise;
    for (int i = 0; i < 12000000; ++i) {
        noise += static_cast<char>(std::rand());
    }
    tree.Write("large/b", noise);
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("small")}).exitCode);
    Outcome const outcome = Backup({tree.Native("large")});
    EXPECT_EQ(1, outcome.exitCode) << outcome.out;
    EXPECT_FALSE(outcome.Json()["errors"].get<std::string>().empty());
    EXPECT_FALSE(outcome.Json()["notProtected"].empty());
    ExpectClean();
    ExpectRestores("small", tree.Path("small"));
}

TEST_F(Cli, AFullDiskOfTheCacheMakesTheUploadReadTheSource) {
    SmallDisk const disk(work.Path("disk"), "4m");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "needs the right to mount a file system";
    }
    ScopedVariable const small("RAMPART_HOME", work.Native("disk/home"));
    TempFolder const tree;
    tree.Write("d/big", std::string(9000000, 'b'));
    tree.Write("d/little", "l");
    MakeVault();
    Outcome const outcome = Backup({tree.Native("d")});
    EXPECT_EQ(3, outcome.exitCode) << outcome.out
                                   << outcome.err;  // done, with the warning that the cache was full
    EXPECT_FALSE(outcome.Json()["warnings"].get<std::string>().empty());
    EXPECT_EQ(2, outcome.Json()["transferred"]);
    ExpectRestores("d", tree.Path("d"));
}

}  // namespace rampart::test
