// The move-input reader of the front ends: what a user may type and the exact
// message for what is refused.
#include <gtest/gtest.h>

#include "chess/fen.h"
#include "chess/notation.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

// A position with the task it points to (castling rights live there).
struct TPosition {
  TTaskContext ctx;
  TChessboard b;
  explicit TPosition(const std::string& fen) {
    EXPECT_TRUE(FenToBoard(fen, b, ctx));
    ValidateAndRecount(b);
    SetRootPlies(b, b.WhiteToMove() ? 5 : 6);
  }
};

TEST(MoveInput, AcceptsFullNotationWithMarksAndUciForm) {
  const TPosition p("r3k2r/1P6/8/8/8/8/8/R3K2R w KQkq - 0 1");
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "Ra1-d1")), "a1d1");
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "  Ra1-d1+ ")), "a1d1");
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "b7:a8Q#")), "b7a8q");
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "b7-b8N!")), "b7b8n");
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "0-0")), "e1g1");
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "O-O-O")), "e1c1");
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "h1h7")), "h1h7");
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "b7a8r")), "b7a8r");
}

TEST(MoveInput, EachRefusalHasItsMessage) {
  const TPosition p("4k3/8/8/8/8/8/4P3/R3K1N1 w Q - 0 1");
  auto refusal = [&](const char* text) { return test::MessageOf([&] { ReadUserMove(p.b, text); }); };
  EXPECT_EQ(refusal(""), "Empty string");
  EXPECT_EQ(refusal("  +"), "Empty string");
  EXPECT_EQ(refusal("Nf3"), "Short notation not supported.");
  EXPECT_EQ(refusal("e4"), "Short notation not supported.");
  EXPECT_EQ(refusal("Rxa8"), "Short notation not supported.");
  EXPECT_EQ(refusal("hello"), "Improper move description");
  EXPECT_EQ(refusal("Ng1/f3"), "Improper move description");
  EXPECT_EQ(refusal("Ng1-f3-f4"), "Improper move description");
  // Well formed, but not a move of this position.
  EXPECT_EQ(refusal("Ng1-g3"), "Illegal move");
  EXPECT_EQ(refusal("Bg1-f3"), "Illegal move");
  EXPECT_EQ(refusal("e2-e5"), "Illegal move");
  EXPECT_EQ(refusal("e2e5"), "Illegal move");
  EXPECT_EQ(refusal("0-0"), "Illegal move");  // only the long right is left
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "0-0-0")), "e1c1");
}

TEST(MoveInput, BlackToMoveReadsBlackMoves) {
  const TPosition p("4k3/4p3/8/8/8/8/8/4K3 b - - 0 1");
  EXPECT_EQ(MoveToUci(ReadUserMove(p.b, "e7-e5")), "e7e5");
  EXPECT_EQ(test::MessageOf([&] { ReadUserMove(p.b, "Ke1-d1"); }), "Illegal move");
}

}  // namespace
}  // namespace ostravel
