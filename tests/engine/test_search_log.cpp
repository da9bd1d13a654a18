// The search log of LogMoves: one line per move and per result, indented by
// ply, and the marker of each further multithreading level.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "chess/fen.h"
#include "engine/engine_run.h"
#include "engine/mate_search.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

std::vector<std::string> LogOf(const std::string& fen, int n, int levels, int threads = 1) {
  TTaskContext ctx;
  TChessboard root;
  EXPECT_TRUE(FenToBoard(fen, root, ctx));
  ValidateAndRecount(root);
  SetRootPlies(root, static_cast<uint16_t>(2 * n - 1));
  const std::string path = test::MakeTempDir() + "/problem.log";
  {
    TSearchSettings st;
    st.logMoves = true;
    st.logPath = path;
    st.levels = levels;
    st.threads = threads;
    TMateSearch s(st);
    s.FindForcedMate(root, n);
  }
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

TEST(SearchLog, MateInOneLogsEachRootMoveAndItsResult) {
  // Kb6, pawn c7: c7-c8=Q and =R mate, =B and =N do not.
  const auto lines = LogOf("k7/2P5/1K6/8/8/8/8/8 w - - 0 1", 1, 1);
  ASSERT_FALSE(lines.empty());
  ASSERT_EQ(lines.size() % 2, 0u);
  int mates = 0, promotions = 0;
  for (size_t i = 0; i < lines.size(); i += 2) {
    // Move line, then its result line, both one tab deep (the first ply).
    EXPECT_EQ(lines[i].rfind("\t1.", 0), 0u) << lines[i];
    EXPECT_TRUE(lines[i + 1] == "\t1.mate" || lines[i + 1] == "\t1.no mate") << lines[i + 1];
    if (lines[i] == "\t1.c7-c8") {
      ++promotions;
      mates += lines[i + 1] == "\t1.mate";
    }
  }
  EXPECT_EQ(promotions, 4);
  EXPECT_EQ(mates, 2);
  // A king move carries its piece letter.
  EXPECT_NE(std::find(lines.begin(), lines.end(), "\t1.Kb6-a6"), lines.end());
}

TEST(SearchLog, BlackMovesAreIndentedAndNumberedAsReplies) {
  const auto lines = LogOf("k7/8/1K6/8/8/8/8/3Q4 w - - 0 1", 2, 1);
  bool sawReply = false, sawReplyResult = false;
  for (const auto& l : lines) {
    sawReply |= l.rfind("\t\t1 ... ", 0) == 0 && l.find('-') != std::string::npos;
    sawReplyResult |= l == "\t\t1 ...mate" || l == "\t\t1 ...no mate";
    // Deeper than the search goes: never.
    EXPECT_NE(l.rfind("\t\t\t\t", 0), 0u) << l;
  }
  EXPECT_TRUE(sawReply);
  EXPECT_TRUE(sawReplyResult);
}

std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

size_t CountPrefix(const std::vector<std::string>& lines, const std::string& prefix) {
  return std::count_if(lines.begin(), lines.end(),
                       [&](const std::string& l) { return l.rfind(prefix, 0) == 0; });
}

TEST(SearchLog, MatingMovesEndTheirLines) {
  // #2: every line that mates ends with White's second move and "mate".
  const auto lines = LogOf("k7/8/1K6/8/8/8/8/3Q4 w - - 0 1", 2, 1);
  const auto at = std::find(lines.begin(), lines.end(), "\t\t\t2.mate");
  ASSERT_NE(at, lines.end());
  ASSERT_NE(at, lines.begin());
  EXPECT_EQ((at - 1)->rfind("\t\t\t2.Q", 0), 0u) << *(at - 1);
}

TEST(SearchLog, EveryPassOfARunHasItsHeadingAndKeepsTheEarlierOnes) {
  // A hybrid run: the first phase stops at the first key, the second searches
  // again on the register the first one filled.
  const std::string path = test::MakeTempDir() + "/run.log";
  TSolveRequest r;
  ASSERT_TRUE(r.SetFen("8/8/3K4/2R5/8/2Pk4/5Q2/8 w - - 0 1"));
  r.moves = 3;
  r.title = "vaeth-55";
  r.hybridPhase = 1;
  r.computeVariations = false;
  r.logMoves = true;
  r.logPath = path;
  TEngine engine;
  ASSERT_EQ(engine.Start(r, {}, TEngineTask::kMate), "");
  engine.Wait();
  const auto lines = ReadLines(path);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0].rfind("Position id ", 0), 0u) << lines[0];
  EXPECT_EQ(CountPrefix(lines, "1a Heur=0 HeurParams=0"), 1u);
  EXPECT_EQ(CountPrefix(lines, "1b Heur=0 HeurParams=0"), 1u);
  const auto second = std::find_if(lines.begin(), lines.end(),
                                   [](const std::string& l) { return l.rfind("1b Heur", 0) == 0; });
  ASSERT_NE(second, lines.end());
  ASSERT_NE(second + 1, lines.end());
  EXPECT_NE((second + 1)->find(" Pass "), std::string::npos) << *(second + 1);
  // Both passes logged moves, and the second took results from the register.
  EXPECT_GT(CountPrefix({lines.begin(), second}, "\t1."), 0u);
  EXPECT_GT(CountPrefix({second, lines.end()}, "\t1."), 0u);
  EXPECT_TRUE(std::any_of(second, lines.end(),
                          [](const std::string& l) { return l.find(" (temp.reg.))") != std::string::npos; }));
}

TEST(SearchLog, EachSplitNodeMarksTheNextLevel) {
  const std::string marker = "NextMultithreadingLevel analysis...";
  // More threads than candidates: free workers are waiting when the key's
  // node (several replies, none refuting) comes up, so it is split.
  const char* fen = "8/8/2R5/8/6Q1/7k/p1K5/8 w - - 0 1";
  const auto one = LogOf(fen, 2, 1, 64);
  ASSERT_FALSE(one.empty());
  EXPECT_EQ(std::find(one.begin(), one.end(), marker), one.end());
  const auto two = LogOf(fen, 2, 2, 64);
  const auto at = std::find(two.begin(), two.end(), marker);
  ASSERT_NE(at, two.end());
  ASSERT_NE(at, two.begin());
  EXPECT_EQ(*(at - 1), std::string(52, '-'));
}

}  // namespace
}  // namespace ostravel
