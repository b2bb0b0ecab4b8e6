// The records of the catalog on one connection. The caller holds a transaction.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "storage/sqlite_connection.h"
#include "storage/storage_service.h"

namespace rampart {

class SqliteTree {
public:
    explicit SqliteTree(SqliteConnection& connection) : m_connection(connection) {}

    struct Place {
        int64_t parent = 0;
        std::string name;  // as it is stored
    };

    // kNotFound if there is no such folder.
    int64_t RequireFolder(std::string_view path);
    // Each name exactly; none if there is no such folder.
    std::optional<int64_t> FindExactFolder(std::string_view path);
    // kNotFound if there is no such record; the root is one.
    Place RequirePlace(std::string_view path);
    // The stored name: the exact one, or else one that differs only in case.
    std::optional<std::string> FindName(int64_t parent, std::string_view name);

    // False if that exact name does not exist.
    bool Load(const Place& place, StoredRecord& record);
    bool LoadFolder(int64_t id, StoredRecord& record);
    std::string FolderPath(int64_t id);

    // Direct entries in name order; false if the visitor ended it.
    bool List(int64_t parent, const RecordVisitor& visit);

    // The id of the folder that once had that exact name, if no folder has it now.
    std::optional<int64_t> FindPast(int64_t parent, std::string_view name);
    // Keeps the life of a folder that is gone; its record may then be another one.
    void KeepPast(const Place& place);

    // The next change sequence; written at once.
    int64_t RaiseSequence();
    int64_t Sequence();
    // Reserves `count` record ids and gives the first.
    int64_t TakeIds(int64_t count);
    // A folder whose entries changed by `itemDelta` in number.
    void TouchFolder(int64_t id, int64_t itemDelta, int64_t sequence);

    // Columns that ReadRecord takes, in its order; the query must give them first.
    static void ReadRecord(const SqliteStatement& row, StoredRecord& record);

private:
    std::optional<int64_t> FindFolder(int64_t parent, std::string_view name);
    std::optional<int64_t> FindExactFolder(int64_t parent, std::string_view name);

    SqliteConnection& m_connection;
};

#define RAMPART_RECORD_COLUMNS \
    "id, name, kind, flags, size, modified, created, stored, items, description, touched, attribute, gone"
#define RAMPART_RECORD_COLUMN_COUNT 13

}  // namespace rampart
