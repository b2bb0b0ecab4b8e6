// What a restore does: folders to be there, and what comes into them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "framework/framework.h"
#include "storage/storage_service.h"

namespace rampart {

inline constexpr uint32_t kNoIndex = UINT32_MAX;

struct PlannedFolder {
    uint32_t parent = kNoIndex;  // none: the root of a place
    Text name;                   // of a root its engine path
    int64_t attributes = 0;
    int64_t writeTime = kNoTime;
    bool isThere = false;
    bool isWanted = false;   // part of the state itself, or something comes into it
    bool replaces = false;   // something else is there and gives way
    bool isBlocked = false;  // something else is there and stays
    bool isInPlace = false;  // a root whose last name must be no link
    bool takesOwnAttributes = false;
};

enum class EntryKind : uint8_t { kFile, kLink, kSpecial };

enum class EntryState : uint8_t {
    kWaiting,
    kCompare,  // a file of that size is there: its content decides
    kThere,    // with the same content
    kRestored,
    kConflict,  // something else is there and stays
    kFailed,
};

struct PlannedEntry {
    uint32_t folder = 0;
    EntryKind kind = EntryKind::kFile;
    EntryState state = EntryState::kWaiting;
    bool replaces = false;           // something is there and gives way
    bool isNewerThere = false;       // what is there was written later
    bool isRestoredContent = false;  // its bytes were written by this run
    uint32_t leader = kNoIndex;      // another name of that entry
    Text name;
    int64_t size = 0;
    int64_t writeTime = kNoTime;
    int64_t createdTime = kNoTime;
    int64_t attributes = 0;
    std::vector<PlacedChunk> chunks;
};

class RestorePlan {
public:
    // Parents stand before their children.
    std::vector<PlannedFolder> folders;
    std::vector<PlannedEntry> entries;

    CString PathOf(uint32_t folder) const;
    CString PathOf(const PlannedEntry& entry) const;
};

}  // namespace rampart
