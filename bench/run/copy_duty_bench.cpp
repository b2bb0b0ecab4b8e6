// Whether a copy to the cache keeps to its share of the time: a real copy of a gigabyte at several settings
// of "CopySpeedCap". The first copy rests nowhere; its time is the work of all of them.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "progress/task_prg.h"
#include "run/copy_progress.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kBlock = 1 << 20;
constexpr int kBlocks = 1024;
constexpr int kUncapped = 180;

class Place {
public:
    Place() : m_folder(fs::temp_directory_path() / "rampart-copy-duty") {
        fs::remove_all(m_folder);
        fs::create_directories(m_folder);
        std::ofstream source(m_folder / "source", std::ios::binary);
        std::string block(kBlock, '\0');
        uint32_t state = 1;
        for (int i = 0; i < kBlocks; ++i) {
            for (char& byte : block) {
                state = state * 1664525 + 1013904223;
                byte = static_cast<char>(state >> 24);
            }
            source << block;
        }
    }
    ~Place() { fs::remove_all(m_folder); }

    // Seconds that the copy takes.
    double Copy(int cap) {
        using rampart::platform::ToEnginePath;
        rampart::LimitCopyDuty(rampart::CopyDuty(cap));
        CTaskPrgClass progress;
        auto const begin = std::chrono::steady_clock::now();
        bool const isDone = rampart::platform::CopyFileContent(
            ToEnginePath((m_folder / "source").string()), ToEnginePath((m_folder / "copy").string()),
            [&](uint64_t total, uint64_t moved) {
                return rampart::CopyProgressRoutine(static_cast<__int64>(total), static_cast<__int64>(moved),
                                                    &progress) == rampart::kCopyGoOn;
            },
            true);
        double const seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        if (!isDone) {
            std::fprintf(stderr, "the copy failed: error %u\n", rampart::platform::LastError());
            std::exit(1);
        }
        fs::remove(m_folder / "copy");
        return seconds;
    }

private:
    fs::path m_folder;
};

void CopyAtCap(benchmark::State& state) {
    Place place;
    place.Copy(kUncapped);  // fills the page cache
    int const cap = static_cast<int>(state.range(0));
    double work = 0;
    double whole = 0;
    for (auto _ : state) {
        work += place.Copy(kUncapped);
        double const seconds = place.Copy(cap);
        whole += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["duty%"] = work / whole * 100;
    state.counters["formula%"] = rampart::CopyDuty(cap);
}

BENCHMARK(CopyAtCap)
    ->Arg(0)
    ->Arg(80)
    ->Arg(180)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2)
    ->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
