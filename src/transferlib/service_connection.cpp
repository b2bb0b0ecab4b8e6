#include "transferlib/service_connection.h"

#include <algorithm>

#include "interfaces/baselib.h"
#include "platform/clock.h"
#include "storage/account_settings.h"
#include "storage/server_path.h"
#include "transferlib/vault_address.h"

namespace rampart {
namespace {

constexpr uint64_t kLimitsForMs = 30'000;
// After a vault could not be opened the next try is made no sooner.
constexpr uint64_t kNextOpenAfterMs = 1000;

struct Holder {
    std::mutex mutex;  // guards what follows
    std::shared_ptr<ServiceConnection> connection;

    std::mutex openMutex;  // one opening at a time; guards what follows
    ServiceResult openFailure;
    uint64_t nextOpenMs = 0;
};

Holder& TheHolder() {
    static Holder holder;
    return holder;
}

ServiceResult OpenConfigured() {
    VaultAddress address;
    if (ServiceResult resolved = ResolveVaultAddress(CString(), address); !resolved.Ok()) {
        return resolved;
    }
    std::shared_ptr<StorageService> service;
    ServiceResult opened = OpenVaultAt(address.location, address.isDefault, service);
    if (opened.Ok()) {
        SetConnection(std::make_shared<ServiceConnection>(std::move(service), address.location));
    }
    return opened;
}

}  // namespace

AccountLimits DefaultLimits() {
    using namespace account_setting;
    AccountLimits limits;
    limits.maxItemsOfTask = kMaxItemsOfTask.fallback;
    limits.freeMaxFileBytes = kFreeMaxFileBytes.fallback;
    limits.batchBytes = kBatchBytes.fallback;
    limits.workerMaxFileBytes = kWorkerMaxFileBytes.fallback;
    limits.parallelTransfer = kParallelTransfer.fallback != 0;
    limits.snapshotCopies = kSnapshotCopies.fallback != 0;
    limits.fileFilter = limits.folderFilter = kClientFilters;
    return limits;
}

ManageLogonStatus& LogonStatus() {
    static ManageLogonStatus status;
    return status;
}

void NoteNotConnected() {
    if (LogonStatus().GetLogOnStatus() != LogonStatusConnecting) {
        LogonStatus().SetLogOnStatus(LogonStatusOff);
    }
}

ServiceConnection::ServiceConnection(std::shared_ptr<StorageService> service, std::string location)
    : m_service(std::move(service)),
      m_location(std::move(location)),
      m_mirror(m_service),
      m_limits(DefaultLimits()) {}

ServiceResult ServiceConnection::Logon(const std::string& user, const std::string& password) {
    ServiceResult result = m_service->Logon(user, password);
    if (!result.Ok()) {
        NoteNotConnected();
    } else {
        LogonStatus().SetLogOnStatus(LogonStatusOn);
        m_hasSession = true;
        std::lock_guard lock(m_mutex);
        m_user = user;
        m_password = password;
    }
    return result;
}

ServiceResult ServiceConnection::EnsureSession() {
    if (m_hasSession) {
        return {};
    }
    CString user, password;
    int saved = 0, autoLogon = 0;
    MiscUtil::ReadUserSettings(user, password, saved, autoLogon);
    return Logon(user.ToUtf8(), password.ToUtf8());
}

std::string ServiceConnection::User() {
    std::lock_guard lock(m_mutex);
    return m_user;
}

std::string ServiceConnection::Password() {
    std::lock_guard lock(m_mutex);
    return m_password;
}

AccountLimits ServiceConnection::Limits() {
    const uint64_t now = platform::CurrentClock().MonotonicMilliseconds();
    {
        std::lock_guard lock(m_mutex);
        if (now < m_limitsUntilMs) {
            return m_limits;
        }
        m_limitsUntilMs = now + kLimitsForMs;
    }
    AccountLimits limits;
    const bool known = m_service->Limits(limits).Ok();
    std::lock_guard lock(m_mutex);
    if (known) {
        m_limits = limits;
    }
    return m_limits;
}

ServiceResult ServiceConnection::PutChunks(std::span<const Chunk> chunks) {
    ServiceResult result = m_service->PutChunks(chunks);
    std::lock_guard lock(m_mutex);
    if (!result.Ok()) {
        m_sentInDoubt = m_sentInDoubt || !m_sent.empty();
        return result;
    }
    for (const Chunk& chunk : chunks) {
        m_sent.emplace(chunk.digest, static_cast<int64_t>(chunk.stored.size()));
    }
    return result;
}

template <typename Commit>
ServiceResult ServiceConnection::CommitSent(const Commit& commit) {
    SentChunks covered;
    {
        std::lock_guard lock(m_mutex);
        covered.swap(m_sent);
    }
    ServiceResult result = commit();
    if (result.Ok()) {
        m_storedBytes += BytesStored(covered);
        return result;
    }
    std::lock_guard lock(m_mutex);
    m_sent.merge(covered);  // a later commit may cover them yet
    m_sentInDoubt = m_sentInDoubt || !m_sent.empty();
    return result;
}

int64_t ServiceConnection::BytesStored(const SentChunks& chunks) {
    std::vector<Digest> digests;
    std::vector<int64_t> sizes;
    for (const auto& [digest, size] : chunks) {
        digests.push_back(digest);
        sizes.push_back(size);
    }
    std::vector<uint8_t> known(digests.size(), 1);
    if (m_sentInDoubt && !digests.empty()) {
        std::fill(known.begin(), known.end(), uint8_t{0});
        m_sentInDoubt = !m_service->HasChunks(digests, known).Ok();
    }
    int64_t bytes = 0;
    for (size_t i = 0; i < sizes.size(); ++i) {
        bytes += known[i] != 0 ? sizes[i] : 0;
    }
    return bytes;
}

ServiceResult ServiceConnection::RecordProgress(const std::string& folder, const std::string& name,
                                                int64_t storedBytes, int64_t modifiedTime) {
    return CommitSent([&] { return m_service->RecordProgress(folder, name, storedBytes, modifiedTime); });
}

ServiceResult ServiceConnection::CommitFiles(std::span<const FileCommit> files) {
    std::vector<int64_t> ids;
    ServiceResult result = CommitSent([&] { return m_service->CommitFiles(files, ids); });
    if (!result.Ok()) {
        return result;
    }
    const int64_t now = platform::CurrentClock().NowNanoseconds();
    std::vector<MirrorChange> changes;
    changes.reserve(2 * files.size());
    for (const FileCommit& file : files) {
        MirrorChange& put = changes.emplace_back();
        put.folder = file.folder;
        put.name = file.name;
        put.record.name = file.name;
        put.record.flags = file.flags;
        put.record.size = file.size;
        put.record.modifiedTime = file.modifiedTime;
        put.record.createdTime = file.createdTime;
        put.record.storedTime = now;
        put.record.changeTime = file.changeTime;
        put.record.attributes = ShortName(file.attributes);
        put.record.description = file.description;
        changes.push_back({MirrorChange::kRemovePartial, file.folder, file.name + kPartialSuffix});
        ++m_files;
        m_bytes += file.size;
    }
    m_mirror.Apply(result.sequence, changes);
    return result;
}

ServiceResult ServiceConnection::SetAttributes(std::span<const AttributeCommit> commits) {
    ServiceResult result = m_service->SetAttributes(commits);
    std::vector<MirrorChange> changes;
    for (const AttributeCommit& commit : commits) {
        MirrorChange& change = changes.emplace_back();
        change.kind = MirrorChange::kAttributes;
        change.folder = commit.folder;
        change.name = commit.name;
        change.record.modifiedTime = commit.modifiedTime;
        change.record.changeTime = commit.changeTime;
        change.record.attributes = ShortName(commit.attributes);
    }
    if (result.Ok() && result.sequence != 0) {
        m_mirror.Apply(result.sequence, changes);
    }
    return result;
}

ServiceResult ServiceConnection::MarkGone(std::span<const std::string> paths, int64_t when) {
    ServiceResult result = m_service->MarkGone(paths, when);
    std::vector<MirrorChange> changes;
    for (const std::string& path : paths) {
        const ServerPathParts parts = SplitLastName(path);
        MirrorChange& change = changes.emplace_back();
        change.kind = MirrorChange::kGone;
        change.folder = parts.folder;
        change.name = parts.name;
        change.record.goneTime = when;
    }
    if (result.Ok() && result.sequence != 0) {
        m_mirror.Apply(result.sequence, changes);
    }
    return result;
}

std::shared_ptr<ServiceConnection> PresentConnection() {
    Holder& holder = TheHolder();
    std::lock_guard lock(holder.mutex);
    return holder.connection;
}

std::shared_ptr<ServiceConnection> CurrentConnection(ServiceResult* failure) {
    if (auto present = PresentConnection()) {
        return present;
    }
    Holder& holder = TheHolder();
    std::lock_guard openLock(holder.openMutex);
    if (auto present = PresentConnection()) {
        return present;
    }
    const uint64_t now = platform::CurrentClock().MonotonicMilliseconds();
    if (holder.openFailure.Ok() || now >= holder.nextOpenMs) {
        holder.openFailure = OpenConfigured();
        holder.nextOpenMs = now + kNextOpenAfterMs;
    }
    if (holder.openFailure.Ok()) {
        return PresentConnection();
    }
    NoteNotConnected();
    if (failure != nullptr) {
        *failure = holder.openFailure;
    }
    return nullptr;
}

void SetConnection(std::shared_ptr<ServiceConnection> connection) {
    Holder& holder = TheHolder();
    std::shared_ptr<ServiceConnection> old;  // ends outside the lock
    std::lock_guard lock(holder.mutex);
    old = std::exchange(holder.connection, std::move(connection));
    if (!holder.connection) {
        LogonStatus().SetLogOnStatus(LogonStatusOff);
    }
}

void SetStorageService(std::shared_ptr<StorageService> service) {
    SetConnection(service ? std::make_shared<ServiceConnection>(std::move(service), std::string()) : nullptr);
}

}  // namespace rampart
