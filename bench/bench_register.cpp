// Temporary register: insert and look-up speed, and memory per position, on
// positions of real play (every position perft walks reach from a few
// directmate problems), since the register hash is fixed and such positions
// crowd some buckets. Built once per size and shared by the benchmarks:
//   ostravel-bench --benchmark_filter=Register
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "chess/board.h"
#include "chess/fen.h"
#include "registers/temporary_register.h"

namespace ostravel {
namespace {

using TBoardBytes = std::array<uint8_t, 64>;

// Problems whose walks give the stored positions, and others (different
// material) for the misses.
const char* const kHitRoots[] = {
    "nB6/1p1Np3/1P3p2/p2P1Np1/P3P2p/P1p2P2/2rp1kPP/nbbK1B1R w - - 0 1",
    "6b1/Qp1PPqp1/n2K1pPB/2N3R1/4p1P1/1P2k1nB/1PR1pN1b/4r1r1 w - - 0 1",
    "1r3N2/1nb3n1/1qbr1p2/1pp1k1p1/2pp1p2/QR2pBP1/4P1NB/3R3K w - - 0 1",
    "N1br3q/2Rp1nn1/2p3rp/1Pk1B1b1/Pp2P2Q/1Bp1pNp1/8/R3K3 w - - 0 1",
    "nb1B4/qrnPp3/rkp1Pp2/p1p1pp2/2P1Np2/P7/1PN1K1P1/8 w - - 0 1",
    "3N3K/B2bRB2/1Qp4p/1R1pppp1/1P2k3/r3pNP1/2P1P3/b2r3q w - - 0 1",
};
const char* const kMissRoots[] = {
    "b3N1n1/3p2rr/6p1/1RRp1P2/P2k1B2/2pP1K1p/ppPpP3/3N2b1 w - - 0 1",
    "Bq1B1K2/3PpN2/P3Pp2/P1p2P2/2Pk1b1R/1p6/pN1P1P2/QR6 w - - 0 1",
    "1N3b2/p1kN3p/K4PPP/P1p1P3/2R2P2/1P1P4/3pppBB/3Q1R2 w - - 0 1",
};

constexpr uint32_t kMaxPositions = 10'000'000;
constexpr uint32_t kQueries = 1 << 20;

uint64_t Fingerprint(const uint8_t* b) {
  uint64_t h = 0x9E3779B97F4A7C15ull;
  for (int i = 0; i < 8; ++i) {
    uint64_t w;
    std::memcpy(&w, b + 8 * i, 8);
    h = (h ^ w) * 0xFF51AFD7ED558CCDull;
    h ^= h >> 32;
  }
  return h | 1;  // 0 marks a free slot
}

// Open-addressed set of fingerprints, for collecting distinct positions.
class TSeen {
 public:
  explicit TSeen(int bits) : mask_((size_t{1} << bits) - 1), slots_(mask_ + 1, 0) {}
  bool Add(uint64_t f) {
    for (size_t i = f & mask_;; i = (i + 1) & mask_) {
      if (slots_[i] == f) return false;
      if (slots_[i] == 0) {
        slots_[i] = f;
        return true;
      }
    }
  }
  void Prefetch(uint64_t f) const { __builtin_prefetch(&slots_[f & mask_]); }

