// One connection to the catalog's database, and prepared statements on it.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace rampart {

// A prepared statement in use; reset when it goes out of scope. Columns count from 0, parameters from 1.
// Failures throw StorageError.
class SqliteStatement {
public:
    SqliteStatement(const class SqliteConnection& owner, sqlite3_stmt* statement)
        : m_owner(owner), m_statement(statement) {}
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    // Texts and blobs are borrowed until the next Reset or the end of this object.
    SqliteStatement& Bind(int parameter, int64_t value);
    SqliteStatement& BindText(int parameter, std::string_view text);
    SqliteStatement& BindBlob(int parameter, std::string_view bytes);
    SqliteStatement& BindNull(int parameter);

    bool Step();  // true: there is a row
    void Run();   // a statement without rows, or whose rows do not matter; can be run again with other values
    void Reset();

    int64_t Int(int column) const { return sqlite3_column_int64(m_statement, column); }
    bool IsNull(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }
    std::string_view Bytes(int column) const;  // a text or a blob, until the next step

private:
    void Check(int result) const;

    const SqliteConnection& m_owner;
    sqlite3_stmt* m_statement;
};

// One thread at a time.
class SqliteConnection {
public:
    struct Settings {
        bool readOnly = false;
        bool create = false;
        bool immutable = false;  // a read-only medium: no locks, no log
        bool alone = false;      // for this process only, which needs no shared memory and no room for it
        int busyTimeoutMs = 30000;
        int cacheKibibytes = 8192;
    };
    // `path` is native UTF-8. `vaultName` is for messages.
    SqliteConnection(const std::string& path, const std::string& vaultName, const Settings& settings);

    // Whether this system knows that way.
    static bool CanBeAlone();

    // `sql` must be a literal: statements are kept by its address.
    SqliteStatement Prepare(const char* sql);
    void Execute(const char* sql);    // one or several statements without parameters
    int64_t Number(const char* sql);  // first column of the first row

    // Throws a StorageError for the last failure of this connection.
    [[noreturn]] void Fail(int result) const;

private:
    struct CloseDatabase {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    struct FinalizeStatement {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    const std::string m_vaultName;
    std::unique_ptr<sqlite3, CloseDatabase> m_database;
    std::unordered_map<const char*, std::unique_ptr<sqlite3_stmt, FinalizeStatement>> m_statements;
};

// Rolls back unless committed.
class SqliteTransaction {
public:
    enum Kind { kRead, kWrite };
    SqliteTransaction(SqliteConnection& connection, Kind kind);
    ~SqliteTransaction();
    SqliteTransaction(const SqliteTransaction&) = delete;
    SqliteTransaction& operator=(const SqliteTransaction&) = delete;
    void Commit();

private:
    SqliteConnection& m_connection;
    bool m_open = true;
};

}  // namespace rampart
