// Every complete problem of the reference table run with heuristics first
// (auto), relaxed pass by pass, then pass 2: exactly the listed keys, every
// one proved, the key set proved complete (label "long"). With
// OSTRAVEL_LONG_REDUCED set (as in CI) only #5 and #6 run.
#include <cstdlib>
#include <set>
#include <string>

#include "engine/analysis.h"
#include "engine/directmate_check.h"

namespace ostravel {
namespace {

class HeuristicPassesLong : public ::testing::TestWithParam<TReferenceProblem> {};

TEST_P(HeuristicPassesLong, AutoSetThenPass2GivesTheExactKeySet) {
  const auto& p = GetParam();
  if (std::getenv("OSTRAVEL_LONG_REDUCED") && (p.moves < 5 || p.moves > 6))
    GTEST_SKIP() << "reduced run: #" << p.moves;
  TBenchOptions o;
  o.heuristics = "auto";
  o.proofSearchSeconds = 5;  // pass 0 from #6 on, shorter than auto's 30 s
  const TBenchRowResult row = BenchRow(p, o);
  ASSERT_TRUE(row.refusal.empty()) << row.refusal;
  EXPECT_EQ(row.keys, std::set<std::string>(p.keys.begin(), p.keys.end())) << p.id << " " << p.fen;
  EXPECT_TRUE(row.candidates.empty()) << "a key was left unproved";
  EXPECT_TRUE(row.complete);
}

INSTANTIATE_TEST_SUITE_P(Rows, HeuristicPassesLong, ::testing::ValuesIn(test::CompleteRows()),
                         test::RowTestName);

}  // namespace
}  // namespace ostravel
