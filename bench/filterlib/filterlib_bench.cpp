// How fast a scan passes its filters.
#include <benchmark/benchmark.h>

#include "sample_paths.h"

namespace {

void AccountFilter(benchmark::State& state) {
    static const std::vector<CString> paths = rampart::bench::SamplePaths();
    if (state.thread_index() == 0) {
        RegexFilter::InitBoostRegex(rampart::bench::SampleExpressions(static_cast<int>(state.range(0))), {});
    }
    size_t next = 0, hits = 0;
    for (auto _ : state) {
        hits += RegexFilter::MatchBoostFileFilter(paths[next]) != 0;
        next = next + 1 < paths.size() ? next + 1 : 0;
    }
    benchmark::DoNotOptimize(hits);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(AccountFilter)->Arg(0)->Arg(10)->Arg(200)->Arg(1000);
BENCHMARK(AccountFilter)->Arg(200)->Threads(2);

// As the task's list asks for each file: the entry becomes an expression, the expression is matched.
void TaskEntry(benchmark::State& state) {
    static const std::vector<CString> paths = rampart::bench::SamplePaths();
    const CString entry = _T("*.tmp");
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(RegexFilter::MatchUIBoostFilter(
            RegexFilter::ChangeFilePathToBoostRegexFilter(entry, 0), paths[next]));
        next = next + 1 < paths.size() ? next + 1 : 0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TaskEntry);

}  // namespace