 private:
  size_t mask_;
  std::vector<uint64_t> slots_;
};

// The distinct positions of the legal move tree of a root, shallow levels
// first, at most `quota`. Candidates wait in a small batch while their slots
// of the set are fetched.
std::vector<TBoardBytes> Walk(const char* fen, uint32_t quota) {
  struct TPending {
    uint64_t f;
    TBoardBytes b;
  };
  std::vector<TBoardBytes> out;
  out.reserve(quota);
  TSeen seen(std::bit_width(quota) + 1);
  std::vector<TPending> pending;
  pending.reserve(32);
  TTaskContext ctx;
  std::vector<TChessboard> stack(32);
  if (!FenToBoard(fen, stack[0], ctx)) throw std::runtime_error("bad FEN");
  ValidateAndRecount(stack[0]);
  SetRootPlies(stack[0], 1001);
  auto full = [&] { return out.size() >= quota; };
  auto flush = [&] {
    for (const TPending& p : pending)
      if (!full() && seen.Add(p.f)) out.push_back(p.b);
    pending.clear();
  };
  for (int depth = 0; depth < 30 && !full(); ++depth) {
    const size_t before = out.size();
    auto rec = [&](auto&& self, int ply) -> void {
      const TChessboard& b = stack[ply];
      if (ply == depth) {
        TPending p;
        p.f = Fingerprint(b.board);
        std::memcpy(p.b.data(), b.board, 64);
        seen.Prefetch(p.f);
        pending.push_back(p);
        if (pending.size() == 32) flush();
        return;
      }
      TMove moves[kMaxMoves];
      const int n = GenerateLegalMoves(b, moves);
      for (int i = 0; i < n && !full(); ++i) {
        PlayMove(b, stack[ply + 1], moves[i]);
        self(self, ply + 1);
      }
    };
    rec(rec, 0);
    flush();
    if (depth > 2 && out.size() == before) break;  // the tree has run dry
  }
  return out;
}

// Walks of several roots on two threads, concatenated. Roots of different
// material do not meet within the depths walked, so the result stays distinct
// (the benchmarks check it: every stored position must be found, no miss).
std::vector<TBoardBytes> WalkAll(const char* const* roots, size_t count, uint32_t quota) {
  std::vector<std::vector<TBoardBytes>> parts(count);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < 2; ++t)
    threads.emplace_back([&, t] {
      for (size_t r = t; r < count; r += 2) parts[r] = Walk(roots[r], quota);
    });
  for (auto& th : threads) th.join();
  std::vector<TBoardBytes> all;
  for (auto& p : parts) all.insert(all.end(), p.begin(), p.end());
  return all;
}

struct TPositions {
  std::vector<TBoardBytes> stored;  // in walk order
  std::vector<TBoardBytes> misses;  // none of them stored
};

const TPositions& Positions() {
  static const TPositions* p = [] {
    auto* set = new TPositions;
    constexpr size_t kRoots = std::size(kHitRoots);
    set->stored = WalkAll(kHitRoots, kRoots, static_cast<uint32_t>((kMaxPositions + kRoots - 1) / kRoots));
    if (set->stored.size() < kMaxPositions) throw std::runtime_error("walks gave too few positions");
    set->stored.resize(kMaxPositions);
    set->misses = WalkAll(kMissRoots, std::size(kMissRoots), kQueries / 2);
    return set;
  }();
  return *p;
}

uint32_t Hash(const TBoardBytes& b) {
  return RegisterHash(b.data());
}

// Stored counts as a search would leave them: odd, mostly short.
uint16_t PliesOf(size_t i) {
  return static_cast<uint16_t>(5 + 2 * (i % 7));
}

size_t HeapBytes() {
  const struct mallinfo2 mi = mallinfo2();
  return mi.uordblks + mi.hblkhd;
}

struct TFixture {
  std::unique_ptr<TAggregatedTemporaryChessboardRegister> reg;
  std::vector<TBoardBytes> hitsRandom;  // stored positions in random order
  std::vector<TBoardBytes> hitsWalk;    // stored positions in walk order
  double bytesPerPosition = 0;
  double heapBytesPerPosition = 0;
};

const TFixture& Fixture(uint32_t n, uint32_t buckets) {
  static std::mutex mutex;
  static std::map<std::pair<uint32_t, uint32_t>, std::unique_ptr<TFixture>> cache;
  std::lock_guard<std::mutex> lock(mutex);
  auto& slot = cache[{n, buckets}];
  if (!slot) {
    const TPositions& pos = Positions();
    slot = std::make_unique<TFixture>();
    const size_t heapBefore = HeapBytes();
    slot->reg = std::make_unique<TAggregatedTemporaryChessboardRegister>(buckets, 0);
    for (uint32_t i = 0; i < n; ++i) {
      const TBoardBytes& b = pos.stored[i];
      slot->reg->Insert(PliesOf(i), b.data(), Hash(b), (i & 1) != 0);
    }
    if (slot->reg->ElementCount() != n) throw std::runtime_error("the walked positions are not distinct");
    const double count = n;
    slot->bytesPerPosition = static_cast<double>(slot->reg->MemoryBytes()) / count;
    slot->heapBytesPerPosition = static_cast<double>(HeapBytes() - heapBefore) / count;
    std::mt19937_64 rng(n);
    const uint32_t q = std::min(n, kQueries);
    for (uint32_t i = 0; i < q; ++i) slot->hitsRandom.push_back(pos.stored[rng() % n]);
    slot->hitsWalk.assign(pos.stored.begin() + (n - q), pos.stored.begin() + n);
  }
  return *slot;
}

void AddMemoryCounters(benchmark::State& state, const TFixture& f) {
  state.counters["bytes_per_pos"] = benchmark::Counter(f.bytesPerPosition, benchmark::Counter::kAvgThreads);
  state.counters["heap_bytes_per_pos"] =
      benchmark::Counter(f.heapBytesPerPosition, benchmark::Counter::kAvgThreads);
}

constexpr int kBatch = 256;

// One look-up per position of a query list; thread t starts at its own
// offset. An iteration is one look-up, so Time is nanoseconds per look-up on
// each thread; items_per_second adds the threads up.
template <class Probe>
void RunLookUps(benchmark::State& state, const std::vector<TBoardBytes>& queries, Probe&& probe,
                bool expectFound) {
  const size_t q = queries.size();
  std::vector<uint32_t> hashes(q);
  for (size_t i = 0; i < q; ++i) hashes[i] = Hash(queries[i]);
  size_t i = (q / static_cast<size_t>(state.threads())) * static_cast<size_t>(state.thread_index());
  uint64_t found = 0, done = 0;
  while (state.KeepRunningBatch(kBatch)) {
    for (int k = 0; k < kBatch; ++k) {
      found += probe(queries[i].data(), hashes[i]);
      if (++i == q) i = 0;
    }
    done += kBatch;
  }
  if (found != (expectFound ? done : 0))
    state.SkipWithError(expectFound ? "a stored position was not found" : "an absent position was found");
  state.SetItemsProcessed(static_cast<int64_t>(done));
}

// Args: positions stored, bucket count, 0 random order / 1 walk order.
// LookUp(1, 1) answers 0 or 2 for every stored record, 0xFE only when absent.
void BM_RegisterLookUpHit(benchmark::State& state) {
  const TFixture& f = Fixture(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  auto& reg = *f.reg;
  RunLookUps(
      state, state.range(2) == 0 ? f.hitsRandom : f.hitsWalk,
      [&](const uint8_t* b, uint32_t h) { return reg.LookUp(1, 1, b, h) != kRegUnknown ? 1u : 0u; }, true);
  AddMemoryCounters(state, f);
}

// As a search can do it: the bucket of the position looked up eight steps
// later is prefetched (say, when its move is made).
void BM_RegisterLookUpHitPrefetched(benchmark::State& state) {
  const TFixture& f = Fixture(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  auto& reg = *f.reg;
  const auto& queries = f.hitsRandom;
  std::vector<uint32_t> hashes(queries.size());
  for (size_t i = 0; i < queries.size(); ++i) hashes[i] = Hash(queries[i]);
  const size_t q = queries.size();
  size_t i = (q / static_cast<size_t>(state.threads())) * static_cast<size_t>(state.thread_index());
  uint64_t found = 0, done = 0;
  while (state.KeepRunningBatch(kBatch)) {
    for (int k = 0; k < kBatch; ++k) {
      reg.Prefetch(hashes[(i + 8) % q]);
      found += reg.LookUp(1, 1, queries[i].data(), hashes[i]) != kRegUnknown;
      if (++i == q) i = 0;
    }
    done += kBatch;
  }
  if (found != done) state.SkipWithError("a stored position was not found");
  state.SetItemsProcessed(static_cast<int64_t>(done));
}

void BM_RegisterProbeHit(benchmark::State& state) {
  const TFixture& f = Fixture(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  auto& reg = *f.reg;
  RunLookUps(
      state, f.hitsRandom,
      [&](const uint8_t* b, uint32_t h) {
        uint16_t m, nm;
        return reg.Probe(b, h, m, nm) ? 1u : 0u;
      },
      true);
}

void BM_RegisterLookUpMiss(benchmark::State& state) {
  const TFixture& f = Fixture(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  auto& reg = *f.reg;
  RunLookUps(
      state, Positions().misses,
      [&](const uint8_t* b, uint32_t h) { return reg.LookUp(1, 1, b, h) != kRegUnknown ? 1u : 0u; }, false);
}

// Fills a fresh register with the first n positions on 1 or 2 threads (each
// thread takes every other position). Args: n, bucket count, threads.
void BM_RegisterInsert(benchmark::State& state) {
  const TPositions& pos = Positions();
  const auto n = static_cast<uint32_t>(state.range(0));
  const auto buckets = static_cast<uint32_t>(state.range(1));
  const auto threads = static_cast<uint32_t>(state.range(2));
  std::vector<uint32_t> hashes(n);
  for (uint32_t i = 0; i < n; ++i) hashes[i] = Hash(pos.stored[i]);
  double bytesPerPosition = 0, heapBytesPerPosition = 0;
  for (auto _ : state) {
    state.PauseTiming();
    const size_t heapBefore = HeapBytes();
    auto reg = std::make_unique<TAggregatedTemporaryChessboardRegister>(buckets, 0);
    state.ResumeTiming();
    auto work = [&](uint32_t t) {
      for (uint32_t i = t; i < n; i += threads)
        reg->Insert(PliesOf(i), pos.stored[i].data(), hashes[i], (i & 1) != 0);
    };
    if (threads == 1) {
      work(0);
    } else {
      std::vector<std::thread> pool;
      for (uint32_t t = 0; t < threads; ++t) pool.emplace_back(work, t);
      for (auto& th : pool) th.join();
    }
    state.PauseTiming();
    if (reg->ElementCount() != n) state.SkipWithError("positions were lost");
    bytesPerPosition = static_cast<double>(reg->MemoryBytes()) / reg->ElementCount();
    heapBytesPerPosition = static_cast<double>(HeapBytes() - heapBefore) / reg->ElementCount();
    reg.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * n);
  state.counters["time_per_insert"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * n, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["bytes_per_pos"] = bytesPerPosition;
  state.counters["heap_bytes_per_pos"] = heapBytesPerPosition;
}

// What one random memory access costs on this machine at this moment (a
// chase of dependent loads through 1 GiB on huge pages): a look-up in a large
// register cannot be cheaper than its one or two dependent misses.
void BM_RegisterBaselineRandomAccess(benchmark::State& state) {
  constexpr size_t kBytes = size_t{1} << 30, kSlots = kBytes / 64;
  static const uint64_t* chain = [] {
    auto* mem = static_cast<uint64_t*>(std::aligned_alloc(size_t{1} << 21, kBytes));
    madvise(mem, kBytes, MADV_HUGEPAGE);
    std::vector<uint32_t> order(kSlots);
    for (uint32_t i = 0; i < kSlots; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937_64(7));
    for (size_t i = 0; i < kSlots; ++i) mem[order[i] * 8] = uint64_t{order[(i + 1) % kSlots]} * 8;
    return mem;
  }();
  uint64_t p = 0;
  while (state.KeepRunningBatch(kBatch))
    for (int k = 0; k < kBatch; ++k) p = chain[p];
  benchmark::DoNotOptimize(p);
}
BENCHMARK(BM_RegisterBaselineRandomAccess);

constexpr int64_t k1M = 1'000'000, k10M = 10'000'000;
constexpr int64_t kMedium = kMediumRegisterBuckets, kLarge = kLargeRegisterBuckets;

BENCHMARK(BM_RegisterInsert)
    ->Args({k1M, kMedium, 1})
    ->Args({k1M, kMedium, 2})
    ->Args({k10M, kLarge, 1})
    ->Args({k10M, kLarge, 2})
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

#define OSTRAVEL_REGISTER_SIZES(B, order) \
  B->Args({k1M, kMedium, order})          \
      ->Args({k10M, kMedium, order})      \
      ->Args({k10M, kLarge, order})       \
      ->Threads(1)                        \
      ->Threads(2)                        \
      ->UseRealTime()

OSTRAVEL_REGISTER_SIZES(BENCHMARK(BM_RegisterLookUpHit), 0);
OSTRAVEL_REGISTER_SIZES(BENCHMARK(BM_RegisterLookUpHit), 1);
BENCHMARK(BM_RegisterProbeHit)->Args({k10M, kLarge})->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_RegisterLookUpHitPrefetched)
    ->Args({k10M, kMedium})
    ->Args({k10M, kLarge})
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(BM_RegisterLookUpMiss)
    ->Args({k1M, kMedium})
    ->Args({k10M, kMedium})
    ->Args({k10M, kLarge})
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime();

}  // namespace
}  // namespace ostravel
