#include "restore/mounted_vault.h"

#include "platform/clock.h"
#include "platform/folder_handle.h"

namespace rampart {
namespace {

using platform::MountedAnswer;
using platform::MountedStatus;

constexpr size_t kChunkBytes = 48u << 20;
constexpr size_t kListedEntries = 100'000;
constexpr size_t kMostAttributes = 10'000;
constexpr size_t kLongestTarget = 64u << 10;

class StoredFile : public platform::MountedFile {
public:
    StoredFile(StorageService& service, ChunkCache& cache, LocatedFile located)
        : m_reader(service, cache, std::move(located)) {}
    bool Read(uint64_t offset, size_t size, std::string& bytes) override {
        return m_reader.Read(offset, size, bytes).Ok();
    }

private:
    StoredReader m_reader;
};

MountedStatus::Kind KindShown(NodeKind kind) {
    switch (kind) {
        case NodeKind::kFolder:
            return MountedStatus::Kind::kFolder;
        case NodeKind::kLink:
            return MountedStatus::Kind::kLink;
        case NodeKind::kSpecial:
            return MountedStatus::Kind::kSpecial;
        default:
            return MountedStatus::Kind::kFile;
    }
}

MountedAnswer AnswerOf(const ServiceResult& result) {
    return result.Ok()                ? MountedAnswer::kDone
           : result.code == kNotFound ? MountedAnswer::kNotFound
                                      : MountedAnswer::kFailed;
}

}  // namespace

MountedVault::MountedVault(StorageService& service, const MountRequest& request)
    : m_service(service),
      m_places(service, request),
      m_began(platform::CurrentClock().NowNanoseconds()),
      m_chunks(kChunkBytes),
      m_listings(kListedEntries) {}

MountedAnswer MountedVault::ListingOf(const MountedPlace& place, size_t depth,
                                      std::shared_ptr<const Listing>& listing) {
    const std::string folder = place.ServerPath(depth);
    listing = m_listings.Find(place.moment, folder);
    if (listing) {
        return Answer::kDone;
    }
    StateWish wish;
    wish.moment = place.moment;
    wish.historyOf = [&](const CString&) { return CString::FromUtf8(place.HistoryPath(depth)); };
    auto found = std::make_shared<Listing>();
    ServiceResult listed = StateOf(m_service, wish)->Entries(folder, *found);
    if (!listed.Ok() && listed.code != kNotFound) {
        return Answer::kFailed;
    }
    listing = found;
    m_listings.Add(place.moment, folder, std::move(found));
    return Answer::kDone;
}

MountedAnswer MountedVault::Entry(const MountedPlace& place, StateEntry& entry) {
    std::shared_ptr<const Listing> listing;
    if (Answer listed = ListingOf(place, place.names.size() - 1, listing); listed != Answer::kDone) {
        return listed;
    }
    const StateEntry* const found = FindInListing(*listing, place.names.back());
    if (found == nullptr) {
        return Answer::kNotFound;
    }
    entry = *found;
    return Answer::kDone;
}

MountedAnswer MountedVault::Locate(const MountedPlace& place, NodeKind kind, LocatedFile& located) {
    // A run may have moved the content to the older versions since its folder was listed.
    for (int look = 0; look < 2; ++look) {
        StateEntry entry;
        if (Answer found = Entry(place, entry); found != Answer::kDone) {
            return found;
        }
        if (KindOfRecord(entry.record) != kind) {
            return Answer::kWrongKind;
        }
        if ((entry.record.flags & kRecordEncrypted) != 0) {
            return Answer::kFailed;
        }
        std::vector<LocatedFile> files;
        if (!m_service.LocateFiles(entry.contentFolder, {&entry.contentName, 1}, files).Ok()) {
            return Answer::kFailed;
        }
        located = std::move(files.front());
        if (located.record.id != 0 && located.record.storedTime == entry.record.storedTime &&
            located.record.size == entry.record.size) {
            return located.isComplete ? Answer::kDone : Answer::kFailed;
        }
        m_listings.Drop(place.moment, place.ServerPath(place.names.size() - 1));
    }
    return Answer::kFailed;
}

MountedAnswer MountedVault::StatusOf(const StoredRecord& record, MountedStatus& status) {
    status.kind = KindShown(KindOfRecord(record));
    status.size = static_cast<uint64_t>(record.size);
    status.writeTime = record.modifiedTime != kNoTime ? record.modifiedTime : 0;
    status.changeTime = record.changeTime != kNoTime ? record.changeTime : status.writeTime;
    return AttributesOf(record.attributes, status.attributes);
}

MountedAnswer MountedVault::AttributesOf(int64_t name, Attributes& attributes) {
    attributes = nullptr;
    if (name == 0) {
        return Answer::kDone;
    }
    {
        std::lock_guard lock(m_mutex);
        if (const auto known = m_attributes.find(name); known != m_attributes.end()) {
            attributes = known->second;
            return Answer::kDone;
        }
    }
    std::string bytes;
    platform::Attributes decoded;
    const ServiceResult read = m_service.ReadAttributes(name, bytes);
    if (!read.Ok() && read.code != kNotFound) {
        return Answer::kFailed;
    }
    if (read.Ok() && platform::DecodeAttributes(bytes, decoded)) {
        attributes = std::make_shared<platform::Attributes>(std::move(decoded));
    }
    std::lock_guard lock(m_mutex);
    if (m_attributes.size() >= kMostAttributes) {
        m_attributes.clear();
    }
    m_attributes[name] = attributes;
    return Answer::kDone;
}

// ---- What is asked ----

MountedStatus MountedVault::FolderAt(int64_t moment) const {
    MountedStatus status;
    status.kind = MountedStatus::Kind::kFolder;
    status.writeTime = status.changeTime = moment != kNoTime ? moment : m_began;
    return status;
}

MountedAnswer MountedVault::Status(TextView path, MountedStatus& status) {
    MountedPlace place;
    if (!m_places.Find(path, place)) {
        return Answer::kNotFound;
    }
    if (place.names.empty()) {
        status = FolderAt(place.moment);
        if (place.level == MountedPlace::Level::kStored) {
            status.lastingPath = place.LastingPath();
        }
        return Answer::kDone;
    }
    StateEntry entry;
    const Answer found = Entry(place, entry);
    return found == Answer::kDone ? StatusOf(entry.record, status) : found;
}

MountedAnswer MountedVault::List(TextView folder, const Visitor& visit) {
    using Level = MountedPlace::Level;
    MountedPlace place;
    if (!m_places.Find(folder, place)) {
        return Answer::kNotFound;
    }
    if (place.level == Level::kStored) {
        return ListStored(place, visit);
    }
    const auto named = place.level == Level::kTop       ? MountedPlaces::Top()
                       : place.level == Level::kMoments ? m_places.Moments()
                                                        : m_places.Tasks(place);
    for (const MountedPlaces::Named& each : named) {
        MountedStatus status = FolderAt(each.moment);
        status.lastingPath = each.lastingPath;
        visit(each.name, status);
    }
    return Answer::kDone;
}

MountedAnswer MountedVault::ListStored(const MountedPlace& place, const Visitor& visit) {
    std::shared_ptr<const Listing> listing;
    if (Answer listed = ListingOf(place, place.names.size(), listing); listed != Answer::kDone) {
        return listed;
    }
    for (const StateEntry& entry : *listing) {
        const Text name = CString::FromUtf8(entry.record.name).ToText();
        MountedStatus status;
        if (!platform::IsFileName(name)) {
            continue;  // no file can have it here
        }
        if (Answer told = StatusOf(entry.record, status); told != Answer::kDone) {
            return told;
        }
        visit(name, status);
    }
    return Answer::kDone;
}

MountedAnswer MountedVault::Open(TextView path, std::unique_ptr<platform::MountedFile>& file) {
    MountedPlace place;
    if (!m_places.Find(path, place)) {
        return Answer::kNotFound;
    }
    LocatedFile located;
    const Answer found = place.names.empty() ? Answer::kWrongKind : Locate(place, NodeKind::kFile, located);
    if (found == Answer::kDone) {
        file = std::make_unique<StoredFile>(m_service, m_chunks, std::move(located));
    }
    return found;
}

MountedAnswer MountedVault::ReadLink(TextView path, std::string& target) {
    MountedPlace place;
    if (!m_places.Find(path, place)) {
        return Answer::kNotFound;
    }
    LocatedFile located;
    const Answer found = place.names.empty() ? Answer::kWrongKind : Locate(place, NodeKind::kLink, located);
    if (found != Answer::kDone) {
        return found;
    }
    return AnswerOf(StoredReader(m_service, m_chunks, std::move(located)).Read(0, kLongestTarget, target));
}

}  // namespace rampart
