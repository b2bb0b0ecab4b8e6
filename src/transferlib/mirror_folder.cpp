#include "transferlib/mirror_folder.h"

#include <algorithm>
#include <bit>

#include "framework/case_folding.h"

namespace rampart {
namespace {

// In eighths: a folder of a million files must not take twice its room for one file more.
template <typename Vector>
void GrowBy(Vector& vector, size_t count) {
    const size_t size = vector.size() + count;
    if (size > vector.capacity()) {
        vector.reserve(size + size / 8 + 4);
    }
}

}  // namespace

TextView MirrorFolder::Name(uint32_t entry) const {
    const Entry& found = m_entries[entry];
    return {m_names.data() + found.nameAt, found.nameLength};
}

MirrorFolder* MirrorFolder::Child(uint32_t entry) const {
    return IsFolder(entry) ? m_children[m_entries[entry].folder.child].get() : nullptr;
}

template <typename Visit>
void MirrorFolder::ForEachCandidate(TextView name, const Visit& visit) const {
    if (m_slots.empty()) {
        for (uint32_t entry = 0; entry < Count(); ++entry) {
            if (m_entries[entry].nameLength == name.size() && visit(entry)) {
                return;
            }
        }
        return;
    }
    const size_t mask = m_slots.size() - 1;
    for (size_t slot = HashNoCase(name) & mask; m_slots[slot] != 0; slot = (slot + 1) & mask) {
        const uint32_t entry = m_slots[slot] - 1;
        if (m_entries[entry].nameLength == name.size() && visit(entry)) {
            return;
        }
    }
}

bool MirrorFolder::IsSelfFolded(uint32_t entry) const {
    const TextView name = Name(entry);
    return FoldCase(name) == name;
}

bool MirrorFolder::IsBetterMatch(uint32_t entry, uint32_t best) const {
    if (best == kNoEntry) {
        return true;
    }
    const bool folded = IsSelfFolded(entry);
    return folded != IsSelfFolded(best) ? folded : Name(entry) < Name(best);
}

uint32_t MirrorFolder::Find(TextView name, bool foldersOnly) const {
    uint32_t exact = kNoEntry;
    uint32_t best = kNoEntry;
    ForEachCandidate(name, [&](uint32_t entry) {
        if (foldersOnly && !IsFolder(entry)) {
            return false;
        }
        const TextView found = Name(entry);
        if (found == name) {
            exact = entry;
            return true;
        }
        if (EqualNoCase(found, name) && IsBetterMatch(entry, best)) {
            best = entry;
        }
        return false;
    });
    return exact != kNoEntry ? exact : best;
}

uint32_t MirrorFolder::FindExact(TextView name) const {
    uint32_t exact = kNoEntry;
    ForEachCandidate(name, [&](uint32_t entry) {
        if (Name(entry) != name) {
            return false;
        }
        exact = entry;
        return true;
    });
    return exact;
}

void MirrorFolder::Read(uint32_t index, StoredRecord& record) const {
    const Entry& entry = m_entries[index];
    record.name = platform::ToUtf8(Name(index));
    record.isFolder = IsFolder(index);
    record.flags = entry.flags & kRecordFlags;
    record.size = Size(index);
    record.modifiedTime = entry.modifiedTime;
    record.createdTime = entry.modifiedTime;
    record.storedTime = entry.storedTime;
    record.changeTime = entry.changeTime;
    record.attributes = entry.attributes;
    record.goneTime = kNoTime;
    record.subItemCount = 0;
    record.id = 0;
    if (const MirrorFolder* child = Child(index)) {
        record.id = child->m_id;
        record.subItemCount = child->m_loaded ? child->Count() : entry.folder.itemCount;
    }
    record.description.clear();
    if ((entry.flags & kDescriptionIsName) != 0) {
        record.description = record.name;
    }
    if ((entry.flags & kHasRare) != 0) {
        const Rare& rare = m_rare->at(index);
        record.createdTime = rare.createdTime;
        record.goneTime = rare.goneTime;
        if ((entry.flags & kDescriptionIsName) == 0) {
            record.description = rare.description;
        }
    }
}

std::vector<uint32_t> MirrorFolder::SortedEntries() const {
    std::vector<uint32_t> order(m_entries.size());
    for (uint32_t entry = 0; entry < order.size(); ++entry) {
        order[entry] = entry;
    }
    std::sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) { return Name(a) < Name(b); });
    return order;
}

void MirrorFolder::Reserve(size_t count) {
    m_entries.reserve(count);
}

void MirrorFolder::SetName(Entry& entry, TextView name) {
    entry.nameAt = static_cast<uint32_t>(m_names.size());
    entry.nameLength = static_cast<uint16_t>(name.size());
    GrowBy(m_names, name.size());
    m_names.insert(m_names.end(), name.begin(), name.end());
}

void MirrorFolder::DropName(const Entry& entry) {
    m_wastedName += entry.nameLength;
}

