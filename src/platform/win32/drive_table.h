// What a path begins with: a drive of the system, a drive that the configuration has pinned to a folder, or a
// share.
#pragma once

#include <array>
#include <memory>

#include "platform/text.h"
#include "platform/volumes.h"

namespace rampart::platform {

// Folders that drive letters were pinned to, as engine paths of the system's own drives; empty for the
// others.
using DrivePins = std::array<Text, 26>;

// The pins in force. Costs one atomic load while nothing is pinned.
std::shared_ptr<const DrivePins> CurrentPins();

// -1 for anything but a letter.
int LetterIndex(TCHAR letter);

// Whether the system has the drive of an upper-case letter.
bool HasDrive(TCHAR letter);

struct PathRoot {
    std::wstring system;  // "\\?\C:" or "\\?\UNC\server\share"
    bool isDrive = true;
    uint32_t error = 0;
    bool IsValid() const { return error == 0; }
};

// Takes the prefix "\\?\" and the drive or share off `path`. A pinned drive gives its folder, which may
// follow the root. A path without either is taken below C:.
PathRoot TakeRoot(TextView& path);

}  // namespace rampart::platform
