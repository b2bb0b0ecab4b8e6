// Stored content by ranges, for many readers at once. What was decoded last stays in memory, up to a bound
// that all readers share.
#pragma once

#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "storage/storage_service.h"

namespace rampart {

// The content of the chunks read last. Any thread.
class ChunkCache {
public:
    explicit ChunkCache(size_t mostBytes) : m_mostBytes(mostBytes) {}

    // Null if it is not there.
    std::shared_ptr<const std::string> Find(const Digest& digest);
    void Add(const Digest& digest, std::shared_ptr<const std::string> content);

private:
    struct Item {
        Digest digest;
        std::shared_ptr<const std::string> content;
    };
    const size_t m_mostBytes;
    std::mutex m_mutex;       // guards what follows
    std::list<Item> m_items;  // the one used last in front
    std::unordered_map<Digest, std::list<Item>::iterator, DigestHash> m_byDigest;
    size_t m_bytes = 0;
};

// One stored file. It goes on giving the content that it was opened for, also when the file is stored anew
// meanwhile. Any thread.
class StoredReader {
public:
    // `located` is whole.
    StoredReader(StorageService& service, ChunkCache& cache, LocatedFile located);

    uint64_t Size() const { return m_starts.back(); }
    // Up to `size` bytes from `offset` on; fewer only at the end of the content.
    ServiceResult Read(uint64_t offset, size_t size, std::string& bytes);

private:
    ServiceResult Content(size_t index, std::shared_ptr<const std::string>& content);
    ServiceResult Load(size_t index, std::shared_ptr<const std::string>& content);

    StorageService& m_service;
    ChunkCache& m_cache;
    std::vector<PlacedChunk> m_chunks;
    std::vector<uint64_t> m_starts;  // of each chunk, and the end of the last
    std::mutex m_loading;            // one thread fetches a chunk, the others find it in the cache
};

}  // namespace rampart
