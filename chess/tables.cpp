#include "chess/tables.h"

namespace ostravel::tables {
namespace {

constexpr Tables Build() {
  Tables t{};
  const int df[8] = {0, 0, 1, -1, 1, -1, 1, -1};
  const int dr[8] = {1, -1, 0, 0, 1, 1, -1, -1};
  for (int sq = 0; sq < 64; ++sq) {
    const int f = sq & 7, r = sq >> 3;
    for (int d = 0; d < 8; ++d) {
      int n = 0;
      uint64_t m = 0;
      for (int ff = f + df[d], rr = r + dr[d]; ff >= 0 && ff < 8 && rr >= 0 && rr < 8;
           ff += df[d], rr += dr[d]) {
        t.raySq[d][sq][n++] = static_cast<uint8_t>(rr * 8 + ff);
        m |= uint64_t{1} << (rr * 8 + ff);
      }
      t.ray[d][sq] = m;
      t.rayLen[d][sq] = static_cast<uint8_t>(n);
    }
    // Knight squares in the generator's order: (f-1,r-2), (f-1,r+2), (f-2,r-1),
    // (f-2,r+1), (f+1,r-2), (f+1,r+2), (f+2,r-1), (f+2,r+1).
    const int kf[8] = {-1, -1, -2, -2, 1, 1, 2, 2};
    const int kr[8] = {-2, 2, -1, 1, -2, 2, -1, 1};
    int n = 0;
    for (int i = 0; i < 8; ++i) {
      const int ff = f + kf[i], rr = r + kr[i];
      if (ff >= 0 && ff < 8 && rr >= 0 && rr < 8) {
        t.knightSq[sq][n++] = static_cast<uint8_t>(rr * 8 + ff);
        t.knight[sq] |= uint64_t{1} << (rr * 8 + ff);
      }
    }
    t.knightN[sq] = static_cast<uint8_t>(n);
    for (int a = -1; a <= 1; ++a)
      for (int b = -1; b <= 1; ++b) {
        if (!a && !b) continue;
        const int ff = f + a, rr = r + b;
        if (ff >= 0 && ff < 8 && rr >= 0 && rr < 8) t.king[sq] |= uint64_t{1} << (rr * 8 + ff);
      }
    t.hashWeight[sq] = static_cast<uint32_t>((sq + 1) * (sq + 1));
  }
  for (int a = 0; a < 64; ++a)
    for (int b = 0; b < 64; ++b) t.dirOf[a][b] = -1;
  for (int a = 0; a < 64; ++a)
    for (int d = 0; d < 8; ++d)
      for (int i = 0; i < t.rayLen[d][a]; ++i) {
        const int b = t.raySq[d][a][i];
        t.dirOf[a][b] = static_cast<int8_t>(d);
        t.between[a][b] = t.ray[d][a] & ~t.ray[d][b] & ~(uint64_t{1} << b);
        const int kOpposite[8] = {1, 0, 3, 2, 7, 6, 5, 4};
        const int opp = kOpposite[d];
        t.line[a][b] = t.ray[d][a] | t.ray[opp][a] | (uint64_t{1} << a);
      }
  return t;
}

constexpr Tables kTables = Build();

}  // namespace

const Tables& T = kTables;

}  // namespace ostravel::tables
