// Checks a vault: its catalog against itself, and the catalog against the packs.
#pragma once

#include "storage/catalog.h"
#include "storage/object_store.h"

namespace rampart {

// kVaultDamaged if a problem was found, kCancelled if the progress call said so. Works on one snapshot of the
// catalog, beside running writers. With `mayMark` damaged chunks are marked, and marks of those that were
// read and found sound go; `marked` says whether files changed by that.
ServiceResult VerifyVault(Catalog& catalog, ObjectStore& store, const VerifyOptions& options,
                          VerifyReport& report, bool mayMark, bool& marked);

}  // namespace rampart
