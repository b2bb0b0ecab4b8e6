// Appends chunks to the pack that this process has open, and brings them into the catalog.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "storage/catalog.h"
#include "storage/object_store.h"

namespace rampart {

inline constexpr int64_t kPackLimitBytes = 32 << 20;

// Any thread. Chunks are pending from Add until the next Commit, whoever calls it. A write or sync that fails
// drops all that is pending: the callers' own commits then find that content missing.
//
// Nothing that is intact is ever written over or cut off: entries behind the committed end of a pack, left by
// a writer that was killed or known to a catalog that is lost, become known chunks, and only bytes that are
// no entry give way. kVaultDamaged, before anything is written, if the catalog is older than its packs.
class PackWriter {
public:
    PackWriter(Catalog& catalog, ObjectStore& store, int64_t packLimit = kPackLimitBytes);

    void Add(std::span<const Chunk> chunks);
    // Sets known[i] for a digest that is pending; leaves the others as they are. With `mayAppend` the caller
    // is about to add: what killed writers left in the packs is taken over first, as far as it is intact.
    void MarkPending(std::span<const Digest> digests, std::vector<uint8_t>& known, bool mayAppend);
    // Bytes written that no commit covers yet.
    int64_t PendingBytes();

    // Makes what is pending durable, then has `record` bring it into the catalog; it stays pending if that
    // throws.
    using Record = std::function<void(std::span<const PlacedChunk> chunks, std::span<const PackState> packs)>;
    void Commit(const Record& record);

private:
    struct OpenPack {
        PackState state;   // bytes: the end of what was added, not committed
        int64_t sure = 0;  // the end of what is committed, or was there when the pack was adopted
        std::shared_ptr<AppendObject> object;
    };

    // These need m_addMutex.
    void BeginAppending();
    OpenPack& CurrentPack();
    bool Adopt(int64_t packId);
    bool TakeOver(OpenPack& pack, int64_t size);
    void Flush();
    void Abandon();
    void CutOwn();

    Catalog& m_catalog;
    ObjectStore& m_store;
    const int64_t m_packLimit;

    std::mutex m_commitMutex;  // one commit at a time; taken before m_addMutex
    std::mutex m_addMutex;     // guards what follows
    bool m_appending = false;  // the catalog was found to be as new as the packs
    // Packs with content that no commit covers, and as the last one the pack that grows, unless that is
    // sealed.
    std::vector<OpenPack> m_packs;
    std::string m_buffer;  // the tail of the last pack, not written yet
    std::unordered_map<Digest, ChunkPlace, DigestHash> m_pending;
    int64_t m_pendingBytes = 0;
    std::unordered_set<int64_t> m_distrusted;  // packs that this process writes to no more
    uint64_t m_generation = 0;                 // counts the times that pending chunks were dropped
};

}  // namespace rampart
