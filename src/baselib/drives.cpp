#include "baselib/path_text.h"
#include "interfaces/baselib.h"
#include "platform/file_system.h"
#include "platform/volumes.h"

using namespace rampart;

unsigned long GetDiskserial(TCHAR drive) {
    return platform::VolumeSerial(drive);
}

TCHAR GetDiskBySerial(unsigned long serial) {
    return serial == 0 ? TCHAR(0) : platform::DriveOfSerial(static_cast<uint32_t>(serial));
}

TCHAR GetDriveFromPath(CString const& path) {
    TextView root = path.View().substr(0, RootLength(path));
    root.remove_prefix(root.starts_with(kLongPathPrefix) ? kLongPathPrefix.size() : 0);
    return root.size() >= 2 && root[1] == _T(':') ? TCHAR(root[0] & ~0x20) : TCHAR(0);
}

int GetSystemDriver(CString& drive) {
    drive = CString(platform::SystemDrive()) + _T(":");
    return 1;
}

__int64 GetDiskFreeSize(CString const& path) {
    constexpr uint64_t kMegabyte = 1 << 20;
    platform::DiskSpace space{};
    return platform::QueryDiskSpace(path, space) ? static_cast<__int64>(space.availableBytes / kMegabyte) : 0;
}

int IsExistFlashDrive(CString const& path) {
    return !path.IsEmpty() && platform::IsRemovablePath(path) ? 1 : 0;
}

int IsNetworkPath(CString const& path) {
    return !path.IsEmpty() && platform::IsNetworkPath(path) ? 1 : 0;
}

int IsSameFileLocal(CString const& a, CString const& b) {
    return !a.IsEmpty() && !b.IsEmpty() && platform::SameFile(a, b) ? 1 : 0;
}

int FileIsTemporary(CString const& path) {
    platform::FileStatus status;
    return !path.IsEmpty() && platform::QueryStatus(path, status) &&
                   (status.attributes & platform::kTemporary) != 0
               ? 1
               : 0;
}
