// Differences beside content, and places that are not to be read.
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <fstream>

#include "cli/cli_fixture.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class CliDiffAttributes : public Cli {
protected:
    std::string Diff(int exitCode = 0) {
        Outcome const outcome = Rampart({"diff", "d", "--vault", Vault()});
        EXPECT_EQ(exitCode, outcome.exitCode) << outcome.out << outcome.err;
        return outcome.out;
    }
};

TEST_F(CliDiffAttributes, RightsAndTargetsDifferAndWhatOnlyLooksNewDoesNot) {
    TempTree const tree(
        {{"d/mode", "m"}, {"d/noted", "n"}, {"d/plain", "p"}, {"d/Case/x", "x"}, {"d/f/", ""}});
    ASSERT_TRUE(MakeLink(tree.Path("d/link"), "plain"));
    ASSERT_TRUE(MakeLink(tree.Path("d/other"), "plain"));
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    ASSERT_EQ(0, chmod(tree.Native("d/mode").c_str(), 0751));
    ASSERT_EQ(0, chmod(tree.Native("d/f").c_str(), 0711));
    bool const hasNotes = setxattr(tree.Native("d/noted").c_str(), "user.note", "x", 1, 0) == 0;
    fs::remove(tree.Path("d/link"));
    ASSERT_TRUE(MakeLink(tree.Path("d/link"), "mode"));
    fs::remove(tree.Path("d/other"));
    tree.Write("d/other", "plain");
    // Another name of a file, a pipe, the folder in another case: no run would send anything for them but the
    // name.
    fs::create_hard_link(tree.Path("d/plain"), tree.Path("d/plain2"));
    ASSERT_EQ(0, mkfifo(tree.Native("d/pipe").c_str(), 0600));
    fs::rename(tree.Path("d/Case"), tree.Path("d/case"));
    EXPECT_EQ(std::string("A d/f/\nM d/link\nA d/mode\n") + (hasNotes ? "A d/noted\n" : "") +
                  "T d/other\n+ d/plain2\n1 added, 1 changed, " + (hasNotes ? "3" : "2") +
                  " with other attributes, 1 of another kind\n",
              Diff());
    // What a run has seen does not differ any more.
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    EXPECT_EQ("Nothing differs\n", Diff());
}

TEST_F(CliDiffAttributes, WhatCannotBeReadIsToldAndNotTakenForGone) {
    if (getuid() != 0) {
        GTEST_SKIP() << "needs to act for another user";
    }
    TempTree const tree({{"d/closed/x", "x"}, {"d/names/y", "y"}, {"d/secret", "s"}, {"d/open", "o"}});
    user = 65534;
    work.Write("out", "");
    work.Write("err", "");
    for (fs::path const& place : {home.Path(), work.Path(), work.Path("out"), work.Path("err")}) {
        fs::permissions(place, fs::perms::all);
    }
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    fs::permissions(tree.Path("d/closed"), fs::perms::none);
    fs::permissions(tree.Path("d/names"), fs::perms::others_read);
    fs::permissions(tree.Path("d/secret"), fs::perms::none);
    tree.Write("d/open", "longer");
    EXPECT_EQ("A d/closed/\nA d/names/\nM d/open\n1 changed, 2 with other attributes\n", Diff(3));
    EXPECT_THAT(work.Read("err"), HasSubstr(tree.Native("d/closed")));
    EXPECT_THAT(work.Read("err"), HasSubstr(tree.Native("d/names/y")));
    EXPECT_THAT(work.Read("err"), HasSubstr(tree.Native("d/secret")));
}

TEST_F(CliDiffAttributes, WhatLiesOnAFileSystemThatIsAwayIsNotTakenForGone) {
    TempTree const tree({{"d/here", "h"}, {"d/disk/", ""}});
    std::string const place = tree.Native("d/disk");
    if (mount("rampart-test", place.c_str(), "tmpfs", 0, "size=1m") != 0) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    tree.Write("d/disk/there", "t");
    MakeVault();
    int const exitCode = Backup({tree.Native("d")}).exitCode;
    EXPECT_EQ(0, umount(place.c_str()));
    ASSERT_EQ(0, exitCode);
    fs::remove(tree.Path("d/here"));
    EXPECT_EQ("- d/here\n1 gone\n", Diff(3));
    EXPECT_THAT(work.Read("err"), HasSubstr(place));
}

}  // namespace

}  // namespace rampart::test
