// What only this system has: entries that cannot be backed up, permissions, disks that are full.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <set>

#include "cli/cli_fixture.h"
#include "support/posix/small_disk.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

TEST_F(Cli, WhatIsNotProtectedIsListedAndTheExitCodeSaysSo) {
    TempTree const tree({{"d/good", "good"}, {"d/closed/x", "x"}, {"d/secret", "s"}, {"d/listed/y", "y"}});
    fs::create_symlink("good", tree.Path("d/link"));
    ASSERT_EQ(0, mkfifo(tree.Native("d/pipe").c_str(), 0600));
    fs::permissions(tree.Path("d/closed"), fs::perms::none);
    fs::permissions(tree.Path("d/secret"), fs::perms::none);
    // Its names may be read, and nothing more of what lies in it.
    fs::permissions(tree.Path("d/listed"), fs::perms::owner_read | fs::perms::others_read);
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
    Outcome const outcome =
        Backup({tree.Native("d"), tree.Native("gone"), tree.Native("d/closed/x"), "--name", "d"});
    EXPECT_EQ(3, outcome.exitCode) << outcome.out << outcome.err;
    std::set<std::string> paths;
    nlohmann::json const result = outcome.Json();
    for (auto const& entry : result["notProtected"]) {
        paths.insert(entry["path"]);
        std::string const reason = entry["reason"];
        EXPECT_EQ(entry["error"] && entry["path"] != tree.Native("gone"), reason == "Access is denied.")
            << entry["path"] << reason;
    }
    EXPECT_EQ(
        (std::set<std::string>{tree.Native("d/pipe"), tree.Native("d/closed"), tree.Native("d/secret"),
                               tree.Native("d/listed/y"), tree.Native("d/closed/x"), tree.Native("gone")}),
        paths);
    std::string const events = Rampart({"events", "--vault", Vault()}).out;
    for (std::string const& told : {events, result["warnings"].get<std::string>()}) {
        EXPECT_THAT(told, HasSubstr("\"" + tree.Native("d/secret") + "\" was left out: permission"));
        EXPECT_THAT(told, testing::Not(HasSubstr("in use by another program")));
        EXPECT_THAT(told, testing::Not(HasSubstr("C:\\")));
    }
    EXPECT_EQ(2, outcome.Json()["transferred"]) << "the file and the link";
    fs::permissions(tree.Path("d/closed"), fs::perms::owner_all);
    fs::permissions(tree.Path("d/listed"), fs::perms::owner_all);

    Outcome const nothing = Backup({tree.Native("gone")});
    EXPECT_EQ(1, nothing.exitCode);
    EXPECT_THAT(nothing.err, HasSubstr("none of the paths exists"));
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

TEST_F(Cli, AVaultThatFillsInTheMiddleOfManyFilesAccountsForEachOfThem) {
    constexpr int kFiles = 600;
    for (std::string const threads : {"0", "1"}) {
        SCOPED_TRACE("SupportCopyThread = " + threads);
        ScopedVariable const config("RAMPART_CONFIG", work.Native("config"));
        work.Write("config/rampart.ini", "[Options]\nSupportCopyThread = " + threads + "\n");
        SmallDisk const disk(work.Path("disk" + threads), "90m");
        if (!disk.IsMounted()) {
            GTEST_SKIP() << "needs the right to mount a file system";
        }
        vaultPlace = work.Native("disk" + threads + "/vault");
        std::filesystem::path const ballast = work.Path("disk" + threads + "/ballast");
        MakeVault();
        std::ofstream(ballast, std::ios::binary) << std::string(66 << 20, 'b');
        // Noise, which takes its size: for batches, and some files that go alone.
        TempFolder const tree;
        std::minstd_rand random;
        std::set<std::string> sources;
        for (int i = 0; i < kFiles; ++i) {
            std::string content(i % 20 == 0 ? 1500000 : 20000, '\0');
            std::generate(content.begin(), content.end(), [&] { return static_cast<char>(random() >> 8); });
            std::string const name = "d/" + std::to_string(i % 7) + "/f" + std::to_string(i);
            tree.Write(name, content);
            sources.insert(tree.Native(name));
        }

        Outcome const full = Backup({tree.Native("d"), "--name", "mine"});
        EXPECT_EQ(1, full.exitCode) << full.err;
        nlohmann::json const result = full.Json();
        size_t questions = 0;
        for (size_t at = 0; (at = full.err.find("? no", at)) != std::string::npos; ++at) {
            ++questions;
        }
        EXPECT_EQ(1u, questions) << full.err;
        std::set<std::string> told;
        for (auto const& entry : result["notProtected"]) {
            EXPECT_TRUE(told.insert(entry["path"]).second) << entry["path"] << " twice";
        }
        TempFolder const target;
        Outcome const restored = Rampart({"restore", "mine", "--into", target.Native(), "--vault", Vault()});
        EXPECT_EQ(0, restored.exitCode) << restored.err;
        size_t stored = 0;
        size_t storedBytes = 0;
        for (std::string const& source : sources) {
            std::string const rest = source.substr(tree.Native().size());
            bool const isStored = std::filesystem::exists(target.Native() + rest);
            EXPECT_NE(isStored, told.contains(source)) << source;
            stored += isStored ? 1 : 0;
            storedBytes += isStored ? std::filesystem::file_size(source) : 0;
        }
        EXPECT_LT(0u, stored);
        EXPECT_GT(sources.size(), stored);
        EXPECT_EQ(stored, result["transferred"]);
        EXPECT_EQ(storedBytes, result["transferredBytes"]);
        // With the content of files whose commit found no room, but no more than there was room for.
        EXPECT_LE(storedBytes, result["storedBytes"]);
        std::uintmax_t packs = 0;
        for (auto const& entry : std::filesystem::recursive_directory_iterator(vaultPlace + "/packs")) {
            packs += entry.is_regular_file() ? entry.file_size() : 0;
        }
        EXPECT_GE(packs, result["storedBytes"]);

        std::filesystem::remove(ballast);
        Outcome const rest = Backup({"--name", "mine", tree.Native("d")});
        EXPECT_EQ(0, rest.exitCode) << rest.out << rest.err;
        EXPECT_THAT(rest.Json()["notProtected"], testing::IsEmpty());
        EXPECT_EQ(sources.size() - stored, rest.Json()["transferred"]);
        ExpectClean();
        ExpectRestores("mine", tree.Path("d"));
    }
}

TEST_F(Cli, WithoutOneFreeByteAVaultIsListedCheckedAndRestored) {
    SmallDisk const disk(work.Path("disk"), "6m");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "needs the right to mount a file system";
    }
    vaultPlace = work.Native("disk/vault");
    TempTree const tree({{"d/a", "kept"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "mine"}).exitCode);
    std::ofstream ballast(work.Path("disk/ballast"), std::ios::binary);
    while (ballast.write(std::string(512, 'b').data(), 512).flush()) {
    }
    Outcome const listed = Rampart({"ls", "mine", "-r", "--vault", Vault()});
    EXPECT_EQ(0, listed.exitCode) << listed.err;
    EXPECT_THAT(listed.out, HasSubstr("a"));
    EXPECT_EQ(0, Rampart({"vault", "stats", "--vault", Vault()}).exitCode);
    ExpectClean();
    ExpectRestores("mine", tree.Path("d"));
}

