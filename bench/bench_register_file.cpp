// ".tmpReg" files: save and load throughput, plain and compressed, of a
// register of a million positions (sparse boards of a few pieces, counts
// spread over 3..17 plies, a tenth in heuristic sub-registers), and the LZ4
// container alone. Figures are MB/s of the plain stream:
//   ostravel-bench --benchmark_filter='RegisterFile|Lz4'
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "chess/board.h"
#include "registers/lz4_container.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kPositions = 1'000'000;
constexpr uint32_t kBuckets = kMediumRegisterBuckets;

struct TFixture {
  std::unique_ptr<TAggregatedTemporaryChessboardRegister> reg;
  fs::path dir;
  fs::path plain, compressed;
  std::vector<uint8_t> stream;

  ~TFixture() {
    std::error_code ec;
    if (!dir.empty()) fs::remove_all(dir, ec);
  }
};

std::unique_ptr<TAggregatedTemporaryChessboardRegister> NewRegister() {
  auto r = std::make_unique<TAggregatedTemporaryChessboardRegister>(kBuckets, 0);
  r->SetStoreShortResults(true);
  return r;
}

void Fill(TFixture& x) {
  x.reg = NewRegister();
  std::mt19937_64 rng(2024);
  static constexpr uint8_t kPieces[] = {WP, WP, WN, WB, WR, WQ, BP, BP, BN, BB, BR, BQ};
  for (uint32_t i = 0; i < kPositions; ++i) {
    std::array<uint8_t, 64> b{};
    b[rng() % 64] = WK;
    for (int k = 0; k < 8; ++k) {
      const int sq = static_cast<int>(rng() % 64);
      if (b[sq] == 0) b[sq] = kPieces[rng() % 12];
    }
    for (int sq = static_cast<int>(rng() % 64);; sq = (sq + 1) % 64)
      if (b[sq] == 0) {
        b[sq] = BK;
        break;
      }
    const uint16_t n = static_cast<uint16_t>(3 + 2 * (rng() % 8));
    const uint32_t h = RegisterHash(b.data());
    if (i % 10 == 0)
      x.reg->InsertSub(SubRegisterKey(0x100 << (i % 3), 2), n, b.data(), h, (i & 1) != 0);
    else
      x.reg->Insert(n, b.data(), h, (i & 1) != 0);
  }
  x.dir = fs::temp_directory_path() / ("ostravel-bench-tmpreg-" + std::to_string(::getpid()));
  fs::create_directories(x.dir);
  x.plain = x.dir / "plain.tmpReg";
  x.compressed = x.dir / "lz4.tmpReg";
  SaveRegisterFile(*x.reg, x.plain);
  TRegisterSaveOptions o;
  o.compress = true;
  SaveRegisterFile(*x.reg, x.compressed, o);
  x.stream = SaveRegisterToMemory(*x.reg);
  // One load first, so that every timed load finds its memory already
  // mapped (a process's first load also pays the kernel for fresh pages).
  auto warm = NewRegister();
  ReadRegisterFile(*warm, x.plain, kBuckets, {});
}

TFixture& Fixture() {
  static TFixture f;
  static const bool filled = (Fill(f), true);
  (void)filled;
  return f;
}

void Figures(benchmark::State& state, uint64_t streamBytes, uint64_t fileBytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * streamBytes));
  state.counters["stream_MB"] = static_cast<double>(streamBytes) / (1 << 20);
  state.counters["file_MB"] = static_cast<double>(fileBytes) / (1 << 20);
}

void BM_RegisterFileSave(benchmark::State& state) {
  TFixture& f = Fixture();
  TRegisterSaveOptions o;
  o.compress = state.range(0) != 0;
  TRegisterSaveResult r;
  for (auto _ : state) r = SaveRegisterFile(*f.reg, f.dir / "out.tmpReg", o);
  Figures(state, r.streamBytes, r.fileBytes);
  state.SetLabel(o.compress ? "compressed" : "plain");
}
BENCHMARK(BM_RegisterFileSave)->Arg(0)->Arg(1)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RegisterFileSaveToMemory(benchmark::State& state) {
  TFixture& f = Fixture();
  for (auto _ : state) benchmark::DoNotOptimize(SaveRegisterToMemory(*f.reg));
  Figures(state, f.stream.size(), f.stream.size());
}
BENCHMARK(BM_RegisterFileSaveToMemory)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RegisterFileLoad(benchmark::State& state) {
  TFixture& f = Fixture();
  const fs::path& file = state.range(0) ? f.compressed : f.plain;
  for (auto _ : state) {
    state.PauseTiming();
    auto reg = NewRegister();
    state.ResumeTiming();
    const TRegisterReadResult r = ReadRegisterFile(*reg, file, kBuckets, {});
    if (!r.completed) state.SkipWithError(r.error.c_str());
    state.PauseTiming();
    reg.reset();
    state.ResumeTiming();
  }
  Figures(state, f.stream.size(), fs::file_size(file));
  state.SetLabel(state.range(0) ? "compressed" : "plain");
}
BENCHMARK(BM_RegisterFileLoad)->Arg(0)->Arg(1)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Lz4Compress(benchmark::State& state) {
  TFixture& f = Fixture();
  uint64_t out = 0;
  for (auto _ : state)
    out = Lz4CompressContainer(f.stream.data(), f.stream.size(), static_cast<unsigned>(state.range(0))).size;
  Figures(state, f.stream.size(), out);
  state.SetLabel(std::to_string(state.range(0)) + " thread(s)");
}
BENCHMARK(BM_Lz4Compress)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Lz4Decompress(benchmark::State& state) {
  TFixture& f = Fixture();
  const TByteBuffer c =
      Lz4CompressContainer(f.stream.data(), f.stream.size(), static_cast<unsigned>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(Lz4DecompressContainer(c.data(), c.size).size);
  Figures(state, f.stream.size(), c.size);
  state.SetLabel(state.range(0) > 1 ? "lz4 (several blocks)" : "LZ4 (one block)");
}
BENCHMARK(BM_Lz4Decompress)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace ostravel
