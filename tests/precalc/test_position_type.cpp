#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "chess/fen.h"
#include "config/settings.h"
#include "precalc/position_type.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

TChessboard FromFen(const std::string& fen) {
  static TTaskContext ctx;
  TChessboard b;
  EXPECT_TRUE(FenToBoard(fen, b, ctx)) << fen;
  return b;
}

using test::MessageOf;

TEST(PositionType, CanonicalOrderKingsWritten) {
  EXPECT_EQ(PositionType(FromFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1")),
            "KQRRBBNNPPPPPPPPkqrrbbnnpppppppp");
  EXPECT_EQ(PositionType(FromFen("8/8/8/8/8/8/8/k1K5 w - - 0 1")), "Kk");
  // Letters do not follow the squares: the pawn on a2 comes after the rook.
  EXPECT_EQ(PositionType(FromFen("1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1")), "KRBNkp");
  const uint8_t empty[64] = {};
  EXPECT_EQ(PositionType(empty), "");
}

TEST(PositionType, EqualMaterialGivesEqualText) {
  const std::string a = PositionType(FromFen("8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1"));
  const std::string b = PositionType(FromFen("K7/8/8/3BB3/8/1k6/6P1/Q7 b - - 0 1"));
  EXPECT_EQ(a, "KQBBPk");
  EXPECT_EQ(a, b);
  EXPECT_EQ(CanonicalPosType("PkBQBK"), a);
  EXPECT_EQ(CanonicalPosType("kQK"), "KQk");
}

TEST(PositionType, InvalidTypeTextThrows) {
  EXPECT_THROW(CanonicalPosType("KQxk"), ChessException);
  EXPECT_THROW(CanonicalPosType("K k"), ChessException);
  EXPECT_EQ(CanonicalPosType(""), "");
}

TEST(PositionType, WithPawns) {
  EXPECT_TRUE(PosTypeWithPawns("KPk"));
  EXPECT_TRUE(PosTypeWithPawns("Kkp"));
  EXPECT_FALSE(PosTypeWithPawns("KQRBNkqrbn"));
  EXPECT_FALSE(PosTypeWithPawns(""));
}

TEST(PositionType, RemoveFromPosType) {
  EXPECT_EQ(RemoveFromPosType("KQk", 'Q'), "Kk");
  // Only the first of several equal letters goes.
  EXPECT_EQ(RemoveFromPosType("KRPkpp", 'p'), "KRPkp");
  EXPECT_EQ(RemoveFromPosType("RKRk", 'R'), "KRk");
  // Case matters: a black rook is not a white one.
  EXPECT_EQ(MessageOf([] { RemoveFromPosType("KRk", 'r'); }),
            "Error in RemoveFromPosType: pos.type KRk does not contain r");
  EXPECT_EQ(MessageOf([] { RemoveFromPosType("", 'K'); }),
            "Error in RemoveFromPosType: pos.type  does not contain K");
}

TEST(PositionType, GetIndexToRemoveToObtainOtherPosType) {
  EXPECT_EQ(GetIndexToRemoveToObtainOtherPosType("KQk", "Kk"), -1);
  EXPECT_EQ(GetIndexToRemoveToObtainOtherPosType("KQk", "KQ"), 2);
  EXPECT_EQ(GetIndexToRemoveToObtainOtherPosType("K", ""), 0);
  // A letter taken from the middle is never found: the copy is cut.
  EXPECT_EQ(GetIndexToRemoveToObtainOtherPosType("KRPkp", "KRkp"), -1);
  EXPECT_EQ(MessageOf([] { GetIndexToRemoveToObtainOtherPosType("KQk", "K"); }),
            "Error in GetIndexToRemoveToObtainOtherPosType: KQk and K passed to function");
  EXPECT_EQ(MessageOf([] { GetIndexToRemoveToObtainOtherPosType("Kk", "Kk"); }),
            "Error in GetIndexToRemoveToObtainOtherPosType: Kk and Kk passed to function");
}

TEST(PositionType, GlobalRegisterDataFile) {
  const std::filesystem::path dir = test::MakeTempDir();
  EXPECT_FALSE(HasGlobalRegisterData("KQk", dir));
  std::ofstream(dir / "KQk.precalc.lz4") << "x";
  std::ofstream(dir / "KRk.precalc") << "x";
  std::filesystem::create_directory(dir / "KBk.precalc");  // a folder is no data
  EXPECT_TRUE(HasGlobalRegisterData("KQk", dir));
  EXPECT_TRUE(HasGlobalRegisterData("KRk", dir));
  EXPECT_FALSE(HasGlobalRegisterData("KBk", dir));
  EXPECT_FALSE(HasGlobalRegisterData("Kqk", dir));
  EXPECT_FALSE(HasGlobalRegisterData("KQk", dir / "missing"));
}

// The one-argument form looks in PrecalcPath, or else in CustomPrecalc of the
// data folder.
TEST(PositionType, GlobalRegisterDefaultFolder) {
  const std::string home = test::MakeTempDir();
  const std::string custom = test::MakeTempDir();
  ::setenv("OSTRAVEL_HOME", home.c_str(), 1);
  const std::string saved = Settings().PrecalcPath;
  MutableSettings().PrecalcPath.clear();
  EXPECT_EQ(GlobalRegisterFolder(), std::filesystem::path(home) / "CustomPrecalc");
  EXPECT_FALSE(HasGlobalRegisterData("KQk"));
  std::filesystem::create_directory(std::filesystem::path(home) / "CustomPrecalc");
  std::ofstream(std::filesystem::path(home) / "CustomPrecalc" / "KQk.precalc.lz4") << "x";
  EXPECT_TRUE(HasGlobalRegisterData("KQk"));

  MutableSettings().PrecalcPath = custom;
  EXPECT_FALSE(HasGlobalRegisterData("KQk"));
  std::ofstream(std::filesystem::path(custom) / "KQk.precalc") << "x";
  EXPECT_TRUE(HasGlobalRegisterData("KQk"));
  MutableSettings().PrecalcPath = saved;
  ::unsetenv("OSTRAVEL_HOME");
}

// Boards that precalculated data never describe, each with its text; a
// legal board passes. The board is raw: FEN would refuse most of these.
TEST(PrecalcPositionChecks, EachFaultHasItsText) {
  const auto with = [](std::initializer_list<std::pair<int, uint8_t>> men) {
    std::array<uint8_t, 64> b{};
    for (const auto& [sq, code] : men) b[static_cast<size_t>(sq)] = code;
    return b;
  };
  EXPECT_EQ(PrecalcPositionError(with({{4, WK}, {60, BK}, {12, WP}, {52, BP}}).data()), "");
  EXPECT_EQ(PrecalcPositionError(with({{4, WK}}).data()), "Improper number of kings");
  EXPECT_EQ(PrecalcPositionError(with({{4, WK}, {5, WK}, {60, BK}}).data()), "Improper number of kings");
  EXPECT_EQ(PrecalcPositionError(with({{4, WK}, {60, BK}, {62, WP}}).data()),
            "Improper number of pawns on promotion square");
  EXPECT_EQ(PrecalcPositionError(with({{4, WK}, {60, BK}, {2, BP}}).data()),
            "Improper number of pawns on promotion square");
  EXPECT_EQ(PrecalcPositionError(with({{4, WK}, {60, BK}, {1, WP}}).data()),
            "White pawn cannot be located on first line");
  EXPECT_EQ(PrecalcPositionError(with({{4, WK}, {60, BK}, {57, BP}}).data()),
            "Black pawn cannot be located on 8th line");
}

}  // namespace
}  // namespace ostravel
