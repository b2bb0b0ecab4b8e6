// The tasks that the vault's database knows now, for whoever looks at what they stored.
#pragma once

#include <vector>

#include "restore/vault_mount.h"
#include "storage/storage_service.h"

namespace rampart {

ServiceResult ReadMountedTasks(StorageService& service, std::vector<MountedTask>& tasks);

}  // namespace rampart
