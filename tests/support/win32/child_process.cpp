#include "support/child_process.h"

#include <string_view>

#include "platform/process.h"
#include "platform/text.h"
#include "platform/win32/native.h"

namespace rampart::test {
namespace {

using platform::FromUtf8;
using platform::SystemHandle;

constexpr unsigned kKilled = 137;

class WindowsChildProcess : public ChildProcess {
public:
    WindowsChildProcess(SystemHandle process, DWORD id) : m_process(std::move(process)), m_id(id) {}
    ~WindowsChildProcess() override {
        if (!HasEnded()) {
            Kill();
            Wait();
        }
    }
    int Id() const override { return static_cast<int>(m_id); }
    bool HasEnded() override { return WaitForSingleObject(m_process.Get(), 0) == WAIT_OBJECT_0; }
    bool Interrupt() override { return GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, m_id) != 0; }
    void Kill() override { TerminateProcess(m_process.Get(), kKilled); }
    int Wait() override {
        DWORD code = 0;
        return WaitForSingleObject(m_process.Get(), INFINITE) == WAIT_OBJECT_0 &&
                       GetExitCodeProcess(m_process.Get(), &code) != 0
                   ? static_cast<int>(code)
                   : -1;
    }

private:
    const SystemHandle m_process;
    const DWORD m_id;  // also that of its group
};

// As the program's start code splits it again.
void AppendWord(std::wstring& line, std::wstring_view word) {
    line.append(line.empty() ? L"\"" : L" \"");
    size_t backslashes = 0;
    for (const wchar_t c : word) {
        if (c == L'"') {
            line.append(backslashes + 1, L'\\');
        }
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        line.push_back(c);
    }
    line.append(backslashes, L'\\').append(L"\"");
}

SystemHandle OutputFile(const std::string& path) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    const std::wstring name = path.empty() ? L"NUL" : FromUtf8(path);
    return SystemHandle(CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    &inherited, path.empty() ? OPEN_EXISTING : CREATE_ALWAYS, 0, nullptr));
}

// The build names programs by paths of the machine it ran on; all of them lie in one folder.
std::wstring ProgramPath(const std::string& program) {
    return platform::ExecutableFolder() + L"\\" + FromUtf8(program.substr(program.rfind('/') + 1));
}

}  // namespace

std::unique_ptr<ChildProcess> ChildProcess::Start(const ChildSettings& settings) {
    const std::wstring program = ProgramPath(settings.program);
    std::wstring line;
    AppendWord(line, program);
    for (const std::string& argument : settings.arguments) {
        AppendWord(line, FromUtf8(argument));
    }
    const SystemHandle output = OutputFile(settings.output);
    const SystemHandle errors = OutputFile(settings.errors);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output.Get();
    startup.hStdError = errors.Get();
    PROCESS_INFORMATION process = {};
    if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, CREATE_NEW_PROCESS_GROUP,
                       nullptr, nullptr, &startup, &process) == 0) {
        return nullptr;
    }
    CloseHandle(process.hThread);
    return std::make_unique<WindowsChildProcess>(SystemHandle(process.hProcess), process.dwProcessId);
}

}  // namespace rampart::test
