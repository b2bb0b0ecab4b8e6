#include "platform/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "platform/posix/command_line.h"
#include "platform/posix/native.h"

extern char** environ;

namespace rampart::platform {
namespace {

// What a started program finds: no input, its own session, none of this program's ideas about signals, and
// none of its files and sockets, whoever opened them.
class SpawnSettings {
public:
    SpawnSettings() {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);
        posix_spawnattr_init(&m_attributes);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&m_attributes, &signals);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGQUIT, SIGCHLD}) {
            sigaddset(&signals, signal);
        }
        posix_spawnattr_setsigdefault(&m_attributes, &signals);
        posix_spawnattr_setflags(&m_attributes,
                                 POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        posix_spawnattr_destroy(&m_attributes);
        posix_spawn_file_actions_destroy(&m_actions);
    }
    const posix_spawn_file_actions_t* Actions() const { return &m_actions; }
    const posix_spawnattr_t* Attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;
};

bool Start(std::vector<std::string> words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const SpawnSettings settings;
    pid_t child = 0;
    const int error = posix_spawnp(&child, arguments[0], settings.Actions(), settings.Attributes(),
                                   arguments.data(), environ);
    if (error != 0) {
        return FailWithErrno(error);
    }
    // Somebody has to ask for the end of a child, or it stays in the process table.
    std::thread([child] { Retry([&] { return waitpid(child, nullptr, 0); }); }).detach();
    return true;
}

// "https:" or "mailto:", but not the drive of a path.
bool HasScheme(TextView target) {
    const size_t colon = target.find(':');
    return colon != TextView::npos && colon >= 2 && target.find('\\') == TextView::npos;
}

}  // namespace

bool StartProcess(TextView commandLine) {
    std::vector<std::string> words;
    if (!SplitCommandLine(ToUtf8(commandLine), words) || words.empty()) {
        SetLastError(kInvalidParameter);
        return false;
    }
    return Start(std::move(words));
}

bool StartProgram(TextView program, TextView arguments) {
    constexpr std::string_view kSuffix = ".exe";
    std::string path = ToNativePath(program);
    if (path.ends_with(kSuffix) && access(path.c_str(), F_OK) != 0) {
        path.resize(path.size() - kSuffix.size());
    }
    std::vector<std::string> words;
    if (path.empty() || !SplitCommandLine(ToUtf8(arguments), words)) {
        SetLastError(kInvalidParameter);
        return false;
    }
    words.insert(words.begin(), std::move(path));
    return Start(std::move(words));
}

bool OpenDocument(TextView target) {
    const std::string document = HasScheme(target) ? ToUtf8(target) : ToNativePath(target);
    return !document.empty() && Start({"xdg-open", document});
}

}  // namespace rampart::platform
