// The storage service in this process: a vault in a directory.
//
// Layout: catalog.db (SQLite in WAL mode), packs/NNNNNNNNNN.pack (content), snapshots/ (copies of the
// catalog), outbox/*.eml (mail nobody delivered), vault.lock (shared by writers). Several processes may have
// one vault open and write to it. What a writing operation acknowledged survives a crash of the process or
// the machine.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "platform/file_system.h"
#include "storage/catalog.h"
#include "storage/item_limit.h"
#include "storage/object_store.h"
#include "storage/pack_writer.h"
#include "storage/storage_service.h"
#include "storage/vault_repair.h"

namespace rampart {

struct VaultOptions {
    bool readOnly = false;
    int busyTimeoutMs = 30000;  // how long an operation waits for other processes
    int64_t packLimit = kPackLimitBytes;
    // Least time between snapshots of the catalog; -1: by its size.
    int64_t snapshotEverySeconds = -1;
    // Stands between the vault and its objects; empty for none.
    std::function<std::unique_ptr<ObjectStore>(std::unique_ptr<ObjectStore>)> wrapStore;
};

class EmbeddedService : public StorageService {
public:
    // `nativeFolder` is an absolute path in UTF-8. The folder is made if it is missing; kNameTaken if it is a
    // vault already or holds anything else, kVaultDamaged if packs or snapshots of a vault lie there.
    static ServiceResult Create(const std::string& nativeFolder);
    // Opens a vault, for reading only if it cannot be written. kVaultMissing, kVaultNewer, kVaultDamaged say
    // what is wrong with the place.
    static ServiceResult Open(const std::string& nativeFolder, const VaultOptions& options,
                              std::unique_ptr<EmbeddedService>& service);

    // Makes a catalog anew that is missing, damaged or older than its packs, from the newest copy of it and
    // the packs; what was there is set aside and never deleted. kConnectionFailed while a process may write
    // to the vault.
    static ServiceResult Repair(const std::string& nativeFolder, const RepairOptions& options,
                                RepairReport& report);

    // Over any catalog and store. `name` is for messages.
    EmbeddedService(std::string name, std::unique_ptr<Catalog> catalog, std::unique_ptr<ObjectStore> store,
                    const VaultOptions& options);
    // Notes how far the vault has come, and makes a snapshot of the catalog where that is due.
    ~EmbeddedService() override;

    // Where databases for snapshots may lie for a moment, and the lock that says that the vault is in use.
    void SetPlace(std::string temporaryBase, std::unique_ptr<platform::FileHandle> lock);

    bool IsReadOnly() const { return m_readOnly; }

    ServiceResult Logon(const std::string& user, const std::string& password) override;
    SessionInfo Session() override;
    ServiceResult Ping() override;
    ServiceResult Space(AccountSpace& space) override;
    ServiceResult Limits(AccountLimits& limits) override;
    ServiceResult GetSetting(const std::string& name, std::string& value) override;
    ServiceResult SetSetting(const std::string& name, const std::string& value) override;

    ServiceResult FindRecord(const std::string& path, StoredRecord& record) override;
    ServiceResult ListFolder(const std::string& path, const RecordVisitor& visit, int64_t& sequence) override;
    ServiceResult ListTree(const std::string& path, const FolderVisitor& visit, int64_t& sequence) override;
    ServiceResult ListMoment(const std::string& path, const std::string& historyPath, int64_t moment,
                             const MomentVisitor& visit) override;
    ServiceResult ChangeSequence(int64_t& sequence) override;
    ServiceResult ChangedFolders(int64_t since, size_t most, std::vector<std::string>& folders, bool& tooMany,
                                 int64_t& sequence) override;

    ServiceResult CreateFolder(const std::string& path, const std::string& description, uint32_t flags,
                               int64_t& id) override;
    ServiceResult Rename(const std::string& path, const std::string& newName) override;
    ServiceResult Describe(const std::string& path, const std::string& description) override;
    ServiceResult SetAttributes(std::span<const AttributeCommit> commits) override;
    ServiceResult MarkGone(std::span<const std::string> paths, int64_t when) override;
    ServiceResult Delete(std::span<const std::string> paths,
                         const std::function<bool(size_t)>& proceed) override;
    ServiceResult CopyFile(const std::string& path, const std::string& targetFolder,
                           const std::string& newName, int64_t& id) override;

    ServiceResult HasChunks(std::span<const Digest> digests, std::vector<uint8_t>& known) override;
    ServiceResult PutChunks(std::span<const Chunk> chunks) override;
    ServiceResult CommitFiles(std::span<const FileCommit> files, std::vector<int64_t>& ids) override;
    ServiceResult RecordProgress(const std::string& folder, const std::string& name, int64_t storedBytes,
                                 int64_t modifiedTime) override;

    ServiceResult ReadAttributes(int64_t attributes, std::string& bytes) override;
    ServiceResult OpenFile(const std::string& path, FileContent& content) override;
    ServiceResult ReadChunks(std::span<const Digest> digests,
                             const std::function<bool(const Chunk&)>& visit) override;

    ServiceResult LocateFiles(const std::string& folder, std::span<const std::string> names,
                              std::vector<LocatedFile>& files) override;
    ServiceResult ReadPlaced(std::span<const PlacedChunk> chunks, const PlacedChunkVisitor& visit) override;

    ServiceResult StoreTask(const std::string& request) override;
    ServiceResult QueryTasks(const std::string& name, bool paths, std::string& reply) override;
    ServiceResult TaskNames(std::vector<std::string>& names) override;
    ServiceResult DeleteTask(const std::string& name) override;

    ServiceResult QueueMail(const std::string& message) override;

    ServiceResult Verify(const VerifyOptions& options, VerifyReport& report) override;
    ServiceResult Statistics(ServiceStatistics& statistics) override;

private:
    int64_t NumberSetting(const char* name, int64_t fallback);
    void CheckQuota(int64_t moreBytes);
    ItemLimit PresentItemLimit();
    void RequireWritable() const;
    ServiceResult Changed(int64_t sequence);
    void Leave();
    void MarkDamaged(const Digest& digest);

    const std::string m_name;
    const std::unique_ptr<Catalog> m_catalog;
    const std::unique_ptr<ObjectStore> m_store;
    PackWriter m_packs;
    bool m_readOnly;
    const int64_t m_snapshotEverySeconds;
    std::string m_temporaryBase;
    std::unique_ptr<platform::FileHandle> m_lock;
    std::atomic<bool> m_changed = false;  // since the last Leave
    std::mutex m_leaveMutex;              // one Leave at a time

    std::mutex m_sessionMutex;
    SessionInfo m_session;  // guarded by m_sessionMutex
};

}  // namespace rampart
