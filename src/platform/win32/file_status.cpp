#include "platform/win32/native.h"

// Needs the header above.
#include <winioctl.h>

#include <cstring>

namespace rampart::platform {
namespace {

constexpr DWORD kSettable = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_TEMPORARY;

// What the folder says of a file that cannot even be asked for its status, such as the system's page file.
bool ReadStatusFromFolder(const std::wstring& path, FileStatus& status) {
    WIN32_FIND_DATAW found;
    const HANDLE search =
        FindFirstFileExW(path.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0);
    if (search == INVALID_HANDLE_VALUE) {
        return false;
    }
    FindClose(search);
    status = {};
    status.attributes = AttributesOf(found.dwFileAttributes, found.dwReserved0);
    status.size =
        status.IsRegularFile() ? static_cast<uint64_t>(found.nFileSizeHigh) << 32 | found.nFileSizeLow : 0;
    status.creationTime = NanosecondsOf(found.ftCreationTime);
    status.accessTime = NanosecondsOf(found.ftLastAccessTime);
    status.writeTime = NanosecondsOf(found.ftLastWriteTime);
    return true;
}

// The layout of what the system tells of a link, up to its texts.
struct LinkData {
    ULONG tag;
    USHORT length;
    USHORT reserved;
    USHORT substituteOffset;
    USHORT substituteLength;
    USHORT printOffset;
    USHORT printLength;
};

// The text that a symbolic link or a mount point shows. False with the system's last error set.
bool ReadLinkText(HANDLE file, std::string& target) {
    constexpr DWORD kMostBytes = 16 * 1024;  // the system's own limit
    std::string bytes(kMostBytes, '\0');
    DWORD size = 0;
    if (DeviceIoControl(file, FSCTL_GET_REPARSE_POINT, nullptr, 0, bytes.data(), kMostBytes, &size,
                        nullptr) == 0) {
        return false;
    }
    LinkData data{};
    size_t texts = sizeof(data);
    if (size < texts) {
        ::SetLastError(ERROR_INVALID_DATA);
        return false;
    }
    std::memcpy(&data, bytes.data(), sizeof(data));
    texts += data.tag == IO_REPARSE_TAG_SYMLINK ? sizeof(ULONG) : 0;
    const bool isLink = data.tag == IO_REPARSE_TAG_SYMLINK || data.tag == IO_REPARSE_TAG_MOUNT_POINT;
    if (!isLink || texts + data.printOffset + data.printLength > size) {
        ::SetLastError(ERROR_INVALID_DATA);
        return false;
    }
    std::wstring text(data.printLength / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data() + texts + data.printOffset, text.size() * sizeof(wchar_t));
    target = ToUtf8(text);
    return true;
}

}  // namespace

bool QueryStatus(TextView path, FileStatus& status) {
    const std::wstring system = SystemPath(path);
    if (system.empty()) {
        return false;
    }
    const SystemHandle file = OpenPath(system, FILE_READ_ATTRIBUTES, OPEN_EXISTING,
                                       FILE_FLAG_BACKUP_SEMANTICS, /*followLink=*/false);
    if (file && ReadStatus(file.Get(), status)) {
        return true;
    }
    const DWORD error = ::GetLastError();
    return ((error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION) &&
            ReadStatusFromFolder(system, status)) ||
           FailWithSystemError(error);
}

bool CopyAccessRights(TextView, TextView) {
    return true;
}

bool SetAttributes(TextView path, uint32_t attributes) {
    const std::wstring system = SystemPath(path);
    if (system.empty()) {
        return false;
    }
    const DWORD old = GetFileAttributesW(system.c_str());
    if (old == INVALID_FILE_ATTRIBUTES) {
        return FailWithSystemError();
    }
    FileStatus status;
    if ((old & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
        (!QueryStatus(path, status) || (status.attributes & kReparsePoint) != 0)) {
        return FailWithSystemError(ERROR_ACCESS_DENIED);
    }
    const DWORD settable =
        (old & FILE_ATTRIBUTE_DIRECTORY) != 0 ? kSettable & ~FILE_ATTRIBUTE_TEMPORARY : kSettable;
    const DWORD wanted = (old & ~settable) | (attributes & settable);
    return wanted == old ||
           SetFileAttributesW(system.c_str(), wanted == 0 ? FILE_ATTRIBUTE_NORMAL : wanted) != 0 ||
           FailWithSystemError();
}

bool ReadLink(TextView path, std::string& target) {
    const std::wstring system = SystemPath(path);
    if (system.empty()) {
        return false;
    }
    const SystemHandle file = OpenPath(system, FILE_READ_ATTRIBUTES, OPEN_EXISTING,
                                       FILE_FLAG_BACKUP_SEMANTICS, /*followLink=*/false);
    return file && ReadLinkText(file.Get(), target) ? true : FailWithSystemError();
}

Text LinkTarget(TextView path) {
    FileStatus status;
    if (!QueryStatus(path, status) || (status.attributes & kReparsePoint) == 0) {
        return Text(path);
    }
    const SystemHandle file = OpenPath(SystemPath(path), 0, OPEN_EXISTING, 0, /*followLink=*/true);
    std::wstring target;
    if (file) {
        target = ReadText([&](wchar_t* buffer, DWORD size) {
            return GetFinalPathNameByHandleW(file.Get(), buffer, size,
                                             FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
        });
    }
    if (target.empty()) {
        FailWithSystemError();
    } else if (target.starts_with(kLongShare)) {
        target.replace(0, kLongShare.size(), L"\\\\");
    }
    return target;
}

bool SameFile(TextView a, TextView b) {
    FileStatus first;
    FileStatus second;
    return QueryStatus(a, first) && QueryStatus(b, second) && first.fileId == second.fileId &&
           first.volumeId == second.volumeId && first.fileId != 0;
}

}  // namespace rampart::platform
