// The position probe at White nodes below the root: an exact source changes
// no key, a lying one is believed (so it is really asked), one that knows
// nothing changes nothing at all, and the filters keep it away from positions
// it cannot know.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>

#include "chess/fen.h"
#include "chess/notation.h"
#include "engine/mate_search.h"
#include "engine/position_probe.h"

namespace ostravel {
namespace {

struct Task {
  TTaskContext ctx;
  TChessboard root;
  Task(const std::string& fen, int n) {
    EXPECT_TRUE(FenToBoard(fen, root, ctx)) << fen;
    ValidateAndRecount(root);
    SetRootPlies(root, static_cast<uint16_t>(2 * n - 1));
  }
};

struct TOutcome {
  std::set<std::string> keys;
  uint64_t nodes = 0;
};

TOutcome Solve(const Task& t, int n, IPositionProbe* probe, int threads = 1) {
  TSearchSettings st;
  st.computeVariations = false;
  st.probe = probe;
  st.threads = threads;
  TMateSearch s(st);
  s.FindForcedMate(t.root, n);
  TOutcome r;
  for (const auto& sol : s.Solutions()) r.keys.insert(MoveToUci(sol.key));
  r.nodes = s.Nodes();
  return r;
}

// Counts its calls and checks what it is asked.
class TCountingProbe : public IPositionProbe {
 public:
  int MaxMen() const override { return maxMen; }
  TProbeAnswer Probe(const TChessboard& pos, int ply) override {
    ++calls;
    if (!pos.WhiteToMove() || ply < 1 || CastlingRights(pos) || EnPassantTarget(pos) >= 0) ++badCalls;
    return Answer(pos);
  }
  virtual TProbeAnswer Answer(const TChessboard&) { return {}; }
  int maxMen = 32;
  std::atomic<int> calls{0};
  std::atomic<int> badCalls{0};
};

// Exact: the shortest mate of its own search within `horizon` moves, and
// "unknown" beyond (it cannot tell "never" from "later").
class TExactProbe : public TCountingProbe {
 public:
  explicit TExactProbe(int horizon) : horizon_(horizon) {}
  TProbeAnswer Answer(const TChessboard& pos) override {
    std::lock_guard<std::mutex> lk(lock_);
    TChessboard b = pos;
    b.previous = nullptr;
    const int k = own_.ShortestMate(b, horizon_);
    if (!k) return {};
    return {TProbeStatus::kMate, k};
  }

 private:
  std::mutex lock_;
  TMateSearch own_{TSearchSettings{}};
  int horizon_;
};

class TFixedProbe : public TCountingProbe {
 public:
  explicit TFixedProbe(TProbeAnswer a) : a_(a) {}
  TProbeAnswer Answer(const TChessboard&) override { return a_; }

 private:
  TProbeAnswer a_;
};

// Knows nothing about positions but names every White move as hopeless.
class TEveryMoveHopelessProbe : public TCountingProbe {
 public:
  int MovesWithoutMate(const TChessboard& pos, int, TMove* out, int capacity) override {
    ++named;
    TMove all[kMaxMoves];
    const int n = GenerateLegalMoves(pos, all);
    int k = 0;
    for (int i = 0; i < n && k < capacity; ++i) out[k++] = all[i];
    return k;
  }
  std::atomic<int> named{0};
};

// A #3 with the single key Kd6-d7 and no shorter mate; six men, no castling.
const char* const kThreeMover = "8/8/3K4/2R5/8/2Pk4/5Q2/8 w - - 0 1";

TEST(PositionProbe, AnExactProbeKeepsTheKeys) {
  Task t(kThreeMover, 3);
  const TOutcome plain = Solve(t, 3, nullptr);
  ASSERT_EQ(plain.keys, (std::set<std::string>{"d6d7"}));
  for (int threads : {1, 2}) {
    TExactProbe probe(3);
    const TOutcome probed = Solve(t, 3, &probe, threads);
    EXPECT_EQ(probed.keys, plain.keys) << threads;
    EXPECT_GT(probe.calls.load(), 0);
    EXPECT_EQ(probe.badCalls.load(), 0);
    // Every probed node ends at once, so the search does less.
    if (threads == 1) {
      EXPECT_LT(probed.nodes, plain.nodes);
    }
  }
}

TEST(PositionProbe, AProbeThatKnowsNothingChangesNothing) {
  Task t(kThreeMover, 3);
  const TOutcome plain = Solve(t, 3, nullptr);
  TCountingProbe probe;
  const TOutcome probed = Solve(t, 3, &probe);
  EXPECT_GT(probe.calls.load(), 0);
  EXPECT_EQ(probed.keys, plain.keys);
  EXPECT_EQ(probed.nodes, plain.nodes);
}

TEST(PositionProbe, ItsAnswersAreBelieved) {
  Task t(kThreeMover, 3);
  const TOutcome plain = Solve(t, 3, nullptr);
  TMove all[kMaxMoves];
  const int n = GenerateLegalMoves(t.root, all);

  // "Mate in one" everywhere: every root move that leaves Black a move and
  // reaches a probed node is taken for a key.
  TFixedProbe mateEverywhere({TProbeStatus::kMate, 1});
  const TOutcome lied = Solve(t, 3, &mateEverywhere);
  EXPECT_GT(lied.keys.size(), plain.keys.size());
  EXPECT_GT(static_cast<int>(lied.keys.size()), n / 2);

  // A mate longer than the bound (two moves at the probed nodes) is no mate.
  TFixedProbe tooLong({TProbeStatus::kMate, 3});
  EXPECT_TRUE(Solve(t, 3, &tooLong).keys.empty());

  // "Never" everywhere: no key survives (the problem has no mate in two).
  TFixedProbe never({TProbeStatus::kNoMate, 0});
  EXPECT_TRUE(Solve(t, 3, &never).keys.empty());

  // Every White move named hopeless: only mates in one are still seen, and
  // this key needs a mate in two after some defence.
  TEveryMoveHopelessProbe hopeless;
  EXPECT_TRUE(Solve(t, 3, &hopeless).keys.empty());
  EXPECT_GT(hopeless.named.load(), 0);
}

TEST(PositionProbe, FiltersKeepItAwayFromWhatItCannotKnow) {
  // More men than it takes: never asked.
  {
    Task t(kThreeMover, 3);
    TFixedProbe probe({TProbeStatus::kMate, 1});
    probe.maxMen = 3;  // six men, and at most two captures before a probed node
    EXPECT_EQ(Solve(t, 3, &probe).keys, Solve(t, 3, nullptr).keys);
    EXPECT_EQ(probe.calls.load(), 0);
  }
  // Castling rights and e.p. captures: the probe is asked only without them
  // (TCountingProbe counts any such call as bad).
  for (const char* fen : {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "4k3/8/8/3pP3/8/8/8/4K2Q w - d6 0 1"}) {
    Task t(fen, 2);
    TCountingProbe probe;
    EXPECT_EQ(Solve(t, 2, &probe).keys, Solve(t, 2, nullptr).keys) << fen;
    EXPECT_EQ(probe.badCalls.load(), 0) << fen;
  }
}

}  // namespace
}  // namespace ostravel
