// How far a vault had come when a writer left it: a note beside the catalog, by which a catalog that is older
// than its packs is known.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "storage/catalog.h"
#include "storage/object_store.h"

namespace rampart {

struct VaultHorizon {
    int64_t sequence = 0;          // the catalog's change sequence
    std::vector<PackState> packs;  // those that still grow, and the newest
};

VaultHorizon HorizonOf(Catalog& catalog);

// These throw StorageError. A note that is missing or damaged claims nothing.
std::optional<VaultHorizon> LoadHorizon(ObjectStore& store);
void StoreHorizon(ObjectStore& store, const VaultHorizon& horizon);

// Says what the catalog lacks; empty if it is as new as the note and knows every pack that is there. With
// `looksAtPacks` the packs are listed for it.
std::string LackOfCatalog(Catalog& catalog, ObjectStore& store, bool looksAtPacks);

// The end of each message about a catalog that cannot be used.
inline constexpr char kRepairAdvice[] = "its packs are untouched; \"rampart vault repair\" makes it anew";

}  // namespace rampart
