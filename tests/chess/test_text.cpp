// Text forms: FEN reading and writing, square text, the move printers and the
// text move maker with its failure rules.
#include <gtest/gtest.h>

#include "chess/fen.h"
#include "chess/notation.h"

namespace ostravel {
namespace {

TEST(Fen, RoundTripAndFullMoveNumber) {
  TTaskContext ctx;
  TChessboard b;
  const std::string start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
  ASSERT_TRUE(FenToBoard(start, b, ctx));
  ValidateAndRecount(b);
  EXPECT_EQ(BoardToFen(b), start);
  EXPECT_EQ(BoardToFen(b, true), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR");
  // A mate in 3 starts with 5 plies: move 1, still 1 after White's move, 2 after Black's.
  SetRootPlies(b, 5);
  TChessboard s1, s2;
  ASSERT_TRUE(MakeMoveFromText(b, "e2-e4", s1));
  EXPECT_EQ(s1.FullMoveNumber(), 1);
  ASSERT_TRUE(MakeMoveFromText(s1, "e7-e5", s2));
  EXPECT_EQ(s2.FullMoveNumber(), 2);
  EXPECT_EQ(BoardToFen(s2), "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2");
}

TEST(Fen, MalformedTextFailsQuietly) {
  TTaskContext ctx;
  TChessboard b;
  for (const char* bad :
       {"", "8", "{8/8/8/8/8/8/8/8 w - -}", "9/8/8/8/8/8/8/8 w - -", "8/8/8/8/8/8/8/8/8 w - -",
        "ppppppppp/8/8/8/8/8/8/8 w - -", "8/8/8/8/8/8/8 w - -", "8/8/8/8/8/8/8/7X w - -",
        "8/8/8/8/8/8/8/8 x - -", "8/8/8/8/8/8/8/8 w KX -", "8/8/8/8/8/8/8/8 w - z9", "8/8/8/8/8/8/8/8 w - e"})
    EXPECT_FALSE(FenToBoard(bad, b, ctx)) << bad;
  EXPECT_TRUE(FenToBoard("4k3/8/8/8/8/8/8/4K3", b, ctx));  // board only: White to move
  EXPECT_TRUE(b.WhiteToMove());
  EXPECT_TRUE(FenToBoard("4k3/8/8/8/8/8/8/4K3 b - - 12 40", b, ctx));
  EXPECT_FALSE(b.WhiteToMove());
  EXPECT_TRUE(FenToBoard("4k3/8/8/8/8/8/8/4K3 w - - 0 1\r\n", b, ctx));
}

// Text that merely starts like a FEN is no FEN: an empty rank, junk after the
// move counters (however long), an empty last rank.
TEST(Fen, LenientFormsAreRefused) {
  TTaskContext ctx;
  TChessboard b;
  const std::string junk = "4k3/8/8/8/8/8/8/4K3 w - - 0 1 " + std::string(120 * 1024, 'x');
  for (const std::string& bad :
       {std::string("4k3//8/8/8/8/8/4K3 w - - 0 1"), std::string("4k3/8/8/8/8/8/8/4K3/ w - -"),
        std::string("4k3/8/8/8/8/8/8/4K3 w - - 0 1 junk"), std::string("4k3/8/8/8/8/8/8/4K3 w - - x 1"),
        std::string("4k3/8/8/8/8/8/8/4K3 w - - 0 1 2"), junk})
    EXPECT_FALSE(FenToBoard(bad, b, ctx)) << bad.substr(0, 60);
}

TEST(Fen, BadInputIsShownShortAndEscaped) {
  EXPECT_EQ(TextForMessage("abc"), "abc");
  EXPECT_EQ(TextForMessage("a\nb\x1b"), "a\\x0Ab\\x1B");
  const std::string shown = TextForMessage(std::string(100000, 'y'), 10);
  EXPECT_EQ(shown, "yyyyyyyyyy... (100000 characters)");
}

TEST(Squares, TextAndErrors) {
  EXPECT_EQ(SquareToString(0), "a1");
  EXPECT_EQ(SquareToString(63), "h8");
  EXPECT_EQ(String2Square("e4"), 28);
  EXPECT_EQ(String2Square("H8"), 63);
  for (const char* bad : {"", "i1", "a9", "a0", "11"}) {
    try {
      String2Square(bad);
      ADD_FAILURE() << bad;
    } catch (const ChessException& e) {
      EXPECT_STREQ(e.what(), "Error in String2Square()");
    }
  }
}

TEST(Printer, FullAndPlainForms) {
  EXPECT_EQ(MoveToText(TMove{12, 12, 0, 0}, WP, false), "-");
  EXPECT_EQ(MoveToText(TMove{12, 28, 0, 0}, WP, false), "e2-e4");
  EXPECT_EQ(MoveToText(TMove{35, 44, 0, 0}, WP, true), "d5:e6");
  EXPECT_EQ(MoveToText(TMove{3, 39, 0, 0}, WQ, false), "Qd1-h5");
  EXPECT_EQ(MoveToText(TMove{52, 60, kQueen, 0}, WP, false), "e7-e8Q");
  EXPECT_EQ(MoveToText(TMove{4, 6, 0, 0}, WK, false), "0-0");
  EXPECT_EQ(MoveToText(TMove{4, 2, 0, 0}, WK, false), "0-0-0");
  EXPECT_EQ(MoveToText(TMove{60, 58, 0, 0}, BK, false), "0-0-0");
  EXPECT_EQ(MoveToText(TMove{52, 60, 7, 0}, WP, false), "e7-e8E");
  EXPECT_EQ(MoveToPlainText(TMove{52, 60, kKnight, 0}), "e7-e8N");
  EXPECT_EQ(MoveToUci(TMove{52, 60, kKnight, 0}), "e7e8n");
  EXPECT_EQ(MoveToUci(TMove{4, 6, 0, 0}), "e1g1");
}

TEST(TextMoveMaker, AcceptsFullDescriptions) {
  TTaskContext ctx;
  TChessboard b, s;
  ASSERT_TRUE(FenToBoard("r3k2r/1P6/8/8/8/8/8/R3K1NR w KQkq - 0 1", b, ctx));
  ValidateAndRecount(b);
  SetRootPlies(b, 3);
  EXPECT_TRUE(MakeMoveFromText(b, "Ng1-f3", s));
  EXPECT_TRUE(MakeMoveFromText(b, "  Ng1:f3", s));
  EXPECT_TRUE(MakeMoveFromText(b, "b7:a8N", s));
  EXPECT_EQ(s.board[56], WN);
  EXPECT_TRUE(MakeMoveFromText(b, "0-0-0", s));
  EXPECT_EQ(s.board[3], WR);
  int calls = 0;
  MakeMoveFromText(b, "b7-b8Q", s, [&](const TMove& m, int v) {
    ++calls;
    EXPECT_EQ(m.promotion, kQueen);
    EXPECT_EQ(v, -1);
  });
  EXPECT_EQ(calls, 1);
}

TEST(TextMoveMaker, FailureRules) {
  TTaskContext ctx;
  TChessboard b, s;
  ASSERT_TRUE(FenToBoard("4k3/1P6/8/8/8/8/8/4K1NR w K - 0 1", b, ctx));
  ValidateAndRecount(b);
  SetRootPlies(b, 3);
  EXPECT_EQ(MakeMoveFromText(b, "b7-b8", s), nullptr);    // promotion letter missing
  EXPECT_EQ(MakeMoveFromText(b, "Ng1-f3Q", s), nullptr);  // promotion letter on a plain move
  EXPECT_EQ(MakeMoveFromText(b, "Bg1-f3", s), nullptr);   // wrong piece
  EXPECT_EQ(MakeMoveFromText(b, "Rh1-h9", s), nullptr);   // off the board
  EXPECT_EQ(MakeMoveFromText(b, "e1-e2", s), nullptr);    // no pawn there
  EXPECT_EQ(MakeMoveFromText(b, "Ke1", s), nullptr);      // too short
  EXPECT_EQ(MakeMoveFromText(b, "0-0-", s), nullptr);
  // Well-formed but illegal: the exception names the text.
  try {
    MakeMoveFromText(b, "0-0-0", s);
    ADD_FAILURE();
  } catch (const ChessException& e) {
    EXPECT_STREQ(e.what(), "Invalid move in MakeMove() : 0-0-0");
  }
  EXPECT_THROW(MakeMoveFromText(b, "Ng1-g3", s), ChessException);
  // No plies left: nothing is accepted.
  SetRootPlies(b, 0);
  EXPECT_EQ(MakeMoveFromText(b, "Ng1-f3", s), nullptr);
}

TEST(TextMoveMaker, SyntaxMessages) {
  auto msg = [](const std::string& t) -> std::string {
    try {
      CheckFullMoveSyntax(t);
    } catch (const ChessException& e) {
      return e.what();
    }
    return "ok";
  };
  EXPECT_EQ(msg(""), "Empty string");
  EXPECT_EQ(msg("e2"), "Improper string length");
  EXPECT_EQ(msg("e2?e4"), "Improper full description of move");
  EXPECT_EQ(msg("Ng1-f3"), "ok");
  EXPECT_EQ(msg("0-0"), "ok");
}

}  // namespace
}  // namespace ostravel
