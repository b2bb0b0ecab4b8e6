// What every room pays for texts.
#include <benchmark/benchmark.h>

#include "framework/cstring.h"

namespace {

constexpr const TCHAR kPath[] = _T("C:\\home\\someone\\documents\\projects\\2024\\a file of some length.txt");

void CopyText(benchmark::State& state) {
    static const CString text(kPath);
    for (auto _ : state) {
        CString copy(text);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(CopyText)->Threads(1)->Threads(2);

void MakeText(benchmark::State& state) {
    for (auto _ : state) {
        CString text(kPath);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(MakeText);

// The other text is the same in capitals: nothing is decided before the end.
void CompareTextNoCase(benchmark::State& state, const CString& text) {
    CString other = text;
    other.MakeUpper();
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.CompareNoCase(other));
    }
    state.SetItemsProcessed(state.iterations() * text.GetLength());
}
BENCHMARK_CAPTURE(CompareTextNoCase, ascii, kPath);
BENCHMARK_CAPTURE(
    CompareTextNoCase, beyond_ascii,
    _T("C:\\\u00e4\u00f6\u00fc\\\u0434\u043e\u043a\u0443\u043c\u0435\u043d\u0442\u044b\\\u00e9t\u00e9 ")
    _T("2024\\\u0444\u0430\u0439\u043b.txt"));

void FormatLine(benchmark::State& state) {
    static const CString text(kPath);
    for (auto _ : state) {
        CString line;
        line.Format(_T("Upload: \"%s\", %d of %I64d bytes"), text, 7, 4096LL);
        benchmark::DoNotOptimize(line);
    }
}
BENCHMARK(FormatLine);

}  // namespace
