// What the vault knows about its records, chunks and packs: the metadata seam behind the embedded service.
//
// Operations throw StorageError and may be called from any thread. Each writing operation is one durable
// transaction; those that change the tree give the change sequence right after it.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "storage/storage_service.h"

namespace rampart {

struct PackState {
    int64_t id = 0;
    int64_t bytes = 0;  // committed; what lies behind is garbage
    bool sealed = false;
};

// What one commit of uploaded content changes.
struct CatalogCommit {
    // Durable already; one whose digest is known is passed over, unless what is stored is known to be
    // damaged.
    std::span<const PlacedChunk> chunks;
    std::span<const PackState> packs;
    std::span<const FileCommit> files;
    struct Partial {
        std::string_view folder;
        std::string_view name;  // of the whole file
        int64_t storedBytes = 0;
        int64_t modifiedTime = kNoTime;
    };
    const Partial* partial = nullptr;
};

// What an audit of the catalog finds, in this order. All calls come from one snapshot.
struct AuditVisitor {
    std::function<void(int64_t chunks, int64_t files)> totals;
    std::function<void(const std::string& problem)> problem;
    std::function<void(const PackState& pack)> pack;
    std::function<bool(const PlacedChunk& chunk)> chunk;  // ordered by pack and offset; false ends the audit
    std::function<std::string(const Digest& digest)>
        fault;                   // of a chunk that a file uses; empty: it is sound
    std::function<bool()> file;  // after each file whose content was looked up
};

class Catalog {
public:
    virtual ~Catalog() = default;

    virtual void FindRecord(std::string_view path, StoredRecord& record) = 0;
    // These two give the sequence of what was listed.
    virtual int64_t ListFolder(std::string_view path, const RecordVisitor& visit) = 0;
    virtual int64_t ListTree(std::string_view path, const FolderVisitor& visit) = 0;
    virtual void ListMoment(std::string_view path, std::string_view historyPath, int64_t moment,
                            const MomentVisitor& visit) = 0;
    virtual int64_t ChangeSequence() = 0;
    // Not less than the number of records, of all kinds and of old ones.
    virtual int64_t RecordBound() = 0;
    virtual int64_t ChangedFolders(int64_t since, size_t most, std::vector<std::string>& folders,
                                   bool& tooMany) = 0;

    // 0 if the folder exists already.
    virtual int64_t CreateFolder(std::string_view path, std::string_view description, uint32_t flags,
                                 int64_t& id) = 0;
    virtual int64_t Rename(std::string_view path, std::string_view newName) = 0;
    virtual int64_t Describe(std::string_view path, std::string_view description) = 0;
    // These two give 0 if nothing changed.
    virtual int64_t SetAttributes(std::span<const AttributeCommit> commits) = 0;
    virtual int64_t MarkGone(std::span<const std::string> paths, int64_t when) = 0;
    // 0 if there was nothing to delete.
    virtual int64_t Delete(std::string_view path) = 0;
    virtual int64_t CopyFile(std::string_view path, std::string_view targetFolder, std::string_view newName,
                             int64_t& id) = 0;

    // Chunks whose stored bytes were found damaged. The files that use them get kRecordDamaged until the
    // chunks are committed anew, found sound, or the file is replaced. 0 if nothing changed.
    virtual int64_t MarkDamaged(std::span<const Digest> digests) = 0;
    virtual int64_t MarkSound(std::span<const Digest> digests) = 0;
    virtual std::vector<Digest> DamagedChunks() = 0;

    virtual std::vector<std::optional<ChunkPlace>> FindChunks(std::span<const Digest> digests) = 0;
    virtual int64_t Commit(const CatalogCommit& commit, std::vector<int64_t>& ids) = 0;
    virtual void OpenFile(std::string_view path, FileContent& content) = 0;
    virtual void LocateFiles(std::string_view folder, std::span<const std::string> names,
                             std::vector<LocatedFile>& files) = 0;
    virtual std::string ReadAttributes(int64_t attributes) = 0;

    virtual PackState AddPack() = 0;
    virtual std::vector<PackState> UnsealedPacks() = 0;
    virtual PackState GetPack(int64_t id) = 0;
    virtual int64_t PackBytes() = 0;  // of all packs
    // The change sequence, and the packs that still grow and the newest one, of one moment.
    virtual int64_t Horizon(std::vector<PackState>& packs) = 0;

    virtual std::string GetSetting(std::string_view name) = 0;
    virtual void SetSetting(std::string_view name, std::string_view value) = 0;

    virtual void StoreTask(const std::string& request) = 0;
    virtual std::string QueryTasks(std::string_view name, bool paths) = 0;
    virtual std::vector<std::string> TaskNames() = 0;
    virtual void DeleteTask(std::string_view name) = 0;

    // Writes all but the table of chunks, which the packs hold, into a database at `path` (native UTF-8, an
    // empty file). Gives the change sequence of what was written.
    virtual int64_t CopyTo(const std::string& path) = 0;
    virtual void Audit(const AuditVisitor& visitor) = 0;
    virtual ServiceStatistics Statistics() = 0;
    virtual int64_t OwnBytes() = 0;  // of the catalog itself
};

}  // namespace rampart
