// Reads many chunks at their places, neighbours in one pack with one access.
#pragma once

#include <span>
#include <string>

#include "storage/catalog.h"
#include "storage/object_store.h"

namespace rampart {

// One thread at a time; cheap to make.
class RunReader {
public:
    RunReader(Catalog& catalog, ObjectStore& store) : m_catalog(catalog), m_store(store) {}

    // See StorageService::ReadPlaced. False if `visit` ended it.
    bool Read(std::span<const PlacedChunk> chunks, const PlacedChunkVisitor& visit);

private:
    struct Outcome {
        Chunk chunk;
        ServiceResult result;
    };
    // The bytes from the first chunk's place on to the end of the last; as many as there are.
    std::string_view ReadRange(std::span<const PlacedChunk> run);
    Outcome Take(const PlacedChunk& chunk, std::string_view bytes);
    // At the place where the catalog has it now.
    Outcome LookUpAnew(const PlacedChunk& chunk, const ServiceResult& failure);

    Catalog& m_catalog;
    ObjectStore& m_store;
    std::string m_range;
    std::string m_single;
};

}  // namespace rampart
