// One folder of the mirror of the server's tree: its entries in a compact form, found by name with one hash
// probe. About 56 bytes an entry beside its name, so that a million files fit into a process.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/text.h"
#include "storage/storage_service.h"

namespace rampart {

using platform::Text;
using platform::TextView;

// Not safe for threads: ServerMirror holds its lock around every call.
class MirrorFolder {
public:
    static constexpr uint32_t kNoEntry = ~0u;

    MirrorFolder(MirrorFolder* parent, int64_t id) : m_parent(parent), m_id(id) {}
    MirrorFolder(const MirrorFolder&) = delete;
    MirrorFolder& operator=(const MirrorFolder&) = delete;

    uint32_t Count() const { return static_cast<uint32_t>(m_entries.size()); }
    // The entry of that very name; otherwise the one that differs only in case, by the service's own choice
    // among several: the name that is its own folded form, then the least one.
    uint32_t Find(TextView name, bool foldersOnly) const;
    uint32_t FindExact(TextView name) const;

    TextView Name(uint32_t entry) const;
    bool IsFolder(uint32_t entry) const { return (m_entries[entry].flags & kFolder) != 0; }
    bool IsPartial(uint32_t entry) const { return (m_entries[entry].flags & kPartial) != 0; }
    int64_t Size(uint32_t entry) const { return IsFolder(entry) ? 0 : m_entries[entry].size; }
    uint32_t RecordFlags(uint32_t entry) const { return m_entries[entry].flags & kRecordFlags; }
    int64_t ModifiedTime(uint32_t entry) const { return m_entries[entry].modifiedTime; }
    int64_t ChangeTime(uint32_t entry) const { return m_entries[entry].changeTime; }
    int64_t Attributes(uint32_t entry) const { return m_entries[entry].attributes; }
    MirrorFolder* Child(uint32_t entry) const;  // null for a file
    // The whole record but for the id of a file.
    void Read(uint32_t entry, StoredRecord& record) const;
    // Entries in the order of their names.
    std::vector<uint32_t> SortedEntries() const;

    void Reserve(size_t count);
    // Makes or replaces the entry of exactly that name. A folder keeps its child if the id is the same.
    void Put(const StoredRecord& record);
    // Change time and attributes, and of a folder the last-write time, are those of `record`.
    void SetAttributes(uint32_t entry, const StoredRecord& record);
    // What is gone already keeps its moment.
    void SetGone(uint32_t entry, int64_t when);
    void Remove(uint32_t entry);
    // No entry of the new name may exist.
    void Rename(uint32_t entry, TextView newName);
    // Takes over the entries of a listing, which is empty afterwards. Subfolders that are still the same ones
    // keep what is known below them.
    void TakeListing(MirrorFolder& listing);

    MirrorFolder* Parent() const { return m_parent; }
    int64_t Id() const { return m_id; }
    // From the root, "\" for the root itself.
    Text Path() const;

    // Whether the entries must be read from the service before they say anything.
    bool NeedsLoad() const { return !m_loaded; }
    void MarkStale() { m_loaded = false; }
    void MarkLoaded(int64_t sequence);
    // The change sequences of the listing and of the last change that was applied to it.
    int64_t ListedSequence() const { return m_listedSequence; }
    int64_t AppliedSequence() const { return m_appliedSequence; }
    void SetAppliedSequence(int64_t sequence) { m_appliedSequence = sequence; }

    // Sum of the sizes of all files below, or kUnknownBytes.
    static constexpr int64_t kUnknownBytes = -1;
    int64_t TreeBytes() const { return m_treeBytes; }
    void SetTreeBytes(int64_t bytes) { m_treeBytes = bytes; }
    // Here and in all folders above.
    void ForgetTreeBytes();
    void AddTreeBytes(int64_t delta);

    // Bytes held by this folder and all below it.
    size_t MemoryBytes() const;

private:
    enum Flag : uint16_t {
        kPartial = kRecordPartial,
        kFolder = 0x100,
        kDescriptionIsName = 0x200,
        kHasRare = 0x400,
    };
    static constexpr uint16_t kRecordFlags = 0xFF;  // the values of RecordFlag

    struct FolderPart {
        uint32_t child;      // index in m_children
        uint32_t itemCount;  // as the last listing told it
    };
    struct Entry {
        uint32_t nameAt;
        uint16_t nameLength;
        uint16_t flags;
        union {
            int64_t size;
            FolderPart folder;
        };
        int64_t modifiedTime;
        int64_t storedTime;
        int64_t changeTime;
        int64_t attributes;
    };
    // What few entries have.
    struct Rare {
        int64_t createdTime;
        int64_t goneTime;
        std::string description;
    };

    static constexpr uint32_t kScanLimit = 8;  // up to so many entries are looked through one by one

    bool IsSelfFolded(uint32_t entry) const;
    bool IsBetterMatch(uint32_t entry, uint32_t best) const;
    template <typename Visit>
    void ForEachCandidate(TextView name, const Visit& visit) const;
    void SetName(Entry& entry, TextView name);
    void DropName(const Entry& entry);
    void CompactNames();
    void SetRare(uint32_t entry, const StoredRecord& record);
    void PutFolderPart(uint32_t entry, const StoredRecord& record, bool wasFolder);
    void AddSlot(uint32_t entry);
    void RemoveSlot(uint32_t entry);
    void RebuildSlots();
    size_t SlotOf(uint32_t entry) const;
    void MoveEntry(uint32_t from, uint32_t to);

    MirrorFolder* m_parent;
    int64_t m_id;
    uint32_t m_entryInParent = kNoEntry;
    bool m_loaded = false;
    int64_t m_listedSequence = 0;
    int64_t m_appliedSequence = 0;
    int64_t m_treeBytes = kUnknownBytes;

    std::vector<Entry> m_entries;
    std::vector<TCHAR> m_names;
    size_t m_wastedName = 0;
    std::vector<uint32_t> m_slots;  // open addressing by folded name: number of the entry plus one, 0 is free
    std::vector<std::unique_ptr<MirrorFolder>> m_children;
    std::unique_ptr<std::unordered_map<uint32_t, Rare>> m_rare;
};

}  // namespace rampart
