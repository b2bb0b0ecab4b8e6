// A pack's bytes as a damaged disk gives them back: the entry header, and the chunk behind it.
#include "fuzz/fuzz_input.h"
#include "storage/byte_order.h"
#include "storage/pack_format.h"

namespace rampart::fuzz {
namespace {

void ReadEntry(std::string_view bytes) {
    const std::optional<EntryHeader> header = ParseEntryHeader(bytes);
    if (!header) {
        return;
    }
    const std::string_view stored = bytes.substr(kEntryHeaderBytes);
    std::string content;
    if (DecodeChunk({header->digest, header->size, header->flags, stored}, content)) {
        Require(content.size() == header->size && ComputeDigest(content) == header->digest,
                "content that is given out is the chunk's");
    }
}

// The same bytes with a checksum that fits, which no chance would find.
std::string WithChecksum(std::string_view bytes) {
    constexpr size_t kChecked = kEntryHeaderBytes - sizeof(uint64_t);
    std::string checked(bytes.substr(0, kChecked));
    AppendLittleEndian<uint64_t>(checked, ComputeChecksum(checked));
    return checked.append(bytes.substr(kEntryHeaderBytes));
}

void StoreContent(std::string_view content) {
    std::string buffer, pack = PackHeader();
    const Chunk chunk = EncodeChunk(content, buffer);
    AppendEntry(chunk, pack);
    Require(IsPackHeader(pack), "a pack begins with its header");
    const std::string_view entry = std::string_view(pack).substr(kPackHeaderBytes);
    const std::optional<EntryHeader> header = ParseEntryHeader(entry);
    Require(header.has_value() && header->storedSize == entry.size() - kEntryHeaderBytes,
            "an entry has its header");
    std::string again;
    Require(
        DecodeChunk({header->digest, header->size, header->flags, entry.substr(kEntryHeaderBytes)}, again) &&
            again == content,
        "content comes back");
}

}  // namespace
}  // namespace rampart::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace rampart;
    using namespace rampart::fuzz;
    const std::string_view bytes = Input(data, size).Rest();
    IsPackHeader(bytes);
    ReadEntry(bytes);
    if (bytes.size() >= kEntryHeaderBytes) {
        ReadEntry(WithChecksum(bytes));
    }
    StoreContent(bytes);
    return 0;
}
