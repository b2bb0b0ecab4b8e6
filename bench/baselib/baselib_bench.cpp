// What the scan pays for configuration, texts, paths, listings and log lines.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "interfaces/baselib.h"
#include "platform/path_mapping.h"
#include "platform/process.h"

namespace {

namespace fs = std::filesystem;

void ConfigInt(benchmark::State& state) {
    const CString section = _T("Options"), key = _T("AllowUploadTempAndVirtualFiles"), none;
    for (auto _ : state) {
        benchmark::DoNotOptimize(DictUtil::GetConfigInt(section, key, none, none));
    }
}
BENCHMARK(ConfigInt)->Threads(1)->Threads(2);

void ConfigIntFromLiterals(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            DictUtil::GetConfigInt(_T("Options"), _T("IgnoreTimeSpan"), _T("3"), _T("")));
    }
}
BENCHMARK(ConfigIntFromLiterals);

void DictionaryText(benchmark::State& state) {
    const CString key = _T("IDS_STRENCRYFOLDER"), none;
    for (auto _ : state) {
        benchmark::DoNotOptimize(DictUtil::GetValue(key, none));
    }
}
BENCHMARK(DictionaryText);

void AppendPath(benchmark::State& state) {
    const CString folder = _T("C:\\home\\someone\\documents\\projects\\2024"),
                  name = _T("a file of some length.txt");
    for (auto _ : state) {
        benchmark::DoNotOptimize(PathUtilities::Append(folder, name));
    }
}
BENCHMARK(AppendPath);

void DebugLine(benchmark::State& state) {
    const CString line =
        _T("Upload: \"C:\\home\\someone\\documents\\projects\\2024\\a file of some length.txt\", 0");
    for (auto _ : state) {
        GetManageDebugLog().AddDebugInfo(line, 0);
    }
}
BENCHMARK(DebugLine);

// A folder of empty files that goes with the object.
class SampleFolder {
public:
    explicit SampleFolder(int64_t files)
        : m_path(fs::temp_directory_path() /
                 ("rampart-bench-" + std::to_string(rampart::platform::ProcessId()))) {
        fs::create_directories(m_path);
        for (int64_t index = 0; index < files; index++) {
            std::ofstream(m_path / ("file number " + std::to_string(index) + ".txt"));
        }
    }
    ~SampleFolder() { fs::remove_all(m_path); }
    std::string Path() const { return m_path.string(); }

private:
    const fs::path m_path;
};

// One folder, its entries with size and time; the items are the entries.
void ListFolder(benchmark::State& state) {
    const SampleFolder folder(state.range(0));
    const CString pattern =
        CString(rampart::TextView(rampart::platform::ToEnginePath(folder.Path()))) + _T("\\*.*");
    for (auto _ : state) {
        KXFileFind finder;
        for (int working = finder.FindFile(pattern); working;) {
            working = finder.FindNextFileW();
            benchmark::DoNotOptimize(finder.GetLength());
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ListFolder)->Arg(100)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

// The same by the system's own program: name, size and time of every entry.
void ListFolderByFind(benchmark::State& state) {
    const SampleFolder folder(state.range(0));
    const std::string command = "find '" + folder.Path() + "' -mindepth 1 -printf '%f %s %T@\\n' >/dev/null";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("find fails");
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ListFolderByFind)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
