// Reads chunks at their place in the packs and checks them against their entry.
#pragma once

#include <string>

#include "storage/catalog.h"
#include "storage/object_store.h"

namespace rampart {

class PackReader {
public:
    explicit PackReader(ObjectStore& store) : m_store(store) {}

    // The chunk's bytes lie in `buffer`. kContentDamaged if what lies there is not the entry of this chunk.
    // Any thread.
    Chunk Read(const PlacedChunk& chunk, std::string& buffer) const;

    // The same out of bytes that were read from the chunk's place on; fewer than it needs are a pack that is
    // too short.
    static Chunk Check(const PlacedChunk& chunk, std::string_view bytes);

    // Only the entry's header, for a check without the data.
    void CheckHeader(const PlacedChunk& chunk) const;

private:
    ObjectStore& m_store;
};

}  // namespace rampart
