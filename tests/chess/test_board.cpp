// Position model: attack tests, generator order, move makers, castling and
// en-passant rights, validation messages.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "chess/fen.h"
#include "chess/notation.h"
#include "chess/tables.h"

namespace ostravel {
namespace {

struct Pos {
  TTaskContext ctx;
  TChessboard b;
  explicit Pos(const std::string& fen, bool validate = true) {
    EXPECT_TRUE(FenToBoard(fen, b, ctx)) << fen;
    if (validate) ValidateAndRecount(b);
  }
};

std::vector<std::string> Texts(const TChessboard& b, const TMove* m, int n) {
  std::vector<std::string> out;
  for (int i = 0; i < n; ++i) out.push_back(MoveToText(b, m[i]));
  return out;
}

std::vector<std::string> LegalUci(const TChessboard& b) {
  TMove m[kMaxMoves];
  const int n = GenerateLegalMoves(b, m);
  std::vector<std::string> out;
  for (int i = 0; i < n; ++i) out.push_back(MoveToUci(m[i]));
  return out;
}

bool HasMove(const TChessboard& b, const std::string& uci) {
  for (const auto& s : LegalUci(b))
    if (s == uci) return true;
  return false;
}

TEST(Attacks, PawnCapturesDoNotWrapAroundTheBoardEdge) {
  // Black pawns on h3 and a5 are "one step" from a3/h3 only through a wrap.
  Pos p("4k3/8/8/p7/8/7p/8/4K3 w - - 0 1");
  EXPECT_FALSE(IsSquareAttackedByBlack(p.b, 0, 2));  // a3 (h3 + 7 would wrap)
  EXPECT_FALSE(IsSquareAttackedByBlack(p.b, 7, 3));  // h4 (a5 - 9 direction wraps)
  EXPECT_TRUE(IsSquareAttackedByBlack(p.b, 6, 1));   // g2 from h3
  Pos w("4k3/8/8/8/7P/P7/8/4K3 w - - 0 1");
  EXPECT_FALSE(IsSquareAttackedByWhite(w.b, 7, 3));  // h4 is not hit by a3 (wrap)
  EXPECT_FALSE(IsSquareAttackedByWhite(w.b, 0, 4));  // a5 is not hit by h4
  EXPECT_TRUE(IsSquareAttackedByWhite(w.b, 1, 3));   // b4 from a3
}

TEST(Attacks, QueenAttacksOnBothScansBishopOnlyDiagonally) {
  Pos q("4k3/8/8/8/3q4/8/8/4K3 w - - 0 1");
  EXPECT_TRUE(IsSquareAttackedByBlack(q.b, 3, 0));  // d1 along the file
  EXPECT_TRUE(IsSquareAttackedByBlack(q.b, 0, 0));  // a1 along the diagonal
  Pos b("4k3/8/8/8/3b4/8/8/4K3 w - - 0 1");
  EXPECT_FALSE(IsSquareAttackedByBlack(b.b, 3, 0));
  EXPECT_TRUE(IsSquareAttackedByBlack(b.b, 0, 0));
  uint8_t sq[16];
  Pos wa("4k3/8/8/8/8/2N5/1Q6/R3K3 w - - 0 1");
  EXPECT_EQ(WhiteAttackers(wa.b, 0, 3, sq), 2);  // a4: knight c3, rook a1 (queen b2 is not on a line to a4)
}

TEST(Generator, PieceOrderIsTheDocumentedOne) {
  Pos p("4k3/2P5/8/8/3R4/8/8/1N2K3 w - - 0 1");
  TMove m[64];
  int n = GenerateWhitePieceMoves(p.b, String2Square("d4"), m);
  EXPECT_EQ(Texts(p.b, m, n),
            (std::vector<std::string>{"Rd4-d5", "Rd4-d6", "Rd4-d7", "Rd4-d8", "Rd4-d3", "Rd4-d2", "Rd4-d1",
                                      "Rd4-e4", "Rd4-f4", "Rd4-g4", "Rd4-h4", "Rd4-c4", "Rd4-b4", "Rd4-a4"}));
  n = GenerateWhitePieceMoves(p.b, String2Square("b1"), m);
  EXPECT_EQ(Texts(p.b, m, n), (std::vector<std::string>{"Nb1-a3", "Nb1-c3", "Nb1-d2"}));
  n = GenerateWhitePieceMoves(p.b, String2Square("c7"), m);
  EXPECT_EQ(Texts(p.b, m, n), (std::vector<std::string>{"c7-c8Q", "c7-c8R", "c7-c8B", "c7-c8N"}));
  // The White generator ignores Black's pieces and vice versa.
  EXPECT_EQ(GenerateWhitePieceMoves(p.b, String2Square("e8"), m), 0);
  n = GenerateBlackPieceMoves(p.b, String2Square("e8"), m);
  EXPECT_EQ(n, 5);
}

TEST(Generator, BlackPawnsMirrorWhite) {
  Pos p("4k3/3p4/8/8/8/8/1p6/R3K3 b - - 0 1");
  TMove m[64];
  int n = GenerateBlackPieceMoves(p.b, String2Square("d7"), m);
  EXPECT_EQ(Texts(p.b, m, n), (std::vector<std::string>{"d7-d6", "d7-d5"}));
  n = GenerateBlackPieceMoves(p.b, String2Square("b2"), m);
  EXPECT_EQ(Texts(p.b, m, n), (std::vector<std::string>{"b2-b1Q", "b2-b1R", "b2-b1B", "b2-b1N", "b2:a1Q",
                                                        "b2:a1R", "b2:a1B", "b2:a1N"}));
}

TEST(Castling, RightsComeFromTheFenAndTheLine) {
  Pos all("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
  EXPECT_TRUE(HasMove(all.b, "e1g1"));
  EXPECT_TRUE(HasMove(all.b, "e1c1"));
  // "-" denies castling even with king and rooks at home.
  Pos none("r3k2r/8/8/8/8/8/8/R3K2R w - - 0 1");
  EXPECT_FALSE(HasMove(none.b, "e1g1"));
  EXPECT_FALSE(HasMove(none.b, "e1c1"));
  EXPECT_EQ(BoardToFen(none.b), "r3k2r/8/8/8/8/8/8/R3K2R w - - 0 1");
  // A right claimed for a rook that is not at home is dropped.
  Pos partial("4k2r/8/8/8/8/8/8/R3K2R w Kq - 0 1");
  EXPECT_EQ(CastlingRights(partial.b), kCastleWK);
}

TEST(Castling, KingThatWalkedAwayAndBackHasLostTheRight) {
  Pos p("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
  SetRootPlies(p.b, 9);
  TChessboard s[4];
  ASSERT_TRUE(MakeMoveFromText(p.b, "Ke1-f1", s[0]));
  ASSERT_TRUE(MakeMoveFromText(s[0], "Ke8-f8", s[1]));
  ASSERT_TRUE(MakeMoveFromText(s[1], "Kf1-e1", s[2]));
  ASSERT_TRUE(MakeMoveFromText(s[2], "Kf8-e8", s[3]));
  EXPECT_EQ(CastlingRights(s[3]), 0);
  EXPECT_FALSE(HasMove(s[3], "e1g1"));
  EXPECT_EQ(BoardToFen(s[3]).substr(0, 27), "r3k2r/8/8/8/8/8/8/R3K2R w -");
}

TEST(Castling, NotOutOfOrThroughCheck) {
  Pos inCheck("4k3/8/8/8/8/8/4r3/R3K2R w KQ - 0 1", false);
  inCheck.b.board[String2Square("e2")] = 0;
  inCheck.b.board[String2Square("e5")] = BR;
  RecomputeDerived(inCheck.b);
  ValidateAndRecount(inCheck.b);
  EXPECT_FALSE(HasMove(inCheck.b, "e1g1"));
  EXPECT_FALSE(HasMove(inCheck.b, "e1c1"));
  Pos through("4k3/8/8/8/8/8/5r2/R3K2R w KQ - 0 1");  // f2 rook attacks f1; d1 free
  EXPECT_FALSE(HasMove(through.b, "e1g1"));
  EXPECT_TRUE(HasMove(through.b, "e1c1"));
  // b1 attacked does not stop long castling; it only needs to be empty.
  Pos b1("4k3/8/8/8/8/8/1r6/R3K3 w Q - 0 1");
  EXPECT_TRUE(HasMove(b1.b, "e1c1"));
}

TEST(Castling, MakerMovesTheRook) {
  Pos p("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
  TChessboard s;
  TMove m{kE1, kG1, 0, 0};
  PlayMove(p.b, s, m);
  EXPECT_EQ(s.board[kF1], WR);
  EXPECT_EQ(s.board[kH1], 0);
  EXPECT_EQ(s.WhiteKingSquare(), kG1);
  TChessboard t;
  PlayMove(s, t, TMove{kE8, kC8, 0, 0});
  EXPECT_EQ(t.board[kD8], BR);
  EXPECT_EQ(t.board[kA8], 0);
  EXPECT_EQ(t.regHash, RegisterHash(t.board));
}

TEST(EnPassant, FromTheFenAtTheRootAndFromADoubleStep) {
  Pos p("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1");
  EXPECT_TRUE(HasMove(p.b, "e5d6"));
  EXPECT_EQ(BoardToFen(p.b), "4k3/8/8/3pP3/8/8/8/4K3 w - D6 0 1");
  TChessboard s;
  PlayMove(p.b, s, TMove{36, 43, 0, 0});
  EXPECT_EQ(s.lastMove.enPassant, 1);
  EXPECT_EQ(s.board[35], 0);
  EXPECT_EQ(s.counts[kCntBP], 0);
  // Without the FEN's square the capture does not exist.
  Pos q("4k3/8/8/3pP3/8/8/8/4K3 w - - 0 1");
  EXPECT_FALSE(HasMove(q.b, "e5d6"));
  // An impossible square is dropped.
  Pos bad("4k3/8/8/3pP3/8/8/8/4K3 w - c6 0 1");
  EXPECT_FALSE(HasMove(bad.b, "e5c6"));
  // During play the right follows the last double step, and lasts one ply.
  Pos d("4k3/2p5/8/3P4/8/8/8/4K3 b - - 0 1");
  SetRootPlies(d.b, 6);
  TChessboard s1, s2, s3;
  ASSERT_TRUE(MakeMoveFromText(d.b, "c7-c5", s1));
  EXPECT_TRUE(HasMove(s1, "d5c6"));
  ASSERT_TRUE(MakeMoveFromText(s1, "Ke1-e2", s2));
  ASSERT_TRUE(MakeMoveFromText(s2, "Ke8-e7", s3));
  EXPECT_FALSE(HasMove(s3, "d5c6"));
}

TEST(EnPassant, CaptureThatExposesTheKingOnTheRankIsIllegal) {
  Pos p("8/8/8/K2pP2r/8/8/8/7k w - d6 0 1");
  EXPECT_FALSE(HasMove(p.b, "e5d6"));
  EXPECT_EQ(CountLegalMoves(p.b), static_cast<int>(LegalUci(p.b).size()));
}

TEST(Validation, Messages) {
  auto msg = [](const std::string& fen) -> std::string {
    TTaskContext ctx;
    TChessboard b;
    if (!FenToBoard(fen, b, ctx)) return "bad fen";
    try {
      ValidateAndRecount(b);
    } catch (const ChessException& e) {
      return e.what();
    }
    return "ok";
  };
  EXPECT_EQ(msg("4k3/8/8/8/8/8/8/4K3 w - - 0 1"), "ok");
  EXPECT_EQ(msg("4k3/8/8/8/8/8/8/3KK3 w - - 0 1"), "Illegal number of kings.");
  EXPECT_EQ(msg("8/8/8/8/8/8/8/4K3 w - - 0 1"), "Illegal number of kings.");
  EXPECT_EQ(msg("4k3/8/8/8/8/8/8/3PK3 w - - 0 1"), "Pawns cannot occupy 1st nor 8th line of the chessboard.");
  EXPECT_EQ(msg("4k2p/8/8/8/8/8/8/4K3 w - - 0 1"), "Pawns cannot occupy 1st nor 8th line of the chessboard.");
  EXPECT_EQ(msg("4k2R/8/8/8/8/8/4r3/4K3 w - - 0 1"), "Both kings attacked.");
}

TEST(Validation, CountsKingsAndNoPromotionFlag) {
  Pos same("4k3/8/8/8/8/8/8/B1B1K3 w - - 0 1");  // a1 and c1: both dark squares
  EXPECT_EQ(same.b.noPromotion, 0);
  Pos diff("4k3/8/8/8/8/8/8/BB2K3 w - - 0 1");
  EXPECT_EQ(diff.b.noPromotion, 1);
  Pos queens("4k3/8/8/8/8/8/8/QQ2K3 w - - 0 1");
  EXPECT_EQ(queens.b.noPromotion, 0);
  EXPECT_EQ(queens.b.counts[kCntWQ], 2);
  Pos check("4k3/8/8/8/8/8/8/4K2r w - - 0 1");
  EXPECT_GE(check.b.whiteKingCheck, 0);
  EXPECT_LT(check.b.blackKingCheck, 0);
}

TEST(MoveMaker, PromotionsCapturesAndCountsStayExact) {
  Pos p("1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1");
  TChessboard s;
  PlayMove(p.b, s, TMove{48, 57, kKnight, 0});
  EXPECT_EQ(s.board[57], WN);
  EXPECT_EQ(s.counts[kCntWP], 0);
  EXPECT_EQ(s.counts[kCntWN], 1);
  EXPECT_EQ(s.counts[kCntBN], 0);
  EXPECT_EQ(s.occupied[1], tables::Bit(60));
  EXPECT_EQ(s.regHash, RegisterHash(s.board));
  EXPECT_EQ(s.remainingPlies, p.b.remainingPlies - 1);
  EXPECT_EQ(s.previous, &p.b);
}

}  // namespace
}  // namespace ostravel
