// Reading collections: well-formed records, and a file of records in error
// (every one thrown and caught by the parser, so this also shows the cost of
// a C++ exception in this build).
#include <benchmark/benchmark.h>

#include <string>

#include "problems/cp_file.h"

namespace {

void BM_ReadGoodRecords(benchmark::State& state) {
  std::string text;
  for (int i = 0; i < 10000; ++i)
    text += "#3\n{\n  D: Record " + std::to_string(i) + "\n  FEN: 8/2P5/8/8/8/8/N7/k1K5 w - - 0 1\n}\n";
  for (auto _ : state) benchmark::DoNotOptimize(ostravel::ReadCollection(text).problems.size());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ReadGoodRecords)->Unit(benchmark::kMillisecond);

void BM_ReadRecordsInError(benchmark::State& state) {
  std::string text;
  for (int i = 0; i < 100000; ++i) text += "#2\n";  // no record body: each one an error
  for (auto _ : state) benchmark::DoNotOptimize(ostravel::ReadCollection(text).moreErrors);
  state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_ReadRecordsInError)->Unit(benchmark::kMillisecond);

}  // namespace
