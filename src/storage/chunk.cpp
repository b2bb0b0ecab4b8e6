#include "storage/chunk.h"

#include <platform_thread_object.h>
#include <zstd.h>

#include <memory>
#include <new>

namespace rampart {
namespace {

constexpr int kCompressionLevel = 2;
// Below this there is nothing to gain that a header would not eat.
constexpr size_t kLeastCompressible = 64;
// Stored as it is unless compression saves at least this share.
constexpr size_t kLeastGainShare = 32;

struct FreeCompressor {
    void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
};
struct FreeDecompressor {
    void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

ZSTD_CCtx* Compressor() {
    using Context = std::unique_ptr<ZSTD_CCtx, FreeCompressor>;
    const auto& context = platform::ThreadObject<Context>([] { return Context(ZSTD_createCCtx()); });
    if (!context) {
        throw std::bad_alloc();
    }
    return context.get();
}

ZSTD_DCtx* Decompressor() {
    using Context = std::unique_ptr<ZSTD_DCtx, FreeDecompressor>;
    const auto& context = platform::ThreadObject<Context>([] { return Context(ZSTD_createDCtx()); });
    if (!context) {
        throw std::bad_alloc();
    }
    return context.get();
}

}  // namespace

Chunk EncodeChunk(std::string_view content, std::string& buffer) {
    return CompressChunk(ComputeDigest(content), content, buffer);
}

Chunk CompressChunk(const Digest& digest, std::string_view content, std::string& buffer) {
    Chunk chunk{digest, static_cast<uint32_t>(content.size()), 0, content};
    if (content.size() < kLeastCompressible) {
        return chunk;
    }
    const size_t limit = content.size() - content.size() / kLeastGainShare - 1;
    if (buffer.size() < limit) {
        buffer.resize(limit);
    }
    const size_t size = ZSTD_compressCCtx(Compressor(), buffer.data(), limit, content.data(), content.size(),
                                          kCompressionLevel);
    if (!ZSTD_isError(size)) {
        chunk.flags = kChunkCompressed;
        chunk.stored = std::string_view(buffer.data(), size);
    }
    return chunk;
}

bool DecodeChunk(const Chunk& chunk, std::string& content) {
    if (chunk.size > kMostChunkBytes || (chunk.flags & kChunkEncrypted) != 0) {
        return false;
    }
    if ((chunk.flags & kChunkCompressed) != 0) {
        content.resize(chunk.size);
        const size_t size = ZSTD_decompressDCtx(Decompressor(), content.data(), content.size(),
                                                chunk.stored.data(), chunk.stored.size());
        if (ZSTD_isError(size) || size != chunk.size) {
            return false;
        }
    } else {
        if (chunk.stored.size() != chunk.size) {
            return false;
        }
        content.assign(chunk.stored);
    }
    return ComputeDigest(content) == chunk.digest;
}

}  // namespace rampart
