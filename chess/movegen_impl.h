#pragma once
// Colour-templated move generation, attack tests and move making. One
// implementation serves both sides; the search includes this header to get
// the same code inlined into its own loops.
#include <cstdlib>

#include "chess/board.h"
#include "chess/tables.h"

namespace ostravel::detail {

using namespace tables;

template <uint8_t C>
struct Side {
  static constexpr uint8_t kUs = C;
  static constexpr uint8_t kThem = C ^ kColourMask;
  static constexpr int kIdx = C == kWhite ? 0 : 1;
  static constexpr int kThemIdx = 1 - kIdx;
  static constexpr int kPush = C == kWhite ? 8 : -8;
  static constexpr int kPromoFromRank = C == kWhite ? 6 : 1;
  static constexpr int kDoubleFromRank = C == kWhite ? 1 : 6;
  static constexpr int kEpFromRank = C == kWhite ? 4 : 3;
  static constexpr uint8_t kPawnCode = C | kPawn;
  static constexpr uint8_t kKingCode = C | kKing;
  static constexpr uint8_t kKnightCode = C | kKnight;
  static constexpr int kHome = C == kWhite ? kE1 : kE8;
  static constexpr uint8_t kShortRight = C == kWhite ? kCastleWK : kCastleBK;
  static constexpr uint8_t kLongRight = C == kWhite ? kCastleWQ : kCastleBQ;
};

template <uint8_t C>
inline int KingSq(const TChessboard& b) {
  return C == kWhite ? b.WhiteKingSquare() : b.BlackKingSquare();
}

// Is sq attacked by colour C, given the occupancy occ (which may differ from
// the board's, e.g. with the defending king lifted off).
template <uint8_t C>
inline bool AttackedBy(const TChessboard& b, int sq, uint64_t occ) {
  constexpr int ci = Side<C>::kIdx;
  const int f = sq & 7, r = sq >> 3;
  const int kf = C == kWhite ? b.whiteKingFile : b.blackKingFile;
  const int kr = C == kWhite ? b.whiteKingRank : b.blackKingRank;
  if (std::abs(kf - f) <= 1 && std::abs(kr - r) <= 1 && (kf != f || kr != r)) return true;
  if constexpr (C == kBlack) {
    if (r <= 5) {
      if (f > 0 && b.board[sq + 7] == BP && (occ & Bit(sq + 7))) return true;
      if (f < 7 && b.board[sq + 9] == BP && (occ & Bit(sq + 9))) return true;
    }
  } else {
    if (r >= 2) {
      if (f > 0 && b.board[sq - 9] == WP && (occ & Bit(sq - 9))) return true;
      if (f < 7 && b.board[sq - 7] == WP && (occ & Bit(sq - 7))) return true;
    }
  }
  if (b.counts[kCntWN + ci]) {
    uint64_t k = T.knight[sq] & occ & b.occupied[ci];
    while (k)
      if (b.board[PopLsb(k)] == (C | kKnight)) return true;
  }
  if (b.counts[kCntWB + ci] | b.counts[kCntWQ + ci]) {
    constexpr uint8_t m = C | kBishop;
    for (int d = kNE; d <= kSW; ++d) {
      const int s = FirstBlocker(sq, d, occ);
      if (s >= 0 && (b.board[s] & m) == m) return true;
    }
  }
  if (b.counts[kCntWR + ci] | b.counts[kCntWQ + ci]) {
    constexpr uint8_t m = C | kRook;
    for (int d = kN; d <= kW; ++d) {
      const int s = FirstBlocker(sq, d, occ);
      if (s >= 0 && (b.board[s] & m) == m) return true;
    }
  }
  return false;
}

inline TMove Mv(int from, int to, uint8_t promo = 0) {
  return TMove{static_cast<uint8_t>(from), static_cast<uint8_t>(to), promo, 0};
}

// Appends the four promotions in the order queen, rook, bishop, knight.
inline int AddPromotions(TMove* out, int n, int from, int to) {
  out[n++] = Mv(from, to, kQueen);
  out[n++] = Mv(from, to, kRook);
  out[n++] = Mv(from, to, kBishop);
  out[n++] = Mv(from, to, kKnight);
  return n;
}

inline int AddRay(const TChessboard& b, int sq, int d, uint8_t us, TMove* out, int n) {
  const uint8_t* s = T.raySq[d][sq];
  for (int i = 0, len = T.rayLen[d][sq]; i < len; ++i) {
    const uint8_t c = b.board[s[i]];
    if (!c) {
      out[n++] = Mv(sq, s[i]);
      continue;
    }
    if (!(c & us)) out[n++] = Mv(sq, s[i]);
    break;
  }
  return n;
}

// Castling moves of the king of colour C standing on its home square.
// inCheck: -1 unknown (computed when needed), 0 no, 1 yes.
template <uint8_t C>
inline int CastlingMoves(const TChessboard& b, TMove* out, int n, int inCheck) {
  using S = Side<C>;
  constexpr int h = S::kHome;
  const uint64_t occ = b.occupied[0] | b.occupied[1];
  const bool shortFree = !(occ & (Bit(h + 1) | Bit(h + 2)));
  const bool longFree = !(occ & (Bit(h - 1) | Bit(h - 2) | Bit(h - 3)));
  if (!shortFree && !longFree) return n;
  const uint8_t rights = CastlingRights(b);
  if (!(rights & (S::kShortRight | S::kLongRight))) return n;
  if (inCheck < 0) inCheck = AttackedBy<S::kThem>(b, h, occ) ? 1 : 0;
  if (inCheck) return n;
  if (shortFree && (rights & S::kShortRight) && !AttackedBy<S::kThem>(b, h + 1, occ) &&
      !AttackedBy<S::kThem>(b, h + 2, occ))
    out[n++] = Mv(h, h + 2);
  if (longFree && (rights & S::kLongRight) && !AttackedBy<S::kThem>(b, h - 1, occ) &&
      !AttackedBy<S::kThem>(b, h - 2, occ))
    out[n++] = Mv(h, h - 2);
  return n;
}

// Pseudo-legal moves of one piece, in the documented order. ep is the e.p.
// target of the position (-1 none); inCheck as for CastlingMoves.
template <uint8_t C>
inline int PieceMoves(const TChessboard& b, int sq, TMove* out, int ep, int inCheck) {
  using S = Side<C>;
  const uint8_t code = b.board[sq];
  if (!(code & C)) return 0;
  int n = 0;
  const int f = sq & 7, r = sq >> 3;
  switch (code & kKindMask) {
    case kKing: {
      // One rank towards White's side, then the other, then along the rank.
      static constexpr int dr[8] = {-1, -1, -1, 1, 1, 1, 0, 0};
      static constexpr int df[8] = {0, -1, 1, 0, -1, 1, -1, 1};
      for (int i = 0; i < 8; ++i) {
        const int ff = f + df[i], rr = r + dr[i];
        if (ff < 0 || ff > 7 || rr < 0 || rr > 7) continue;
        const int t = rr * 8 + ff;
        if (!(b.board[t] & C)) out[n++] = Mv(sq, t);
      }
      if (sq == S::kHome) n = CastlingMoves<C>(b, out, n, inCheck);
      return n;
    }
    case kPawn: {
      const int t = sq + S::kPush;
      if (!b.board[t]) {
        if (r == S::kPromoFromRank) {
          n = AddPromotions(out, n, sq, t);
        } else {
          out[n++] = Mv(sq, t);
          if (r == S::kDoubleFromRank && !b.board[t + S::kPush]) out[n++] = Mv(sq, t + S::kPush);
        }
      }
      for (int side = -1; side <= 1; side += 2) {
        if (f + side < 0 || f + side > 7) continue;
        const int c = t + side;
        const uint8_t v = b.board[c];
        if (v & S::kThem) {
          if (r == S::kPromoFromRank)
            n = AddPromotions(out, n, sq, c);
          else
            out[n++] = Mv(sq, c);
        } else if (c == ep && r == S::kEpFromRank) {
          out[n++] = Mv(sq, c);
        }
      }
      return n;
    }
    case kRook:
      for (int d = kN; d <= kW; ++d) n = AddRay(b, sq, d, C, out, n);
      return n;
    case kBishop:
      for (int d = kNE; d <= kSW; ++d) n = AddRay(b, sq, d, C, out, n);
      return n;
    case kQueen:
      for (int d = kN; d <= kSW; ++d) n = AddRay(b, sq, d, C, out, n);
      return n;
    case kKnight:
      for (int i = 0; i < T.knightN[sq]; ++i) {
        const int t = T.knightSq[sq][i];
        if (!(b.board[t] & C)) out[n++] = Mv(sq, t);
      }
      return n;
    default:
      return 0;
  }
}

template <uint8_t C>
inline int PseudoLegal(const TChessboard& b, TMove* out) {
  const int ep = EnPassantTarget(b);
  int n = 0;
  uint64_t own = b.occupied[Side<C>::kIdx];
  while (own) n += PieceMoves<C>(b, PopLsb(own), out + n, ep, -1);
  return n;
}

// Check and pin information of the side to move (colour C).
struct LegalInfo {
  int ksq;
  int nCheckers;
  uint64_t checkMask;  // target squares that answer the check (all when not in check)
  uint64_t pinned;     // own pieces pinned to the king
  uint64_t occ;
};

template <uint8_t C>
inline void ComputeLegalInfo(const TChessboard& b, LegalInfo& li) {
  using S = Side<C>;
  constexpr uint8_t them = S::kThem;
  const int ksq = KingSq<C>(b);
  const uint64_t occ = b.occupied[0] | b.occupied[1];
  li.ksq = ksq;
  li.occ = occ;
  li.nCheckers = 0;
  li.pinned = 0;
  uint64_t cm = 0;
  const bool orth = b.counts[kCntWR + S::kThemIdx] | b.counts[kCntWQ + S::kThemIdx];
  const bool diag = b.counts[kCntWB + S::kThemIdx] | b.counts[kCntWQ + S::kThemIdx];
  for (int d = orth ? kN : kNE; d <= (diag ? kSW : kW); ++d) {
    const int s1 = FirstBlocker(ksq, d, occ);
    if (s1 < 0) continue;
    const uint8_t mask = d < 4 ? (them | kRook) : (them | kBishop);
    const uint8_t c1 = b.board[s1];
    if ((c1 & mask) == mask) {
      ++li.nCheckers;
      cm |= T.between[ksq][s1] | Bit(s1);
    } else if (c1 & C) {
      const int s2 = FirstBlocker(s1, d, occ);
      if (s2 >= 0 && (b.board[s2] & mask) == mask) li.pinned |= Bit(s1);
    }
  }
  if (b.counts[kCntWN + S::kThemIdx]) {
    uint64_t k = T.knight[ksq] & b.occupied[S::kThemIdx];
    while (k) {
      const int s = PopLsb(k);
      if (b.board[s] == (them | kKnight)) {
        ++li.nCheckers;
        cm |= Bit(s);
      }
    }
  }
  const int f = ksq & 7;
  if constexpr (C == kWhite) {
    if (ksq < 56) {
      if (f > 0 && b.board[ksq + 7] == BP) ++li.nCheckers, cm |= Bit(ksq + 7);
      if (f < 7 && b.board[ksq + 9] == BP) ++li.nCheckers, cm |= Bit(ksq + 9);
    }
  } else {
    if (ksq >= 8) {
      if (f > 0 && b.board[ksq - 9] == WP) ++li.nCheckers, cm |= Bit(ksq - 9);
      if (f < 7 && b.board[ksq - 7] == WP) ++li.nCheckers, cm |= Bit(ksq - 7);
    }
  }
  li.checkMask = li.nCheckers ? cm : ~uint64_t{0};
}

template <uint8_t C>
inline bool IsEpCapture(const TChessboard& b, const TMove& m) {
  return b.board[m.from] == Side<C>::kPawnCode && ((m.from ^ m.to) & 7) && !b.board[m.to];
}

// An e.p. capture removes two pieces from one rank; settle it by playing it.
template <uint8_t C>
inline bool EpIsLegal(const TChessboard& b, const TMove& m) {
  TChessboard t;
  std::memcpy(static_cast<void*>(&t), &b, sizeof t);
  const int cap = m.to - Side<C>::kPush;
  t.board[m.from] = 0;
  t.board[cap] = 0;
  t.board[m.to] = Side<C>::kPawnCode;
  t.occupied[Side<C>::kIdx] ^= Bit(m.from) | Bit(m.to);
  t.occupied[Side<C>::kThemIdx] ^= Bit(cap);
  --t.counts[kCntWP + Side<C>::kThemIdx];
  return !AttackedBy<Side<C>::kThem>(t, KingSq<C>(t), t.occupied[0] | t.occupied[1]);
}

// Legality of a pseudo-legal move given the position's check and pin info.
template <uint8_t C>
inline bool IsLegalWithInfo(const TChessboard& b, const LegalInfo& li, const TMove& m) {
  if (m.from == li.ksq) {
    if (std::abs((m.to & 7) - (m.from & 7)) == 2) return true;  // castling was checked when generated
    return !AttackedBy<Side<C>::kThem>(b, m.to, li.occ ^ Bit(li.ksq));
  }
  if (li.nCheckers >= 2) return false;
  if (IsEpCapture<C>(b, m)) return EpIsLegal<C>(b, m);
  if (!(li.checkMask & Bit(m.to))) return false;
  if ((li.pinned & Bit(m.from)) && !(T.line[li.ksq][m.from] & Bit(m.to))) return false;
  return true;
}

template <uint8_t C>
inline int Legal(const TChessboard& b, TMove* out) {
  LegalInfo li;
  ComputeLegalInfo<C>(b, li);
  const int ep = EnPassantTarget(b);
  int n = 0;
  uint64_t own = b.occupied[Side<C>::kIdx];
  TMove tmp[64];
  while (own) {
    const int sq = PopLsb(own);
    const int k = PieceMoves<C>(b, sq, tmp, ep, li.nCheckers ? 1 : 0);
    for (int i = 0; i < k; ++i)
      if (IsLegalWithInfo<C>(b, li, tmp[i])) out[n++] = tmp[i];
  }
  return n;
}

// Squares the king of colour C can step to without being attacked there
// (castling aside); the king is lifted off so that it cannot hide behind itself.
template <uint8_t C>
inline uint64_t LegalKingTargets(const TChessboard& b, const LegalInfo& li, uint64_t own) {
  uint64_t k = T.king[li.ksq] & ~own, legal = 0;
  const uint64_t occNoKing = li.occ ^ Bit(li.ksq);
  while (k) {
    const int t = PopLsb(k);
    if (!AttackedBy<Side<C>::kThem>(b, t, occNoKing)) legal |= Bit(t);
  }
  return legal;
}

// Squares a pawn of colour C on sq can move to (pushes and captures, not e.p.).
template <uint8_t C>
inline uint64_t PawnTargets(const TChessboard& b, int sq, uint64_t occ) {
  using S = Side<C>;
  const int r = sq >> 3, f = sq & 7;
  const int t = sq + S::kPush;
  uint64_t m = 0;
  if (!(occ & Bit(t))) {
    m |= Bit(t);
    if (r == S::kDoubleFromRank && !(occ & Bit(t + S::kPush))) m |= Bit(t + S::kPush);
  }
  if (f > 0 && (b.board[t - 1] & S::kThem)) m |= Bit(t - 1);
  if (f < 7 && (b.board[t + 1] & S::kThem)) m |= Bit(t + 1);
  return m;
}

// Number of legal moves without making any (or 1/0 with kStopAtFirst).
template <uint8_t C, bool kStopAtFirst>
inline int CountLegal(const TChessboard& b) {
  using S = Side<C>;
  LegalInfo li;
  ComputeLegalInfo<C>(b, li);
  const uint64_t own = b.occupied[S::kIdx];
  const uint64_t occ = li.occ;
  int n = 0;
  {
    const uint64_t k = LegalKingTargets<C>(b, li, own);
    if (kStopAtFirst && k) return 1;
    n += PopCount(k);
    if (li.ksq == S::kHome && !li.nCheckers) {
      TMove tmp[2];
      const int c = CastlingMoves<C>(b, tmp, 0, 0);
      if (kStopAtFirst && c) return 1;
      n += c;
    }
  }
  if (li.nCheckers >= 2) return n;
  const uint64_t target = ~own & li.checkMask;
  uint64_t pieces = own & ~Bit(li.ksq);
  const int ep = EnPassantTarget(b);
  while (pieces) {
    const int sq = PopLsb(pieces);
    const uint8_t code = b.board[sq];
    const uint64_t pinMask = (li.pinned & Bit(sq)) ? T.line[li.ksq][sq] : ~uint64_t{0};
    uint64_t att;
    switch (code & kKindMask) {
      case kKnight:
        if (li.pinned & Bit(sq)) continue;
        att = T.knight[sq] & target;
        break;
      case kBishop:
        att = BishopAttacks(sq, occ) & target & pinMask;
        break;
      case kRook:
        att = RookAttacks(sq, occ) & target & pinMask;
        break;
      case kQueen:
        att = (RookAttacks(sq, occ) | BishopAttacks(sq, occ)) & target & pinMask;
        break;
      case kPawn: {
        const int r = sq >> 3, f = sq & 7;
        const int t = sq + S::kPush;
        const uint64_t m = PawnTargets<C>(b, sq, occ) & target & pinMask;
        int c = PopCount(m);
        if (r == S::kPromoFromRank) c *= 4;
        if (ep >= 0 && r == S::kEpFromRank && ((f > 0 && ep == t - 1) || (f < 7 && ep == t + 1)) &&
            EpIsLegal<C>(b, Mv(sq, ep)))
          ++c;
        if (kStopAtFirst && c) return 1;
        n += c;
        continue;
      }
      default:
        continue;
    }
    if (kStopAtFirst && att) return 1;
    n += PopCount(att);
  }
  return n;
}

template <uint8_t C>
inline int8_t MakeMove(TChessboard& b, const TMove& m0) {
  using S = Side<C>;
  TMove m = m0;
  m.enPassant = 0;
  const uint8_t piece = b.board[m.from];
  const uint8_t cap = b.board[m.to];
  auto set = [&b](int s, uint8_t v) {
    b.regHash += static_cast<uint32_t>(static_cast<int>(v) - static_cast<int>(b.board[s])) * T.hashWeight[s];
    b.board[s] = v;
  };
  set(m.from, 0);
  b.occupied[S::kIdx] ^= Bit(m.from);
  if (cap) {
    const uint8_t slot = CountSlotOf(cap);
    if (slot != 0xFF) --b.counts[slot];
    b.occupied[S::kThemIdx] ^= Bit(m.to);
  } else if ((piece & kKindMask) == kPawn && ((m.from ^ m.to) & 7)) {
    const int capSq = m.to - S::kPush;
    set(capSq, 0);
    b.occupied[S::kThemIdx] &= ~Bit(capSq);
    --b.counts[kCntWP + S::kThemIdx];
    m.enPassant = 1;
  }
  uint8_t placed = piece;
  if (m.promotion) {
    placed = static_cast<uint8_t>(C | (m.promotion & kKindMask));
    --b.counts[kCntWP + S::kIdx];
    ++b.counts[CountSlotOf(placed)];
  }
  set(m.to, placed);
  b.occupied[S::kIdx] |= Bit(m.to);
  if ((piece & kKindMask) == kKing) {
    if constexpr (C == kWhite) {
      b.whiteKingFile = static_cast<int8_t>(m.to & 7);
      b.whiteKingRank = static_cast<int8_t>(m.to >> 3);
    } else {
      b.blackKingFile = static_cast<int8_t>(m.to & 7);
      b.blackKingRank = static_cast<int8_t>(m.to >> 3);
    }
    const int df = (m.to & 7) - (m.from & 7);
    if (df == 2 || df == -2) {
      const int rookFrom = df > 0 ? m.to + 1 : m.to - 2;
      const int rookTo = df > 0 ? m.to - 1 : m.to + 1;
      const uint8_t rook = b.board[rookFrom];
      set(rookFrom, 0);
      set(rookTo, rook);
      b.occupied[S::kIdx] ^= Bit(rookFrom) | Bit(rookTo);
    }
  }
  b.lastMove = m;
  --b.remainingPlies;
  return 1;
}

}  // namespace ostravel::detail
