#include "storage/sqlite_damage.h"

#include <algorithm>
#include <unordered_set>

#include "storage/chunk_list.h"
#include "storage/storage_service.h"

namespace rampart {
namespace {

struct FileName {
    int64_t parent;
    std::string name;
};

// The files whose chunk lists `chosen` picks, from the rows of a query for parent, name, chunks.
template <typename Chosen>
std::vector<FileName> FilesOf(SqliteStatement query, const Chosen& chosen) {
    std::vector<FileName> files;
    std::vector<ChunkReference> chunks;
    while (query.Step()) {
        UnpackChunkList(query.Bytes(2), chunks);
        if (chosen(chunks)) {
            files.push_back({query.Int(0), std::string(query.Bytes(1))});
        }
    }
    return files;
}

std::vector<int64_t> SetFlag(SqliteStatement update, const std::vector<FileName>& files) {
    std::vector<int64_t> folders;
    for (const FileName& file : files) {
        update.Bind(1, int64_t{kRecordDamaged}).Bind(2, file.parent).BindText(3, file.name).Run();
        folders.push_back(file.parent);
    }
    std::sort(folders.begin(), folders.end());
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
    return folders;
}

}  // namespace

bool SqliteDamage::Any() {
    return m_connection.Number("SELECT EXISTS(SELECT 1 FROM damaged)") != 0;
}

std::vector<int64_t> SqliteDamage::Mark(std::span<const Digest> digests) {
    std::unordered_set<Digest, DigestHash> fresh;
    {
        SqliteStatement insert =
            m_connection.Prepare("INSERT INTO damaged(digest) VALUES(?) ON CONFLICT DO NOTHING RETURNING 1");
        for (const Digest& digest : digests) {
            insert.BindBlob(1, digest.View());
            if (insert.Step()) {
                fresh.insert(digest);
            }
            insert.Reset();
        }
    }
    if (fresh.empty()) {
        return {};
    }
    const auto files = FilesOf(
        m_connection.Prepare("SELECT parent, name, chunks FROM record WHERE kind=0 AND flags & 32 = 0"),
        [&](const std::vector<ChunkReference>& chunks) {
            return std::any_of(chunks.begin(), chunks.end(),
                               [&](const ChunkReference& chunk) { return fresh.contains(chunk.digest); });
        });
    return SetFlag(m_connection.Prepare("UPDATE record SET flags=flags|?1 WHERE parent=?2 AND name=?3"),
                   files);
}

std::vector<int64_t> SqliteDamage::Heal(std::span<const Digest> digests) {
    bool any = false;
    {
        SqliteStatement remove = m_connection.Prepare("DELETE FROM damaged WHERE digest=? RETURNING 1");
        for (const Digest& digest : digests) {
            remove.BindBlob(1, digest.View());
            any = remove.Step() || any;
            remove.Reset();
        }
    }
    if (!any) {
        return {};
    }
    SqliteStatement stillDamaged = m_connection.Prepare("SELECT 1 FROM damaged WHERE digest=?");
    const auto files = FilesOf(
        m_connection.Prepare("SELECT parent, name, chunks FROM record WHERE kind=0 AND flags & 32 <> 0"),
        [&](const std::vector<ChunkReference>& chunks) {
            return std::none_of(chunks.begin(), chunks.end(), [&](const ChunkReference& chunk) {
                stillDamaged.BindBlob(1, chunk.digest.View());
                const bool found = stillDamaged.Step();
                stillDamaged.Reset();
                return found;
            });
        });
    return SetFlag(m_connection.Prepare("UPDATE record SET flags=flags&~?1 WHERE parent=?2 AND name=?3"),
                   files);
}

}  // namespace rampart
