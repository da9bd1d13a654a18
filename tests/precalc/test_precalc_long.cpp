// The full sweep: every type of up to four men is generated, sampled against
// the search, and the published longest mates are reproduced.
#include <gtest/gtest.h>

#include <map>

#include "precalc/precalc_generator.h"
#include "precalc/precalc_verify.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

TEST(PrecalcLong, EveryTypeUpToFourMen) {
  const std::string dir = test::MakeTempDir();
  CPrecalcStore store(dir, 1u << 28);
  TPrecalcGenOptions o;
  o.threads = 2;
  std::map<std::string, uint32_t> longest;
  GeneratePrecalcFiles(PrecalcTypesUpTo(4), store, o, false, nullptr,
                       [&](const TPrecalcTypeReport& r) { longest[r.type] = r.summary.longestMate; });
  EXPECT_EQ(longest.size(), 30u);
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
}

}  // namespace
}  // namespace ostravel
