// Uploaded content enters the catalog: chunks, packs and files in one transaction.
#include <algorithm>
#include <map>

#include "platform/clock.h"
#include "storage/chunk_list.h"
#include "storage/name_folding.h"
#include "storage/server_path.h"
#include "storage/sqlite_attributes.h"
#include "storage/sqlite_catalog.h"
#include "storage/sqlite_damage.h"
#include "storage/sqlite_schema.h"

namespace rampart {
namespace {

constexpr char kPartialSuffix[] = ".part";

// One commit on the writing connection.
class CommitRun {
public:
    CommitRun(SqliteConnection& connection, const CatalogCommit& commit)
        : m_connection(connection), m_tree(connection), m_attributes(connection), m_commit(commit) {}

    int64_t Run(std::vector<int64_t>& ids) {
        StorePacks();
        StoreChunks();
        StoreFiles(ids);
        StorePartial();
        if (!m_treeChanged) {
            return 0;
        }
        const int64_t sequence = m_tree.RaiseSequence();
        for (const auto& [folder, delta] : m_touched) {
            m_tree.TouchFolder(folder, delta, sequence);
        }
        return sequence;
    }

private:
    void StorePacks() {
        SqliteStatement update =
            m_connection.Prepare("UPDATE pack SET bytes=max(bytes, ?1), sealed=max(sealed, ?2) WHERE id=?3");
        for (const PackState& pack : m_commit.packs) {
            update.Bind(1, pack.bytes).Bind(2, pack.sealed ? 1 : 0).Bind(3, pack.id).Run();
        }
    }

    void StoreChunks() {
        SqliteStatement insert = m_connection.Prepare(
            "INSERT INTO chunk(digest, pack, position, stored, size, flags) VALUES(?, ?, ?, ?, ?, ?)"
            " ON CONFLICT(digest) DO UPDATE SET pack=excluded.pack, position=excluded.position,"
            " stored=excluded.stored, size=excluded.size, flags=excluded.flags"
            " WHERE EXISTS(SELECT 1 FROM damaged d WHERE d.digest=excluded.digest)");
        // In the order of the table, so that neighbours find their page at hand.
        std::vector<PlacedChunk> chunks(m_commit.chunks.begin(), m_commit.chunks.end());
        std::sort(chunks.begin(), chunks.end(),
                  [](const PlacedChunk& a, const PlacedChunk& b) { return a.digest < b.digest; });
        m_newChunks.reserve(chunks.size());
        for (const PlacedChunk& chunk : chunks) {
            const ChunkPlace& place = chunk.place;
            insert.BindBlob(1, chunk.digest.View()).Bind(2, place.pack).Bind(3, place.offset);
            insert.Bind(4, place.storedSize).Bind(5, place.size).Bind(6, place.flags).Run();
            m_newChunks.emplace(chunk.digest, place.size);
        }
        SqliteDamage damage(m_connection);
        if (!chunks.empty() && damage.Any()) {
            std::vector<Digest> stored;
            std::transform(chunks.begin(), chunks.end(), std::back_inserter(stored),
                           [](const PlacedChunk& chunk) { return chunk.digest; });
            for (const int64_t folder : damage.Heal(stored)) {
                Touch(folder, 0);
            }
        }
    }

    void StoreFiles(std::vector<int64_t>& ids) {
        ids.clear();
        if (m_commit.files.empty()) {
            return;
        }
        m_now = platform::CurrentClock().NowNanoseconds();
        m_anyPartial = m_connection.Number("SELECT EXISTS(SELECT 1 FROM record WHERE kind=2)") != 0;
        m_nextId = m_tree.TakeIds(static_cast<int64_t>(m_commit.files.size()));
        SqliteStatement insert = m_connection.Prepare(
            "INSERT OR REPLACE INTO record(parent, name, folded, id, kind, flags, size, modified, created, "
            "stored,"
            " description, sealed, chunks, touched, attribute) VALUES(?, ?, ?, ?, 0, ?, ?, ?, ?, ?, ?, ?, ?, "
            "?,"
            " ?)");
        for (const FileCommit& file : m_commit.files) {
            ids.push_back(StoreFile(file, insert));
        }
    }

    int64_t StoreFile(const FileCommit& file, SqliteStatement& insert) {
        if (!IsStorableName(file.name)) {
            throw StorageError(kInvalidRequest, "\"" + file.name + "\" cannot be a name");
        }
        CheckContent(file);
        const int64_t folder = FolderOf(file.folder);
        int64_t id = ExistingFile(folder, file.name);
        const bool isNew = id == 0;
        if (isNew) {
            id = m_nextId++;
        }
        const std::string folded = FoldCase(file.name);
        PackChunkList(file.chunks, m_chunkList);
        insert.Bind(1, folder).BindText(2, file.name).Bind(4, id);
        folded == file.name ? insert.BindNull(3) : insert.BindText(3, folded);
        insert.Bind(5, file.flags & ~uint32_t{kRecordPartial | kRecordGone | kRecordDamaged})
            .Bind(6, file.size);
        BindTime(insert, 7, file.modifiedTime);
        BindTime(insert, 8, file.createdTime);
        insert.Bind(9, m_now);
        file.description.empty() ? insert.BindNull(10) : insert.BindText(10, file.description);
        file.sealedHeader.empty() ? insert.BindNull(11) : insert.BindBlob(11, file.sealedHeader);
        insert.BindBlob(12, m_chunkList);
        BindTime(insert, 13, file.changeTime);
        file.attributes.empty() ? insert.BindNull(14) : insert.Bind(14, m_attributes.IdOf(file.attributes));
        insert.Run();
        Touch(folder, isNew ? 1 : 0);
        if (m_anyPartial) {
            RemovePartial(folder, file.name);
        }
        return id;
    }

