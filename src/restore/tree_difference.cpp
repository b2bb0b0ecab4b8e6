#include "restore/tree_difference.h"

#include <algorithm>
#include <map>

#include "framework/case_folding.h"
#include "interfaces/baselib.h"
#include "restore/later_disk.h"
#include "restore/later_moment.h"
#include "storage/server_path.h"

namespace rampart {
namespace {

std::unique_ptr<LaterSide> SideOf(StorageService& service, const DifferenceRequest& request) {
    if (request.after) {
        return std::make_unique<LaterMoment>(service, request);
    }
    return std::make_unique<LaterDisk>(service, request);
}

template <typename Entry, typename NameOf>
std::vector<const Entry*> Sorted(const std::vector<Entry>& entries, NameOf&& nameOf) {
    std::vector<const Entry*> sorted;
    sorted.reserve(entries.size());
    for (const Entry& entry : entries) {
        sorted.push_back(&entry);
    }
    std::sort(sorted.begin(), sorted.end(),
              [&](const Entry* a, const Entry* b) { return nameOf(*a) < nameOf(*b); });
    return sorted;
}

Text Folded(const std::string& name) {
    return FoldCase(CString::FromUtf8(name).View());
}

}  // namespace

TreeDifference::TreeDifference(StorageService& service, const DifferenceRequest& request)
    : m_service(service),
      m_request(request),
      m_before(StateOf(service, request.before)),
      m_after(SideOf(service, request)) {}

ServiceResult TreeDifference::Run() {
    for (const RestorePlace& place : m_request.places) {
        ServiceResult result = AddPlace(place);
        while (result.Ok() && !m_left.empty()) {
            if (m_request.goOn && !m_request.goOn()) {
                return ServiceResult::OfCode(kCancelled);
            }
            const Step step = std::move(m_left.back());
            m_left.pop_back();
            result = WalkFolder(step);
        }
        if (!result.Ok()) {
            return result;
        }
    }
    return {};
}

ServiceResult TreeDifference::AddPlace(const RestorePlace& place) {
    ComparedPlace compared{place.serverPath.ToUtf8(), place.localPath};
    std::string exact;
    StoredRecord record;
    ServiceResult found = ExactPath(m_service, compared.serverPath, exact, record);
    if (!found.Ok() && found.code != kNotFound) {
        return found;
    }
    if (found.Ok()) {
        compared.serverPath = exact;
    }
    if (m_request.after && found.Ok() && record.isFolder) {
        m_left.push_back({compared, true, true});
        return {};
    }
    return ComparePlace(compared, found.Ok() ? &record : nullptr);
}

ServiceResult TreeDifference::ComparePlace(const ComparedPlace& place, const StoredRecord* record) {
    std::vector<StateEntry> beside;
    Row row;
    const ServerPathParts parts = SplitLastName(place.serverPath);
    if (record != nullptr) {
        ServiceResult listed = m_before->Entries(std::string(parts.folder), beside);
        if (!listed.Ok() && listed.code != kNotFound) {
            return listed;
        }
        for (const StateEntry& entry : beside) {
            row.before = entry.record.name == parts.name ? &entry : row.before;
        }
    }
    std::optional<LaterEntry> after;
    bool isKnown = true;
    ServiceResult found = m_after->Entry(place, after, isKnown);
    row.after = after ? &*after : nullptr;
    const bool isSomewhere = row.before != nullptr || row.after != nullptr;
    return found.Ok() && isKnown && isSomewhere ? CompareRow(place, row) : found;
}

ServiceResult TreeDifference::WalkFolder(const Step& step) {
    std::vector<StateEntry> before;
    std::vector<LaterEntry> after;
    if (step.hasBefore) {
        ServiceResult listed = m_before->Entries(step.place.serverPath, before);
        if (!listed.Ok() && listed.code != kNotFound) {  // deleted meanwhile
            return listed;
        }
    }
    bool isKnown = true;
    if (step.hasAfter) {
        if (ServiceResult listed = m_after->Entries(step.place, after, isKnown); !listed.Ok()) {
            return listed;
        }
    }
    if (!isKnown) {
        return {};
    }
    const size_t below = m_left.size();
    for (const Row& row : Matched(before, after)) {
        const std::string& serverName = row.before != nullptr ? row.before->record.name : row.after->name;
        const std::string& localName = row.after != nullptr ? row.after->name : serverName;
        ComparedPlace place{JoinServerPath(step.place.serverPath, serverName), CString()};
        if (!step.place.localPath.IsEmpty()) {
            place.localPath = PathUtilities::Append(step.place.localPath, CString::FromUtf8(localName));
        }
        if (ServiceResult compared = CompareRow(place, row); !compared.Ok()) {
            return compared;
        }
    }
    std::reverse(m_left.begin() + static_cast<std::ptrdiff_t>(below), m_left.end());
    return {};
}

std::vector<TreeDifference::Row> TreeDifference::Matched(const std::vector<StateEntry>& before,
                                                         const std::vector<LaterEntry>& after) const {
    const auto left = Sorted(
        before, [](const StateEntry& entry) -> auto& { return entry.record.name; });
    const auto right = Sorted(
        after, [](const LaterEntry& entry) -> auto& { return entry.name; });
    std::vector<Row> rows;
    std::multimap<Text, size_t> goneByFold;
    size_t at = 0;
    for (const StateEntry* const entry : left) {
        for (; at < right.size() && right[at]->name < entry->record.name; ++at) {
            rows.push_back({nullptr, right[at]});
        }
        const bool isMatch = at < right.size() && right[at]->name == entry->record.name;
        if (!isMatch && m_after->MatchesOtherCase()) {
            goneByFold.emplace(Folded(entry->record.name), rows.size());
        }
        rows.push_back({entry, isMatch ? right[at++] : nullptr});
    }
    for (; at < right.size(); ++at) {
        rows.push_back({nullptr, right[at]});
    }
    // What is stored under the name in another case is the file's own record, unless that name is there, too.
    for (Row& row : rows) {
        const auto match = row.before != nullptr || goneByFold.empty()
                               ? goneByFold.end()
                               : goneByFold.find(Folded(row.after->name));
        if (match != goneByFold.end()) {
            rows[match->second].after = std::exchange(row.after, nullptr);
            goneByFold.erase(match);
        }
    }
    std::erase_if(rows, [](const Row& row) { return row.before == nullptr && row.after == nullptr; });
    return rows;
}

ServiceResult TreeDifference::CompareRow(const ComparedPlace& place, const Row& row) {
    if (row.after != nullptr && row.after->isUnknown) {
        return {};
    }
    const NodeKind kind = row.after != nullptr ? row.after->kind : KindOfRecord(row.before->record);
    const Taking taking = m_after->TakingOf(place, kind, row.before != nullptr,
                                            row.after != nullptr ? row.after->status.attributes : 0);
    if (taking == Taking::kLeftOut) {
        return {};
    }
    if (row.before != nullptr && row.after != nullptr) {
        return CompareBoth(place, row);
    }
    if (row.before != nullptr || taking == Taking::kTaken) {
        Tell(place, row.before != nullptr ? DifferenceKind::kGone : DifferenceKind::kAdded, kind);
    }
    if (kind == NodeKind::kFolder) {
        m_left.push_back({place, row.before != nullptr, row.after != nullptr});
    }
    return {};
}

ServiceResult TreeDifference::CompareBoth(const ComparedPlace& place, const Row& row) {
    const NodeKind was = KindOfRecord(row.before->record);
    const NodeKind is = row.after->kind;
    if (was != is) {
        Tell(place, DifferenceKind::kKind, is);
        if (was == NodeKind::kFolder || is == NodeKind::kFolder) {
            m_left.push_back({place, was == NodeKind::kFolder, is == NodeKind::kFolder});
        }
        return {};
    }
    if (is == NodeKind::kFolder) {
        if (!m_after->MayEnter(place, *row.before, *row.after)) {
            return {};
        }
        m_left.push_back({place, true, true});
    }
    std::optional<DifferenceKind> change;
    if (ServiceResult compared = m_after->Compare(place, *row.before, *row.after, change); !compared.Ok()) {
        return compared;
    }
    if (change) {
        Tell(place, *change, is);
    }
    return {};
}

void TreeDifference::Tell(const ComparedPlace& place, DifferenceKind change, NodeKind kind) const {
    m_request.visit(
        {CString::FromUtf8(place.serverPath), change, kind == NodeKind::kFolder, kind == NodeKind::kLink});
}

}  // namespace rampart
