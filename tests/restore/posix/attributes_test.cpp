// Rights, owners, links, holes and special files.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "restore/restore_fixture.h"

namespace rampart::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class RestoreAttributes : public RestoreTest {
protected:
    static std::string Attributes(const std::function<void(platform::Attributes&)>& fill) {
        platform::Attributes attributes;
        attributes.owner = geteuid();
        attributes.group = getegid();
        fill(attributes);
        return platform::EncodeAttributes(attributes);
    }
    void StoreWith(const std::string& path, std::string_view content, const std::string& attributes,
                   uint32_t flags = 0) {
        FileCommit commit = CommitOf(path, content);
        commit.attributes = attributes;
        commit.flags = flags;
        Commit(commit);
    }
    struct stat Stat(const std::string& name) const {
        struct stat status = {};
        EXPECT_EQ(0, lstat(target.Native(name).c_str(), &status)) << name;
        return status;
    }
};

TEST_F(RestoreAttributes, FilesAndFoldersGetTheirsAndFoldersFromTheBottomUp) {
    MakeFolder("\\top\\d");
    MakeFolder("\\top\\d\\closed");
    StoreWith("\\top\\d\\closed\\f", "f", Attributes([](auto& a) {
                  a.mode = S_IFREG | 0640;
                  a.extended = {{"user.note", "kept"}};
              }));
    const AttributeCommit folder{"\\top\\d", "closed", 0,
                                 kTime,      kNoTime,  Attributes([](auto& a) { a.mode = S_IFDIR | 0500; })};
    ASSERT_TRUE(service->SetAttributes({&folder, 1}).Ok());
    for (int run = 0; run < 2; ++run) {
        ASSERT_EQ(0, Run());
        EXPECT_THAT(leftOut, IsEmpty());
        EXPECT_EQ(0640u, Stat("out/d/closed/f").st_mode & 07777);
        EXPECT_EQ(0500u, Stat("out/d/closed").st_mode & 07777);
        EXPECT_EQ(kTime % 1'000'000'000, Stat("out/d/closed").st_mtim.tv_nsec);
        EXPECT_EQ(kTime % 1'000'000'000, Stat("out/d/closed/f").st_mtim.tv_nsec);
        char note[16];
        EXPECT_EQ(4, getxattr(target.Native("out/d/closed/f").c_str(), "user.note", note, sizeof note));
        // The next run has to write into a folder that is closed again.
        std::filesystem::permissions(target.Path("out/d/closed"), std::filesystem::perms::owner_all);
        std::filesystem::remove(target.Path("out/d/closed/f"));
        std::filesystem::permissions(target.Path("out/d/closed"),
                                     std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    }
    std::filesystem::permissions(target.Path("out/d/closed"), std::filesystem::perms::owner_all);
}

TEST_F(RestoreAttributes, WhatNothingIsKnownOfIsItsRestorersAlone) {
    MakeFolder("\\top\\d");
    Store("\\top\\d\\f", "f");
    ASSERT_EQ(0, Run());
    EXPECT_EQ(0600u, Stat("out/d/f").st_mode & 07777);
    EXPECT_EQ(0700u, Stat("out/d").st_mode & 07777);
}

TEST_F(RestoreAttributes, LinksComeBackAsLinksWithTheSystemsOwnBytes) {
    const std::string away = "../no\xFFwhere";
    StoreWith("\\top\\link", away, Attributes([](auto& a) { a.mode = S_IFLNK | 0777; }), kRecordLink);
    for (int run = 0; run < 2; ++run) {
        ASSERT_EQ(0, Run());
        EXPECT_EQ(away, std::filesystem::read_symlink(target.Path("out/link")).native());
        EXPECT_EQ(kTime % 1'000'000'000, Stat("out/link").st_mtim.tv_nsec);
    }
    EXPECT_EQ(1, report.alreadyThere);
}

TEST_F(RestoreAttributes, NamesOfOneFileAreNamesOfOneFileAgain) {
    const std::string linked = Attributes([](auto& a) {
        a.mode = S_IFREG | 0600;
        a.linkVolume = 7;
        a.linkFile = 11;
    });
    MakeFolder("\\top\\d");
    StoreWith("\\top\\a", "same", linked);
    StoreWith("\\top\\d\\b", "same", linked);
    StoreWith("\\top\\d\\changed", "other", linked);
    ASSERT_EQ(0, Run());
    EXPECT_EQ(Stat("out/a").st_ino, Stat("out/d/b").st_ino);
    EXPECT_NE(Stat("out/a").st_ino, Stat("out/d/changed").st_ino);
    EXPECT_EQ("other", target.Read("out/d/changed"));
    EXPECT_EQ(3, report.files);
    // One of them missing joins those that are there.
    std::filesystem::remove(target.Path("out/d/b"));
    ASSERT_EQ(0, Run());
    EXPECT_EQ(Stat("out/a").st_ino, Stat("out/d/b").st_ino);
    // A file in its place gives way to the name when told to.
    target.Write("out/d/b", "mine");
    std::filesystem::remove(target.Path("out/d/b"));
    target.Write("out/d/b", "mine");
    RestoreRequest request = Request();
    request.overwrite = Overwrite::kAlways;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ(Stat("out/a").st_ino, Stat("out/d/b").st_ino);
    EXPECT_THAT(Temporaries(), IsEmpty());
}

TEST_F(RestoreAttributes, HolesStayHolesAndTheContentIsTheSame) {
    std::string content =
        Noise(5000, 1) + std::string(4'000'000, '\0') + "middle" + std::string(3'000'000, '\0');
    StoreWith("\\top\\sparse", content, Attributes([](auto& a) {
                  a.mode = S_IFREG | 0600;
                  a.isSparse = true;
              }));
    StoreWith("\\top\\full", content, Attributes([](auto& a) { a.mode = S_IFREG | 0600; }));
    ASSERT_EQ(0, Run());
    EXPECT_TRUE(target.Read("out/sparse") == content);
    EXPECT_TRUE(target.Read("out/full") == content);
    EXPECT_LT(Stat("out/sparse").st_blocks * 512, 200'000);
    EXPECT_GT(Stat("out/full").st_blocks * 512, 6'000'000);
}

TEST_F(RestoreAttributes, PipesComeBack) {
    StoreWith("\\top\\pipe", "", Attributes([](auto& a) { a.mode = S_IFIFO | 0620; }), kRecordSpecial);
    ASSERT_EQ(0, Run());
    EXPECT_TRUE(S_ISFIFO(Stat("out/pipe").st_mode));
    EXPECT_EQ(0620u, Stat("out/pipe").st_mode & 07777);
}

TEST_F(RestoreAttributes, OwnersAreLeftOutWhenAskedAndThatIsToldOnce) {
    StoreWith("\\top\\f", "f", Attributes([](auto& a) {
                  a.mode = S_IFREG | 04755;
                  a.owner = geteuid() + 1;
              }));
    RestoreRequest request = Request();
    request.owners = false;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ(geteuid(), Stat("out/f").st_uid);
    EXPECT_EQ(0755u, Stat("out/f").st_mode & 07777) << "the rights of somebody else's program";
    EXPECT_TRUE(report.ownersWithheld);
    EXPECT_THAT(leftOut, IsEmpty());
}

TEST_F(RestoreAttributes, ATimeBeyondNanosecondsComesBackToTheSecond) {
    constexpr int64_t kYear2446 = 15'011'222'400;
    FileCommit commit = CommitOf("\\top\\far", "far");
    commit.modifiedTime = INT64_MAX;
    commit.attributes = Attributes([](auto& a) {
        a.mode = S_IFREG | 0600;
        a.farWriteSeconds = kYear2446;
    });
    Commit(commit);
    // Where the file system itself cannot keep it, it keeps the nearest.
    const TempFolder probe;
    probe.Write("p", "");
    const timespec times[2] = {{0, UTIME_OMIT}, {kYear2446, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, probe.Native("p").c_str(), times, 0));
    struct stat nearest = {};
    ASSERT_EQ(0, stat(probe.Native("p").c_str(), &nearest));
    ASSERT_EQ(0, Run());
    EXPECT_EQ(nearest.st_mtim.tv_sec, Stat("out/far").st_mtim.tv_sec);
    platform::FileStatus status;
    ASSERT_TRUE(platform::QueryStatus(target.Engine("out/far"), status));
    EXPECT_GT(status.writeTime, INT64_MAX / 2) << "never a moment in another century";
}

TEST_F(RestoreAttributes, AttributesThatCannotBeReadAreNotTakenForNone) {
    StoreWith("\\top\\f", "f", std::string("\x63 a later form", 14));
    ASSERT_EQ(0, Run());
    EXPECT_EQ("f", target.Read("out/f"));
    EXPECT_THAT(leftOut[target.Native("out/f")], HasSubstr("later form"));
}

}  // namespace
}  // namespace rampart::test
