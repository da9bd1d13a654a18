// The register under several threads: after a few seconds of concurrent
// inserts and look-ups every record must be what the same inserts give one
// after another (inserts commute: the mate count is the least mate, the
// no-mate count the greatest no-mate cut below it, sub-register counts the
// greatest). Also the clean-up while others insert, and the gate's exclusion.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <random>
#include <thread>
#include <vector>

#include "registers/chessboard_register.h"
#include "registers/register_test_util.h"
#include "registers/temporary_register.h"

namespace ostravel {
namespace {

using test::HashOf;
using test::MakeBoard;
using test::TBoardBytes;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kPositions = 3000;
const uint64_t kKeys[] = {0, 1, 2, SubRegisterKey(0x10, 7)};

struct TOp {
  uint32_t pos;
  uint16_t n;
  bool flag;
  uint64_t key;
};

struct TModel {
  uint16_t minMate = 0, maxNoMate = 0;  // exact part: as inserted
  uint16_t first = 0, second = 0;       // sub-register: greatest of each
};

std::vector<TBoardBytes> Boards() {
  std::vector<TBoardBytes> v(kPositions);
  for (uint32_t i = 0; i < kPositions; ++i) v[i] = MakeBoard(i * 37 + 11);
  return v;
}

TEST(RegisterConcurrency, ConcurrentInsertsEndAsTheSameInsertsInSequence) {
  const std::vector<TBoardBytes> boards = Boards();
  // Few buckets, so that chunks fill and turn into arrays while threads race.
  TAggregatedTemporaryChessboardRegister reg(256, 0);
  reg.SetStoreShortResults(true);
  constexpr int kWorkers = 4;
  const auto deadline = Clock::now() + std::chrono::milliseconds(2800);
  std::vector<std::vector<TOp>> done(kWorkers);
  // Look-up observations checked against the final state: a mate seen in k
  // plies can only have become shorter; sub-register counts only higher.
  struct TSeen {
    uint32_t pos;
    uint64_t key;
    uint16_t first, second;
  };
  std::vector<std::vector<TSeen>> seen(kWorkers);
  std::atomic<bool> stop{false};
  std::atomic<uint64_t> observerPasses{0};

  std::vector<std::thread> threads;
  for (int t = 0; t < kWorkers; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 rng(static_cast<uint32_t>(t) * 7919u + 1);
      for (uint32_t i = 0;; ++i) {
        if ((i & 255) == 0 && Clock::now() >= deadline) break;
        const uint32_t r = rng();
        const uint32_t p = (r >> 8) % kPositions;
        const TBoardBytes& b = boards[p];
        const uint32_t h = HashOf(b);
        const auto n = static_cast<uint16_t>(1 + 2 * ((r >> 4) % 10));
        const uint64_t key = kKeys[(r >> 24) % 4];
        const bool flag = (r >> 28) & 1;
        switch (r % 8) {
          case 0:
          case 1:
          case 2:
            if (key == 0)
              reg.Insert(n, b.data(), h, flag);
            else
              reg.InsertSub(key, n, b.data(), h, flag);
            done[t].push_back({p, n, flag, key});
            break;
          case 3:
          case 4: {
            uint16_t f = 0, s = 0;
            const bool found = key == 0 ? reg.Probe(b.data(), h, f, s) : reg.ProbeSub(key, b.data(), h, f, s);
            if (found) seen[t].push_back({p, key, f, s});
            break;
          }
          case 5:
            if (reg.LookUp(n, n, b.data(), h) == kRegMate) seen[t].push_back({p, 0, n, 0});
            break;
          case 6:
            reg.LookUpNoMate(n, b.data(), h);
            break;
          default:
            if (key != 0) reg.LookUpSub(key, n, n, b.data(), h);
            break;
        }
      }
    });
  }
  // Statistics and the save's walk run beside the searches.
  threads.emplace_back([&] {
    while (!stop.load()) {
      EXPECT_FALSE(reg.StatisticsText().empty());
      uint32_t visited = 0;
      reg.ForEachRecord([&](uint64_t, const TRegisterRecord&) { return ++visited, true; });
      EXPECT_LE(visited, kPositions * std::size(kKeys));
      ++observerPasses;
    }
  });
  for (int t = 0; t < kWorkers; ++t) threads[t].join();
  stop.store(true);
  threads.back().join();
  EXPECT_GT(observerPasses.load(), 0u);

