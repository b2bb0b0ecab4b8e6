// A chunk as it is stored and sent, and the way from content to it and back.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "storage/digest.h"

namespace rampart {

inline constexpr size_t kMostChunkBytes = 8u << 20;  // of content

enum ChunkFlag : uint32_t {
    kChunkCompressed = 0x1,  // zstd
    kChunkEncrypted = 0x2,   // sealed by the client: the digest is keyed and only the client can check it
};

struct Chunk {
    Digest digest;
    uint32_t size = 0;   // bytes of the content
    uint32_t flags = 0;  // ChunkFlag
    std::string_view stored;
};

// Names `content` and compresses it if that gains. `buffer` is scratch space for the compressed form; the
// result's bytes lie in `content` or in `buffer`. Any thread.
Chunk EncodeChunk(std::string_view content, std::string& buffer);

// Only the compressing step, for a caller that knows the digest already.
Chunk CompressChunk(const Digest& digest, std::string_view content, std::string& buffer);

// Gives the content of a chunk that is not encrypted. False if the bytes cannot be it: wrong length, damaged
// compression, another digest.
bool DecodeChunk(const Chunk& chunk, std::string& content);

}  // namespace rampart
