// The catalog checked against itself, and walked for a check against the packs.
#include "storage/chunk_list.h"
#include "storage/server_path.h"
#include "storage/sqlite_catalog.h"
#include "storage/sqlite_schema.h"

namespace rampart {
namespace {

void AuditPages(SqliteConnection& connection, const AuditVisitor& visitor) {
    SqliteStatement check = connection.Prepare("PRAGMA quick_check(100)");
    while (check.Step()) {
        const std::string_view finding = check.Bytes(0);
        if (finding != "ok") {
            visitor.problem("catalog: " + std::string(finding));
        }
    }
}

void AuditTree(SqliteConnection& connection, const AuditVisitor& visitor) {
    SqliteStatement orphans = connection.Prepare(
        "SELECT parent, count(*), min(name) FROM record WHERE id<>1"
        " AND parent NOT IN (SELECT id FROM record WHERE kind=1 UNION SELECT id FROM past) GROUP BY parent");
    while (orphans.Step()) {
        visitor.problem(std::to_string(orphans.Int(1)) + " records, one of them " +
                        std::string(orphans.Bytes(2)) + ", lie in folder " + std::to_string(orphans.Int(0)) +
                        ", which does not exist");
    }
    SqliteStatement names = connection.Prepare("SELECT parent, name FROM record WHERE id<>1");
    while (names.Step()) {
        if (IsStorableName(names.Bytes(1))) {
            continue;
        }
        visitor.problem("\"" + std::string(names.Bytes(1)) + "\" in folder " + std::to_string(names.Int(0)) +
                        " is no name of a file: it would lead elsewhere");
    }
    SqliteStatement counts = connection.Prepare(
        "SELECT f.id, f.items, coalesce(c.n, 0) FROM record f"
        " LEFT JOIN (SELECT parent, count(*) AS n FROM record GROUP BY parent) c ON c.parent=f.id"
        " WHERE f.kind=1 AND f.items<>coalesce(c.n, 0)");
    while (counts.Step()) {
        visitor.problem("folder " + SqliteTree(connection).FolderPath(counts.Int(0)) + " counts " +
                        std::to_string(counts.Int(1)) + " entries and has " + std::to_string(counts.Int(2)));
    }
}

void AuditPacks(SqliteConnection& connection, const AuditVisitor& visitor) {
    SqliteStatement packs = connection.Prepare("SELECT id, bytes, sealed FROM pack ORDER BY id");
    while (packs.Step()) {
        visitor.pack({packs.Int(0), packs.Int(1), packs.Int(2) != 0});
    }
}

bool AuditChunks(SqliteConnection& connection, const AuditVisitor& visitor) {
    SqliteStatement chunks = connection.Prepare(
        "SELECT digest, pack, position, stored, size, flags FROM chunk ORDER BY pack, position");
    while (chunks.Step()) {
        PlacedChunk chunk;
        const std::string_view digest = chunks.Bytes(0);
        if (digest.size() != Digest::kSize) {
            visitor.problem("catalog: a chunk's digest has a wrong length");
            continue;
        }
        std::memcpy(chunk.digest.bytes.data(), digest.data(), Digest::kSize);
        chunk.place = {chunks.Int(1), chunks.Int(2), static_cast<uint32_t>(chunks.Int(3)),
                       static_cast<uint32_t>(chunks.Int(4)), static_cast<uint32_t>(chunks.Int(5))};
        if (!visitor.chunk(chunk)) {
            return false;
        }
    }
    return true;
}

// What is wrong with the content of one file; empty if nothing.
std::string FaultOfContent(SqliteConnection& connection, const SqliteStatement& file,
                           std::vector<ChunkReference>& chunks, const AuditVisitor& visitor) {
    if (!UnpackChunkList(file.Bytes(4), chunks)) {
        return "its chunk list is damaged";
    }
    int64_t sum = 0;
    std::string fault;
    SqliteStatement query = connection.Prepare("SELECT size FROM chunk WHERE digest=?");
    for (const ChunkReference& chunk : chunks) {
        query.BindBlob(1, chunk.digest.View());
        if (!query.Step()) {
            return "chunk " + ToHex(chunk.digest) + " is not in the catalog";
        }
        if (query.Int(0) != chunk.size) {
            return "chunk " + ToHex(chunk.digest) + " has another size";
        }
        sum += chunk.size;
        query.Reset();
        std::string damage = visitor.fault(chunk.digest);
        if (fault.empty()) {
            fault = std::move(damage);
        }
    }
    if (!fault.empty()) {
        return fault;
    }
    const bool encrypted = (file.Int(3) & kRecordEncrypted) != 0;
    return encrypted || sum == file.Int(2) ? "" : "its chunks do not make up its size";
}

void AuditFiles(SqliteConnection& connection, const AuditVisitor& visitor) {
    SqliteStatement files =
        connection.Prepare("SELECT parent, name, size, flags, chunks FROM record WHERE kind=0");
    std::vector<ChunkReference> chunks;
    while (files.Step()) {
        const std::string fault = FaultOfContent(connection, files, chunks, visitor);
        if (!fault.empty()) {
            std::string problem = "file ";
            problem += JoinServerPath(SqliteTree(connection).FolderPath(files.Int(0)), files.Bytes(1));
            problem += ": ";
            problem += fault;
            visitor.problem(problem);
        }
        if (!visitor.file()) {
            return;
        }
    }
}

}  // namespace

void SqliteCatalog::Audit(const AuditVisitor& visitor) {
    Read([&](SqliteConnection& connection) {
        try {
            visitor.totals(connection.Number("SELECT count(*) FROM chunk"),
                           connection.Number("SELECT count(*) FROM record WHERE kind=0"));
            AuditPages(connection, visitor);
            AuditTree(connection, visitor);
            AuditPacks(connection, visitor);
            if (AuditChunks(connection, visitor)) {
                AuditFiles(connection, visitor);
            }
        } catch (const StorageError& error) {
            if (error.code() != kVaultDamaged) {
                throw;
            }
            visitor.problem(error.what());
        }
    });
}

}  // namespace rampart
