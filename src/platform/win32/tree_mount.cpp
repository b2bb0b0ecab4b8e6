#include "platform/tree_mount.h"

namespace rampart::platform {

bool TreeMount::IsAvailable(std::string& reason) {
    reason = "a vault cannot be mounted on Windows; use restore to bring files back";
    return false;
}

std::unique_ptr<TreeMount> TreeMount::Mount(TextView, MountedTree&, std::string& reason) {
    IsAvailable(reason);
    return nullptr;
}

}  // namespace rampart::platform
