// Names in folders: made, removed, renamed, made durable.
#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

constexpr int kReplaceTries = 50;
constexpr DWORD kReplacePauseMs = 5;

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool MakeFolders(const std::wstring& path) {
    if (CreateDirectoryW(path.c_str(), nullptr) != 0) {
        return true;
    }
    if (::GetLastError() == ERROR_PATH_NOT_FOUND) {
        const size_t cut = path.rfind(L'\\');
        if (cut == std::wstring::npos || cut < SystemRoot(path).size()) {
            return FailWithSystemError();
        }
        return MakeFolders(path.substr(0, cut)) &&
               (CreateDirectoryW(path.c_str(), nullptr) != 0 ||
                (::GetLastError() == ERROR_ALREADY_EXISTS && IsFolder(path)) || FailWithSystemError());
    }
    // A root that cannot be written says so before it says that the folder exists.
    const DWORD error = ::GetLastError();
    return IsFolder(path) || FailWithSystemError(error);
}

// Runs `remove`; where only the read-only mark stands in the way, without it.
bool RemoveName(TextView path, BOOL(WINAPI* remove)(const wchar_t*)) {
    const std::wstring system = SystemPath(path);
    if (system.empty()) {
        return false;
    }
    if (remove(system.c_str()) != 0) {
        return true;
    }
    const DWORD error = ::GetLastError();
    const DWORD attributes = GetFileAttributesW(system.c_str());
    if (error != ERROR_ACCESS_DENIED || attributes == INVALID_FILE_ATTRIBUTES ||
        (attributes & FILE_ATTRIBUTE_READONLY) == 0) {
        return FailWithSystemError(error);
    }
    const DWORD writable = attributes & ~FILE_ATTRIBUTE_READONLY;
    if (SetFileAttributesW(system.c_str(), writable == 0 ? FILE_ATTRIBUTE_NORMAL : writable) == 0) {
        return FailWithSystemError(error);
    }
    if (remove(system.c_str()) != 0) {
        return true;
    }
    SetFileAttributesW(system.c_str(), attributes);
    return FailWithSystemError(error);
}

// Replaces the target also while others hold it open, where the file system can. False with the system's last
// error set.
bool RenameOverOpenFile(const std::wstring& from, const std::wstring& to) {
    constexpr DWORD kReplace = 0x1 | 0x2 | 0x40;  // replace, as POSIX does, a read-only one too
    constexpr auto kRenameInformationEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
    const SystemHandle file = OpenPath(from, DELETE | SYNCHRONIZE, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                                       /*followLink=*/false);
    if (!file) {
        return false;
    }
    std::vector<uint64_t> buffer((sizeof(FILE_RENAME_INFO) + to.size() * sizeof(wchar_t)) / sizeof(uint64_t) +
                                 1);
    auto* const information = reinterpret_cast<FILE_RENAME_INFO*>(buffer.data());
    memcpy(information, &kReplace,
           sizeof kReplace);  // the flags stand where the older form has a truth value
    information->FileNameLength = static_cast<DWORD>(to.size() * sizeof(wchar_t));
    to.copy(information->FileName, to.size());
    return SetFileInformationByHandle(file.Get(), kRenameInformationEx, information,
                                      static_cast<DWORD>(buffer.size() * sizeof(uint64_t))) != 0;
}

}  // namespace

bool CreateFolder(TextView path) {
    const std::wstring system = SystemPath(path);
    return !system.empty() && (CreateDirectoryW(system.c_str(), nullptr) != 0 || FailWithSystemError());
}

bool CreateFolders(TextView path) {
    const std::wstring system = SystemPath(path);
    return !system.empty() && MakeFolders(system);
}

bool KeepPrivate(TextView) {
    return true;  // rights come from the folder of the user's profile
}

bool RemoveFile(TextView path) {
    return RemoveName(path, &DeleteFileW);
}

bool RemoveEmptyFolder(TextView path) {
    return RemoveName(path, &RemoveDirectoryW);
}

bool RenamePath(TextView from, TextView to, bool replace) {
    const std::wstring source = SystemPath(from);
    const std::wstring target = SystemPath(to);
    if (source.empty() || target.empty()) {
        return false;
    }
    // Where a file system does not replace what is open, a reader is gone a moment later.
    for (int tries = 1;; tries++) {
        if (MoveFileExW(source.c_str(), target.c_str(), replace ? MOVEFILE_REPLACE_EXISTING : 0) != 0) {
            return true;
        }
        const DWORD error = ::GetLastError();
        const bool isInUse = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION;
        if (!replace || !isInUse || IsFolder(target)) {
            return FailWithSystemError(error);
        }
        if (RenameOverOpenFile(source, target)) {
            return true;
        }
        if (tries == kReplaceTries) {
            return FailWithSystemError(error);
        }
        ::Sleep(kReplacePauseMs);
    }
}

bool SyncFolder(TextView path) {
    const std::wstring system = SystemPath(path);
    if (system.empty()) {
        return false;
    }
    const SystemHandle folder = OpenPath(system, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING,
                                         FILE_FLAG_BACKUP_SEMANTICS, /*followLink=*/true);
    if (!folder && ::GetLastError() != ERROR_ACCESS_DENIED) {
        return FailWithSystemError();
    }
    if (folder && FlushFileBuffers(folder.Get()) != 0) {
        return true;
    }
    // A file system that cannot flush a folder keeps its names in its own journal.
    return IsFolder(system) || FailWithSystemError(ERROR_PATH_NOT_FOUND);
}

}  // namespace rampart::platform
