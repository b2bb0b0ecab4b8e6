#include "progress/item_numbering.h"

namespace rampart {

namespace {

// Of a binary indexed tree: how many entries the one at `index` (from 1) sums up.
int64_t Span(int64_t index) {
    return index & -index;
}

}  // namespace

int64_t ItemNumbering::Append() {
    const auto serial = static_cast<int64_t>(m_removed.size());
    const int64_t index = serial + 1;
    m_removed.push_back(static_cast<int32_t>(RemovedBefore(serial) - RemovedBefore(index - Span(index))));
    return serial;
}

void ItemNumbering::Remove(int64_t serial) {
    const auto size = static_cast<int64_t>(m_removed.size());
    for (int64_t index = serial + 1; index <= size; index += Span(index)) {
        ++m_removed[static_cast<size_t>(index - 1)];
    }
}

int64_t ItemNumbering::NumberOf(int64_t serial) const {
    return serial - RemovedBefore(serial);
}

void ItemNumbering::Clear() {
    m_removed.clear();
}

int64_t ItemNumbering::RemovedBefore(int64_t serial) const {
    int64_t removed = 0;
    for (int64_t index = serial; index > 0; index -= Span(index)) {
        removed += m_removed[static_cast<size_t>(index - 1)];
    }
    return removed;
}

}  // namespace rampart