    // Every chunk must be known with the size that the file says; of a plain file the sizes make up its own.
    void CheckContent(const FileCommit& file) {
        int64_t sum = 0;
        for (const ChunkReference& chunk : file.chunks) {
            const auto found = m_newChunks.find(chunk.digest);
            const int64_t size = found != m_newChunks.end() ? found->second : StoredSize(chunk.digest);
            if (size < 0) {
                throw StorageError(kContentMissing, "content of " + file.name + " is not in the vault");
            }
            if (size != chunk.size) {
                throw StorageError(kInvalidRequest,
                                   "the chunks of " + file.name + " have other sizes than told");
            }
            sum += size;
        }
        if (file.size < 0 || (sum != file.size && (file.flags & kRecordEncrypted) == 0)) {
            throw StorageError(kInvalidRequest, "the chunks of " + file.name + " do not make up its size");
        }
    }

    int64_t StoredSize(const Digest& digest) {
        // What is known to be damaged counts as missing, so that it is sent again.
        SqliteStatement query = m_connection.Prepare(
            "SELECT size FROM chunk WHERE digest=?1 AND NOT EXISTS(SELECT 1 FROM damaged WHERE digest=?1)");
        query.BindBlob(1, digest.View());
        return query.Step() ? query.Int(0) : -1;
    }

    int64_t FolderOf(const std::string& path) {
        if (m_lastFolder == 0 || path != m_lastFolderPath) {
            m_lastFolder = m_tree.RequireFolder(path);
            m_lastFolderPath = path;
        }
        return m_lastFolder;
    }

    // 0 if there is none; a partial upload's record gives its place to a whole file of that name.
    int64_t ExistingFile(int64_t folder, std::string_view name) {
        SqliteStatement query =
            m_connection.Prepare("SELECT id, kind, gone IS NOT NULL FROM record WHERE parent=? AND name=?");
        query.Bind(1, folder).BindText(2, name);
        if (!query.Step()) {
            return 0;
        }
        if (query.Int(1) != kKindFolder) {
            return query.Int(0);
        }
        if (query.Int(2) == 0) {
            throw StorageError(kNameTaken, std::string(name) + " is a folder");
        }
        // The folder that is gone makes way and stays what it was.
        m_tree.KeepPast({folder, std::string(name)});
        Touch(folder, -1);
        return 0;
    }

    void RemovePartial(int64_t folder, const std::string& name) {
        SqliteStatement remove =
            m_connection.Prepare("DELETE FROM record WHERE parent=? AND name=? AND kind=2 RETURNING id");
        const std::string partialName = name + kPartialSuffix;
        remove.Bind(1, folder).BindText(2, partialName);
        if (remove.Step()) {
            Touch(folder, -1);
        }
    }

    void StorePartial() {
        if (m_commit.partial == nullptr) {
            return;
        }
        const CatalogCommit::Partial& partial = *m_commit.partial;
        const std::string name = std::string(partial.name) + kPartialSuffix;
        const int64_t folder = m_tree.RequireFolder(partial.folder);
        StoredRecord existing;
        const bool exists = m_tree.Load({folder, name}, existing);
        if (!IsStorableName(name) || (exists && (existing.flags & kRecordPartial) == 0)) {
            return;
        }
        const std::string folded = FoldCase(name);
        SqliteStatement insert = m_connection.Prepare(
            "INSERT OR REPLACE INTO record(parent, name, folded, id, kind, flags, size, modified, created, "
            "stored)"
            " VALUES(?, ?, ?, ?, 2, 0, ?, ?, ?, ?)");
        insert.Bind(1, folder).BindText(2, name).Bind(4, exists ? existing.id : m_tree.TakeIds(1));
        folded == name ? insert.BindNull(3) : insert.BindText(3, folded);
        insert.Bind(5, partial.storedBytes);
        BindTime(insert, 6, partial.modifiedTime);
        BindTime(insert, 7, partial.modifiedTime);
        insert.Bind(8, platform::CurrentClock().NowNanoseconds()).Run();
        Touch(folder, exists ? 0 : 1);
    }

    void Touch(int64_t folder, int64_t itemDelta) {
        m_touched[folder] += itemDelta;
        m_treeChanged = true;
    }

    static void BindTime(SqliteStatement& statement, int parameter, int64_t time) {
        time == kNoTime ? statement.BindNull(parameter) : statement.Bind(parameter, time);
    }

    SqliteConnection& m_connection;
    SqliteTree m_tree;
    SqliteAttributes m_attributes;
    const CatalogCommit& m_commit;
    std::unordered_map<Digest, uint32_t, DigestHash> m_newChunks;
    std::map<int64_t, int64_t> m_touched;  // folder to change of its number of entries
    bool m_treeChanged = false;
    bool m_anyPartial = false;
    int64_t m_now = 0;
    int64_t m_nextId = 0;
    std::string m_lastFolderPath;
    int64_t m_lastFolder = 0;
    std::string m_chunkList;
};

}  // namespace

int64_t SqliteCatalog::Commit(const CatalogCommit& commit, std::vector<int64_t>& ids) {
    return Write([&](SqliteConnection& connection) { return CommitRun(connection, commit).Run(ids); });
}

}  // namespace rampart
