// Brings the content of the planned entries, by a few threads, in the order in which the vault keeps it.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "restore/restore_context.h"

namespace rampart {

class ContentStage {
public:
    explicit ContentStage(RestoreContext& context) : m_context(context) {}

    // Compares what has to be compared, then writes; with a dry run only compares. Returns early after a
    // cancel.
    void Write();
    // Other names of what is there now; where that is not possible, files of their own.
    void Link();
    // Reads back what was written, and tells of what is not as it was stored.
    void Verify();

private:
    // Calls `body` for pieces of `entries` on several threads, and tells the progress meanwhile.
    void InParallel(const std::vector<uint32_t>& entries,
                    const std::function<void(std::span<const uint32_t>)>& body);
    void WriteBatch(std::span<const uint32_t> batch);
    void ReadAndWrite(const std::vector<uint32_t>& batch);
    // Leaves an entry waiting if it has to be written.
    void Compare(PlannedEntry& entry);
    bool IsAsStored(const PlannedEntry& entry, bool fromDisk) const;
    void TellProgress(uint64_t startMs);

    RestoreContext& m_context;
};

}  // namespace rampart
