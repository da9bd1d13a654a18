#include <gtest/gtest.h>

#include "precalc/combination_mapping.h"

namespace ostravel {
namespace {

// Every index of the large mappings: rank(unrank(i)) == i and the table in
// strictly increasing lexicographic order.
template <class M>
void CheckAll(const M& m) {
  const unsigned k = m.MenCount();
  for (uint64_t i = 0; i < m.GetNumberOfCombinations(); ++i) {
    const unsigned char* c = m.Unrank(i);
    for (unsigned j = 1; j < k; ++j) ASSERT_LT(c[j - 1], c[j]) << "index " << i;
    if (i > 0) {
      const unsigned char* p = m.Unrank(i - 1);
      ASSERT_TRUE(std::lexicographical_compare(p, p + k, c, c + k)) << "index " << i;
    }
    ASSERT_EQ(m.Rank(c), i);
  }
}

TEST(CombinationMappingLong, ExhaustiveFourMen) {
  CheckAll(CPieceCombinations<4>::Instance());
  CheckAll(CPawnCombinations<4>::Instance());
}

TEST(CombinationMappingLong, ExhaustiveFiveMen) {
  CheckAll(CPawnCombinations<5>::Instance());
  CheckAll(CPieceCombinations<5>::Instance());
}

}  // namespace
}  // namespace ostravel
