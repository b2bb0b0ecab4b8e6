// The catalog's tables. A change of them raises kCatalogVersion and adds a step to the way from the version
// before.
#pragma once

#include <cstdint>

#include "storage/sqlite_connection.h"

namespace rampart {

inline constexpr int64_t kCatalogVersion = 2;
inline constexpr int64_t kCatalogApplicationId = 0x524D5056;  // "RMPV"
inline constexpr int64_t kRootFolderId = 1;
inline constexpr int64_t kFirstRecordId = 1000001;

// Values of record.kind.
enum RecordKind : int64_t { kKindFile = 0, kKindFolder = 1, kKindPartial = 2 };

// Makes the tables in a new database. kNameTaken if it holds tables already.
void CreateCatalogSchema(SqliteConnection& connection, int64_t nowNs);

// Throws kVaultMissing if the database is no catalog, kVaultNewer if a later program made it.
void CheckCatalogSchema(SqliteConnection& connection, const std::string& vaultName);

// Takes a catalog of an earlier format over, in one transaction; nothing of it is lost. Programs that know no
// more than the earlier format refuse the vault from then on.
void UpgradeCatalogSchema(SqliteConnection& connection);

// Lets this connection read a catalog of an earlier format that cannot be changed as if it were of this one.
void ShowAsPresentSchema(SqliteConnection& connection);

}  // namespace rampart
