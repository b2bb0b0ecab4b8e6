// The stored trees at all moments as one tree that can be mounted.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/tree_mount.h"
#include "restore/listing_cache.h"
#include "restore/mounted_places.h"
#include "restore/node_kind.h"
#include "restore/stored_reader.h"
#include "restore/vault_mount.h"

namespace rampart {

// Any thread.
class MountedVault : public platform::MountedTree {
public:
    // Both must outlive it.
    MountedVault(StorageService& service, const MountRequest& request);

    platform::MountedAnswer Status(TextView path, platform::MountedStatus& status) override;
    platform::MountedAnswer List(TextView folder, const Visitor& visit) override;
    platform::MountedAnswer Open(TextView path, std::unique_ptr<platform::MountedFile>& file) override;
    platform::MountedAnswer ReadLink(TextView path, std::string& target) override;

private:
    using Answer = platform::MountedAnswer;
    using Attributes = std::shared_ptr<const platform::Attributes>;

    // Of the folder that the first `depth` names lead to.
    Answer ListingOf(const MountedPlace& place, size_t depth, std::shared_ptr<const Listing>& listing);
    Answer Entry(const MountedPlace& place, StateEntry& entry);
    Answer Locate(const MountedPlace& place, NodeKind kind, LocatedFile& located);
    Answer StatusOf(const StoredRecord& record, platform::MountedStatus& status);
    Answer AttributesOf(int64_t name, Attributes& attributes);
    platform::MountedStatus FolderAt(int64_t moment) const;
    Answer ListStored(const MountedPlace& place, const Visitor& visit);

    StorageService& m_service;
    MountedPlaces m_places;
    const int64_t m_began;  // nanoseconds since 1970 UTC
    ChunkCache m_chunks;
    ListingCache m_listings;

    std::mutex m_mutex;  // guards what follows
    std::map<int64_t, Attributes> m_attributes;
};

}  // namespace rampart
