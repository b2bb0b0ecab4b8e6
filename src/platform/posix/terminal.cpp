#include "platform/terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "platform/clock.h"
#include "platform/posix/native.h"

namespace rampart::platform {

namespace {

constexpr int kDefaultWidth = 80;

std::atomic<bool> s_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "used in a signal handler");

// The terminal as it was before its keys were read, to be put back by a signal handler too.
termios s_cooked;
std::atomic<bool> s_readsKeys{false};

void StopReadingKeys() {
    if (s_readsKeys.exchange(false)) {
        tcsetattr(STDIN_FILENO, TCSANOW, &s_cooked);
    }
}

// A job in the background is stopped by the system when it touches the terminal.
bool IsInFront() {
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

void OnInterrupt(int) {
    if (s_interrupted.exchange(true)) {
        StopReadingKeys();
        _exit(kInterruptedExitCode);
    }
}

int DescriptorOf(StandardStream stream) {
    switch (stream) {
        case StandardStream::kInput:
            return STDIN_FILENO;
        case StandardStream::kOutput:
            return STDOUT_FILENO;
        default:
            return STDERR_FILENO;
    }
}

}  // namespace

bool IsTerminal(StandardStream stream) {
    return isatty(DescriptorOf(stream)) == 1;
}

int TerminalWidth() {
    for (StandardStream const stream : {StandardStream::kError, StandardStream::kOutput}) {
        winsize size{};
        if (ioctl(DescriptorOf(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
            return size.ws_col;
        }
    }
    return kDefaultWidth;
}

std::vector<std::string> ProgramArguments(int count, char** values) {
    return {values, values + count};
}

void UseUtf8Output() {}

void CatchInterrupts() {
    CatchSignals(&OnInterrupt);
}

bool IsInterrupted() {
    return s_interrupted;
}

KeyReader::KeyReader() {
    if (!IsTerminal(StandardStream::kInput) || !IsInFront() || tcgetattr(STDIN_FILENO, &s_cooked) != 0) {
        return;
    }
    termios raw = s_cooked;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    s_readsKeys = tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
}

KeyReader::~KeyReader() {
    StopReadingKeys();
}

char KeyReader::Next(uint32_t timeoutMs) {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    if (!s_readsKeys || !IsInFront()) {
        SleepMilliseconds(timeoutMs);
        return 0;
    }
    char key = 0;
    if (poll(&input, 1, static_cast<int>(timeoutMs)) == 1 && read(STDIN_FILENO, &key, 1) != 1) {
        StopReadingKeys();  // the terminal is gone
    }
    return key;
}

std::string WorkingFolder() {
    std::error_code error;
    return std::filesystem::current_path(error).string();
}

bool IsAbsoluteNativePath(const std::string& path) {
    return path.starts_with('/');
}

std::string AbsoluteNativePath(const std::string& path) {
    if (IsAbsoluteNativePath(path)) {
        return path;
    }
    std::string const folder = WorkingFolder();
    return path.empty() || path == "." ? folder : folder + (folder == "/" ? "" : "/") + path;
}

}  // namespace rampart::platform
