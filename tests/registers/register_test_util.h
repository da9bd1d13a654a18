#pragma once
// Boards for the register tests. The register keys on the 64 bytes and trusts
// the caller's hash, so a test may give distinct boards one hash to crowd a
// bucket.
#include <array>
#include <cstdint>
#include <cstring>

#include "chess/board.h"

namespace ostravel::test {

using TBoardBytes = std::array<uint8_t, 64>;

// A distinct board for each i: two kings and i spread over four squares.
inline TBoardBytes MakeBoard(uint32_t i) {
  TBoardBytes b{};
  b[4] = WK;
  b[60] = BK;
  for (int k = 0; k < 4; ++k) b[16 + 8 * k] = static_cast<uint8_t>(i >> (8 * k));
  return b;
}

inline uint32_t HashOf(const TBoardBytes& b) {
  return RegisterHash(b.data());
}

}  // namespace ostravel::test
