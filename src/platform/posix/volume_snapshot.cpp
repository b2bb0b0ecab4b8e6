#include "platform/volume_snapshot.h"

namespace rampart::platform {

// Snapshots are a matter of single file systems here, and of their administrators.
std::unique_ptr<VolumeSnapshot> VolumeSnapshot::Take(TextView) {
    SetLastError(kNotSupported);
    return nullptr;
}

}  // namespace rampart::platform
