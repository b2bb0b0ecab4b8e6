#include "platform/volumes.h"

#include "platform/win32/drive_table.h"
#include "platform/win32/native.h"

// native.h comes first, so that winnetwk.h finds windows.h
#include <winnetwk.h>

namespace rampart::platform {
namespace {

// "\\server\share" of a path on a share or on a drive that stands for one; empty for any other.
std::wstring ShareOf(const std::wstring& path) {
    std::wstring root = SystemRoot(path);
    root.pop_back();
    if (path.starts_with(kLongShare)) {
        return L"\\\\" + root.substr(kLongShare.size());
    }
    const std::wstring device = root.substr(root.size() - 2);
    std::wstring name(MAX_PATH, L'\0');
    auto size = static_cast<DWORD>(name.size());
    return WNetGetConnectionW(device.c_str(), name.data(), &size) == NO_ERROR ? name.c_str() : std::wstring();
}

bool Answers(TextView path) {
    FileStatus status;
    return QueryStatus(path, status) || LastError() == kFileNotFound || LastError() == kPathNotFound;
}

}  // namespace

TCHAR SystemDrive() {
    wchar_t folder[MAX_PATH];
    const UINT size = GetSystemWindowsDirectoryW(folder, MAX_PATH);
    const bool isDrivePath = size >= 2 && size < MAX_PATH && folder[1] == L':';
    return isDrivePath ? static_cast<TCHAR>(towupper(folder[0])) : L'C';
}

uint32_t VolumeSerial(TCHAR letter) {
    for (const Drive& drive : Drives()) {
        if (LetterIndex(drive.letter) == LetterIndex(letter)) {
            return drive.serial;
        }
    }
    return 0;
}

TCHAR DriveOfSerial(uint32_t serial) {
    for (const Drive& drive : Drives()) {
        if (serial != 0 && drive.serial == serial) {
            return drive.letter;
        }
    }
    return 0;
}

bool QueryDiskSpace(TextView enginePath, DiskSpace& space) {
    std::wstring path = SystemPath(enginePath);
    if (path.empty()) {
        return false;
    }
    const size_t root = SystemRoot(path).size();
    while (true) {
        ULARGE_INTEGER available;
        ULARGE_INTEGER total;
        ULARGE_INTEGER left;
        if (GetDiskFreeSpaceExW(path.c_str(), &available, &total, &left) != 0) {
            space = {available.QuadPart, left.QuadPart, total.QuadPart};
            return true;
        }
        const DWORD error = ::GetLastError();
        const bool isMissing =
            error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_DIRECTORY;
        if (!isMissing || path.size() <= root) {
            return FailWithSystemError(error);
        }
        path.resize(std::max(path.rfind(L'\\'), root - 1));
        if (path.size() < root) {
            path.push_back(L'\\');
        }
    }
}

bool IsNetworkPath(TextView enginePath) {
    const std::wstring path = SystemPath(enginePath);
    return !path.empty() &&
           (path.starts_with(kLongShare) || GetDriveTypeW(SystemRoot(path).c_str()) == DRIVE_REMOTE);
}

std::vector<Text> SystemFolders() {
    return {};
}

bool IsRemovablePath(TextView enginePath) {
    const std::wstring path = SystemPath(enginePath);
    const UINT type = path.empty() ? DRIVE_UNKNOWN : GetDriveTypeW(SystemRoot(path).c_str());
    return type == DRIVE_REMOVABLE || type == DRIVE_CDROM;
}

bool ConnectNetworkPath(TextView enginePath) {
    const std::wstring path = SystemPath(enginePath);
    if (path.empty()) {
        return false;
    }
    if (!path.starts_with(kLongShare) && Answers(enginePath)) {
        return true;
    }
    std::wstring share = ShareOf(path);
    if (share.empty()) {
        return Answers(enginePath);
    }
    NETRESOURCEW resource = {};
    resource.dwType = RESOURCETYPE_DISK;
    resource.lpRemoteName = share.data();
    const DWORD result = WNetAddConnection2W(&resource, nullptr, nullptr, 0);
    // Where a connection with another logon stands already, that one is used.
    return (result == NO_ERROR || result == ERROR_SESSION_CREDENTIAL_CONFLICT ||
            result == ERROR_ALREADY_ASSIGNED)
               ? Answers(enginePath)
               : FailWithSystemError(result);
}

}  // namespace rampart::platform
