// What the system is told of something in a mounted tree.
#pragma once

#include <sys/stat.h>

#include "platform/tree_mount.h"

namespace rampart::platform {

inline constexpr uint32_t kMountedBlockBytes = 4096;

// Without a number. What nothing is known of is this user's own.
struct stat StatOf(const MountedStatus& status);

}  // namespace rampart::platform
