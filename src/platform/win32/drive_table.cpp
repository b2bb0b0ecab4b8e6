#include "platform/win32/drive_table.h"

#include <mutex>

#include "platform/fnv_hash.h"
#include "platform/path_names.h"
#include "platform/win32/native.h"

// native.h comes first, so that winnetwk.h finds windows.h
#include <winnetwk.h>

namespace rampart::platform {
namespace {

constexpr TextView kLongPrefix = L"\\\\?\\";
constexpr TextView kSharePrefix = L"UNC\\";

bool StartsWith(TextView path, TextView prefix) {
    for (size_t i = 0; i < prefix.size(); i++) {
        const TCHAR c = i < path.size() ? path[i] : 0;
        const bool same = prefix[i] == '\\' ? IsSeparator(c) : c == prefix[i] || c == (prefix[i] | 0x20);
        if (!same) {
            return false;
        }
    }
    return true;
}

PathRoot Fail(uint32_t error) {
    PathRoot root;
    root.error = error;
    return root;
}

TextView TakeShareName(TextView& path) {
    size_t end = 0;
    while (end < path.size() && !IsSeparator(path[end])) {
        end++;
    }
    const TextView name = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    return name;
}

PathRoot TakeShare(TextView& path) {
    const TextView server = TakeShareName(path);
    const TextView share = TakeShareName(path);
    const auto isOdd = [](TextView name) {
        return name.empty() || name == L"." || name == L".." || name == L"?" ||
               name.find_first_of(L":*?\"<>|") != TextView::npos;
    };
    if (isOdd(server) || isOdd(share)) {
        return Fail(kBadNetworkPath);
    }
    PathRoot root;
    root.system.append(L"\\\\?\\UNC\\").append(server).append(1, L'\\').append(share);
    root.isDrive = false;
    return root;
}

// Drives and pins; the readings are replaced as a whole.
struct Table {
    std::mutex mutex;  // guards what follows
    bool isRead = false;
    std::vector<Drive> drives;
    std::shared_ptr<const DrivePins> pins = std::make_shared<DrivePins>();
    std::atomic<uint32_t> letters = 0;  // bit 0 is A:
    std::atomic<bool> hasPins = false;
};

Table& TheTable() {
    static Table table;
    return table;
}

uint32_t HashOf(TextView text) {
    Text lower(text);
    for (TCHAR& c : lower) {
        c = c >= 'A' && c <= 'Z' ? static_cast<TCHAR>(c + 0x20) : c;
    }
    const uint32_t hash = Fnv32(lower);
    return hash == 0 ? 1 : hash;
}

// The name of the share behind a drive letter; empty if the system does not tell.
std::wstring RemoteName(TCHAR letter) {
    const wchar_t device[] = {letter, L':', 0};
    std::wstring name(MAX_PATH, L'\0');
    auto size = static_cast<DWORD>(name.size());
    if (WNetGetConnectionW(device, name.data(), &size) != NO_ERROR) {
        return {};
    }
    return name.c_str();
}

uint32_t SerialOf(const std::wstring& root) {
    DWORD serial = 0;
    if (GetVolumeInformationW(root.c_str(), nullptr, 0, &serial, nullptr, nullptr, nullptr, 0) == 0) {
        return 0;
    }
    if (serial != 0) {
        return serial;
    }
    wchar_t name[64] = {};
    return GetVolumeNameForVolumeMountPointW(root.c_str(), name, 64) != 0 ? HashOf(name) : HashOf(root);
}

Drive ReadDrive(TCHAR letter) {
    const std::wstring root = {letter, L':', L'\\'};
    const UINT type = GetDriveTypeW(root.c_str());
    Drive drive = {letter, ToUtf8(root.substr(0, 2)) + "/", 0,
                   type == DRIVE_REMOVABLE || type == DRIVE_CDROM};
    // Asking a share that is gone would take long; its name is as good.
    const std::wstring remote = type == DRIVE_REMOTE ? RemoteName(letter) : std::wstring();
    drive.serial = remote.empty() ? SerialOf(root) : HashOf(remote);
    return drive;
}

// A folder is known by the volume mounted on it, or by its name where none is.
Drive ReadPin(TCHAR letter, const Text& folder) {
    std::wstring path = SystemPath(folder);
    const UINT type = GetDriveTypeW(SystemRoot(path).c_str());
    path.push_back(L'\\');
    wchar_t volume[64] = {};
    const bool isMountPoint = GetVolumeNameForVolumeMountPointW(path.c_str(), volume, 64) != 0;
    return {letter, ToNativePath(folder), isMountPoint ? SerialOf(path) : HashOf(folder),
            type == DRIVE_REMOVABLE};
}

}  // namespace

int LetterIndex(TCHAR letter) {
    const TCHAR lower = letter | 0x20;
    return lower >= 'a' && lower <= 'z' && letter < 0x80 ? lower - 'a' : -1;
}

std::shared_ptr<const DrivePins> CurrentPins() {
    Table& table = TheTable();
    if (!table.hasPins) {
        static const auto none = std::make_shared<const DrivePins>();
        return none;
    }
    std::lock_guard lock(table.mutex);
    return table.pins;
}

bool HasDrive(TCHAR letter) {
    Table& table = TheTable();
    const uint32_t bit = uint32_t{1} << (letter - 'A');
    // A drive may have come since; one that went is told by the system's own calls.
    if ((table.letters & bit) == 0) {
        table.letters = GetLogicalDrives();
    }
    return (table.letters & bit) != 0;
}

PathRoot TakeRoot(TextView& path) {
    if (path.empty()) {
        return Fail(kPathNotFound);
    }
    if (StartsWith(path, kLongPrefix)) {
        path.remove_prefix(kLongPrefix.size());
        if (StartsWith(path, kSharePrefix)) {
            path.remove_prefix(kSharePrefix.size());
            return TakeShare(path);
        }
        if (path.size() < 2 || path[1] != ':') {
            return Fail(kBadNetworkPath);
        }
    } else if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) {
        path.remove_prefix(2);
        return TakeShare(path);
    }
    PathRoot root;
    TCHAR letter = L'C';
    if (path.size() >= 2 && path[1] == ':' && LetterIndex(path[0]) >= 0) {
        letter = static_cast<TCHAR>('A' + LetterIndex(path[0]));
        path.remove_prefix(2);
    }
    const auto pins = CurrentPins();
    const Text& pin = (*pins)[static_cast<size_t>(letter - 'A')];
    if (!pin.empty()) {
        TextView folder = pin;
        root = TakeRoot(folder);  // a pin names a drive of the system, never another pin
        while (folder.ends_with(L'\\')) {
            folder.remove_suffix(1);
        }
        root.system.append(folder);
        root.isDrive = root.isDrive && folder.empty();
        return root;
    }
    if (!HasDrive(letter)) {
        return Fail(kPathNotFound);
    }
    root.system = {L'\\', L'\\', L'?', L'\\', letter, L':'};
    return root;
}

