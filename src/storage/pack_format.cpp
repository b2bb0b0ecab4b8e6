#include "storage/pack_format.h"

#include <charconv>

#include "storage/byte_order.h"

namespace rampart {
namespace {

constexpr std::string_view kPackMagic = "RAMPPACK";
constexpr size_t kHeaderChecksumAt = kEntryHeaderBytes - sizeof(uint64_t);
constexpr size_t kPackKeyDigits = 10;
constexpr std::string_view kPackSuffix = ".pack";

}  // namespace

std::string PackHeader() {
    std::string bytes(kPackMagic);
    AppendLittleEndian<uint32_t>(bytes, kPackVersion);
    AppendLittleEndian<uint32_t>(bytes, 0);
    return bytes;
}

bool IsPackHeader(std::string_view bytes) {
    return bytes.size() >= kPackHeaderBytes && bytes.substr(0, kPackHeaderBytes) == PackHeader();
}

void AppendEntry(const Chunk& chunk, std::string& pack) {
    const size_t start = pack.size();
    pack.append(kEntryMagic);
    AppendLittleEndian<uint32_t>(pack, chunk.flags);
    AppendLittleEndian<uint32_t>(pack, static_cast<uint32_t>(chunk.stored.size()));
    AppendLittleEndian<uint32_t>(pack, chunk.size);
    pack.append(chunk.digest.View());
    AppendLittleEndian<uint64_t>(pack, ComputeChecksum(chunk.stored));
    AppendLittleEndian<uint64_t>(pack, ComputeChecksum(std::string_view(pack).substr(start)));
    pack.append(chunk.stored);
}

std::optional<EntryHeader> ParseEntryHeader(std::string_view bytes) {
    if (bytes.size() < kEntryHeaderBytes || !bytes.starts_with(kEntryMagic) ||
        LittleEndianAt<uint64_t>(bytes, kHeaderChecksumAt) !=
            ComputeChecksum(bytes.substr(0, kHeaderChecksumAt))) {
        return std::nullopt;
    }
    EntryHeader header;
    size_t at = kEntryMagic.size();
    header.flags = LittleEndianAt<uint32_t>(bytes, at);
    header.storedSize = LittleEndianAt<uint32_t>(bytes, at + 4);
    header.size = LittleEndianAt<uint32_t>(bytes, at + 8);
    std::memcpy(header.digest.bytes.data(), bytes.data() + at + 12, Digest::kSize);
    header.checksum = LittleEndianAt<uint64_t>(bytes, at + 12 + Digest::kSize);
    return header;
}

std::string PackKey(int64_t packId) {
    std::string digits = std::to_string(packId);
    digits.insert(0, digits.size() < kPackKeyDigits ? kPackKeyDigits - digits.size() : 0, '0');
    return kPackPrefix + digits + std::string(kPackSuffix);
}

std::optional<int64_t> PackIdOf(std::string_view key) {
    int64_t id = 0;
    const std::string_view prefix(kPackPrefix);
    if (!key.starts_with(prefix) || !key.ends_with(kPackSuffix)) {
        return std::nullopt;
    }
    const char* const end = key.data() + key.size() - kPackSuffix.size();
    const auto [stop, error] = std::from_chars(key.data() + prefix.size(), end, id);
    return error == std::errc() && stop == end && id > 0 && PackKey(id) == key ? std::optional(id)
                                                                               : std::nullopt;
}

}  // namespace rampart
