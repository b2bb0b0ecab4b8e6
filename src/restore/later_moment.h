// A stored state as the later one of two.
#pragma once

#include "restore/later_side.h"
#include "restore/stored_reader.h"

namespace rampart {

class LaterMoment : public LaterSide {
public:
    LaterMoment(StorageService& service, const DifferenceRequest& request);

    ServiceResult Entries(const ComparedPlace& folder, std::vector<LaterEntry>& entries,
                          bool& isKnown) override;
    ServiceResult Entry(const ComparedPlace& place, std::optional<LaterEntry>& entry, bool& isKnown) override;
    Taking TakingOf(const ComparedPlace&, NodeKind, bool, uint32_t) override { return Taking::kTaken; }
    ServiceResult Compare(const ComparedPlace& place, const StateEntry& before, const LaterEntry& after,
                          std::optional<DifferenceKind>& change) override;
    bool MatchesOtherCase() const override { return false; }
    bool MayEnter(const ComparedPlace&, const StateEntry&, const LaterEntry&) override { return true; }

private:
    ServiceResult CompareContent(const ComparedPlace& place, const StateEntry& before,
                                 const StateEntry& after, bool& same);
    // False, and told, when it is not the one that was listed.
    ServiceResult Open(const ComparedPlace& place, const StateEntry& entry, LocatedFile& file, bool& isOpen);
    ServiceResult ReadAndCompare(LocatedFile before, LocatedFile after, bool& same);

    StorageService& m_service;
    const DifferenceRequest& m_request;
    const std::unique_ptr<TreeState> m_state;
    ChunkCache m_cache;
};

}  // namespace rampart
