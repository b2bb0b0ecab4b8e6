// The storage service that this process is connected to, and what belongs to the connection: the session, the
// mirror of its tree, what was learned about the account.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <unordered_map>

#include "framework/guarded.h"
#include "interfaces/transferlib.h"
#include "interfaces/vault_admin.h"
#include "storage/storage_service.h"
#include "transferlib/server_mirror.h"

namespace rampart {

// Of the record of an upload that is under way.
inline constexpr char kPartialSuffix[] = ".part";

// Any thread. Lives as long as an operation uses it, also after the process connected to another service.
class ServiceConnection {
public:
    ServiceConnection(std::shared_ptr<StorageService> service, std::string location);

    StorageService& Service() { return *m_service; }
    ServerMirror& Mirror() { return m_mirror; }
    // Native path of the vault; empty if the service is no vault in a folder.
    const std::string& Location() const { return m_location; }

    ServiceResult Logon(const std::string& user, const std::string& password);
    // Logs on with the saved credentials unless a session is there.
    ServiceResult EnsureSession();
    std::string User();
    std::string Password();

    // The account's limits, asked for again after a while; the defaults if they cannot be had.
    AccountLimits Limits();

    // Sends chunks. They count as stored once a commit covers them: until then the vault may drop them.
    ServiceResult PutChunks(std::span<const Chunk> chunks);
    // Commits files, counts them and enters them into the mirror.
    ServiceResult CommitFiles(std::span<const FileCommit> files);
    // As StorageService; a commit as that of files.
    ServiceResult RecordProgress(const std::string& folder, const std::string& name, int64_t storedBytes,
                                 int64_t modifiedTime);
    // As StorageService, and enter what changed into the mirror.
    ServiceResult SetAttributes(std::span<const AttributeCommit> commits);
    ServiceResult MarkGone(std::span<const std::string> paths, int64_t when);
    TransferTotals Totals() const { return {m_files, m_bytes, m_storedBytes}; }

private:
    using SentChunks = std::unordered_map<Digest, int64_t, DigestHash>;  // with their bytes in the vault

    // Runs `commit`, and counts what it made lasting of the chunks that were sent before.
    template <typename Commit>
    ServiceResult CommitSent(const Commit& commit);
    int64_t BytesStored(const SentChunks& chunks);

    const std::shared_ptr<StorageService> m_service;
    const std::string m_location;
    ServerMirror m_mirror;

    std::atomic<bool> m_hasSession{false};
    std::atomic<int64_t> m_files{0};
    std::atomic<int64_t> m_bytes{0};
    std::atomic<int64_t> m_storedBytes{0};
    // Since a failure the vault may have dropped some of what was sent.
    std::atomic<bool> m_sentInDoubt{false};

    std::mutex m_mutex;  // guards what follows
    SentChunks m_sent;   // by no commit yet
    std::string m_user;
    std::string m_password;
    AccountLimits m_limits;
    uint64_t m_limitsUntilMs = 0;
};

// The connection in force. Without one the configured vault is opened, and the one in the user's own data
// made if it is missing. Null if that fails; `failure` (may be null) says why.
std::shared_ptr<ServiceConnection> CurrentConnection(ServiceResult* failure = nullptr);
// Without opening anything; may be null.
std::shared_ptr<ServiceConnection> PresentConnection();
// Null ends the connection.
void SetConnection(std::shared_ptr<ServiceConnection> connection);

// Those of an account that says nothing, and while the service cannot be asked.
AccountLimits DefaultLimits();

// Connects the process to any service, for tests and for hosts that bring their own.
void SetStorageService(std::shared_ptr<StorageService> service);

// Runs `body(connection)`, which gives a ServiceResult, on a connection with a session. Its code; what it
// throws is kFailed. `message` (may be null) gets the text of a failure. The logon status follows what
// happens.
template <typename Body>
int WithService(TextView line, CString* message, Body&& body) {
    ServiceResult result = Guarded(line, ServiceResult(kFailed, std::string()), [&] {
        ServiceResult failure;
        const std::shared_ptr<ServiceConnection> connection = CurrentConnection(&failure);
        if (!connection) {
            return failure;
        }
        if (ServiceResult session = connection->EnsureSession(); !session.Ok()) {
            return session;
        }
        return ServiceResult(body(*connection));
    });
    if (message != nullptr && !result.Ok()) {
        *message = CString::FromUtf8(result.message.empty() ? ServiceCodeText(result.code) : result.message);
    }
    return result.code;
}

// The process's logon status.
ManageLogonStatus& LogonStatus();
// A failure to connect. While somebody tries again and again the status is his, who also says how that ended.
void NoteNotConnected();

}  // namespace rampart
