// The global register at the search's probe point: exact answers where the
// data apply, unknown where they do not, and unchanged key sets.
#include <gtest/gtest.h>

#include "chess/fen.h"
#include "chess/notation.h"
#include "engine/global_register_probe.h"
#include "engine/mate_search.h"
#include "precalc_fixture.h"

namespace ostravel {
namespace {

TProbeAnswer ProbeFen(CGlobalRegisterProbe& p, const std::string& fen) {
  TTaskContext ctx;
  TChessboard b;
  EXPECT_TRUE(FenToBoard(fen, b, ctx)) << fen;
  return p.Probe(b, 1);
}

TEST(GlobalRegisterProbe, AnswersOnlyWhereTheDataApply) {
  CGlobalRegisterProbe probe(test::ThreeManFolder(), 1u << 24, 3);
  TProbeAnswer a = ProbeFen(probe, "7k/8/6K1/8/8/8/8/R7 w - - 0 1");
  EXPECT_EQ(a.status, TProbeStatus::kMate);
  EXPECT_EQ(a.mateInMoves, 1);
  EXPECT_EQ(ProbeFen(probe, "7k/8/6K1/8/8/8/8/N7 w - - 0 1").status, TProbeStatus::kNoMate);
  // Castling rights, Black to move, a type without data: not answered.
  EXPECT_EQ(ProbeFen(probe, "6k1/8/8/8/8/8/8/4K2R w K - 0 1").status, TProbeStatus::kUnknown);
  EXPECT_EQ(ProbeFen(probe, "7k/8/6K1/8/8/8/8/R7 b - - 0 1").status, TProbeStatus::kUnknown);
  EXPECT_EQ(ProbeFen(probe, "7k/8/6K1/8/8/8/8/RR6 w - - 0 1").status, TProbeStatus::kUnknown);
  EXPECT_EQ(GlobalRegisterNotice(probe), "Global registers used: KRk, KNk");
}

std::set<std::string> Keys(const std::string& fen, int n, IPositionProbe* probe) {
  TTaskContext ctx;
  TChessboard root;
  EXPECT_TRUE(FenToBoard(fen, root, ctx));
  ValidateAndRecount(root);
  SetRootPlies(root, static_cast<uint16_t>(2 * n - 1));
  TSearchSettings s;
  s.computeVariations = false;
  s.probe = probe;
  TMateSearch search(s);
  search.FindForcedMate(root, n);
  std::set<std::string> keys;
  for (const auto& sol : search.Solutions()) keys.insert(MoveToUci(sol.key));
  return keys;
}

TEST(GlobalRegisterProbe, KeySetsStayExact) {
  CGlobalRegisterProbe probe(test::ThreeManFolder(), 1u << 24, 3);
  // Plays that stay in KRk and KQk, and one whose key captures into KRk.
  const struct {
    const char* fen;
    int n;
  } cases[] = {
      {"k7/8/2K5/8/8/8/8/1R6 w - - 0 1", 2},
      {"k7/8/2K5/8/8/8/8/1R6 w - - 0 1", 3},
      {"8/8/8/3k4/8/8/8/R3K3 w - - 0 1", 4},
      {"8/8/8/4k3/8/2K5/8/6Q1 w - - 0 1", 4},
      {"8/8/8/4k3/8/2K5/8/6Q1 w - - 0 1", 2},
      {"1k6/8/1K6/8/8/8/8/1n5R w - - 0 1", 3},
      // A pawn that promotes (KPk into KQk and KRk); a double step on the way.
      {"1k6/3P4/1K6/8/8/8/8/8 w - - 0 1", 1},
      {"k7/2K5/1P6/8/8/8/8/8 w - - 0 1", 3},
      {"k7/2K5/1P6/8/8/8/8/8 w - - 0 1", 4},
      {"8/8/8/8/8/1k6/4P3/K7 w - - 0 1", 7},
  };
  for (const auto& c : cases) {
    const auto plain = Keys(c.fen, c.n, nullptr);
    EXPECT_EQ(Keys(c.fen, c.n, &probe), plain) << c.fen << " #" << c.n;
  }
  EXPECT_FALSE(probe.UsedTypes().empty());
}

}  // namespace
}  // namespace ostravel
