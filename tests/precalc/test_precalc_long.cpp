// The full sweep: every type of up to four men is generated, sampled against
// the search, and the published longest mates are reproduced.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "chess/board.h"
#include "precalc/position_index.h"
#include "precalc/precalc_generator.h"
#include "precalc/precalc_verify.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

// Whether a pawn on its start rank could step two squares next to an enemy
// pawn, which could then take it e.p.
bool EpPossible(const uint8_t board[64]) {
  for (int sq = 8; sq < 56; ++sq) {
    const int f = sq % 8, r = sq / 8;
    for (int df : {-1, 1}) {
      if (f + df < 0 || f + df > 7) continue;
      if (r == 1 && board[sq] == WP && board[sq + 16 + df] == BP) return true;
      if (r == 6 && board[sq] == BP && board[sq - 16 + df] == WP) return true;
    }
  }
  return false;
}

TEST(PrecalcLong, EveryTypeUpToFourMen) {
  const std::string dir = test::MakeTempDir();
  CPrecalcStore store(dir, 1u << 28);
  TPrecalcGenOptions o;
  o.threads = 2;
  std::map<std::string, uint32_t> longest;
  // The reduced run keeps the types without pawns and the pawn types that
  // KPkp, the smallest with e.p. captures, needs.
  std::vector<std::string> types;
  for (const std::string& t : PrecalcTypesUpTo(4)) {
    if (!std::getenv("OSTRAVEL_LONG_REDUCED") || t.find_first_of("Pp") == std::string::npos)
      types.push_back(t);
  }
  if (std::getenv("OSTRAVEL_LONG_REDUCED")) types.push_back("KPkp");
  GeneratePrecalcFiles(types, store, o, false, nullptr,
                       [&](const TPrecalcTypeReport& r) { longest[r.type] = r.summary.longestMate; });
  if (!std::getenv("OSTRAVEL_LONG_REDUCED")) {
    EXPECT_EQ(longest.size(), 45u);
  }
  EXPECT_EQ(longest["KPk"], 28u);
  // Published longest mates with White to move.
  const std::map<std::string, uint32_t> known = {{"KQk", 10},  {"KRk", 16}, {"KBBk", 19},
                                                 {"KBNk", 33}, {"KRRk", 7}, {"KQkr", 35}};
  for (const auto& [type, moves] : known) EXPECT_EQ(longest[type], moves) << type;
  EXPECT_EQ(longest["KBk"], 0u);
  EXPECT_EQ(longest["KNk"], 0u);
  for (const auto& [type, moves] : longest) {
    const TPrecalcVerifyReport r = VerifyPrecalcType(type, store, 300, 11, 3);
    EXPECT_EQ(r.checked, 300u) << type;
    for (const auto& f : r.failures) ADD_FAILURE() << type << ": " << f;
  }
  // Every KPkp position where a double step allows an e.p. capture, next
  // move or the one after: the generator values these forward, not by
  // counting moves back, so check each against its moves.
  const CPositionTypeIndex index("KPkp");
  CPrecalcEntryChecker check(index, store, 2);
  TPrecalcVerifyReport r;
  for (uint64_t i = 0; i < index.PlacementCount(); ++i) {
    uint8_t board[64];
    bool white = true;
    if (index.PositionAt(i, board, white) && EpPossible(board)) check.Check(i, r);
  }
  EXPECT_GT(r.checked, 50000u);
  for (size_t k = 0; k < r.failures.size() && k < 20; ++k) ADD_FAILURE() << "KPkp: " << r.failures[k];
  EXPECT_EQ(r.failures.size(), 0u);
}

}  // namespace
}  // namespace ostravel
