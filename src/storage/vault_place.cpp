#include "storage/vault_place.h"

#include "platform/clock.h"
#include "platform/error.h"
#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "platform/process.h"
#include "storage/account_settings.h"
#include "storage/directory_store.h"
#include "storage/embedded_service.h"
#include "storage/sqlite_catalog.h"
#include "storage/storage_error.h"
#include "storage/vault_horizon.h"

namespace rampart {
namespace {

using platform::Text;

constexpr uint32_t kLeastCustomerId = 10000000;

bool HoldsForeignEntries(const VaultPlace& place) {
    auto reader = platform::DirectoryReader::Open(place.folder, false);
    if (!reader) {
        throw StorageError(kFailed, "cannot list " + place.native + ": " +
                                        platform::ToUtf8(platform::ErrorText(platform::LastError())));
    }
    platform::DirectoryEntry entry;
    while (reader->Next(entry)) {
        const std::string name = platform::ToUtf8(entry.name);
        if (!name.starts_with(kCatalogName) && name != kPacksName && name != kSnapshotsName &&
            name != kLockName && name != "lost+found") {
            return true;
        }
    }
    return false;
}

bool HoldsFiles(const Text& folder) {
    auto reader = platform::DirectoryReader::Open(folder, false);
    platform::DirectoryEntry entry;
    return reader && reader->Next(entry);
}

// Whether content of a vault lies there whose catalog is lost.
bool HoldsContent(const VaultPlace& place) {
    return HoldsFiles(place.Inside(kPacksName)) || HoldsFiles(place.Inside(kSnapshotsName));
}

void CreateVault(const VaultPlace& place) {
    platform::FileStatus status;
    if (platform::QueryStatus(place.folder, status) && status.IsRegularFile()) {
        throw StorageError(kNameTaken, place.native + " is a file");
    }
    const bool hasCatalog = platform::QueryStatus(place.Inside(kCatalogName), status) && status.size > 0;
    if (!hasCatalog && HoldsContent(place)) {
        throw StorageError(kVaultDamaged, "the catalog of the vault at " + place.native + " is missing; " +
                                              kRepairAdvice + ", and nothing was made here");
    }
    if (!platform::CreateFolders(place.folder) || !platform::CreateFolders(place.Inside(kPacksName))) {
        const uint32_t error = platform::LastError();
        throw StorageError(
            error == platform::kDiskFull ? kNoSpace : kVaultReadOnly,
            "cannot create " + place.native + ": " + platform::ToUtf8(platform::ErrorText(error)));
    }
    if (hasCatalog) {
        throw StorageError(kNameTaken, place.native + " is a vault already");
    }
    if (HoldsForeignEntries(place)) {
        throw StorageError(kNameTaken, place.native + " is not empty");
    }
    SqliteCatalog::Create(place.NativeInside(kCatalogName), place.native);
    SqliteCatalog catalog(place.NativeInside(kCatalogName), place.native, false,
                          VaultOptions().busyTimeoutMs);
    uint32_t number = 0;
    const std::string random = platform::RandomBytes(sizeof(number));
    std::memcpy(&number, random.data(), sizeof(number));
    catalog.SetSetting(account_setting::kCustomerId,
                       std::to_string(kLeastCustomerId + number % (9 * kLeastCustomerId)));
    if (!platform::SyncFolder(place.folder)) {
        throw StorageError(kFailed, "cannot make " + place.native + " durable");
    }
}

// Throws a word about why there is no vault to open, if there is none.
void RequireCatalog(const VaultPlace& place) {
    platform::FileStatus status;
    if (platform::QueryStatus(place.Inside(kCatalogName), status)) {
        if (status.size == 0) {
            throw HoldsContent(place)
                ? StorageError(kVaultDamaged,
                               "the catalog of the vault at " + place.native + " is empty; " + kRepairAdvice)
                : StorageError(kVaultMissing, "the vault at " + place.native +
                                                  " was never finished: its catalog is empty and it holds no "
                                                  "content; create it again");
        }
        return;
    }
    const uint32_t error = platform::LastError();
    if (error != platform::kFileNotFound && error != platform::kPathNotFound) {
        throw StorageError(kConnectionFailed, "the vault at " + place.native + " cannot be reached: " +
                                                  platform::ToUtf8(platform::ErrorText(error)));
    }
    if (!platform::QueryStatus(place.folder, status)) {
        throw StorageError(kVaultMissing, "there is no folder " + place.native);
    }
    if (status.IsRegularFile()) {
        throw StorageError(kInvalidRequest, place.native + " is a file, not the folder of a vault");
    }
    if (HoldsContent(place)) {
        throw StorageError(kVaultDamaged,
                           "the catalog of the vault at " + place.native + " is missing; " + kRepairAdvice);
    }
    throw StorageError(kVaultMissing, place.native + " is not a vault");
}

std::unique_ptr<EmbeddedService> OpenVault(const VaultPlace& place, VaultOptions options) {
    RequireCatalog(place);
    const std::string catalogPath = place.NativeInside(kCatalogName);
    std::unique_ptr<Catalog> catalog;
    try {
        catalog = std::make_unique<SqliteCatalog>(catalogPath, place.native, options.readOnly,
                                                  options.busyTimeoutMs);
    } catch (const StorageError& error) {
        // The last one: a disk too full to take a vault of an earlier format over.
        if (options.readOnly || (error.code() != kVaultReadOnly && error.code() != kConnectionFailed &&
                                 error.code() != kNoSpace)) {
            throw;
        }
        options.readOnly = true;
        catalog = std::make_unique<SqliteCatalog>(catalogPath, place.native, true, options.busyTimeoutMs);
    }
    std::unique_ptr<platform::FileHandle> lock;
    if (!options.readOnly) {
        lock = LockVault(place, false);
        // Vaults of earlier programs were as wide as their user's mask. What is somebody else's stays as it
        // is.
        for (const Text& own : {place.folder, place.Inside(kPacksName), place.Inside(kCatalogName)}) {
            platform::KeepPrivate(own);
        }
        // A repair may have put another catalog there before the lock was ours.
        RequireCatalog(place);
    }
    std::unique_ptr<ObjectStore> store = std::make_unique<DirectoryStore>(place.native);
    if (options.wrapStore) {
        store = options.wrapStore(std::move(store));
    }
    auto service =
        std::make_unique<EmbeddedService>(place.native, std::move(catalog), std::move(store), options);
    service->SetPlace(place.NativeInside(kSnapshotBase), std::move(lock));
    return service;
}

}  // namespace

VaultPlace::VaultPlace(const std::string& nativeFolder) : native(nativeFolder) {
    while (native.size() > 1 && (native.back() == '/' || native.back() == '\\')) {
        native.pop_back();
    }
    folder = platform::ToEnginePath(native);
    if (folder.empty()) {
        throw StorageError(kInvalidRequest, "\"" + nativeFolder + "\" is not an absolute path");
    }
}

Text VaultPlace::Inside(std::string_view name) const {
    return folder + _T("\\") + Text(name.begin(), name.end());
}

std::unique_ptr<platform::FileHandle> LockVault(const VaultPlace& place, bool alone) {
    auto lock = platform::FileHandle::Open(
        place.Inside(kLockName), platform::kOpenRead | platform::kOpenWrite | platform::kOpenCreate);
    if (!lock) {
        // On a full disk a vault of an earlier program still opens.
        if (!alone) {
            return nullptr;
        }
        throw StorageError(kVaultReadOnly, "cannot lock the vault at " + place.native + ": " +
                                               platform::ToUtf8(platform::ErrorText(platform::LastError())));
    }
    if (!lock->TryLock(alone)) {
        throw StorageError(kConnectionFailed,
                           alone ? "the vault at " + place.native +
                                       " is in use: stop what works with it, the service too, and try again"
                                 : "the vault at " + place.native + " is being repaired");
    }
    return lock;
}

bool VaultLiesAt(const std::string& nativeFolder) {
    const ServiceResult found = AtServiceEdge([&] {
        RequireCatalog(VaultPlace(nativeFolder));
        return ServiceResult();
    });
    return found.code != kVaultMissing && found.code != kInvalidRequest;
}

ServiceResult EmbeddedService::Create(const std::string& nativeFolder) {
    return AtServiceEdge([&] {
        CreateVault(VaultPlace(nativeFolder));
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::Open(const std::string& nativeFolder, const VaultOptions& options,
                                    std::unique_ptr<EmbeddedService>& service) {
    return AtServiceEdge([&] {
        service = OpenVault(VaultPlace(nativeFolder), options);
        return ServiceResult();
    });
}

}  // namespace rampart
