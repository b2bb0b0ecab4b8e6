#include "storage/digest.h"

#include <sodium.h>

#include <cstdlib>

namespace rampart {
namespace {

// The checksum's key is part of the format and no secret.
constexpr unsigned char kChecksumKey[crypto_shorthash_KEYBYTES] = {'r', 'a', 'm', 'p', 'a', 'r', 't', '-',
                                                                   'p', 'a', 'c', 'k', '-', 's', 'u', 'm'};

// Picks the fastest code for this processor.
[[maybe_unused]] const bool kSodiumReady = [] {
    if (sodium_init() < 0) {
        std::abort();
    }
    return true;
}();

const unsigned char* Bytes(std::string_view view) {
    return reinterpret_cast<const unsigned char*>(view.data());
}

}  // namespace

Digest ComputeDigest(std::string_view content) {
    Digest digest;
    crypto_generichash(digest.bytes.data(), Digest::kSize, Bytes(content), content.size(), nullptr, 0);
    return digest;
}

std::string ToHex(const Digest& digest) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(Digest::kSize * 2);
    for (const uint8_t byte : digest.bytes) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 15]);
    }
    return text;
}

uint64_t ComputeChecksum(std::string_view bytes) {
    unsigned char out[crypto_shorthash_BYTES];
    crypto_shorthash(out, Bytes(bytes), bytes.size(), kChecksumKey);
    uint64_t sum = 0;
    for (int i = crypto_shorthash_BYTES - 1; i >= 0; --i) {
        sum = sum << 8 | out[i];
    }
    return sum;
}

int64_t ShortName(std::string_view bytes) {
    int64_t name = 0;
    if (!bytes.empty()) {
        const Digest digest = ComputeDigest(bytes);
        std::memcpy(&name, digest.bytes.data(), sizeof(name));
    }
    return name;
}

}  // namespace rampart
