#include "storage/vault_repair.h"

#include <algorithm>
#include <unordered_set>

#include "platform/clock.h"
#include "platform/error.h"
#include "storage/catalog_snapshot.h"
#include "storage/chunk_list.h"
#include "storage/directory_store.h"
#include "storage/embedded_service.h"
#include "storage/pack_format.h"
#include "storage/pack_scan.h"
#include "storage/server_path.h"
#include "storage/sqlite_catalog.h"
#include "storage/sqlite_damage.h"
#include "storage/sqlite_schema.h"
#include "storage/storage_error.h"
#include "storage/vault_horizon.h"
#include "storage/vault_place.h"

namespace rampart {
namespace {

constexpr char kRepairedName[] = "catalog.db.repaired";
constexpr int kBusyTimeoutMs = 5000;
constexpr int kCacheKibibytes = 65536;
// Records that are lost had ids that no new record is to have.
constexpr int64_t kIdGap = 10'000'000;

bool IsSound(SqliteConnection& connection) {
    SqliteStatement check = connection.Prepare("PRAGMA quick_check(1)");
    return check.Step() && check.Bytes(0) == "ok";
}

class RepairRun {
public:
    RepairRun(const VaultPlace& place, const RepairOptions& options, RepairReport& report)
        : m_place(place), m_store(place.native), m_options(options), m_report(report) {}

    ServiceResult Run() {
        const auto lock = LockVault(m_place, true);
        m_horizon = LoadHorizon(m_store).value_or(VaultHorizon());
        m_packs = ListPacks(m_store);
        RemoveRepaired();
        ChooseBase();
        bool cancelled = false;
        const bool inPlace = m_report.base == RepairReport::kCatalog;
        {
            const auto connection = Connect(inPlace ? kCatalogName : kRepairedName, false);
            UpgradeCatalogSchema(*connection);
            SqliteTransaction transaction(*connection, SqliteTransaction::kWrite);
            cancelled = !TakePacks(*connection);
            if (!cancelled) {
                RaiseNumbers(*connection);
                MarkLacking(*connection);
                Count(*connection);
                transaction.Commit();
            }
        }
        if (cancelled) {
            RemoveRepaired();
            return ServiceResult(kCancelled, ServiceCodeText(kCancelled));
        }
        if (!inPlace) {
            Exchange();
            m_report.changed = true;
        }
        NoteHorizon();
        return {};
    }

private:
    std::unique_ptr<SqliteConnection> Connect(const char* name, bool readOnly) {
        SqliteConnection::Settings settings;
        settings.readOnly = readOnly;
        settings.busyTimeoutMs = kBusyTimeoutMs;
        settings.cacheKibibytes = kCacheKibibytes;
        auto connection =
            std::make_unique<SqliteConnection>(m_place.NativeInside(name), m_place.native, settings);
        CheckCatalogSchema(*connection, m_place.native);
        return connection;
    }

    void RemoveRepaired() {
        for (const char* const suffix : {"", "-wal", "-shm"}) {
            platform::RemoveFile(m_place.Inside(std::string(kRepairedName) + suffix));
        }
    }

    // The change sequence of the catalog that is there; 0 if it is of no use.
    int64_t PresentSequence() {
        platform::FileStatus status;
        if (!platform::QueryStatus(m_place.Inside(kCatalogName), status) || status.size == 0) {
            return 0;
        }
        try {
            const auto connection = Connect(kCatalogName, true);
            return IsSound(*connection) ? SqliteTree(*connection).Sequence() : 0;
        } catch (const StorageError& error) {
            if (error.code() == kVaultDamaged || error.code() == kVaultMissing || error.code() == kFailed) {
                return 0;
            }
            throw;
        }
    }

    bool UnpackBase(const SnapshotInfo& snapshot) {
        try {
            if (!UnpackSnapshot(m_store, snapshot, m_place.NativeInside(kRepairedName))) {
                return false;
            }
            const auto connection = Connect(kRepairedName, false);
            if (IsSound(*connection)) {
                return true;
            }
        } catch (const StorageError& error) {
            if (error.code() != kVaultDamaged && error.code() != kVaultMissing) {
                throw;
            }
        }
        RemoveRepaired();
        return false;
    }

