// How many files and folders a task may hold in the vault: the account's bound, for what is about to be
// stored.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "storage/catalog.h"

namespace rampart {

// Collects what is new, and then compares. One thread; made anew for each call of the service.
class ItemLimit {
public:
    ItemLimit(Catalog& catalog, int64_t most, bool isPaid);

    // Something of that name is to be stored in the folder. Nothing of the like may be there yet.
    void Add(std::string_view folder, std::string_view name);
    // Throws kItemLimit, or kFreeItemLimit for an account that is free, if a task would hold too much.
    void Require() const;

private:
    struct Hold {
        std::string path;  // as the task's row has it
        int64_t added = 0;
    };

    int64_t CountItems(const std::string& path, int64_t enough) const;

    Catalog& m_catalog;
    const int64_t m_most;
    const bool m_isPaid;
    bool m_isNear = true;                 // whether the whole vault holds as many at all
    std::map<std::string, Hold> m_tasks;  // by the folder of a task, folded and with a backslash behind
};

}  // namespace rampart
