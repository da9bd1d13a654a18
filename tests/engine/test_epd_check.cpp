// The claims of EPD records checked by solving: dm as the shortest mate,
// every bm a key, Black's mates through the colour mirror.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "engine/epd_check.h"

namespace ostravel {
namespace {

TEpdCheck Check(const std::string& line, TEpdCheckOptions o = {}) {
  TEpdRecord rec;
  std::string error;
  EXPECT_TRUE(ParseEpdLine(line, rec, error)) << line << ": " << error;
  return CheckEpdRecord(rec, o);
}

TEST(EpdCheck, ClaimsAreConfirmedOrRefuted) {
  const TEpdCheck two = Check("8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - dm 2; bm Bb3;");
  EXPECT_EQ(two.outcome, TEpdOutcome::kSolved) << two.message;
  EXPECT_EQ(two.keysUci.size(), 2u);
  EXPECT_EQ(two.bmUci, std::vector<std::string>{"d1b3"});
  EXPECT_EQ(two.mateIn, 2);
  EXPECT_GT(two.nodes, 0u);

  const TEpdCheck wrong = Check("8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - dm 2; bm Qe6;");
  EXPECT_EQ(wrong.outcome, TEpdOutcome::kWrongBm);
  EXPECT_EQ(wrong.keysUci.size(), 2u);

  const TEpdCheck shorter = Check("6k1/5ppp/8/8/8/8/8/R5K1 w - - dm 2;");
  EXPECT_EQ(shorter.outcome, TEpdOutcome::kShorter);
  EXPECT_EQ(shorter.mateIn, 1);
  EXPECT_EQ(shorter.keysSan, std::vector<std::string>{"Ra8#"});

  EXPECT_EQ(Check("8/8/8/8/8/8/8/k1K5 w - - dm 2;").outcome, TEpdOutcome::kNoMate);
}

TEST(EpdCheck, BlackMatesAreReportedAsMovesOfTheRecord) {
  const TEpdCheck c = Check("r5k1/8/8/8/8/8/5PPP/6K1 b - - dm 1; bm Ra1#;");
  EXPECT_EQ(c.outcome, TEpdOutcome::kSolved) << c.message;
  EXPECT_EQ(c.keysUci, std::vector<std::string>{"a8a1"});
  EXPECT_EQ(c.keysSan, std::vector<std::string>{"Ra1#"});
}

TEST(EpdCheck, RecordsThatCannotBeCheckedAreErrors) {
  const std::string noDm = "6k1/5ppp/8/8/8/8/8/R5K1 w - - id \"x\";";
  const TEpdCheck missing = Check(noDm);
  EXPECT_EQ(missing.outcome, TEpdOutcome::kError);
  EXPECT_EQ(missing.dm, 0);
  TEpdCheckOptions o;
  o.defaultMoves = 1;
  const TEpdCheck byDefault = Check(noDm, o);
  EXPECT_EQ(byDefault.outcome, TEpdOutcome::kSolved);
  EXPECT_EQ(byDefault.dm, 1);

  const TEpdCheck badBm = Check("6k1/5ppp/8/8/8/8/8/R5K1 w - - dm 1; bm Qd8;");
  EXPECT_EQ(badBm.outcome, TEpdOutcome::kError);
  EXPECT_EQ(badBm.message, "bm Qd8 is no legal move of the position");
  // Two kings side by side: a FEN, but no position.
  EXPECT_EQ(Check("8/8/8/8/8/8/8/kK6 w - - dm 1;").outcome, TEpdOutcome::kError);
}

TEST(EpdCheck, AStopFlagEndsTheCheckAsStopped) {
  std::atomic<bool> stop{true};
  TEpdCheckOptions o;
  o.watch.stop = &stop;
  o.watch.tick = std::chrono::milliseconds(1);
  // No mate in 6 of the start position: a search far longer than the test.
  const TEpdCheck c = Check("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - dm 6;", o);
  EXPECT_EQ(c.outcome, TEpdOutcome::kStopped);
  EXPECT_TRUE(c.stoppedByFlag);
  EXPECT_EQ(c.message, "stopped by user");
}

TEST(EpdCheck, TheFrontEndsRunnerIsUsed) {
  int runs = 0;
  const TEpdRunner none = [&runs](const TSolveRequest& r) {
    ++runs;
    EXPECT_TRUE(r.whiteToMove);  // Black's mate arrives mirrored
    TRunOutcome out;
    out.result.status = TRunStatus::kCompleted;
    return out;
  };
  TEpdRecord rec;
  std::string error;
  ASSERT_TRUE(ParseEpdLine("r5k1/8/8/8/8/8/5PPP/6K1 b - - dm 1;", rec, error));
  EXPECT_EQ(CheckEpdRecord(rec, {}, none).outcome, TEpdOutcome::kNoMate);
  EXPECT_EQ(runs, 1);
}

}  // namespace
}  // namespace ostravel