TEST_F(Cli, AFullDiskOfTheCacheMakesTheUploadReadTheSource) {
    SmallDisk const disk(work.Path("disk"), "4m");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "needs the right to mount a file system";
    }
    ScopedVariable const small("RAMPART_HOME", work.Native("disk/home"));
    ScopedVariable const config("RAMPART_CONFIG", work.Native("config"));
    MakeVault();
    for (std::string const name : {"sequential", "threaded"}) {
        work.Write("config/rampart.ini",
                   std::string("[Options]\nSupportCopyThread = ") + (name == "threaded" ? "1\n" : "0\n"));
        TempFolder const tree;
        tree.Write(name + "/big", std::string(9000000, 'b'));
        tree.Write(name + "/little", "l");
        Outcome const outcome = Backup({tree.Native(name), "--name", name});
        EXPECT_EQ(0, outcome.exitCode) << "all was stored: " << outcome.out << outcome.err;
        EXPECT_EQ("", outcome.Json()["warnings"]);
        // It is an event all the same, with the file's own name.
        std::string const events = Rampart({"events", "--vault", Vault()}).out;
        EXPECT_THAT(events, HasSubstr(tree.Native(name + "/big")));
        EXPECT_EQ(2, outcome.Json()["transferred"]);
        EXPECT_THAT(outcome.Json()["notProtected"], testing::IsEmpty());
        ExpectRestores(name, tree.Path(name));
    }
}

