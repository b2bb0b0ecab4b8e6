// The chunks of a file as the catalog stores them: 36 bytes each, digest and size.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "storage/byte_order.h"
#include "storage/storage_service.h"

namespace rampart {

inline constexpr size_t kListedChunkBytes = Digest::kSize + sizeof(uint32_t);

inline void PackChunkList(std::span<const ChunkReference> chunks, std::string& bytes) {
    bytes.clear();
    bytes.reserve(chunks.size() * kListedChunkBytes);
    for (const ChunkReference& chunk : chunks) {
        bytes.append(chunk.digest.View());
        AppendLittleEndian<uint32_t>(bytes, chunk.size);
    }
}

// False if the bytes are not whole chunks.
inline bool UnpackChunkList(std::string_view bytes, std::vector<ChunkReference>& chunks) {
    chunks.resize(bytes.size() / kListedChunkBytes);
    for (size_t i = 0; i < chunks.size(); ++i) {
        const std::string_view entry = bytes.substr(i * kListedChunkBytes, kListedChunkBytes);
        std::memcpy(chunks[i].digest.bytes.data(), entry.data(), Digest::kSize);
        chunks[i].size = LittleEndianAt<uint32_t>(entry, Digest::kSize);
    }
    return bytes.size() % kListedChunkBytes == 0;
}

}  // namespace rampart
