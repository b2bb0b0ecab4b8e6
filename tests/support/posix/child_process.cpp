#include "support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace rampart::test {
namespace {

class PosixChildProcess : public ChildProcess {
public:
    explicit PosixChildProcess(pid_t child) : m_child(child) {}
    ~PosixChildProcess() override {
        if (m_child > 0) {
            Kill();
            Wait();
        }
    }
    int Id() const override { return m_child; }
    // It stays a zombie until Wait.
    bool HasEnded() override {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(m_child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid != 0;
    }
    bool Interrupt() override { return kill(m_child, SIGINT) == 0; }
    void Kill() override { kill(m_child, SIGKILL); }
    int Wait() override {
        int status = 0;
        if (waitpid(m_child, &status, 0) != m_child) {
            return -1;
        }
        m_child = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t m_child;
};

void SendTo(int stream, const std::string& path) {
    const int file = open(path.empty() ? "/dev/null" : path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || dup2(file, stream) < 0) {
        _exit(127);
    }
}

}  // namespace

std::unique_ptr<ChildProcess> ChildProcess::Start(const ChildSettings& settings) {
    std::string program = settings.program;
    std::vector<std::string> arguments = settings.arguments;
    std::vector<char*> words = {program.data()};
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        SendTo(STDOUT_FILENO, settings.output);
        SendTo(STDERR_FILENO, settings.errors);
        if (settings.user != 0 && (setgid(settings.user) != 0 || setuid(settings.user) != 0)) {
            _exit(126);
        }
        execv(words.front(), words.data());
        _exit(127);
    }
    return child < 0 ? nullptr : std::make_unique<PosixChildProcess>(child);
}

}  // namespace rampart::test
