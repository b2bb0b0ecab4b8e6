// What a stored state is compared with: a later state, or the disk.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "restore/node_kind.h"
#include "restore/tree_state.h"
#include "restore/vault_difference.h"

namespace rampart {

struct LaterEntry {
    std::string name;  // UTF-8, as records have it
    NodeKind kind = NodeKind::kFile;
    StateEntry stored;            // of a state
    platform::FileStatus status;  // of the disk
    bool isUnknown = false;       // it is there, and no more can be told of it, which was told
};

// A path on both sides.
struct ComparedPlace {
    std::string serverPath;
    CString localPath;  // empty between two states
};

// What a task makes of a path.
enum class Taking : uint8_t {
    kTaken,
    kWalked,  // a folder of which only what lies in it may be taken
    kLeftOut,
};

// One thread.
class LaterSide {
public:
    virtual ~LaterSide() = default;
    // `isKnown` false: nobody can tell what it holds, which was told.
    virtual ServiceResult Entries(const ComparedPlace& folder, std::vector<LaterEntry>& entries,
                                  bool& isKnown) = 0;
    // A single file, link or folder; none if it is not there.
    virtual ServiceResult Entry(const ComparedPlace& place, std::optional<LaterEntry>& entry,
                                bool& isKnown) = 0;
    virtual Taking TakingOf(const ComparedPlace& place, NodeKind kind, bool isStored,
                            uint32_t attributes) = 0;
    // Of two entries of one kind at `place`; none if they are the same.
    virtual ServiceResult Compare(const ComparedPlace& place, const StateEntry& before,
                                  const LaterEntry& after, std::optional<DifferenceKind>& change) = 0;
    // Whether what is stored under a name may be found under one that differs in case alone.
    virtual bool MatchesOtherCase() const = 0;
    // Whether a folder of both sides can be looked into; false was told.
    virtual bool MayEnter(const ComparedPlace& place, const StateEntry& before, const LaterEntry& after) = 0;
};

}  // namespace rampart
