#pragma once
// The search's own generators: legal moves in an order of our choosing, and
// White's checking moves only (all a mate in one can start with).
#include "chess/movegen_impl.h"

namespace ostravel::search {

using namespace tables;
using detail::LegalInfo;
using detail::Mv;
using detail::Side;

template <uint8_t C>
inline int EmitTargets(int from, uint64_t targets, TMove* out, int n) {
  while (targets) out[n++] = Mv(from, PopLsb(targets));
  return n;
}

// All legal moves of colour C (which must be to move).
template <uint8_t C>
inline int GenLegal(const TChessboard& b, TMove* out) {
  using S = Side<C>;
  LegalInfo li;
  detail::ComputeLegalInfo<C>(b, li);
  const uint64_t own = b.occupied[S::kIdx];
  const uint64_t occ = li.occ;
  int n = 0;
  // King moves first: a flight is the likeliest defence against mate.
  n = EmitTargets<C>(li.ksq, detail::LegalKingTargets<C>(b, li, own), out, n);
  if (li.ksq == S::kHome && !li.nCheckers) n = detail::CastlingMoves<C>(b, out, n, 0);
  if (li.nCheckers < 2) {
    const uint64_t target = ~own & li.checkMask;
    const int ep = EnPassantTarget(b);
    uint64_t pieces = own & ~Bit(li.ksq);
    while (pieces) {
      const int sq = PopLsb(pieces);
      const uint64_t pinMask = (li.pinned & Bit(sq)) ? T.line[li.ksq][sq] : ~uint64_t{0};
      switch (b.board[sq] & kKindMask) {
        case kKnight:
          if (!(li.pinned & Bit(sq))) n = EmitTargets<C>(sq, T.knight[sq] & target, out, n);
          break;
        case kBishop:
          n = EmitTargets<C>(sq, BishopAttacks(sq, occ) & target & pinMask, out, n);
          break;
        case kRook:
          n = EmitTargets<C>(sq, RookAttacks(sq, occ) & target & pinMask, out, n);
          break;
        case kQueen:
          n = EmitTargets<C>(sq, (RookAttacks(sq, occ) | BishopAttacks(sq, occ)) & target & pinMask, out, n);
          break;
        case kPawn: {
          const int r = sq >> 3, f = sq & 7;
          const int t = sq + S::kPush;
          uint64_t m = detail::PawnTargets<C>(b, sq, occ) & target & pinMask;
          if (r == S::kPromoFromRank) {
            while (m) n = detail::AddPromotions(out, n, sq, PopLsb(m));
          } else {
            n = EmitTargets<C>(sq, m, out, n);
          }
          if (ep >= 0 && r == S::kEpFromRank && ((f > 0 && ep == t - 1) || (f < 7 && ep == t + 1)) &&
              detail::EpIsLegal<C>(b, Mv(sq, ep)))
            out[n++] = Mv(sq, ep);
          break;
        }
        default:
          break;
      }
    }
  }
  return n;
}

// What gives check to the Black king: the squares from which each kind of
// White piece attacks it, and the White pieces that uncover a line to it.
struct CheckSquares {
  int bk;
  uint64_t knightSq, pawnSq, diagSq, orthSq, discoverers;
};

inline void ComputeCheckSquares(const TChessboard& b, CheckSquares& cs) {
  const int bk = b.BlackKingSquare();
  const uint64_t occ = b.occupied[0] | b.occupied[1];
  cs.bk = bk;
  cs.knightSq = T.knight[bk];
  cs.diagSq = BishopAttacks(bk, occ);
  cs.orthSq = RookAttacks(bk, occ);
  cs.pawnSq = 0;
  const int f = bk & 7;
  if (f > 0 && bk >= 9) cs.pawnSq |= Bit(bk - 9);
  if (f < 7 && bk >= 7) cs.pawnSq |= Bit(bk - 7);
  cs.discoverers = 0;
  const bool orth = b.counts[kCntWR] | b.counts[kCntWQ];
  const bool diag = b.counts[kCntWB] | b.counts[kCntWQ];
  if (!orth && !diag) return;
  for (int d = orth ? kN : kNE; d <= (diag ? kSW : kW); ++d) {
    const int s1 = FirstBlocker(bk, d, occ);
    if (s1 < 0 || !(b.board[s1] & kWhite)) continue;
    const int s2 = FirstBlocker(s1, d, occ);
    const uint8_t mask = d < 4 ? (kWhite | kRook) : (kWhite | kBishop);
    if (s2 >= 0 && (b.board[s2] & mask) == mask) cs.discoverers |= Bit(s1);
  }
}

// White's legal moves that give check. Moves in sure[0..return) give check;
// moves in maybe[0..*nMaybe) (promotions, e.p., castling, and every move when
// White itself is in check) must be played to see whether they do.
inline int GenWhiteChecks(const TChessboard& b, TMove* sure, TMove* maybe, int* nMaybe) {
  LegalInfo li;
  detail::ComputeLegalInfo<kWhite>(b, li);
  *nMaybe = 0;
  if (li.nCheckers) {
    *nMaybe = GenLegal<kWhite>(b, maybe);
    return 0;
  }
  CheckSquares cs;
  ComputeCheckSquares(b, cs);
  const uint64_t own = b.occupied[0];
  const uint64_t occ = li.occ;
  int n = 0, m = 0;
  uint64_t pieces = own & ~Bit(li.ksq);
  while (pieces) {
    const int sq = PopLsb(pieces);
    const bool pinned = (li.pinned & Bit(sq)) != 0;
    const uint64_t pinMask = pinned ? T.line[li.ksq][sq] : ~uint64_t{0};
    const uint64_t offLine = (cs.discoverers & Bit(sq)) ? ~T.line[cs.bk][sq] : 0;
    switch (b.board[sq] & kKindMask) {
      case kKnight:
        if (!pinned) n = EmitTargets<kWhite>(sq, T.knight[sq] & ~own & (cs.knightSq | offLine), sure, n);
        break;
      case kBishop:
        n = EmitTargets<kWhite>(sq, BishopAttacks(sq, occ) & ~own & pinMask & (cs.diagSq | offLine), sure, n);
        break;
      case kRook:
        n = EmitTargets<kWhite>(sq, RookAttacks(sq, occ) & ~own & pinMask & (cs.orthSq | offLine), sure, n);
        break;
      case kQueen:
        n = EmitTargets<kWhite>(sq,
                                (RookAttacks(sq, occ) | BishopAttacks(sq, occ)) & ~own & pinMask &
                                    (cs.diagSq | cs.orthSq | offLine),
                                sure, n);
        break;
      case kPawn: {
        const int r = sq >> 3, f = sq & 7;
        const int t = sq + 8;
        uint64_t d = detail::PawnTargets<kWhite>(b, sq, occ) & pinMask;
        if (r == 6) {
          while (d) m = detail::AddPromotions(maybe, m, sq, PopLsb(d));
        } else {
          n = EmitTargets<kWhite>(sq, d & (cs.pawnSq | offLine), sure, n);
          if (r == 4) {
            const int ep = EnPassantTarget(b);
            if (ep >= 0 && ((f > 0 && ep == t - 1) || (f < 7 && ep == t + 1)) &&
                detail::EpIsLegal<kWhite>(b, Mv(sq, ep)))
              maybe[m++] = Mv(sq, ep);
          }
        }
        break;
      }
      default:
        break;
    }
  }
  if (cs.discoverers & Bit(li.ksq)) {
    uint64_t k = T.king[li.ksq] & ~own & ~T.line[cs.bk][li.ksq];
    const uint64_t occNoKing = occ ^ Bit(li.ksq);
    while (k) {
      const int t = PopLsb(k);
      if (!detail::AttackedBy<kBlack>(b, t, occNoKing)) sure[n++] = Mv(li.ksq, t);
    }
  }
  if (li.ksq == kE1) m = detail::CastlingMoves<kWhite>(b, maybe, m, 0);
  *nMaybe = m;
  return n;
}

}  // namespace ostravel::search
