// Thread counts, levels, labels, the thread-count proposal and the level
// queue's manual controls.
#include <gtest/gtest.h>

#include <stdexcept>

#include "chess/fen.h"
#include "config/settings.h"
#include "engine/level_queue.h"
#include "engine/solve_request.h"
#include "engine/threads.h"

namespace ostravel {
namespace {

TEST(ThreadsAndLevels, SumOfPowersLimit) {
  EXPECT_NO_THROW(ValidateThreadsAndLevels(2, 14));  // 32766
  try {
    ValidateThreadsAndLevels(2, 15);
    ADD_FAILURE();
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "Too many threads and/or multithreading levels.");
  }
  EXPECT_NO_THROW(ValidateThreadsAndLevels(181, 1));
  EXPECT_THROW(ValidateThreadsAndLevels(182, 2), std::invalid_argument);  // 182 + 33124
  EXPECT_THROW(ValidateThreadsAndLevels(255, 64), std::invalid_argument);
  bool adjusted = false;
  EXPECT_EQ(AdjustLevels(65, 1, &adjusted), 64);
  EXPECT_TRUE(adjusted);
  EXPECT_EQ(AdjustLevels(0, 1, &adjusted), 1);
  EXPECT_TRUE(adjusted);
  EXPECT_EQ(AdjustLevels(3, 1, &adjusted), 3);
  EXPECT_FALSE(adjusted);
}

TEST(ThreadsAndLevels, LabelAndEffectiveCount) {
  EXPECT_EQ(ThreadLabel(4, 1), " 4thrd(s)");
  EXPECT_EQ(ThreadLabel(12, 1), "12thrd(s)");
  EXPECT_EQ(ThreadLabel(2, 3), " 2^3thrd(s)");
  EXPECT_EQ(EffectiveThreadCount(4, 0, 1, false), 4);
  EXPECT_EQ(EffectiveThreadCount(4, 6, 2, false), 24);  // forced 6 at the first level
  EXPECT_EQ(EffectiveThreadCount(4, 0, 3, true), 16);   // brute force: 2 per further level
}

TEST(ThreadsAndLevels, PhysicalCoresFromTopology) {
  EXPECT_EQ(CountPhysicalCores("0 0\n0 0\n0 1\n0 1\n"), 2);  // two cores with two threads each
  EXPECT_EQ(CountPhysicalCores("0 0\n1 0\n"), 2);            // two packages
  EXPECT_EQ(CountPhysicalCores(""), 0);
  EXPECT_GE(ProcessorCount(true), ProcessorCount(false));
  EXPECT_GE(ProcessorCount(false), 1);
}

TEST(ThreadPlan, FromTheHardwareWhenOnOneThreadWhenOff) {
  EXPECT_EQ(HardwareThreadPlan(1).threads, 1);
  EXPECT_EQ(HardwareThreadPlan(2).threads, 2);
  EXPECT_EQ(HardwareThreadPlan(2).levels, 1);
  EXPECT_EQ(HardwareThreadPlan(24).levels, 1);
  // More processors than root candidates keep busy: a second level.
  const TThreadPlan big = HardwareThreadPlan(64);
  EXPECT_EQ(big.threads, 8);
  EXPECT_EQ(big.levels, 2);
  EXPECT_NO_THROW(ValidateThreadsAndLevels(HardwareThreadPlan(255).threads, HardwareThreadPlan(255).levels));
  TSettings s;
  TSolveRequest r;
  s.MultithreadingLevels = 1;
  ApplySettings(r, s);
  EXPECT_EQ(r.threads, HardwareThreadPlan(ProcessorCount(true)).threads);
  s.MultithreadingLevels = 0;
  ApplySettings(r, s);
  EXPECT_EQ(r.threads, 1);
  EXPECT_EQ(r.levels, 1);
}

TEST(ThreadProposal, RulesAtTheRoot) {
  TTaskContext ctx;
  TChessboard b;
  ASSERT_TRUE(FenToBoard("k7/8/8/8/8/8/8/KR6 w - - 0 1", b, ctx));
  TThreadProposalInput in;
  in.rootPlies = 15;
  in.threads = 4;
  in.cores = 4;
  in.root = &b;
  in.candidatesLeft = 4;
  EXPECT_EQ(ProposeThreadCount(in), 0);  // exactly T candidates
  in.candidatesLeft = 5;
  EXPECT_EQ(ProposeThreadCount(in), 5);  // T + 1 with twice the cores above T
  in.cores = 2;
  EXPECT_EQ(ProposeThreadCount(in), 5);  // twice the cores not above T: the second rule, min(M, 3T)
  in.candidatesLeft = 20;
  EXPECT_EQ(ProposeThreadCount(in), 12);  // a rook on the board: 3T
  in.rootPlies = 13;
  EXPECT_EQ(ProposeThreadCount(in), 0);  // only from 14 plies
  in.rootPlies = 15;
  in.restricted = true;  // a root restricted to marked men keeps its count
  EXPECT_EQ(ProposeThreadCount(in), 0);
  in.restricted = false;
  in.alreadyProposed = true;
  EXPECT_EQ(ProposeThreadCount(in), 0);
  EXPECT_EQ(ThreadProposalQuestion(6),
            "Engine wants to force a different number of threads (6). Do you accept it?");
}

std::vector<TMove> Moves(int n) {
  std::vector<TMove> v;
  for (int i = 0; i < n; ++i) v.push_back(TMove{static_cast<uint8_t>(i), static_cast<uint8_t>(i + 8), 0, 0});
  return v;
}

TEST(LevelQueue, HandsOutMovesInOrderAndSharesOnlyWhenAllowed) {
  TLevelQueue q(Moves(2), false);
  EXPECT_EQ(q.Take(), 0);
  EXPECT_EQ(q.Take(), 1);
  EXPECT_EQ(q.Take(), -1);
  TLevelQueue s(Moves(2), true);
  EXPECT_EQ(s.Take(), 0);
  EXPECT_EQ(s.Take(), 1);
  EXPECT_EQ(s.Take(), 0);  // a second thread joins the earliest running move
  EXPECT_EQ(s.Take(), 1);
  EXPECT_EQ(s.Take(), -1);  // never a third
  EXPECT_TRUE(s.Finish(0, 1));
  EXPECT_TRUE(s.CancelFlag(0)->load());  // the partner has nothing left to do
  EXPECT_FALSE(s.Finish(0, 0));          // and its answer does not count
  EXPECT_EQ(s.ResultOf(0), 1);
}

TEST(LevelQueue, ManualControls) {
  TLevelQueue q(Moves(8), false);
  EXPECT_EQ(q.Take(), 0);
  EXPECT_TRUE(q.SkipCurrent());
  EXPECT_TRUE(q.CancelFlag(0)->load());
  EXPECT_FALSE(q.Finish(0, 1));  // a skipped move's result is dropped
  EXPECT_TRUE(q.SwapNext());     // 2 goes before 1
  EXPECT_EQ(q.Take(), 2);
  EXPECT_TRUE(q.ShiftCurrentToLast());  // 2 again, after everything else
  EXPECT_EQ(q.SkipNext(1), 1);          // 1
  const TMove six = q.MoveAt(6);
  EXPECT_EQ(q.SkipTo(six), 3);  // 3, 4, 5
  EXPECT_EQ(q.Take(), 6);
  EXPECT_EQ(q.Take(), 7);
  EXPECT_EQ(q.Take(), 8);  // the shifted copy of move 2
  EXPECT_EQ(q.MoveAt(8).from, 2);
  EXPECT_EQ(q.Take(), -1);
  EXPECT_EQ(q.Skipped(), 6);  // 0, 2 (first entry), 1, 3, 4, 5
}

}  // namespace
}  // namespace ostravel
