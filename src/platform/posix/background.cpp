#include "platform/background.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

int s_started = -1;  // the end of the pipe on which the caller waits

constexpr int kFailedExitCode = 1;

// What the other one says, or how it ended.
int WaitForStart(int pipe, pid_t child) {
    char started = 0;
    if (Retry([&] { return read(pipe, &started, 1); }) == 1) {
        return 0;
    }
    int status = 0;
    if (Retry([&] { return waitpid(child, &status, 0); }) != child || !WIFEXITED(status)) {
        return kFailedExitCode;
    }
    return WEXITSTATUS(status);
}

}  // namespace

bool GoToBackground(int& exitCode) {
    int ends[2];
    exitCode = 0;
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return true;
    }
    const pid_t child = fork();
    if (child < 0) {
        close(ends[0]);
        close(ends[1]);
        return true;
    }
    if (child == 0) {
        close(ends[0]);
        s_started = ends[1];
        setsid();
        return true;
    }
    close(ends[1]);
    exitCode = WaitForStart(ends[0], child);
    close(ends[0]);
    return false;
}

void TellBackgroundStarted() {
    if (s_started < 0) {
        return;
    }
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(nothing, stream);
    }
    close(nothing);
    const char started = 1;
    [[maybe_unused]] const ssize_t told = write(s_started, &started, 1);
    close(s_started);
    s_started = -1;
}

}  // namespace rampart::platform
