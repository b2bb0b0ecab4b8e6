#include "storage/pack_writer.h"

#include <algorithm>

#include "storage/pack_format.h"
#include "storage/pack_scan.h"
#include "storage/storage_error.h"
#include "storage/vault_horizon.h"

namespace rampart {
namespace {

// Names that files of others hold are passed over, but not without end.
constexpr int kMostNewPacks = 1000;
constexpr size_t kBufferBytes = 4u << 20;

}  // namespace

PackWriter::PackWriter(Catalog& catalog, ObjectStore& store, int64_t packLimit)
    : m_catalog(catalog), m_store(store), m_packLimit(packLimit) {}

void PackWriter::BeginAppending() {
    if (m_appending) {
        return;
    }
    const std::string lack = LackOfCatalog(m_catalog, m_store, false);
    if (!lack.empty()) {
        throw StorageError(kVaultDamaged,
                           "the catalog is older than its packs: " + lack + "; " + kRepairAdvice);
    }
    m_appending = true;
    for (const PackState& pack : m_catalog.UnsealedPacks()) {
        if (m_store.Size(PackKey(pack.id)).value_or(0) > pack.bytes) {
            try {
                Adopt(pack.id);
            } catch (const StorageError&) {
                // It stays where it is, and what it holds is sent again.
            }
        }
    }
}

void PackWriter::Add(std::span<const Chunk> chunks) {
    std::lock_guard lock(m_addMutex);
    for (const Chunk& chunk : chunks) {
        OpenPack& pack = CurrentPack();
        if (m_pending.contains(chunk.digest)) {
            continue;
        }
        const ChunkPlace place{pack.state.id, pack.state.bytes, static_cast<uint32_t>(chunk.stored.size()),
                               chunk.size, chunk.flags};
        AppendEntry(chunk, m_buffer);
        const auto entryBytes = static_cast<int64_t>(kEntryHeaderBytes + chunk.stored.size());
        pack.state.bytes += entryBytes;
        m_pendingBytes += entryBytes;
        m_pending.emplace(chunk.digest, place);
        pack.state.sealed = pack.state.bytes >= m_packLimit;
        if (pack.state.sealed || m_buffer.size() >= kBufferBytes) {
            Flush();
        }
    }
}

void PackWriter::MarkPending(std::span<const Digest> digests, std::vector<uint8_t>& known, bool mayAppend) {
    std::lock_guard lock(m_addMutex);
    if (mayAppend) {
        BeginAppending();
    }
    for (size_t i = 0; i < digests.size(); ++i) {
        known[i] |= static_cast<uint8_t>(m_pending.contains(digests[i]));
    }
}

int64_t PackWriter::PendingBytes() {
    std::lock_guard lock(m_addMutex);
    return m_pendingBytes;
}

void PackWriter::Commit(const Record& record) {
    std::lock_guard commitLock(m_commitMutex);
    std::vector<PlacedChunk> chunks;
    std::vector<OpenPack> packs;
    int64_t bytes = 0;
    uint64_t generation = 0;
    {
        std::lock_guard lock(m_addMutex);
        if (!m_pending.empty()) {
            Flush();
            packs = m_packs;
        }
        chunks.reserve(m_pending.size());
        for (const auto& [digest, place] : m_pending) {
            chunks.push_back({digest, place});
        }
        bytes = m_pendingBytes;
        generation = m_generation;
    }
    std::vector<PackState> states;
    for (const OpenPack& pack : packs) {
        try {
            pack.object->Sync();
        } catch (...) {
            std::lock_guard lock(m_addMutex);
            CutOwn();
            Abandon();
            throw;
        }
        states.push_back(pack.state);
    }
    record(chunks, states);

    std::lock_guard lock(m_addMutex);
    if (generation != m_generation) {
        return;
    }
    for (const PlacedChunk& chunk : chunks) {
        m_pending.erase(chunk.digest);
    }
    m_pendingBytes -= bytes;
    // Those that are all committed; only the last one still grows.
    for (const PackState& state : states) {
        for (size_t i = 0; i < m_packs.size(); ++i) {
            const PackState& pack = m_packs[i].state;
            if (pack.id != state.id) {
                continue;
            }
            m_packs[i].sure = state.bytes;
            const bool grows = i + 1 == m_packs.size() && !pack.sealed;
            if (pack.bytes == state.bytes && !grows) {
                m_packs.erase(m_packs.begin() + static_cast<ptrdiff_t>(i));
            }
            break;
        }
    }
}

PackWriter::OpenPack& PackWriter::CurrentPack() {
    BeginAppending();
    if (!m_packs.empty() && !m_packs.back().state.sealed) {
        return m_packs.back();
    }
    for (const PackState& pack : m_catalog.UnsealedPacks()) {
        const bool ours = std::any_of(m_packs.begin(), m_packs.end(),
                                      [&](const OpenPack& open) { return open.state.id == pack.id; });
        if (!ours && pack.bytes < m_packLimit && Adopt(pack.id)) {
            return m_packs.back();
        }
    }
    for (int tries = 0; tries < kMostNewPacks; ++tries) {
        if (Adopt(m_catalog.AddPack().id)) {
            return m_packs.back();
        }
    }
    throw StorageError(kFailed, "no pack can be begun: the names of the next " +
                                    std::to_string(kMostNewPacks) + " are taken");
}

// Makes the pack the one that grows; false if it cannot be. What was put before is in the file then.
bool PackWriter::Adopt(int64_t packId) {
    if (m_distrusted.contains(packId)) {
        return false;
    }
    const std::string key = PackKey(packId);
    OpenPack pack;
    pack.state = m_catalog.GetPack(packId);
    const bool exists = m_store.Size(key).has_value();
    if (pack.state.bytes > 0 && !exists) {
        return false;
    }
    try {
        pack.object = m_store.OpenAppend(key, !exists);
    } catch (const StorageError& error) {
        if (error.code() != kNameTaken) {
            throw;
        }
    }
    if (!pack.object) {
        return false;
    }
    pack.state = m_catalog.GetPack(packId);  // again, under the lock: its owner may have committed in between
    const int64_t size = pack.object->Size();
    if (pack.state.sealed || size < pack.state.bytes) {
        // Shorter than what was committed to it: nothing may be written over the gap, verify tells of it.
        return false;
    }
    Flush();
    if (size > pack.state.bytes && !TakeOver(pack, size)) {
        return false;
    }
    pack.sure = pack.state.bytes;
    if (pack.state.bytes == 0) {
        m_buffer = PackHeader();
        pack.state.bytes = kPackHeaderBytes;
    }
    m_packs.push_back(std::move(pack));
    return !m_packs.back().state.sealed;
}

// What lies behind the committed end: intact entries become pending, other bytes behind them go. False if the
// object is none of ours.
bool PackWriter::TakeOver(OpenPack& pack, int64_t size) {
    const PackScan scan = ScanPack(m_store, pack.state.id, pack.state.bytes, size, true);
    if (!scan.isPack) {
        char bytes[kPackHeaderBytes];
        const std::string_view begun(bytes, m_store.GetRange(PackKey(pack.state.id), 0, bytes, sizeof bytes));
        if (pack.state.bytes > 0 || begun.size() >= kPackHeaderBytes || !PackHeader().starts_with(begun)) {
            return false;
        }
        pack.object->Truncate(0);
        return true;
    }
    for (const PlacedChunk& chunk : scan.entries) {
        m_pending.emplace(chunk.digest, chunk.place);
    }
    m_pendingBytes += scan.end - pack.state.bytes;
    pack.state.bytes = scan.end;
    pack.state.sealed = scan.end >= m_packLimit;
    if (scan.end < size) {
        pack.object->Truncate(scan.end);
    }
    return true;
}

void PackWriter::Flush() {
    if (m_buffer.empty()) {
        return;
    }
    OpenPack& pack = m_packs.back();
    try {
        pack.object->WriteAt(pack.state.bytes - static_cast<int64_t>(m_buffer.size()), m_buffer);
    } catch (...) {
        Abandon();
        throw;
    }
    m_buffer.clear();
}

// After a sync that failed nobody can tell what of this process's own bytes is on the disk, and reading them
// back tells what is in memory only: nobody is to take them over.
void PackWriter::CutOwn() {
    for (const OpenPack& pack : m_packs) {
        try {
            pack.object->Truncate(std::max(pack.sure, m_catalog.GetPack(pack.state.id).bytes));
        } catch (const StorageError&) {
            m_distrusted.insert(pack.state.id);
        }
    }
}

void PackWriter::Abandon() {
    m_pending.clear();
    m_pendingBytes = 0;
    m_packs.clear();
    m_buffer.clear();
    ++m_generation;
}

}  // namespace rampart
