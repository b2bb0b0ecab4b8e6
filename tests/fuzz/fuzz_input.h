// What the fuzz targets share: the input cut into pieces, and the properties that every input must keep.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace rampart::fuzz {

// Ends the program, and so makes the input a finding, unless `holds`.
inline void Require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "broken property: %s\n", property);
        std::abort();
    }
}

// Reads an input from its start. Behind its end there are zeros and empty pieces.
class Input {
public:
    Input(const uint8_t* data, size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    bool AtEnd() const { return m_rest.empty(); }

    // Up to the separator, which is passed over, or the end.
    std::string_view Piece(char separator) {
        const size_t end = std::min(m_rest.find(separator), m_rest.size());
        const std::string_view piece = m_rest.substr(0, end);
        m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
        return piece;
    }

    template <class Number>
    Number Take() {
        Number number{};
        const size_t size = std::min(sizeof number, m_rest.size());
        std::memcpy(&number, m_rest.data(), size);
        m_rest.remove_prefix(size);
        return number;
    }

    std::string_view Rest() const { return m_rest; }

private:
    std::string_view m_rest;
};

}  // namespace rampart::fuzz
