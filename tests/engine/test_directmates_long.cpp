// The longer complete problems of the reference table, one test each (label
// "long"). With OSTRAVEL_LONG_REDUCED set (as in CI) only #5 and #6 run.
#include "engine/directmate_check.h"

namespace ostravel {
namespace {

std::vector<TReferenceProblem> LongRows() {
  std::vector<TReferenceProblem> rows;
  for (auto& p : ReadReferenceTable(test::SharedData("directmates.tsv")))
    if (p.complete && p.moves >= 5) rows.push_back(p);
  return rows;
}

class DirectmatesLong : public ::testing::TestWithParam<TReferenceProblem> {};

TEST_P(DirectmatesLong, ExactKeySet) {
  const auto& p = GetParam();
  if (std::getenv("OSTRAVEL_LONG_REDUCED") && p.moves > 6) GTEST_SKIP() << "reduced run: #" << p.moves;
  const std::set<std::string> want(p.keys.begin(), p.keys.end());
  EXPECT_EQ(test::SolveKeys(p), want) << p.id << " #" << p.moves << " " << p.fen;
}

INSTANTIATE_TEST_SUITE_P(Rows, DirectmatesLong, ::testing::ValuesIn(LongRows()), test::RowTestName);

}  // namespace
}  // namespace ostravel
