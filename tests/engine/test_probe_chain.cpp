// Sources of exact answers asked in turn: the first that knows a position
// answers it, and a source is never asked about more men than it holds.
#include <gtest/gtest.h>

#include "chess/fen.h"
#include "config/settings.h"
#include "engine/probe_chain.h"
#include "engine/solve_request.h"
#include "engine/tablebase_session.h"

namespace ostravel {
namespace {

struct TFakeProbe : IPositionProbe {
  TFakeProbe(int men, TProbeAnswer a, int hopeless = 0) : men(men), answer(a), hopeless(hopeless) {}
  TProbeAnswer Probe(const TChessboard&, int) override {
    ++asked;
    return answer;
  }
  int MovesWithoutMate(const TChessboard&, int, TMove* out, int capacity) override {
    for (int i = 0; i < hopeless && i < capacity; ++i) out[i] = TMove{0, static_cast<uint8_t>(i + 1), 0, 0};
    return hopeless;
  }
  int MaxMen() const override { return men; }
  int men;
  TProbeAnswer answer;
  int hopeless;
  int asked = 0;
};

TEST(ProbeChain, FirstKnowingSourceAnswersWithinItsMen) {
  TTaskContext ctx;
  TChessboard b;
  ASSERT_TRUE(FenToBoard("8/8/8/8/8/2k5/8/1QK1R3 w - - 0 1", b, ctx));  // four men
  TFakeProbe small(3, {TProbeStatus::kMate, 1});
  TFakeProbe unknown(5, {});
  TFakeProbe knows(5, {TProbeStatus::kMate, 4}, 2);

  TProbeChain none;
  EXPECT_EQ(none.Get(), nullptr);
  TProbeChain one;
  one.Add(&knows);
  one.Add(nullptr);
  EXPECT_EQ(one.Get(), &knows);

  TProbeChain chain;
  chain.Add(&small);
  chain.Add(&unknown);
  chain.Add(&knows);
  ASSERT_EQ(chain.Get(), &chain);
  EXPECT_EQ(chain.MaxMen(), 5);
  const TProbeAnswer a = chain.Probe(b, 2);
  EXPECT_EQ(a.status, TProbeStatus::kMate);
  EXPECT_EQ(a.mateInMoves, 4);
  EXPECT_EQ(small.asked, 0) << "a source holding three men is asked about four";
  EXPECT_EQ(unknown.asked, 1);
  TMove out[8];
  EXPECT_EQ(chain.MovesWithoutMate(b, 2, out, 8), 2);
}

TEST(ProbeChain, AttachProbesReplacesTheProbeOfAnEarlierRun) {
  TFakeProbe global(5, {});
  TFakeProbe stale(7, {});
  std::vector<std::string> notes;
  TTablebaseSession off(TTablebaseChoice{true, ""}, TSettings{}, &notes);
  TSolveRequest r;
  r.probe = &stale;
  TProbeChain chain;
  AttachProbes(chain, r, &global, &off, &notes);
  EXPECT_EQ(r.probe, &global);
  TProbeChain none;
  r.probe = &stale;
  AttachProbes(none, r, nullptr, nullptr, &notes);
  EXPECT_EQ(r.probe, nullptr);
  EXPECT_TRUE(notes.empty());
}

}  // namespace
}  // namespace ostravel
