// Cuts a stream of bytes into chunks.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace rampart {

class Chunker {
public:
    virtual ~Chunker() = default;
    // The length of the next chunk at the front of `data`; 0 if more bytes are needed to tell. With `end` no
    // more will come and the answer is above 0 unless `data` is empty. Cuts depend on the content alone, not
    // on how it arrives.
    virtual size_t NextCut(std::string_view data, bool end) const = 0;
    // A caller that holds this many bytes always gets a cut.
    virtual size_t LongestChunk() const = 0;
};

// Pieces of one size; the last one is what is left.
std::unique_ptr<Chunker> MakeFixedChunker(size_t pieceBytes = 1u << 20);

}  // namespace rampart
