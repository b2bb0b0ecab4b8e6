#include "storage/sqlite_connection.h"

#include <cerrno>

#include "storage/storage_error.h"

namespace rampart {
namespace {

bool IsDiskFull(sqlite3* database, int extended) {
    if ((extended & 0xff) == SQLITE_FULL || extended == SQLITE_IOERR_SHMSIZE) {
        return true;
    }
    return (extended & 0xff) == SQLITE_IOERR && sqlite3_system_errno(database) == ENOSPC;
}

}  // namespace

SqliteStatement::~SqliteStatement() {
    sqlite3_reset(statement_);
}

void SqliteStatement::Check(int result) const {
    if (result != SQLITE_OK) {
        owner_.Fail(result);
    }
}

SqliteStatement& SqliteStatement::Bind(int parameter, int64_t value) {
    Check(sqlite3_bind_int64(statement_, parameter, value));
    return *this;
}

SqliteStatement& SqliteStatement::BindText(int parameter, std::string_view text) {
    Check(sqlite3_bind_text(statement_, parameter, text.empty() ? "" : text.data(), static_cast<int>(text.size()),
                            SQLITE_STATIC));
    return *this;
}

SqliteStatement& SqliteStatement::BindBlob(int parameter, std::string_view bytes) {
    Check(sqlite3_bind_blob64(statement_, parameter, bytes.data(), bytes.size(), SQLITE_STATIC));
    return *this;
}

SqliteStatement& SqliteStatement::BindNull(int parameter) {
    Check(sqlite3_bind_null(statement_, parameter));
    return *this;
}

bool SqliteStatement::Step() {
    const int result = sqlite3_step(statement_);
    if (result == SQLITE_ROW) {
        return true;
    }
    if (result != SQLITE_DONE) {
        owner_.Fail(result);
    }
    return false;
}

void SqliteStatement::Run() {
    Step();
    Reset();
}

void SqliteStatement::Reset() {
    sqlite3_reset(statement_);
}

std::string_view SqliteStatement::Bytes(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return {data, static_cast<size_t>(sqlite3_column_bytes(statement_, column))};
}

SqliteConnection::SqliteConnection(const std::string& path, const std::string& vaultName, const Settings& settings)
    : vaultName_(vaultName) {
    int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    flags |= settings.readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    flags |= settings.create ? SQLITE_OPEN_CREATE : 0;
    sqlite3* database = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &database, flags, nullptr);
    database_.reset(database);
    if (result != SQLITE_OK) {
        Fail(result);
    }
    sqlite3_busy_timeout(database, settings.busyTimeoutMs);
    Execute(("PRAGMA foreign_keys=ON; PRAGMA synchronous=FULL; PRAGMA wal_autocheckpoint=8192;"
             "PRAGMA journal_size_limit=67108864; PRAGMA cache_size=-" +
             std::to_string(settings.cacheKibibytes))
                .c_str());
}

SqliteStatement SqliteConnection::Prepare(const char* sql) {
    auto& statement = statements_[sql];
    if (!statement) {
        sqlite3_stmt* prepared = nullptr;
        const int result = sqlite3_prepare_v3(database_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
        if (result != SQLITE_OK) {
            Fail(result);
        }
        statement.reset(prepared);
    }
    return SqliteStatement(*this, statement.get());
}

void SqliteConnection::Execute(const char* sql) {
    const int result = sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) {
        Fail(result);
    }
}

int64_t SqliteConnection::Number(const char* sql) {
    SqliteStatement statement = Prepare(sql);
    return statement.Step() ? statement.Int(0) : 0;
}

void SqliteConnection::Fail(int result) const {
    sqlite3* database = database_.get();
    const int extended = database != nullptr ? sqlite3_extended_errcode(database) : result;
    const std::string reason = database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(result);
    const std::string catalog = "the catalog of the vault at " + vaultName_;
    if (IsDiskFull(database, extended)) {
        throw StorageError(kNoSpace, "the disk of the vault at " + vaultName_ + " is full");
    }
    switch (extended & 0xff) {
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            throw StorageError(kVaultDamaged, catalog + " is damaged: " + reason +
                                                  "; its packs are untouched; restore a snapshot of the catalog with "
                                                  "the vault's repair");
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            throw StorageError(kConnectionFailed, catalog + " is kept busy by another process");
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            throw StorageError(kVaultReadOnly, catalog + " cannot be written: " + reason);
        case SQLITE_CANTOPEN:
            throw StorageError(kVaultReadOnly, catalog + " cannot be opened: " + reason);
        case SQLITE_NOMEM:
            throw std::bad_alloc();
        default:
            throw StorageError(kFailed, catalog + ": " + reason);
    }
}

SqliteTransaction::SqliteTransaction(SqliteConnection& connection, Kind kind) : connection_(connection) {
    SqliteStatement statement = connection_.Prepare(kind == kWrite ? "BEGIN IMMEDIATE" : "BEGIN");
    statement.Run();
}

SqliteTransaction::~SqliteTransaction() {
    if (open_) {
        try {
            connection_.Execute("ROLLBACK");
        } catch (...) {
            // A failure that had ended the transaction by itself.
        }
    }
}

void SqliteTransaction::Commit() {
    SqliteStatement statement = connection_.Prepare("COMMIT");
    statement.Run();
    open_ = false;
}

}  // namespace rampart
