// Folders of past states that were looked at last: they do not change, and who looks asks for each name in
// them.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "restore/tree_state.h"

namespace rampart {

// In name order.
using Listing = std::vector<StateEntry>;

// Null if there is none of that name.
const StateEntry* FindInListing(const Listing& listing, std::string_view name);

// Any thread.
class ListingCache {
public:
    // `mostEntries` of all folders together; a bigger one is kept alone.
    explicit ListingCache(size_t mostEntries) : m_mostEntries(mostEntries) {}

    std::shared_ptr<const Listing> Find(int64_t moment, const std::string& folder);
    void Add(int64_t moment, const std::string& folder, std::shared_ptr<const Listing> listing);
    void Drop(int64_t moment, const std::string& folder);

private:
    using Key = std::pair<int64_t, std::string>;
    struct Item {
        Key key;
        std::shared_ptr<const Listing> listing;
    };
    void Erase(std::list<Item>::iterator item);

    const size_t m_mostEntries;
    std::mutex m_mutex;       // guards what follows
    std::list<Item> m_items;  // the one used last in front
    std::map<Key, std::list<Item>::iterator> m_byKey;
    size_t m_entries = 0;
};

}  // namespace rampart
