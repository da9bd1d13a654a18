// Position types and combination indexing: rank and unrank per call, the
// build time and size of the combination tables, and the whole position index.
#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <random>
#include <vector>

#include "chess/chessboard_id.h"
#include "precalc/combination_mapping.h"
#include "precalc/position_index.h"
#include "precalc/position_type.h"

namespace ostravel {
namespace {

constexpr size_t kSamples = 1 << 16;  // enough to defeat the branch predictor, small enough for cache

template <class M>
void BM_Rank(benchmark::State& state) {
  const M& m = M::Instance();
  std::mt19937_64 rng(1);
  std::vector<unsigned char> sets(kSamples * m.MenCount());
  for (size_t s = 0; s < kSamples; ++s) {
    const unsigned char* c = m.Unrank(rng() % m.GetNumberOfCombinations());
    std::copy(c, c + m.MenCount(), sets.begin() + s * m.MenCount());
  }
  size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(m.Rank(&sets[s * m.MenCount()]));
    s = (s + 1) & (kSamples - 1);
  }
  state.SetItemsProcessed(state.iterations());
}

template <class M>
void BM_Unrank(benchmark::State& state) {
  const M& m = M::Instance();
  std::mt19937_64 rng(2);
  std::vector<uint64_t> indices(kSamples);
  for (auto& i : indices) i = rng() % m.GetNumberOfCombinations();
  size_t s = 0;
  for (auto _ : state) {
    const unsigned char* c = m.Unrank(indices[s]);
    benchmark::DoNotOptimize(c[0] + c[m.MenCount() - 1]);  // the caller reads the squares
    s = (s + 1) & (kSamples - 1);
  }
  state.SetItemsProcessed(state.iterations());
}

template <class M>
void BM_TableBuild(benchmark::State& state) {
  size_t bytes = 0;
  for (auto _ : state) {
    auto m = std::make_unique<M>();
    bytes = m->TableBytes();
    benchmark::DoNotOptimize(m->Unrank(0));
  }
  state.counters["table_MB"] = static_cast<double>(bytes) / (1 << 20);
}

#define OSTRAVEL_BENCH_MAPPING(M)   \
  BENCHMARK_TEMPLATE(BM_Rank, M);   \
  BENCHMARK_TEMPLATE(BM_Unrank, M); \
  BENCHMARK_TEMPLATE(BM_TableBuild, M)->Unit(benchmark::kMillisecond)

OSTRAVEL_BENCH_MAPPING(CPieceCombinations<2>);
OSTRAVEL_BENCH_MAPPING(CPieceCombinations<3>);
OSTRAVEL_BENCH_MAPPING(CPieceCombinations<4>);
OSTRAVEL_BENCH_MAPPING(CPieceCombinations<5>);
OSTRAVEL_BENCH_MAPPING(CPawnCombinations<2>);
OSTRAVEL_BENCH_MAPPING(CPawnCombinations<3>);
OSTRAVEL_BENCH_MAPPING(CPawnCombinations<4>);
OSTRAVEL_BENCH_MAPPING(CPawnCombinations<5>);

// Real positions of a type, drawn at random from its index range.
struct TypeSample {
  CPositionTypeIndex index;
  std::vector<std::array<uint8_t, 64>> boards;
  std::vector<uint64_t> indices;
  std::vector<TChessboard> records;
  explicit TypeSample(const char* type) : index(type) {
    std::mt19937_64 rng(3);
    std::array<uint8_t, 64> b;
    bool white;
    while (boards.size() < 4096) {
      const uint64_t i = rng() % index.Size();
      if (!index.PositionAt(i, b.data(), white)) continue;
      boards.push_back(b);
      indices.push_back(i);
      TChessboard r;
      ClearBoard(r);
      std::copy(b.begin(), b.end(), r.board);
      RecomputeDerived(r);
      records.push_back(r);
    }
  }
};

const char* const kTypes[] = {"KQk", "KRBNkp", "KRRPPkrpp", "KPPPPPkppppp"};

void BM_PositionIndexOf(benchmark::State& state) {
  TypeSample t(kTypes[state.range(0)]);
  size_t s = 0;
  for (auto _ : state) {
    uint64_t i = 0;
    benchmark::DoNotOptimize(t.index.IndexOf(t.boards[s].data(), true, i));
    benchmark::DoNotOptimize(i);
    s = (s + 1) & 4095;
  }
  state.SetLabel(t.index.Type());
}
BENCHMARK(BM_PositionIndexOf)->DenseRange(0, 3);

// The form the search uses: the record's occupancy masks instead of a scan.
void BM_PositionIndexOfRecord(benchmark::State& state) {
  TypeSample t(kTypes[state.range(0)]);
  size_t s = 0;
  for (auto _ : state) {
    uint64_t i = 0;
    benchmark::DoNotOptimize(t.index.IndexOf(t.records[s], i));
    benchmark::DoNotOptimize(i);
    s = (s + 1) & 4095;
  }
  state.SetLabel(t.index.Type());
}
BENCHMARK(BM_PositionIndexOfRecord)->DenseRange(0, 3);

void BM_PositionAt(benchmark::State& state) {
  TypeSample t(kTypes[state.range(0)]);
  uint8_t board[64];
  bool white;
  size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(t.index.PositionAt(t.indices[s], board, white));
    benchmark::ClobberMemory();
    s = (s + 1) & 4095;
  }
  state.SetLabel(t.index.Type());
}
BENCHMARK(BM_PositionAt)->DenseRange(0, 3);

void BM_PositionType(benchmark::State& state) {
  TypeSample t("KRBNkp");
  size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(PositionType(t.boards[s].data()));
    s = (s + 1) & 4095;
  }
}
BENCHMARK(BM_PositionType);

void BM_ChessboardIdText(benchmark::State& state) {
  TypeSample t("KRRPPkrpp");
  size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(TChessboardId(t.boards[s].data()).ToAlphanum6());
    s = (s + 1) & 4095;
  }
}
BENCHMARK(BM_ChessboardIdText);

}  // namespace
}  // namespace ostravel
