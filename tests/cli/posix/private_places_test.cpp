// What the program keeps is its user's alone, and nobody else's folder is trusted.
#include <sys/stat.h>
#include <unistd.h>

#include "cli/cli_fixture.h"

namespace rampart::test {

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

constexpr unsigned kNobody = 65534;

class ScopedMask {
public:
    explicit ScopedMask(mode_t mask) : m_old(umask(mask)) {}
    ScopedMask(ScopedMask const&) = delete;
    ScopedMask& operator=(ScopedMask const&) = delete;
    ~ScopedMask() { umask(m_old); }

private:
    mode_t m_old;
};

// Everything at and below `top` that others may read, write or enter.
std::vector<std::string> Wide(fs::path const& top) {
    std::vector<std::string> wide;
    auto const look = [&](fs::path const& path) {
        struct stat status = {};
        if (lstat(path.c_str(), &status) == 0 && !S_ISLNK(status.st_mode) && (status.st_mode & 077) != 0) {
            wide.push_back(path.string());
        }
    };
    look(top);
    for (auto const& entry : fs::recursive_directory_iterator(top)) {
        look(entry.path());
    }
    return wide;
}

TEST_F(Cli, VaultAndHomeAreTheUsersAloneWhateverTheMaskIs) {
    ScopedMask const none(0);
    ScopedVariable const place("RAMPART_HOME", home.Native("own"));
    TempTree const tree({{"d/key", "private"}, {"d/e/f", "too"}});
    MakeVault();
    ASSERT_EQ(0, Backup({tree.Native("d"), "--name", "mine"}).exitCode);
    EXPECT_EQ(0, Rampart({"ls", "mine", "--vault", Vault()}).exitCode);
    EXPECT_THAT(Wide(work.Path("vault")), IsEmpty());
    EXPECT_THAT(Wide(home.Path("own")), IsEmpty());
    TempFolder const target;
    ASSERT_EQ(0, Rampart({"restore", "mine", "--into", target.Native("new"), "--vault", Vault()}).exitCode);
    EXPECT_THAT(Wide(home.Path("own")), IsEmpty());

    // As earlier programs made them.
    std::vector<fs::path> const narrowed = {work.Path("vault"), work.Path("vault/packs"),
                                            work.Path("vault/catalog.db"), home.Path("own/data")};
    for (fs::path const& each : narrowed) {
        fs::permissions(each, fs::perms::group_read | fs::perms::others_read, fs::perm_options::add);
    }
    EXPECT_EQ(0, Rampart({"ls", "mine", "--vault", Vault()}).exitCode);
    EXPECT_THAT(Wide(work.Path("vault")), IsEmpty());
    EXPECT_THAT(Wide(home.Path("own")), IsEmpty());
}

TEST_F(Cli, AFolderOfSomebodyElseInTheTemporaryFolderStopsNothingAndReceivesNothing) {
    fs::path const taken = "/tmp/rampart-" + std::to_string(kNobody);
    if (getuid() != 0 || fs::exists(fs::symlink_status(taken)) ||
        fs::exists("/run/user/" + std::to_string(kNobody))) {
        GTEST_SKIP() << "needs to act for two users, of whom one never ran the program here";
    }
    user = kNobody;
    ScopedVariable const noHome("RAMPART_HOME", "");
    ScopedVariable const noSession("XDG_RUNTIME_DIR", "");
    ScopedVariable const data("XDG_DATA_HOME", work.Native("data"));
    ScopedVariable const config("XDG_CONFIG_HOME", work.Native("config"));
    TempTree const tree({{"d/a", "a"}});
    work.Write("out", "");
    work.Write("err", "");
    for (fs::path const& each : {work.Path(), work.Path("out"), work.Path("err"), tree.Path()}) {
        fs::permissions(each, fs::perms::all);
    }
    MakeVault();
    for (bool const isLink : {false, true}) {
        fs::path const trap = work.Path(isLink ? "trap" : "unused");
        if (isLink) {
            fs::create_directory(trap);
            fs::permissions(trap, fs::perms::all);
            fs::create_directory_symlink(trap, taken);
        } else {
            fs::create_directory(taken);
            fs::permissions(taken, fs::perms::all);
        }
        Outcome const outcome = Backup({tree.Native("d"), "--name", "mine"});
        EXPECT_EQ(0, outcome.exitCode) << outcome.out << outcome.err;
        EXPECT_TRUE(fs::is_empty(taken));
        fs::remove(taken);
    }
}

}  // namespace

}  // namespace rampart::test
