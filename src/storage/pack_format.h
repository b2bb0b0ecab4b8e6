// The bytes of a pack: a file header, then entries, each a header and the stored bytes of one chunk. A pack
// can be read from its start without the catalog. All numbers are little-endian.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "storage/chunk.h"

namespace rampart {

// File header: "RAMPPACK", version, 4 zero bytes.
inline constexpr size_t kPackHeaderBytes = 16;
inline constexpr uint32_t kPackVersion = 1;
std::string PackHeader();
bool IsPackHeader(std::string_view bytes);

// Entry header: "RPE1", flags, stored size, content size, digest, checksum of the stored bytes, checksum of
// the header up to here.
inline constexpr size_t kEntryHeaderBytes = 64;
inline constexpr std::string_view kEntryMagic = "RPE1";

struct EntryHeader {
    Digest digest;
    uint32_t flags = 0;
    uint32_t storedSize = 0;
    uint32_t size = 0;
    uint64_t checksum = 0;
};

void AppendEntry(const Chunk& chunk, std::string& pack);

// Nothing if the bytes are no entry header or a damaged one. Takes the first kEntryHeaderBytes bytes.
std::optional<EntryHeader> ParseEntryHeader(std::string_view bytes);

// "packs/0000000012.pack"
std::string PackKey(int64_t packId);
// Nothing for a key that is none of a pack.
std::optional<int64_t> PackIdOf(std::string_view key);
inline constexpr char kPackPrefix[] = "packs/";

}  // namespace rampart
