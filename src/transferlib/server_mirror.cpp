#include "transferlib/server_mirror.h"

#include <platform_thread_object.h>
#include <algorithm>
#include <array>

#include "framework/case_folding.h"
#include "platform/clock.h"
#include "storage/server_path.h"

namespace rampart {
namespace {

constexpr uint64_t kCheckEveryMs = 1000;
constexpr size_t kMostChangedFolders = 1024;
// So often is a folder read again that changes while it is read; then the last answer counts until the next
// look.
constexpr int kMostReadings = 8;
// A path leads through at most so many folders that are not loaded; more means that others change them as
// fast as they are read.
constexpr int kMostLoads = 2000;

std::atomic<uint64_t> g_generation{0};

// The names of a path one by one; empty ones are passed over.
class PathNames {
public:
    explicit PathNames(TextView path) : m_rest(path) { SkipBackslashes(); }
    bool AtEnd() const { return m_rest.empty(); }
    TextView Next() {
        const size_t end = std::min(m_rest.find(_T('\\')), m_rest.size());
        const TextView name = m_rest.substr(0, end);
        m_rest.remove_prefix(end);
        SkipBackslashes();
        return name;
    }

private:
    void SkipBackslashes() {
        m_rest.remove_prefix(std::min(m_rest.find_first_not_of(_T('\\')), m_rest.size()));
    }
    TextView m_rest;
};

Text JoinName(const Text& folder, TextView name) {
    Text path = folder.size() == 1 ? Text() : folder;
    path += _T('\\');
    path += name;
    return path;
}

// The same names, however the backslashes stand.
bool IsSamePath(TextView a, TextView b) {
    PathNames left(a);
    PathNames right(b);
    while (!left.AtEnd() && !right.AtEnd()) {
        if (left.Next() != right.Next()) {
            return false;
        }
    }
    return left.AtEnd() && right.AtEnd();
}

bool IsBelowOrSame(TextView path, TextView folder) {
    return folder.size() <= 1 || path == folder ||
           (path.starts_with(folder) && path.size() > folder.size() && path[folder.size()] == _T('\\'));
}

}  // namespace

struct ServerMirror::FolderLine {
    uint64_t generation = 0;
    MirrorFolder* folder = nullptr;
    Text asked;
    Text own;
    bool inexact = false;  // the two differ in more than doubled backslashes
};

// The folders that this thread asked for last.
struct ServerMirror::FolderCache {
    std::array<FolderLine, 4> lines;
    size_t oldest = 0;

    static FolderCache& OfThread() {
        return platform::ThreadObject<FolderCache>([] { return FolderCache(); });
    }
};

class ServerMirror::ReadingScope {
public:
    ReadingScope(ServerMirror& mirror, Reading reading) : m_mirror(mirror) {
        std::unique_lock lock(m_mirror.m_mutex);
        m_place = m_mirror.m_readings.insert(m_mirror.m_readings.end(), std::move(reading));
    }
    ~ReadingScope() {
        std::unique_lock lock(m_mirror.m_mutex);
        m_mirror.m_readings.erase(m_place);
    }
    ReadingScope(const ReadingScope&) = delete;
    ReadingScope& operator=(const ReadingScope&) = delete;

