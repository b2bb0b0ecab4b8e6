// What differs between two moments, and between a moment and the disk.
#include <random>

#include "cli/cli_fixture.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CliDiff : public Cli {
protected:
    // The lines, without the one that counts them.
    std::vector<std::string> Lines(std::vector<std::string> const& options, int exitCode = 0,
                                   std::string const& what = "d") {
        std::vector<std::string> arguments = {"diff", what, "--vault", Vault()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        Outcome const outcome = Rampart(arguments);
        EXPECT_EQ(exitCode, outcome.exitCode) << outcome.out << outcome.err;
        std::vector<std::string> lines;
        std::istringstream text(outcome.out);
        for (std::string line; std::getline(text, line);) {
            std::erase(line, '\r');
            lines.push_back(line);
        }
        EXPECT_FALSE(lines.empty());
        count = lines.empty() ? "" : lines.back();
        lines.resize(lines.empty() ? 0 : lines.size() - 1);
        return lines;
    }

    // Changed without a trace in size and last-write time.
    static void WriteKeepingTime(TempFolder const& tree, std::string const& name,
                                 std::string const& content) {
        platform::FileStatus before;
        ASSERT_TRUE(platform::QueryStatus(tree.Engine(name), before));
        tree.Write(name, content);
        tree.SetWriteTime(name, before.writeTime);
    }

    std::string count;
};

