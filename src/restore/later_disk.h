// The local disk as it is now, compared with a stored state by what a run would go by.
#pragma once

#include "restore/later_side.h"
#include "restore/task_filter.h"

namespace rampart {

class LaterDisk : public LaterSide {
public:
    LaterDisk(StorageService& service, const DifferenceRequest& request);

    ServiceResult Entries(const ComparedPlace& folder, std::vector<LaterEntry>& entries,
                          bool& isKnown) override;
    ServiceResult Entry(const ComparedPlace& place, std::optional<LaterEntry>& entry, bool& isKnown) override;
    Taking TakingOf(const ComparedPlace& place, NodeKind kind, bool isStored, uint32_t attributes) override;
    ServiceResult Compare(const ComparedPlace& place, const StateEntry& before, const LaterEntry& after,
                          std::optional<DifferenceKind>& change) override;
    bool MatchesOtherCase() const override { return true; }
    bool MayEnter(const ComparedPlace& place, const StateEntry& before, const LaterEntry& after) override;

private:
    ServiceResult CompareFile(const ComparedPlace& place, const StateEntry& before, const LaterEntry& after,
                              std::optional<DifferenceKind>& change);
    ServiceResult CompareContent(const ComparedPlace& place, const StateEntry& before, NodeKind kind,
                                 std::optional<DifferenceKind>& change, bool& isKnown);
    ServiceResult CompareKept(const ComparedPlace& place, const StateEntry& before, bool& same);
    void Tell(const CString& path, const CString& reason, bool isError = true) const;

    StorageService& m_service;
    const DifferenceRequest& m_request;
    const TaskFilter m_filter;
};

}  // namespace rampart
