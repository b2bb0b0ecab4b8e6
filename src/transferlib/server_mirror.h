// The mirror of the server's tree: loaded folder by folder on first touch, kept fresh by the change sequence.
//
// What this process changes goes into the mirror in place. What others change is asked for at most once a
// second; the folders that it touches are read again when somebody next looks into them.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <set>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/cstring.h"
#include "storage/storage_service.h"
#include "transferlib/mirror_folder.h"

namespace rampart {

// A record with its own path, in the service's case.
struct MirrorRecord {
    CString path;
    StoredRecord record;
};

// One change of the tree that this process made. `folder` is its folder's own path in UTF-8.
struct MirrorChange {
    enum Kind { kPut, kRemove, kRemovePartial, kRename, kDescribe, kAttributes, kGone };
    Kind kind = kPut;
    std::string folder;
    std::string name;
    StoredRecord record = {};  // of kPut; of kAttributes and kGone what they set
    std::string text = {};     // the new name or the description
};

// Any thread. Operations that return a code return a service code.
class ServerMirror {
public:
    explicit ServerMirror(std::shared_ptr<StorageService> service);
    ~ServerMirror();
    ServerMirror(const ServerMirror&) = delete;
    ServerMirror& operator=(const ServerMirror&) = delete;

    struct Facts {
        bool isFolder = false;
        int64_t size = 0;
        uint32_t flags = 0;              // RecordFlag
        int64_t modifiedTime = kNoTime;  // nanoseconds
        int64_t changeTime = kNoTime;
        int64_t attributes = 0;
    };
    // kNotFound if the path does not exist. `inexactPath` becomes the record's own path if that differs from
    // `path`, and is emptied otherwise. A hash probe and no allocation for a sibling of the path asked last
    // on this thread.
    int FindFacts(TextView path, Facts& facts, CString& inexactPath);
    // `withTreeBytes` gives a folder the sum of all files below it as its size, which may take a walk.
    int FindRecord(TextView path, bool withTreeBytes, MirrorRecord& found);
    // Own path in UTF-8 of a folder that is to be changed, which is loaded, so that the change can go into
    // it; the path as it was asked for if there is no such folder.
    std::string OwnFolderPath(TextView path);
    // Direct entries in name order.
    int ListFolder(TextView path, std::vector<MirrorRecord>& records);

    // The direct entries of a folder in no order, under the lock; false from `visit` ends it.
    int VisitEntries(TextView path,
                     const std::function<bool(const MirrorFolder& folder, uint32_t entry)>& visit);

    // Reads one folder again.
    int RefreshFolder(TextView path);
    // Asks for the changes of others now.
    int CheckNow();

    // What this process changed, with the change sequence that the service told.
    void Apply(int64_t sequence, std::span<const MirrorChange> changes);

    // A folder that the service says was there before; read again what should have known it.
    void NoteExistingFolder(const std::string& path, int64_t id);

    size_t MemoryBytes();

private:
    struct Walk {
        MirrorFolder* folder = nullptr;           // that holds the entry, or that must be loaded
        uint32_t entry = MirrorFolder::kNoEntry;  // none for the root itself
        enum { kFound, kMissing, kNeedsLoad } state = kMissing;
        // The folder that the path names; null for a file.
        MirrorFolder* Target() const {
            return entry == MirrorFolder::kNoEntry ? folder : folder->Child(entry);
        }
    };
    // A reading of a folder or tree that is under way without the lock.
    struct Reading {
        Text path;
        bool wholeTree = false;
        bool overtaken = false;  // something changed in it meanwhile
    };
    class ReadingScope;
    struct FolderLine;
    struct FolderCache;

    void CheckNowAndThen();
    int CheckChanges();
    void TakeForeignChanges(const std::vector<std::string>& folders, bool tooMany, int64_t sequence);
    const FolderLine* CachedFolder(TextView asked) const;
    Walk WalkTo(TextView path, bool asFolder);
    template <typename Found>
    int Resolve(TextView path, bool asFolder, const Found& found);
    int Load(const Text& path);
    int SumTree(const Text& path, int64_t& bytes);
    MirrorFolder* KnownFolder(TextView path);
    void ForgetSumsAbove(TextView path);
    void MarkOvertaken(TextView folder);
    void ApplyChange(int64_t sequence, const MirrorChange& change);
    void PutEntry(MirrorFolder& folder, int64_t sequence, const StoredRecord& record);
    void RemoveEntry(MirrorFolder& folder, uint32_t entry);
    static void MarkGone(MirrorFolder& folder, uint32_t entry, int64_t when);
    void ChangeEntry(MirrorFolder& folder, int64_t sequence, const MirrorChange& change);
    bool IsLatest(int64_t sequence) const;
    void NoteOwnSequence(int64_t sequence);
    void Reset();
    void NewGeneration();

    const std::shared_ptr<StorageService> m_service;

    std::atomic<uint64_t> m_nextCheckMs{0};
    std::mutex m_checkMutex;  // one check at a time

    std::shared_mutex m_mutex;  // guards what follows
    std::unique_ptr<MirrorFolder> m_root;
    uint64_t m_generation = 0;         // new whenever a folder may have gone or names lead elsewhere
    int64_t m_sequence = 0;            // everything up to here is in the mirror; 0 before the first check
    std::set<int64_t> m_ownSequences;  // own changes beyond it
    std::list<Reading> m_readings;
};

}  // namespace rampart