    void ChooseBase() {
        const int64_t present = PresentSequence();
        for (const SnapshotInfo& snapshot : ListSnapshots(m_store)) {
            m_horizon.sequence = std::max(m_horizon.sequence, snapshot.sequence);
        }
        for (const SnapshotInfo& snapshot : ListSnapshots(m_store)) {
            if (snapshot.sequence > present && UnpackBase(snapshot)) {
                m_report.base = RepairReport::kSnapshot;
                m_report.baseTime = snapshot.time;
                m_report.lostRecords = snapshot.sequence < m_horizon.sequence;
                return;
            }
        }
        if (present > 0) {
            m_report.base = RepairReport::kCatalog;
            m_report.lostRecords = present < m_horizon.sequence;
            return;
        }
        if (m_packs.empty()) {
            throw StorageError(kVaultMissing, m_place.native +
                                                  " holds no packs and no copy of a catalog: there "
                                                  "is nothing to repair");
        }
        SqliteCatalog::Create(m_place.NativeInside(kRepairedName), m_place.native);
        // One file without a log beside it, until it is in its place.
        Connect(kRepairedName, false)->Execute("PRAGMA journal_mode=DELETE");
        m_report.lostRecords = true;
    }

    // Brings what the base does not know of the packs into it; false if cancelled.
    bool TakePacks(SqliteConnection& connection) {
        int64_t total = 0;
        int64_t done = 0;
        for (const StoredPack& pack : m_packs) {
            total += pack.size;
        }
        const bool chunksKnown = m_report.base == RepairReport::kCatalog;
        if (!chunksKnown) {
            // Each is as long as it is found to be; one that is not there any more is used no more.
            connection.Execute("UPDATE pack SET bytes=0, sealed=1");
        }
        for (const StoredPack& pack : m_packs) {
            TakePack(connection, pack, chunksKnown);
            done += pack.size;
            if (m_options.progress && !m_options.progress(done, total)) {
                return false;
            }
        }
        return true;
    }

    void TakePack(SqliteConnection& connection, const StoredPack& pack, bool chunksKnown) {
        SqliteStatement query = connection.Prepare("SELECT bytes FROM pack WHERE id=?");
        query.Bind(1, pack.id);
        const bool known = query.Step();
        const int64_t committed = known ? query.Int(0) : 0;
        query.Reset();
        if (chunksKnown && known && pack.size <= committed) {
            return;
        }
        const PackScan scan = ScanPack(m_store, pack.id, chunksKnown ? committed : 0, pack.size, false);
        if (!scan.isPack) {
            return;
        }
        SqliteStatement insert = connection.Prepare(
            "INSERT INTO pack(id, bytes, sealed, created) VALUES(?1, ?2, ?3, ?4) ON CONFLICT(id) DO UPDATE "
            "SET"
            " bytes=excluded.bytes, sealed=excluded.sealed");
        const bool full = scan.end >= kPackLimitBytes;
        insert.Bind(1, pack.id).Bind(2, scan.end).Bind(3, full ? 1 : 0);
        insert.Bind(4, platform::CurrentClock().NowNanoseconds()).Run();
        m_report.changed = m_report.changed || scan.end > committed;
        StoreChunks(connection, scan.entries);
    }

    void StoreChunks(SqliteConnection& connection, std::vector<PlacedChunk> chunks) {
        std::sort(chunks.begin(), chunks.end(),
                  [](const PlacedChunk& a, const PlacedChunk& b) { return a.digest < b.digest; });
        SqliteStatement insert = connection.Prepare(
            "INSERT INTO chunk(digest, pack, position, stored, size, flags) VALUES(?, ?, ?, ?, ?, ?)"
            " ON CONFLICT(digest) DO NOTHING RETURNING 1");
        for (const PlacedChunk& chunk : chunks) {
            const ChunkPlace& place = chunk.place;
            insert.BindBlob(1, chunk.digest.View()).Bind(2, place.pack).Bind(3, place.offset);
            insert.Bind(4, place.storedSize).Bind(5, place.size).Bind(6, place.flags);
            m_report.newChunks += insert.Step() ? 1 : 0;
            insert.Reset();
        }
    }

    // Nobody is to take the repaired catalog for one that he has seen before.
    void RaiseNumbers(SqliteConnection& connection) {
        const int64_t sequence = SqliteTree(connection).Sequence();
        if (m_report.base == RepairReport::kCatalog && sequence >= m_horizon.sequence) {
            return;
        }
        const int64_t next = std::max(sequence, m_horizon.sequence) + 1;
        SqliteStatement state =
            connection.Prepare("UPDATE state SET sequence=?1, next_id=next_id+?2 WHERE id=1");
        state.Bind(1, next).Bind(2, kIdGap).Run();
        SqliteStatement folders = connection.Prepare("UPDATE record SET changed=? WHERE kind=1");
        folders.Bind(1, next).Run();
        m_report.changed = true;
    }