  // The same inserts, one after another.
  std::map<std::pair<uint64_t, uint32_t>, TModel> model;
  uint16_t maxPlies = 0;
  size_t inserts = 0;
  for (const auto& ops : done) {
    inserts += ops.size();
    for (const TOp& op : ops) {
      TModel& m = model[{op.key, op.pos}];
      maxPlies = std::max(maxPlies, op.n);
      if (op.key == 0) {
        if (op.flag && (m.minMate == 0 || op.n < m.minMate)) m.minMate = op.n;
        if (!op.flag) m.maxNoMate = std::max(m.maxNoMate, op.n);
      } else {
        uint16_t& c = op.flag ? m.first : m.second;
        c = std::max(c, op.n);
      }
    }
  }
  ASSERT_GT(inserts, 10000u) << "the threads hardly ran";
  auto expected = [&](uint64_t key, const TModel& m) -> std::pair<uint16_t, uint16_t> {
    if (key != 0) return {m.first, m.second};
    if (m.minMate == 0 || m.maxNoMate < m.minMate) return {m.minMate, m.maxNoMate};
    return {m.minMate, static_cast<uint16_t>(m.minMate >= 2 ? m.minMate - 2 : 0)};
  };

  EXPECT_EQ(reg.ElementCount(), model.size());
  EXPECT_EQ(reg.MaxPlies(), maxPlies);
  size_t checked = 0;
  for (const auto& [kp, m] : model) {
    const auto [key, p] = kp;
    const TBoardBytes& b = boards[p];
    uint16_t f = 0, s = 0;
    const bool found =
        key == 0 ? reg.Probe(b.data(), HashOf(b), f, s) : reg.ProbeSub(key, b.data(), HashOf(b), f, s);
    ASSERT_TRUE(found) << "key " << key << " position " << p;
    const auto [ef, es] = expected(key, m);
    ASSERT_EQ(f, ef) << "key " << key << " position " << p;
    ASSERT_EQ(s, es) << "key " << key << " position " << p;
    ++checked;
  }
  uint32_t visited = 0;
  reg.ForEachRecord([&](uint64_t, const TRegisterRecord&) { return ++visited, true; });
  EXPECT_EQ(visited, checked);

  for (const auto& list : seen) {
    for (const TSeen& o : list) {
      const auto it = model.find({o.key, o.pos});
      ASSERT_NE(it, model.end());
      const auto [ef, es] = expected(o.key, it->second);
      if (o.key == 0) {
        if (o.first != 0) {
          ASSERT_LE(ef, o.first) << "a mate got longer";
        }
      } else {
        ASSERT_GE(ef, o.first);
        ASSERT_GE(es, o.second);
      }
    }
  }
}

TEST(RegisterConcurrency, CleanUpWhileOthersInsertKeepsTheRegisterCoherent) {
  const std::vector<TBoardBytes> boards = Boards();
  constexpr uint32_t kLimit = 400;
  TAggregatedTemporaryChessboardRegister reg(64, kLimit);
  constexpr int kWorkers = 3;
  const auto deadline = Clock::now() + std::chrono::milliseconds(500);
  std::vector<std::thread> threads;
  for (int t = 0; t < kWorkers; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 rng(static_cast<uint32_t>(t) + 99);
      for (uint32_t i = 0;; ++i) {
        if ((i & 63) == 0 && Clock::now() >= deadline) break;
        const uint32_t r = rng();
        const TBoardBytes& b = boards[(r >> 8) % kPositions];
        const auto n = static_cast<uint16_t>(5 + 2 * ((r >> 4) % 8));
        if (r % 4 == 0)
          reg.InsertSub(1 + (r >> 30), n, b.data(), HashOf(b), (r >> 29) & 1);
        else if (r % 4 == 1)
          reg.LookUp(n, n, b.data(), HashOf(b));
        else
          reg.Insert(n, b.data(), HashOf(b), (r >> 29) & 1);
      }
    });
  }
  for (auto& th : threads) th.join();

  // Each thread may have added one record past the limit between its check
  // and its insert.
  EXPECT_LE(reg.ElementCount(), kLimit + kWorkers);
  uint32_t visited = 0;
  reg.ForEachRecord([&](uint64_t key, const TRegisterRecord& r) {
    ++visited;
    EXPECT_LE(std::max(r.nMovesMate, r.nMovesNoMate), 19);
    if (key == 0 && r.nMovesMate != 0) {
      EXPECT_GT(r.nMovesMate, r.nMovesNoMate);
    }
    return true;
  });
  EXPECT_EQ(visited, reg.ElementCount());
  uint32_t parts = reg.PartElementCount(0);
  for (uint64_t key : reg.SubRegisterKeys()) parts += reg.PartElementCount(key);
  EXPECT_EQ(parts, reg.ElementCount());
}

