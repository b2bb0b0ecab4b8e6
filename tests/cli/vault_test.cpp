// rampart vault repair, get, set, and verify on a vault that is damaged.
#include <fstream>

#include "cli/cli_fixture.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;

class VaultCommands : public Cli {
protected:
    Outcome OfVault(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "vault");
        arguments.insert(arguments.end(), {"--vault", Vault()});
        return Rampart(arguments);
    }
    std::string Value(std::string const& key) {
        Outcome const outcome = OfVault({"get", key, "--json"});
        EXPECT_EQ(0, outcome.exitCode) << outcome.err;
        return outcome.Json()[key]["value"];
    }
};

TEST_F(VaultCommands, ALostCatalogIsRepairedAndTheMessagesLeadThere) {
    MakeVault();
    TempTree const tree({{"d/a", "one"}, {"d/b", "two"}});
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "mine"}).exitCode);
    for (char const* const name : {"catalog.db", "catalog.db-wal", "catalog.db-shm"}) {
        fs::remove(work.Path("vault/" + std::string(name)));
    }
    for (std::vector<std::string> const& command :
         {std::vector<std::string>{"init"}, {"stats"}, {"verify"}}) {
        Outcome const refused = OfVault(command);
        EXPECT_EQ(1, refused.exitCode) << command[0];
        EXPECT_THAT(refused.err, HasSubstr("rampart vault repair")) << command[0];
    }
    Outcome const repaired = OfVault({"repair"});
    EXPECT_EQ(0, repaired.exitCode) << repaired.err;
    EXPECT_THAT(repaired.out, HasSubstr("copy of"));
    ExpectClean();
    ExpectRestores("mine", tree.Path("d"));
    EXPECT_THAT(OfVault({"repair"}).out, HasSubstr("Nothing was changed"));
    EXPECT_EQ(false, OfVault({"repair", "--json"}).Json()["changed"]);
}

TEST_F(VaultCommands, VerifyNamesTheFilesThatADamagedChunkConcerns) {
    MakeVault();
    TempTree const tree({{"d/letter.txt", "a letter that nobody wants to lose"}});
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "mine"}).exitCode);
    std::string const pack = "vault/packs/0000000001.pack";
    std::string bytes = work.Read(pack);
    bytes.back() ^= 1;
    work.Write(pack, bytes);
    Outcome const damaged = OfVault({"verify", "--read-data"});
    EXPECT_EQ(1, damaged.exitCode);
    EXPECT_THAT(damaged.err, HasSubstr("letter.txt"));
    // And remembers it.
    EXPECT_THAT(OfVault({"verify"}).err, HasSubstr("letter.txt"));
}

TEST_F(VaultCommands, SettingsAreListedCheckedSetAndTakenBack) {
    MakeVault();
    Outcome const all = OfVault({"get"});
    for (char const* const key :
         {"quota", "item-limit", "paid", "free-file-size", "may-subscribe", "batch-size",
          "parallel-transfers", "parallel-file-size", "snapshot-copies", "file-filter", "folder-filter"}) {
        EXPECT_THAT(all.out, HasSubstr(key));
        EXPECT_EQ(true, OfVault({"get", key, "--json"}).Json()[key]["default"]) << key;
    }
    struct {
        char const* key;
        char const* typed;
        char const* shown;
    } const kGood[] = {{"quota", "10G", "10737418240"},
                       {"quota", "0", "0"},
                       {"item-limit", "5", "5"},
                       {"batch-size", "128k", "131072"},
                       {"parallel-transfers", "on", "on"},
                       {"snapshot-copies", "off", "off"},
                       {"file-filter", "*.bak|*.o", "*.bak|*.o"},
                       {"free-file-size", "1000", "1000"},
                       {"parallel-file-size", "2M", "2097152"},
                       {"paid", "off", "off"},
                       {"may-subscribe", "on", "on"},
                       {"folder-filter", "build", "build"}};
    for (auto const& each : kGood) {
        EXPECT_EQ(0, OfVault({"set", each.key, each.typed}).exitCode) << each.key;
        EXPECT_EQ(each.shown, Value(each.key)) << each.key;
    }
    struct {
        char const* key;
        char const* typed;
    } const kBad[] = {{"quota", "lots"},        {"quota", "10X"},        {"quota", "-1"},
                      {"quota", "9999999999T"}, {"item-limit", "0"},     {"item-limit", "3M"},
                      {"batch-size", "1"},      {"batch-size", "1G"},    {"paid", "yes"},
                      {"file-filter", ""},      {"file-filter", "a\nb"}, {"nothing", "1"}};
    for (auto const& each : kBad) {
        Outcome const refused = OfVault({"set", each.key, each.typed});
        EXPECT_EQ(2, refused.exitCode) << each.key << ' ' << each.typed;
        EXPECT_THAT(refused.err, HasSubstr(each.key));
    }
    EXPECT_EQ("0", Value("quota"));
    EXPECT_EQ(2, OfVault({"get", "nothing"}).exitCode);
    EXPECT_EQ(0, OfVault({"set", "item-limit", "default"}).exitCode);
    EXPECT_EQ("100000000", Value("item-limit"));
}

