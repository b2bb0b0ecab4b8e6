#include "storage/pack_writer.h"

#include <algorithm>

#include "storage/pack_format.h"
#include "storage/storage_error.h"

namespace rampart {
namespace {

constexpr size_t kBufferBytes = 4u << 20;

}  // namespace

PackWriter::PackWriter(Catalog& catalog, ObjectStore& store, int64_t packLimit)
    : m_catalog(catalog), m_store(store), m_packLimit(packLimit) {}

void PackWriter::TrimTails() {
    for (const PackState& listed : m_catalog.UnsealedPacks()) {
        if (m_store.Size(PackKey(listed.id)).value_or(0) <= listed.bytes) {
            continue;
        }
        try {
            const auto object = m_store.OpenAppend(PackKey(listed.id), false);
            if (object) {
                // Asked again under the lock: the owner may have committed in between.
                const PackState pack = m_catalog.GetPack(listed.id);
                if (object->Size() > pack.bytes) {
                    object->Truncate(pack.bytes);
                }
            }
        } catch (const StorageError&) {
            // The tail is harmless where it is, and whoever writes to this pack next cuts it.
        }
    }
}

void PackWriter::Add(std::span<const Chunk> chunks) {
    std::lock_guard lock(m_addMutex);
    for (const Chunk& chunk : chunks) {
        if (m_pending.contains(chunk.digest)) {
            continue;
        }
        OpenPack& pack = CurrentPack();
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

void PackWriter::MarkPending(std::span<const Digest> digests, std::vector<uint8_t>& known) {
    std::lock_guard lock(m_addMutex);
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
    for (const PackState& state : states) {
        if (state.sealed) {
            std::erase_if(m_packs, [&](const OpenPack& pack) { return pack.state.id == state.id; });
        }
    }
}

PackWriter::OpenPack& PackWriter::CurrentPack() {
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
    while (!Adopt(m_catalog.AddPack().id)) {
    }
    return m_packs.back();
}

bool PackWriter::Adopt(int64_t packId) {
    PackState pack = m_catalog.GetPack(packId);
    if (pack.bytes > 0 && !m_store.Size(PackKey(packId))) {
        return false;
    }
    std::shared_ptr<AppendObject> object = m_store.OpenAppend(PackKey(packId), pack.bytes == 0);
    if (!object) {
        return false;
    }
    pack = m_catalog.GetPack(packId);
    const int64_t size = object->Size();
    if (pack.sealed || size < pack.bytes) {
        // Shorter than what was committed to it: nothing may be written over the gap, verify tells of it.
        return false;
    }
    if (size > pack.bytes) {
        object->Truncate(pack.bytes);
    }
    if (pack.bytes == 0) {
        m_buffer = PackHeader();
        pack.bytes = kPackHeaderBytes;
    }
    m_packs.push_back({pack, std::move(object)});
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

void PackWriter::Abandon() {
    m_pending.clear();
    m_pendingBytes = 0;
    m_packs.clear();
    m_buffer.clear();
    ++m_generation;
}

}  // namespace rampart
