// The catalog in one SQLite database. Readers work beside the one writer of this process and those of others.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "storage/catalog.h"
#include "storage/sqlite_connection.h"
#include "storage/sqlite_tree.h"
#include "storage/storage_error.h"

namespace rampart {

class SqliteCatalog : public Catalog {
public:
    // Makes an empty catalog in a file that is missing or empty.
    static void Create(const std::string& path, const std::string& vaultName);

    // `path` is native UTF-8; `vaultName` is for messages.
    SqliteCatalog(const std::string& path, const std::string& vaultName, bool readOnly, int busyTimeoutMs);
    ~SqliteCatalog() override;

    void FindRecord(std::string_view path, StoredRecord& record) override;
    int64_t ListFolder(std::string_view path, const RecordVisitor& visit) override;
    int64_t ListTree(std::string_view path, const FolderVisitor& visit) override;
    void ListMoment(std::string_view path, std::string_view historyPath, int64_t moment,
                    const MomentVisitor& visit) override;
    int64_t ChangeSequence() override;
    int64_t RecordBound() override;
    int64_t ChangedFolders(int64_t since, size_t most, std::vector<std::string>& folders,
                           bool& tooMany) override;

    int64_t CreateFolder(std::string_view path, std::string_view description, uint32_t flags,
                         int64_t& id) override;
    int64_t Rename(std::string_view path, std::string_view newName) override;
    int64_t Describe(std::string_view path, std::string_view description) override;
    int64_t SetAttributes(std::span<const AttributeCommit> commits) override;
    int64_t MarkGone(std::span<const std::string> paths, int64_t when) override;
    int64_t Delete(std::string_view path) override;
    int64_t CopyFile(std::string_view path, std::string_view targetFolder, std::string_view newName,
                     int64_t& id) override;

    int64_t MarkDamaged(std::span<const Digest> digests) override;
    int64_t MarkSound(std::span<const Digest> digests) override;
    std::vector<Digest> DamagedChunks() override;

    std::vector<std::optional<ChunkPlace>> FindChunks(std::span<const Digest> digests) override;
    int64_t Commit(const CatalogCommit& commit, std::vector<int64_t>& ids) override;
    void OpenFile(std::string_view path, FileContent& content) override;
    void LocateFiles(std::string_view folder, std::span<const std::string> names,
                     std::vector<LocatedFile>& files) override;
    std::string ReadAttributes(int64_t attributes) override;

    PackState AddPack() override;
    std::vector<PackState> UnsealedPacks() override;
    PackState GetPack(int64_t id) override;
    int64_t PackBytes() override;
    int64_t Horizon(std::vector<PackState>& packs) override;

    std::string GetSetting(std::string_view name) override;
    void SetSetting(std::string_view name, std::string_view value) override;

    void StoreTask(const std::string& request) override;
    std::string QueryTasks(std::string_view name, bool paths) override;
    std::vector<std::string> TaskNames() override;
    void DeleteTask(std::string_view name) override;

    int64_t CopyTo(const std::string& path) override;
    void Audit(const AuditVisitor& visitor) override;
    ServiceStatistics Statistics() override;
    int64_t OwnBytes() override;

private:
    void Open();
    std::unique_ptr<SqliteConnection> Connect(int cacheKibibytes) const;
    std::unique_ptr<SqliteConnection> BorrowReader();
    void GiveBack(std::unique_ptr<SqliteConnection> reader);
    struct Lease {
        explicit Lease(SqliteCatalog& owner) : catalog(owner), connection(owner.BorrowReader()) {}
        ~Lease() { catalog.GiveBack(std::move(connection)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        SqliteCatalog& catalog;
        std::unique_ptr<SqliteConnection> connection;
    };

    // Runs `body(connection)` in a transaction: reading from one snapshot, or writing and committed at its
    // end.
    template <typename Body>
    auto Read(Body&& body);
    template <typename Body>
    auto Write(Body&& body);

    const std::string m_path;
    const std::string m_vaultName;
    const bool m_readOnly;
    const int m_busyTimeoutMs;
    // On a full disk there is no room for the log's shared memory: then no other process gets at the catalog
    // for as long as this one has it open. Set while it is opened.
    bool m_alone = false;
    bool m_immutable = false;  // a vault on a read-only medium; set while it is opened

    std::mutex m_readersMutex;
    std::vector<std::unique_ptr<SqliteConnection>> m_readers;  // idle ones; guarded by m_readersMutex

    std::mutex m_writerMutex;                    // held for one transaction
    std::unique_ptr<SqliteConnection> m_writer;  // null if read-only

    std::mutex m_watchMutex;                    // guards what follows
    std::unique_ptr<SqliteConnection> m_watch;  // never writes, so that it sees every commit as foreign
    int64_t m_watchedVersion = 0;
    int64_t m_watchedSequence = 0;
};

template <typename Body>
auto SqliteCatalog::Read(Body&& body) {
    const Lease lease(*this);
    SqliteConnection& reader = *lease.connection;
    SqliteTransaction transaction(reader, SqliteTransaction::kRead);
    return body(reader);
}

template <typename Body>
auto SqliteCatalog::Write(Body&& body) {
    if (!m_writer) {
        throw StorageError(kVaultReadOnly, "the vault at " + m_vaultName + " is open for reading only");
    }
    std::lock_guard lock(m_writerMutex);
    SqliteTransaction transaction(*m_writer, SqliteTransaction::kWrite);
    if constexpr (std::is_void_v<decltype(body(*m_writer))>) {
        body(*m_writer);
        transaction.Commit();
    } else {
        auto result = body(*m_writer);
        transaction.Commit();
        return result;
    }
}

}  // namespace rampart
