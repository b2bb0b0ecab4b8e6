// The vault's hot paths: batches of small files, listings, lookups by name.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>
#include <string>

#include "platform/process.h"
#include "storage/embedded_service.h"

namespace rampart {
namespace {

constexpr size_t kFileBytes = 4096;
constexpr size_t kFilesInBatch = 512;

class TempVault {
public:
    TempVault() {
        m_path = std::filesystem::temp_directory_path() /
                 ("rampart-bench-" + std::to_string(platform::ProcessId()));
        std::filesystem::remove_all(m_path);
        if (!EmbeddedService::Create(m_path.string()).Ok() ||
            !EmbeddedService::Open(m_path.string(), {}, service).Ok()) {
            std::abort();
        }
    }
    ~TempVault() {
        service.reset();
        std::filesystem::remove_all(m_path);
    }
    std::unique_ptr<EmbeddedService> service;

private:
    std::filesystem::path m_path;
};

// Half of it compresses.
std::string SmallContent(std::mt19937_64& random) {
    std::string content(kFileBytes, 'a');
    for (size_t i = 0; i < kFileBytes / 2; i += 8) {
        const uint64_t word = random();
        std::memcpy(&content[i], &word, sizeof(word));
    }
    return content;
}

void StoreBatch(EmbeddedService& service, const std::string& folder,
                const std::vector<std::string>& contents) {
    std::vector<Digest> digests;
    for (const std::string& content : contents) {
        digests.push_back(ComputeDigest(content));
    }
    std::vector<uint8_t> known;
    bool ok = service.HasChunks(digests, known).Ok();
    std::vector<std::string> buffers(contents.size());
    std::vector<Chunk> chunks;
    std::vector<FileCommit> files(contents.size());
    for (size_t i = 0; i < contents.size(); ++i) {
        chunks.push_back(CompressChunk(digests[i], contents[i], buffers[i]));
        files[i].folder = folder;
        files[i].name = "File number " + std::to_string(i) + ".txt";
        files[i].size = static_cast<int64_t>(contents[i].size());
        files[i].chunks.push_back({digests[i], static_cast<uint32_t>(contents[i].size())});
    }
    std::vector<int64_t> ids;
    ok = ok && service.PutChunks(chunks).Ok() && service.CommitFiles(files, ids).Ok();
    if (!ok) {
        std::abort();
    }
}

void BM_StoreSmallFiles(benchmark::State& state) {
    TempVault vault;
    std::mt19937_64 random(1);
    int batch = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<std::string> contents;
        for (size_t i = 0; i < kFilesInBatch; ++i) {
            contents.push_back(SmallContent(random));
        }
        const std::string folder = "\\" + std::to_string(batch++);
        int64_t id = 0;
        if (!vault.service->CreateFolder(folder, "", 0, id).Ok()) {
            std::abort();
        }
        state.ResumeTiming();
        StoreBatch(*vault.service, folder, contents);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kFilesInBatch));
}
BENCHMARK(BM_StoreSmallFiles)
    ->Iterations(200)
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// Empty files, so that the catalog's share alone shows.
void FillWithEmptyFiles(EmbeddedService& service, int folders, int filesInFolder) {
    for (int f = 0; f < folders; ++f) {
        const std::string folder = "\\folder " + std::to_string(f);
        int64_t id = 0;
        std::vector<FileCommit> files(static_cast<size_t>(filesInFolder));
        for (size_t i = 0; i < files.size(); ++i) {
            files[i].folder = folder;
            files[i].name = "File number " + std::to_string(i) + ".txt";
            files[i].modifiedTime = files[i].createdTime = 1'700'000'000'000'000'000;
        }
        std::vector<int64_t> ids;
        if (!service.CreateFolder(folder, "", 0, id).Ok() || !service.CommitFiles(files, ids).Ok()) {
            std::abort();
        }
    }
}

void BM_ListTree(benchmark::State& state) {
    TempVault vault;
    FillWithEmptyFiles(*vault.service, 200, 500);
    int64_t records = 0;
    for (auto _ : state) {
        int64_t sequence = 0;
        const ServiceResult result = vault.service->ListTree(
            "\\",
            [&](const std::string&, const StoredRecord&, std::span<const StoredRecord> listed) {
                records += static_cast<int64_t>(listed.size());
                return true;
            },
            sequence);
        benchmark::DoNotOptimize(result.code);
    }
    state.SetItemsProcessed(records);
}
BENCHMARK(BM_ListTree)->Unit(benchmark::kMillisecond);

void BM_ListFolder(benchmark::State& state) {
    TempVault vault;
    FillWithEmptyFiles(*vault.service, 1, 100'000);
    int64_t records = 0;
    for (auto _ : state) {
        int64_t sequence = 0;
        const ServiceResult result = vault.service->ListFolder(
            "\\folder 0",
            [&](const StoredRecord&) {
                ++records;
                return true;
            },
            sequence);
        benchmark::DoNotOptimize(result.code);
    }
    state.SetItemsProcessed(records);
}
BENCHMARK(BM_ListFolder)->Unit(benchmark::kMillisecond);

void BM_FindRecord(benchmark::State& state) {
    TempVault vault;
    FillWithEmptyFiles(*vault.service, 20, 500);
    StoredRecord record;
    for (auto _ : state) {
        benchmark::DoNotOptimize(vault.service->FindRecord("\\folder 7\\File number 77.txt", record).code);
    }
}
BENCHMARK(BM_FindRecord);

void BM_ChangeSequence(benchmark::State& state) {
    TempVault vault;
    int64_t sequence = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(vault.service->ChangeSequence(sequence).code);
    }
}
BENCHMARK(BM_ChangeSequence);

void BM_OpenVault(benchmark::State& state) {
    const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                       ("rampart-bench-open-" + std::to_string(platform::ProcessId()));
    if (!EmbeddedService::Create(path.string()).Ok()) {
        std::abort();
    }
    for (auto _ : state) {
        std::unique_ptr<EmbeddedService> service;
        benchmark::DoNotOptimize(EmbeddedService::Open(path.string(), {}, service).code);
    }
    std::filesystem::remove_all(path);
}
BENCHMARK(BM_OpenVault)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace rampart

BENCHMARK_MAIN();
