// Makes a catalog anew from the newest sound copy of it and from the packs.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "storage/storage_service.h"

namespace rampart {

struct RepairOptions {
    // Called now and then with the packs' bytes looked at and the whole of them; false cancels.
    std::function<bool(int64_t done, int64_t total)> progress;
};

struct RepairReport {
    enum Base { kCatalog, kSnapshot, kNothing };
    static constexpr size_t kMostLacking = 1000;

    Base base = kNothing;        // where names and versions come from
    int64_t baseTime = kNoTime;  // of the snapshot
    bool changed = false;        // otherwise the catalog was in order
    bool lostRecords = false;    // changes later than the base are known to have been made
    std::string setAside;        // name of the old catalog in the vault's folder; empty if none
    int64_t files = 0;           // versions included
    int64_t folders = 0;
    int64_t chunks = 0;
    int64_t newChunks = 0;  // that the base did not know
    int64_t packs = 0;
    int64_t filesLacking = 0;          // files some of whose content is in no pack
    std::vector<std::string> lacking;  // paths of the first kMostLacking of them
};

}  // namespace rampart
