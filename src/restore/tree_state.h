// The stored tree in the state that is wanted, folder by folder.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "restore/vault_restore.h"
#include "storage/storage_service.h"

namespace rampart {

// One file, link or folder of the state.
struct StateEntry {
    StoredRecord record;  // `name` is the one in the tree, also of an older version
    // Where its content is stored: its own folder and name, or those of the version.
    std::string contentFolder;
    std::string contentName;
    // A folder that is younger than the moment: it is part of the state only by what lies below it.
    bool isImplied = false;
};

class TreeState {
public:
    virtual ~TreeState() = default;
    // What a folder holds in the state, in name order; a server path of exact names.
    virtual ServiceResult Entries(const std::string& folder, std::vector<StateEntry>& entries) = 0;
    // A single file, link or folder. kNotFound if it is not part of the state.
    virtual ServiceResult Entry(const std::string& path, StateEntry& entry) = 0;
    // Of all that was looked at so far: entries that are not part of the state, and the earliest moment at
    // which one was stored (kNoTime if there was none).
    virtual int64_t NotInState() const = 0;
    virtual int64_t FirstStored() const = 0;
};

// Over listings of folders, and of the folders of versions where a file is younger than the moment.
std::unique_ptr<TreeState> StateOf(StorageService& service, const StateWish& wish);

// A server path with its names as they are stored, and its record. kNotFound if there is none.
ServiceResult ExactPath(StorageService& service, const std::string& path, std::string& exact,
                        StoredRecord& record);

// A folder's records, out of the service's hands. Its code kNotFound is no entries with `orNone`.
ServiceResult ReadFolder(StorageService& service, const std::string& folder, bool orNone,
                         std::vector<StoredRecord>& records);

}  // namespace rampart
