// The folder of a vault and the names in it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/file_system.h"

namespace rampart {

inline constexpr char kCatalogName[] = "catalog.db";
inline constexpr char kPacksName[] = "packs";
inline constexpr char kSnapshotsName[] = "snapshots";
inline constexpr char kLockName[] = "vault.lock";
// Databases that live while a snapshot is made; they count as parts of the catalog.
inline constexpr char kSnapshotBase[] = "catalog.db.copy";

struct VaultPlace {
    // An absolute path in UTF-8; kInvalidRequest for anything else.
    explicit VaultPlace(const std::string& nativeFolder);
    platform::Text Inside(std::string_view name) const;
    std::string NativeInside(std::string_view name) const { return native + "/" + std::string(name); }

    std::string native;
    platform::Text folder;
};

// Whether a vault lies there, also one that is damaged or cannot be reached. An absolute path.
bool VaultLiesAt(const std::string& nativeFolder);

// Held while a process may write to the vault; `alone` is for a repair, that no such process runs beside.
// kConnectionFailed if the other kind holds it. Null where a shared one cannot be had for want of room or
// rights.
std::unique_ptr<platform::FileHandle> LockVault(const VaultPlace& place, bool alone);

}  // namespace rampart
