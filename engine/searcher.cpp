#include "engine/searcher.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "chess/movegen_impl.h"
#include "chess/tables.h"
#include "engine/mate_search.h"
#include "engine/position_probe.h"
#include "engine/search_movegen.h"
#include "registers/temporary_register.h"

namespace ostravel {

using namespace tables;

template <class Policy>
TSearcher<Policy>::TSearcher(TMateSearch& s)
    : s_(s),
      reg_(*s.reg_),
      rightsReg_(*s.rightsReg_),
      stop_(s.stop_),
      log_(s.log_.IsOpen() ? &s.log_ : nullptr),
      probe_(s.settings_.probe),
      policy_(s.settings_) {
  probeMaxMen_ = probe_ ? probe_->MaxMen() : 0;
  // Mate-in-one answers are cheaper to recompute than to store.
  minStore_ = s.settings_.storeShortResults ? 3 : 4;
  cutRepetitions_ = s.settings_.cutRepetitions;
  shortMatePlies_ = s.settings_.customShortMateDepth >= 1 ? s.settings_.customShortMateDepth : 0;
  // The look-for-quicker-mate depth (moves) raises the short-mate check the
  // same way; a deeper check costs time, never a key.
  if (s.settings_.lookForQuickerMateDepth >= 1)
    shortMatePlies_ = std::max(shortMatePlies_, 2 * s.settings_.lookForQuickerMateDepth - 1);
  if constexpr (Policy::kStats) stats_.plies.resize(kMaxSearchPly + 4);
}

template <class Policy>
void TSearcher<Policy>::Reset(const TChessboard* line, int p) {
  for (int i = 0; i <= p; ++i) {
    stack_[i] = line[i];
    stack_[i].previous = i ? &stack_[i - 1] : nullptr;
  }
  policy_.Prepare(line[0]);
  bypass_ = 0;
  std::memset(killerW_, 0, sizeof killerW_);
  std::memset(killerB_, 0, sizeof killerB_);
  nCancels_ = 0;
  limitFlag_ = nullptr;
  helper_ = false;
  helperUntil_ = 0;
}

template <class Policy>
void TSearcher<Policy>::Flush() {
  s_.progress_.nodes.fetch_add(nodes_, std::memory_order_relaxed);
  nodes_ = 0;
  if constexpr (Policy::kStats) {
    s_.AddStats(stats_);
    const size_t n = stats_.plies.size();
    stats_ = TSearchStats{};
    stats_.plies.resize(n);
  }
}

// ------------------------------------------------------------ helpers

template <class Policy>
bool TSearcher<Policy>::IsMate(const TChessboard& b) {
  return !HasLegalMove(b) && InCheck(b);
}

// Where a White-to-move position is stored. The register is keyed by the
// board alone, which decides the legal moves unless a castling right is left
// or an e.p. capture is possible. Such positions go to a second register
// under a marked copy of the board: each rook that may still castle and the
// pawn that may be taken e.p. carry bit 0x20, which no piece code has, so
// positions that differ only in their rights never share a result.
template <class Policy>
void TSearcher<Policy>::KeyOf(const TChessboard& b, TKey& k) {
  const uint8_t rights = CastlingRights(b);
  const int ep = EnPassantTarget(b);
  if (!rights && ep < 0) {
    k.reg = &reg_;
    k.board = b.board;
    k.hash = b.regHash;
    return;
  }
  std::memcpy(k.marked, b.board, 64);
  k.hash = b.regHash;
  auto mark = [&k](int sq) {
    k.marked[sq] |= 0x20;
    k.hash += 0x20u * T.hashWeight[sq];
  };
  if (rights & kCastleWK) mark(kH1);
  if (rights & kCastleWQ) mark(kA1);
  if (rights & kCastleBK) mark(kH8);
  if (rights & kCastleBQ) mark(kA8);
  if (ep >= 0) mark(b.WhiteToMove() ? ep - 8 : ep + 8);
  k.reg = &rightsReg_;
  k.board = k.marked;
}

template <class Policy>
bool TSearcher<Policy>::IsRepetition(int p) const {
  const TChessboard& b = stack_[p];
  for (int q = p - 2; q >= 0; q -= 2) {
    const TChessboard& a = stack_[q];
    if (a.regHash == b.regHash && std::memcmp(a.board, b.board, 64) == 0 &&
        CastlingRights(a) == CastlingRights(b) && EnPassantTarget(a) == EnPassantTarget(b))
      return true;
  }
  return false;
}

template <class Policy>
void TSearcher<Policy>::PutFirst(TMove* m, int n, const TMove* killers) {
  int at = 0;
  for (int k = 0; k < 2; ++k) {
    const TMove kl = killers[k];
    if (kl.from == kl.to) continue;
    for (int i = at; i < n; ++i)
      if (m[i].from == kl.from && m[i].to == kl.to && m[i].promotion == kl.promotion) {
        const TMove t = m[i];
        std::memmove(m + at + 1, m + at, sizeof(TMove) * static_cast<size_t>(i - at));
        m[at++] = t;
        break;
      }
  }
}

template <class Policy>
void TSearcher<Policy>::Remember(TMove* killers, const TMove& m) {
  if (killers[0].from == m.from && killers[0].to == m.to && killers[0].promotion == m.promotion) return;
  killers[1] = killers[0];
  killers[0] = m;
}

// Depth of the short-mate check, from the Black king's freedom: a king with
// at most one free square is worth a look for mate in 3, otherwise mate in 2.
template <class Policy>
int TSearcher<Policy>::ShortMateDepth(const TChessboard& b) {
  const int bk = b.BlackKingSquare();
  uint64_t around = T.king[bk] & ~b.occupied[1];
  const uint64_t occNoKing = (b.occupied[0] | b.occupied[1]) ^ Bit(bk);
  int free = 0;
  while (around && free < 2)
    if (!detail::AttackedBy<kWhite>(b, PopLsb(around), occNoKing)) ++free;
  return free <= 1 ? 5 : 3;
}

// The probe knows positions by their board alone, so one with a castling
// right or an e.p. capture is never asked.
template <class Policy>
bool TSearcher<Policy>::ProbeAllowed(const TChessboard& b) const {
  return std::popcount(b.occupied[0] | b.occupied[1]) <= probeMaxMen_ && !CastlingRights(b) &&
         EnPassantTarget(b) < 0;
}

// ------------------------------------------------------------ mate in one

// White to move in stack_[p]: is there a mate in one? Only checks can mate.
template <class Policy>
bool TSearcher<Policy>::MateInOne(int p) {
  const TChessboard& b = stack_[p];
  TMove sure[kMaxMoves], maybe[kMaxMoves];
  int nMaybe = 0;
  const int n = search::GenWhiteChecks(b, sure, maybe, &nMaybe);
  TChessboard& c = stack_[p + 1];
  if constexpr (Policy::kStats) ++stats_.mate1Calls;
  // The mating move ends the line in the search log.
  auto found = [&](const TMove& m) {
    if constexpr (Policy::kStats) ++stats_.mate1Found;
    if (log_) {
      log_->Move(p + 1, m, b.board[m.from]);
      log_->Result(p + 1, kResMate);
    }
    return true;
  };
  for (int i = 0; i < n; ++i) {
    PlayMove(b, c, sure[i]);
    CountNode(p + 1);
    if constexpr (Policy::kStats) ++stats_.mate1Nodes;
    if (!detail::CountLegal<kBlack, true>(c)) return found(sure[i]);
  }
  for (int i = 0; i < nMaybe; ++i) {
    PlayMove(b, c, maybe[i]);
    CountNode(p + 1);
    if constexpr (Policy::kStats) ++stats_.mate1Nodes;
    if (IsKingAttacked(c, kBlack) && !detail::CountLegal<kBlack, true>(c)) return found(maybe[i]);
  }
  return false;
}

template <class Policy>
bool TSearcher<Policy>::Threatens(int p, int plies) {
  // The null move: Black passes, White moves again.
  TChessboard& n = stack_[p + 2];
  n = stack_[p + 1];
  n.previous = &stack_[p + 1];
  n.lastMove = TMove{};
  n.remainingPlies = static_cast<uint16_t>(stack_[p + 1].remainingPlies - 1);
  n.whiteKingCheck = n.blackKingCheck = -1;
  ++bypass_;
  const bool mate = plies <= 1 ? MateInOne(p + 2) : White(p + 2, plies) == kResMate;
  --bypass_;
  return mate;
}

template <class Policy>
bool TSearcher<Policy>::ReducedHasNoMate(int p, int d) {
  const TChessboard& b = stack_[p];
  if (std::popcount(b.occupied[0] | b.occupied[1]) != probeMaxMen_ + 1 || CastlingRights(b) ||
      EnPassantTarget(b) >= 0)
    return false;
  const int sq = THeuristicPolicy::LeastValuableWhiteMan(b);
  if (sq < 0) return false;
  TChessboard& c = stack_[p + 1];
  c = b;
  c.board[sq] = 0;
  c.previous = nullptr;
  try {
    ValidateAndRecount(c, false);
  } catch (const ChessException&) {
    return false;
  }
  const TProbeAnswer a = probe_->Probe(c, p);
  return a.status == TProbeStatus::kNoMate || (a.status == TProbeStatus::kMate && 2 * a.mateInMoves - 1 > d);
}

// ------------------------------------------------------------ nodes

// White to move in stack_[p], bound d plies (odd).
template <class Policy>
uint8_t TSearcher<Policy>::White(int p, int d) {
  if (nodes_ >= (1u << 16)) Flush();  // keeps the progress figures live
  if (s_.pause_.load(std::memory_order_relaxed) || pausedSelf.load(std::memory_order_relaxed))
    s_.WaitWhilePaused(pausedSelf);
  if (cutRepetitions_ && p >= 2 && IsRepetition(p)) {
    s_.repetitionSeen_.store(true, std::memory_order_relaxed);
    return kResRepetition;
  }
  if (log_) registerPlies_ = -1;
  if constexpr (Policy::kMayCut) {
    // A line that breaks a rule is doubtful, unless White mates at once.
    if (!bypass_ && (policy_.Violated(stack_, p, d) ||
                     (probe_ && d >= 3 && policy_.ReducesToStoredPosition() && ReducedHasNoMate(p, d))))
      return MateInOne(p) ? kResMate : kResDoubtful;
  }
  if (d == 1 && minStore_ > 1) return MateInOne(p) ? kResMate : kResNoMate;
  TChessboard& b = stack_[p];
  const bool storable = d >= minStore_;
  TKey key;
  if (storable) KeyOf(b, key);
  int lo = 0;
  if (storable) {
    uint16_t first = 0, second = 0;
    if constexpr (Policy::kStats) ++At(p).regProbes;
    if (key.reg->Probe(key.board, key.hash, first, second)) {
      if (first && first <= d) {
        if (log_) {
          log_->Line("Mate found (pos.in temp.reg.)");
          registerPlies_ = first;
        }
        if constexpr (Policy::kStats) ++At(p).regHits;
        return kResMate;
      }
      if (second >= d) {
        if (log_) registerPlies_ = second;
        if constexpr (Policy::kStats) ++At(p).regHits;
        return kResNoMate;
      }
      lo = second;
    }
    if constexpr (Policy::kMayCut) {
      // What this set already failed to mate at this bound or deeper.
      // A shallower failure lets the search start deeper, as an exact one does.
      uint16_t doubtful = 0, notDoubtful = 0;
      if (!bypass_ && key.reg->ProbeSub(policy_.SubKey(), key.board, key.hash, doubtful, notDoubtful)) {
        if (doubtful >= d) return kResDoubtful;
        lo = std::max<int>(lo, doubtful);
      }
    }
  }
  // A mate in one is cheaper to find than any probe answer.
  if (probe_ && d >= 3 && ProbeAllowed(b)) return WhiteProbed(p, d, storable, key, lo);
  return Deepen(p, d, lo, storable, key, nullptr, 0);
}

// The White node of White() when the position probe may know it. Its answer
// is exact: a mate in k moves decides the node within the bound both ways.
template <class Policy>
uint8_t TSearcher<Policy>::WhiteProbed(int p, int d, bool storable, TKey& key, int lo) {
  const TChessboard& b = stack_[p];
  const TProbeAnswer a = probe_->Probe(b, p);
  if (a.status == TProbeStatus::kMate && a.mateInMoves >= 1) {
    const int plies = 2 * a.mateInMoves - 1;
    if (plies <= d) {
      if (storable) Store(p, key, static_cast<uint16_t>(plies), true);
      return kResMate;
    }
    if (storable) Store(p, key, static_cast<uint16_t>(d), false);
    return kResNoMate;
  }
  if (a.status == TProbeStatus::kNoMate) {
    if (storable) Store(p, key, static_cast<uint16_t>(d), false);
    return kResNoMate;
  }
  TMove skip[kMaxMoves];
  const int nSkip = std::clamp(probe_->MovesWithoutMate(b, p, skip, kMaxMoves), 0, kMaxMoves);
  return Deepen(p, d, lo, storable, key, skip, nSkip);
}

// The search proper of a White node: short mates first, since they are cheap
// and end the node at once, then the full bound. `lo` is a bound already
// known to fail; the moves in skip[] cannot lead to mate.
template <class Policy>
uint8_t TSearcher<Policy>::Deepen(int p, int d, int lo, bool storable, TKey& key, const TMove* skip,
                                  int nSkip) {
  const TChessboard& b = stack_[p];
  const int shortLimit = std::max(ShortMateDepth(b), shortMatePlies_);
  int k = lo >= 1 ? lo + 2 : 1;
  uint8_t r = kResNoMate;
  for (;;) {
    [[maybe_unused]] const uint64_t nodes0 = nodes_;
    r = k == 1 ? (MateInOne(p) ? kResMate : kResNoMate) : WhiteMoves(p, k, skip, nSkip);
    if constexpr (Policy::kStats) {
      if (k < d && (k == 3 || k == 5)) {
        uint64_t& calls = k == 3 ? stats_.mate2Calls : stats_.mate3Calls;
        uint64_t& found = k == 3 ? stats_.mate2Found : stats_.mate3Found;
        uint64_t& nodes = k == 3 ? stats_.mate2Nodes : stats_.mate3Nodes;
        ++calls;
        found += r == kResMate;
        // nodes_ may have been flushed meanwhile; then the share is lost.
        if (nodes_ >= nodes0) nodes += nodes_ - nodes0;
      }
    }
    if (Stopped()) return kResEndOfDepth;
    if (r == kResMate) {
      if (storable) Store(p, key, static_cast<uint16_t>(k), true);
      return kResMate;
    }
    if (k >= d) break;
    k = (k + 2 <= shortLimit && k + 2 < d) ? k + 2 : d;
  }
  // Only a proof is stored: a failure that a repetition took part in depends
  // on the line, and a doubtful one on what the policy cut.
  if (r == kResNoMate && storable) Store(p, key, static_cast<uint16_t>(d), false);
  if constexpr (Policy::kMayCut) {
    if (r == kResDoubtful && storable && !bypass_)
      key.reg->InsertSub(policy_.SubKey(), static_cast<uint16_t>(d), key.board, key.hash, true);
  }
  return r;
}

template <class Policy>
uint8_t TSearcher<Policy>::WhiteMoves(int p, int k, const TMove* skip, int nSkip) {
  const TChessboard& b = stack_[p];
  TMove moves[kMaxMoves];
  const int n = search::GenLegal<kWhite>(b, moves);
  if (helper_ && p < helperUntil_) std::reverse(moves, moves + n);
  PutFirst(moves, n, killerW_[p]);
  bool repetition = false;
  [[maybe_unused]] bool doubtful = false;
  [[maybe_unused]] int tried = 0;
  for (int i = 0; i < n; ++i) {
    if (nSkip && std::any_of(skip, skip + nSkip, [&](const TMove& s) { return s.SameAs(moves[i]); }))
      continue;
    PlayMove(b, stack_[p + 1], moves[i]);
    if constexpr (Policy::kMayCut) {
      if (!bypass_) {
        using V = THeuristicPolicy::TWhiteVerdict;
        const V v = policy_.WhiteMove(b, moves[i], stack_[p + 1], k);
        if (v == V::kCut || (v == V::kIfThreat && !Threatens(p, std::min(policy_.ThreatPlies(), k - 2)))) {
          doubtful = true;
          continue;
        }
      }
    }
    CountNode(p + 1);
    if (log_) log_->Move(p + 1, moves[i], b.board[moves[i].from]);
    const uint8_t r = Black(p + 1, k - 1);
    if (log_) log_->Result(p + 1, r);
    if (r == kResMate) {
      if constexpr (Policy::kStats) {
        ++At(p).cutNodes;
        At(p).firstCuts += tried == 0;
      }
      Remember(killerW_[p], moves[i]);
      return kResMate;
    }
    if (Stopped()) return kResEndOfDepth;
    if (r == kResRepetition) repetition = true;
    ++tried;
    if constexpr (Policy::kMayCut) {
      if (r == kResDoubtful) doubtful = true;
    }
  }
  if constexpr (Policy::kMayCut) {
    if (doubtful) return kResDoubtful;
  }
  return repetition ? kResRepetition : kResNoMate;
}

// Black to move in stack_[p], bound d plies (even).
template <class Policy>
uint8_t TSearcher<Policy>::Black(int p, int d) {
  const TChessboard& b = stack_[p];
  TMove moves[kMaxMoves];
  const int n = search::GenLegal<kBlack>(b, moves);
  if (n == 0) return IsKingAttacked(b, kBlack) ? kResMate : kResNoMate;  // stalemate holds
  PutFirst(moves, n, killerB_[p]);
  if (etc_ && d - 1 >= minStore_) {
    // A reply whose position is already proved to hold refutes at once.
    for (int i = 0; i < n; ++i) {
      PlayMove(b, stack_[p + 1], moves[i]);
      TKey key;
      KeyOf(stack_[p + 1], key);
      uint16_t first = 0, second = 0;
      if (key.reg->Probe(key.board, key.hash, first, second) && second >= d - 1) {
        if constexpr (Policy::kStats) ++At(p).etcCuts;
        Remember(killerB_[p], moves[i]);
        return kResNoMate;
      }
      if constexpr (Policy::kMayCut) {
        uint16_t doubtful = 0, notDoubtful = 0;
        if (!bypass_ && key.reg->ProbeSub(policy_.SubKey(), key.board, key.hash, doubtful, notDoubtful) &&
            doubtful >= d - 1) {
          Remember(killerB_[p], moves[i]);
          return kResDoubtful;
        }
      }
    }
  }
  [[maybe_unused]] bool cut = false;
  for (int i = 0; i < n; ++i) {
    if constexpr (Policy::kMayCut) {
      if (Policy::CutBlackDefence(b, moves[i], d)) {
        cut = true;
        continue;
      }
    }
    PlayMove(b, stack_[p + 1], moves[i]);
    CountNode(p + 1);
    if (log_) log_->Move(p + 1, moves[i], b.board[moves[i].from]);
    const uint8_t r = White(p + 1, d - 1);
    if (log_) {
      log_->Result(p + 1, r, registerPlies_);
      registerPlies_ = -1;
    }
    if (r != kResMate) {
      if constexpr (Policy::kStats) {
        ++At(p).cutNodes;
        At(p).firstCuts += i == 0;
      }
      Remember(killerB_[p], moves[i]);
      return r;
    }
    if (Stopped()) return kResEndOfDepth;
  }
  if constexpr (Policy::kMayCut) {
    if (cut) return Policy::MateAfterDefenceCut();
  }
  return kResMate;
}

template <class Policy>
uint8_t TSearcher<Policy>::BlackAt(int p, int d) {
  if (d == 0) return IsMate(stack_[p]) ? kResMate : kResNoMate;
  return Black(p, d);
}

template <class Policy>
uint8_t TSearcher<Policy>::FirstRepliesHold(int p, int d, int tries, TMove* moves, int n) {
  const TChessboard& b = stack_[p];
  PutFirst(moves, n, killerB_[p]);
  for (int i = 0; i < n && i < tries; ++i) {
    PlayMove(b, stack_[p + 1], moves[i]);
    CountNode(p + 1);
    const uint8_t r = White(p + 1, d - 1);
    if (r != kResMate) {
      Remember(killerB_[p], moves[i]);
      return r;
    }
    if (Stopped()) return kResEndOfDepth;
  }
  return kResMate;
}

template <class Policy>
uint8_t TSearcher<Policy>::RootMove(const TMove& m, int d) {
  PlayMove(stack_[0], stack_[1], m);
  CountNode(1);
  if (log_) log_->Move(1, m, stack_[0].board[m.from]);
  uint8_t r;
  if (d == 1)
    r = IsMate(stack_[1]) ? kResMate : kResNoMate;
  else
    r = Black(1, d - 1);
  if (log_) log_->Result(1, r);
  if (nodes_ > 4096) Flush();
  return r;
}

template class TSearcher<TExactPolicy>;
template class TSearcher<TExactStatsPolicy>;
template class TSearcher<THeuristicPolicy>;

}  // namespace ostravel
