#include "platform/process.h"
#include "platform/win32/native.h"

// native.h comes first, so that bcrypt.h finds windows.h
#include <bcrypt.h>

namespace rampart::platform {
namespace {

std::wstring ExecutablePath() {
    return ReadText([](wchar_t* buffer, DWORD size) { return GetModuleFileNameW(nullptr, buffer, size); });
}

}  // namespace

[[noreturn]] void EndProcessAtOnce(int exitCode) {
    ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(exitCode));
    std::abort();  // not reached
}

uint32_t ProcessId() {
    return GetCurrentProcessId();
}

uint64_t ProcessStart(uint32_t processId) {
    const SystemHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    FILETIME created, ended, kernel, user;
    DWORD exitCode = 0;
    if (!process || GetProcessTimes(process.Get(), &created, &ended, &kernel, &user) == 0 ||
        GetExitCodeProcess(process.Get(), &exitCode) == 0 || exitCode != STILL_ACTIVE) {
        return 0;
    }
    return static_cast<uint64_t>(created.dwHighDateTime) << 32 | created.dwLowDateTime;
}

bool MayGiveFilesAway() {
    HANDLE raw = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &raw) == 0) {
        return false;
    }
    const SystemHandle token(raw);
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    return GetTokenInformation(token.Get(), TokenElevation, &elevation, sizeof elevation, &size) != 0 &&
           elevation.TokenIsElevated != 0;
}

uint64_t ThreadId() {
    return GetCurrentThreadId();
}

void SetThreadPriority(int priority) {
    ::SetThreadPriority(GetCurrentThread(),
                        priority < 0 ? THREAD_PRIORITY_BELOW_NORMAL : THREAD_PRIORITY_NORMAL);
}

Text ComputerName() {
    wchar_t name[256] = {};
    DWORD size = 256;
    return GetComputerNameExW(ComputerNameDnsHostname, name, &size) != 0 ? Text(name, size) : Text();
}

Text ExecutableFolder() {
    const std::wstring program = ExecutablePath();
    Text folder = ToEnginePath(NativeOf(program.substr(0, program.rfind(L'\\'))));
    if (folder.ends_with(L'\\')) {
        folder.pop_back();
    }
    return folder;
}

Text ExecutableName() {
    const std::wstring program = ExecutablePath();
    Text name = program.substr(program.rfind(L'\\') + 1);
    constexpr size_t kExtension = 4;
    if (name.size() > kExtension && CompareStringOrdinal(name.c_str() + name.size() - kExtension, kExtension,
                                                         L".exe", kExtension, TRUE) == CSTR_EQUAL) {
        name.resize(name.size() - kExtension);
    }
    return name;
}

std::string EnvironmentVariable(const char* name) {
    const Text wide = FromUtf8(name);
    return ToUtf8(ReadText(
        [&](wchar_t* buffer, DWORD size) { return GetEnvironmentVariableW(wide.c_str(), buffer, size); }));
}

void SetEnvironmentVariableTo(const char* name, const std::string& value) {
    // The C library keeps a copy of its own, which std::getenv reads; it tells the system too.
    _wputenv_s(FromUtf8(name).c_str(), FromUtf8(value).c_str());
}

std::string RandomBytes(size_t count) {
    std::string bytes(count, '\0');
    if (BCryptGenRandom(nullptr, reinterpret_cast<UCHAR*>(bytes.data()), static_cast<ULONG>(count),
                        BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
        abort();  // a key or an id that can be guessed is worse than no program
    }
    return bytes;
}

}  // namespace rampart::platform
