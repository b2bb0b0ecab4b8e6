// Copies of the catalog among the vault's objects, "snapshots/0000000007.catalog", from which a lost or
// damaged one is made anew: a header, then one zstd frame with a checksum that holds a database of all tables
// but the chunks, which the packs hold.
//
// Functions throw StorageError.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "storage/catalog.h"
#include "storage/object_store.h"

namespace rampart {

struct SnapshotInfo {
    std::string key;
    int64_t number = 0;
    int64_t sequence = 0;  // the catalog's change sequence
    int64_t time = 0;      // nanoseconds since 1970 UTC
};

// Those with a sound header, the newest first.
std::vector<SnapshotInfo> ListSnapshots(ObjectStore& store);

// Whether it is time for one: none is there, the catalog changed since, and the newest is `everySeconds` old.
// -1: the more seldom, the larger the catalog is. False also where the disk or the catalog's size forbids it.
bool IsSnapshotDue(Catalog& catalog, ObjectStore& store, int64_t nowNs, int64_t everySeconds);

// Writes one by way of a database whose path begins with `temporaryBase` (native UTF-8), which goes again,
// and removes those that are neither of the newest nor the newest of one of the last days. False if another
// process makes one now.
bool MakeSnapshot(Catalog& catalog, ObjectStore& store, int64_t nowNs, const std::string& temporaryBase);

// Writes the database to `path`, which must not exist; false, and no file, if the snapshot is damaged.
bool UnpackSnapshot(ObjectStore& store, const SnapshotInfo& snapshot, const std::string& path);

}  // namespace rampart
