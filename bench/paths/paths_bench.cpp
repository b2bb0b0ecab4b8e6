// What a scan pays for the decision whether a file is left out.
#include <benchmark/benchmark.h>

#include "paths/path_manage.h"
#include "sample_paths.h"

namespace {

// The account's expressions alone (type 2), or beside a task's list of what alone is backed up (type 1).
void FilterFile(benchmark::State& state) {
    static const std::vector<CString> paths = rampart::bench::SamplePaths();
    RegexFilter::InitBoostRegex(rampart::bench::SampleExpressions(static_cast<int>(state.range(0))), {});
    const CString type = state.range(1) == 1 ? _T("1") : _T("2");
    CStringList list(10);
    for (const TCHAR* const entry : {_T("*.doc"), _T("*.odt"), _T("*.jpg"), _T("*.txt")}) {
        list.AddTail(entry);
    }
    CPathManage::RestoreUIFilterToVector(list);
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(CPathManage::FilterFile(paths[next], &list, type));
        next = next + 1 < paths.size() ? next + 1 : 0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(FilterFile)->ArgNames({"expressions", "type"})->Args({0, 2})->Args({200, 2})->Args({200, 1});

}  // namespace
