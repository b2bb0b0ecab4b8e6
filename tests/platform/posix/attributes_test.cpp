// Attributes of real files, links, folders and devices: read, and given to others.
#include "platform/attributes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "support/temp_tree.h"

namespace rampart::platform {
namespace {

class FileAttributes : public testing::Test {
protected:
    std::string Read(const std::string& name) { return ReadAttributes(ToEnginePath(folder.Native(name))); }
    std::vector<std::string> Apply(const std::string& name, const std::string& bytes,
                                   const ApplyOptions& options = {}) {
        std::vector<std::string> missed;
        const bool whole = ApplyAttributes(ToEnginePath(folder.Native(name)), bytes, options, missed);
        EXPECT_EQ(whole, missed.empty());
        return missed;
    }
    struct stat Status(const std::string& name) {
        struct stat status {};
        EXPECT_EQ(lstat(folder.Native(name).c_str(), &status), 0);
        return status;
    }
    test::TempFolder folder;
};

TEST_F(FileAttributes, GoFromOneFileToAnother) {
    folder.Write("a", "x");
    folder.Write("b", "y");
    const std::string a = folder.Native("a");
    ASSERT_EQ(chmod(a.c_str(), 0451), 0);
    if (setxattr(a.c_str(), "user.note", "kept", 4, 0) != 0) {
        GTEST_SKIP() << "the file system has no extended attributes";
    }
    const bool isRoot = geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(chown(a.c_str(), 1234, 4321), 0);
        ASSERT_EQ(chmod(a.c_str(), 06451), 0);
    }
    ApplyOptions options;
    options.writeTime = 9'000'000'000'123'456'789;  // the year 2255
    EXPECT_THAT(Apply("b", Read("a"), options), testing::IsEmpty());
    EXPECT_EQ(Read("b"), Read("a"));
    EXPECT_EQ(Status("b").st_mode, Status("a").st_mode);
    EXPECT_EQ(Status("b").st_mtim.tv_nsec, 123'456'789);
    EXPECT_EQ(Status("b").st_mtim.tv_sec, 9'000'000'000);
    if (isRoot) {
        EXPECT_EQ(Status("b").st_uid, 1234u);
        // Set-id bits are the rights of the owner: they do not come without him.
        folder.Write("c", "z");
        options.owner = false;
        Apply("c", Read("a"), options);
        EXPECT_EQ(Status("c").st_mode & 07777, 0451u);
        EXPECT_EQ(Status("c").st_uid, 0u);
    }
    auto file = FileHandle::Open(ToEnginePath(a), kOpenRead);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->ReadAttributes(), Read("a"));
}

TEST_F(FileAttributes, NamesOfOneFileAreKnownAndHolesAreSeen) {
    folder.Write("one", "x");
    ASSERT_EQ(link(folder.Native("one").c_str(), folder.Native("two").c_str()), 0);
    folder.Write("single", "x");
    Attributes one, two, single;
    ASSERT_TRUE(DecodeAttributes(Read("one"), one));
    ASSERT_TRUE(DecodeAttributes(Read("two"), two));
    ASSERT_TRUE(DecodeAttributes(Read("single"), single));
    EXPECT_NE(one.linkFile, 0u);
    EXPECT_EQ(one.linkFile, two.linkFile);
    EXPECT_EQ(one.linkVolume, two.linkVolume);
    EXPECT_EQ(single.linkFile, 0u);
    folder.Write("holes", "");
    ASSERT_EQ(truncate(folder.Native("holes").c_str(), 1 << 20), 0);
    Attributes holes;
    ASSERT_TRUE(DecodeAttributes(Read("holes"), holes));
    EXPECT_TRUE(holes.isSparse);
}

TEST_F(FileAttributes, OfALinkAreItsOwnAndItsTargetIsLeftAlone) {
    folder.Write("file", "x");
    ASSERT_EQ(chmod(folder.Native("file").c_str(), 0600), 0);
    ASSERT_EQ(symlink("file", folder.Native("link").c_str()), 0);
    Attributes link;
    ASSERT_TRUE(DecodeAttributes(Read("link"), link));
    EXPECT_TRUE(S_ISLNK(link.mode));
    const auto before = Status("file");
    folder.Write("other", "x");
    ASSERT_EQ(chmod(folder.Native("other").c_str(), 0777), 0);
    ApplyOptions options;
    options.writeTime = 1'000'000'000;
    Apply("link", Read("other"), options);
    EXPECT_EQ(Status("file").st_mode, before.st_mode);
    EXPECT_EQ(Status("file").st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(Status("link").st_mtim.tv_sec, 1);
    std::string target;
    ASSERT_TRUE(ReadLink(ToEnginePath(folder.Native("link")), target));
    EXPECT_EQ(target, "file");
    EXPECT_FALSE(ReadLink(ToEnginePath(folder.Native("file")), target));
}

TEST_F(FileAttributes, AccessListsOfTheFolderAreNotTakenForTheFilesOwn) {
    // An entry for user 1234 beside owner, group, mask and others.
    const std::string list(
        "\2\0\0\0"
        "\1\0\7\0\377\377\377\377"
        "\2\0\6\0\322\4\0\0"
        "\4\0\4\0\377\377\377\377"
        "\20\0\7\0\377\377\377\377"
        "\40\0\0\0\377\377\377\377",
        44);
    folder.Write("plain", "x");
    ASSERT_EQ(chmod(folder.Native("plain").c_str(), 0644), 0);
    folder.Write("listed", "x");
    if (setxattr(folder.Native("listed").c_str(), "system.posix_acl_access", list.data(), list.size(), 0) !=
        0) {
        GTEST_SKIP() << "the file system has no access control lists";
    }
    const std::string plain = Read("plain");
    const std::string listed = Read("listed");
    EXPECT_THAT(Apply("listed", plain), testing::IsEmpty());
    EXPECT_EQ(Read("listed"), plain);
    EXPECT_THAT(Apply("plain", listed), testing::IsEmpty());
    EXPECT_EQ(Read("plain"), listed);
}

TEST_F(FileAttributes, OfADeviceNameItWithoutOpeningIt) {
    if (geteuid() != 0 || mknod(folder.Native("null").c_str(), S_IFCHR | 0640, makedev(1, 3)) != 0) {
        GTEST_SKIP() << "only root makes devices";
    }
    Attributes device;
    ASSERT_TRUE(DecodeAttributes(Read("null"), device));
    EXPECT_EQ(device.device, makedev(1, 3));
    ASSERT_EQ(mkfifo(folder.Native("pipe").c_str(), 0600), 0);
    EXPECT_THAT(Apply("pipe", Read("null")), testing::IsEmpty());  // would wait for ever for a reader
    EXPECT_EQ(Status("pipe").st_mode & 07777, 0640u);
}

}  // namespace
}  // namespace rampart::platform