TEST_F(CliDiff, TellsWhatHappenedOnTheDiskSinceTheLastRun) {
    TempTree const tree({{"d/gone/x", "x"},
                         {"d/kind", "file"},
                         {"d/longer", "l"},
                         {"d/quiet", "one"},
                         {"d/same", "same"},
                         {"d/touched", "touched"},
                         {"d/z/deep/f", "f"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    EXPECT_THAT(Lines({}), IsEmpty());
    EXPECT_EQ("Nothing differs", count);

    fs::remove_all(tree.Path("d/gone"));
    fs::remove(tree.Path("d/kind"));
    tree.Write("d/kind/in", "a folder now");
    tree.Write("d/longer", "longer");
    WriteKeepingTime(tree, "d/quiet", "two");
    tree.SetWriteTime("d/touched", 1'500'000'000'123'456'700);
    tree.Write("d/z/deep/new/", "");
    tree.Write("d/z/deep/new/n", "n");
    std::vector<std::string> const expected = {"- d/gone/",   "T d/kind/",       "M d/longer",
                                               "M d/quiet",   "A d/touched",     "- d/gone/x",
                                               "+ d/kind/in", "+ d/z/deep/new/", "+ d/z/deep/new/n"};
    EXPECT_EQ(expected, Lines({}));
    EXPECT_EQ("3 added, 2 gone, 2 changed, 1 with other attributes, 1 of another kind", count);

    Outcome const json = Rampart({"diff", "d", "--json", "--vault", Vault()});
    ASSERT_EQ(0, json.exitCode);
    EXPECT_EQ(9u, json.Json()["differences"].size());
    EXPECT_EQ(3, json.Json()["counts"]["added"]);
    EXPECT_EQ("kind", json.Json()["differences"][1]["change"]);
    EXPECT_EQ("folder", json.Json()["differences"][1]["type"]);
    // A part of the task, by its local path; a single file.
    EXPECT_THAT(Lines({}, 0, tree.Native("d/z")), ElementsAre("+ deep/new/", "+ deep/new/n"));
    EXPECT_THAT(Lines({}, 0, tree.Native("d/longer")), ElementsAre("M longer"));

    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    EXPECT_THAT(Lines({}), IsEmpty());
}

TEST_F(CliDiff, WhatTheTaskLeavesOutDoesNotDiffer) {
    TempTree const tree({{"d/a.o", "o"}, {"d/a.c", "c"}, {"d/build/x.c", "x"}, {"d/src/x.c", "x"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    ASSERT_EQ(0, Backup({tree.Native("d"), "--exclude", "*.o", "--exclude", "build/"}).exitCode);
    tree.Write("d/a.o", "changed");
    tree.Write("d/new.o", "new");
    tree.Write("d/build/y.c", "new");
    fs::remove(tree.Path("d/build/x.c"));
    EXPECT_THAT(Lines({}), IsEmpty());
    tree.Write("d/new.c", "new");
    EXPECT_THAT(Lines({}), ElementsAre("+ d/new.c"));
}

TEST_F(CliDiff, OfWhatATaskIncludesOnlyThatDiffers) {
    TempTree const tree({{"d/a.c", "c"}, {"d/a.o", "o"}, {"d/src/x.c", "x"}, {"d/bin/x.o", "o"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d"), "--include", "*.c"}).exitCode);
    EXPECT_THAT(Lines({}), IsEmpty());
    tree.Write("d/new/deep/x.c", "x");
    tree.Write("d/new/deep/x.o", "o");
    tree.Write("d/src/x.o", "o");
    fs::remove(tree.Path("d/a.c"));
    EXPECT_THAT(Lines({}), ElementsAre("- d/a.c", "+ d/new/deep/x.c"));
}

TEST_F(CliDiff, WhatCannotBeComparedIsToldAndIsNoDifference) {
    TempTree const tree({{"d/a", "a"}, {"e/b", "b"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d"), tree.Native("e"), "--name", "d"}).exitCode);
    fs::rename(tree.Path("e"), tree.Path("away"));
    tree.Write("d/a", "aa");
    EXPECT_THAT(Lines({}, 3), ElementsAre("M d/a"));
    EXPECT_THAT(work.Read("err"), HasSubstr(tree.Native("e")));
    EXPECT_EQ(1u, Rampart({"diff", "d", "--json", "--vault", Vault()}).Json()["notCompared"].size());
}

TEST_F(CliDiff, WrongUseIsTold) {
    TempTree const tree({{"d/a", "a"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    EXPECT_EQ(2, Rampart({"diff", "--vault", Vault()}).exitCode);
    EXPECT_EQ(1, Rampart({"diff", "nothing", "--vault", Vault()}).exitCode);
    EXPECT_EQ(2, Rampart({"diff", "d", "--at", "yesterday", "--vault", Vault()}).exitCode);
    EXPECT_EQ(2, Rampart({"diff", "d", "--at", "2020-01-01", "--at", "2021-01-01", "--at", "2022-01-01",
                          "--vault", Vault()})
                     .exitCode);
    Outcome const early = Rampart({"diff", "d", "--at", "2020-01-01", "--vault", Vault()});
    EXPECT_EQ(1, early.exitCode);
    EXPECT_THAT(early.err, HasSubstr("its first state was stored at"));
}

// A history of what people do to a folder; each pair of moments, and each moment with the disk at the end,
// shows exactly the paths that a look at the trees themselves finds.
TEST_F(CliDiff, AnyTwoMomentsOfARandomHistoryDifferInWhatTheTreesDifferIn) {
    std::mt19937 random(20261125);
    auto const pick = [&](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
    TempTree const tree({{"d/keep", "k"}});
    MakeVault();
    using Tree = std::map<std::string, TreeEntry>;
    std::vector<std::pair<std::string, Tree>> states;
    for (int run = 0; run < 6; ++run) {
        for (int step = 0; step < 12; ++step) {
            std::string const folder = "d/f" + std::to_string(pick(4));
            std::string const path = folder + "/n" + std::to_string(pick(5));
            bool const isFolderThere = fs::is_directory(tree.Path(folder));
            switch (pick(6)) {
                case 0:
                    fs::remove_all(tree.Path(folder));
                    break;
                case 1:
                    if (isFolderThere) {
                        fs::remove_all(tree.Path(path));
                    }
                    break;
                case 2:
                    if (!fs::exists(tree.Path(path))) {
                        tree.Write(path + "/inner", "deep");
                    }
                    break;
                default:
                    if (!fs::is_directory(tree.Path(path))) {
                        tree.Write(path, std::string(static_cast<size_t>(1 + pick(3)), 'a'));
                    }
            }
        }
        ASSERT_EQ(0, Backup({tree.Native("d"), "--versions", "100"}).exitCode);
        states.emplace_back(Now(), ReadTree(tree.Path()));
    }
    auto const expected = [](Tree const& a, Tree const& b) {
        std::set<std::string> lines;
        auto const other = [](std::string const& name) {
            return name.ends_with('/') ? name.substr(0, name.size() - 1) : name + "/";
        };
        for (auto const& [name, entry] : a) {
            if (auto const there = b.find(name); there != b.end()) {
                if (entry.content != there->second.content) {
                    lines.insert("M " + name);
                } else if (entry.writeTime != there->second.writeTime) {
                    lines.insert("A " + name);
                }
            } else if (!b.contains(other(name))) {
                lines.insert("- " + name);
            }
        }
        for (auto const& [name, entry] : b) {
            if (!a.contains(name)) {
                lines.insert((a.contains(other(name)) ? "T " : "+ ") + name);
            }
        }
        return lines;
    };
    for (auto const& [from, before] : states) {
        for (auto const& [to, after] : states) {
            std::vector<std::string> const lines = Lines({"--at", from, "--at", to});
            EXPECT_EQ(expected(before, after), std::set<std::string>(lines.begin(), lines.end()))
                << from << " to " << to;
        }
        std::vector<std::string> const lines = Lines({"--at", from});
        EXPECT_EQ(expected(before, states.back().second), std::set<std::string>(lines.begin(), lines.end()))
            << from;
    }
}

}  // namespace

}  // namespace rampart::test
