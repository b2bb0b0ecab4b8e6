// The attributes that records name, each read from the vault once.
#pragma once

#include <mutex>
#include <string>
#include <unordered_map>

#include "platform/attributes.h"
#include "storage/storage_service.h"

namespace rampart {

// Any thread. What it gives stays valid as long as the object.
class AttributeStore {
public:
    struct Item {
        std::string bytes;  // empty: nothing is known
        platform::Attributes decoded;
        // Would keep a file from being renamed or linked: given when all else is done. Until then `early`.
        bool locksFile = false;
        std::string early;
        bool HasOwner() const { return decoded.system == platform::Attributes::kPosix && decoded.mode != 0; }
        bool HasLinks() const { return decoded.linkVolume != 0 && decoded.linkFile != 0; }
    };

    explicit AttributeStore(StorageService& service) : m_service(service) {}
    // `name` as a record has it; 0 is nothing known. What cannot be read counts as nothing known too.
    const Item& Get(int64_t name);

private:
    StorageService& m_service;
    std::mutex m_mutex;  // guards what follows
    std::unordered_map<int64_t, Item> m_items;
};

}  // namespace rampart
