#include "storage/pack_writer.h"

#include <algorithm>

#include "storage/pack_format.h"
#include "storage/storage_error.h"

namespace rampart {
namespace {

constexpr size_t kBufferBytes = 4u << 20;

}  // namespace

PackWriter::PackWriter(Catalog& catalog, ObjectStore& store, int64_t packLimit)
    : catalog_(catalog), store_(store), packLimit_(packLimit) {}

void PackWriter::TrimTails() {
    for (const PackState& listed : catalog_.UnsealedPacks()) {
        if (store_.Size(PackKey(listed.id)).value_or(0) <= listed.bytes) {
            continue;
        }
        try {
            const auto object = store_.OpenAppend(PackKey(listed.id), false);
            if (object) {
                // Asked again under the lock: the owner may have committed in between.
                const PackState pack = catalog_.GetPack(listed.id);
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
    std::lock_guard lock(addMutex_);
    for (const Chunk& chunk : chunks) {
        if (pending_.contains(chunk.digest)) {
            continue;
        }
        OpenPack& pack = CurrentPack();
        const ChunkPlace place{pack.state.id, pack.state.bytes, static_cast<uint32_t>(chunk.stored.size()), chunk.size,
                               chunk.flags};
        AppendEntry(chunk, buffer_);
        const auto entryBytes = static_cast<int64_t>(kEntryHeaderBytes + chunk.stored.size());
        pack.state.bytes += entryBytes;
        pendingBytes_ += entryBytes;
        pending_.emplace(chunk.digest, place);
        pack.state.sealed = pack.state.bytes >= packLimit_;
        if (pack.state.sealed || buffer_.size() >= kBufferBytes) {
            Flush();
        }
    }
}

void PackWriter::MarkPending(std::span<const Digest> digests, std::vector<uint8_t>& known) {
    std::lock_guard lock(addMutex_);
    for (size_t i = 0; i < digests.size(); ++i) {
        known[i] |= static_cast<uint8_t>(pending_.contains(digests[i]));
    }
}

int64_t PackWriter::PendingBytes() {
    std::lock_guard lock(addMutex_);
    return pendingBytes_;
}

void PackWriter::Commit(const Record& record) {
    std::lock_guard commitLock(commitMutex_);
    std::vector<PlacedChunk> chunks;
    std::vector<OpenPack> packs;
    int64_t bytes = 0;
    uint64_t generation = 0;
    {
        std::lock_guard lock(addMutex_);
        if (!pending_.empty()) {
            Flush();
            packs = packs_;
        }
        chunks.reserve(pending_.size());
        for (const auto& [digest, place] : pending_) {
            chunks.push_back({digest, place});
        }
        bytes = pendingBytes_;
        generation = generation_;
    }
    std::vector<PackState> states;
    for (const OpenPack& pack : packs) {
        try {
            pack.object->Sync();
        } catch (...) {
            std::lock_guard lock(addMutex_);
            Abandon();
            throw;
        }
        states.push_back(pack.state);
    }
    record(chunks, states);

    std::lock_guard lock(addMutex_);
    if (generation != generation_) {
        return;
    }
    for (const PlacedChunk& chunk : chunks) {
        pending_.erase(chunk.digest);
    }
    pendingBytes_ -= bytes;
    for (const PackState& state : states) {
        if (state.sealed) {
            std::erase_if(packs_, [&](const OpenPack& pack) { return pack.state.id == state.id; });
        }
    }
}

PackWriter::OpenPack& PackWriter::CurrentPack() {
    if (!packs_.empty() && !packs_.back().state.sealed) {
        return packs_.back();
    }
    for (const PackState& pack : catalog_.UnsealedPacks()) {
        const bool ours = std::any_of(packs_.begin(), packs_.end(),
                                      [&](const OpenPack& open) { return open.state.id == pack.id; });
        if (!ours && pack.bytes < packLimit_ && Adopt(pack.id)) {
            return packs_.back();
        }
    }
    while (!Adopt(catalog_.AddPack().id)) {
    }
    return packs_.back();
}

bool PackWriter::Adopt(int64_t packId) {
    PackState pack = catalog_.GetPack(packId);
    if (pack.bytes > 0 && !store_.Size(PackKey(packId))) {
        return false;
    }
    std::shared_ptr<AppendObject> object = store_.OpenAppend(PackKey(packId), pack.bytes == 0);
    if (!object) {
        return false;
    }
    pack = catalog_.GetPack(packId);
    const int64_t size = object->Size();
    if (pack.sealed || size < pack.bytes) {
        // Shorter than what was committed to it: nothing may be written over the gap, verify tells of it.
        return false;
    }
    if (size > pack.bytes) {
        object->Truncate(pack.bytes);
    }
    if (pack.bytes == 0) {
        buffer_ = PackHeader();
        pack.bytes = kPackHeaderBytes;
    }
    packs_.push_back({pack, std::move(object)});
    return true;
}

void PackWriter::Flush() {
    if (buffer_.empty()) {
        return;
    }
    OpenPack& pack = packs_.back();
    try {
        pack.object->WriteAt(pack.state.bytes - static_cast<int64_t>(buffer_.size()), buffer_);
    } catch (...) {
        Abandon();
        throw;
    }
    buffer_.clear();
}

void PackWriter::Abandon() {
    pending_.clear();
    pendingBytes_ = 0;
    packs_.clear();
    buffer_.clear();
    ++generation_;
}

}  // namespace rampart
