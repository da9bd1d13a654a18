// Every complete problem of the reference table through the proof-number
// search alone (label "long"): no key that is not listed, and the listed set
// whenever the search decided every first move. With OSTRAVEL_LONG_REDUCED
// set (as in CI) only the problems up to #5 run.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

#include "chess/notation.h"
#include "engine/directmate_check.h"
#include "engine/proof_search.h"

namespace ostravel {
namespace {

class ProofSearchLong : public ::testing::TestWithParam<TReferenceProblem> {};

TEST_P(ProofSearchLong, OnlyListedKeysAndAllOfThemWhenDecided) {
  const auto& p = GetParam();
  if (std::getenv("OSTRAVEL_LONG_REDUCED") && p.moves > 5) GTEST_SKIP() << "reduced run: #" << p.moves;
  TTaskContext ctx;
  const TChessboard root = test::RootOf(p.fen, p.moves, ctx);
  TProofSearchOptions o;
  o.deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  o.tableMB = 32;
  const TProofSearchResult r = TProofSearch(o).Run(root, p.moves);
  const std::set<std::string> got = test::UciSet(r.keys);
  const std::set<std::string> want(p.keys.begin(), p.keys.end());
  for (const auto& k : got) EXPECT_TRUE(want.count(k)) << k << " is no key of " << p.fen;
  if (r.allDecided) {
    EXPECT_EQ(got, want) << p.fen;
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, ProofSearchLong, ::testing::ValuesIn(test::CompleteRows()), test::RowTestName);

}  // namespace
}  // namespace ostravel
