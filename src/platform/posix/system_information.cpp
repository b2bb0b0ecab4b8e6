#include <stdlib.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <climits>

#include "platform/posix/native.h"
#include "platform/process.h"

namespace rampart::platform {
namespace {

// Native; empty if the system does not tell.
std::string ExecutablePath() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? std::string(path, static_cast<size_t>(length)) : std::string();
}

}  // namespace

[[noreturn]] void EndProcessAtOnce(int exitCode) {
    _exit(exitCode);
}

uint32_t ProcessId() {
    return static_cast<uint32_t>(getpid());
}

uint64_t ProcessStart(uint32_t processId) {
    // "NUMBER (NAME) STATE ...": the name may hold anything, and the 20th field behind it is the start.
    constexpr int kFieldOfStart = 20;
    const std::string text = ReadSystemFile("/proc/" + std::to_string(processId) + "/stat");
    size_t at = text.rfind(')');
    for (int field = 0; field < kFieldOfStart && at != std::string::npos; ++field) {
        at = text.find(' ', at + 1);
    }
    return at == std::string::npos ? 0 : std::strtoull(text.c_str() + at, nullptr, 10);
}

bool MayGiveFilesAway() {
    return geteuid() == 0;
}

uint64_t ThreadId() {
    return static_cast<uint64_t>(gettid());
}

void SetThreadPriority(int priority) {
    constexpr int kBelowNormalNice = 5;
    // Linux keeps a nice value for each thread. Going back up may be forbidden to the user, which is no
    // failure.
    setpriority(PRIO_PROCESS, static_cast<id_t>(ThreadId()), priority < 0 ? kBelowNormalNice : 0);
}

Text ComputerName() {
    char name[HOST_NAME_MAX + 1] = {};
    return gethostname(name, HOST_NAME_MAX) == 0 ? FromUtf8(name) : Text();
}

Text ExecutableFolder() {
    const std::string program = ExecutablePath();
    Text folder = ToEnginePath(program.substr(0, program.rfind('/') + 1));
    if (folder.ends_with('\\')) {
        folder.pop_back();
    }
    return folder;
}

Text ExecutableName() {
    const std::string program = ExecutablePath();
    return NameToEngine(program.substr(program.rfind('/') + 1));
}

std::string EnvironmentVariable(const char* name) {
    const char* value = getenv(name);
    return value != nullptr ? value : "";
}

void SetEnvironmentVariableTo(const char* name, const std::string& value) {
    if (value.empty()) {
        unsetenv(name);
    } else {
        setenv(name, value.c_str(), /*replace=*/1);
    }
}

std::string RandomBytes(size_t count) {
    std::string bytes(count, '\0');
    size_t done = 0;
    while (done < count) {
        const ssize_t got = Retry([&] { return getrandom(bytes.data() + done, count - done, 0); });
        if (got < 0) {
            abort();  // a key or an id that can be guessed is worse than no program
        }
        done += static_cast<size_t>(got);
    }
    return bytes;
}

}  // namespace rampart::platform
