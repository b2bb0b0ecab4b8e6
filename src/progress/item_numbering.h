// ItemNumber and ItemNumbering: numbers of list items that stay dense when items leave, without renumbering
// the rest.
#pragma once

#include <cstdint>
#include <vector>

#include "framework/framework.h"

namespace rampart {

// Serials are given out upwards and never change; the number of a serial is how many smaller ones are still
// in use. Both cost the logarithm of the count. Not for use by several threads at once.
class ItemNumbering {
public:
    // The next serial, which is in use from now on.
    int64_t Append();
    // Takes a serial out of use.
    void Remove(int64_t serial);
    int64_t NumberOf(int64_t serial) const;
    void Clear();

private:
    int64_t RemovedBefore(int64_t serial) const;

    std::vector<int32_t> m_removed;  // binary indexed tree over the serials taken out of use
};

// A number that is either a plain value or the place of a serial among those in use. Assigning an integer
// makes it plain; a copy is plain, with the number of that moment.
class ItemNumber {
public:
    ItemNumber() = default;
    ItemNumber(__int64 value) : m_value(value) {}
    ItemNumber(ItemNumbering const& numbering, int64_t serial) : m_numbering(&numbering), m_value(serial) {}
    ItemNumber(ItemNumber const& other) : m_value(other) {}
    ItemNumber& operator=(ItemNumber const& other) { return *this = static_cast<__int64>(other); }
    ItemNumber& operator=(__int64 value) {
        m_numbering = nullptr;
        m_value = value;
        return *this;
    }
    // Follows the place of `serial` from now on. The numbering outlives the number.
    void Follow(ItemNumbering const& numbering, int64_t serial) {
        m_numbering = &numbering;
        m_value = serial;
    }
    operator __int64() const { return m_numbering ? m_numbering->NumberOf(m_value) : m_value; }
    int64_t Serial() const { return m_value; }

private:
    ItemNumbering const* m_numbering = nullptr;
    int64_t m_value = 0;
};

}  // namespace rampart
