#include "storage/sqlite_catalog.h"

#include "platform/clock.h"
#include "platform/file_system.h"
#include "storage/sqlite_schema.h"

namespace rampart {
namespace {

constexpr int kWriterCacheKibibytes = 65536;
constexpr int kReaderCacheKibibytes = 8192;
constexpr size_t kMostIdleReaders = 8;

}  // namespace

void SqliteCatalog::Create(const std::string& path, const std::string& vaultName) {
    // Made here, so that nobody else reads it; its log follows it in that.
    platform::FileHandle::OpenNative(path, platform::kOpenWrite | platform::kOpenCreate);
    SqliteConnection::Settings settings;
    settings.create = true;
    SqliteConnection connection(path, vaultName, settings);
    CreateCatalogSchema(connection, platform::CurrentClock().NowNanoseconds());
}

SqliteCatalog::SqliteCatalog(const std::string& path, const std::string& vaultName, bool readOnly,
                             int busyTimeoutMs)
    : m_path(path), m_vaultName(vaultName), m_readOnly(readOnly), m_busyTimeoutMs(busyTimeoutMs) {
    try {
        Open();
    } catch (const StorageError& error) {
        // On a read-only medium the shared memory of the write-ahead log cannot be made; then nobody else
        // writes.
        const bool unwritable = error.code() == kVaultReadOnly || error.code() == kConnectionFailed;
        m_alone = error.code() == kNoSpace && SqliteConnection::CanBeAlone();
        m_immutable = readOnly && unwritable;
        if (!m_alone && !m_immutable) {
            throw;
        }
        m_watch.reset();
        m_writer.reset();
        Open();
    }
}

void SqliteCatalog::Open() {
    m_watch = Connect(kReaderCacheKibibytes);
    CheckCatalogSchema(*m_watch, m_vaultName);
    if (!m_readOnly) {
        m_writer = Connect(kWriterCacheKibibytes);
        m_writer->Execute("PRAGMA journal_mode=WAL");  // a repaired catalog comes without
        UpgradeCatalogSchema(*m_writer);
    }
}

SqliteCatalog::~SqliteCatalog() = default;

std::unique_ptr<SqliteConnection> SqliteCatalog::Connect(int cacheKibibytes) const {
    SqliteConnection::Settings settings;
    settings.readOnly = m_readOnly;
    settings.immutable = m_immutable;
    settings.alone = m_alone;
    settings.busyTimeoutMs = m_busyTimeoutMs;
    settings.cacheKibibytes = cacheKibibytes;
    auto connection = std::make_unique<SqliteConnection>(m_path, m_vaultName, settings);
    if (m_readOnly) {
        ShowAsPresentSchema(*connection);
    }
    return connection;
}

std::unique_ptr<SqliteConnection> SqliteCatalog::BorrowReader() {
    {
        std::lock_guard lock(m_readersMutex);
        if (!m_readers.empty()) {
            auto reader = std::move(m_readers.back());
            m_readers.pop_back();
            return reader;
        }
    }
    return Connect(kReaderCacheKibibytes);
}

void SqliteCatalog::GiveBack(std::unique_ptr<SqliteConnection> reader) {
    std::lock_guard lock(m_readersMutex);
    if (m_readers.size() < kMostIdleReaders) {
        m_readers.push_back(std::move(reader));
    }
}

std::vector<std::optional<ChunkPlace>> SqliteCatalog::FindChunks(std::span<const Digest> digests) {
    return Read([&](SqliteConnection& connection) {
        std::vector<std::optional<ChunkPlace>> places(digests.size());
        SqliteStatement query = connection.Prepare(
            "SELECT pack, position, stored, size, flags,"
            " EXISTS(SELECT 1 FROM damaged d WHERE d.digest=chunk.digest)"
            " FROM chunk WHERE digest=?");
        for (size_t i = 0; i < digests.size(); ++i) {
            query.BindBlob(1, digests[i].View());
            if (query.Step()) {
                places[i] = ChunkPlace{query.Int(0),
                                       query.Int(1),
                                       static_cast<uint32_t>(query.Int(2)),
                                       static_cast<uint32_t>(query.Int(3)),
                                       static_cast<uint32_t>(query.Int(4)),
                                       query.Int(5) != 0};
            }
            query.Reset();
        }
        return places;
    });
}

PackState SqliteCatalog::AddPack() {
    return Write([&](SqliteConnection& connection) {
        SqliteStatement insert =
            connection.Prepare("INSERT INTO pack(bytes, sealed, created) VALUES(0, 0, ?) RETURNING id");
        insert.Bind(1, platform::CurrentClock().NowNanoseconds());
        insert.Step();
        return PackState{insert.Int(0), 0, false};
    });
}

std::vector<PackState> SqliteCatalog::UnsealedPacks() {
    return Read([&](SqliteConnection& connection) {
        std::vector<PackState> packs;
        SqliteStatement query = connection.Prepare("SELECT id, bytes FROM pack WHERE sealed=0 ORDER BY id");
        while (query.Step()) {
            packs.push_back({query.Int(0), query.Int(1), false});
        }
        return packs;
    });
}

PackState SqliteCatalog::GetPack(int64_t id) {
    return Read([&](SqliteConnection& connection) {
        SqliteStatement query = connection.Prepare("SELECT id, bytes, sealed FROM pack WHERE id=?");
        query.Bind(1, id);
        if (!query.Step()) {
            throw StorageError(kNotFound, "no pack " + std::to_string(id));
        }
        return PackState{query.Int(0), query.Int(1), query.Int(2) != 0};
    });
}

int64_t SqliteCatalog::PackBytes() {
    return Read([&](SqliteConnection& connection) {
        return connection.Number("SELECT coalesce(sum(bytes), 0) FROM pack");
    });
}

int64_t SqliteCatalog::Horizon(std::vector<PackState>& packs) {
    return Read([&](SqliteConnection& connection) {
        packs.clear();
        SqliteStatement query = connection.Prepare(
            "SELECT id, bytes, sealed FROM pack WHERE sealed=0 OR id=(SELECT max(id) FROM pack) ORDER BY id");
        while (query.Step()) {
            packs.push_back({query.Int(0), query.Int(1), query.Int(2) != 0});
        }
        return SqliteTree(connection).Sequence();
    });
}

std::string SqliteCatalog::GetSetting(std::string_view name) {
    return Read([&](SqliteConnection& connection) {
        SqliteStatement query = connection.Prepare("SELECT value FROM setting WHERE name=?");
        query.BindText(1, name);
        return query.Step() ? std::string(query.Bytes(0)) : std::string();
    });
}

void SqliteCatalog::SetSetting(std::string_view name, std::string_view value) {
    Write([&](SqliteConnection& connection) {
        SqliteStatement insert =
            connection.Prepare("INSERT OR REPLACE INTO setting(name, value) VALUES(?, ?)");
        insert.BindText(1, name).BindText(2, value).Run();
    });
}

ServiceStatistics SqliteCatalog::Statistics() {
    return Read([&](SqliteConnection& connection) {
        ServiceStatistics statistics;
        SqliteStatement records = connection.Prepare(
            "SELECT count(*) FILTER (WHERE kind=0), count(*) FILTER (WHERE kind=1),"
            " coalesce(sum(size) FILTER (WHERE kind=0), 0) FROM record");
        records.Step();
        statistics.files = records.Int(0);
        statistics.folders = records.Int(1) - 1;  // without the root
        statistics.fileBytes = records.Int(2);
        SqliteStatement chunks = connection.Prepare(
            "SELECT count(*), coalesce(sum(size), 0), coalesce(sum(stored), 0) FROM chunk");
        chunks.Step();
        statistics.chunks = chunks.Int(0);
        statistics.chunkBytes = chunks.Int(1);
        statistics.storedBytes = chunks.Int(2);
        SqliteStatement packs = connection.Prepare("SELECT count(*), coalesce(sum(bytes), 0) FROM pack");
        packs.Step();
        statistics.packs = packs.Int(0);
        statistics.packBytes = packs.Int(1);
        statistics.tasks = connection.Number("SELECT count(*) FROM task");
        return statistics;
    });
}

int64_t SqliteCatalog::OwnBytes() {
    return Read([&](SqliteConnection& connection) {
        return connection.Number("PRAGMA page_count") * connection.Number("PRAGMA page_size");
    });
}

}  // namespace rampart
