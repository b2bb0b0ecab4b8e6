// The tree as it is read: lookups, listings and what has changed.
#include "storage/sqlite_catalog.h"

#include "storage/chunk_list.h"
#include "storage/server_path.h"
#include "storage/sqlite_schema.h"

namespace rampart {

void SqliteCatalog::FindRecord(std::string_view path, StoredRecord& record) {
    Read([&](SqliteConnection& connection) {
        SqliteTree tree(connection);
        tree.Load(tree.RequirePlace(path), record);
    });
}

int64_t SqliteCatalog::ListFolder(std::string_view path, const RecordVisitor& visit) {
    return Read([&](SqliteConnection& connection) {
        SqliteTree tree(connection);
        tree.List(tree.RequireFolder(path), visit);
        return tree.Sequence();
    });
}

int64_t SqliteCatalog::ListTree(std::string_view path, const FolderVisitor& visit) {
    struct Folder {
        std::string path;
        int64_t id;
    };
    return Read([&](SqliteConnection& connection) {
        SqliteTree tree(connection);
        const int64_t top = tree.RequireFolder(path);
        std::vector<Folder> left{{tree.FolderPath(top), top}};
        std::vector<StoredRecord> records;  // kept for its texts' room
        StoredRecord folder;
        while (!left.empty()) {
            const Folder current = std::move(left.back());
            left.pop_back();
            tree.LoadFolder(current.id, folder);
            size_t count = 0;
            tree.List(current.id, [&](const StoredRecord& record) {
                if (count == records.size()) {
                    records.emplace_back();
                }
                records[count++] = record;
                return true;
            });
            const std::span<const StoredRecord> listed(records.data(), count);
            if (!visit(current.path, folder, listed)) {
                break;
            }
            for (size_t i = count; i-- > 0;) {
                if (records[i].isFolder) {
                    left.push_back({JoinServerPath(current.path, records[i].name), records[i].id});
                }
            }
        }
        return tree.Sequence();
    });
}

int64_t SqliteCatalog::ChangeSequence() {
    std::lock_guard lock(m_watchMutex);
    const int64_t version = m_watch->Number("PRAGMA data_version");
    if (version != m_watchedVersion || m_watchedSequence == 0) {
        m_watchedSequence = m_watch->Number("SELECT sequence FROM state WHERE id=1");
        m_watchedVersion = version;
    }
    return m_watchedSequence;
}

int64_t SqliteCatalog::RecordBound() {
    std::lock_guard lock(m_watchMutex);
    return m_watch->Number("SELECT next_id FROM state WHERE id=1");
}

int64_t SqliteCatalog::ChangedFolders(int64_t since, size_t most, std::vector<std::string>& folders,
                                      bool& tooMany) {
    return Read([&](SqliteConnection& connection) {
        SqliteTree tree(connection);
        std::vector<int64_t> ids;
        SqliteStatement query =
            connection.Prepare("SELECT id FROM record WHERE kind=1 AND changed>?1 LIMIT ?2");
        query.Bind(1, since).Bind(2, static_cast<int64_t>(most) + 1);
        while (query.Step()) {
            ids.push_back(query.Int(0));
        }
        folders.clear();
        tooMany = ids.size() > most;
        if (!tooMany) {
            for (const int64_t id : ids) {
                folders.push_back(tree.FolderPath(id));
            }
        }
        return tree.Sequence();
    });
}

void SqliteCatalog::OpenFile(std::string_view path, FileContent& content) {
    Read([&](SqliteConnection& connection) {
        SqliteTree tree(connection);
        const SqliteTree::Place place = tree.RequirePlace(path);
        SqliteStatement query = connection.Prepare("SELECT " RAMPART_RECORD_COLUMNS
                                                   ", sealed, chunks FROM record WHERE parent=? AND name=?");
        query.Bind(1, place.parent).BindText(2, place.name);
        query.Step();
        SqliteTree::ReadRecord(query, content.record);
        if (content.record.isFolder || (content.record.flags & kRecordPartial) != 0) {
            throw StorageError(kInvalidRequest, std::string(path) + " is not a whole file");
        }
        content.sealedHeader.assign(query.Bytes(RAMPART_RECORD_COLUMN_COUNT));
        if (!UnpackChunkList(query.Bytes(RAMPART_RECORD_COLUMN_COUNT + 1), content.chunks)) {
            throw StorageError(kVaultDamaged, "the chunk list of " + std::string(path) + " is damaged");
        }
    });
}

namespace {

void LocateChunks(SqliteConnection& connection, std::span<const ChunkReference> chunks, LocatedFile& file) {
    SqliteStatement query =
        connection.Prepare("SELECT pack, position, stored, size, flags FROM chunk WHERE digest=?");
    file.isComplete = true;
    file.chunks.clear();
    file.chunks.reserve(chunks.size());
    for (const ChunkReference& chunk : chunks) {
        query.BindBlob(1, chunk.digest.View());
        PlacedChunk placed{chunk.digest, {}};
        if (query.Step() && query.Int(3) == chunk.size) {
            placed.place = {query.Int(0), query.Int(1), static_cast<uint32_t>(query.Int(2)), chunk.size,
                            static_cast<uint32_t>(query.Int(4))};
        } else {
            file.isComplete = false;
        }
        query.Reset();
        file.chunks.push_back(placed);
    }
}

}  // namespace

void SqliteCatalog::LocateFiles(std::string_view folder, std::span<const std::string> names,
                                std::vector<LocatedFile>& files) {
    files.clear();
    files.resize(names.size());
    Read([&](SqliteConnection& connection) {
        SqliteTree tree(connection);
        const std::optional<int64_t> parent = tree.FindExactFolder(folder);
        if (!parent) {
            return;
        }
        SqliteStatement query = connection.Prepare("SELECT " RAMPART_RECORD_COLUMNS
                                                   ", chunks FROM record WHERE parent=? AND name=?");
        std::vector<ChunkReference> chunks;
        for (size_t i = 0; i < names.size(); ++i) {
            query.Bind(1, *parent).BindText(2, names[i]);
            StoredRecord record;
            if (query.Step()) {
                SqliteTree::ReadRecord(query, record);
            }
            const bool isFile = record.id != 0 && !record.isFolder && (record.flags & kRecordPartial) == 0;
            const bool isSound = isFile && UnpackChunkList(query.Bytes(RAMPART_RECORD_COLUMN_COUNT), chunks);
            query.Reset();
            if (isFile) {
                files[i].record = std::move(record);
            }
            if (isSound) {
                LocateChunks(connection, chunks, files[i]);
            }
        }
    });
}

}  // namespace rampart
