#include "storage/embedded_service.h"

#include <atomic>
#include <charconv>

#include "platform/clock.h"
#include "platform/process.h"
#include "storage/account_settings.h"
#include "storage/catalog_snapshot.h"
#include "storage/pack_reader.h"
#include "storage/run_reader.h"
#include "storage/server_path.h"
#include "storage/storage_error.h"
#include "storage/vault_horizon.h"
#include "storage/vault_verify.h"

namespace rampart {
namespace {

using account_setting::Number;

constexpr char kOutboxPrefix[] = "outbox/";
constexpr size_t kSessionIdBytes = 16;

std::string RandomHex(size_t bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : platform::RandomBytes(bytes)) {
        text.push_back(kDigits[static_cast<unsigned char>(c) >> 4]);
        text.push_back(kDigits[c & 15]);
    }
    return text;
}

}  // namespace

EmbeddedService::EmbeddedService(std::string name, std::unique_ptr<Catalog> catalog,
                                 std::unique_ptr<ObjectStore> store, const VaultOptions& options)
    : m_name(std::move(name)),
      m_catalog(std::move(catalog)),
      m_store(std::move(store)),
      m_packs(*m_catalog, *m_store, options.packLimit),
      m_readOnly(options.readOnly),
      m_snapshotEverySeconds(options.snapshotEverySeconds) {}

EmbeddedService::~EmbeddedService() {
    Leave();
}

void EmbeddedService::SetPlace(std::string temporaryBase, std::unique_ptr<platform::FileHandle> lock) {
    m_temporaryBase = std::move(temporaryBase);
    m_lock = std::move(lock);
}

ServiceResult EmbeddedService::Changed(int64_t sequence) {
    if (sequence != 0) {
        m_changed = true;
    }
    ServiceResult result;
    result.sequence = sequence;
    return result;
}

// Never the reason why anything fails: what could not be written is written the next time.
void EmbeddedService::Leave() {
    std::lock_guard lock(m_leaveMutex);
    if (m_readOnly || m_temporaryBase.empty() || !m_changed.exchange(false)) {
        return;
    }
    const ServiceResult left = AtServiceEdge([&] {
        if (LackOfCatalog(*m_catalog, *m_store, false).empty()) {
            StoreHorizon(*m_store, HorizonOf(*m_catalog));
            const int64_t now = platform::CurrentClock().NowNanoseconds();
            if (IsSnapshotDue(*m_catalog, *m_store, now, m_snapshotEverySeconds)) {
                MakeSnapshot(*m_catalog, *m_store, now, m_temporaryBase);
            }
        }
        return ServiceResult();
    });
    static_cast<void>(left);
}

void EmbeddedService::MarkDamaged(const Digest& digest) {
    if (!m_readOnly) {
        const ServiceResult marked = AtServiceEdge([&] {
            return Changed(m_catalog->MarkDamaged({&digest, 1}));
        });
        static_cast<void>(marked);  // the caller tells of the damage, whether or not it could be noted
    }
}

int64_t EmbeddedService::NumberSetting(const char* name, int64_t fallback) {
    const std::string text = m_catalog->GetSetting(name);
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return text.empty() || error != std::errc() ? fallback : value;
}

ItemLimit EmbeddedService::PresentItemLimit() {
    return ItemLimit(
        *m_catalog,
        NumberSetting(account_setting::kMaxItemsOfTask.name, account_setting::kMaxItemsOfTask.fallback),
        NumberSetting(account_setting::kPaid.name, account_setting::kPaid.fallback) != 0);
}

void EmbeddedService::RequireWritable() const {
    if (m_readOnly) {
        throw StorageError(kVaultReadOnly, "the vault at " + m_name + " cannot be written");
    }
}