TEST_F(VaultCommands, TheQuotaAndTheFiltersActInTheNextRun) {
    MakeVault();
    TempTree const tree({{"d/keep", "kept"}, {"d/drop.bak", "dropped"}, {"d/build/x", "dropped"}});
    EXPECT_EQ(0, OfVault({"set", "file-filter", "*.bak"}).exitCode);
    EXPECT_EQ(0, OfVault({"set", "folder-filter", "build"}).exitCode);
    EXPECT_EQ(1, Backup({tree.Native("d"), "--name", "mine"}).Json()["transferred"]);
    std::string const listed = Rampart({"ls", "mine", "-r", "--vault", Vault()}).out;
    EXPECT_THAT(listed, HasSubstr("keep"));
    EXPECT_THAT(listed, Not(HasSubstr("drop.bak")));

    EXPECT_EQ(0, OfVault({"set", "quota", "1K"}).exitCode);
    std::string noise;
    for (int i = 0; i < 100000; ++i) {
        noise += static_cast<char>(std::rand());
    }
    tree.Write("d/large", noise);
    Outcome const full = Backup({tree.Native("d"), "--no"});
    EXPECT_NE(0, full.exitCode) << full.out;
    // Nobody makes room while the answers are given beforehand: a yes to it must not be taken for a retry.
    tree.Write("d/new folder/f", noise);
    EXPECT_NE(0, Backup({tree.Native("d"), "--yes"}).exitCode);
    EXPECT_EQ(0, OfVault({"set", "quota", "default"}).exitCode);
    EXPECT_EQ(0, Backup({tree.Native("d")}).exitCode);
}

TEST_F(VaultCommands, ATaskHoldsNoMoreItemsThanTheAccountAllows) {
    MakeVault();
    TempTree const tree({{"d/1", "1"}, {"d/2", "2"}, {"d/3", "3"}, {"other/1", "1"}});
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "mine"}).exitCode);
    ASSERT_EQ(0, OfVault({"set", "item-limit", "5"}).exitCode);  // the folder, its three files, and one more
    tree.Write("d/1", "changed, and not new");
    EXPECT_EQ(0, Backup({tree.Native("d"), "--name", "mine"}).exitCode);
    EXPECT_EQ(0, Backup({tree.Native("other"), "--name", "other"}).exitCode)
        << "another task counts for itself";
    tree.Write("d/4", "4");
    tree.Write("d/5", "5");
    for (std::string const paid : {"on", "off"}) {
        ASSERT_EQ(0, OfVault({"set", "paid", paid}).exitCode);
        Outcome const refused = Backup({tree.Native("d"), "--name", "mine"});
        EXPECT_EQ(1, refused.exitCode) << refused.err;
        EXPECT_THAT(refused.out, HasSubstr("more than the 5 items"));
        EXPECT_THAT(refused.out, HasSubstr(tree.Native("d/5")));
    }
    fs::remove(tree.Path("d/2"));
    fs::remove(tree.Path("d/3"));
    // The run that cannot store them sees that others are gone; the next one has room for them.
    Backup({tree.Native("d"), "--name", "mine"});
    EXPECT_EQ(0, Backup({tree.Native("d"), "--name", "mine"}).exitCode);
    ExpectRestores("mine", tree.Path("d"));
    ASSERT_EQ(0, OfVault({"set", "item-limit", "default"}).exitCode);
    tree.Write("d/6", "6");
    EXPECT_EQ(0, Backup({tree.Native("d"), "--name", "mine"}).exitCode);
}

}  // namespace

}  // namespace rampart::test
