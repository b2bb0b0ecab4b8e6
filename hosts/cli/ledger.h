// The ledger of what was not protected: every path that could not be read or was skipped, with the reason.
#pragma once

#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_set>
#include <vector>

#include "engine/vaultlib.h"
#include "options.h"

namespace rampart::cli {

class Ledger {
public:
    Ledger();  // listens to the engine until it is destroyed; one at a time
    ~Ledger();
    Ledger(Ledger const&) = delete;
    Ledger& operator=(Ledger const&) = delete;

    void Add(SkippedEntry const& entry);
    // For restores, which name what they left out in native form themselves.
    void Add(std::string const& path, std::string const& reason, bool isError);

    bool IsEmpty() const;
    bool HasErrors() const;
    size_t Count() const;
    nlohmann::json ToJson() const;
    // Every path that failed, one line each; of those that are skipped by their kind (links, sockets, ...)
    // the first few of each kind. The whole list goes to a file then, which is named.
    void Print(CommonOptions const& common, char const* title = "Not protected:") const;

private:
    struct Entry {
        std::string path;
        std::string reason;
        bool isError;
    };
    std::string WriteFile() const;

    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries;
    std::unordered_set<std::string> m_paths;
};

}  // namespace rampart::cli
