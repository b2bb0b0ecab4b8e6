// What only this system has: entries that cannot be backed up, permissions, disks that are full.
#include <sys/stat.h>
#include <unistd.h>

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

}  // namespace

}  // namespace rampart::test
