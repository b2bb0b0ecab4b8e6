// The ledger of what was not protected: every path that could not be read or was skipped, with the reason.
#pragma once

#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_set>
#include <vector>

#include "engine/vaultlib.h"

namespace rampart::host {

// Safe from any thread.
class Ledger {
public:
    struct Entry {
        std::string path;
        std::string reason;
        bool isError;  // it could not be read, as against a kind that is never backed up
    };

    Ledger() = default;
    explicit Ledger(nlohmann::json const& list);  // what ToJson gave

    void Add(SkippedEntry const& entry);
    // For those who name what they left out in native form themselves.
    void Add(std::string const& path, std::string const& reason, bool isError);

    bool IsEmpty() const { return Count() == 0; }
    bool HasErrors() const;
    size_t Count() const;
    std::vector<Entry> Entries() const;
    nlohmann::json ToJson() const;

private:
    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries;
    std::unordered_set<std::string> m_paths;
};

// Tells of all that the engine cannot read or skips, from the thread that meets it. One at a time.
class SkippedEntryListener {
public:
    explicit SkippedEntryListener(std::function<void(SkippedEntry const&)> tell);
    ~SkippedEntryListener();
    SkippedEntryListener(SkippedEntryListener const&) = delete;
    SkippedEntryListener& operator=(SkippedEntryListener const&) = delete;

private:
    std::function<void(SkippedEntry const&)> m_tell;
};

}  // namespace rampart::host
