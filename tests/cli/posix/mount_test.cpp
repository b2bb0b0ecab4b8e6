// The vault as a folder of the file system: the built program, a real mount.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <csignal>
#include <random>
#include <thread>

#include "cli/cli_fixture.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class CliMount : public Cli {
protected:
    void SetUp() override {
        if (access("/dev/fuse", R_OK | W_OK) != 0) {
            GTEST_SKIP() << "/dev/fuse is not there, or not for this user";
        }
        fs::create_directory(look);
    }
    void TearDown() override {
        if (mounted) {
            EXPECT_EQ(0, End());
        }
        umount2(look.c_str(), MNT_DETACH);
    }

    // Empty when it shows the vault, else why not.
    std::string Mount() {
        mounted = ChildProcess::Start({RAMPART_PROGRAM,
                                       {"mount", look, "--foreground", "--vault", Vault()},
                                       work.Native("mount-out"),
                                       work.Native("mount-err"),
                                       user});
        if (WaitFor([&] { return IsMounted() || mounted->HasEnded(); }) && IsMounted()) {
            return "";
        }
        mounted->Wait();
        mounted = nullptr;
        return work.Read("mount-err");
    }
    int End() {
        EXPECT_TRUE(mounted->Interrupt());
        int const exitCode = mounted->Wait();
        mounted = nullptr;
        return exitCode;
    }
    bool IsMounted() const {
        struct stat above {};
        struct stat here {};
        return stat(work.Native().c_str(), &above) == 0 && stat(look.c_str(), &here) == 0 &&
               above.st_dev != here.st_dev;
    }
    static bool WaitFor(std::function<bool()> const& condition) {
        auto const end = std::chrono::steady_clock::now() + 2min;
        while (!condition() && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(10ms);
        }
        return condition();
    }
    // The end of a run is known to the second, so that the next one belongs into another.
    static void NextSecond() { std::this_thread::sleep_for(2100ms); }

    // "errno N" when it cannot be read.
    std::string Content(std::string const& path) const {
        int const file = ::open((look + "/" + path).c_str(), O_RDONLY | O_CLOEXEC);
        std::string content;
        std::string piece(100'000, '\0');
        ssize_t length = file;
        while (length >= 0 && (length = read(file, piece.data(), piece.size())) > 0) {
            content.append(piece, 0, static_cast<size_t>(length));
        }
        if (length < 0) {
            content = "errno " + std::to_string(errno);
        }
        close(file);
        return content;
    }
    static std::vector<std::string> NamesIn(std::string const& folder) {
        std::vector<std::string> names;
        for (auto const& entry : fs::directory_iterator(folder)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    std::string const look = work.Native("look");
    std::unique_ptr<ChildProcess> mounted;
};

// All that a person can ask of a file; a folder's own times count, too.
struct Facts {
    unsigned mode = 0;
    unsigned owner = 0;
    unsigned group = 0;
    int64_t seconds = 0;
    int64_t nanoseconds = 0;
    std::string content;  // or the target of a link
    std::map<std::string, std::string> extended;
    bool operator==(Facts const&) const = default;
    friend void PrintTo(Facts const& facts, std::ostream* out) {
        *out << std::oct << facts.mode << std::dec << " " << facts.owner << ":" << facts.group << " "
             << facts.seconds << "." << facts.nanoseconds << " " << facts.content.size() << " bytes \""
             << facts.content.substr(0, 30) << "\" " << facts.extended.size() << " xattrs";
    }
};

std::map<std::string, std::string> ExtendedOf(std::string const& path) {
    std::map<std::string, std::string> extended;
    char names[4096];
    char value[4096];
    ssize_t const length = llistxattr(path.c_str(), names, sizeof names);
    for (ssize_t at = 0; at < length; at += static_cast<ssize_t>(std::strlen(names + at)) + 1) {
        ssize_t const size = lgetxattr(path.c_str(), names + at, value, sizeof value);
        extended[names + at] = size < 0 ? "(unreadable)" : std::string(value, static_cast<size_t>(size));
    }
    return extended;
}

std::map<std::string, Facts> FactsBelow(fs::path const& top) {
    std::map<std::string, Facts> tree;
    for (auto const& entry : fs::recursive_directory_iterator(top)) {
        struct stat status {};
        EXPECT_EQ(0, lstat(entry.path().c_str(), &status)) << entry.path();
        Facts& facts = tree[entry.path().lexically_relative(top).native()];
        facts.mode = status.st_mode;
        facts.owner = status.st_uid;
        facts.group = status.st_gid;
        facts.seconds = status.st_mtim.tv_sec;
        facts.nanoseconds = status.st_mtim.tv_nsec;
        facts.extended = ExtendedOf(entry.path());
        if (entry.is_symlink()) {
            facts.content = fs::read_symlink(entry.path());
        } else if (entry.is_regular_file()) {
            std::ifstream file(entry.path(), std::ios::binary);
            std::ostringstream content;
            content << file.rdbuf();
            facts.content = content.str();
            EXPECT_EQ(static_cast<off_t>(facts.content.size()), status.st_size) << entry.path();
        }
    }
    return tree;
}

class RandomTree {
public:
    explicit RandomTree(TempFolder const& place) : m_place(place) {}

    void Change(int steps) {
        for (int i = 0; i < steps; ++i) {
            std::string const folder = "d/" + Folder();
            std::string const path = folder + "/" + kNames[Pick(kNames.size())];
            fs::path const native = m_place.Path() / path;
            fs::create_directories(m_place.Path() / folder);
            fs::remove_all(native);
            switch (Pick(6)) {
                case 0:
                    break;  // gone
                case 1:
                    fs::create_symlink(Pick(2) == 0 ? "/no/where" : "plain", native);
                    break;
                default:
                    std::ofstream(native, std::ios::binary) << Content();
                    Adorn(native);
            }
        }
        chmod((m_place.Path() / "d/one").c_str(), static_cast<mode_t>(0700 | Pick(64)));
    }

private:
    static constexpr std::array<char const*, 8> kNames = {"plain",          "with blank ", "colon: x",
                                                          "\xFF\xFE bytes", "ümläut",      "back\\slash",
                                                          "dot.",           "\xEF\x80\xBA"};

    size_t Pick(size_t count) { return m_random() % count; }
    std::string Folder() {
        static constexpr std::array<char const*, 4> kFolders = {"one", "two", "one/deep", "two/a:b"};
        return kFolders[Pick(kFolders.size())];
    }
    std::string Content() {
        static constexpr std::array<size_t, 5> kSizes = {0, 1, 5000, 200'000, 2'500'000};
        std::string content(kSizes[Pick(kSizes.size())], '\0');
        for (size_t at = 0; at < content.size(); at += 7) {
            content[at] = static_cast<char>(m_random());
        }
        return content;
    }
    void Adorn(fs::path const& path) {
        chmod(path.c_str(), static_cast<mode_t>(Pick(01000)));
        if (geteuid() == 0) {
            EXPECT_EQ(0,
                      lchown(path.c_str(), static_cast<uid_t>(Pick(70000)), static_cast<gid_t>(Pick(70000))));
        }
        if (Pick(2) == 0) {
            setxattr(path.c_str(), "user.note", path.c_str(), 3, 0);
        }
        timespec const times[] = {
            {0, UTIME_OMIT},
            {static_cast<time_t>(Pick(2'000'000'000)) - 1000, static_cast<long>(Pick(1'000'000'000))}};
        utimensat(AT_FDCWD, path.c_str(), times, 0);
    }

    TempFolder const& m_place;
    std::mt19937 m_random{42};
};

TEST_F(CliMount, ShowsEveryMomentAsARestoreBringsItBack) {
    TempFolder const tree;
    MakeVault();
    RandomTree random(tree);
    std::vector<std::string> moments;
    for (int run = 0; run < 3; ++run) {
        random.Change(30);
        ASSERT_EQ(0, Backup({tree.Native("d"), "--versions", "100"}).exitCode);
        moments.push_back(Now());
    }
    if (std::string const reason = Mount(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    for (std::string const& moment : moments) {
        TempFolder const target;
        ASSERT_EQ(0, Rampart({"restore", "d", "--into", target.Native(), "--at", moment, "--vault", Vault()})
                         .exitCode);
        auto const expected = FactsBelow(target.Path());
        EXPECT_LT(10u, expected.size());
        EXPECT_EQ(expected, FactsBelow(look + "/at/" + moment + "/d")) << moment;
        if (moment == moments.back()) {
            EXPECT_EQ(expected, FactsBelow(look + "/latest/d"));
        }
    }
    EXPECT_EQ(0, End());
    EXPECT_FALSE(IsMounted());
    ExpectClean();
}

TEST_F(CliMount, AMomentStaysTheSameWhileBackupsRunAndTheLatestFollows) {
    TempTree const tree({{"d/a", "one"}, {"d/gone/x", "x"}, {"d/big", std::string(3'000'000, 'b')}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    std::string const first = Now();
    if (std::string const reason = Mount(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    EXPECT_EQ("one", Content("at/" + first + "/d/d/a"));  // from here on it was seen
    NextSecond();
    int const open = ::open((look + "/latest/d/d/big").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_LE(0, open);
    int const folder = ::open((look + "/latest/d/d").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_LE(0, folder);
    tree.Write("d/a", "second");
    tree.Write("d/big", "small now");
    tree.Write("d/new", "n");
    fs::remove_all(tree.Path("d/gone"));
    TempFolder const output;
    WriteMany(tree, 3000, 500);
    {
        auto const backup = ChildProcess::Start({RAMPART_PROGRAM,
                                                 {"backup", tree.Native("d"), "--vault", Vault()},
                                                 output.Native("out"),
                                                 output.Native("err"),
                                                 user});
        while (!backup->HasEnded()) {
            ASSERT_EQ("one", Content("at/" + first + "/d/d/a"));
            ASSERT_EQ(3u, NamesIn(look + "/at/" + first + "/d/d").size());
            std::string const latest = Content("latest/d/d/a");
            ASSERT_TRUE(latest == "one" || latest == "second") << latest;
        }
        ASSERT_EQ(0, backup->Wait()) << output.Read("err");
    }

    EXPECT_EQ("one", Content("at/" + first + "/d/d/a"));
    EXPECT_EQ(3'000'000u, Content("at/" + first + "/d/d/big").size());
    EXPECT_THAT(NamesIn(look + "/at/" + first + "/d/d"), UnorderedElementsAre("a", "big", "gone"));
    EXPECT_EQ("x", Content("at/" + first + "/d/d/gone/x"));
    EXPECT_TRUE(WaitFor([&] { return Content("latest/d/d/a") == "second"; }));
    EXPECT_TRUE(WaitFor([&] { return fs::exists(look + "/latest/d/d/new"); }));
    // Whoever was in a folder, or has a file open, stays with what it was, beside those who come to the new
    // one.
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ("small now", Content("latest/d/d/big"));
        std::string bytes(3'000'000, '\0');
        EXPECT_EQ(1, pread(open, bytes.data(), 1, 2'999'999));
        EXPECT_EQ(9, pread(open, bytes.data(), 9, 0));
        EXPECT_EQ("bbbbbbbbb", bytes.substr(0, 9));
        struct stat status {};
        EXPECT_EQ(0, fstat(open, &status));
        EXPECT_EQ(3'000'000, status.st_size);
        EXPECT_EQ(0, fstatat(folder, "gone/x", &status, 0));
        EXPECT_EQ(-1, fstatat(folder, "new", &status, 0));
    }
    close(open);
    close(folder);
    // Both runs are listed, and a task that comes later is there, too.
    EXPECT_TRUE(WaitFor([&] { return NamesIn(look + "/at").size() == 2; }));
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "other"}).exitCode);
    EXPECT_TRUE(WaitFor([&] { return Content("latest/other/d/a") == "second"; }));
}

TEST_F(CliMount, ListsTheRunsAndTakesAnyMoment) {
    TempTree const tree({{"d/a", "one"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    NextSecond();
    tree.Write("d/a", "second");
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    if (std::string const reason = Mount(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    EXPECT_THAT(NamesIn(look), UnorderedElementsAre("at", "latest"));
    std::vector<std::string> runs = NamesIn(look + "/at");
    std::sort(runs.begin(), runs.end());
    ASSERT_EQ(2u, runs.size());
    EXPECT_EQ("one", Content("at/" + runs[0] + "/d/d/a"));
    EXPECT_EQ("second", Content("at/" + runs[1] + "/d/d/a"));
    std::string blank = runs[0];
    blank[10] = ' ';
    EXPECT_EQ("one", Content("at/" + blank + "/d/d/a"));
    EXPECT_EQ("second", Content("at/2999-01-01/d/d/a"));
    EXPECT_TRUE(fs::is_empty(look + "/at/2001-01-01/d"));
    for (char const* const none :
         {"/at/yesterday", "/at/2020-02-30", "/other", "/latest/nobody", "/latest/d/d/b"}) {
        EXPECT_FALSE(fs::exists(look + none)) << none;
    }
    for (char const* const place : {"/new", "/latest/d/new", "/latest/d/d/a"}) {
        EXPECT_EQ(-1, ::open((look + place).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_EQ(EROFS, errno) << place;
    }
}

TEST_F(CliMount, ListsFoldersOfManyNames) {
    TempFolder const tree;
    for (int i = 0; i < 600; ++i) {
        tree.Write("d/many/a longer name " + std::to_string(i), "");
    }
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    if (std::string const reason = Mount(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    // Names alone are asked for in another way than names of which more is asked.
    EXPECT_EQ(600u, NamesIn(look + "/latest/d/d/many").size());
    EXPECT_EQ(ReadTree(tree.Path("d")), ReadTree(look + "/latest/d/d"));
    EXPECT_EQ(600u, NamesIn(look + "/latest/d/d/many").size());
}

TEST_F(CliMount, ManyReadAtOnceWhatTheyAskFor) {
    std::string content(6'000'000, '\0');
    std::mt19937 random(7);
    for (char& c : content) {
        c = static_cast<char>(random());
    }
    TempTree const tree({{"d/big", content}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    if (std::string const reason = Mount(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    std::atomic<int> wrong = 0;
    std::vector<std::thread> readers;
    for (unsigned reader = 0; reader < 6; ++reader) {
        readers.emplace_back([&, reader] {
            std::mt19937 place(reader);
            int const file = ::open((look + "/latest/d/d/big").c_str(), O_RDONLY | O_CLOEXEC);
            std::string bytes;
            for (int i = 0; i < 100; ++i) {
                size_t const offset = place() % content.size();
                bytes.resize(std::min<size_t>(1 + place() % 300'000, content.size() - offset));
                bool const isRead = pread(file, bytes.data(), bytes.size(), static_cast<off_t>(offset)) ==
                                    static_cast<ssize_t>(bytes.size());
                wrong += isRead && content.compare(offset, bytes.size(), bytes) == 0 ? 0 : 1;
            }
            close(file);
        });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(0, wrong);
}

TEST_F(CliMount, WhatTheVaultCannotGiveIsAnErrorAndComesAgainWithIt) {
    TempTree const tree({{"d/a", std::string(100'000, 'a')}, {"d/b", "b"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    if (std::string const reason = Mount(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    std::string const failure = "errno " + std::to_string(EIO);
    fs::rename(Vault(), work.Native("away"));
    EXPECT_EQ(failure, Content("latest/d/d/a"));
    fs::rename(work.Native("away"), Vault());
    EXPECT_EQ(100'000u, Content("latest/d/d/a").size());
    // A damaged piece is an error, too, and what else there is goes on.
    for (auto const& entry : fs::recursive_directory_iterator(Vault() + "/packs")) {
        if (entry.is_regular_file()) {
            fs::resize_file(entry.path(), 64);
        }
    }
    EXPECT_EQ(failure, Content("latest/d/d/b"));
    EXPECT_THAT(NamesIn(look + "/latest/d/d"), UnorderedElementsAre("a", "b"));
}

TEST_F(CliMount, EndsWhenItIsUnmountedOrToldToEnd) {
    TempTree const tree({{"d/a", "a"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    for (bool const isBusy : {false, true}) {
        if (std::string const reason = Mount(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        int const open = isBusy ? ::open((look + "/latest/d/d/a").c_str(), O_RDONLY | O_CLOEXEC) : -1;
        ASSERT_EQ(0, kill(mounted->Id(), SIGTERM));
        EXPECT_EQ(0, mounted->Wait());
        mounted = nullptr;
        EXPECT_FALSE(IsMounted());
        if (isBusy) {
            close(open);
        }
    }
    ASSERT_EQ("", Mount());
    ASSERT_EQ(0, std::system(("fusermount3 -u '" + look + "'").c_str()));
    EXPECT_EQ(0, mounted->Wait());
    mounted = nullptr;
    EXPECT_FALSE(IsMounted());
}

TEST_F(CliMount, InTheBackgroundItTellsOnceItIsThereOrWhyNot) {
    TempTree const tree({{"d/a", "a"}});
    Outcome const missing = Rampart({"mount", look, "--vault", work.Native("none")});
    EXPECT_EQ(1, missing.exitCode);
    EXPECT_THAT(missing.err, HasSubstr("rampart vault init"));
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d")}).exitCode);
    Outcome const outcome = Rampart({"mount", look, "--vault", Vault()});
    if (outcome.exitCode != 0) {
        GTEST_SKIP() << outcome.err;
    }
    EXPECT_THAT(outcome.out, HasSubstr(look));
    EXPECT_TRUE(IsMounted());
    EXPECT_EQ("a", Content("latest/d/d/a"));
    // A backup is not kept out, nor another mount.
    tree.Write("d/b", "b");
    EXPECT_EQ(0, Backup({tree.Native("d")}).exitCode);
    Outcome const again = Rampart({"mount", look, "--vault", Vault()});
    EXPECT_EQ(2, again.exitCode);
    EXPECT_THAT(again.err, HasSubstr("not empty"));
    EXPECT_EQ(0, std::system(("fusermount3 -u '" + look + "'").c_str()));
    EXPECT_FALSE(IsMounted());
    ExpectClean();
}

TEST_F(CliMount, WrongUseIsTold) {
    MakeVault();
    work.Write("full/x", "x");
    EXPECT_EQ(2, Rampart({"mount", "--vault", Vault()}).exitCode);
    EXPECT_EQ(2, Rampart({"mount", work.Native("none"), "--vault", Vault()}).exitCode);
    EXPECT_EQ(2, Rampart({"mount", work.Native("full/x"), "--vault", Vault()}).exitCode);
    EXPECT_EQ(2, Rampart({"mount", work.Native("full"), "--vault", Vault()}).exitCode);
}

}  // namespace

}  // namespace rampart::test
