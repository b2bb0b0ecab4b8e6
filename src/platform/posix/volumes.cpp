#include "platform/volumes.h"

#include <errno.h>
#include <sys/statvfs.h>

#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "platform/posix/drive_table.h"
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

bool IsUncPath(TextView path) {
    const auto isSeparator = [](TCHAR c) { return c == '\\' || c == '/'; };
    if (path.size() < 3 || !isSeparator(path[0]) || !isSeparator(path[1])) {
        return false;
    }
    return path[2] != '?' || path.starts_with(_T("\\\\?\\UNC\\"));
}

}  // namespace

std::vector<Drive> Drives() {
    return CurrentDriveTable().Drives();
}

TCHAR SystemDrive() {
    return 'C';  // always the root
}

uint32_t VolumeSerial(TCHAR letter) {
    const Drive* drive = CurrentDriveTable().FindLetter(letter);
    return drive != nullptr ? drive->serial : 0;
}

TCHAR DriveOfSerial(uint32_t serial) {
    for (const Drive& drive : CurrentDriveTable().Drives()) {
        if (serial != 0 && drive.serial == serial) {
            return drive.letter;
        }
    }
    return 0;
}

bool QueryDiskSpace(TextView enginePath, DiskSpace& space) {
    std::string native = ToNativePath(enginePath);
    if (native.empty()) {
        return false;
    }
    struct statvfs status;
    while (statvfs(native.c_str(), &status) != 0) {
        if (errno == EINTR) {
            continue;
        }
        const size_t slash = native.rfind('/');
        if ((errno != ENOENT && errno != ENOTDIR) || native == "/") {
            return FailWithErrno(errno);
        }
        native.resize(std::max<size_t>(slash, 1));
    }
    const uint64_t unit = status.f_frsize;
    space = {status.f_bavail * unit, status.f_bfree * unit, status.f_blocks * unit};
    return true;
}

bool IsNetworkPath(TextView enginePath) {
    if (IsUncPath(enginePath)) {
        return true;
    }
    const std::string native = ToNativePath(enginePath);
    const Mount* mount = native.empty() ? nullptr : CurrentDriveTable().FindMount(native);
    return mount != nullptr && IsNetworkType(mount->type);
}

bool ConnectNetworkPath(TextView enginePath) {
    if (IsUncPath(enginePath)) {
        SetLastError(kBadNetworkPath);  // a share has to be mounted by the system
        return false;
    }
    FileStatus status;
    return QueryStatus(enginePath, status) || LastError() == kFileNotFound || LastError() == kPathNotFound;
}

std::vector<Text> SystemFolders() {
    return {_T("C:\\proc"), _T("C:\\sys"), _T("C:\\dev")};
}

bool IsRemovablePath(TextView enginePath) {
    const std::string native = ToNativePath(enginePath);
    return !native.empty() && CurrentDriveTable().FindNative(native).removable;
}

}  // namespace rampart::platform
