// The catalog's tables. A change of them raises kCatalogVersion and adds a step to the way from the version
// before.
#pragma once

#include <cstdint>

#include "storage/sqlite_connection.h"

namespace rampart {

inline constexpr int64_t kCatalogVersion = 1;
inline constexpr int64_t kCatalogApplicationId = 0x524D5056;  // "RMPV"
inline constexpr int64_t kRootFolderId = 1;
inline constexpr int64_t kFirstRecordId = 1000001;

// Values of record.kind.
enum RecordKind : int64_t { kKindFile = 0, kKindFolder = 1, kKindPartial = 2 };

// Makes the tables in a new database. kNameTaken if it holds tables already.
void CreateCatalogSchema(SqliteConnection& connection, int64_t nowNs);

// Throws kVaultMissing if the database is no catalog, kVaultNewer if a later program made it.
void CheckCatalogSchema(SqliteConnection& connection, const std::string& vaultName);

}  // namespace rampart
