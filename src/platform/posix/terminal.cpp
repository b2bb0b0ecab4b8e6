#include "platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "platform/posix/native.h"

namespace rampart::platform {

namespace {

constexpr int kDefaultWidth = 80;

std::atomic<bool> s_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "used in a signal handler");

void OnSignal(int) {
    if (s_interrupted.exchange(true)) {
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
    CatchSignals(&OnSignal);
}

bool IsInterrupted() {
    return s_interrupted;
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
