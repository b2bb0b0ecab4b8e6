#include "restore/restore_planner.h"

#include <algorithm>

#include "platform/error.h"
#include "platform/temporary_name.h"
#include "restore/time_compare.h"
#include "storage/server_path.h"

namespace rampart {
namespace {

constexpr char kNoName[] = "its name would lead out of the folder, or no file can have it here";

bool IsMissing(uint32_t error) {
    return error == platform::kFileNotFound || error == platform::kPathNotFound;
}

EntryKind KindOf(const StoredRecord& record) {
    return (record.flags & kRecordLink) != 0      ? EntryKind::kLink
           : (record.flags & kRecordSpecial) != 0 ? EntryKind::kSpecial
                                                  : EntryKind::kFile;
}

bool SameContent(const PlannedEntry& a, const PlannedEntry& b) {
    return a.kind == b.kind && a.size == b.size &&
           std::equal(a.chunks.begin(), a.chunks.end(), b.chunks.begin(), b.chunks.end(),
                      [](const PlacedChunk& x, const PlacedChunk& y) { return x.digest == y.digest; });
}

}  // namespace

RestorePlanner::RestorePlanner(RestoreContext& context)
    : m_context(context),
      m_plan(context.plan),
      m_filter(context.request.include, context.request.exclude),
      m_state(StateOf(context.service, context.request.state)) {}

ServiceResult RestorePlanner::Run() {
    for (const RestorePlace& place : m_context.request.places) {
        if (ServiceResult added = AddPlace(place); !added.Ok()) {
            return added;
        }
        while (!m_left.empty()) {
            if (!Proceed()) {
                return ServiceResult::OfCode(kCancelled);
            }
            const Step step = std::move(m_left.back());
            m_left.pop_back();
            ServiceResult walked = WalkFolder(step);
            if (!walked.Ok() && walked.code != kNotFound) {  // deleted meanwhile
                return walked;
            }
        }
    }
    FindLinks();
    m_context.report.notInState = m_state->NotInState();
    m_context.report.firstStored = m_state->FirstStored();
    m_context.report.plannedFolders =
        std::count_if(m_plan.folders.begin(), m_plan.folders.end(),
                      [](const PlannedFolder& folder) { return folder.isWanted && !folder.isThere; });
    return {};
}

ServiceResult RestorePlanner::AddPlace(const RestorePlace& place) {
    std::string exact;
    StoredRecord record;
    if (ServiceResult found = ExactPath(m_context.service, place.serverPath.ToUtf8(), exact, record);
        !found.Ok()) {
        return found;
    }
    if (!record.isFolder) {
        return AddFilePlace(place, exact);
    }
    const uint32_t root = RootAt(place.localPath, place);
    PlannedFolder& folder = m_plan.folders[root];
    folder.isWanted = true;
    folder.takesOwnAttributes = place.isInPlace || !folder.isThere;
    folder.attributes = record.attributes;
    folder.writeTime = record.modifiedTime;
    m_left.push_back({exact, root, false});
    return {};
}

ServiceResult RestorePlanner::AddFilePlace(const RestorePlace& place, const std::string& serverPath) {
    const CString above = PathUtilities::GetParentFolder(place.localPath);
    const Text name = PathUtilities::GetFileName(place.localPath).ToText();
    StateEntry found;
    ServiceResult chosen = m_state->Entry(serverPath, found);
    if (chosen.code == kNotFound) {
        return {};  // the report says so
    }
    if (!chosen.Ok()) {
        return chosen;
    }
    if (!platform::IsFileName(name)) {
        ++m_context.failed;
        m_context.Tell(place.localPath, kNoName, true);
        return {};
    }
    const uint32_t root = RootAt(above, place);
    const Step step{std::string(SplitLastName(serverPath).folder), root, false};
    const size_t first = m_plan.entries.size();
    m_found.clear();
    AddEntry(step, found, name, LookAt(root));
    return Locate(first, m_found);
}

uint32_t RestorePlanner::RootAt(const CString& path, const RestorePlace& place) {
    const auto [known, isNew] = m_roots.try_emplace(path.ToText(), 0);
    if (isNew) {
        known->second = static_cast<uint32_t>(m_plan.folders.size());
        PlannedFolder root;
        root.name = path.ToText();
        root.isInPlace = place.isInPlace;
        m_plan.folders.push_back(std::move(root));
        PlannedFolder& added = m_plan.folders.back();
        added.isThere = m_context.folders.Open(known->second) != nullptr;
        if (!added.isThere && !IsMissing(platform::LastError())) {
            added.isBlocked = true;
            m_context.Tell(path, SystemReason(), true);
        }
    }
    return known->second;
}

ServiceResult RestorePlanner::WalkFolder(const Step& step) {
    std::vector<StateEntry> entries;
    if (ServiceResult listed = m_state->Entries(step.serverFolder, entries); !listed.Ok()) {
        return listed;
    }
    const Present present = LookAt(step.folder);
    const size_t first = m_plan.entries.size();
    const size_t below = m_left.size();
    m_found.clear();
    for (const StateEntry& found : entries) {
        const Text name = CString::FromUtf8(found.record.name).ToText();
        if (!platform::IsFileName(name)) {
            ++m_context.failed;
            m_context.Tell(m_plan.PathOf(step.folder) + _T("\\") + CString(TextView(name)),
                           found.record.isFolder ? std::string(kNoName) + ", with all below it" : kNoName,
                           true);
        } else if (found.record.isFolder) {
            AddFolder(step, found, name, present);
        } else {
            AddEntry(step, found, name, present);
        }
    }
    std::reverse(m_left.begin() + static_cast<std::ptrdiff_t>(below), m_left.end());
    return Locate(first, m_found);
}

RestorePlanner::Present RestorePlanner::LookAt(uint32_t folder) {
    Present present;
    if (!m_plan.folders[folder].isThere) {
        return present;
    }
    const auto handle = m_context.folders.Open(folder);
    const auto reader = handle ? handle->List(true) : nullptr;
    platform::DirectoryEntry entry;
    while (reader && reader->Next(entry)) {
        if (!platform::IsDeadTemporaryName(entry.name)) {
            present.emplace(entry.name, entry.status);
        } else if (!m_context.request.dryRun) {
            handle->Remove(entry.name);
        }
    }
    return present;
}

void RestorePlanner::AddFolder(const Step& step, const StateEntry& found, const Text& name,
                               const Present& present) {
    const CString path = m_filter.IsEmpty() ? CString() : FilterPath(step.serverFolder, found.record);
    if (!m_filter.IsEmpty() && m_filter.ExcludesFolder(path)) {
        ++m_context.report.filteredOut;
        return;
    }
    const bool isInside = step.isInside || (m_filter.HasInclusions() && m_filter.IncludesFolder(path));
    PlannedFolder folder;
    folder.parent = step.folder;
    folder.name = name;
    folder.takesOwnAttributes = !found.isImplied;
    folder.attributes = found.isImplied ? 0 : found.record.attributes;
    folder.writeTime = found.isImplied ? kNoTime : found.record.modifiedTime;
    const auto there = present.find(name);
    folder.isThere = there != present.end() && there->second.IsDirectory();
    folder.isBlocked = m_plan.folders[step.folder].isBlocked;
    if (there != present.end() && !folder.isThere) {
        folder.replaces = m_context.request.overwrite == Overwrite::kAlways;
        folder.isBlocked = folder.isBlocked || !folder.replaces;
    }
    const auto index = static_cast<uint32_t>(m_plan.folders.size());
    const bool isOwnBlock = folder.isBlocked && !m_plan.folders[step.folder].isBlocked;
    m_plan.folders.push_back(std::move(folder));
    if (isOwnBlock) {
        ++m_context.conflicts;
        m_context.Tell(
            m_plan.PathOf(index),
            "something else is there where a folder has to be; use --overwrite always to replace it", true);
    }
    if (!found.isImplied && (!m_filter.HasInclusions() || isInside)) {
        MarkWanted(index);
    }
    m_left.push_back({JoinServerPath(step.serverFolder, found.record.name), index, isInside});
}

void RestorePlanner::AddEntry(const Step& step, const StateEntry& found, const Text& name,
                              const Present& present) {
    if (!m_filter.IsEmpty() &&
        !m_filter.TakesFile(FilterPath(step.serverFolder, found.record), step.isInside)) {
        ++m_context.report.filteredOut;
        return;
    }
    PlannedEntry entry;
    entry.folder = step.folder;
    entry.kind = KindOf(found.record);
    entry.name = name;
    entry.size = found.record.size;
    entry.writeTime = found.record.modifiedTime;
    entry.createdTime = found.record.createdTime;
    entry.attributes = found.record.attributes;
    if (m_plan.folders[step.folder].isBlocked) {
        m_context.Fail(entry, "its folder cannot be there");
        return;
    }
    if ((found.record.flags & kRecordEncrypted) != 0) {
        m_context.Fail(entry, "it is encrypted, and its key is not at hand");
        return;
    }
    if (const auto there = present.find(name); there != present.end()) {
        Decide(entry, there->second);
    }
    if (entry.state == EntryState::kConflict) {
        return;
    }
    MarkWanted(step.folder);
    if (entry.state == EntryState::kThere) {
        ++m_context.there;
        if (!m_context.attributes.Get(entry.attributes).HasLinks()) {
            return;
        }
    } else {
        ++m_context.report.plannedFiles;
        m_context.report.plannedBytes += entry.size;
    }
    m_plan.entries.push_back(std::move(entry));
    m_found.push_back(found);
}

void RestorePlanner::Decide(PlannedEntry& entry, const platform::FileStatus& there) {
    const RestoreRequest& request = m_context.request;
    entry.isNewerThere = entry.writeTime == kNoTime || there.writeTime >= entry.writeTime;
    const bool isSpecial = (there.attributes & platform::kSpecial) != 0;
    const bool isLink = (there.attributes & platform::kReparsePoint) != 0;
    if (entry.kind == EntryKind::kSpecial && isSpecial) {
        entry.state = EntryState::kThere;
        return;
    }
    const bool isSameSize = entry.kind == EntryKind::kFile && there.IsRegularFile() &&
                            there.size == static_cast<uint64_t>(entry.size);
    if (isSameSize && IsSameTime(there.writeTime, entry.writeTime) && !request.verify &&
        request.overwrite != Overwrite::kAlways) {
        entry.state = EntryState::kThere;
    } else if (isSameSize || (entry.kind == EntryKind::kLink && isLink)) {
        entry.state = EntryState::kCompare;
    } else {
        std::string reason;
        entry.replaces = GivesWay(request.overwrite, entry, there.IsDirectory(), reason);
        if (!entry.replaces) {
            m_context.Conflict(entry, reason);
        }
    }
}

ServiceResult RestorePlanner::Locate(size_t first, const std::vector<StateEntry>& found) {
    std::vector<std::string> names;
    std::vector<LocatedFile> located;
    for (size_t begin = 0; begin < found.size();) {
        size_t end = begin;
        names.clear();
        while (end < found.size() && found[end].contentFolder == found[begin].contentFolder) {
            names.push_back(found[end++].contentName);
        }
        if (ServiceResult looked = m_context.service.LocateFiles(found[begin].contentFolder, names, located);
            !looked.Ok()) {
            return looked;
        }
        for (size_t i = begin; i < end; ++i) {
            TakeLocated(m_plan.entries[first + i], found[i], located[i - begin]);
        }
        begin = end;
    }
    return {};
}

void RestorePlanner::TakeLocated(PlannedEntry& entry, const StateEntry& expected, LocatedFile& located) {
    if (located.record.id == 0 || located.record.storedTime != expected.record.storedTime ||
        located.record.size != expected.record.size) {
        m_context.Fail(entry, "it was stored anew or removed meanwhile; restore it again");
    } else if (!located.isComplete) {
        m_context.Fail(entry, "the vault has lost a part of its content");
    } else {
        entry.chunks = std::move(located.chunks);
    }
}

void RestorePlanner::MarkWanted(uint32_t folder) {
    for (; folder != kNoIndex && !m_plan.folders[folder].isWanted; folder = m_plan.folders[folder].parent) {
        m_plan.folders[folder].isWanted = true;
    }
}

void RestorePlanner::FindLinks() {
    std::map<std::pair<uint64_t, uint64_t>, uint32_t> leaders;
    for (uint32_t i = 0; i < m_plan.entries.size(); ++i) {
        PlannedEntry& entry = m_plan.entries[i];
        const AttributeStore::Item& known = m_context.attributes.Get(entry.attributes);
        if (!known.HasLinks() || entry.state == EntryState::kFailed) {
            continue;
        }
        const auto [leader, isFirst] =
            leaders.try_emplace({known.decoded.linkVolume, known.decoded.linkFile}, i);
        if (!isFirst && entry.state != EntryState::kThere &&
            SameContent(m_plan.entries[leader->second], entry)) {
            entry.leader = leader->second;
        }
    }
}

CString RestorePlanner::FilterPath(const std::string& serverFolder, const StoredRecord& record) const {
    const CString path = CString::FromUtf8(JoinServerPath(serverFolder, record.name));
    const CString local = m_context.request.localOf ? m_context.request.localOf(path) : CString();
    return local.IsEmpty() ? _T("C:") + path : local;
}

bool RestorePlanner::Proceed() {
    if (!m_context.request.progress) {
        return true;
    }
    RestoreProgress progress;
    progress.isPlanning = true;
    progress.totalFiles = m_context.report.plannedFiles;
    progress.totalBytes = m_context.report.plannedBytes;
    progress.current = CString::FromUtf8(m_left.empty() ? std::string() : m_left.back().serverFolder);
    return m_context.request.progress(progress);
}

}  // namespace rampart
