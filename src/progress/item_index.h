// ItemIndex: finds and numbers the items of a progress list without walking it.
#pragma once

#include <memory>
#include <unordered_map>

#include "framework/framework.h"
#include "progress/item_numbering.h"
#include "progress/task_item_info.h"

namespace rampart {

// Owns the items of one list of TaskItemInfo*, which nobody else adds to or takes from. The path of an item
// does not change while it is on the list. Not for use by several threads at once.
class ItemIndex {
public:
    explicit ItemIndex(CPtrList& items) : m_items(items) {}
    ~ItemIndex() { Clear(); }
    ItemIndex(ItemIndex const&) = delete;
    ItemIndex& operator=(ItemIndex const&) = delete;

    void Append(std::unique_ptr<TaskItemInfo> item);
    // The first item of that path, without regard to case, that a search from `start` to the end and then
    // from the head meets; a null start is the head. Null if there is none.
    POSITION Find(TextView path, POSITION start) const;
    // Takes the item off the list; its number becomes the one that it had.
    std::unique_ptr<TaskItemInfo> Take(POSITION position);
    void Clear();

private:
    TaskItemInfo& ItemAt(POSITION position) const {
        return *static_cast<TaskItemInfo*>(m_items.GetAt(position));
    }

    CPtrList& m_items;
    ItemNumbering m_numbering;
    std::unordered_multimap<size_t, POSITION> m_byPath;  // hash of the path without case
};

}  // namespace rampart
