// Generated tables against the rules: published longest mates, full search
// of sampled positions, and the local consistency check of every entry kind.
#include <gtest/gtest.h>

#include "chess/fen.h"
#include "precalc/position_index.h"
#include "precalc/precalc_verify.h"
#include "precalc_fixture.h"

namespace ostravel {
namespace {

uint8_t ValueOf(CPrecalcStore& store, const std::string& fen) {
  TTaskContext ctx;
  TChessboard b;
  EXPECT_TRUE(FenToBoard(fen, b, ctx)) << fen;
  uint8_t v = 0;
  EXPECT_EQ(store.Lookup(b.board, v), CPrecalcStore::TResult::kValue) << fen;
  return v;
}

TEST(PrecalcGenerator, LongestMatesAreThePublishedOnes) {
  CPrecalcStore store(test::ThreeManFolder(), 1u << 26);
  TPrecalcSummary s;
  ASSERT_TRUE(store.Summary("KQk", s));
  EXPECT_EQ(s.longestMate, 10u);
  ASSERT_TRUE(store.Summary("KRk", s));
  EXPECT_EQ(s.longestMate, 16u);
  // The pawn promotes first; stalemate traps make many positions no mate.
  ASSERT_TRUE(store.Summary("KPk", s));
  EXPECT_EQ(s.longestMate, 28u);
  EXPECT_GT(s.noMates, 0u);
  EXPECT_EQ(s.mates + s.noMates + s.illegal, 64u * 64 * 48);
  // A lone minor piece never mates, whatever the position.
  for (const char* t : {"KBk", "KNk"}) {
    ASSERT_TRUE(store.Summary(t, s)) << t;
    EXPECT_EQ(s.mates, 0u) << t;
    EXPECT_GT(s.noMates, 0u) << t;
  }
  // Every placement is either a legal White-to-move position or marked illegal.
  ASSERT_TRUE(store.Summary("KQk", s));
  EXPECT_EQ(s.mates + s.noMates + s.illegal, 64u * 64 * 64);
}

TEST(PrecalcGenerator, KnownPositions) {
  CPrecalcStore store(test::ThreeManFolder(), 1u << 26);
  EXPECT_EQ(ValueOf(store, "k7/8/1K6/8/8/8/7Q/8 w - - 0 1"), 1);  // Qh8#
  EXPECT_EQ(ValueOf(store, "7k/8/6K1/8/8/8/8/R7 w - - 0 1"), 1);  // Ra8#
  // Black to move here would be stalemated; White mates by Qb7 or Qa7.
  EXPECT_EQ(ValueOf(store, "k7/2Q5/1K6/8/8/8/8/8 w - - 0 1"), 1);
  // No mate at once (Ra1+ Kb8, Rb8+ Kxb8); 1. Kc7 Ka7 2. Ra1#.
  EXPECT_EQ(ValueOf(store, "k7/8/2K5/8/8/8/8/1R6 w - - 0 1"), 2);
  // d8=Q# (or d8=R#): a promotion into a smaller type's mate.
  EXPECT_EQ(ValueOf(store, "1k6/3P4/1K6/8/8/8/8/8 w - - 0 1"), 1);
  // The rook pawn: h7 stalemates and nothing else makes progress.
  EXPECT_EQ(ValueOf(store, "7k/8/6KP/8/8/8/8/8 w - - 0 1"), kPrecalcNoMate);
  // Black to move positions are not stored; White's turn with Black in check is illegal.
  TTaskContext ctx;
  TChessboard b;
  ASSERT_TRUE(FenToBoard("k7/8/8/8/8/8/8/Q6K w - - 0 1", b, ctx));
  uint8_t v = 0;
  EXPECT_EQ(store.Lookup(b.board, v), CPrecalcStore::TResult::kIllegal);
  // White has only the king: never a mate, no data needed.
  ASSERT_TRUE(FenToBoard("k7/8/8/8/8/8/q7/7K w - - 0 1", b, ctx));
  EXPECT_EQ(store.Lookup(b.board, v), CPrecalcStore::TResult::kValue);
  EXPECT_EQ(v, kPrecalcNoMate);
}

TEST(PrecalcGenerator, SampledEntriesAgreeWithTheSearch) {
  CPrecalcStore store(test::ThreeManFolder(), 1u << 26);
  for (const char* t : {"KQk", "KRk", "KBk", "KNk", "KPk"}) {
    const TPrecalcVerifyReport r = VerifyPrecalcType(t, store, 150, 7, 3);
    EXPECT_EQ(r.checked, 150u) << t;
    EXPECT_GT(r.searched, 0u) << t;
    for (const auto& f : r.failures) ADD_FAILURE() << t << ": " << f;
  }
}

TEST(PrecalcGenerator, EveryShortMateOfKRkIsExact) {
  // Walk the whole type and re-prove every mate in one and two by search, and
  // that no position valued 3 or more has a mate in two.
  CPrecalcStore store(test::ThreeManFolder(), 1u << 26);
  const CPositionTypeIndex index("KRk");
  int proved = 0;
  for (uint64_t i = 0; i < index.PlacementCount(); i += 7) {
    uint8_t v = 0;
    if (store.LookupIndex("KRk", i, v) != CPrecalcStore::TResult::kValue) continue;
    TTaskContext ctx;
    TChessboard b;
    ASSERT_TRUE(index.PositionAt(i, b, ctx));
    b.previous = nullptr;
    if (v == 1 || v == 2) {
      ASSERT_TRUE(PrecalcSearchMateWithin(b, v)) << BoardToFen(b);
      if (v == 2) {
        ASSERT_FALSE(PrecalcSearchMateWithin(b, 1)) << BoardToFen(b);
      }
      ++proved;
    } else if (v == 3 && i % 5 == 0) {
      ASSERT_FALSE(PrecalcSearchMateWithin(b, 2)) << BoardToFen(b);
    }
  }
  EXPECT_GT(proved, 100);
}

TEST(PrecalcGenerator, OrderAndGeneratability) {
  EXPECT_EQ(PrecalcGenerationOrder("KQkr"), (std::vector<std::string>{"KQk", "KQkr"}));
  const auto order = PrecalcGenerationOrder("KRRkr");
  EXPECT_EQ(order.back(), "KRRkr");
  EXPECT_LT(std::find(order.begin(), order.end(), "KRk") - order.begin(),
            std::find(order.begin(), order.end(), "KRkr") - order.begin());
  EXPECT_EQ(PrecalcGenerationOrder("KPk"), (std::vector<std::string>{"KBk", "KNk", "KQk", "KRk", "KPk"}));
  EXPECT_EQ(PrecalcNotGeneratable("KPk"), "");
  EXPECT_NE(PrecalcNotGeneratable("Kkp"), "");
  EXPECT_NE(PrecalcNotGeneratable("Kkq"), "");
  EXPECT_NE(PrecalcNotGeneratable("KQRBNk"), "");
  EXPECT_NE(PrecalcNotGeneratable("KQ"), "");
  EXPECT_EQ(PrecalcNotGeneratable("kQK"), "");
  const auto upTo4 = PrecalcTypesUpTo(4);
  EXPECT_EQ(upTo4.size(), 5u + 40u);  // pawns included
  EXPECT_EQ(upTo4.front().size(), 3u);
}

TEST(PrecalcGenerator, MissingDependencyIsNamed) {
  CPrecalcStore store(test::MakeTempDir(), 1u << 20);
  try {
    GeneratePrecalcValues("KQkr", store, {});
    FAIL() << "generated without KQk";
  } catch (const PrecalcFileError& e) {
    EXPECT_NE(std::string(e.what()).find("KQk"), std::string::npos) << e.what();
  }
}

}  // namespace
}  // namespace ostravel
