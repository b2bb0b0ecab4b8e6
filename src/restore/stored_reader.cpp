#include "restore/stored_reader.h"

#include <algorithm>

#include "storage/chunk.h"

namespace rampart {
std::shared_ptr<const std::string> ChunkCache::Find(const Digest& digest) {
    std::lock_guard lock(m_mutex);
    const auto found = m_byDigest.find(digest);
    if (found == m_byDigest.end()) {
        return nullptr;
    }
    m_items.splice(m_items.begin(), m_items, found->second);
    return found->second->content;
}

void ChunkCache::Add(const Digest& digest, std::shared_ptr<const std::string> content) {
    std::lock_guard lock(m_mutex);
    if (m_byDigest.contains(digest)) {
        return;
    }
    m_bytes += content->size();
    m_items.push_front({digest, std::move(content)});
    m_byDigest[digest] = m_items.begin();
    while (m_bytes > m_mostBytes && m_items.size() > 1) {
        const Item& last = m_items.back();
        m_bytes -= last.content->size();
        m_byDigest.erase(last.digest);
        m_items.pop_back();
    }
}

StoredReader::StoredReader(StorageService& service, ChunkCache& cache, LocatedFile located)
    : m_service(service), m_cache(cache), m_chunks(std::move(located.chunks)) {
    uint64_t start = 0;
    m_starts.reserve(m_chunks.size() + 1);
    for (const PlacedChunk& chunk : m_chunks) {
        m_starts.push_back(start);
        start += chunk.place.size;
    }
    m_starts.push_back(start);
}

ServiceResult StoredReader::Read(uint64_t offset, size_t size, std::string& bytes) {
    bytes.clear();
    const uint64_t end = offset + std::min<uint64_t>(size, Size() - std::min(offset, Size()));
    while (offset < end) {
        const auto behind = std::upper_bound(m_starts.begin(), m_starts.end(), offset);
        const auto index = static_cast<size_t>(behind - m_starts.begin()) - 1;
        std::shared_ptr<const std::string> content;
        if (ServiceResult got = Content(index, content); !got.Ok()) {
            return got;
        }
        const auto skipped = static_cast<size_t>(offset - m_starts[index]);
        const auto taken = static_cast<size_t>(std::min<uint64_t>(content->size() - skipped, end - offset));
        bytes.append(*content, skipped, taken);
        offset += taken;
    }
    return {};
}

ServiceResult StoredReader::Content(size_t index, std::shared_ptr<const std::string>& content) {
    content = m_cache.Find(m_chunks[index].digest);
    if (content) {
        return {};
    }
    std::lock_guard lock(m_loading);
    content = m_cache.Find(m_chunks[index].digest);
    return content ? ServiceResult() : Load(index, content);
}

ServiceResult StoredReader::Load(size_t index, std::shared_ptr<const std::string>& content) {
    ServiceResult result;
    ServiceResult read = m_service.ReadPlaced(
        {&m_chunks[index], 1}, [&](size_t, const Chunk& chunk, const ServiceResult& outcome) {
            result = outcome;
            auto decoded = std::make_shared<std::string>();
            if (result.Ok() &&
                (!DecodeChunk(chunk, *decoded) || decoded->size() != m_starts[index + 1] - m_starts[index])) {
                result = {kContentDamaged, "its stored content is damaged"};
            }
            content = std::move(decoded);
            return true;
        });
    if (!read.Ok()) {
        return read;
    }
    if (result.Ok()) {
        m_cache.Add(m_chunks[index].digest, content);
    }
    return result;
}

}  // namespace rampart