void MirrorFolder::CompactNames() {
    if (m_wastedName * 2 <= m_names.size()) {
        return;
    }
    std::vector<TCHAR> names;
    names.reserve(m_names.size() - m_wastedName);
    for (Entry& entry : m_entries) {
        const auto from = m_names.begin() + entry.nameAt;
        entry.nameAt = static_cast<uint32_t>(names.size());
        names.insert(names.end(), from, from + entry.nameLength);
    }
    m_names = std::move(names);
    m_wastedName = 0;
}

void MirrorFolder::SetRare(uint32_t index, const StoredRecord& record) {
    Entry& entry = m_entries[index];
    entry.flags &= ~(kDescriptionIsName | kHasRare);
    const bool named = !record.description.empty() && record.description == record.name;
    if (named) {
        entry.flags |= kDescriptionIsName;
    }
    if (record.createdTime == record.modifiedTime && record.goneTime == kNoTime &&
        (named || record.description.empty())) {
        if (m_rare) {
            m_rare->erase(index);
        }
        return;
    }
    if (!m_rare) {
        m_rare = std::make_unique<std::unordered_map<uint32_t, Rare>>();
    }
    (*m_rare)[index] = {record.createdTime, record.goneTime, named ? std::string() : record.description};
    entry.flags |= kHasRare;
}

void MirrorFolder::PutFolderPart(uint32_t index, const StoredRecord& record, bool wasFolder) {
    Entry& entry = m_entries[index];
    const auto items = static_cast<uint32_t>(record.subItemCount);
    if (!record.isFolder) {
        if (wasFolder) {
            m_children[entry.folder.child].reset();
        }
        entry.size = record.size;
        return;
    }
    if (wasFolder && m_children[entry.folder.child]->m_id == record.id) {
        entry.folder.itemCount = items;
        return;
    }
    auto child = std::make_unique<MirrorFolder>(this, record.id);
    child->m_entryInParent = index;
    if (wasFolder) {
        m_children[entry.folder.child] = std::move(child);
        entry.folder.itemCount = items;
    } else {
        m_children.push_back(std::move(child));
        entry.folder = {static_cast<uint32_t>(m_children.size() - 1), items};
    }
}

void MirrorFolder::Put(const StoredRecord& record) {
    const Text name = platform::FromUtf8(record.name);
    uint32_t index = FindExact(name);
    const bool isNew = index == kNoEntry;
    if (isNew) {
        index = Count();
        GrowBy(m_entries, 1);
        Entry& entry = m_entries.emplace_back();
        entry.flags = 0;
        SetName(entry, name);
    }
    const bool wasFolder = !isNew && IsFolder(index);
    PutFolderPart(index, record, wasFolder);
    Entry& entry = m_entries[index];
    entry.flags = static_cast<uint16_t>((record.flags & kRecordFlags) | (record.isFolder ? kFolder : 0) |
                                        (entry.flags & kHasRare));
    entry.modifiedTime = record.modifiedTime;
    entry.storedTime = record.storedTime;
    entry.changeTime = record.changeTime;
    entry.attributes = record.attributes;
    SetRare(index, record);
    if (isNew) {
        AddSlot(index);
    }
}

void MirrorFolder::SetAttributes(uint32_t index, const StoredRecord& record) {
    Entry& entry = m_entries[index];
    entry.changeTime = record.changeTime;
    entry.attributes = record.attributes;
    if (IsFolder(index)) {
        StoredRecord known;
        Read(index, known);
        entry.modifiedTime = known.modifiedTime = known.createdTime = record.modifiedTime;
        SetRare(index, known);
    }
}

void MirrorFolder::SetGone(uint32_t index, int64_t when) {
    if ((m_entries[index].flags & kRecordGone) != 0) {
        return;
    }
    StoredRecord known;
    Read(index, known);
    known.goneTime = when;
    m_entries[index].flags |= kRecordGone;
    SetRare(index, known);
}

void MirrorFolder::MoveEntry(uint32_t from, uint32_t to) {
    if (!m_slots.empty()) {
        m_slots[SlotOf(from)] = to + 1;
    }
    m_entries[to] = m_entries[from];
    if (MirrorFolder* child = Child(to)) {
        child->m_entryInParent = to;
    }
    if ((m_entries[to].flags & kHasRare) != 0) {
        auto node = m_rare->extract(from);
        node.key() = to;
        m_rare->insert(std::move(node));
    }
}

void MirrorFolder::Remove(uint32_t index) {
    Entry& entry = m_entries[index];
    if (IsFolder(index)) {
        m_children[entry.folder.child].reset();
    }
    if ((entry.flags & kHasRare) != 0) {
        m_rare->erase(index);
    }
    DropName(entry);
    RemoveSlot(index);
    const uint32_t last = Count() - 1;
    if (index != last) {
        MoveEntry(last, index);
    }
    m_entries.pop_back();
    CompactNames();
}