TEST(RegisterConcurrency, ChunksMoveWhileOthersProbe) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 0);
  constexpr uint32_t kBuckets = 12000, kPerBucket = 10;
  auto board = [](uint32_t b, uint32_t k) { return MakeBoard(b * kPerBucket + k); };
  std::atomic<bool> stop{false};
  std::atomic<uint64_t> wrong{0};
  // Probes see a record with its own count or not at all, whatever moves.
  std::thread prober([&] {
    std::mt19937 rng(5);
    while (!stop.load()) {
      const uint32_t b = rng() % kBuckets, k = rng() % kPerBucket;
      uint16_t m = 0, nm = 0;
      if (reg.Probe(board(b, k).data(), b, m, nm) && m != 5 + 2 * k) ++wrong;
    }
  });
  std::vector<std::thread> inserters;
  for (uint32_t t = 0; t < 2; ++t) {
    inserters.emplace_back([&, t] {
      for (uint32_t k = 0; k < kPerBucket; ++k)
        for (uint32_t b = t; b < kBuckets; b += 2)
          reg.Insert(static_cast<uint16_t>(5 + 2 * k), board(b, k).data(), b, true);
    });
  }
  for (auto& th : inserters) th.join();
  stop.store(true);
  prober.join();
  EXPECT_EQ(wrong.load(), 0u);
  EXPECT_EQ(reg.ElementCount(), kBuckets * kPerBucket);
  EXPECT_EQ(reg.StatisticsText().find("Total allocation units      = 4\n"), std::string::npos);
  for (uint32_t b = 0; b < kBuckets; ++b)
    for (uint32_t k = 0; k < kPerBucket; ++k) {
      uint16_t m = 0, nm = 0;
      ASSERT_TRUE(reg.Probe(board(b, k).data(), b, m, nm));
      ASSERT_EQ(m, 5 + 2 * k);
    }
}

TEST(RegisterConcurrency, TheExclusiveSideShutsReadersOut) {
  TRegisterGate gate;
  int a = 0, b = 0;  // plain: a data race here is what the sanitizer would report
  std::atomic<bool> stop{false};
  std::atomic<uint64_t> reads{0}, writes{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      while (!stop.load()) {
        TSharedGateGuard g(gate);
        ASSERT_EQ(a, b);
        ++reads;
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 1; !stop.load(); ++i) {
      TExclusiveGateGuard x(gate);
      a = i;
      std::this_thread::yield();
      b = i;
      {
        TSharedGateGuard again(gate);  // the owner reads without waiting
        ASSERT_EQ(a, b);
      }
      ++writes;
    }
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  stop.store(true);
  for (auto& th : threads) th.join();
  EXPECT_GT(reads.load(), 0u);
  EXPECT_GT(writes.load(), 0u);  // readers do not starve the writer
}

TEST(RegisterConcurrency, DefenceInsertsOfTheSameResultNeverConflict) {
  const std::vector<TBoardBytes> boards = Boards();
  TChessboardRegister<bool> reg(64);
  std::vector<std::thread> threads;
  std::atomic<int> conflicts{0};
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (uint32_t i = 0; i < kPositions; ++i) {
        const uint32_t p = (i + static_cast<uint32_t>(t) * 1000) % kPositions;
        try {
          reg.Insert(boards[p].data(), HashOf(boards[p]), p % 3 == 0);
        } catch (const ChessException&) {
          ++conflicts;
        }
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(conflicts.load(), 0);
  EXPECT_EQ(reg.ElementCount(), kPositions);
  for (uint32_t p = 0; p < kPositions; ++p)
    ASSERT_EQ(reg.LookUp(boards[p].data(), HashOf(boards[p])), p % 3 == 0);
}

}  // namespace
}  // namespace ostravel
