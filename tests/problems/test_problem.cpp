// The problem record: its root position and the moves read from its
// variants and sort indications.
#include <gtest/gtest.h>

#include "chess/notation.h"
#include "problems/problem.h"

namespace ostravel {
namespace {

TProblem Make(const std::string& fen, uint16_t moves) {
  TProblem p;
  p.moves = moves;
  EXPECT_TRUE(p.SetFen(fen));
  return p;
}

std::vector<std::string> Texts(const TProblem& p, const std::vector<TMove>& moves) {
  TChessboard root;
  TTaskContext ctx;
  p.MakeRoot(root, ctx);
  std::vector<std::string> out;
  for (const TMove& m : moves) out.push_back(MoveToText(root, m));
  return out;
}

TEST(Problem, RootOwnsNoPointerIntoTheRecord) {
  TProblem original = Make("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", 3);
  TProblem copy = original;
  original.SetFen("4k3/8/8/8/8/8/8/4K3 w - - 0 1");  // the copy must not follow
  TChessboard b;
  TTaskContext ctx;
  copy.MakeRoot(b, ctx);
  EXPECT_EQ(b.context, &ctx);
  EXPECT_EQ(b.previous, nullptr);
  EXPECT_EQ(b.remainingPlies, 5);
  EXPECT_EQ(b.initialPlies, 5);
  EXPECT_EQ(CastlingRights(b), kCastleWK | kCastleWQ | kCastleBK | kCastleBQ);
  EXPECT_EQ(b.counts[kCntWR], 2);
  EXPECT_EQ(b.WhiteKingSquare(), kE1);
}

TEST(Problem, InvalidPositionsThrowOnlyWhenValidated) {
  const TProblem p = Make("8/8/8/8/8/8/8/4K3 w - - 0 1", 2);  // no black king
  TChessboard b;
  TTaskContext ctx;
  EXPECT_THROW(p.MakeRoot(b, ctx), ChessException);
  EXPECT_NO_THROW(p.MakeRoot(b, ctx, false));
  EXPECT_EQ(p.Fen(), "8/8/8/8/8/8/8/4K3 w - - 0 1");
}

TEST(Problem, EnPassantSurvivesAsRootSquare) {
  const TProblem p = Make("7R/7p/5P1k/4PKpP/8/8/8/8 w - g6 0 1", 2);
  EXPECT_EQ(p.position.rootEpSquare, 46);
  const TProblem q = Make(p.Fen(), 2);
  EXPECT_EQ(q.position.rootEpSquare, 46);
  std::vector<TMove> moves;
  ASSERT_TRUE(ParseVariantLine(p, {"h5:g6"}, moves));
  EXPECT_TRUE(moves.at(0).SameAs(TMove{39, 46, 0, 0}));
  // Without the root square the capture is not a move.
  EXPECT_FALSE(ParseVariantLine(Make("7R/7p/5P1k/4PKpP/8/8/8/8 w - - 0 1", 2), {"h5:g6"}, moves));
}

TEST(Problem, FirstWhiteMovesOfMainOrAllVariants) {
  TProblem p = Make("8/8/8/8/8/8/4QRb1/R3K2k w Q - 0 1", 3);
  p.variants = {{"Main", {{"Qe2-e4", "Bg2-f3", "Qe4:f3"}, {"0-0-0"}}},
                {"Other", {{"Rf2-f1"}, {"Qe2-e4"}, {"Zz9-z9"}, {}}},
                {"Empty", {}}};
  std::string error;
  EXPECT_EQ(Texts(p, FirstWhiteMoves(p, false, &error)), (std::vector<std::string>{"Qe2-e4", "0-0-0"}));
  EXPECT_EQ(error, "");
  EXPECT_EQ(Texts(p, FirstWhiteMoves(p, true, &error)),
            (std::vector<std::string>{"Qe2-e4", "0-0-0", "Rf2-f1"}));
  EXPECT_NE(error, "");  // the line that does not parse is skipped and reported
  p.variants.clear();
  EXPECT_TRUE(FirstWhiteMoves(p, true).empty());
}

TEST(Problem, FirstWhiteMovesWithBlackToMove) {
  TProblem p = Make("4k3/8/8/8/8/8/8/R3K3 b Q - 0 1", 2);
  p.variants = {{"Main", {{"Ke8-d7", "0-0-0"}, {"Ke8-f7", "Ra1-a7"}, {"Ke8-e7"}}}};
  EXPECT_EQ(Texts(Make("4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", 2), FirstWhiteMoves(p, false)),
            (std::vector<std::string>{"0-0-0", "Ra1-a7"}));
}

TEST(Problem, VariantLinesFollowThePlay) {
  const TProblem p = Make("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", 3);
  std::vector<TMove> moves;
  std::string error;
  // Castling of both sides along a line, then a move that is no longer legal.
  EXPECT_TRUE(ParseVariantLine(p, {"0-0", "0-0-0", "Rf1-f8"}, moves, &error)) << error;
  EXPECT_EQ(moves.size(), 3u);
  moves.clear();
  EXPECT_FALSE(ParseVariantLine(p, {"Ke1-f1", "Ke8-f8", "0-0"}, moves, &error));
  EXPECT_EQ(moves.size(), 2u);
  EXPECT_EQ(error, "Invalid move in MakeMove() : 0-0");
  // More moves than the stipulation's plies.
  moves.clear();
  error.clear();
  EXPECT_FALSE(
      ParseVariantLine(p, {"Ra1-a2", "Ra8-a7", "Ra2-a1", "Ra7-a8", "Ra1-a2", "Ra8-a7"}, moves, &error));
  EXPECT_EQ(moves.size(), 5u);
  EXPECT_FALSE(ParseVariantLine(p, {"Ra1"}, moves, &error));
  EXPECT_EQ(error, "Improper move description: Ra1");
}

TEST(Problem, SortIndicationMoves) {
  TProblem p = Make("8/8/8/8/8/8/4QRb1/R3K2k w Q - 0 1", 3);
  p.sortIndications = " Rf2-f1,Qe2-e4  bogus, Rf2-f1 0-0-0";
  std::string error;
  EXPECT_EQ(Texts(p, SortIndicationMoves(p, &error)),
            (std::vector<std::string>{"Rf2-f1", "Qe2-e4", "0-0-0"}));
  EXPECT_EQ(error, "bogus: Improper move description");
  // Typed by the user: the move-input reader's messages, the first one kept.
  const struct {
    const char* text;
    const char* error;
  } cases[] = {{"Qe4", "Qe4: Short notation not supported."},
               {"Qe2-d4", "Qe2-d4: Illegal move"},
               {"Rf2-f1 Rf2:g2 Qe2-d4 Qe4", "Qe2-d4: Illegal move"}};
  for (const auto& c : cases) {
    p.sortIndications = c.text;
    error.clear();
    SortIndicationMoves(p, &error);
    EXPECT_EQ(error, c.error) << c.text;
  }
}

TEST(Problem, StoredKeysNeverDisplaceTheComposersMainVariant) {
  using Lines = std::vector<std::vector<std::string>>;
  // No variant yet: the keys become the main one.
  TProblem fresh;
  fresh.StoreFoundKeys({"Rg6-e6", "Bd1-b3"});
  ASSERT_EQ(fresh.variants.size(), 1u);
  EXPECT_EQ(fresh.variants[0].name, "Main");
  EXPECT_EQ(fresh.variants[0].lines, (Lines{{"Rg6-e6"}, {"Bd1-b3"}}));

  // The composer's variants stay, the main one first; a second store
  // replaces the program's variant instead of adding another.
  TProblem p;
  p.variants = {{"Main", {{"Qd1-h5", "Ke8-d7"}}}, {"Try", {{"Qd1-g4"}}}};
  p.StoreFoundKeys({"Qd1-h5"});
  p.StoreFoundKeys({});  // no key: an empty line list
  ASSERT_EQ(p.variants.size(), 3u);
  EXPECT_EQ(p.variants[0], (TVariant{"Main", {{"Qd1-h5", "Ke8-d7"}}}));
  EXPECT_EQ(p.variants[1].name, "Try");
  EXPECT_EQ(p.variants[2], (TVariant{"Ostravel", {}}));
}

}  // namespace
}  // namespace ostravel
