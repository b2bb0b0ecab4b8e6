#include "progress/item_index.h"

namespace rampart {

void ItemIndex::Append(std::unique_ptr<TaskItemInfo> item) {
    const POSITION position = m_items.AddTail(item.get());
    TaskItemInfo* added = item.release();
    added->m_id.Follow(m_numbering, m_numbering.Append());
    m_byPath.emplace(HashNoCase(added->m_strPath), position);
}

POSITION ItemIndex::Find(TextView path, POSITION start) const {
    const int64_t startSerial = start ? ItemAt(start).m_id.Serial() : 0;
    POSITION ahead = nullptr;
    POSITION behind = nullptr;
    const auto isEarlier = [this](int64_t serial, POSITION than) {
        return !than || serial < ItemAt(than).m_id.Serial();
    };
    const auto [first, last] = m_byPath.equal_range(HashNoCase(path));
    for (auto entry = first; entry != last; ++entry) {
        const TaskItemInfo& item = ItemAt(entry->second);
        if (!EqualNoCase(item.m_strPath, path)) {
            continue;
        }
        const int64_t serial = item.m_id.Serial();
        POSITION& best = serial >= startSerial ? ahead : behind;
        if (isEarlier(serial, best)) {
            best = entry->second;
        }
    }
    return ahead ? ahead : behind;
}

std::unique_ptr<TaskItemInfo> ItemIndex::Take(POSITION position) {
    std::unique_ptr<TaskItemInfo> item(&ItemAt(position));
    const auto [first, last] = m_byPath.equal_range(HashNoCase(item->m_strPath));
    for (auto entry = first; entry != last; ++entry) {
        if (entry->second == position) {
            m_byPath.erase(entry);
            break;
        }
    }
    m_items.RemoveAt(position);
    const int64_t serial = item->m_id.Serial();
    item->m_id = m_numbering.NumberOf(serial);
    m_numbering.Remove(serial);
    if (m_items.IsEmpty()) {
        Clear();
    }
    return item;
}

void ItemIndex::Clear() {
    for (void* item : m_items) {
        delete static_cast<TaskItemInfo*>(item);  // the list's own type is a raw pointer
    }
    m_items.RemoveAll();
    m_byPath.clear();
    m_numbering.Clear();
}

}  // namespace rampart