    void Begin() {
        std::unique_lock lock(m_mirror.m_mutex);
        m_place->overtaken = false;
    }
    // Only under the mirror's lock.
    bool IsOvertaken() const { return m_place->overtaken; }

private:
    ServerMirror& m_mirror;
    std::list<Reading>::iterator m_place;
};

ServerMirror::ServerMirror(std::shared_ptr<StorageService> service) : m_service(std::move(service)) {
    Reset();
}

ServerMirror::~ServerMirror() = default;

void ServerMirror::NewGeneration() {
    m_generation = ++g_generation;
}

void ServerMirror::Reset() {
    m_root = std::make_unique<MirrorFolder>(nullptr, 0);
    for (Reading& reading : m_readings) {
        reading.overtaken = true;
    }
    NewGeneration();
}

// ---- Lookups ----

const ServerMirror::FolderLine* ServerMirror::CachedFolder(TextView asked) const {
    for (const FolderLine& line : FolderCache::OfThread().lines) {
        if (line.generation == m_generation && line.asked == asked) {
            return line.folder->NeedsLoad() ? nullptr : &line;
        }
    }
    return nullptr;
}

ServerMirror::Walk ServerMirror::WalkTo(TextView path, bool asFolder) {
    Walk walk;
    walk.folder = m_root.get();
    for (PathNames names(path); !names.AtEnd();) {
        walk.folder = walk.Target();
        if (walk.folder->NeedsLoad()) {
            walk.state = Walk::kNeedsLoad;
            return walk;
        }
        const TextView name = names.Next();
        walk.entry = walk.folder->Find(name, asFolder || !names.AtEnd());
        if (walk.entry == MirrorFolder::kNoEntry) {
            return walk;
        }
    }
    walk.state = Walk::kFound;
    return walk;
}

// Calls `found` with the walk's end under the lock; loads what lies on the way, and the folder that `found`
// asks for.
template <typename Found>
int ServerMirror::Resolve(TextView path, bool asFolder, const Found& found) {
    for (int loads = 0; loads < kMostLoads; ++loads) {
        Text toLoad;
        {
            std::shared_lock lock(m_mutex);
            const Walk walk = WalkTo(path, asFolder);
            if (walk.state == Walk::kMissing) {
                return kNotFound;
            }
            const MirrorFolder* const missing = walk.state == Walk::kNeedsLoad ? walk.folder : found(walk);
            if (missing == nullptr) {
                return kOk;
            }
            toLoad = missing->Path();
        }
        if (const int code = Load(toLoad); code != kOk && code != kNotFound) {
            return code;
        }
    }
    return kConnectionFailed;
}

int ServerMirror::FindFacts(TextView path, Facts& facts, CString& inexactPath) {
    CheckNowAndThen();
    const size_t cut = path.rfind(_T('\\'));
    const TextView asked = cut == TextView::npos ? TextView() : path.substr(0, cut);
    const TextView name = cut == TextView::npos ? path : path.substr(cut + 1);
    const auto tell = [&](const MirrorFolder& folder, uint32_t entry) {
        facts = {folder.IsFolder(entry),     folder.Size(entry),       folder.RecordFlags(entry),
                 folder.ModifiedTime(entry), folder.ChangeTime(entry), folder.Attributes(entry)};
    };
    const auto findCached = [&](int& code) {
        const FolderLine* const line = CachedFolder(asked);
        if (line == nullptr) {
            return false;
        }
        const uint32_t entry = line->folder->Find(name, false);
        code = entry == MirrorFolder::kNoEntry ? kNotFound : kOk;
        if (code == kOk) {
            tell(*line->folder, entry);
            const TextView ownName = line->folder->Name(entry);
            line->inexact || ownName != name
                ? void(inexactPath = CString(TextView(JoinName(line->own, ownName))))
                : inexactPath.Empty();
        }
        return true;
    };
    int code = kOk;
    if (!name.empty()) {
        std::shared_lock lock(m_mutex);
        if (findCached(code)) {
            return code;
        }
    }
    // The folder of the path first, so that its siblings find it in the cache, also if this one is missing.
    code = Resolve(asked, true, [&](const Walk& walk) -> MirrorFolder* {
        MirrorFolder* const folder = walk.Target();
        if (!name.empty() && folder->NeedsLoad()) {
            return folder;
        }
        FolderCache& cache = FolderCache::OfThread();
        const Text own = folder->Path();
        cache.lines[cache.oldest++ % cache.lines.size()] = {m_generation, folder, Text(asked), own,
                                                            !IsSamePath(asked, own)};
        return nullptr;
    });
    if (code != kOk) {
        return code;
    }
    return Resolve(path, false, [&](const Walk& walk) -> MirrorFolder* {
        if (walk.entry == MirrorFolder::kNoEntry) {
            facts = {true};
            inexactPath.Empty();
            return nullptr;
        }
        tell(*walk.folder, walk.entry);
        const Text own = JoinName(walk.folder->Path(), walk.folder->Name(walk.entry));
        IsSamePath(own, path) ? inexactPath.Empty() : void(inexactPath = CString(TextView(own)));
        return nullptr;
    });
}

int ServerMirror::FindRecord(TextView path, bool withTreeBytes, MirrorRecord& found) {
    CheckNowAndThen();
    int64_t bytes = MirrorFolder::kUnknownBytes;
    const int code = Resolve(path, false, [&](const Walk& walk) -> MirrorFolder* {
        MirrorFolder* const target = walk.Target();
        if (target != nullptr && target->NeedsLoad()) {
            return target;
        }
        found.record = {};
        if (walk.entry == MirrorFolder::kNoEntry) {
            found.path = _T("\\");
            found.record.isFolder = true;
            // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): a walk always stands in a folder
            found.record.subItemCount = walk.folder->Count();
        } else {
            found.path = CString(TextView(JoinName(walk.folder->Path(), walk.folder->Name(walk.entry))));
            walk.folder->Read(walk.entry, found.record);
        }
        bytes = target != nullptr ? target->TreeBytes() : 0;
        return nullptr;
    });
    if (code != kOk || !found.record.isFolder || !withTreeBytes) {
        return code;
    }
    if (bytes == MirrorFolder::kUnknownBytes) {
        if (const int sumCode = SumTree(found.path.ToText(), bytes)) {
            return sumCode;
        }
    }
    found.record.size = bytes;
    return kOk;
}

std::string ServerMirror::OwnFolderPath(TextView path) {
    CheckNowAndThen();
    Text own(path);
    Resolve(path, true, [&](const Walk& walk) -> MirrorFolder* {
        own = walk.Target()->Path();
        return walk.Target()->NeedsLoad() ? walk.Target() : nullptr;
    });
    return platform::ToUtf8(own);
}

int ServerMirror::ListFolder(TextView path, std::vector<MirrorRecord>& records) {
    CheckNowAndThen();
    return Resolve(path, true, [&](const Walk& walk) -> MirrorFolder* {
        MirrorFolder* const folder = walk.Target();
        if (folder->NeedsLoad()) {
            return folder;
        }
        const Text own = folder->Path();
        records.reserve(records.size() + folder->Count());
        for (const uint32_t entry : folder->SortedEntries()) {
            MirrorRecord& listed = records.emplace_back();
            listed.path = CString(TextView(JoinName(own, folder->Name(entry))));
            folder->Read(entry, listed.record);
        }
        return nullptr;
    });
}

int ServerMirror::VisitEntries(TextView path,
                               const std::function<bool(const MirrorFolder& folder, uint32_t entry)>& visit) {
    CheckNowAndThen();
    return Resolve(path, true, [&](const Walk& walk) -> MirrorFolder* {
        MirrorFolder* const folder = walk.Target();
        if (folder->NeedsLoad()) {
            return folder;
        }
        for (uint32_t entry = 0; entry < folder->Count() && visit(*folder, entry); ++entry) {
        }
        return nullptr;
    });
}

// ---- Reading from the service ----

int ServerMirror::Load(const Text& path) {
    bool checked = false;
    {
        std::shared_lock lock(m_mutex);
        checked = m_sequence != 0;
    }
    if (!checked) {
        if (const int code = CheckNow()) {
            return code;
        }
    }
    const std::string utf8 = platform::ToUtf8(path);
    ReadingScope reading(*this, {path});
    for (int attempt = 1;; ++attempt) {
        reading.Begin();
        MirrorFolder listing(nullptr, 0);
        int64_t sequence = 0;
        const ServiceResult result = m_service->ListFolder(
            utf8,
            [&](const StoredRecord& record) {
                listing.Put(record);
                return true;
            },
            sequence);
        if (result.code == kNotFound) {
            // Its folder is not what it was.
            std::unique_lock lock(m_mutex);
            MirrorFolder* const gone = KnownFolder(path);
            if (gone != nullptr && gone->Parent() != nullptr) {
                gone->Parent()->MarkStale();
                gone->ForgetTreeBytes();
            }
        }
        if (!result.Ok()) {
            return result.code;
        }
        std::unique_lock lock(m_mutex);
        if (reading.IsOvertaken() && attempt < kMostReadings) {
            continue;
        }
        MirrorFolder* const folder = KnownFolder(path);
        if (folder != nullptr) {
            folder->TakeListing(listing);
            folder->MarkLoaded(sequence);
            if (reading.IsOvertaken()) {
                folder->MarkStale();
            }
            NewGeneration();
        }
        return kOk;
    }
}

int ServerMirror::SumTree(const Text& path, int64_t& bytes) {
    ReadingScope reading(*this, {path, true});
    int64_t sequence = 0;
    bytes = 0;
    const ServiceResult result = m_service->ListTree(
        platform::ToUtf8(path),
        [&](const std::string&, const StoredRecord&, std::span<const StoredRecord> records) {
            for (const StoredRecord& record : records) {
                bytes += record.isFolder ? 0 : record.size;
            }
            return true;
        },
        sequence);
    if (!result.Ok()) {
        return result.code;
    }
    std::unique_lock lock(m_mutex);
    MirrorFolder* const folder = KnownFolder(path);
    if (folder != nullptr && !reading.IsOvertaken()) {
        folder->SetTreeBytes(bytes);
    }
    return kOk;
}

int ServerMirror::RefreshFolder(TextView path) {
    if (const int code = CheckNow()) {
        return code;
    }
    bool asked = false;
    return Resolve(path, true, [&](const Walk& walk) -> MirrorFolder* {
        return std::exchange(asked, true) ? nullptr : walk.Target();
    });
}

// ---- Changes ----

void ServerMirror::CheckNowAndThen() {
    const uint64_t now = platform::CurrentClock().MonotonicMilliseconds();
    uint64_t next = m_nextCheckMs.load(std::memory_order_relaxed);
    if (now >= next && m_nextCheckMs.compare_exchange_strong(next, now + kCheckEveryMs)) {
        CheckChanges();
    }
}

int ServerMirror::CheckNow() {
    m_nextCheckMs = platform::CurrentClock().MonotonicMilliseconds() + kCheckEveryMs;
    return CheckChanges();
}

int ServerMirror::CheckChanges() {
    std::lock_guard checkLock(m_checkMutex);
    int64_t since = 0;
    {
        std::shared_lock lock(m_mutex);
        since = m_sequence;
    }
    int64_t sequence = 0;
    if (const ServiceResult result = m_service->ChangeSequence(sequence); !result.Ok()) {
        return result.code;
    }
    if (sequence == since) {
        return kOk;
    }
    std::vector<std::string> folders;
    bool tooMany = since == 0 || sequence < since;  // a vault that was put back to an earlier state
    if (!tooMany) {
        const ServiceResult result =
            m_service->ChangedFolders(since, kMostChangedFolders, folders, tooMany, sequence);
        if (!result.Ok()) {
            return result.code;
        }
    }
    TakeForeignChanges(folders, tooMany, sequence);
    return kOk;
}

void ServerMirror::TakeForeignChanges(const std::vector<std::string>& folders, bool tooMany,
                                      int64_t sequence) {
    std::unique_lock lock(m_mutex);
    if (tooMany) {
        Reset();
        m_sequence = 0;
    }
    for (const std::string& changed : folders) {
        const Text path = platform::FromUtf8(changed);
        MarkOvertaken(path);
        ForgetSumsAbove(path);
        if (MirrorFolder* const folder = KnownFolder(path)) {
            folder->MarkStale();
            if (folder->Parent() != nullptr) {
                // Its number of entries stands there.
                folder->Parent()->MarkStale();
            }
        }
    }
    m_sequence = std::max(m_sequence, sequence);
    NoteOwnSequence(0);
}

// The folder of exactly that path if the mirror has it, loaded or not.
MirrorFolder* ServerMirror::KnownFolder(TextView path) {
    MirrorFolder* folder = m_root.get();
    for (PathNames names(path); folder != nullptr && !names.AtEnd();) {
        const uint32_t entry = folder->FindExact(names.Next());
        folder = entry == MirrorFolder::kNoEntry ? nullptr : folder->Child(entry);
    }
    return folder;
}

void ServerMirror::ForgetSumsAbove(TextView path) {
    MirrorFolder* folder = m_root.get();
    for (PathNames names(path); !names.AtEnd();) {
        const uint32_t entry = folder->FindExact(names.Next());
        MirrorFolder* const next = entry == MirrorFolder::kNoEntry ? nullptr : folder->Child(entry);
        if (next == nullptr) {
            break;
        }
        folder = next;
    }
    folder->ForgetTreeBytes();
}

void ServerMirror::MarkOvertaken(TextView folder) {
    for (Reading& reading : m_readings) {
        if (reading.wholeTree ? IsBelowOrSame(folder, reading.path) : reading.path == folder) {
            reading.overtaken = true;
        }
    }
}

void ServerMirror::Apply(int64_t sequence, std::span<const MirrorChange> changes) {
    std::unique_lock lock(m_mutex);
    for (const MirrorChange& change : changes) {
        ApplyChange(sequence, change);
    }
    NoteOwnSequence(sequence);
}

void ServerMirror::ApplyChange(int64_t sequence, const MirrorChange& change) {
    const Text path = platform::FromUtf8(change.folder);
    MarkOvertaken(path);
    MirrorFolder* const folder = KnownFolder(path);
    if (folder == nullptr || folder->NeedsLoad()) {
        ForgetSumsAbove(path);
        if (folder != nullptr && folder->Parent() != nullptr) {
            folder->Parent()->MarkStale();
        }
        return;
    }
    if (sequence != 0 && sequence <= folder->ListedSequence()) {
        // The listing holds it already; the sums above do not.
        folder->ForgetTreeBytes();
        return;
    }
    if (sequence != 0 && sequence < folder->AppliedSequence()) {
        // Another thread's later change came first.
        folder->MarkStale();
        folder->ForgetTreeBytes();
        return;
    }
    ChangeEntry(*folder, sequence, change);
    folder->SetAppliedSequence(std::max(sequence, folder->AppliedSequence()));
}

// Whether no later change of this process or another is known yet.
bool ServerMirror::IsLatest(int64_t sequence) const {
    return sequence > m_sequence && (m_ownSequences.empty() || *m_ownSequences.rbegin() < sequence);
}

void ServerMirror::PutEntry(MirrorFolder& folder, int64_t sequence, const StoredRecord& record) {
    const Text name = platform::FromUtf8(record.name);
    const uint32_t known = folder.FindExact(name);
    const bool isNew = known == MirrorFolder::kNoEntry;
    const bool wasFolder = !isNew && folder.IsFolder(known);
    if (wasFolder) {
        folder.ForgetTreeBytes();
    } else {
        folder.AddTreeBytes(record.size - (isNew ? 0 : folder.Size(known)));
    }
    folder.Put(record);
    if (!record.isFolder) {
        if (wasFolder) {
            NewGeneration();  // the folder is gone, and what is cached of it leads nowhere
        }
        return;
    }
    if (isNew && IsLatest(sequence)) {
        // Just made, and nobody has put anything into it.
        MirrorFolder* const child = folder.Child(folder.FindExact(name));
        child->MarkLoaded(sequence);
        child->SetTreeBytes(0);
    }
    NewGeneration();
}

void ServerMirror::RemoveEntry(MirrorFolder& folder, uint32_t entry) {
    const MirrorFolder* const child = folder.Child(entry);
    const int64_t bytes = child != nullptr ? child->TreeBytes() : folder.Size(entry);
    if (bytes == MirrorFolder::kUnknownBytes) {
        folder.ForgetTreeBytes();
    } else {
        folder.AddTreeBytes(-bytes);
    }
    folder.Remove(entry);
    if (child != nullptr) {
        NewGeneration();
    }
}

void ServerMirror::ChangeEntry(MirrorFolder& folder, int64_t sequence, const MirrorChange& change) {
    if (change.kind == MirrorChange::kPut) {
        PutEntry(folder, sequence, change.record);
        return;
    }
    const uint32_t entry = folder.FindExact(platform::FromUtf8(change.name));
    if (entry == MirrorFolder::kNoEntry) {
        return;
    }
    if (change.kind == MirrorChange::kRemove ||
        (change.kind == MirrorChange::kRemovePartial && folder.IsPartial(entry))) {
        RemoveEntry(folder, entry);
    } else if (change.kind == MirrorChange::kDescribe) {
        StoredRecord record;
        folder.Read(entry, record);
        record.description = change.text;
        folder.Put(record);
    } else if (change.kind == MirrorChange::kAttributes) {
        folder.SetAttributes(entry, change.record);
    } else if (change.kind == MirrorChange::kGone) {
        MarkGone(folder, entry, change.record.goneTime);
    } else if (change.kind == MirrorChange::kRename) {
        const Text newName = platform::FromUtf8(change.text);
        if (folder.FindExact(newName) != MirrorFolder::kNoEntry) {
            folder.MarkStale();
            folder.ForgetTreeBytes();
            return;
        }
        folder.Rename(entry, newName);
        NewGeneration();
    }
}

void ServerMirror::MarkGone(MirrorFolder& folder, uint32_t entry, int64_t when) {
    folder.SetGone(entry, when);
    MirrorFolder* const child = folder.Child(entry);
    for (uint32_t below = 0; child != nullptr && below < child->Count(); ++below) {
        MarkGone(*child, below, when);
    }
}

void ServerMirror::NoteOwnSequence(int64_t sequence) {
    if (sequence > m_sequence) {
        m_ownSequences.insert(sequence);
    }
    while (!m_ownSequences.empty() && *m_ownSequences.begin() <= m_sequence + 1) {
        m_sequence = std::max(m_sequence, *m_ownSequences.begin());
        m_ownSequences.erase(m_ownSequences.begin());
    }
}

void ServerMirror::NoteExistingFolder(const std::string& path, int64_t id) {
    std::unique_lock lock(m_mutex);
    const MirrorFolder* const folder = KnownFolder(platform::FromUtf8(path));
    if (folder != nullptr && folder->Id() == id) {
        return;
    }
    const ServerPathParts parts = SplitLastName(path);
    if (MirrorFolder* const parent = KnownFolder(platform::FromUtf8(parts.folder))) {
        parent->MarkStale();
        parent->ForgetTreeBytes();
    }
}

size_t ServerMirror::MemoryBytes() {
    std::shared_lock lock(m_mutex);
    return m_root->MemoryBytes();
}

}  // namespace rampart
