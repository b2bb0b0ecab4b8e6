#include "storage/sqlite_schema.h"

#include "storage/storage_error.h"

namespace rampart {
namespace {

// record: one row a file or folder, kept in the order of a listing. `folded` is the name without case, null
// where the name is so already. `items` and `changed` belong to folders: the number of entries, and the
// change sequence of the last change to one of them. `chunks` holds 36 bytes a chunk, digest and size.
// `touched` is the local change time, `attribute` names a row of that table, `gone` is the moment of the look
// that did not find the record any more.
//
// attribute: what local systems knew of files, each text once; the id is made from the bytes.
//
// past: earlier lives of folders, from `stored` until `gone`. A folder that returns under its name has its
// old id again, so that one id stands for all folders of that name, and what lies below is found at any
// moment.
//
// damaged: chunks whose stored bytes were found damaged, until they are stored anew.
//
// chunk: where content lies. Keyed by the digest, so that it can be made anew from the packs alone.
constexpr char kTables[] = R"sql(
CREATE TABLE state(
    id INTEGER PRIMARY KEY CHECK(id = 1),
    sequence INTEGER NOT NULL,
    next_id INTEGER NOT NULL);

CREATE TABLE record(
    parent INTEGER NOT NULL,
    name TEXT NOT NULL,
    folded TEXT,
    id INTEGER NOT NULL,
    kind INTEGER NOT NULL,
    flags INTEGER NOT NULL,
    size INTEGER NOT NULL,
    modified INTEGER,
    created INTEGER,
    stored INTEGER,
    items INTEGER NOT NULL DEFAULT 0,
    changed INTEGER NOT NULL DEFAULT 0,
    description TEXT,
    sealed BLOB,
    chunks BLOB,
    touched INTEGER,
    attribute INTEGER,
    gone INTEGER,
    PRIMARY KEY(parent, name)) WITHOUT ROWID;
CREATE UNIQUE INDEX folder_by_id ON record(id) WHERE kind = 1;
CREATE INDEX folder_by_parent ON record(parent) WHERE kind = 1;
CREATE INDEX folder_by_change ON record(changed) WHERE kind = 1;
CREATE INDEX partial_by_parent ON record(parent) WHERE kind = 2;
CREATE INDEX record_by_folded ON record(parent, folded) WHERE folded IS NOT NULL;

CREATE TABLE pack(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    bytes INTEGER NOT NULL,
    sealed INTEGER NOT NULL,
    created INTEGER NOT NULL);
CREATE INDEX pack_unsealed ON pack(id) WHERE sealed = 0;

CREATE TABLE chunk(
    digest BLOB PRIMARY KEY,
    pack INTEGER NOT NULL REFERENCES pack(id),
    position INTEGER NOT NULL,
    stored INTEGER NOT NULL,
    size INTEGER NOT NULL,
    flags INTEGER NOT NULL) WITHOUT ROWID;

CREATE TABLE setting(
    name TEXT PRIMARY KEY,
    value TEXT NOT NULL) WITHOUT ROWID;

CREATE TABLE task(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    name TEXT NOT NULL,
    folded TEXT NOT NULL UNIQUE,
    columns TEXT NOT NULL);
CREATE TABLE task_path(
    id INTEGER PRIMARY KEY,
    task INTEGER NOT NULL REFERENCES task(id) ON DELETE CASCADE,
    path TEXT NOT NULL,
    serial TEXT NOT NULL,
    is_folder INTEGER NOT NULL,
    UNIQUE(task, path));
)sql";

constexpr char kTablesOfFormat2[] = R"sql(
CREATE TABLE attribute(
    id INTEGER PRIMARY KEY,
    bytes BLOB NOT NULL);

CREATE TABLE damaged(
    digest BLOB PRIMARY KEY) WITHOUT ROWID;

CREATE TABLE past(
    parent INTEGER NOT NULL,
    name TEXT NOT NULL,
    stored INTEGER NOT NULL,
    gone INTEGER NOT NULL,
    id INTEGER NOT NULL,
    flags INTEGER NOT NULL,
    modified INTEGER,
    touched INTEGER,
    attribute INTEGER,
    description TEXT,
    PRIMARY KEY(parent, name, stored)) WITHOUT ROWID;
CREATE INDEX past_by_id ON past(id);
)sql";

