// The folders that a plan writes into, open as long as they are used. Each is opened out of the one above it,
// so that no link on the way leads anywhere.
#pragma once

#include <memory>
#include <mutex>
#include <unordered_map>

#include "platform/folder_handle.h"
#include "restore/restore_plan.h"

namespace rampart {

// Any thread.
class TargetFolders {
public:
    explicit TargetFolders(const RestorePlan& plan) : m_plan(plan) {}

    // Null with the platform's LastError set if it cannot be opened.
    std::shared_ptr<platform::FolderHandle> Open(uint32_t folder);
    // What was opened may have been replaced since.
    void Forget(uint32_t folder);

private:
    struct Kept {
        std::shared_ptr<platform::FolderHandle> handle;
        uint64_t lastUse = 0;
    };
    std::shared_ptr<platform::FolderHandle> OpenLocked(uint32_t folder);
    std::shared_ptr<platform::FolderHandle> OpenRoot(const PlannedFolder& root) const;
    void MakeRoom();

    const RestorePlan& m_plan;
    std::mutex m_mutex;  // guards what follows
    std::unordered_map<uint32_t, Kept> m_kept;
    uint64_t m_uses = 0;
};

}  // namespace rampart
