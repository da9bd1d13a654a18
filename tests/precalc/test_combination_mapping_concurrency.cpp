#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "precalc/combination_mapping.h"

namespace ostravel {
namespace {

// Threads that ask for a mapping at the same moment share one build.
TEST(CombinationMappingConcurrency, FirstUseFromManyThreads) {
  constexpr int kThreads = 4;
  std::vector<const CMappingCombinationIndexIntoSetBase*> seen(kThreads);
  std::vector<int> failures(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t, &seen, &failures] {
      const CMappingCombinationIndexIntoSetBase* m = CombinationMapping(4, t % 2 == 0);
      const CMappingCombinationIndexIntoSetBase* other = CombinationMapping(4, t % 2 != 0);
      seen[t] = m;
      for (uint64_t i = t; i < m->GetNumberOfCombinations(); i += 997)
        if (m->GetIndexOfCombination(m->GetCombination(i)) != i) ++failures[t];
      for (uint64_t i = t; i < other->GetNumberOfCombinations(); i += 991)
        if (other->GetIndexOfCombination(other->GetCombination(i)) != i) ++failures[t];
    });
  for (auto& th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(failures[t], 0);
    EXPECT_EQ(seen[t], seen[t % 2]);
  }
  EXPECT_NE(seen[0], seen[1]);
}

}  // namespace
}  // namespace ostravel