    // Files whose content is nowhere are to be sent again.
    void MarkLacking(SqliteConnection& connection) {
        std::unordered_set<Digest, DigestHash> missing;
        SqliteStatement has = connection.Prepare("SELECT 1 FROM chunk WHERE digest=?");
        SqliteStatement files = connection.Prepare("SELECT parent, name, chunks FROM record WHERE kind=0");
        std::vector<ChunkReference> chunks;
        while (files.Step()) {
            UnpackChunkList(files.Bytes(2), chunks);
            bool lacks = false;
            for (const ChunkReference& chunk : chunks) {
                has.BindBlob(1, chunk.digest.View());
                if (!has.Step()) {
                    missing.insert(chunk.digest);
                    lacks = true;
                }
                has.Reset();
            }
            m_report.filesLacking += lacks ? 1 : 0;
            if (lacks && m_report.lacking.size() < RepairReport::kMostLacking) {
                m_report.lacking.push_back(
                    JoinServerPath(SqliteTree(connection).FolderPath(files.Int(0)), files.Bytes(1)));
            }
        }
        files.Reset();
        const std::vector<Digest> digests(missing.begin(), missing.end());
        if (SqliteDamage(connection).Mark(digests).empty()) {
            return;
        }
        m_report.changed = true;
        SqliteTree tree(connection);
        SqliteStatement folders = connection.Prepare("UPDATE record SET changed=? WHERE kind=1");
        folders.Bind(1, tree.RaiseSequence()).Run();
    }

    void Count(SqliteConnection& connection) {
        m_report.files = connection.Number("SELECT count(*) FROM record WHERE kind=0");
        m_report.folders = connection.Number("SELECT count(*) FROM record WHERE kind=1") - 1;
        m_report.chunks = connection.Number("SELECT count(*) FROM chunk");
        m_report.packs = connection.Number("SELECT count(*) FROM pack");
    }

    // The old catalog makes room and stays; a crash in between leaves none, and the next repair goes on.
    void Exchange() {
        std::string aside;
        platform::FileStatus status;
        for (int number = 1; aside.empty(); ++number) {
            std::string name = std::string(kCatalogName) + ".damaged-" + std::to_string(number);
            if (!platform::QueryStatus(m_place.Inside(name), status)) {
                aside = std::move(name);
            }
        }
        for (const char* const suffix : {"-wal", "-shm", ""}) {
            const auto from = m_place.Inside(std::string(kCatalogName) + suffix);
            if (!platform::QueryStatus(from, status)) {
                continue;
            }
            if (!platform::RenamePath(from, m_place.Inside(aside + suffix), false)) {
                FailToExchange();
            }
            m_report.setAside = aside;
        }
        if (!platform::RenamePath(m_place.Inside(kRepairedName), m_place.Inside(kCatalogName), false) ||
            !platform::SyncFolder(m_place.folder)) {
            FailToExchange();
        }
    }

    [[noreturn]] void FailToExchange() {
        throw StorageError(kVaultReadOnly, "the repaired catalog cannot be put in place in " +
                                               m_place.native + ": " +
                                               platform::ToUtf8(platform::ErrorText(platform::LastError())));
    }

    // The repaired catalog is the measure from now on, also where packs were found shorter than they had
    // been.
    void NoteHorizon() {
        SqliteCatalog catalog(m_place.NativeInside(kCatalogName), m_place.native, false, kBusyTimeoutMs);
        StoreHorizon(m_store, HorizonOf(catalog));
    }

    const VaultPlace& m_place;
    DirectoryStore m_store;
    const RepairOptions& m_options;
    RepairReport& m_report;
    VaultHorizon m_horizon;
    std::vector<StoredPack> m_packs;
};

}  // namespace

ServiceResult EmbeddedService::Repair(const std::string& nativeFolder, const RepairOptions& options,
                                      RepairReport& report) {
    return AtServiceEdge([&] {
        report = {};
        return RepairRun(VaultPlace(nativeFolder), options, report).Run();
    });
}

}  // namespace rampart
