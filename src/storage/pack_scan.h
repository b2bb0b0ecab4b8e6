// Finds the intact entries of a pack without the catalog.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "storage/catalog.h"
#include "storage/object_store.h"

namespace rampart {

struct PackScan {
    bool isPack = false;  // whether the object begins as a pack
    std::vector<PlacedChunk> entries;
    int64_t end = 0;  // behind the last intact entry, or behind the pack's header
};

// Looks from `from` (0: from the start) to the object's end at `size`. Bytes that are no intact entry are
// passed over, and what follows them is found. With `checkAll` the stored bytes of each entry are checked;
// without it only those of entries that no other one follows directly, since a writer appends in order.
// Throws StorageError. Any thread.
PackScan ScanPack(ObjectStore& store, int64_t packId, int64_t from, int64_t size, bool checkAll);

// The packs that the store holds by name, in order, with their sizes.
struct StoredPack {
    int64_t id = 0;
    int64_t size = 0;
};
std::vector<StoredPack> ListPacks(ObjectStore& store);

}  // namespace rampart