ServiceResult EmbeddedService::Logon(const std::string& user, const std::string&) {
    return AtServiceEdge([&] {
        SessionInfo session;
        session.sessionId = RandomHex(kSessionIdBytes);
        session.userName = user;
        session.customerId = m_catalog->GetSetting(account_setting::kCustomerId);
        session.userType = m_catalog->GetSetting(account_setting::kUserType);
        session.paid = NumberSetting(account_setting::kPaid.name, account_setting::kPaid.fallback) != 0;
        session.maySubscribe =
            NumberSetting(account_setting::kMaySubscribe.name, account_setting::kMaySubscribe.fallback) != 0;
        std::lock_guard lock(m_sessionMutex);
        m_session = std::move(session);
        return ServiceResult();
    });
}

SessionInfo EmbeddedService::Session() {
    std::lock_guard lock(m_sessionMutex);
    return m_session;
}

ServiceResult EmbeddedService::Ping() {
    return AtServiceEdge([&] {
        m_catalog->ChangeSequence();
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::Space(AccountSpace& space) {
    return AtServiceEdge([&] {
        space.usedBytes = m_catalog->PackBytes() + m_packs.PendingBytes();
        space.otherBytes = m_catalog->OwnBytes();
        space.totalBytes = space.usedBytes + space.otherBytes + m_store->FreeBytes();
        const int64_t quota =
            NumberSetting(account_setting::kQuotaBytes.name, account_setting::kQuotaBytes.fallback);
        if (quota > 0) {
            space.totalBytes = std::min(space.totalBytes, quota);
        }
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::Limits(AccountLimits& limits) {
    return AtServiceEdge([&] {
        const auto number = [&](const Number& setting) {
            return NumberSetting(setting.name, setting.fallback);
        };
        limits.maxItemsOfTask = number(account_setting::kMaxItemsOfTask);
        limits.freeMaxFileBytes = number(account_setting::kFreeMaxFileBytes);
        limits.batchBytes = number(account_setting::kBatchBytes);
        limits.workerMaxFileBytes = number(account_setting::kWorkerMaxFileBytes);
        limits.parallelTransfer = number(account_setting::kParallelTransfer) != 0;
        limits.snapshotCopies = number(account_setting::kSnapshotCopies) != 0;
        // An account that never set its filters leaves them to the client's own defaults.
        const auto filter = [&](const char* name) {
            const std::string text = m_catalog->GetSetting(name);
            return text.empty() ? std::string(account_setting::kClientFilters) : text;
        };
        limits.fileFilter = filter(account_setting::kFileFilter);
        limits.folderFilter = filter(account_setting::kFolderFilter);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::GetSetting(const std::string& name, std::string& value) {
    return AtServiceEdge([&] {
        value = m_catalog->GetSetting(name);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::SetSetting(const std::string& name, const std::string& value) {
    return AtServiceEdge([&] {
        m_catalog->SetSetting(name, value);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::FindRecord(const std::string& path, StoredRecord& record) {
    return AtServiceEdge([&] {
        m_catalog->FindRecord(path, record);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::ListFolder(const std::string& path, const RecordVisitor& visit,
                                          int64_t& sequence) {
    return AtServiceEdge([&] {
        sequence = m_catalog->ListFolder(path, visit);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::ListTree(const std::string& path, const FolderVisitor& visit,
                                        int64_t& sequence) {
    return AtServiceEdge([&] {
        sequence = m_catalog->ListTree(path, visit);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::ListMoment(const std::string& path, const std::string& historyPath,
                                          int64_t moment, const MomentVisitor& visit) {
    return AtServiceEdge([&] {
        m_catalog->ListMoment(path, historyPath, moment, visit);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::ChangeSequence(int64_t& sequence) {
    return AtServiceEdge([&] {
        sequence = m_catalog->ChangeSequence();
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::ChangedFolders(int64_t since, size_t most, std::vector<std::string>& folders,
                                              bool& tooMany, int64_t& sequence) {
    return AtServiceEdge([&] {
        sequence = m_catalog->ChangedFolders(since, most, folders, tooMany);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::CreateFolder(const std::string& path, const std::string& description,
                                            uint32_t flags, int64_t& id) {
    return AtServiceEdge([&] {
        ItemLimit limit = PresentItemLimit();
        const ServerPathParts parts = SplitLastName(path);
        limit.Add(parts.folder, parts.name);
        limit.Require();
        return Changed(m_catalog->CreateFolder(path, description, flags, id));
    });
}

ServiceResult EmbeddedService::Rename(const std::string& path, const std::string& newName) {
    return AtServiceEdge([&] { return Changed(m_catalog->Rename(path, newName)); });
}

ServiceResult EmbeddedService::Describe(const std::string& path, const std::string& description) {
    return AtServiceEdge([&] { return Changed(m_catalog->Describe(path, description)); });
}

ServiceResult EmbeddedService::SetAttributes(std::span<const AttributeCommit> commits) {
    return AtServiceEdge([&] { return Changed(m_catalog->SetAttributes(commits)); });
}

ServiceResult EmbeddedService::MarkGone(std::span<const std::string> paths, int64_t when) {
    return AtServiceEdge([&] { return Changed(m_catalog->MarkGone(paths, when)); });
}

ServiceResult EmbeddedService::Delete(std::span<const std::string> paths,
                                      const std::function<bool(size_t)>& proceed) {
    return AtServiceEdge([&] {
        ServiceResult result;
        for (size_t done = 0; done < paths.size(); ++done) {
            if (proceed && !proceed(done)) {
                result.code = kCancelled;
                result.message = ServiceCodeText(kCancelled);
                return result;
            }
            const int64_t sequence = m_catalog->Delete(paths[done]);
            result.sequence = sequence != 0 ? sequence : result.sequence;
        }
        return result;
    });
}

ServiceResult EmbeddedService::CopyFile(const std::string& path, const std::string& targetFolder,
                                        const std::string& newName, int64_t& id) {
    return AtServiceEdge([&] { return Changed(m_catalog->CopyFile(path, targetFolder, newName, id)); });
}

ServiceResult EmbeddedService::HasChunks(std::span<const Digest> digests, std::vector<uint8_t>& known) {
    return AtServiceEdge([&] {
        // What is pending is asked first: it may enter the catalog in between, but not leave it.
        known.assign(digests.size(), 0);
        m_packs.MarkPending(digests, known, !m_readOnly);
        const auto places = m_catalog->FindChunks(digests);
        for (size_t i = 0; i < digests.size(); ++i) {
            known[i] |= static_cast<uint8_t>(places[i].has_value() && !places[i]->damaged);
        }
        return ServiceResult();
    });
}

void EmbeddedService::CheckQuota(int64_t moreBytes) {
    const int64_t quota =
        NumberSetting(account_setting::kQuotaBytes.name, account_setting::kQuotaBytes.fallback);
    if (quota > 0 && m_catalog->PackBytes() + m_packs.PendingBytes() + moreBytes > quota) {
        throw StorageError(kNoSpace, "the quota of the vault at " + m_name + " is used up");
    }
}

ServiceResult EmbeddedService::PutChunks(std::span<const Chunk> chunks) {
    return AtServiceEdge([&] {
        RequireWritable();
        int64_t bytes = 0;
        for (const Chunk& chunk : chunks) {
            if (chunk.size > kMostChunkBytes || chunk.stored.size() > 2 * kMostChunkBytes) {
                return ServiceResult(kInvalidRequest, "a chunk is too long");
            }
            bytes += static_cast<int64_t>(chunk.stored.size());
        }
        CheckQuota(bytes);
        m_packs.Add(chunks);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::CommitFiles(std::span<const FileCommit> files, std::vector<int64_t>& ids) {
    return AtServiceEdge([&] {
        RequireWritable();
        ItemLimit limit = PresentItemLimit();
        for (const FileCommit& file : files) {
            limit.Add(file.folder, file.name);
        }
        limit.Require();
        int64_t sequence = 0;
        m_packs.Commit([&](std::span<const PlacedChunk> chunks, std::span<const PackState> packs) {
            sequence = m_catalog->Commit({chunks, packs, files, nullptr}, ids);
        });
        return Changed(sequence);
    });
}

ServiceResult EmbeddedService::RecordProgress(const std::string& folder, const std::string& name,
                                              int64_t storedBytes, int64_t modifiedTime) {
    return AtServiceEdge([&] {
        RequireWritable();
        const CatalogCommit::Partial partial{folder, name, storedBytes, modifiedTime};
        int64_t sequence = 0;
        std::vector<int64_t> ids;
        m_packs.Commit([&](std::span<const PlacedChunk> chunks, std::span<const PackState> packs) {
            sequence = m_catalog->Commit({chunks, packs, {}, &partial}, ids);
        });
        return Changed(sequence);
    });
}

ServiceResult EmbeddedService::ReadAttributes(int64_t attributes, std::string& bytes) {
    return AtServiceEdge([&] {
        bytes = m_catalog->ReadAttributes(attributes);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::OpenFile(const std::string& path, FileContent& content) {
    return AtServiceEdge([&] {
        m_catalog->OpenFile(path, content);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::ReadChunks(std::span<const Digest> digests,
                                          const std::function<bool(const Chunk&)>& visit) {
    return AtServiceEdge([&] {
        const PackReader reader(*m_store);
        const auto places = m_catalog->FindChunks(digests);
        std::string buffer;
        const auto read = [&](const PlacedChunk& chunk) {
            try {
                return reader.Read(chunk, buffer);
            } catch (const StorageError& error) {
                if (error.code() == kContentDamaged) {
                    MarkDamaged(chunk.digest);
                }
                throw;
            }
        };
        for (size_t i = 0; i < digests.size(); ++i) {
            if (!places[i]) {
                return ServiceResult(kContentMissing, "chunk " + ToHex(digests[i]) + " is not in the vault");
            }
            if (!visit(read({digests[i], *places[i]}))) {
                return ServiceResult(kCancelled, ServiceCodeText(kCancelled));
            }
        }
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::LocateFiles(const std::string& folder, std::span<const std::string> names,
                                           std::vector<LocatedFile>& files) {
    return AtServiceEdge([&] {
        m_catalog->LocateFiles(folder, names, files);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::ReadPlaced(std::span<const PlacedChunk> chunks,
                                          const PlacedChunkVisitor& visit) {
    return AtServiceEdge([&] {
        return RunReader(*m_catalog, *m_store).Read(chunks, visit)
                   ? ServiceResult()
                   : ServiceResult(kCancelled, ServiceCodeText(kCancelled));
    });
}

ServiceResult EmbeddedService::StoreTask(const std::string& request) {
    return AtServiceEdge([&] {
        m_catalog->StoreTask(request);
        Leave();  // a run ends with this
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::QueryTasks(const std::string& name, bool paths, std::string& reply) {
    return AtServiceEdge([&] {
        reply = m_catalog->QueryTasks(name, paths);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::TaskNames(std::vector<std::string>& names) {
    return AtServiceEdge([&] {
        names = m_catalog->TaskNames();
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::DeleteTask(const std::string& name) {
    return AtServiceEdge([&] {
        m_catalog->DeleteTask(name);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::QueueMail(const std::string& message) {
    return AtServiceEdge([&] {
        RequireWritable();
        const std::string moment = std::to_string(platform::CurrentClock().NowNanoseconds());
        m_store->Put(kOutboxPrefix + moment + "-" + RandomHex(4) + ".eml", message);
        return ServiceResult();
    });
}

ServiceResult EmbeddedService::Verify(const VerifyOptions& options, VerifyReport& report) {
    return AtServiceEdge([&] {
        bool marked = false;
        ServiceResult result = VerifyVault(*m_catalog, *m_store, options, report, !m_readOnly, marked);
        if (marked) {
            m_changed = true;
        }
        return result;
    });
}

ServiceResult EmbeddedService::Statistics(ServiceStatistics& statistics) {
    return AtServiceEdge([&] {
        statistics = m_catalog->Statistics();
        return ServiceResult();
    });
}

}  // namespace rampart
