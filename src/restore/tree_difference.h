// Walks a stored state beside a later side, folder by folder, and tells what differs.
#pragma once

#include <memory>
#include <vector>

#include "restore/later_side.h"

namespace rampart {

class TreeDifference {
public:
    TreeDifference(StorageService& service, const DifferenceRequest& request);

    ServiceResult Run();

private:
    // A folder still to be looked at; on one side alone all in it differs.
    struct Step {
        ComparedPlace place;
        bool hasBefore = false;
        bool hasAfter = false;
    };
    struct Row {
        const StateEntry* before = nullptr;
        const LaterEntry* after = nullptr;
    };

    ServiceResult AddPlace(const RestorePlace& place);
    ServiceResult ComparePlace(const ComparedPlace& place, const StoredRecord* record);
    ServiceResult WalkFolder(const Step& step);
    std::vector<Row> Matched(const std::vector<StateEntry>& before,
                             const std::vector<LaterEntry>& after) const;
    // One path, which is on one side at least.
    ServiceResult CompareRow(const ComparedPlace& place, const Row& row);
    ServiceResult CompareBoth(const ComparedPlace& place, const Row& row);
    void Tell(const ComparedPlace& place, DifferenceKind change, NodeKind kind) const;

    StorageService& m_service;
    const DifferenceRequest& m_request;
    const std::unique_ptr<TreeState> m_before;
    const std::unique_ptr<LaterSide> m_after;
    std::vector<Step> m_left;
};

}  // namespace rampart
