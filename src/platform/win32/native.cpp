#include "platform/win32/native.h"

#include "platform/path_names.h"
#include "platform/win32/drive_table.h"

namespace rampart::platform {
namespace {

struct ErrorPair {
    DWORD error;
    uint32_t number;
};

constexpr ErrorPair kErrors[] = {
    {ERROR_INVALID_DRIVE, kPathNotFound},
    {ERROR_DIRECTORY, kPathNotFound},
    {ERROR_OUTOFMEMORY, kNotEnoughMemory},
    {ERROR_LOCK_VIOLATION, kSharingViolation},
    {ERROR_FILE_EXISTS, kAlreadyExists},
    {ERROR_CANT_ACCESS_FILE, kAccessDenied},
    {ERROR_PRIVILEGE_NOT_HELD, kAccessDenied},
    {ERROR_DELETE_PENDING, kAccessDenied},
    {ERROR_INVALID_FUNCTION, kNotSupported},
    {ERROR_BAD_PATHNAME, kInvalidName},
    {ERROR_BAD_NET_NAME, kBadNetworkPath},
    {ERROR_NETNAME_DELETED, kBadNetworkPath},
    {ERROR_NETWORK_UNREACHABLE, kBadNetworkPath},
    {ERROR_HOST_UNREACHABLE, kBadNetworkPath},
    {ERROR_NO_NET_OR_BAD_PATH, kBadNetworkPath},
    {ERROR_NO_MORE_FILES, kNoMoreItems},
    {ERROR_SEM_TIMEOUT, kWaitTimeout},
    {ERROR_OPERATION_ABORTED, kRequestAborted},
};

constexpr int64_t kTicksTo1970 = 116'444'736'000'000'000;  // of 100 ns, from 1601
constexpr int64_t kNanosecondsPerTick = 100;

// Whether a file can have the name. A colon would open a stream of the file before it.
bool IsPossibleName(TextView name) {
    for (const TCHAR c : name) {
        if (c < 0x20 || TextView(L":*?\"<>|").find(c) != TextView::npos) {
            return false;
        }
    }
    return true;
}

std::wstring FailPath(uint32_t error) {
    SetLastError(error);
    return {};
}

}  // namespace

uint32_t ErrorOfSystem(DWORD error) {
    for (const ErrorPair& pair : kErrors) {
        if (pair.error == error) {
            return pair.number;
        }
    }
    return error;
}

bool FailWithSystemError(DWORD error) {
    SetLastError(ErrorOfSystem(error));
    return false;
}

bool FailWithSystemError() {
    return FailWithSystemError(::GetLastError());
}

bool AppendPath(Text& root, TextView path, bool (*isPossible)(TextView)) {
    const size_t rootSize = root.size();
    while (true) {
        const TextView name = TakeName(path);
        if (name.empty()) {
            return true;
        }
        if (name == L".") {
            continue;
        }
        if (name == L"..") {
            const size_t parent = root.rfind(L'\\');
            root.resize(parent == Text::npos ? rootSize : std::max(rootSize, parent));
            continue;
        }
        if (isPossible != nullptr && !isPossible(name)) {
            return false;
        }
        root.append(1, L'\\').append(name);
    }
}

std::wstring SystemPath(TextView enginePath) {
    const PathRoot root = TakeRoot(enginePath);
    if (!root.IsValid()) {
        return FailPath(root.error);
    }
    std::wstring path;
    path.reserve(root.system.size() + enginePath.size() + 2);
    path = root.system;
    if (!AppendPath(path, enginePath, &IsPossibleName)) {
        return FailPath(kInvalidName);
    }
    if (path.size() == root.system.size() && root.isDrive) {
        path.push_back(L'\\');
    }
    return path;
}

std::wstring SystemRoot(const std::wstring& systemPath) {
    constexpr std::wstring_view kShare = L"\\\\?\\UNC\\";
    if (!systemPath.starts_with(kShare)) {
        return systemPath.substr(0, std::wstring_view(L"\\\\?\\C:").size()) + L'\\';
    }
    const size_t server = systemPath.find(L'\\', kShare.size());
    const size_t share = server == std::wstring::npos ? server : systemPath.find(L'\\', server + 1);
    return systemPath.substr(0, share) + L'\\';
}

int64_t NanosecondsOf(const FILETIME& time) {
    const auto ticks =
        static_cast<int64_t>(static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
    // Nanoseconds in 64 bits reach from 1677 to 2262.
    constexpr int64_t kFarthest = INT64_MAX / kNanosecondsPerTick;
    return std::clamp(ticks - kTicksTo1970, -kFarthest, kFarthest) * kNanosecondsPerTick;
}

FILETIME FileTimeOf(int64_t nanoseconds) {
    const int64_t ticks = nanoseconds / kNanosecondsPerTick - (nanoseconds % kNanosecondsPerTick < 0 ? 1 : 0);
    const auto value = static_cast<uint64_t>(ticks + kTicksTo1970);
    return {static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
}

uint32_t AttributesOf(DWORD systemAttributes, DWORD reparseTag) {
    constexpr DWORD kSame = kReadOnly | kHidden | kDirectory | kTemporary;
    uint32_t attributes = systemAttributes & kSame;
    if ((systemAttributes & FILE_ATTRIBUTE_READONLY) != 0 && (attributes & kDirectory) != 0) {
        attributes &= ~kReadOnly;  // on a folder the bit says that it has an icon of its own
    }
    if ((systemAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && IsReparseTagNameSurrogate(reparseTag)) {
        attributes = (attributes & ~kDirectory) | kReparsePoint;
    } else if ((systemAttributes & FILE_ATTRIBUTE_DEVICE) != 0) {
        attributes |= kSpecial;
    }
    return attributes;
}

bool ReadStatus(HANDLE file, FileStatus& status) {
    BY_HANDLE_FILE_INFORMATION information;
    if (GetFileInformationByHandle(file, &information) == 0) {
        return false;
    }
    FILE_ATTRIBUTE_TAG_INFO tag = {};
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
        GetFileInformationByHandleEx(file, FileAttributeTagInfo, &tag, sizeof tag) == 0) {
        tag = {};
    }
    status.attributes = AttributesOf(information.dwFileAttributes, tag.ReparseTag);
    status.size = status.IsRegularFile()
                      ? static_cast<uint64_t>(information.nFileSizeHigh) << 32 | information.nFileSizeLow
                      : 0;
    status.creationTime = NanosecondsOf(information.ftCreationTime);
    status.accessTime = NanosecondsOf(information.ftLastAccessTime);
    status.writeTime = NanosecondsOf(information.ftLastWriteTime);
    FILE_BASIC_INFO basic;
    if (GetFileInformationByHandleEx(file, FileBasicInfo, &basic, sizeof basic) != 0) {
        status.changeTime = NanosecondsOf(basic.ChangeTime);
    }
    status.fileId = static_cast<uint64_t>(information.nFileIndexHigh) << 32 | information.nFileIndexLow;
    status.volumeId = information.dwVolumeSerialNumber;
    return true;
}

SystemHandle OpenPath(const std::wstring& path, DWORD access, DWORD disposition, DWORD flags,
                      bool followLink) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const auto open = [&](DWORD more) {
        return SystemHandle(
            CreateFileW(path.c_str(), access, kShareAll, nullptr, disposition, flags | more, nullptr));
    };
    if (followLink) {
        return open(0);
    }
    SystemHandle file = open(FILE_FLAG_OPEN_REPARSE_POINT);
    FILE_ATTRIBUTE_TAG_INFO tag = {};
    if (file && GetFileInformationByHandleEx(file.Get(), FileAttributeTagInfo, &tag, sizeof tag) != 0 &&
        (tag.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
        !IsReparseTagNameSurrogate(tag.ReparseTag)) {
        disposition = OPEN_EXISTING;
        file = open(0);
    }
    return file;
}

SystemHandle OpenFolder(const std::wstring& path, DWORD access, DWORD flags, bool followLink,
                        FileStatus& status) {
    SystemHandle folder =
        OpenPath(path, access, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags, followLink);
    if (!folder || !ReadStatus(folder.Get(), status)) {
        FailWithSystemError();
        return SystemHandle();
    }
    if (!status.IsDirectory()) {
        SetLastError(kPathNotFound);
        return SystemHandle();
    }
    return folder;
}

std::string NativeOf(TextView systemText) {
    std::string native = ToUtf8(systemText);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

}  // namespace rampart::platform