TEST_F(Cli, PipesAndDevicesAreKeptWhenThatIsAsked) {
    TempTree const tree({{"d/file", "content"}});
    std::string const pipe = tree.Native("d/pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0640));
    bool const hasDevice = mknod(tree.Native("d/null").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0;
    int const socketFd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string const socketPath = tree.Native("d/s");
    ASSERT_LT(socketPath.size(), sizeof address.sun_path);
    std::copy(socketPath.begin(), socketPath.end(), address.sun_path);
    ASSERT_EQ(0, bind(socketFd, reinterpret_cast<sockaddr*>(&address), sizeof address));
    close(socketFd);

    MakeVault();
    size_t const entries = hasDevice ? 3 : 2;
    Outcome const kept = Backup({tree.Native("d"), "--name", "d", "--special"});
    EXPECT_EQ(0, kept.exitCode) << kept.out << kept.err;
    EXPECT_EQ(entries, kept.Json()["transferred"]);
    ASSERT_EQ(1u, kept.Json()["notProtected"].size()) << kept.out;
    EXPECT_EQ(socketPath, kept.Json()["notProtected"][0]["path"])
        << "a socket without its program is nothing";
    EXPECT_EQ(0, Backup({tree.Native("d"), "--name", "d", "--special"}).Json()["transferred"]);
    auto const restored = [&](std::string const& target) {
        EXPECT_EQ(0, Rampart({"restore", "d", "--into", work.Native(target), "--vault", Vault()}).exitCode);
        struct stat status {};
        EXPECT_EQ(0, stat(work.Native(target + "/d/pipe").c_str(), &status)) << target;
        EXPECT_EQ(mode_t{S_IFIFO | 0640}, status.st_mode);
        if (hasDevice) {
            EXPECT_EQ(0, stat(work.Native(target + "/d/null").c_str(), &status));
            EXPECT_TRUE(S_ISCHR(status.st_mode));
            EXPECT_EQ(makedev(1, 3), status.st_rdev);
        }
    };
    restored("first");
    // The choice for good, and a pipe that becomes a file.
    ASSERT_EQ(0, Rampart({"config", "set", "special-files", "on", "--vault", Vault()}).exitCode);
    EXPECT_EQ(0, Backup({tree.Native("d"), "--name", "d"}).Json()["transferred"]);
    ASSERT_EQ(0, chmod(pipe.c_str(), 0600));
    ASSERT_EQ(0, chmod(pipe.c_str(), 0640));
    EXPECT_EQ(0, Backup({tree.Native("d"), "--name", "d"}).exitCode);
    restored("second");
    fs::remove(pipe);
    tree.Write("d/pipe", "a file now");
    EXPECT_EQ(1, Backup({tree.Native("d"), "--name", "d"}).Json()["transferred"]);
    EXPECT_EQ(0, Rampart({"restore", "d", "--into", work.Native("third"), "--vault", Vault()}).exitCode);
    EXPECT_EQ("a file now", work.Read("third/d/pipe"));
    ExpectClean();
}

}  // namespace

}  // namespace rampart::test
