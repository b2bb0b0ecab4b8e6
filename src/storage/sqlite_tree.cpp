#include "storage/sqlite_tree.h"

#include "storage/name_folding.h"
#include "storage/server_path.h"
#include "storage/sqlite_schema.h"
#include "storage/storage_error.h"

namespace rampart {

namespace {

constexpr int kDeepest = 65536;  // folders in one another; more are a ring

}  // namespace

std::optional<int64_t> SqliteTree::FindPast(int64_t parent, std::string_view name) {
    SqliteStatement query = m_connection.Prepare("SELECT id FROM past WHERE parent=?1 AND name=?2 LIMIT 1");
    query.Bind(1, parent).BindText(2, name);
    return query.Step() ? std::optional(query.Int(0)) : std::nullopt;
}

void SqliteTree::KeepPast(const Place& place) {
    SqliteStatement insert = m_connection.Prepare(
        "INSERT OR REPLACE INTO past(parent, name, stored, gone, id, flags, modified, touched, attribute, "
        "description)"
        " SELECT parent, name, coalesce(stored, 0), gone, id, flags, modified, touched, attribute, "
        "description"
        " FROM record WHERE parent=?1 AND name=?2 AND kind=1 AND gone IS NOT NULL");
    insert.Bind(1, place.parent).BindText(2, place.name).Run();
}

std::optional<int64_t> SqliteTree::FindExactFolder(int64_t parent, std::string_view name) {
    {
        SqliteStatement exact =
            m_connection.Prepare("SELECT id FROM record WHERE parent=?1 AND name=?2 AND kind=1");
        exact.Bind(1, parent).BindText(2, name);
        if (exact.Step()) {
            return exact.Int(0);
        }
    }
    return FindPast(parent, name);
}

std::optional<int64_t> SqliteTree::FindFolder(int64_t parent, std::string_view name) {
    if (const auto exact = FindExactFolder(parent, name)) {
        return exact;
    }
    const std::string folded = FoldCase(name);
    SqliteStatement anyCase = m_connection.Prepare(
        "SELECT id FROM record WHERE parent=?1 AND name=?2 AND kind=1 UNION ALL "
        "SELECT id FROM record WHERE parent=?1 AND folded=?2 AND kind=1 LIMIT 1");
    anyCase.Bind(1, parent).BindText(2, folded);
    if (anyCase.Step()) {
        return anyCase.Int(0);
    }
    return std::nullopt;
}

int64_t SqliteTree::RequireFolder(std::string_view path) {
    int64_t folder = kRootFolderId;
    for (const std::string_view name : SplitServerPath(path)) {
        const auto next = FindFolder(folder, name);
        if (!next) {
            throw StorageError(kNotFound, "no folder " + std::string(path));
        }
        folder = *next;
    }
    return folder;
}

std::optional<int64_t> SqliteTree::FindExactFolder(std::string_view path) {
    int64_t folder = kRootFolderId;
    for (const std::string_view name : SplitServerPath(path)) {
        const auto next = FindExactFolder(folder, name);
        if (!next) {
            return std::nullopt;
        }
        folder = *next;
    }
    return folder;
}

std::optional<std::string> SqliteTree::FindName(int64_t parent, std::string_view name) {
    {
        SqliteStatement exact = m_connection.Prepare("SELECT 1 FROM record WHERE parent=?1 AND name=?2");
        exact.Bind(1, parent).BindText(2, name);
        if (exact.Step()) {
            return std::string(name);
        }
    }
    const std::string folded = FoldCase(name);
    SqliteStatement anyCase = m_connection.Prepare(
        "SELECT name FROM record WHERE parent=?1 AND name=?2 UNION ALL "
        "SELECT name FROM record WHERE parent=?1 AND folded=?2 LIMIT 1");
    anyCase.Bind(1, parent).BindText(2, folded);
    if (anyCase.Step()) {
        return std::string(anyCase.Bytes(0));
    }
    return std::nullopt;
}

SqliteTree::Place SqliteTree::RequirePlace(std::string_view path) {
    const ServerPathParts parts = SplitLastName(path);
    if (parts.name.empty()) {
        return {0, ""};
    }
    const int64_t parent = RequireFolder(parts.folder);
    auto name = FindName(parent, parts.name);
    if (!name) {
        throw StorageError(kNotFound, "no record " + std::string(path));
    }
    return {parent, std::move(*name)};
}

void SqliteTree::ReadRecord(const SqliteStatement& row, StoredRecord& record) {
    const auto time = [&](int column) { return row.IsNull(column) ? kNoTime : row.Int(column); };
    record.id = row.Int(0);
    record.name.assign(row.Bytes(1));
    const int64_t kind = row.Int(2);
    record.isFolder = kind == kKindFolder;
    record.flags = static_cast<uint32_t>(row.Int(3)) | (kind == kKindPartial ? uint32_t{kRecordPartial} : 0u);
    record.size = row.Int(4);
    record.modifiedTime = time(5);
    record.createdTime = time(6);
    record.storedTime = time(7);
    record.subItemCount = row.Int(8);
    record.description.assign(row.Bytes(9));
    record.changeTime = time(10);
    record.attributes = row.Int(11);
    record.goneTime = time(12);
    if (record.goneTime != kNoTime) {
        record.flags |= kRecordGone;
    }
}

bool SqliteTree::Load(const Place& place, StoredRecord& record) {
    SqliteStatement query =
        m_connection.Prepare("SELECT " RAMPART_RECORD_COLUMNS " FROM record WHERE parent=? AND name=?");
    query.Bind(1, place.parent).BindText(2, place.name);
    if (!query.Step()) {
        return false;
    }
    ReadRecord(query, record);
    return true;
}

bool SqliteTree::LoadFolder(int64_t id, StoredRecord& record) {
    SqliteStatement query =
        m_connection.Prepare("SELECT " RAMPART_RECORD_COLUMNS " FROM record WHERE id=? AND kind=1");
    query.Bind(1, id);
    if (!query.Step()) {
        return false;
    }
    ReadRecord(query, record);
    return true;
}

std::string SqliteTree::FolderPath(int64_t id) {
    std::string path;
    for (int depth = 0; id != kRootFolderId; depth++) {
        SqliteStatement query = m_connection.Prepare(
            "SELECT parent, name FROM record WHERE id=?1 AND kind=1 UNION ALL"
            " SELECT parent, name FROM past WHERE id=?1 LIMIT 1");
        query.Bind(1, id);
        if (!query.Step() || depth > kDeepest) {
            throw StorageError(kVaultDamaged, "a folder of the catalog hangs nowhere");
        }
        path.insert(0, "\\" + std::string(query.Bytes(1)));
        id = query.Int(0);
    }
    return path.empty() ? "\\" : path;
}

bool SqliteTree::List(int64_t parent, const RecordVisitor& visit) {
    SqliteStatement query =
        m_connection.Prepare("SELECT " RAMPART_RECORD_COLUMNS " FROM record WHERE parent=? ORDER BY name");
    query.Bind(1, parent);
    StoredRecord record;
    while (query.Step()) {
        ReadRecord(query, record);
        if (!visit(record)) {
            return false;
        }
    }
    return true;
}

int64_t SqliteTree::RaiseSequence() {
    SqliteStatement update =
        m_connection.Prepare("UPDATE state SET sequence = sequence + 1 WHERE id=1 RETURNING sequence");
    if (!update.Step()) {
        throw StorageError(kVaultDamaged, "the catalog's state row is missing");
    }
    return update.Int(0);
}

int64_t SqliteTree::Sequence() {
    return m_connection.Number("SELECT sequence FROM state WHERE id=1");
}

int64_t SqliteTree::TakeIds(int64_t count) {
    SqliteStatement update =
        m_connection.Prepare("UPDATE state SET next_id = next_id + ? WHERE id=1 RETURNING next_id");
    update.Bind(1, count);
    if (!update.Step()) {
        throw StorageError(kVaultDamaged, "the catalog's state row is missing");
    }
    return update.Int(0) - count;
}

void SqliteTree::TouchFolder(int64_t id, int64_t itemDelta, int64_t sequence) {
    SqliteStatement update =
        m_connection.Prepare("UPDATE record SET items = items + ?1, changed = ?2 WHERE id=?3 AND kind=1");
    update.Bind(1, itemDelta).Bind(2, sequence).Bind(3, id).Run();
}

}  // namespace rampart
