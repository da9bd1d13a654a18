// The full perft suite, each position up to a node budget (label "long").
#include <gtest/gtest.h>

#include <cstdlib>

#include "chess/epd.h"
#include "chess/fen.h"
#include "chess/perft.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

// OSTRAVEL_PERFT_BUDGET (nodes per position, default 200 M) bounds the run.
uint64_t Budget() {
  const char* env = std::getenv("OSTRAVEL_PERFT_BUDGET");
  return env ? std::strtoull(env, nullptr, 10) : 200'000'000ull;
}

TEST(PerftLong, FullSuiteUpToBudget) {
  const auto lines = test::ReadEpd(test::SharedData("perft.epd"));
  ASSERT_GE(lines.size(), 200u);
  const uint64_t budget = Budget();
  for (const auto& e : lines) {
    TTaskContext ctx;
    TChessboard b;
    ASSERT_TRUE(FenToBoard(e.fen, b, ctx)) << e.fen;
    ValidateAndRecount(b);
    for (const auto& [depth, nodes] : e.counts) {
      if (nodes > budget) break;
      ASSERT_EQ(Perft(b, depth), nodes) << "line " << e.lineNo << " " << e.fen << " D" << depth;
    }
  }
}

}  // namespace
}  // namespace ostravel
