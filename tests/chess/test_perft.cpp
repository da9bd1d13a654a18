// The move generator is proved by perft: every count of the quick reference
// suite must match, with bulk counting and with every leaf made.
#include <gtest/gtest.h>

#include "chess/epd.h"
#include "chess/fen.h"
#include "chess/perft.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

TEST(Perft, QuickSuiteMatchesEveryCount) {
  const auto lines = test::ReadEpd(test::SharedData("perft_quick.epd"));
  ASSERT_GE(lines.size(), 200u);
  int checked = 0;
  for (const auto& e : lines) {
    TTaskContext ctx;
    TChessboard b;
    ASSERT_TRUE(FenToBoard(e.fen, b, ctx)) << e.fen;
    ASSERT_NO_THROW(ValidateAndRecount(b)) << e.fen;
    for (const auto& [depth, nodes] : e.counts) {
      ASSERT_EQ(Perft(b, depth, PerftMode::kBulk), nodes)
          << "line " << e.lineNo << " " << e.fen << " D" << depth;
      ++checked;
    }
  }
  EXPECT_GT(checked, 600);
}

TEST(Perft, MakingLeavesAgreesWithBulkCounting) {
  const auto lines = test::ReadEpd(test::SharedData("perft_quick.epd"));
  for (const auto& e : lines) {
    TTaskContext ctx;
    TChessboard b;
    ASSERT_TRUE(FenToBoard(e.fen, b, ctx));
    ValidateAndRecount(b);
    // The two shallowest listed depths keep this quick.
    for (size_t i = 0; i < e.counts.size() && i < 2; ++i)
      ASSERT_EQ(Perft(b, e.counts[i].first, PerftMode::kMakeLeaves), e.counts[i].second) << e.fen;
  }
}

TEST(Perft, DivideSumsToTotalAndListsEachLegalMoveOnce) {
  TTaskContext ctx;
  TChessboard b;
  ASSERT_TRUE(FenToBoard("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", b, ctx));
  ValidateAndRecount(b);
  const auto div = PerftDivide(b, 3);
  EXPECT_EQ(div.size(), 48u);
  uint64_t sum = 0;
  for (const auto& [m, n] : div) sum += n;
  EXPECT_EQ(sum, 97862u);
}

}  // namespace
}  // namespace ostravel
