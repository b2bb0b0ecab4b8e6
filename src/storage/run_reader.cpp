#include "storage/run_reader.h"

#include "storage/pack_format.h"
#include "storage/pack_reader.h"
#include "storage/storage_error.h"

namespace rampart {
namespace {

constexpr int64_t kMostRunBytes = 4 << 20;
// Reading what lies between two chunks costs less than another access.
constexpr int64_t kMostGapBytes = 64 << 10;

int64_t EndOf(const ChunkPlace& place) {
    return place.offset + static_cast<int64_t>(kEntryHeaderBytes) + place.storedSize;
}

// How many chunks from `first` on lie close together, one behind the other.
size_t RunLength(std::span<const PlacedChunk> chunks, size_t first) {
    const ChunkPlace& start = chunks[first].place;
    int64_t end = EndOf(start);
    size_t next = first + 1;
    for (; next < chunks.size(); ++next) {
        const ChunkPlace& place = chunks[next].place;
        if (place.pack != start.pack || place.offset < end || place.offset - end > kMostGapBytes ||
            EndOf(place) - start.offset > kMostRunBytes) {
            break;
        }
        end = EndOf(place);
    }
    return next - first;
}

}  // namespace

bool RunReader::Read(std::span<const PlacedChunk> chunks, const PlacedChunkVisitor& visit) {
    for (size_t first = 0; first < chunks.size();) {
        const size_t length = RunLength(chunks, first);
        const std::span<const PlacedChunk> run = chunks.subspan(first, length);
        const std::string_view bytes = ReadRange(run);
        for (size_t i = 0; i < length; ++i) {
            const auto skipped = static_cast<size_t>(run[i].place.offset - run[0].place.offset);
            const Outcome outcome = Take(run[i], bytes.substr(std::min(skipped, bytes.size())));
            if (!visit(first + i, outcome.chunk, outcome.result)) {
                return false;
            }
        }
        first += length;
    }
    return true;
}

std::string_view RunReader::ReadRange(std::span<const PlacedChunk> run) {
    const ChunkPlace& start = run.front().place;
    const auto size = static_cast<size_t>(EndOf(run.back().place) - start.offset);
    if (m_range.size() < size) {
        m_range.resize(size);
    }
    try {
        return {m_range.data(), m_store.GetRange(PackKey(start.pack), start.offset, m_range.data(), size)};
    } catch (const StorageError&) {
        return {};  // each chunk of it says why
    }
}

RunReader::Outcome RunReader::Take(const PlacedChunk& chunk, std::string_view bytes) {
    try {
        return {PackReader::Check(chunk, bytes), {}};
    } catch (const StorageError& error) {
        return LookUpAnew(chunk, {error.code(), error.what()});
    }
}

RunReader::Outcome RunReader::LookUpAnew(const PlacedChunk& chunk, const ServiceResult& failure) {
    try {
        const auto place = m_catalog.FindChunks({&chunk.digest, 1})[0];
        if (!place) {
            return {{}, {kContentMissing, "chunk " + ToHex(chunk.digest) + " is not in the vault"}};
        }
        return {PackReader(m_store).Read({chunk.digest, *place}, m_single), {}};
    } catch (const StorageError& error) {
        return {{}, {error.code(), error.what()}};
    } catch (...) {
        return {{}, failure};
    }
}

}  // namespace rampart
