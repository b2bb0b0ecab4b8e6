#include "storage/pack_reader.h"

#include "storage/pack_format.h"
#include "storage/storage_error.h"

namespace rampart {
namespace {

[[noreturn]] void FailDamaged(const PlacedChunk& chunk, const std::string& what) {
    throw StorageError(kContentDamaged, "chunk " + ToHex(chunk.digest) + " in " + PackKey(chunk.place.pack) +
                                            " at " + std::to_string(chunk.place.offset) + ": " + what);
}

size_t ReadRange(ObjectStore& store, const PlacedChunk& chunk, void* buffer, size_t size) {
    try {
        return store.GetRange(PackKey(chunk.place.pack), chunk.place.offset, buffer, size);
    } catch (const StorageError& error) {
        if (error.code() == kNotFound) {
            FailDamaged(chunk, "the pack is missing");
        }
        throw;
    }
}

EntryHeader CheckedHeader(const PlacedChunk& chunk, std::string_view bytes) {
    const auto header = ParseEntryHeader(bytes);
    if (!header) {
        FailDamaged(chunk,
                    bytes.size() < kEntryHeaderBytes ? "the pack is too short" : "no valid entry there");
    }
    if (header->digest != chunk.digest || header->storedSize != chunk.place.storedSize ||
        header->size != chunk.place.size || header->flags != chunk.place.flags) {
        FailDamaged(chunk, "another chunk lies there");
    }
    return *header;
}

}  // namespace

Chunk PackReader::Read(const PlacedChunk& chunk, std::string& buffer) const {
    const size_t size = kEntryHeaderBytes + chunk.place.storedSize;
    if (buffer.size() < size) {
        buffer.resize(size);
    }
    return Check(chunk, {buffer.data(), ReadRange(m_store, chunk, buffer.data(), size)});
}

Chunk PackReader::Check(const PlacedChunk& chunk, std::string_view bytes) {
    const size_t size = kEntryHeaderBytes + chunk.place.storedSize;
    const EntryHeader header = CheckedHeader(chunk, bytes);
    if (bytes.size() < size) {
        FailDamaged(chunk, "the pack is too short");
    }
    const std::string_view stored = bytes.substr(kEntryHeaderBytes, chunk.place.storedSize);
    if (ComputeChecksum(stored) != header.checksum) {
        FailDamaged(chunk, "its bytes were changed");
    }
    return {chunk.digest, chunk.place.size, chunk.place.flags, stored};
}

void PackReader::CheckHeader(const PlacedChunk& chunk) const {
    char bytes[kEntryHeaderBytes];
    CheckedHeader(chunk, {bytes, ReadRange(m_store, chunk, bytes, sizeof(bytes))});
}

}  // namespace rampart
