#include "platform/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "platform/clock.h"
#include "platform/error.h"
#include "platform/file_system.h"
#include "platform/frame_socket.h"
#include "support/temp_home.h"

namespace rampart::platform {
namespace {

using test::ScopedVariable;
using test::TempHome;

TEST(Sockets, AreNotForProgramsThatAreStarted) {
    std::unique_ptr<FrameSocket> taken;
    std::atomic<bool> isTaken = false;
    auto const listener = FrameListener::Open(0, [&](std::unique_ptr<FrameSocket> socket) {
        taken = std::move(socket);
        isTaken = true;
    });
    ASSERT_TRUE(listener);
    auto const socket = FrameSocket::Connect({"127.0.0.1", listener->Port()}, 5000);
    ASSERT_TRUE(socket);
    while (!isTaken) {
        SleepMilliseconds(1);
    }
    int sockets = 0;
    for (int fd = STDERR_FILENO + 1; fd < 1024; ++fd) {
        struct stat status;
        if (fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode)) {
            ++sockets;
            EXPECT_NE(0, fcntl(fd, F_GETFD) & FD_CLOEXEC);
        }
    }
    EXPECT_GE(sockets, 3);
}

TEST(NamedMutex, IsFreedWhenItsProcessIsKilled) {
    TempHome home;
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        const auto mutex = NamedMutex::Create(_T("service"));
        const char answer = mutex ? 'y' : 'n';
        (void)!write(ready[1], &answer, 1);
        pause();
        _exit(0);
    }
    char answer = 0;
    ASSERT_EQ(read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    EXPECT_TRUE(NamedMutex::Exists(_T("service")));
    EXPECT_FALSE(NamedMutex::Create(_T("service")));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(NamedMutex::Exists(_T("service")));
    EXPECT_TRUE(NamedMutex::Create(_T("service")));
    close(ready[0]);
    close(ready[1]);
}

TEST(NamedMutex, AFolderThatOthersCanWriteIsNotTrusted) {
    TempHome home;
    ASSERT_TRUE(std::filesystem::create_directory(home.Path("run")));
    ASSERT_EQ(chmod(home.Native("run").c_str(), 0777), 0);
    EXPECT_FALSE(NamedMutex::Create(_T("service")));
    // One that they could only read is closed to them.
    ASSERT_EQ(chmod(home.Native("run").c_str(), 0755), 0);
    EXPECT_TRUE(NamedMutex::Create(_T("service")));
    struct stat status = {};
    ASSERT_EQ(stat(home.Native("run").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST(StartProcess, RunsTheProgramWithItsWords) {
    TempHome home;
    ASSERT_TRUE(StartProcess(FromUtf8("sh -c 'printf \"%s|\" \"$@\" > \"$0.new\"; mv \"$0.new\" \"$0\"' '" +
                                      home.Native("out") + "' 'a b' \\$HOME \"\"")));
    for (int i = 0; i < 1000 && !home.Exists("out"); i++) {
        usleep(10'000);
    }
    EXPECT_EQ(home.Read("out"), "a b|$HOME||");
}

TEST(StartProgram, TakesAnEnginePathAndTheNameOfOtherSystems) {
    TempHome home;
    home.Write("in $x/tool", "#!/bin/sh\necho \"$*\" >\"${0%/*}/new\"; mv \"${0%/*}/new\" \"${0%/*}/out\"\n");
    ASSERT_EQ(chmod(home.Native("in $x/tool").c_str(), 0755), 0);
    ASSERT_TRUE(StartProgram(home.Engine("in $x/tool.exe"), _T("-d 'a b'")));
    for (int i = 0; i < 1000 && !home.Exists("in $x/out"); i++) {
        usleep(10'000);
    }
    EXPECT_EQ(home.Read("in $x/out"), "-d a b\n");
    EXPECT_FALSE(StartProgram(home.Engine("none.exe"), _T("-d")));
}

TEST(StartProcess, TheProgramInheritsNoFileAndNoSocket) {
    TempHome home;
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);  // without the mark that closes it
    const std::string number = std::to_string(ends[1]);
    ASSERT_TRUE(StartProcess(FromUtf8("sh -c '[ -e /proc/$$/fd/" + number +
                                      " ]; echo $? > \"$0.new\"; mv \"$0.new\" \"$0\"' '" +
                                      home.Native("out") + "'")));
    for (int i = 0; i < 1000 && !home.Exists("out"); i++) {
        usleep(10'000);
    }
    EXPECT_EQ(home.Read("out"), "1\n");
    close(ends[0]);
    close(ends[1]);
}

TEST(StandardFolders, FollowTheDesktopWithoutAHome) {
    TempHome home;
    ScopedVariable none("RAMPART_HOME", "");
    ScopedVariable user("HOME", home.Native("user"));
    ScopedVariable noData("XDG_DATA_HOME", "");
    ScopedVariable noConfiguration("XDG_CONFIG_HOME", "");
    EXPECT_EQ(UserDataFolder(), home.Engine("user/.local/share"));
    EXPECT_EQ(ConfigurationFolder(), home.Engine("user/.config/rampart"));
    ScopedVariable data("XDG_DATA_HOME", home.Native("data dir"));
    ScopedVariable configuration("XDG_CONFIG_HOME", "relative/does/not/count");
    EXPECT_EQ(UserDataFolder(), home.Engine("data dir"));
    EXPECT_EQ(ConfigurationFolder(), home.Engine("user/.config/rampart"));
}

}  // namespace
}  // namespace rampart::platform
