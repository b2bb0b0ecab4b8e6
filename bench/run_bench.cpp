// Runs of the whole engine in this process: a first backup of small files, and the scan when nothing changed.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "engine/vaultlib.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFilesPerFolder = 100;
constexpr int kFileBytes = 4096;

// A tree, a vault and an engine in a folder that goes with the object.
class Bench {
public:
    // With a copy thread files go through the cache, and those that go alone to workers.
    Bench(int files, bool hasCopyThread)
        : m_root(fs::temp_directory_path() / ("rampart-bench-" + std::to_string(files))) {
        fs::remove_all(m_root);
        MakeTree(files);
        setenv("RAMPART_HOME", (m_root / "home").c_str(), 1);
        CString message;
        if (VaultAdmin::Open(CString::FromUtf8((m_root / "vault").string()), true, message) != 0) {
            throw std::runtime_error(message.ToUtf8());
        }
        m_engine.emplace();
        DictUtil::SetConfigString(_T("Options"), _T("SupportCopyThread"), hasCopyThread ? _T("1") : _T("0"));
        CBackupManage& manager = m_engine->Manager();
        manager.BeginNewTask();
        m_task = manager.m_pNewTask;
        m_task->m_type = TaskTypeOnce;
        m_task->m_dating = m_task->m_dating.Get() + CTimeSpan(3600);
        m_task->m_serverFilePath = _T("\\bench\\") + m_task->m_taskName;
        CStringList paths;
        paths.AddTail(rampart::ToEnginePath((m_root / "tree").string()));
        m_task->ReplaceLocalList(paths);
        manager.EndNewTask();
    }
    ~Bench() {
        m_engine.reset();
        VaultAdmin::Close();
        fs::remove_all(m_root);
    }

    void Run() {
        m_task->StartBackupByUser(0);
        while (ManageMultipleRunningTask::GetInstance()->FindWorkingTask(m_task)) {
            rampart::SleepMilliseconds(1);
        }
    }

private:
    void MakeTree(int files) {
        for (int i = 0; i < files; ++i) {
            fs::path const folder = m_root / "tree" / std::to_string(i / kFilesPerFolder);
            if (i % kFilesPerFolder == 0) {
                fs::create_directories(folder);
            }
            std::string content = std::to_string(i);
            while (content.size() < kFileBytes) {
                content += content + " text that repeats";
            }
            std::ofstream(folder / ("file-" + std::to_string(i))) << content.substr(0, kFileBytes);
        }
    }

    fs::path m_root;
    std::optional<rampart::RunningEngine> m_engine;
    CBackupTask* m_task = nullptr;
};

void FirstBackup(benchmark::State& state, bool hasCopyThread) {
    int const files = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto bench = std::make_unique<Bench>(files, hasCopyThread);
        state.ResumeTiming();
        bench->Run();
        state.PauseTiming();
        bench.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * files);
}

void UnchangedRun(benchmark::State& state) {
    int const files = static_cast<int>(state.range(0));
    Bench bench(files, false);
    bench.Run();
    for (auto _ : state) {
        bench.Run();
    }
    state.SetItemsProcessed(state.iterations() * files);
}

void ConfigureFirst(benchmark::internal::Benchmark* bench) {
    bench->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
}

BENCHMARK_CAPTURE(FirstBackup, sequential, false)->Apply(&ConfigureFirst);
BENCHMARK_CAPTURE(FirstBackup, threaded, true)->Apply(&ConfigureFirst);
BENCHMARK(UnchangedRun)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
