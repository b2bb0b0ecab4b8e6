#include "restore/attribute_store.h"

namespace rampart {
namespace {

constexpr uint32_t kLockingFlags = 0x10 | 0x20;  // immutable, append only

}  // namespace

const AttributeStore::Item& AttributeStore::Get(int64_t name) {
    std::lock_guard lock(m_mutex);
    const auto [found, isNew] = m_items.try_emplace(name);
    Item& item = found->second;
    if (!isNew || name == 0 || !m_service.ReadAttributes(name, item.bytes).Ok()) {
        return item;
    }
    if (!platform::DecodeAttributes(item.bytes, item.decoded)) {
        item.early = item.bytes;  // whoever applies them tells
        item.decoded = {};
        return item;
    }
    item.locksFile = (item.decoded.inodeFlags & kLockingFlags) != 0;
    if (item.locksFile) {
        platform::Attributes early = item.decoded;
        early.inodeFlags &= ~kLockingFlags;
        item.early = platform::EncodeAttributes(early);
    } else {
        item.early = item.bytes;
    }
    return item;
}

}  // namespace rampart
