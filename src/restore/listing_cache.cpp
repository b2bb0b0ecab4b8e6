#include "restore/listing_cache.h"

#include <algorithm>

namespace rampart {
namespace {

// A folder without entries takes room, too.
size_t CostOf(const Listing& listing) {
    return listing.size() + 1;
}

}  // namespace

const StateEntry* FindInListing(const Listing& listing, std::string_view name) {
    const auto found = std::lower_bound(
        listing.begin(), listing.end(), name,
        [](const StateEntry& entry, std::string_view wanted) { return entry.record.name < wanted; });
    return found != listing.end() && found->record.name == name ? &*found : nullptr;
}

std::shared_ptr<const Listing> ListingCache::Find(int64_t moment, const std::string& folder) {
    std::lock_guard lock(m_mutex);
    const auto found = m_byKey.find({moment, folder});
    if (found == m_byKey.end()) {
        return nullptr;
    }
    m_items.splice(m_items.begin(), m_items, found->second);
    return found->second->listing;
}

void ListingCache::Add(int64_t moment, const std::string& folder, std::shared_ptr<const Listing> listing) {
    std::lock_guard lock(m_mutex);
    Key key{moment, folder};
    if (m_byKey.contains(key)) {
        return;
    }
    m_entries += CostOf(*listing);
    m_items.push_front({key, std::move(listing)});
    m_byKey[std::move(key)] = m_items.begin();
    while (m_entries > m_mostEntries && m_items.size() > 1) {
        Erase(std::prev(m_items.end()));
    }
}

void ListingCache::Drop(int64_t moment, const std::string& folder) {
    std::lock_guard lock(m_mutex);
    if (const auto found = m_byKey.find({moment, folder}); found != m_byKey.end()) {
        Erase(found->second);
    }
}

void ListingCache::Erase(std::list<Item>::iterator item) {
    m_entries -= CostOf(*item->listing);
    m_byKey.erase(item->key);
    m_items.erase(item);
}

}  // namespace rampart
