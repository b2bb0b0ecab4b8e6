// Drive letters and the volumes behind them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/text.h"

namespace rampart::platform {

struct Drive {
    TCHAR letter;            // 'A' to 'Z'
    std::string mountPoint;  // native, without trailing separator but for the root
    uint32_t serial;         // 32 bits of the file system's id, the same under every letter and mount point
    bool removable;
};

struct DiskSpace {
    uint64_t availableBytes;  // to this user
    uint64_t freeBytes;
    uint64_t totalBytes;
};

// The present table. Letters of mounted volumes are stable by serial as long as the process lives; C: is the
// root.
std::vector<Drive> Drives();

// Pins a letter to a mount point (from the configuration); an empty mount point removes the pin. Takes effect
// at once.
void PinDrive(TCHAR letter, std::string_view mountPoint);

// Reads the mount table again; called when a volume came or went. Drives() is otherwise read once and kept.
void RefreshDrives();

// The letter of the drive that the system itself lies on.
TCHAR SystemDrive();

// 0 for a letter that stands for nothing.
uint32_t VolumeSerial(TCHAR letter);

// 0 when no drive has this serial now.
TCHAR DriveOfSerial(uint32_t serial);

// False with LastError set when the path cannot be asked. The path need not exist: its nearest existing
// parent counts.
bool QueryDiskSpace(TextView enginePath, DiskSpace& space);

// Folders, as engine paths, in which the system shows itself and keeps no files of a user.
std::vector<Text> SystemFolders();

// A path on a network file system (NFS, CIFS, 9p, sshfs) or a UNC path.
bool IsNetworkPath(TextView enginePath);
bool IsRemovablePath(TextView enginePath);

// Makes sure that a path on a network file system or share can be used, with the logon that the user has
// stored for it. False with LastError when it does not answer; a path that is only missing there counts as
// answered.
bool ConnectNetworkPath(TextView enginePath);

}  // namespace rampart::platform
