// The text of a solution tree that the command line prints and the window
// copies: threats numbered, duals on their answer's line, nested variations.
#include <gtest/gtest.h>

#include "engine/solution_text.h"

namespace ostravel {
namespace {

TVariation Var(const std::string& black, const std::string& white, bool mate,
               std::vector<std::string> duals = {}, std::vector<TVariation> next = {}) {
  TVariation v;
  v.blackText = black;
  v.whiteText = white;
  v.mate = mate;
  v.dualTexts = std::move(duals);
  v.duals.resize(v.dualTexts.size());
  v.next = std::move(next);
  return v;
}

TEST(SolutionText, ThreatsDualsNestingAndTheKeysWithoutThreat) {
  TSolution quiet;
  quiet.keyText = "Qd1-h5";
  quiet.mateIn = 3;
  quiet.threat = {"Qh5-f7", "Qh5-e8"};
  quiet.threatIn = 2;
  quiet.variations = {Var("Ke8-d7", "Qh5-f7", false, {}, {Var("Kd7-c6", "Qf7-c7", true, {"Qf7-b7"})}),
                      Var("g7-g6", "Qh5-e5", true)};
  quiet.variationsTruncated = true;
  TSolution waiting;
  waiting.keyText = "Kb1-a2";
  waiting.mateIn = 2;
  TSolution check;
  check.keyText = "Rd1-d8";
  check.mateIn = 1;
  check.keyChecks = true;
  EXPECT_EQ(SolutionsText({quiet, waiting, check}),
            "1.Qd1-h5!  (mate in 3)\n"
            "   threat: 2.Qh5-f7, 2.Qh5-e8  (mate in 2)\n"
            "   1...Ke8-d7 2.Qh5-f7\n"
            "      2...Kd7-c6 3.Qf7-c7#, 3.Qf7-b7#  (dual)\n"
            "   1...g7-g6 2.Qh5-e5#\n"
            "   ... (further variations not shown)\n"
            "1.Kb1-a2!  (mate in 2)\n"
            "   zugzwang\n"
            "1.Rd1-d8!  (mate in 1)\n");
  // The fixed words follow the language.
  EXPECT_EQ(SolutionsText({waiting}, 0), "1.Kb1-a2!  (mat w 2)\n   zugzwang\n");
  EXPECT_EQ(SolutionsText({}), "");
}

// A key found under heuristics and not proved is shown as a candidate, with
// the pass that found it, and is not kept as a key of the problem.
TEST(SolutionText, CandidatesAreNoSolutions) {
  std::vector<TSolution> keys(2);
  keys[0].keyText = "Nd4-e2";
  keys[0].foundInPass = std::string(1, '1');
  keys[1].keyText = "Nf5-h6";
  keys[1].foundInPass = std::string("1b");
  keys[1].confirmed = false;
  keys[1].threat = {"Nh6-f7"};
  const TSolution& proved = keys[0];
  const TSolution& candidate = keys[1];
  EXPECT_EQ(SolutionsText({proved, candidate}),
            "1.Nd4-e2!\n   zugzwang\n1.Nf5-h6? (candidate of pass 1b, not proved)\n");
  EXPECT_EQ(ProvedKeyTexts({proved, candidate}), std::vector<std::string>{"Nd4-e2"});
}

}  // namespace
}  // namespace ostravel
