#include "platform/service_signals.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include "platform/posix/native.h"

namespace rampart::platform {

namespace {

std::atomic<bool> s_stop{false};
std::atomic<bool> s_reload{false};
std::atomic<int> s_wake{-1};  // an eventfd for the life of the process
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "used in a signal handler");

void Wake() {
    uint64_t const one = 1;
    // A counter that is full has woken the waiter already.
    [[maybe_unused]] ssize_t const written = write(s_wake, &one, sizeof one);
}

void OnSignal(int signal) {
    int const error = errno;
    if (signal == SIGHUP) {
        s_reload = true;
    } else if (s_stop.exchange(true) && signal == SIGINT) {
        _exit(kInterruptedExitCode);
    }
    Wake();
    errno = error;
}

}  // namespace

void CatchServiceSignals() {
    if (s_wake < 0) {
        s_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    }
    CatchSignals(&OnSignal);
}

// A signal goes to one process.
void ForgetEarlierStop() {}

ServiceSignal WaitForServiceSignal(uint32_t timeoutMs) {
    pollfd wake{s_wake, POLLIN, 0};
    constexpr uint32_t kLongest = 0x7fffffff;
    if (!s_stop && !s_reload &&
        poll(&wake, 1, static_cast<int>(timeoutMs < kLongest ? timeoutMs : kLongest)) > 0) {
        uint64_t count = 0;
        [[maybe_unused]] ssize_t const got = read(s_wake, &count, sizeof count);
    }
    if (s_stop) {
        return ServiceSignal::kStop;
    }
    return s_reload.exchange(false) ? ServiceSignal::kReload : ServiceSignal::kNone;
}

void StopThisService() {
    s_stop = true;
    Wake();
}

void WakeServiceWait() {
    Wake();
}

}  // namespace rampart::platform
