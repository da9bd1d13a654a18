#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "precalc/combination_mapping.h"

namespace ostravel {
namespace {

// Lexicographic rank computed straight from binomials: the reference the
// table-driven rank must agree with.
uint64_t ReferenceRank(const unsigned char* c, unsigned n, unsigned k, unsigned base) {
  uint64_t index = 0;
  unsigned next = base;  // lowest square still available
  for (unsigned i = 0; i < k; ++i) {
    for (unsigned s = next; s < c[i]; ++s) index += Binomial(base + n - 1 - s, k - 1 - i);
    next = c[i] + 1;
  }
  return index;
}

TEST(CombinationMapping, CountsOfEveryInstantiation) {
  EXPECT_EQ(CPieceCombinations<2>::Instance().GetNumberOfCombinations(), 2016u);
  EXPECT_EQ(CPieceCombinations<3>::Instance().GetNumberOfCombinations(), 41664u);
  EXPECT_EQ(CPieceCombinations<4>::Instance().GetNumberOfCombinations(), 635376u);
  EXPECT_EQ(CPieceCombinations<5>::kCount, 7624512u);
  EXPECT_EQ(CPawnCombinations<2>::Instance().GetNumberOfCombinations(), 1128u);
  EXPECT_EQ(CPawnCombinations<3>::Instance().GetNumberOfCombinations(), 17296u);
  EXPECT_EQ(CPawnCombinations<4>::Instance().GetNumberOfCombinations(), 194580u);
  EXPECT_EQ(CPawnCombinations<5>::Instance().GetNumberOfCombinations(), 1712304u);
}

TEST(CombinationMapping, PairEdgeCases) {
  const auto& m = CPieceCombinations<2>::Instance();
  auto rank = [&](unsigned char a, unsigned char b) {
    const unsigned char c[2] = {a, b};
    return m.Rank(c);
  };
  EXPECT_EQ(rank(0, 1), 0u);
  EXPECT_EQ(rank(0, 63), 62u);
  EXPECT_EQ(rank(1, 2), 63u);
  EXPECT_EQ(rank(62, 63), 2015u);
  EXPECT_EQ(m.Unrank(2015)[0], 62);
  EXPECT_EQ(m.Unrank(2015)[1], 63);

  const auto& p = CPawnCombinations<2>::Instance();
  const unsigned char low[2] = {8, 9}, high[2] = {54, 55};
  EXPECT_EQ(p.Rank(low), 0u);
  EXPECT_EQ(p.Rank(high), 1127u);
  EXPECT_EQ(p.Unrank(0)[0], 8);
  EXPECT_EQ(p.Unrank(0)[1], 9);
}

TEST(CombinationMapping, FirstAndLastOfLargerGroups) {
  const auto& m = CPieceCombinations<4>::Instance();
  const unsigned char first[4] = {0, 1, 2, 3}, last[4] = {60, 61, 62, 63};
  EXPECT_EQ(m.Rank(first), 0u);
  EXPECT_EQ(m.Rank(last), 635375u);
  const auto& p = CPawnCombinations<5>::Instance();
  const unsigned char pfirst[5] = {8, 9, 10, 11, 12}, plast[5] = {51, 52, 53, 54, 55};
  EXPECT_EQ(p.Rank(pfirst), 0u);
  EXPECT_EQ(p.Rank(plast), 1712303u);
}

// Walks the whole table: strictly increasing in lexicographic order, squares
// ascending and inside the set, and rank(unrank(i)) == i for every i. With the
// count right, that makes the table the complete lexicographic enumeration.
template <class M>
void CheckExhaustive(const M& m) {
  const unsigned k = m.MenCount(), n = m.SquareCount(), base = m.FirstSquare();
  const unsigned char* prev = nullptr;
  for (uint64_t i = 0; i < m.GetNumberOfCombinations(); ++i) {
    const unsigned char* c = m.Unrank(i);
    ASSERT_GE(c[0], base);
    ASSERT_LT(c[k - 1], base + n);
    for (unsigned j = 1; j < k; ++j) ASSERT_LT(c[j - 1], c[j]) << "index " << i;
    if (prev) {
      ASSERT_TRUE(std::lexicographical_compare(prev, prev + k, c, c + k)) << "index " << i;
    }
    ASSERT_EQ(m.Rank(c), i);
    prev = c;
  }
}

TEST(CombinationMapping, ExhaustiveRoundTripUpToThreeMen) {
  CheckExhaustive(CPieceCombinations<2>::Instance());
  CheckExhaustive(CPieceCombinations<3>::Instance());
  CheckExhaustive(CPawnCombinations<2>::Instance());
  CheckExhaustive(CPawnCombinations<3>::Instance());
}

template <class M>
void CheckSample(const M& m, unsigned samples) {
  const unsigned k = m.MenCount(), n = m.SquareCount(), base = m.FirstSquare();
  std::mt19937_64 rng(12345 + k * 100 + n);
  std::vector<unsigned char> squares(n);
  for (unsigned s = 0; s < n; ++s) squares[s] = static_cast<unsigned char>(base + s);
  for (unsigned t = 0; t < samples; ++t) {
    // Random index: unrank, rank back, compare with the reference.
    const uint64_t i = rng() % m.GetNumberOfCombinations();
    const unsigned char* c = m.Unrank(i);
    ASSERT_EQ(m.Rank(c), i);
    ASSERT_EQ(ReferenceRank(c, n, k, base), i);
    // Random set of squares: rank, unrank back.
    std::shuffle(squares.begin(), squares.end(), rng);
    unsigned char set[5];
    std::copy_n(squares.begin(), k, set);
    std::sort(set, set + k);
    const uint64_t r = m.Rank(set);
    ASSERT_LT(r, m.GetNumberOfCombinations());
    ASSERT_TRUE(std::equal(set, set + k, m.Unrank(r)));
  }
}

TEST(CombinationMapping, SampledRoundTripFourAndFiveMen) {
  CheckSample(CPieceCombinations<4>::Instance(), 200000);
  CheckSample(CPieceCombinations<5>::Instance(), 200000);
  CheckSample(CPawnCombinations<4>::Instance(), 200000);
  CheckSample(CPawnCombinations<5>::Instance(), 200000);
  // The small ones against the independent reference too.
  CheckSample(CPieceCombinations<2>::Instance(), 5000);
  CheckSample(CPawnCombinations<3>::Instance(), 5000);
}

TEST(CombinationMapping, LookupByGroupSize) {
  EXPECT_EQ(CombinationMapping(1, false), nullptr);
  EXPECT_EQ(CombinationMapping(6, true), nullptr);
  const CMappingCombinationIndexIntoSetBase* m = CombinationMapping(3, true);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m, &CPawnCombinations<3>::Instance());  // shared, not rebuilt
  EXPECT_EQ(m->SquareCount(), 48u);
  EXPECT_EQ(m->FirstSquare(), 8u);
  EXPECT_EQ(m->MenCount(), 3u);
  // Through the virtual interface as well.
  const unsigned char c[3] = {10, 30, 55};
  const uint64_t i = m->GetIndexOfCombination(c);
  EXPECT_TRUE(std::equal(c, c + 3, m->GetCombination(i)));
  EXPECT_EQ(CombinationMapping(4, false)->SquareCount(), 64u);
}

}  // namespace
}  // namespace ostravel
