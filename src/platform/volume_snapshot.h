// A volume as it was at one moment, from which files are copied that others keep open or go on writing to.
#pragma once

#include <memory>

#include "platform/file_system.h"

namespace rampart::platform {

// Belongs to the thread that took it.
class VolumeSnapshot {
public:
    // Of the volume that holds `path`; takes seconds. Null where none can be had: kNotSupported on a system
    // or a volume without snapshots, kAccessDenied without the right to make one, kNotReady while another one
    // is being made, kDiskFull without room.
    static std::unique_ptr<VolumeSnapshot> Take(TextView path);
    // Gives the snapshot back.
    virtual ~VolumeSnapshot() = default;
    // A file of that volume as it was; as the function of that name (platform/file_system.h).
    virtual bool CopyFileContent(TextView from, TextView to, const CopyProgress& progress) = 0;
};

}  // namespace rampart::platform
