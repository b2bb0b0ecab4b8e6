#include "platform/process.h"

#include "platform/win32/native.h"

// native.h comes first, so that shellapi.h finds windows.h
#include <shellapi.h>

namespace rampart::platform {
namespace {

// Whether every quotation mark has its other half; one behind a backslash is text.
bool HasClosedQuotes(TextView line) {
    bool quoted = false;
    size_t backslashes = 0;
    for (const TCHAR c : line) {
        if (c == '"' && backslashes % 2 == 0) {
            quoted = !quoted;
        }
        backslashes = c == '\\' ? backslashes + 1 : 0;
    }
    return !quoted;
}

// "https:" or "mailto:", but not the drive of a path.
bool HasScheme(TextView target) {
    const size_t colon = target.find(':');
    return colon != TextView::npos && colon >= 2 && target.find('\\') == TextView::npos;
}

}  // namespace

bool StartProcess(TextView commandLine) {
    if (commandLine.find_first_not_of(L" \t\r\n") == TextView::npos || !HasClosedQuotes(commandLine) ||
        commandLine.find(L'\0') != TextView::npos) {
        SetLastError(kInvalidParameter);
        return false;
    }
    std::wstring line(commandLine.substr(commandLine.find_first_not_of(L" \t\r\n")));
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, /*bInheritHandles=*/FALSE,
                       DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP | CREATE_UNICODE_ENVIRONMENT, nullptr,
                       nullptr, &startup, &process) == 0) {
        return FailWithSystemError();
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
}

bool StartProgram(TextView program, TextView arguments) {
    return StartProcess(L"\"" + std::wstring(program) + L"\" " + std::wstring(arguments));
}

bool OpenDocument(TextView target) {
    std::wstring document(target);
    if (!HasScheme(target)) {
        document = SystemPath(target);
        if (document.empty()) {
            return false;
        }
        // The programs of the desktop do not know the long form.
        document = document.starts_with(L"\\\\?\\UNC\\") ? L"\\" + document.substr(7) : document.substr(4);
    }
    SHELLEXECUTEINFOW request = {};
    request.cbSize = sizeof request;
    request.fMask = SEE_MASK_FLAG_NO_UI | SEE_MASK_NOASYNC;
    request.lpVerb = L"open";
    request.lpFile = document.c_str();
    request.nShow = SW_SHOWNORMAL;
    return ShellExecuteExW(&request) != 0 || FailWithSystemError();
}

}  // namespace rampart::platform
