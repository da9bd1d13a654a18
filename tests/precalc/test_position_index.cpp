#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

#include "chess/fen.h"
#include "precalc/position_index.h"
#include "precalc/position_type.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

// FENs of the shared reference data: the perft suite and the directmate table.
std::vector<std::string> ReferenceFens() {
  std::vector<std::string> fens;
  std::ifstream epd(test::SharedData("perft.epd"));
  for (std::string line; std::getline(epd, line);)
    if (!line.empty() && line[0] != '#') fens.push_back(line.substr(0, line.find(';')));
  std::ifstream tsv(test::SharedData("directmates.tsv"));
  std::string line;
  std::getline(tsv, line);  // header
  while (std::getline(tsv, line)) {
    std::istringstream cols(line);
    std::string id, fen;
    if (std::getline(cols, id, '\t') && std::getline(cols, fen, '\t')) fens.push_back(fen);
  }
  return fens;
}

TEST(PositionIndex, LayoutAndSizes) {
  CPositionTypeIndex kqk("kQK");
  EXPECT_EQ(kqk.Type(), "KQk");
  EXPECT_EQ(kqk.PlacementCount(), 64u * 64 * 64);
  EXPECT_EQ(kqk.Size(), 2u * 64 * 64 * 64);
  EXPECT_EQ(CPositionTypeIndex("KPPPkppp").PlacementCount(), uint64_t{64} * 17296 * 64 * 17296);
}

TEST(PositionIndex, TypesThatCannotBeIndexed) {
  EXPECT_THROW(CPositionTypeIndex("KPPPPPPk"), ChessException);  // six identical men
  EXPECT_THROW(CPositionTypeIndex("KQk?"), ChessException);
  // Fits the group limit but not 64 bits.
  EXPECT_THROW(CPositionTypeIndex("KQQQQQRRRRRBBBBBkqqqqqrrrrrbbbbb"), ChessException);
}

TEST(PositionIndex, IndexEdges) {
  CPositionTypeIndex t("KQk");
  uint8_t board[64];
  bool white = false;
  // Index 0 puts every man on a1: no position.
  EXPECT_FALSE(t.PositionAt(0, board, white));
  // First real position: K a1, Q a1 -> b1 is digit 1, k c1 digit 2.
  EXPECT_EQ(t.NextIndex(0), std::optional<uint64_t>(66));
  ASSERT_TRUE(t.PositionAt(66, board, white));
  EXPECT_TRUE(white);
  EXPECT_EQ(board[0], WK);
  EXPECT_EQ(board[1], WQ);
  EXPECT_EQ(board[2], BK);
  // The upper half is Black to move with the same placements.
  ASSERT_TRUE(t.PositionAt(t.PlacementCount() + 66, board, white));
  EXPECT_FALSE(white);
  EXPECT_EQ(board[1], WQ);
  // Last index: all three on h8; the one before it has k on g8... still h8 pair.
  EXPECT_FALSE(t.PositionAt(t.Size() - 1, board, white));
  EXPECT_FALSE(t.PositionAt(t.Size(), board, white));
  EXPECT_FALSE(t.PositionAt(UINT64_MAX, board, white));
  EXPECT_EQ(t.NextIndex(t.Size() - 1), std::nullopt);
  EXPECT_EQ(t.NextIndex(UINT64_MAX), std::nullopt);
}

TEST(PositionIndex, RejectsOtherMaterialAndPawnsOnEdgeRanks) {
  CPositionTypeIndex t("KPk");
  uint8_t board[64] = {};
  board[4] = WK;
  board[60] = BK;
  uint64_t index = 0;
  EXPECT_FALSE(t.IndexOf(board, true, index));  // pawn missing
  board[12] = WP;
  ASSERT_TRUE(t.IndexOf(board, true, index));
  EXPECT_EQ(index, 4u * 48 * 64 + (12 - 8) * 64 + 60);
  board[13] = WP;
  EXPECT_FALSE(t.IndexOf(board, true, index));  // one pawn too many
  board[13] = 0;
  board[12] = 0;
  board[56] = WP;
  EXPECT_FALSE(t.IndexOf(board, true, index));  // pawn on the 8th rank
  board[56] = 0;
  board[3] = WP;
  EXPECT_FALSE(t.IndexOf(board, true, index));  // pawn on the 1st rank

  // A man of another type, seen through the record's occupancy.
  TChessboard rec;
  ClearBoard(rec);
  rec.board[4] = WK;
  rec.board[60] = BK;
  rec.board[12] = WP;
  RecomputeDerived(rec);
  ASSERT_TRUE(t.IndexOf(rec, index));
  rec.board[30] = BN;
  RecomputeDerived(rec);
  EXPECT_FALSE(t.IndexOf(rec, index));

  CPositionTypeIndex two("KPPk");
  uint8_t b2[64] = {};
  b2[4] = WK;
  b2[60] = BK;
  b2[20] = WP;
  b2[58] = WP;
  EXPECT_FALSE(two.IndexOf(b2, true, index));
  b2[58] = 0;
  b2[5] = WP;
  EXPECT_FALSE(two.IndexOf(b2, true, index));
  b2[5] = 0;
  b2[55] = WP;
  EXPECT_TRUE(two.IndexOf(b2, false, index));
  EXPECT_GE(index, two.PlacementCount());
}

