// What the stages of one restore share.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "restore/attribute_store.h"
#include "restore/restore_plan.h"
#include "restore/target_folders.h"
#include "restore/vault_restore.h"
#include "storage/storage_service.h"

namespace rampart {

struct RestoreContext {
    RestoreContext(StorageService& vault, const RestoreRequest& wanted, RestoreReport& outcome)
        : service(vault), request(wanted), report(outcome), folders(plan), attributes(vault) {}

    // Any thread.
    void Tell(const CString& path, const std::string& reason, bool isError) {
        std::lock_guard lock(tellMutex);
        if (request.leftOut) {
            request.leftOut({path, CString::FromUtf8(reason), isError});
        }
    }
    void Fail(PlannedEntry& entry, const std::string& reason) {
        entry.state = EntryState::kFailed;
        ++failed;
        Tell(plan.PathOf(entry), reason, true);
    }
    void Conflict(PlannedEntry& entry, const std::string& reason) {
        entry.state = EntryState::kConflict;
        ++conflicts;
        Tell(plan.PathOf(entry), reason, true);
    }

    StorageService& service;
    const RestoreRequest& request;
    RestoreReport& report;
    RestorePlan plan;
    TargetFolders folders;
    AttributeStore attributes;

    std::atomic<bool> cancelled{false};
    std::atomic<bool> noRoom{false};  // the target's disk is full
    std::atomic<bool> ownersWithheld{false};
    std::atomic<int64_t> failed{0};
    std::atomic<int64_t> conflicts{0};
    std::atomic<int64_t> there{0};
    std::atomic<int64_t> files{0};
    std::atomic<int64_t> bytes{0};  // moved so far
    std::atomic<int64_t> verified{0};
    std::atomic<uint32_t> current{kNoIndex};  // an entry that is being worked on
    std::mutex tellMutex;
};

// The system's words for LastError, with what was done.
std::string SystemReason();
// Whether what is there gives way to `entry`; if not, `reason` says why it stays.
bool GivesWay(Overwrite overwrite, const PlannedEntry& entry, bool isFolder, std::string& reason);

}  // namespace rampart
