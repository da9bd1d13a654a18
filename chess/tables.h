#pragma once
// Precomputed geometry shared by the move generators, attack tests and the
// search: rays, knight and king targets, squares between two squares.
#include <bit>
#include <cstdint>

namespace ostravel::tables {

// Ray directions. The first four are orthogonal, the last four diagonal; the
// order is that of the rook's and the bishop's move lists.
enum Dir : int { kN = 0, kS, kE, kW, kNE, kNW, kSE, kSW };
constexpr int kDirOffset[8] = {8, -8, 1, -1, 9, 7, -7, -9};
constexpr bool kDirPositive[8] = {true, false, true, false, true, true, false, false};

struct Tables {
  uint64_t ray[8][64];      // squares from sq (exclusive) to the edge
  uint8_t raySq[8][64][7];  // the same squares, nearest first
  uint8_t rayLen[8][64];
  uint64_t knight[64];
  uint8_t knightSq[64][8];  // in the generator's order (-17, +15, -10, +6, -15, +17, -6, +10)
  uint8_t knightN[64];
  uint64_t king[64];
  uint64_t between[64][64];  // strictly between two aligned squares, else 0
  uint64_t line[64][64];     // whole line through two aligned squares, else 0
  int8_t dirOf[64][64];      // direction from a to b when aligned, else -1
  uint32_t hashWeight[64];   // (i + 1)^2
};

extern const Tables& T;

inline int Lsb(uint64_t b) {
  return std::countr_zero(b);
}
inline int Msb(uint64_t b) {
  return 63 - std::countl_zero(b);
}
inline int PopLsb(uint64_t& b) {
  const int s = std::countr_zero(b);
  b &= b - 1;
  return s;
}
inline int PopCount(uint64_t b) {
  return std::popcount(b);
}
constexpr uint64_t Bit(int sq) {
  return uint64_t{1} << sq;
}

// First occupied square along a ray, or -1.
inline int FirstBlocker(int sq, int dir, uint64_t occ) {
  const uint64_t b = T.ray[dir][sq] & occ;
  if (!b) return -1;
  return kDirPositive[dir] ? Lsb(b) : Msb(b);
}

// Squares reached along one ray, up to and including the first blocker.
inline uint64_t RayAttacks(int sq, int dir, uint64_t occ) {
  const uint64_t r = T.ray[dir][sq];
  const uint64_t b = r & occ;
  if (!b) return r;
  const int s = kDirPositive[dir] ? Lsb(b) : Msb(b);
  return r ^ T.ray[dir][s];
}

inline uint64_t RookAttacks(int sq, uint64_t occ) {
  return RayAttacks(sq, kN, occ) | RayAttacks(sq, kS, occ) | RayAttacks(sq, kE, occ) |
         RayAttacks(sq, kW, occ);
}
inline uint64_t BishopAttacks(int sq, uint64_t occ) {
  return RayAttacks(sq, kNE, occ) | RayAttacks(sq, kNW, occ) | RayAttacks(sq, kSE, occ) |
         RayAttacks(sq, kSW, occ);
}

}  // namespace ostravel::tables
