// The words of a sort-indication line: sort moves and heuristic keywords side
// by side, each reader taking its own.
#include <gtest/gtest.h>

#include "chess/notation.h"
#include "problems/cp_file.h"
#include "problems/indications.h"
#include "problems/problem.h"

namespace ostravel {
namespace {

std::vector<std::string> Words(std::string_view line) {
  std::vector<std::string> out;
  for (const TIndicationWord& w : SplitIndications(line)) {
    EXPECT_EQ(line.substr(w.offset, w.text.size()), w.text);
    out.emplace_back(w.text);
  }
  return out;
}

TEST(IndicationWords, ParenthesesAndTheNoOfPromotedQueenHoldAWordTogether) {
  EXPECT_EQ(Words(" Qd1-h5,DLFU(e7, f7)\tExtEdge  FFM(#2) "),
            (std::vector<std::string>{"Qd1-h5", "DLFU(e7, f7)", "ExtEdge", "FFM(#2)"}));
  EXPECT_EQ(Words("DontLetPromotedQueenMove NO e2-e4"),
            (std::vector<std::string>{"DontLetPromotedQueenMove NO", "e2-e4"}));
  // Only a lone "NO" after exactly one blank belongs to it.
  EXPECT_EQ(Words("DontLetPromotedQueenMove NOTE"),
            (std::vector<std::string>{"DontLetPromotedQueenMove", "NOTE"}));
  EXPECT_EQ(Words("DontLetPromotedQueenMove  NO"),
            (std::vector<std::string>{"DontLetPromotedQueenMove", "NO"}));
  // An unclosed parenthesis runs to the end of the line.
  EXPECT_EQ(Words("DLFU(a1 b2"), (std::vector<std::string>{"DLFU(a1 b2"}));
  EXPECT_TRUE(Words(" ,\t").empty());
}

TEST(IndicationWords, KeywordForms) {
  for (const char* w : {"DLFU(e7 f7)",
                        "DLFU()",
                        "DLFU(a9)",
                        "!DLFU",
                        "SafeMode",
                        "safemode",
                        "SAFEMODE",
                        "AssertBKS",
                        "AssertBKS(strict)",
                        "ExtEdge",
                        "DontLetKingMove",
                        "DontLetPromotedQueenMove",
                        "DontLetPromotedQueenMove NO",
                        "LFQMDepth(#7)",
                        "LFQMDepth(7)",
                        "FFM(#2)",
                        "FFM(2)",
                        "FFM(-1)",
                        "FFM(#-2)",
                        "FFM(12)"})
    EXPECT_TRUE(IsIndicationKeyword(w)) << w;
  for (const char* w : {"Qd1-h5", "0-0", "DLFU(e7", "DLFU", "extedge", "AssertBKS(STRICT)", "FFM(x)", "FFM()",
                        "FFM(#)", "FFM(2", "FFM", "LFQMDepth(#7", "LFQMDepth(7a)", "ExtEdge2", ""})
    EXPECT_FALSE(IsIndicationKeyword(w)) << w;
}

TEST(IndicationWords, SortMovesSkipTheKeywords) {
  TProblem p;
  p.moves = 3;
  ASSERT_TRUE(p.SetFen("8/8/8/8/8/8/4QRb1/R3K2k w Q - 0 1"));
  p.sortIndications = "ExtEdge Rf2-f1 DLFU(g2, h1) FFM(#2),Qe2-e4 DontLetPromotedQueenMove NO safeMode";
  std::string error;
  const std::vector<TMove> moves = SortIndicationMoves(p, &error);
  EXPECT_EQ(error, "");
  TChessboard root;
  TTaskContext ctx;
  p.MakeRoot(root, ctx);
  ASSERT_EQ(moves.size(), 2u);
  EXPECT_EQ(MoveToText(root, moves[0]), "Rf2-f1");
  EXPECT_EQ(MoveToText(root, moves[1]), "Qe2-e4");
  // Something that only looks like a keyword is named as a bad move.
  p.sortIndications = "FFM(x) Rf2-f1";
  EXPECT_EQ(SortIndicationMoves(p, &error).size(), 1u);
  EXPECT_EQ(error, "FFM(x): Improper move description");
}

TEST(IndicationWords, TheLineIsStoredAsWritten) {
  TProblem p;
  p.moves = 3;
  ASSERT_TRUE(p.SetFen("8/8/8/8/8/8/4QRb1/R3K2k w Q - 0 1"));
  p.sortIndications = "Rf2-f1 DLFU(g2, h1) DontLetPromotedQueenMove NO";
  const std::string text = WriteProblem(p);
  EXPECT_NE(text.find("//@SortIndications: Rf2-f1 DLFU(g2, h1) DontLetPromotedQueenMove NO\n"),
            std::string::npos);
  const TCollectionReadResult back = ReadCollection(text);
  ASSERT_TRUE(back.ok());
  ASSERT_EQ(back.problems.size(), 1u);
  EXPECT_EQ(back.problems[0].sortIndications, p.sortIndications);
}

}  // namespace
}  // namespace ostravel
