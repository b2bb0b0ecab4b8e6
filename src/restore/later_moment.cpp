#include "restore/later_moment.h"

#include "restore/same_attributes.h"
#include "storage/server_path.h"

namespace rampart {
namespace {

constexpr size_t kCacheBytes = 16u << 20;
constexpr size_t kPieceBytes = 1u << 20;

LaterEntry EntryOf(StateEntry&& entry) {
    LaterEntry later;
    later.name = entry.record.name;
    later.kind = KindOfRecord(entry.record);
    later.stored = std::move(entry);
    return later;
}

bool IsSameRecord(const StateEntry& a, const StateEntry& b) {
    return a.contentName == b.contentName && a.contentFolder == b.contentFolder &&
           a.record.storedTime == b.record.storedTime && a.record.attributes == b.record.attributes &&
           a.record.modifiedTime == b.record.modifiedTime && a.record.size == b.record.size;
}

bool SameChunks(const LocatedFile& a, const LocatedFile& b) {
    return std::equal(a.chunks.begin(), a.chunks.end(), b.chunks.begin(), b.chunks.end(),
                      [](const PlacedChunk& x, const PlacedChunk& y) { return x.digest == y.digest; });
}

// Then other names of the pieces are another content.
bool SameCuts(const LocatedFile& a, const LocatedFile& b) {
    return std::equal(
        a.chunks.begin(), a.chunks.end(), b.chunks.begin(), b.chunks.end(),
        [](const PlacedChunk& x, const PlacedChunk& y) { return x.place.size == y.place.size; });
}

}  // namespace

LaterMoment::LaterMoment(StorageService& service, const DifferenceRequest& request)
    : m_service(service),
      m_request(request),
      m_state(StateOf(service, *request.after)),
      m_cache(kCacheBytes) {}

ServiceResult LaterMoment::Entries(const ComparedPlace& folder, std::vector<LaterEntry>& entries,
                                   bool& isKnown) {
    isKnown = true;
    entries.clear();
    std::vector<StateEntry> found;
    ServiceResult listed = m_state->Entries(folder.serverPath, found);
    for (StateEntry& entry : found) {
        entries.push_back(EntryOf(std::move(entry)));
    }
    return listed.code == kNotFound ? ServiceResult() : listed;
}

ServiceResult LaterMoment::Entry(const ComparedPlace& place, std::optional<LaterEntry>& entry,
                                 bool& isKnown) {
    std::vector<LaterEntry> beside;
    const ServerPathParts parts = SplitLastName(place.serverPath);
    ServiceResult listed = Entries({std::string(parts.folder), CString()}, beside, isKnown);
    for (LaterEntry& found : beside) {
        if (found.name == parts.name) {
            entry = std::move(found);
        }
    }
    return listed;
}

ServiceResult LaterMoment::Compare(const ComparedPlace& place, const StateEntry& before,
                                   const LaterEntry& after, std::optional<DifferenceKind>& change) {
    if (IsSameRecord(before, after.stored)) {
        return {};
    }
    const bool hasContent = after.kind == NodeKind::kFile || after.kind == NodeKind::kLink;
    bool same = true;
    if (hasContent) {
        ServiceResult compared = CompareContent(place, before, after.stored, same);
        if (!compared.Ok() || !same) {
            change = DifferenceKind::kContent;
            return compared;
        }
    }
    ServiceResult compared =
        CompareAttributes(m_service, before.record.attributes, after.stored.record.attributes, same);
    const bool sameTime = !hasContent || before.record.modifiedTime == after.stored.record.modifiedTime;
    if (!same || !sameTime) {
        change = DifferenceKind::kAttributes;
    }
    return compared;
}

ServiceResult LaterMoment::CompareContent(const ComparedPlace& place, const StateEntry& before,
                                          const StateEntry& after, bool& same) {
    same = before.record.size == after.record.size;
    if (!same) {
        return {};
    }
    LocatedFile left;
    LocatedFile right;
    bool isOpen = false;
    ServiceResult opened = Open(place, before, left, isOpen);
    if (opened.Ok() && isOpen) {
        opened = Open(place, after, right, isOpen);
    }
    if (!opened.Ok() || !isOpen) {
        return opened;  // was told: no difference that anybody knows of
    }
    same = SameChunks(left, right);
    return same || SameCuts(left, right) ? ServiceResult()
                                         : ReadAndCompare(std::move(left), std::move(right), same);
}

ServiceResult LaterMoment::Open(const ComparedPlace& place, const StateEntry& entry, LocatedFile& file,
                                bool& isOpen) {
    std::vector<LocatedFile> files;
    ServiceResult located = m_service.LocateFiles(entry.contentFolder, {{entry.contentName}}, files);
    if (!located.Ok()) {
        return located;
    }
    file = std::move(files.front());
    isOpen = file.record.id != 0 && file.record.storedTime == entry.record.storedTime && file.isComplete;
    if (!isOpen && m_request.leftOut) {
        m_request.leftOut({CString::FromUtf8(place.serverPath),
                           file.record.id != 0 && !file.isComplete
                               ? _T("the vault has lost a part of its content")
                               : _T("it was stored anew or removed meanwhile"),
                           true});
    }
    return {};
}

ServiceResult LaterMoment::ReadAndCompare(LocatedFile before, LocatedFile after, bool& same) {
    StoredReader left(m_service, m_cache, std::move(before));
    StoredReader right(m_service, m_cache, std::move(after));
    std::string leftPiece;
    std::string rightPiece;
    same = left.Size() == right.Size();
    for (uint64_t offset = 0; same && offset < left.Size(); offset += kPieceBytes) {
        if (m_request.goOn && !m_request.goOn()) {
            return ServiceResult::OfCode(kCancelled);
        }
        ServiceResult read = left.Read(offset, kPieceBytes, leftPiece);
        if (read.Ok()) {
            read = right.Read(offset, kPieceBytes, rightPiece);
        }
        if (!read.Ok()) {
            return read;
        }
        same = leftPiece == rightPiece;
    }
    return {};
}

}  // namespace rampart