void MirrorFolder::Rename(uint32_t index, TextView newName) {
    const bool named = (m_entries[index].flags & kDescriptionIsName) != 0;
    StoredRecord record;
    Read(index, record);
    RemoveSlot(index);
    DropName(m_entries[index]);
    SetName(m_entries[index], newName);
    AddSlot(index);
    if (named) {
        const std::string description = record.name;
        record.name = platform::ToUtf8(newName);
        record.description = description;
        SetRare(index, record);
    }
    CompactNames();
}

void MirrorFolder::TakeListing(MirrorFolder& listing) {
    for (uint32_t index = 0; index < listing.Count(); ++index) {
        const MirrorFolder* fresh = listing.Child(index);
        if (fresh == nullptr) {
            continue;
        }
        std::unique_ptr<MirrorFolder>& place = listing.m_children[listing.m_entries[index].folder.child];
        const uint32_t known = FindExact(listing.Name(index));
        if (known != kNoEntry && IsFolder(known) && Child(known)->m_id == fresh->m_id) {
            place = std::move(m_children[m_entries[known].folder.child]);
        }
        place->m_parent = this;
        place->m_entryInParent = index;
    }
    m_entries = std::move(listing.m_entries);
    m_names = std::move(listing.m_names);
    m_wastedName = 0;
    m_slots = std::move(listing.m_slots);
    m_children = std::move(listing.m_children);
    m_rare = std::move(listing.m_rare);
    m_entries.shrink_to_fit();
    m_names.shrink_to_fit();
}

void MirrorFolder::MarkLoaded(int64_t sequence) {
    m_loaded = true;
    m_listedSequence = sequence;
    m_appliedSequence = sequence;
}

Text MirrorFolder::Path() const {
    if (m_parent == nullptr) {
        return Text(1, _T('\\'));
    }
    Text path = m_parent->m_parent == nullptr ? Text() : m_parent->Path();
    path += _T('\\');
    path += m_parent->Name(m_entryInParent);
    return path;
}

void MirrorFolder::ForgetTreeBytes() {
    for (MirrorFolder* folder = this; folder != nullptr; folder = folder->m_parent) {
        folder->m_treeBytes = kUnknownBytes;
    }
}

void MirrorFolder::AddTreeBytes(int64_t delta) {
    for (MirrorFolder* folder = this; folder != nullptr; folder = folder->m_parent) {
        if (folder->m_treeBytes != kUnknownBytes) {
            folder->m_treeBytes += delta;
        }
    }
}

size_t MirrorFolder::MemoryBytes() const {
    size_t bytes = sizeof(*this) + m_entries.capacity() * sizeof(Entry) + m_names.capacity() * sizeof(TCHAR) +
                   m_slots.capacity() * sizeof(uint32_t) + m_children.capacity() * sizeof(m_children[0]);
    for (const auto& child : m_children) {
        bytes += child ? child->MemoryBytes() : 0;
    }
    return bytes;
}

size_t MirrorFolder::SlotOf(uint32_t entry) const {
    const size_t mask = m_slots.size() - 1;
    size_t slot = HashNoCase(Name(entry)) & mask;
    while (m_slots[slot] != entry + 1) {
        slot = (slot + 1) & mask;
    }
    return slot;
}

void MirrorFolder::AddSlot(uint32_t entry) {
    if (m_slots.empty() ? Count() > kScanLimit : Count() * 4 > m_slots.size() * 3) {
        RebuildSlots();
        return;
    }
    if (m_slots.empty()) {
        return;
    }
    const size_t mask = m_slots.size() - 1;
    size_t slot = HashNoCase(Name(entry)) & mask;
    while (m_slots[slot] != 0) {
        slot = (slot + 1) & mask;
    }
    m_slots[slot] = entry + 1;
}

void MirrorFolder::RebuildSlots() {
    m_slots.assign(std::bit_ceil(std::max<size_t>(m_entries.capacity(), Count()) * 4 / 3 + 1), 0);
    const size_t mask = m_slots.size() - 1;
    for (uint32_t entry = 0; entry < Count(); ++entry) {
        size_t slot = HashNoCase(Name(entry)) & mask;
        while (m_slots[slot] != 0) {
            slot = (slot + 1) & mask;
        }
        m_slots[slot] = entry + 1;
    }
}

// Closes the gap in the run of slots, so that no later entry of it is cut off from its place.
void MirrorFolder::RemoveSlot(uint32_t entry) {
    if (m_slots.empty()) {
        return;
    }
    const size_t mask = m_slots.size() - 1;
    size_t hole = SlotOf(entry);
    for (size_t slot = (hole + 1) & mask; m_slots[slot] != 0; slot = (slot + 1) & mask) {
        const size_t home = HashNoCase(Name(m_slots[slot] - 1)) & mask;
        if (((slot - home) & mask) >= ((slot - hole) & mask)) {
            m_slots[hole] = m_slots[slot];
            hole = slot;
        }
    }
    m_slots[hole] = 0;
}

}  // namespace rampart
