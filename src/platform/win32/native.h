// What the files of this folder share: handles that close themselves, error numbers, times, and paths as the
// system's functions take them.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <string>
#include <utility>

#include "platform/error.h"
#include "platform/file_system.h"
#include "platform/path_mapping.h"

namespace rampart::platform {

// Owns a handle. Closing keeps the system's last error.
class SystemHandle {
public:
    explicit SystemHandle(HANDLE handle = nullptr)
        : m_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    SystemHandle(SystemHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    SystemHandle& operator=(SystemHandle&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~SystemHandle() { Close(); }
    HANDLE Get() const { return m_handle; }
    // False when closing failed.
    bool Close() {
        if (m_handle == nullptr) {
            return true;
        }
        const DWORD error = ::GetLastError();
        const bool closed = CloseHandle(std::exchange(m_handle, nullptr)) != 0;
        ::SetLastError(closed ? error : ::GetLastError());
        return closed;
    }
    explicit operator bool() const { return m_handle != nullptr; }

private:
    HANDLE m_handle;
};

// An event that stays signalled until it is reset.
inline SystemHandle NewEvent() {
    return SystemHandle(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr));
}

// The numbers of this system are the engine's; where it has several for one thing, the one of ErrorNumber.
uint32_t ErrorOfSystem(DWORD error);
// Sets LastError to the system's last error, or to `error`, and returns false.
bool FailWithSystemError();
bool FailWithSystemError(DWORD error);

// An engine path as the system's functions take it: absolute, with the prefix that lifts the limit of length
// and keeps names as they are. Empty with LastError set where ToNativePath is.
std::wstring SystemPath(TextView enginePath);
// Appends the names of `path` with a backslash before each; "." and ".." are resolved in the text and never
// lead above `root`. False at a name that is not possible.
bool AppendPath(Text& root, TextView path, bool (*isPossible)(TextView name) = nullptr);
// Drive letter or share of a path from SystemPath, with a backslash at the end.
std::wstring SystemRoot(const std::wstring& systemPath);

int64_t NanosecondsOf(const FILETIME& time);
FILETIME FileTimeOf(int64_t nanoseconds);
inline int64_t NanosecondsOf(const LARGE_INTEGER& time) {
    return NanosecondsOf(FILETIME{time.LowPart, static_cast<DWORD>(time.HighPart)});
}

// The engine's attribute bits from the system's; `reparseTag` counts where the system's say so.
uint32_t AttributesOf(DWORD systemAttributes, DWORD reparseTag);

// Of an open file or folder. False with the system's last error set.
bool ReadStatus(HANDLE file, FileStatus& status);

// Shares everything. Opens a link itself unless `followLink`; what only looks like a link, such as a file
// that a provider fetches on demand, is opened as what it stands for. Null with the system's last error set.
SystemHandle OpenPath(const std::wstring& path, DWORD access, DWORD disposition, DWORD flags,
                      bool followLink);
// The same of a folder that is there, with its status. Null with LastError set, for anything else
// kPathNotFound.
SystemHandle OpenFolder(const std::wstring& path, DWORD access, DWORD flags, bool followLink,
                        FileStatus& status);

// Calls one of the system's functions that fill a buffer and answer the length: less than the size when it
// fitted, otherwise the size that is needed. Empty on a failure.
template <class Call>
std::wstring ReadText(Call&& call) {
    std::wstring text(MAX_PATH, L'\0');
    while (true) {
        const DWORD length = call(text.data(), static_cast<DWORD>(text.size()));
        if (length < text.size()) {
            text.resize(length);
            return text;
        }
        text.resize(std::max<size_t>(length, text.size()) + 1);
    }
}

// The prefix that lifts the limit of length, before a path on a share.
inline constexpr std::wstring_view kLongShare = L"\\\\?\\UNC\\";

// Where a read or write of an open file begins.
inline OVERLAPPED OverlappedAt(uint64_t offset) {
    OVERLAPPED position = {};
    position.Offset = static_cast<DWORD>(offset);
    position.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return position;
}

inline constexpr int kInterruptedExitCode = 6;  // of a program that is told a second time to end

// The end of a console handler. The system ends the process when the handler of a closing console returns, or
// some seconds from now; the program uses them.
inline void StayForTheEnd(DWORD controlEvent) {
    if (controlEvent != CTRL_C_EVENT && controlEvent != CTRL_BREAK_EVENT) {
        ::Sleep(INFINITE);
    }
}

// An UTF-8 path with forward slashes, and the same in the system's characters.
std::string NativeOf(TextView systemText);

}  // namespace rampart::platform
