#pragma once
// Dense index of a group of K identical men standing on K of the N squares
// B .. B + N - 1, and back. The order is lexicographic on the ascending square
// lists: {B, B+1, ..} is index 0 and the highest squares come last.
//
// Both directions are table-driven because the global register looks
// positions up through them: unrank is one read of the combination table, rank
// is K - 2 reads of the prefix-count table plus the closed formula for the
// last two squares. Tables are built on first use of Instance() and shared by
// all threads; nothing is built for a mapping nobody asks for (the K = 5 of 64
// table alone is 38 MB).
#include <cstddef>
#include <cstdint>
#include <memory>

namespace ostravel {

// Binomial coefficient (exact for the small arguments used here; 0 when k > n).
constexpr uint64_t Binomial(unsigned n, unsigned k) {
  if (k > n) return 0;
  if (k > n - k) k = n - k;
  uint64_t r = 1;
  for (unsigned i = 1; i <= k; ++i) r = r * (n - k + i) / i;  // stays integral at every step
  return r;
}

class CMappingCombinationIndexIntoSetBase {
 public:
  virtual ~CMappingCombinationIndexIntoSetBase() = default;
  // binomial(N, K): the size of the index range.
  virtual uint64_t GetNumberOfCombinations() const = 0;
  // The K ascending squares of an index (a pointer into the shared table).
  // The index must be below GetNumberOfCombinations(); it is not checked.
  virtual const unsigned char* GetCombination(uint64_t index) const = 0;
  // Index of K ascending squares, each in B .. B + N - 1; not checked.
  virtual uint64_t GetIndexOfCombination(const unsigned char* squares) const = 0;

  virtual unsigned SquareCount() const = 0;  // N
  virtual unsigned MenCount() const = 0;     // K
  virtual unsigned FirstSquare() const = 0;  // B
  // Bytes held by the tables.
  virtual size_t TableBytes() const = 0;
};

template <unsigned N, unsigned K, typename T, unsigned B>
class CMappingCombinationIndexIntoSet final : public CMappingCombinationIndexIntoSetBase {
  static_assert(K >= 2 && K <= N, "a single man needs no mapping");
  static_assert(B + N <= 256, "squares must fit the element type");
  static_assert(sizeof(T) == 1, "the tables are read through unsigned char pointers");

 public:
  static constexpr uint64_t kCount = Binomial(N, K);

  // The process-wide mapping, built on the first call (thread-safe).
  static const CMappingCombinationIndexIntoSet& Instance() {
    static const CMappingCombinationIndexIntoSet instance;
    return instance;
  }

  uint64_t GetNumberOfCombinations() const override { return kCount; }
  const unsigned char* GetCombination(uint64_t index) const override { return Unrank(index); }
  uint64_t GetIndexOfCombination(const unsigned char* squares) const override { return Rank(squares); }
  unsigned SquareCount() const override { return N; }
  unsigned MenCount() const override { return K; }
  unsigned FirstSquare() const override { return B; }
  size_t TableBytes() const override { return sizeof(T) * K * kCount + sizeof(m_prefix); }

  // Non-virtual forms for callers that know the instantiation.
  const T* Unrank(uint64_t index) const { return m_combinations.get() + index * K; }

  uint64_t Rank(const T* c) const {
    uint64_t index = 0;
    unsigned n = N, base = B;
    // prefix[.][.][0] is 0, so a square that is the lowest still available
    // (the "drop it" case) needs no branch.
    for (unsigned i = 0; i + 2 < K; ++i) {
      const unsigned f = c[i] - base;
      index += m_prefix[K - i][n][f];
      n -= f + 1;
      base = c[i] + 1;
    }
    const uint64_t i = c[K - 2] - base, j = c[K - 1] - base;
    return index + i * (2 * n - i - 1) / 2 + (j - i - 1);
  }

  CMappingCombinationIndexIntoSet(const CMappingCombinationIndexIntoSet&) = delete;
  CMappingCombinationIndexIntoSet& operator=(const CMappingCombinationIndexIntoSet&) = delete;

  // Builds a private copy of the tables; everything else should share
  // Instance(). (Measuring the build needs a fresh object.)
  CMappingCombinationIndexIntoSet() : m_combinations(new T[K * kCount]) {
    // prefix[k][n][f] = number of k-subsets of n squares whose first square
    // has an offset below f = sum over g < f of binomial(n - 1 - g, k - 1).
    for (unsigned k = 0; k <= K; ++k)
      for (unsigned n = 0; n <= N; ++n) {
        uint32_t sum = 0;
        for (unsigned f = 0; f < N; ++f) {
          m_prefix[k][n][f] = sum;
          if (k >= 1 && f < n) sum += static_cast<uint32_t>(Binomial(n - 1 - f, k - 1));
        }
      }
    // All combinations in lexicographic order: advance the rightmost square
    // that still has room, then pack the rest behind it.
    unsigned c[K];
    for (unsigned i = 0; i < K; ++i) c[i] = i;
    T* out = m_combinations.get();
    for (uint64_t idx = 0; idx < kCount; ++idx) {
      for (unsigned i = 0; i < K; ++i) *out++ = static_cast<T>(c[i] + B);
      int i = K - 1;
      while (i >= 0 && c[i] == N - K + static_cast<unsigned>(i)) --i;
      if (i < 0) break;
      ++c[i];
      for (unsigned r = i + 1; r < K; ++r) c[r] = c[r - 1] + 1;
    }
  }

  static_assert(kCount <= UINT32_MAX, "prefix counts are 32-bit");

 private:
  std::unique_ptr<T[]> m_combinations;
  uint32_t m_prefix[K + 1][N + 1][N];
};

// Mappings used by the position index: pieces over all 64 squares, pawns over
// the 48 squares of ranks 2 to 7.
template <unsigned K>
using CPieceCombinations = CMappingCombinationIndexIntoSet<64, K, unsigned char, 0>;
template <unsigned K>
using CPawnCombinations = CMappingCombinationIndexIntoSet<48, K, unsigned char, 8>;

// Maximum group size with a mapping.
constexpr unsigned kMaxMappedMen = 5;

// The shared mapping for K men (2..5) of one group, pawns or pieces; builds
// it on first use. Null for K outside 2..5.
const CMappingCombinationIndexIntoSetBase* CombinationMapping(unsigned k, bool pawns);

extern template class CMappingCombinationIndexIntoSet<64, 2, unsigned char, 0>;
extern template class CMappingCombinationIndexIntoSet<64, 3, unsigned char, 0>;
extern template class CMappingCombinationIndexIntoSet<64, 4, unsigned char, 0>;
extern template class CMappingCombinationIndexIntoSet<64, 5, unsigned char, 0>;
extern template class CMappingCombinationIndexIntoSet<48, 2, unsigned char, 8>;
extern template class CMappingCombinationIndexIntoSet<48, 3, unsigned char, 8>;
extern template class CMappingCombinationIndexIntoSet<48, 4, unsigned char, 8>;
extern template class CMappingCombinationIndexIntoSet<48, 5, unsigned char, 8>;

}  // namespace ostravel
