// Checks a vault: its catalog against itself, and the catalog against the packs.
#pragma once

#include "storage/catalog.h"
#include "storage/object_store.h"

namespace rampart {

// kVaultDamaged if a problem was found, kCancelled if the progress call said so. Works on one snapshot of the
// catalog, beside running writers.
ServiceResult VerifyVault(Catalog& catalog, ObjectStore& store, const VerifyOptions& options,
                          VerifyReport& report);

}  // namespace rampart