constexpr char kColumnsOfFormat2[] = R"sql(
ALTER TABLE record ADD COLUMN touched INTEGER;
ALTER TABLE record ADD COLUMN attribute INTEGER;
ALTER TABLE record ADD COLUMN gone INTEGER;
)sql";

// Views and tables of the connection's own come before those of the database.
constexpr char kFormat1As2[] = R"sql(
CREATE TEMP VIEW record AS
    SELECT *, NULL AS touched, NULL AS attribute, NULL AS gone FROM main.record;
CREATE TEMP TABLE attribute(
    id INTEGER PRIMARY KEY,
    bytes BLOB NOT NULL);
CREATE TEMP TABLE damaged(
    digest BLOB PRIMARY KEY) WITHOUT ROWID;
CREATE TEMP TABLE past(
    parent INTEGER, name TEXT, stored INTEGER, gone INTEGER, id INTEGER, flags INTEGER, modified INTEGER,
    touched INTEGER, attribute INTEGER, description TEXT);
)sql";

}  // namespace

void CreateCatalogSchema(SqliteConnection& connection, int64_t nowNs) {
    connection.Execute("PRAGMA journal_mode=WAL");
    SqliteTransaction transaction(connection, SqliteTransaction::kWrite);
    if (connection.Number("SELECT count(*) FROM sqlite_master") > 0) {
        throw StorageError(kNameTaken, "there is a database at this place already");
    }
    connection.Execute(kTables);
    connection.Execute(kTablesOfFormat2);
    SqliteStatement state = connection.Prepare("INSERT INTO state(id, sequence, next_id) VALUES(1, 1, ?)");
    state.Bind(1, kFirstRecordId).Run();
    SqliteStatement root = connection.Prepare(
        "INSERT INTO record(parent, name, id, kind, flags, size, stored, changed) VALUES(0, '', ?, 1, 0, 0, "
        "?, 1)");
    root.Bind(1, kRootFolderId).Bind(2, nowNs).Run();
    connection.Execute(("PRAGMA application_id=" + std::to_string(kCatalogApplicationId)).c_str());
    connection.Execute(("PRAGMA user_version=" + std::to_string(kCatalogVersion)).c_str());
    transaction.Commit();
}

void CheckCatalogSchema(SqliteConnection& connection, const std::string& vaultName) {
    if (connection.Number("PRAGMA application_id") != kCatalogApplicationId) {
        throw StorageError(kVaultMissing,
                           vaultName + " is not a vault: its catalog.db is another program's database");
    }
    const int64_t version = connection.Number("PRAGMA user_version");
    if (version > kCatalogVersion) {
        throw StorageError(kVaultNewer, "the vault at " + vaultName + " has format " +
                                            std::to_string(version) + ", this program knows formats up to " +
                                            std::to_string(kCatalogVersion));
    }
    if (version < 1) {
        throw StorageError(kVaultDamaged,
                           "the catalog of the vault at " + vaultName + " has no format number");
    }
}

void UpgradeCatalogSchema(SqliteConnection& connection) {
    if (connection.Number("PRAGMA user_version") == kCatalogVersion) {
        return;
    }
    SqliteTransaction transaction(connection, SqliteTransaction::kWrite);
    // Asked again under the lock: another process may have been first.
    if (connection.Number("PRAGMA user_version") == 1) {
        connection.Execute(kColumnsOfFormat2);
        connection.Execute(kTablesOfFormat2);
        connection.Execute(("PRAGMA user_version=" + std::to_string(kCatalogVersion)).c_str());
    }
    transaction.Commit();
}

void ShowAsPresentSchema(SqliteConnection& connection) {
    if (connection.Number("PRAGMA user_version") == 1) {
        connection.Execute("PRAGMA temp_store=MEMORY");
        connection.Execute(kFormat1As2);
    }
}

}  // namespace rampart
