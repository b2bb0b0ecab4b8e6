#include "storage/vault_horizon.h"

#include "storage/byte_order.h"
#include "storage/pack_format.h"
#include "storage/pack_scan.h"
#include "storage/storage_error.h"

namespace rampart {
namespace {

constexpr char kHorizonKey[] = "snapshots/horizon";
constexpr std::string_view kMagic = "RAMPHORZ";
constexpr size_t kHeadBytes = 24;  // magic, sequence, number of packs
constexpr size_t kPackBytes = 16;
constexpr size_t kSumBytes = 8;
constexpr int64_t kMostBytes = 64 << 20;

}  // namespace

VaultHorizon HorizonOf(Catalog& catalog) {
    VaultHorizon horizon;
    horizon.sequence = catalog.Horizon(horizon.packs);
    return horizon;
}

std::optional<VaultHorizon> LoadHorizon(ObjectStore& store) {
    const auto size = store.Size(kHorizonKey);
    if (!size || *size < static_cast<int64_t>(kHeadBytes + kSumBytes) || *size > kMostBytes) {
        return std::nullopt;
    }
    std::string bytes(static_cast<size_t>(*size), '\0');
    bytes.resize(store.GetRange(kHorizonKey, 0, bytes.data(), bytes.size()));
    if (bytes.size() < kHeadBytes + kSumBytes || !bytes.starts_with(kMagic)) {
        return std::nullopt;
    }
    const std::string_view body(bytes.data(), bytes.size() - kSumBytes);
    const auto count = LittleEndianAt<uint64_t>(bytes, 16);
    if (LittleEndianAt<uint64_t>(bytes, body.size()) != ComputeChecksum(body) ||
        count != (body.size() - kHeadBytes) / kPackBytes) {
        return std::nullopt;
    }
    VaultHorizon horizon;
    horizon.sequence = static_cast<int64_t>(LittleEndianAt<uint64_t>(bytes, 8));
    for (size_t at = kHeadBytes; at + kPackBytes <= body.size(); at += kPackBytes) {
        horizon.packs.push_back({static_cast<int64_t>(LittleEndianAt<uint64_t>(bytes, at)),
                                 static_cast<int64_t>(LittleEndianAt<uint64_t>(bytes, at + 8))});
    }
    return horizon;
}

void StoreHorizon(ObjectStore& store, const VaultHorizon& horizon) {
    std::string bytes(kMagic);
    AppendLittleEndian(bytes, static_cast<uint64_t>(horizon.sequence));
    AppendLittleEndian(bytes, static_cast<uint64_t>(horizon.packs.size()));
    for (const PackState& pack : horizon.packs) {
        AppendLittleEndian(bytes, static_cast<uint64_t>(pack.id));
        AppendLittleEndian(bytes, static_cast<uint64_t>(pack.bytes));
    }
    AppendLittleEndian(bytes, ComputeChecksum(bytes));
    store.Put(kHorizonKey, bytes);
}

std::string LackOfCatalog(Catalog& catalog, ObjectStore& store, bool looksAtPacks) {
    // The note first: what the catalog says is then the newer of the two.
    const auto noted = LoadHorizon(store);
    const auto listed = looksAtPacks ? ListPacks(store) : std::vector<StoredPack>();
    const auto bytesOf = [&](int64_t pack) {
        try {
            return catalog.GetPack(pack).bytes;
        } catch (const StorageError& error) {
            if (error.code() == kNotFound) {
                return int64_t{-1};
            }
            throw;
        }
    };
    if (noted && noted->sequence > catalog.ChangeSequence()) {
        return "changes up to number " + std::to_string(noted->sequence) + " were made and it knows " +
               std::to_string(catalog.ChangeSequence());
    }
    for (const PackState& pack : noted ? noted->packs : std::vector<PackState>()) {
        if (bytesOf(pack.id) < pack.bytes) {
            return PackKey(pack.id) + " holds content that it does not know";
        }
    }
    for (const StoredPack& pack : listed) {
        if (bytesOf(pack.id) < 0) {
            return "it does not know " + PackKey(pack.id);
        }
    }
    return {};
}

}  // namespace rampart
