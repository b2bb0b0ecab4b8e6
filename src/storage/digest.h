// The name of a piece of content: BLAKE2b-256 of its bytes.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

namespace rampart {

struct Digest {
    static constexpr size_t kSize = 32;
    std::array<uint8_t, kSize> bytes{};

    friend bool operator==(const Digest&, const Digest&) = default;
    // NOLINTNEXTLINE(modernize-use-nullptr): the checker's own mistake about a defaulted order
    friend auto operator<=>(const Digest&, const Digest&) = default;
    std::string_view View() const { return {reinterpret_cast<const char*>(bytes.data()), kSize}; }
};

Digest ComputeDigest(std::string_view content);

// Lower-case hexadecimal.
std::string ToHex(const Digest& digest);

// 64 bits that tell chance damage of stored bytes; no protection against an adversary.
uint64_t ComputeChecksum(std::string_view bytes);

struct DigestHash {
    size_t operator()(const Digest& digest) const {
        size_t word;
        std::memcpy(&word, digest.bytes.data(), sizeof(word));
        return word;
    }
};

// A name for bytes that are stored once: the front of their digest as a number, 0 for none.
int64_t ShortName(std::string_view bytes);

}  // namespace rampart
