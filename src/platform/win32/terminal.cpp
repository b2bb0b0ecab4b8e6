#include "platform/terminal.h"

#include "platform/clock.h"
#include "platform/win32/drive_table.h"
#include "platform/win32/native.h"

// native.h comes first, so that shellapi.h finds windows.h
#include <conio.h>
#include <shellapi.h>

namespace rampart::platform {
namespace {

constexpr int kDefaultWidth = 80;

std::atomic<bool> s_interrupted{false};

BOOL WINAPI OnInterrupt(DWORD event) {
    if (s_interrupted.exchange(true)) {
        ExitProcess(kInterruptedExitCode);
    }
    StayForTheEnd(event);
    return TRUE;
}

HANDLE HandleOf(StandardStream stream) {
    switch (stream) {
        case StandardStream::kInput:
            return GetStdHandle(STD_INPUT_HANDLE);
        case StandardStream::kOutput:
            return GetStdHandle(STD_OUTPUT_HANDLE);
        default:
            return GetStdHandle(STD_ERROR_HANDLE);
    }
}

}  // namespace

bool IsTerminal(StandardStream stream) {
    DWORD mode = 0;
    return GetConsoleMode(HandleOf(stream), &mode) != 0;
}

int TerminalWidth() {
    for (StandardStream const stream : {StandardStream::kError, StandardStream::kOutput}) {
        CONSOLE_SCREEN_BUFFER_INFO information;
        if (GetConsoleScreenBufferInfo(HandleOf(stream), &information) != 0) {
            return information.srWindow.Right - information.srWindow.Left + 1;
        }
    }
    return kDefaultWidth;
}

void CatchInterrupts() {
    SetConsoleCtrlHandler(nullptr, FALSE);  // a parent may have switched the signal off
    SetConsoleCtrlHandler(&OnInterrupt, TRUE);
}

bool IsInterrupted() {
    return s_interrupted;
}

std::vector<std::string> ProgramArguments(int, char**) {
    std::vector<std::string> arguments;
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 0; i < count && words != nullptr; i++) {
        arguments.push_back(ToUtf8(words[i]));
    }
    LocalFree(words);
    return arguments;
}

void UseUtf8Output() {
    SetConsoleOutputCP(CP_UTF8);
}

KeyReader::KeyReader() = default;

KeyReader::~KeyReader() = default;

char KeyReader::Next(uint32_t timeoutMs) {
    constexpr uint32_t kStepMs = 20;
    const bool hasKeys = IsTerminal(StandardStream::kInput);
    for (uint32_t waited = 0; !(hasKeys && _kbhit() != 0); waited += kStepMs) {
        if (waited >= timeoutMs) {
            return 0;
        }
        SleepMilliseconds(std::min(kStepMs, timeoutMs - waited));
    }
    return static_cast<char>(_getch());
}

std::string WorkingFolder() {
    return NativeOf(ReadText([](wchar_t* buffer, DWORD size) { return GetCurrentDirectoryW(size, buffer); }));
}

bool IsAbsoluteNativePath(const std::string& path) {
    const auto isSeparator = [](char c) { return c == '/' || c == '\\'; };
    if (path.size() >= 3 && path[1] == ':') {
        return LetterIndex(static_cast<TCHAR>(static_cast<unsigned char>(path[0]))) >= 0 &&
               isSeparator(path[2]);
    }
    return path.size() >= 3 && isSeparator(path[0]) && isSeparator(path[1]);
}

std::string AbsoluteNativePath(const std::string& path) {
    if (IsAbsoluteNativePath(path)) {
        return path;
    }
    const auto under = [](std::string folder, std::string_view rest) {
        while (!rest.empty() && (rest[0] == '/' || rest[0] == '\\')) {
            rest.remove_prefix(1);
        }
        if (rest.empty() || rest == ".") {
            return folder;
        }
        return folder.append(folder.ends_with('/') ? "" : "/").append(rest);
    };
    const std::string folder = WorkingFolder();
    if (path.starts_with('/') || path.starts_with('\\')) {
        return under(NativeOf(SystemRoot(SystemPath(ToEnginePath(folder))).substr(4)), path);
    }
    if (path.size() >= 2 && path[1] == ':') {
        // Each drive has a working folder of its own.
        const std::wstring drive = FromUtf8(path.substr(0, 2)) + L".";
        return under(NativeOf(ReadText([&](wchar_t* buffer, DWORD size) {
                         return GetFullPathNameW(drive.c_str(), size, buffer, nullptr);
                     })),
                     std::string_view(path).substr(2));
    }
    return under(folder, path);
}

}  // namespace rampart::platform
