// Whole files into a storage service and back, as its clients do it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "storage/chunker.h"
#include "storage/embedded_service.h"
#include "storage/server_path.h"
#include "support/temp_tree.h"

namespace rampart::test {

// The same bytes for the same seed; they do not compress.
inline std::string NoiseOf(size_t bytes, uint32_t seed) {
    std::mt19937 random(seed);
    std::string content(bytes, '\0');
    for (char& c : content) {
        c = static_cast<char>(random());
    }
    return content;
}

inline std::string TextOf(size_t bytes, uint32_t seed) {
    std::string content;
    while (content.size() < bytes) {
        content += "line " + std::to_string(content.size()) + " of text " + std::to_string(seed) + "\n";
    }
    content.resize(bytes);
    return content;
}

// What the writing process stores as its file number `i`: every second one is the same for all writers.
inline std::string WrittenContent(const std::string& writer, uint32_t i) {
    uint32_t seed = i;
    for (const char c : i % 2 == 0 ? std::string() : writer) {
        seed = seed * 31 + static_cast<unsigned char>(c);
    }
    return NoiseOf(30'000 + i, seed);
}

inline constexpr int64_t kSomeTime = 1'700'000'000'123'456'700;

// Sends the chunks of `content` that the service lacks and describes the file.
inline ServiceResult SendContent(StorageService& service, const std::string& path, const std::string& content,
                                 FileCommit& file, size_t pieceBytes = 1 << 20) {
    const ServerPathParts parts = SplitLastName(path);
    file.folder = parts.folder.empty() ? "\\" : std::string(parts.folder);
    file.name = parts.name;
    file.size = static_cast<int64_t>(content.size());
    file.modifiedTime = file.createdTime = kSomeTime;
    file.chunks.clear();
    const auto chunker = MakeFixedChunker(pieceBytes);
    std::string_view left = content;
    while (!left.empty()) {
        const std::string_view piece = left.substr(0, chunker->NextCut(left, true));
        left.remove_prefix(piece.size());
        std::string buffer;
        const Chunk chunk = EncodeChunk(piece, buffer);
        file.chunks.push_back({chunk.digest, chunk.size});
        std::vector<uint8_t> known;
        ServiceResult result = service.HasChunks({&chunk.digest, 1}, known);
        if (result.Ok() && known[0] == 0) {
            result = service.PutChunks({&chunk, 1});
        }
        if (!result.Ok()) {
            return result;
        }
    }
    return {};
}

inline ServiceResult StoreFile(StorageService& service, const std::string& path, const std::string& content,
                               size_t pieceBytes = 1 << 20) {
    FileCommit file;
    const ServiceResult sent = SendContent(service, path, content, file, pieceBytes);
    if (!sent.Ok()) {
        return sent;
    }
    std::vector<int64_t> ids;
    return service.CommitFiles({&file, 1}, ids);
}

inline ServiceResult FetchFile(StorageService& service, const std::string& path, std::string& content) {
    content.clear();
    FileContent file;
    const ServiceResult opened = service.OpenFile(path, file);
    if (!opened.Ok()) {
        return opened;
    }
    std::vector<Digest> digests;
    for (const ChunkReference& chunk : file.chunks) {
        digests.push_back(chunk.digest);
    }
    bool decoded = true;
    ServiceResult result = service.ReadChunks(digests, [&](const Chunk& chunk) {
        std::string piece;
        decoded = DecodeChunk(chunk, piece);
        content += piece;
        return decoded;
    });
    return decoded ? result : ServiceResult(kContentDamaged, path + " has other content");
}

inline void ExpectOk(const ServiceResult& result) {
    EXPECT_EQ(result.code, kOk) << result.message;
}

inline void ExpectContent(StorageService& service, const std::string& path, const std::string& content) {
    std::string read;
    ExpectOk(FetchFile(service, path, read));
    EXPECT_TRUE(read == content) << path << " has " << read.size() << " bytes instead of " << content.size();
}

inline void MakeFolder(StorageService& service, const std::string& path) {
    int64_t id = 0;
    ExpectOk(service.CreateFolder(path, "", 0, id));
}

// Every record below the root: path to size, folders with a backslash at the end and size -1.
inline std::map<std::string, int64_t> TreeOf(StorageService& service) {
    std::map<std::string, int64_t> tree;
    int64_t sequence = 0;
    ExpectOk(service.ListTree(
        "\\",
        [&](const std::string& folder, const StoredRecord&, std::span<const StoredRecord> records) {
            for (const StoredRecord& record : records) {
                const std::string path = JoinServerPath(folder, record.name);
                tree[record.isFolder ? path + "\\" : path] = record.isFolder ? -1 : record.size;
            }
            return true;
        },
        sequence));
    return tree;
}

inline void ExpectSound(StorageService& service) {
    VerifyOptions options;
    options.readData = true;
    VerifyReport report;
    ExpectOk(service.Verify(options, report));
    EXPECT_THAT(report.problems, testing::IsEmpty());
}

inline std::unique_ptr<EmbeddedService> OpenVault(const std::string& folder,
                                                  const VaultOptions& options = {}) {
    std::unique_ptr<EmbeddedService> service;
    ExpectOk(EmbeddedService::Open(folder, options, service));
    return service;
}

// A vault in a folder of its own.
class VaultTest : public testing::Test {
protected:
    void SetUp() override {
        ExpectOk(EmbeddedService::Create(Vault()));
        Reopen();
        ASSERT_TRUE(service);
    }
    std::string Vault() const { return folder.Native("vault"); }
    void Reopen(const VaultOptions& options = {}) {
        service.reset();
        service = OpenVault(Vault(), options);
    }

    TempFolder folder;
    std::unique_ptr<EmbeddedService> service;
};

}  // namespace rampart::test
