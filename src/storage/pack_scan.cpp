#include "storage/pack_scan.h"

#include <algorithm>

#include "storage/pack_format.h"

namespace rampart {
namespace {

constexpr int64_t kSearchBytes = 1 << 20;
constexpr size_t kMostEntryBytes = kEntryHeaderBytes + 2 * kMostChunkBytes;

class ScanRun {
public:
    ScanRun(ObjectStore& store, int64_t packId, int64_t size, bool checkAll)
        : m_store(store), m_key(PackKey(packId)), m_packId(packId), m_size(size), m_checkAll(checkAll) {}

    PackScan Run(int64_t from) {
        char header[kPackHeaderBytes];
        m_scan.isPack = IsPackHeader({header, m_store.GetRange(m_key, 0, header, sizeof header)});
        if (!m_scan.isPack) {
            return std::move(m_scan);
        }
        int64_t at = std::max<int64_t>(from, kPackHeaderBytes);
        m_scan.end = at;
        while (at < m_size) {
            const auto header = HeaderAt(at);
            if (!header || !IsWhole(at, *header)) {
                at = NextMagic(at + 1);
                continue;
            }
            m_scan.entries.push_back(
                {header->digest, {m_packId, at, header->storedSize, header->size, header->flags}});
            at = m_scan.end = EndOf(at, *header);
        }
        return std::move(m_scan);
    }

private:
    static int64_t EndOf(int64_t at, const EntryHeader& header) {
        return at + static_cast<int64_t>(kEntryHeaderBytes) + header.storedSize;
    }

    std::optional<EntryHeader> HeaderAt(int64_t at) {
        char bytes[kEntryHeaderBytes];
        auto header = ParseEntryHeader({bytes, m_store.GetRange(m_key, at, bytes, sizeof bytes)});
        if (header &&
            (header->size > kMostChunkBytes || kEntryHeaderBytes + header->storedSize > kMostEntryBytes ||
             EndOf(at, *header) > m_size)) {
            return std::nullopt;
        }
        return header;
    }

    bool IsWhole(int64_t at, const EntryHeader& header) {
        const int64_t end = EndOf(at, header);
        if (!m_checkAll && end < m_size && HeaderAt(end)) {
            return true;
        }
        m_buffer.resize(header.storedSize);
        const size_t read = m_store.GetRange(m_key, at + static_cast<int64_t>(kEntryHeaderBytes),
                                             m_buffer.data(), m_buffer.size());
        return read == m_buffer.size() && ComputeChecksum(m_buffer) == header.checksum;
    }

    // Where the next entry may begin, or the end.
    int64_t NextMagic(int64_t at) {
        const auto overlap = static_cast<int64_t>(kEntryMagic.size()) - 1;
        for (; at + overlap < m_size; at += kSearchBytes) {
            m_buffer.resize(static_cast<size_t>(std::min(kSearchBytes + overlap, m_size - at)));
            m_buffer.resize(m_store.GetRange(m_key, at, m_buffer.data(), m_buffer.size()));
            const size_t found = m_buffer.find(kEntryMagic);
            if (found != std::string::npos) {
                return at + static_cast<int64_t>(found);
            }
        }
        return m_size;
    }

    ObjectStore& m_store;
    const std::string m_key;
    const int64_t m_packId;
    const int64_t m_size;
    const bool m_checkAll;
    PackScan m_scan;
    std::string m_buffer;
};

}  // namespace

PackScan ScanPack(ObjectStore& store, int64_t packId, int64_t from, int64_t size, bool checkAll) {
    return ScanRun(store, packId, size, checkAll).Run(from);
}

std::vector<StoredPack> ListPacks(ObjectStore& store) {
    std::vector<StoredPack> packs;
    store.List(kPackPrefix, [&](const std::string& key, int64_t size) {
        if (const auto id = PackIdOf(key)) {
            packs.push_back({*id, size});
        }
    });
    std::sort(packs.begin(), packs.end(),
              [](const StoredPack& a, const StoredPack& b) { return a.id < b.id; });
    return packs;
}

}  // namespace rampart