// Every index of a small type: positions come back to their index, and the
// number of real positions is the number of placements on distinct squares.
TEST(PositionIndex, ExhaustiveSmallType) {
  CPositionTypeIndex t("KPk");
  uint64_t real = 0;
  uint8_t board[64];
  bool white;
  for (uint64_t i = 0; i < t.Size(); ++i) {
    if (!t.PositionAt(i, board, white)) continue;
    ++real;
    uint64_t back = 0;
    ASSERT_TRUE(t.IndexOf(board, white, back)) << i;
    ASSERT_EQ(back, i);
  }
  EXPECT_EQ(real, 2u * 48 * 63 * 62);
}

TEST(PositionIndex, SampledLargerTypes) {
  std::mt19937_64 rng(7);
  // Groups of every mapped size, of pieces and of pawns.
  for (const char* type : {"KRRkbb", "KRRRkppp", "KBBBBkpppp", "KNNNNNk", "KPPPPPkppppp", "KQRBPkqrp"}) {
    CPositionTypeIndex t(type);
    uint8_t board[64];
    bool white;
    int real = 0;
    for (int s = 0; s < 20000; ++s) {
      const uint64_t i = rng() % t.Size();
      if (!t.PositionAt(i, board, white)) continue;
      ++real;
      EXPECT_EQ(PositionType(board), t.Type());
      uint64_t back = 0;
      ASSERT_TRUE(t.IndexOf(board, white, back)) << type << " " << i;
      ASSERT_EQ(back, i) << type;
      // The record form (occupancy masks) agrees.
      TChessboard b;
      ClearBoard(b);
      std::memcpy(b.board, board, 64);
      SetRootPlies(b, white ? 1 : 2);
      RecomputeDerived(b);
      ASSERT_TRUE(t.IndexOf(b, back));
      ASSERT_EQ(back, i) << type;
    }
    EXPECT_GT(real, 1000) << type;
  }
}

TEST(PositionIndex, RealPositionsRoundTrip) {
  int indexed = 0;
  for (const std::string& fen : ReferenceFens()) {
    TTaskContext ctx;
    TChessboard b;
    ASSERT_TRUE(FenToBoard(fen, b, ctx)) << fen;
    std::unique_ptr<CPositionTypeIndex> t;
    try {
      t = std::make_unique<CPositionTypeIndex>(PositionType(b));
    } catch (const ChessException&) {
      continue;  // more than five identical men
    }
    uint64_t index = 0;
    ASSERT_TRUE(t->IndexOf(b, index)) << fen;
    ASSERT_LT(index, t->Size());
    TTaskContext ctx2;
    TChessboard back;
    ASSERT_TRUE(t->PositionAt(index, back, ctx2)) << fen;
    EXPECT_EQ(std::memcmp(back.board, b.board, 64), 0) << fen;
    EXPECT_EQ(back.WhiteToMove(), b.WhiteToMove()) << fen;
    EXPECT_EQ(BoardToFen(back, true), BoardToFen(b, true));
    ++indexed;
  }
  EXPECT_GT(indexed, 200);
}

TEST(PositionIndex, PositionRecordIsReadyForUse) {
  CPositionTypeIndex t("KRk");
  TChessboard b;
  TTaskContext ctx;
  // K e1, R h1, k e8, Black to move: castling squares, yet no rights.
  const uint64_t i = t.PlacementCount() + (4 * 64 + 7) * 64 + 60;
  ASSERT_TRUE(t.PositionAt(i, b, ctx));
  EXPECT_EQ(BoardToFen(b), "4k3/8/8/8/8/8/8/4K2R b - - 0 1");
  EXPECT_EQ(b.counts[kCntWR], 1);
  EXPECT_EQ(b.BlackKingSquare(), 60);
  EXPECT_NO_THROW(ValidateAndRecount(b));
}

}  // namespace
}  // namespace ostravel
