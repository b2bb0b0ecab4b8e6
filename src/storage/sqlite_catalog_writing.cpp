// The tree as it is changed record by record: folders, names, copies and deletions.
#include "platform/clock.h"
#include "storage/name_folding.h"
#include "storage/server_path.h"
#include "storage/sqlite_catalog.h"
#include "storage/sqlite_schema.h"

namespace rampart {
namespace {

void RequireName(std::string_view name) {
    if (!IsStorableName(name)) {
        throw StorageError(kInvalidRequest, "\"" + std::string(name) + "\" cannot be a name");
    }
}

void BindFolded(SqliteStatement& statement, int parameter, std::string_view name, const std::string& folded) {
    if (folded == name) {
        statement.BindNull(parameter);
    } else {
        statement.BindText(parameter, folded);
    }
}

void DeleteRecord(SqliteConnection& connection, const SqliteTree::Place& place) {
    SqliteStatement remove = connection.Prepare("DELETE FROM record WHERE parent=? AND name=?");
    remove.Bind(1, place.parent).BindText(2, place.name).Run();
}

void DeletePast(SqliteConnection& connection, const SqliteTree::Place& place) {
    SqliteStatement remove = connection.Prepare("DELETE FROM past WHERE parent=? AND name=?");
    remove.Bind(1, place.parent).BindText(2, place.name).Run();
}

int64_t CountItems(SqliteConnection& connection, int64_t folder) {
    SqliteStatement query = connection.Prepare("SELECT count(*) FROM record WHERE parent=?");
    query.Bind(1, folder);
    return query.Step() ? query.Int(0) : 0;
}

// All that lies or once lay below a folder; its own record stays.
void DeleteBelow(SqliteConnection& connection, int64_t folder) {
    std::vector<int64_t> left{folder};
    while (!left.empty()) {
        const int64_t id = left.back();
        left.pop_back();
        SqliteStatement subfolders = connection.Prepare(
            "SELECT id FROM record WHERE parent=?1 AND kind=1 UNION SELECT id FROM past WHERE parent=?1");
        subfolders.Bind(1, id);
        while (subfolders.Step()) {
            left.push_back(subfolders.Int(0));
        }
        SqliteStatement remove = connection.Prepare("DELETE FROM record WHERE parent=?");
        remove.Bind(1, id).Run();
        SqliteStatement removePast = connection.Prepare("DELETE FROM past WHERE parent=?");
        removePast.Bind(1, id).Run();
    }
}

}  // namespace

int64_t SqliteCatalog::CreateFolder(std::string_view path, std::string_view description, uint32_t flags,
                                    int64_t& id) {
    const ServerPathParts parts = SplitLastName(path);
    RequireName(parts.name);
    return Write([&](SqliteConnection& connection) -> int64_t {
        SqliteTree tree(connection);
        const int64_t parent = tree.RequireFolder(parts.folder);
        StoredRecord existing;
        const SqliteTree::Place place{parent, std::string(parts.name)};
        const bool exists = tree.Load(place, existing);
        const bool isGone = (existing.flags & kRecordGone) != 0;
        if (exists && !isGone && !existing.isFolder) {
            throw StorageError(kNameTaken, std::string(path) + " is a file");
        }
        if (exists && !isGone) {
            id = existing.id;
            return 0;
        }
        // A folder that returns is the one it was; so is one of that name that made way for a file.
        if (exists && existing.isFolder) {
            tree.KeepPast(place);
        }
        const auto past = tree.FindPast(parent, parts.name);
        id = past ? *past : tree.TakeIds(1);
        const int64_t items = past ? CountItems(connection, id) : 0;
        if (exists) {
            DeleteRecord(connection, place);
        }
        const int64_t sequence = tree.RaiseSequence();
        const std::string folded = FoldCase(parts.name);
        SqliteStatement insert = connection.Prepare(
            "INSERT INTO record(parent, name, folded, id, kind, flags, size, stored, changed, description, "
            "items) "
            "VALUES(?, ?, ?, ?, 1, ?, 0, ?, ?, ?, ?)");
        insert.Bind(1, parent).BindText(2, parts.name).Bind(4, id).Bind(5, flags);
        insert.Bind(6, platform::CurrentClock().NowNanoseconds()).Bind(7, sequence).BindText(8, description);
        insert.Bind(9, items);
        BindFolded(insert, 3, parts.name, folded);
        insert.Run();
        tree.TouchFolder(parent, exists ? 0 : 1, sequence);
        return sequence;
    });
}

int64_t SqliteCatalog::Rename(std::string_view path, std::string_view newName) {
    RequireName(newName);
    return Write([&](SqliteConnection& connection) -> int64_t {
        SqliteTree tree(connection);
        const SqliteTree::Place place = tree.RequirePlace(path);
        if (place.parent == 0) {
            throw StorageError(kInvalidRequest, "the root has no name");
        }
        if (place.name == newName) {
            return 0;
        }
        StoredRecord taken;
        if (tree.Load({place.parent, std::string(newName)}, taken)) {
            throw StorageError(kNameTaken, std::string(newName) + " exists beside " + std::string(path));
        }
        const int64_t sequence = tree.RaiseSequence();
        const std::string folded = FoldCase(newName);
        SqliteStatement update =
            connection.Prepare("UPDATE record SET name=?1, folded=?2 WHERE parent=?3 AND name=?4");
        update.BindText(1, newName).Bind(3, place.parent).BindText(4, place.name);
        BindFolded(update, 2, newName, folded);
        update.Run();
        SqliteStatement updatePast =
            connection.Prepare("UPDATE OR REPLACE past SET name=?1 WHERE parent=?2 AND name=?3");
        updatePast.BindText(1, newName).Bind(2, place.parent).BindText(3, place.name).Run();
        tree.TouchFolder(place.parent, 0, sequence);
        return sequence;
    });
}

int64_t SqliteCatalog::Describe(std::string_view path, std::string_view description) {
    return Write([&](SqliteConnection& connection) {
        SqliteTree tree(connection);
        const SqliteTree::Place place = tree.RequirePlace(path);
        const int64_t sequence = tree.RaiseSequence();
        SqliteStatement update =
            connection.Prepare("UPDATE record SET description=? WHERE parent=? AND name=?");
        update.BindText(1, description).Bind(2, place.parent).BindText(3, place.name).Run();
        tree.TouchFolder(place.parent == 0 ? kRootFolderId : place.parent, 0, sequence);
        return sequence;
    });
}

int64_t SqliteCatalog::Delete(std::string_view path) {
    const ServerPathParts parts = SplitLastName(path);
    RequireName(parts.name);
    return Write([&](SqliteConnection& connection) -> int64_t {
        SqliteTree tree(connection);
        StoredRecord record;
        const std::optional<int64_t> parent = tree.FindExactFolder(parts.folder);
        if (!parent) {
            return 0;
        }
        const SqliteTree::Place place{*parent, std::string(parts.name)};
        if (!tree.Load(place, record)) {
            return 0;
        }
        const auto past = tree.FindPast(place.parent, place.name);
        if (record.isFolder || past) {
            DeleteBelow(connection, record.isFolder ? record.id : *past);
        }
        DeleteRecord(connection, place);
        DeletePast(connection, place);
        const int64_t sequence = tree.RaiseSequence();
        tree.TouchFolder(place.parent, -1, sequence);
        return sequence;
    });
}

int64_t SqliteCatalog::CopyFile(std::string_view path, std::string_view targetFolder,
                                std::string_view newName, int64_t& id) {
    return Write([&](SqliteConnection& connection) -> int64_t {
        SqliteTree tree(connection);
        const SqliteTree::Place source = tree.RequirePlace(path);
        StoredRecord record;
        tree.Load(source, record);
        if (record.isFolder || (record.flags & kRecordPartial) != 0) {
            throw StorageError(kInvalidRequest, std::string(path) + " is not a whole file");
        }
        SqliteTree::Place target{tree.RequireFolder(targetFolder),
                                 newName.empty() ? source.name : std::string(newName)};
        RequireName(target.name);
        if (target.parent == source.parent && target.name == source.name) {
            id = record.id;
            return 0;
        }
        StoredRecord replaced;
        const bool exists = tree.Load(target, replaced);
        if (exists && replaced.isFolder) {
            throw StorageError(kNameTaken, target.name + " is a folder in " + std::string(targetFolder));
        }
        id = exists ? replaced.id : tree.TakeIds(1);
        const std::string folded = FoldCase(target.name);
        SqliteStatement copy = connection.Prepare(
            "INSERT OR REPLACE INTO record(parent, name, folded, id, kind, flags, size, modified, created, "
            "stored, description, sealed, chunks, touched, attribute, gone)"
            " SELECT ?1, ?2, ?3, ?4, kind, flags, size, modified, created, stored, description, sealed, "
            "chunks, touched, attribute, gone"
            " FROM record WHERE parent=?5 AND name=?6");
        copy.Bind(1, target.parent).BindText(2, target.name).Bind(4, id);
        copy.Bind(5, source.parent).BindText(6, source.name);
        BindFolded(copy, 3, target.name, folded);
        copy.Run();
        const int64_t sequence = tree.RaiseSequence();
        tree.TouchFolder(target.parent, exists ? 0 : 1, sequence);
        return sequence;
    });
}

}  // namespace rampart
