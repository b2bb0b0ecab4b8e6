#include "storage/chunker.h"

#include <algorithm>

namespace rampart {
namespace {

class FixedChunker : public Chunker {
public:
    explicit FixedChunker(size_t pieceBytes) : m_pieceBytes(std::max<size_t>(pieceBytes, 1)) {}

    size_t NextCut(std::string_view data, bool end) const override {
        if (data.size() >= m_pieceBytes) {
            return m_pieceBytes;
        }
        return end ? data.size() : 0;
    }
    size_t LongestChunk() const override { return m_pieceBytes; }

private:
    size_t m_pieceBytes;
};

}  // namespace

std::unique_ptr<Chunker> MakeFixedChunker(size_t pieceBytes) {
    return std::make_unique<FixedChunker>(pieceBytes);
}

}  // namespace rampart
