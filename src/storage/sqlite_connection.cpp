#include "storage/sqlite_connection.h"

#include <cerrno>

#include "platform/memory_map.h"
#include "storage/storage_error.h"
#include "storage/vault_horizon.h"

namespace rampart {
namespace {

bool IsDiskFull(sqlite3* database, int extended) {
    if ((extended & 0xff) == SQLITE_FULL || extended == SQLITE_IOERR_SHMSIZE ||
        extended == SQLITE_IOERR_SHMMAP) {
        return true;
    }
    const int primary = extended & 0xff;
    return (primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN) &&
           sqlite3_system_errno(database) == ENOSPC;
}

constexpr char kAloneSystem[] = "unix-excl";  // SQLite's name for the way that shares with nobody

// The shared memory of the log is a file of holes to SQLite; on a full disk they would end the process.
void ReserveSharedMemory() {
    static const bool done = [] {
        sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
        const platform::SystemCall map = platform::ReservingMemoryMap();
        if (map != nullptr && system != nullptr && system->iVersion >= 3) {
            system->xSetSystemCall(system, "mmap", map);
        }
        return true;
    }();
    static_cast<void>(done);
}

std::string ImmutableAddress(const std::string& path) {
    std::string address = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            constexpr char kDigits[] = "0123456789abcdef";
            address.append({'%', kDigits[static_cast<unsigned char>(c) >> 4], kDigits[c & 15]});
        } else {
            address.push_back(c);
        }
    }
    return address + "?immutable=1";
}

}  // namespace

SqliteStatement::~SqliteStatement() {
    sqlite3_reset(m_statement);
}

void SqliteStatement::Check(int result) const {
    if (result != SQLITE_OK) {
        m_owner.Fail(result);
    }
}

SqliteStatement& SqliteStatement::Bind(int parameter, int64_t value) {
    Check(sqlite3_bind_int64(m_statement, parameter, value));
    return *this;
}

SqliteStatement& SqliteStatement::BindText(int parameter, std::string_view text) {
    Check(sqlite3_bind_text(m_statement, parameter, text.empty() ? "" : text.data(),
                            static_cast<int>(text.size()), SQLITE_STATIC));
    return *this;
}

SqliteStatement& SqliteStatement::BindBlob(int parameter, std::string_view bytes) {
    Check(sqlite3_bind_blob64(m_statement, parameter, bytes.data(), bytes.size(), SQLITE_STATIC));
    return *this;
}

SqliteStatement& SqliteStatement::BindNull(int parameter) {
    Check(sqlite3_bind_null(m_statement, parameter));
    return *this;
}

bool SqliteStatement::Step() {
    const int result = sqlite3_step(m_statement);
    if (result == SQLITE_ROW) {
        return true;
    }
    if (result != SQLITE_DONE) {
        m_owner.Fail(result);
    }
    return false;
}

void SqliteStatement::Run() {
    Step();
    Reset();
}

void SqliteStatement::Reset() {
    sqlite3_reset(m_statement);
}

std::string_view SqliteStatement::Bytes(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(m_statement, column));
    return {data, static_cast<size_t>(sqlite3_column_bytes(m_statement, column))};
}

SqliteConnection::SqliteConnection(const std::string& path, const std::string& vaultName,
                                   const Settings& settings)
    : m_vaultName(vaultName) {
    ReserveSharedMemory();
    int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    // To keep others out the file must be open for writing, also by a reader.
    flags |= settings.readOnly && !settings.alone ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    flags |= settings.create ? SQLITE_OPEN_CREATE : 0;
    const std::string name = settings.immutable ? ImmutableAddress(path) : path;
    flags |= settings.immutable ? SQLITE_OPEN_URI : 0;
    sqlite3* database = nullptr;
    const int result =
        sqlite3_open_v2(name.c_str(), &database, flags, settings.alone ? kAloneSystem : nullptr);
    m_database.reset(database);
    if (result != SQLITE_OK) {
        Fail(result);
    }
    sqlite3_busy_timeout(database, settings.busyTimeoutMs);
    Execute(("PRAGMA foreign_keys=ON; PRAGMA synchronous=FULL; PRAGMA wal_autocheckpoint=8192;"
             "PRAGMA journal_size_limit=67108864; PRAGMA cache_size=-" +
             std::to_string(settings.cacheKibibytes))
                .c_str());
    if (settings.readOnly && settings.alone) {
        Execute("PRAGMA query_only=ON");
    }
}

bool SqliteConnection::CanBeAlone() {
    return sqlite3_vfs_find(kAloneSystem) != nullptr;
}

SqliteStatement SqliteConnection::Prepare(const char* sql) {
    auto& statement = m_statements[sql];
    if (!statement) {
        sqlite3_stmt* prepared = nullptr;
        const int result =
            sqlite3_prepare_v3(m_database.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
        if (result != SQLITE_OK) {
            Fail(result);
        }
        statement.reset(prepared);
    }
    return SqliteStatement(*this, statement.get());
}

void SqliteConnection::Execute(const char* sql) {
    const int result = sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) {
        Fail(result);
    }
}

int64_t SqliteConnection::Number(const char* sql) {
    SqliteStatement statement = Prepare(sql);
    return statement.Step() ? statement.Int(0) : 0;
}

void SqliteConnection::Fail(int result) const {
    sqlite3* database = m_database.get();
    const int extended = database != nullptr ? sqlite3_extended_errcode(database) : result;
    const std::string reason = database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(result);
    const std::string catalog = "the catalog of the vault at " + m_vaultName;
    if (IsDiskFull(database, extended)) {
        throw StorageError(kNoSpace, "the disk of the vault at " + m_vaultName + " is full");
    }
    switch (extended & 0xff) {
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            throw StorageError(kVaultDamaged, catalog + " is damaged: " + reason + "; " + kRepairAdvice);
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            throw StorageError(kConnectionFailed, catalog + " is kept busy by another process");
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            throw StorageError(kVaultReadOnly, catalog + " cannot be written: " + reason);
        case SQLITE_CANTOPEN: {
            const int number = sqlite3_system_errno(database);
            const bool forbidden = number == EACCES || number == EPERM || number == EROFS;
            throw StorageError(forbidden ? kVaultReadOnly : kConnectionFailed,
                               catalog + " cannot be opened: " + reason);
        }
        case SQLITE_NOMEM:
            throw std::bad_alloc();
        default:
            throw StorageError(kFailed, catalog + ": " + reason);
    }
}

SqliteTransaction::SqliteTransaction(SqliteConnection& connection, Kind kind) : m_connection(connection) {
    m_connection.Prepare(kind == kWrite ? "BEGIN IMMEDIATE" : "BEGIN").Run();
}

SqliteTransaction::~SqliteTransaction() {
    if (m_open) {
        try {
            m_connection.Prepare("ROLLBACK").Run();
        } catch (...) {
            // A failure that had ended the transaction by itself.
        }
    }
}

void SqliteTransaction::Commit() {
    m_connection.Prepare("COMMIT").Run();
    m_open = false;
}

}  // namespace rampart
