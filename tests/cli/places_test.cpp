// Where the program keeps what it makes for itself: copies on their way to the vault, and the vault that
// nobody named.
#include <chrono>
#include <thread>

#include "cli/cli_fixture.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::chrono::milliseconds kPoll{5};

class Copies : public Cli {
protected:
    // The copies that lie in the cache now.
    std::vector<fs::path> All() const {
        std::vector<fs::path> found;
        std::error_code error;
        for (auto entry = fs::recursive_directory_iterator(home.Path("data/Rampart/Rampart/cache"), error);
             !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
            if (entry->is_regular_file() && entry->path().extension() != ".lock") {
                found.push_back(entry->path());
            }
        }
        return found;
    }

    // A backup of a big file that is copied slowly; returns when there is something of the copy.
    std::unique_ptr<ChildProcess> StartSlowBackup() {
        MakeVault();
        std::string noise(64 << 20, 0);
        unsigned number = 1;
        for (char& byte : noise) {
            number = number * 1664525 + 1013904223;
            byte = static_cast<char>(number >> 24);
        }
        m_tree.Write("d/secret", noise);
        auto child = Start({"backup", m_tree.Native("d"), "--limit", "1", "--vault", Vault()});
        while (All().empty() && !child->HasEnded()) {
            std::this_thread::sleep_for(kPoll);
        }
        EXPECT_FALSE(All().empty());
        return child;
    }

    TempFolder m_tree;
};

class Places : public Cli {
protected:
    Places() { m_tree.Write("d/f", "content"); }

    Outcome BackupToDefault() { return Rampart({"backup", m_tree.Native("d"), "--json"}); }

    TempFolder m_tree;
};

constexpr char const* kPlace = "data/Rampart/Rampart/vault";
constexpr char const* kFormerPlace = "data/vault";

}  // namespace

TEST_F(Copies, OfAKilledRunGoWithTheNextStartAndThoseOfALiveOneStay) {
    auto const child = StartSlowBackup();
    // Its output must not go where that of the run goes.
    auto const other = ChildProcess::Start({RAMPART_PROGRAM, {"ls", "--vault", Vault()}, "", "", 0});
    EXPECT_EQ(0, other->Wait());
    EXPECT_FALSE(All().empty()) << "of a run that is under way";
    child->Kill();
    child->Wait();
    ASSERT_FALSE(All().empty()) << "nobody was there to delete it";
    EXPECT_EQ(0, Rampart({"ls", "--vault", Vault()}).exitCode);
    EXPECT_THAT(All(), IsEmpty());
    EXPECT_EQ(0, Backup({m_tree.Native("d")}).exitCode);
    EXPECT_THAT(All(), IsEmpty());
    ExpectRestores("d", m_tree.Path("d"));
}

TEST_F(Copies, OfACancelledRunGoAtOnce) {
    auto const child = StartSlowBackup();
    if (!child->Interrupt()) {
        child->Kill();
        GTEST_SKIP() << "nothing sends an interrupt here";
    }
    EXPECT_EQ(6, child->Wait());
    EXPECT_THAT(All(), IsEmpty());
}

TEST_F(Copies, OfEarlierProgramsGoFromWhereOthersKeepTheirCaches) {
    MakeVault();
    platform::Text const machine = platform::ComputerName().substr(0, 15);  // as tasks name it
    home.Write("data/cache/Temp/" + platform::ToUtf8(machine) + "/task/secret", "private");
    home.Write("data/cache/Temp/other/f", "somebody's");
    EXPECT_EQ(0, Rampart({"ls", "--vault", Vault()}).exitCode);
    EXPECT_EQ((std::vector<std::string>{"data/cache/Temp/other/f"}), [&] {
        std::vector<std::string> left;
        for (auto const& entry : fs::recursive_directory_iterator(home.Path("data/cache"))) {
            if (entry.is_regular_file()) {
                left.push_back(fs::relative(entry.path(), home.Path()).generic_string());
            }
        }
        return left;
    }());
}

// "cache" in the user's data may be that of any program, and its files are the user's.
TEST_F(Copies, WhatOtherProgramsKeepInTheirCachesIsBackedUp) {
    MakeVault();
    home.Write("data/cache/other/f", "content");
    home.Write("data/Rampart/Rampart/cache/Temp/f", "own");
    Outcome const outcome = Backup({home.Native("data"), "--name", "data", "--exclude", "*.db*"});
    EXPECT_EQ(0, outcome.exitCode) << outcome.out << outcome.err;
    std::string const stored = Rampart({"ls", "data", "-r", "--vault", Vault()}).out;
    EXPECT_THAT(stored, HasSubstr("cache/other/f"));
    EXPECT_THAT(stored, testing::Not(HasSubstr("cache/Temp")));
}

