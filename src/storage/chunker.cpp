#include "storage/chunker.h"

#include <algorithm>

namespace rampart {
namespace {

class FixedChunker : public Chunker {
public:
    explicit FixedChunker(size_t pieceBytes) : pieceBytes_(std::max<size_t>(pieceBytes, 1)) {}

    size_t NextCut(std::string_view data, bool end) const override {
        if (data.size() >= pieceBytes_) {
            return pieceBytes_;
        }
        return end ? data.size() : 0;
    }
    size_t LongestChunk() const override { return pieceBytes_; }

private:
    size_t pieceBytes_;
};

}  // namespace

std::unique_ptr<Chunker> MakeFixedChunker(size_t pieceBytes) {
    return std::make_unique<FixedChunker>(pieceBytes);
}

}  // namespace rampart
