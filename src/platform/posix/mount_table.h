// The mounted file systems of this machine.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rampart::platform {

struct Mount {
    std::string point;   // native path
    std::string type;    // "ext4", "nfs4", "fuse.sshfs"
    std::string source;  // device or remote name
    dev_t device = 0;
    std::string root = "/";  // what of the file system is mounted: a subvolume, a bound folder
};

// In the order of mounting; of several mounts on one point only the last, which hides the others.
std::vector<Mount> ReadMounts();
// The same from the text of a mountinfo file. Lines that cannot be read are passed over.
std::vector<Mount> ParseMounts(std::string_view mountInfo);

bool IsNetworkType(std::string_view type);
// A file system that the kernel makes up and that holds no files of a user.
bool IsPseudoType(std::string_view type);

// 32 bits of the file system's id, never 0; a mounted part of a file system has a serial of its own, since
// the same path below it is another file. Does not touch a network file system.
uint32_t MountSerial(const Mount& mount);
// Whether the device can be taken away while the machine runs.
bool IsRemovableMount(const Mount& mount);

// Whether `path` is `folder` or lies below it; both native, without trailing separator but for the root.
bool IsBelow(std::string_view path, std::string_view folder);

}  // namespace rampart::platform
