// How fast a scan passes its filters.
#include <benchmark/benchmark.h>

#include <vector>

#include "interfaces/filterlib.h"

namespace {

// Paths as a home folder has them: some deep, some with letters beyond ASCII, one in fifty excluded.
std::vector<CString> SamplePaths() {
    std::vector<CString> paths;
    for (int index = 0; index < 2000; index++) {
        const TCHAR* extension = index % 50 == 0 ? _T("t17") : index % 3 == 0 ? _T("jpg") : _T("txt");
        const TCHAR* folder =
            index % 4 == 0 ? _T("Fotos\\Urlaub \u00dcbersee") : _T("documents\\projects\\2024");
        paths.push_back(rampart::FormatText(_T("C:\\home\\someone\\%s\\folder %d\\file number %d.%s"), folder,
                                            index % 37, index, extension));
    }
    return paths;
}

std::vector<CString> SampleExpressions(int count) {
    std::vector<CString> expressions;
    for (int index = 0; index < count; index++) {
        const TCHAR* form = index % 4 == 0   ? _T("*.t%d")
                            : index % 4 == 1 ? _T("cache%d\\*.bin")
                            : index % 4 == 2 ? _T("C:\\home\\someone\\private%d\\*.doc?")
                                             : _T("~$%d*");
        expressions.push_back(
            RegexFilter::ChangeFilePathToBoostRegexFilter(rampart::FormatText(form, index), 0));
    }
    return expressions;
}

void AccountFilter(benchmark::State& state) {
    static const std::vector<CString> paths = SamplePaths();
    if (state.thread_index() == 0) {
        RegexFilter::InitBoostRegex(SampleExpressions(static_cast<int>(state.range(0))), {});
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
    static const std::vector<CString> paths = SamplePaths();
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
