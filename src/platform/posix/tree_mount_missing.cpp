// In place of tree_mount.cpp where libfuse3 was not there when the program was built.
#include "platform/tree_mount.h"

namespace rampart::platform {

bool TreeMount::IsAvailable(std::string& reason) {
    reason = "this program was built without libfuse3, which mounting needs";
    return false;
}

std::unique_ptr<TreeMount> TreeMount::Mount(TextView, MountedTree&, std::string& reason) {
    IsAvailable(reason);
    return nullptr;
}

}  // namespace rampart::platform
