// A run split into root units: solving each candidate on its own and merging
// gives the keys, threats and variations of one whole run.
#include <gtest/gtest.h>

#include <array>
#include <set>

#include "chess/fen.h"
#include "chess/notation.h"
#include "engine/engine.h"
#include "engine/solution_text.h"
#include "engine/work_units.h"
#include "problems/problem.h"
#include "registers/temporary_register.h"

namespace ostravel {
namespace {

TSolveRequest Request(const std::string& fen, int moves) {
  TSolveRequest r;
  EXPECT_TRUE(r.SetFen(fen)) << fen;
  r.moves = moves;
  r.title = "units";
  r.problemId = 7101;
  return r;
}

TSolveResult Solve(const TSolveRequest& r) {
  TEngine e;
  const std::string refusal = e.Start(r, {});
  EXPECT_EQ(refusal, "");
  e.Wait();
  return e.Result();
}

struct TSample {
  const char* fen;
  int moves;
};

// Sample-collection problems: several keys, promotions, castling, none.
const TSample kSamples[] = {
    {"7B/5R2/3p3N/3P4/1K2k2r/4N3/4Q3/8 w - - 0 1", 2},       // four keys
    {"8/2P5/8/8/8/8/N7/k1K5 w - - 0 1", 3},                  // c8=Q, c8=R
    {"8/2Pp4/8/N1P5/4p3/P1k5/8/R3K3 w Q - 0 1", 3},          // 0-0-0
    {"k7/P7/K7/5p2/8/7B/4p1P1/8 w - - 0 1", 3},              // no solution
    {"8/6K1/5p1B/2Rnqrbk/4Q1Rp/3N1b1P/4N3/8 w - - 0 1", 4},  // two keys
    {"k7/n1RN4/8/1B6/K7/4n3/8/8 w - - 0 1", 4},
};

TEST(WorkUnits, UnitsMergedGiveTheWholeRunsText) {
  for (const TSample& s : kSamples) {
    const TSolveRequest whole = Request(s.fen, s.moves);
    const TSolveResult one = Solve(whole);
    ASSERT_EQ(one.status, TRunStatus::kCompleted) << s.fen;

    const std::vector<TMove> units = RootWorkUnits(whole);
    ASSERT_FALSE(units.empty()) << s.fen;
    // One register for every unit, as a process solving units in turn keeps
    // it: what one unit proves must not mislead the next.
    auto reg = MakeRunRegister(s.moves);
    std::vector<std::vector<TSolution>> got;
    // Last unit first: the merge, not the order of arrival, sets the order.
    for (auto it = units.rbegin(); it != units.rend(); ++it) {
      TSolveRequest part = whole;
      part.rootMoves = {*it};
      part.reg = reg;
      const TSolveResult res = Solve(part);
      ASSERT_EQ(res.status, TRunStatus::kCompleted) << s.fen;
      ASSERT_FALSE(res.fromRegister) << s.fen << " unit " << MoveToUci(*it);
      for (const auto& k : res.solutions) EXPECT_TRUE(k.key.SameAs(*it)) << s.fen;
      got.push_back(res.solutions);
    }
    const std::vector<TSolution> merged = MergeUnitSolutions(whole, got);
    EXPECT_EQ(SolutionsText(merged), SolutionsText(one.solutions)) << s.fen;
    EXPECT_EQ(merged.size(), one.solutions.size()) << s.fen;
  }
}

TEST(WorkUnits, CandidatesFollowSortIndicationsAndRestriction) {
  TSolveRequest r = Request("7B/5R2/3p3N/3P4/1K2k2r/4N3/4Q3/8 w - - 0 1", 2);
  const std::vector<TMove> plain = RootWorkUnits(r);
  TMove legal[kMaxMoves];
  TChessboard root;
  TTaskContext ctx;
  ProblemOfRequest(r).MakeRoot(root, ctx, true);
  ASSERT_EQ(static_cast<int>(plain.size()), GenerateLegalMoves(root, legal));

  r.sortIndications = {plain.back(), plain[3]};
  const std::vector<TMove> sorted = RootWorkUnits(r);
  ASSERT_EQ(sorted.size(), plain.size());
  EXPECT_TRUE(sorted[0].SameAs(plain.back()));
  EXPECT_TRUE(sorted[1].SameAs(plain[3]));
  std::set<std::string> a, b;
  for (const auto& m : plain) a.insert(MoveToUci(m));
  for (const auto& m : sorted) b.insert(MoveToUci(m));
  EXPECT_EQ(a, b);

  // Only the king on b4 may move: its moves alone, an indication of another man dropped.
  r.restriction = -1;
  r.markedSquares = uint64_t{1} << 25;
  const std::vector<TMove> king = RootWorkUnits(r);
  ASSERT_FALSE(king.empty());
  for (const auto& m : king) EXPECT_EQ(m.from, 25);
  EXPECT_LT(king.size(), plain.size());

  EXPECT_TRUE(RootWorkUnits(Request("8/8/8/8/8/8/8/8 w - - 0 1", 2)).empty());
}

TEST(WorkUnits, SolutionsTravelAsTextIntact) {
  TSolveRequest r = Request("8/6K1/5p1B/2Rnqrbk/4Q1Rp/3N1b1P/4N3/8 w - - 0 1", 4);
  const TSolveResult res = Solve(r);
  ASSERT_EQ(res.solutions.size(), 2u);
  std::vector<TSolution> copy = res.solutions;
  copy[0].keyText += " \n:;99:";  // separators inside a text travel too
  copy[1].variationsTruncated = true;
  const std::string text = SerializeSolutions(copy);
  std::vector<TSolution> back;
  ASSERT_TRUE(DeserializeSolutions(text, back));
  EXPECT_EQ(SolutionsText(back), SolutionsText(copy));
  EXPECT_TRUE(back[1].variationsTruncated);
  EXPECT_TRUE(back[0].key == copy[0].key);

  ASSERT_TRUE(DeserializeSolutions(SerializeSolutions({}), back));
  EXPECT_TRUE(back.empty());
  // Cut, extended or damaged texts are refused, never half read.
  for (const std::string& bad :
       {text.substr(0, text.size() / 2), text + "1;", std::string("x"), std::string("99999;"), std::string()})
    EXPECT_FALSE(DeserializeSolutions(bad, back)) << bad.substr(0, 40);
}

// A board for the register: kings and a rook (piece codes from a FEN).
std::array<uint8_t, 64> Board(const char* fen) {
  TChessboard b;
  TTaskContext ctx;
  EXPECT_TRUE(FenToBoard(fen, b, ctx)) << fen;
  std::array<uint8_t, 64> out{};
  std::copy(b.board, b.board + 64, out.begin());
  return out;
}

TEST(SharedBounds, LongBoundsTravelOnceAndMerge) {
  const auto a = Board("k7/8/1K6/8/8/8/8/R7 w - - 0 1");
  const auto b = Board("k7/8/2K5/8/8/8/8/R7 w - - 0 1");
  const auto c = Board("k7/8/3K4/8/8/8/8/R7 w - - 0 1");
  auto from = MakeRunRegister(6);
  from->Insert(9, a.data(), RegisterHash(a.data()), true);   // mate in 5: travels
  from->Insert(5, b.data(), RegisterHash(b.data()), true);   // mate in 3: too short
  from->Insert(7, c.data(), RegisterHash(c.data()), false);  // no mate in 4: travels
  TSharedBounds sender(7);
  const std::string batch = sender.NewBatch(*from);
  EXPECT_EQ(batch.size(), 2 * sizeof(TRegisterRecord));
  EXPECT_TRUE(sender.NewBatch(*from).empty());  // nothing new
  // An improved bound goes again, alone.
  from->Insert(11, c.data(), RegisterHash(c.data()), false);
  EXPECT_EQ(sender.NewBatch(*from).size(), sizeof(TRegisterRecord));

  auto to = MakeRunRegister(6);
  TSharedBounds receiver(7);
  EXPECT_EQ(receiver.Merge(*to, batch), 2);
  uint16_t mate = 0, noMate = 0;
  ASSERT_TRUE(to->Probe(a.data(), RegisterHash(a.data()), mate, noMate));
  EXPECT_EQ(mate, 9);
  ASSERT_TRUE(to->Probe(c.data(), RegisterHash(c.data()), mate, noMate));
  EXPECT_EQ(noMate, 7);
  EXPECT_FALSE(to->Probe(b.data(), RegisterHash(b.data()), mate, noMate));
  // What came in is not sent back.
  EXPECT_TRUE(receiver.NewBatch(*to).empty());

  // A cut batch and an impossible record (even count) are refused.
  EXPECT_EQ(receiver.Merge(*to, batch.substr(1)), -1);
  TRegisterRecord bad{};
  std::copy(a.begin(), a.end(), bad.board);
  bad.nMovesMate = 8;
  EXPECT_EQ(receiver.Merge(*to, std::string(reinterpret_cast<const char*>(&bad), sizeof bad)), -1);
  ASSERT_TRUE(to->Probe(a.data(), RegisterHash(a.data()), mate, noMate));
  EXPECT_EQ(mate, 9);
}

}  // namespace
}  // namespace ostravel
