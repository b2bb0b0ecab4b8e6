// Whether a copy to the cache keeps to its share of the time: a real copy of a gigabyte at several settings
// of "CopySpeedCap". A copy rests inside the call that tells its progress; all other time is work.
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

    struct Seconds {
        double whole = 0;
        double rest = 0;  // of these
    };
    Seconds Copy(int cap) {
        using rampart::platform::ToEnginePath;
        rampart::LimitCopyDuty(rampart::CopyDuty(cap));
        CTaskPrgClass progress;
        using Clock = std::chrono::steady_clock;
        auto const since = [](Clock::time_point begin) {
            return std::chrono::duration<double>(Clock::now() - begin).count();
        };
        Seconds seconds;
        auto const begin = Clock::now();
        bool const isDone = rampart::platform::CopyFileContent(
            ToEnginePath((m_folder / "source").string()), ToEnginePath((m_folder / "copy").string()),
            [&](uint64_t total, uint64_t moved) {
                auto const call = Clock::now();
                bool const goesOn =
                    rampart::CopyProgressRoutine(static_cast<__int64>(total), static_cast<__int64>(moved),
                                                 &progress) == rampart::kCopyGoOn;
                seconds.rest += since(call);
                return goesOn;
            },
            true);
        seconds.whole = since(begin);
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
    Place::Seconds sum;
    for (auto _ : state) {
        Place::Seconds const seconds = place.Copy(cap);
        sum.whole += seconds.whole;
        sum.rest += seconds.rest;
        state.SetIterationTime(seconds.whole);
    }
    state.counters["duty%"] = (sum.whole - sum.rest) / sum.whole * 100;
    state.counters["formula%"] = rampart::CopyDuty(cap);
}

BENCHMARK(CopyAtCap)
    ->Arg(0)
    ->Arg(80)
    ->Arg(180)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