TEST_F(Places, TheVaultThatNobodyNamedLiesAmongTheProgramsOwnData) {
    EXPECT_EQ(0, BackupToDefault().exitCode);
    EXPECT_TRUE(home.Exists(std::string(kPlace) + "/catalog.db"));
    EXPECT_FALSE(home.Exists(kFormerPlace));
    EXPECT_EQ(1, Rampart({"vault", "init"}).exitCode) << "it is there already";
}

TEST_F(Places, AVaultAtTheFormerPlaceStaysInUse) {
    ASSERT_EQ(0, Rampart({"vault", "init", "--vault", home.Native(kFormerPlace)}).exitCode);
    vaultPlace = home.Native(kFormerPlace);
    ASSERT_EQ(0, Backup({m_tree.Native("d"), "--name", "mine"}).exitCode);
    m_tree.Write("d/g", "more");
    auto const run = BackupToDefault();
    EXPECT_EQ(0, run.exitCode) << run.err;
    EXPECT_EQ(1, run.Json()["transferred"]) << "the other file was stored already";
    EXPECT_FALSE(home.Exists(kPlace)) << "there are never two";
    ExpectRestores("mine", m_tree.Path("d"));
    EXPECT_EQ(1, Rampart({"vault", "init"}).exitCode);
    EXPECT_FALSE(home.Exists(kPlace));

    // With its catalog lost it is still the vault, which a repair makes whole.
    fs::remove(home.Path(std::string(kFormerPlace) + "/catalog.db"));
    Outcome const damaged = BackupToDefault();
    EXPECT_EQ(1, damaged.exitCode);
    EXPECT_THAT(damaged.err + damaged.out, HasSubstr("vault repair"));
    EXPECT_EQ(0, Rampart({"vault", "repair"}).exitCode);
    EXPECT_EQ(0, BackupToDefault().exitCode);
    EXPECT_FALSE(home.Exists(kPlace));
}

TEST_F(Places, AVaultAtTheFormerPlaceThatIsAwayIsNotReplacedByAnEmptyOne) {
    ASSERT_EQ(0, Rampart({"vault", "init", "--vault", home.Native(kFormerPlace)}).exitCode);
    ASSERT_EQ(0, BackupToDefault().exitCode);
    // Its file system is not mounted.
    fs::rename(home.Path(kFormerPlace), home.Path("unplugged"));
    fs::create_directory(home.Path(kFormerPlace));
    Outcome const away = BackupToDefault();
    EXPECT_EQ(1, away.exitCode);
    EXPECT_THAT(away.err + away.out, HasSubstr("away"));
    EXPECT_FALSE(home.Exists(kPlace));
    fs::remove(home.Path(kFormerPlace));
    fs::rename(home.Path("unplugged"), home.Path(kFormerPlace));
    EXPECT_EQ(0, BackupToDefault().exitCode);

    // It is lost for good, and the user says so.
    fs::remove_all(home.Path(kFormerPlace));
    EXPECT_EQ(0, Rampart({"vault", "init"}).exitCode);
    EXPECT_EQ(0, BackupToDefault().exitCode);
    EXPECT_TRUE(home.Exists(kPlace));
}

TEST_F(Places, TheVaultThatNobodyNamedIsNotReplacedEither) {
    ASSERT_EQ(0, BackupToDefault().exitCode);
    fs::rename(home.Path(kPlace), home.Path("unplugged"));
    Outcome const away = BackupToDefault();
    EXPECT_EQ(1, away.exitCode);
    EXPECT_THAT(away.err + away.out, HasSubstr("away"));
    EXPECT_FALSE(home.Exists(kPlace));
    fs::rename(home.Path("unplugged"), home.Path(kPlace));
    EXPECT_EQ(0, BackupToDefault().exitCode);
}

// A folder that another program happens to call "vault" is none.
TEST_F(Places, AFolderOfTheFormerNameThatIsNoVaultIsLeftAlone) {
    home.Write(std::string(kFormerPlace) + "/secrets", "somebody's");
    EXPECT_EQ(0, BackupToDefault().exitCode);
    EXPECT_TRUE(home.Exists(kPlace));
    EXPECT_EQ((std::vector<std::string>{"secrets"}), [&] {
        std::vector<std::string> names;
        for (auto const& entry : fs::directory_iterator(home.Path(kFormerPlace))) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }());
}

TEST_F(Places, AVaultThatTheConfigurationNamesIsNotMadeWhenItIsMissing) {
    home.Write("config/rampart.ini", "[Service]\nUrl = " + home.Native("away") + "\n");
    EXPECT_EQ(1, BackupToDefault().exitCode);
    EXPECT_FALSE(home.Exists("away"));
    EXPECT_FALSE(home.Exists(kPlace));
}

}  // namespace rampart::test