std::vector<Drive> Drives() {
    Table& table = TheTable();
    std::shared_ptr<const DrivePins> pins;
    {
        std::lock_guard lock(table.mutex);
        if (table.isRead) {
            return table.drives;
        }
        pins = table.pins;
    }
    // No box that asks for a medium.
    DWORD oldMode = 0;
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, &oldMode);
    table.letters = GetLogicalDrives();
    std::vector<Drive> drives;
    for (int i = 0; i < 26; i++) {
        const auto letter = static_cast<TCHAR>('A' + i);
        const Text& pin = (*pins)[static_cast<size_t>(i)];
        if (!pin.empty()) {
            drives.push_back(ReadPin(letter, pin));
        } else if (((table.letters >> i) & 1) != 0) {
            drives.push_back(ReadDrive(letter));
        }
    }
    SetThreadErrorMode(oldMode, nullptr);
    std::lock_guard lock(table.mutex);
    if (table.pins == pins) {
        table.drives = drives;
        table.isRead = true;
    }
    return drives;
}

void PinDrive(TCHAR letter, std::string_view mountPoint) {
    const int index = LetterIndex(letter);
    if (index < 0) {
        return;
    }
    Text folder;
    if (!mountPoint.empty()) {
        // The path below a drive of the system: a pin must not lead into another one.
        const std::wstring path = SystemPath(FromUtf8(mountPoint));
        if (path.empty()) {
            return;
        }
        folder = path.starts_with(L"\\\\?\\UNC\\") ? L"\\" + path.substr(7) : path.substr(4);
    }
    Table& table = TheTable();
    std::lock_guard lock(table.mutex);
    auto pins = std::make_shared<DrivePins>(*table.pins);
    (*pins)[static_cast<size_t>(index)] = folder;
    table.hasPins = std::any_of(pins->begin(), pins->end(), [](const Text& pin) { return !pin.empty(); });
    table.pins = std::move(pins);
    table.isRead = false;
}

void RefreshDrives() {
    Table& table = TheTable();
    std::lock_guard lock(table.mutex);
    table.isRead = false;
}

}  // namespace rampart::platform
