#include "engine/heuristic_policy.h"

#include <algorithm>
#include <cstdlib>

#include "chess/movegen_impl.h"
#include "chess/notation.h"
#include "chess/tables.h"
#include "registers/temporary_register.h"

namespace ostravel {

using namespace tables;

namespace {

constexpr uint64_t kEdge = 0xFF818181818181FFull;
constexpr uint64_t kSecondRing = 0x007E424242427E00ull;
constexpr uint64_t kInnerCorners = (1ull << 9) | (1ull << 14) | (1ull << 49) | (1ull << 54);  // b2 g2 b7 g7
constexpr uint64_t kMainDiagonals = 0x8142241818244281ull;
constexpr uint64_t kLightSquares = 0x55AA55AA55AA55AAull;
// The heuristics that judge White's moves; a set without them (the edge
// rules alone, say) leaves every move to be searched at no cost.
constexpr uint32_t kWhiteMoveRules = SH_DONTRECEDEBLACKKING | SH_DONTLEAVEMAINDIAGONAL |
                                     SH_SWEEPINGWHITEROOK | SH_ONECOLORPLAYPOSSIBLE | SH_KEYWHITEFIGURE |
                                     SH_SINGLEQUEENMATE | SH_ZUGZWANGTRIANGLES | SH_SEASNAKE |
                                     SH_SKIPWORSTWHITEMOVES | SH_FINDFORCEDMATE;

int Distance(int a, int b) {
  return std::max(std::abs((a & 7) - (b & 7)), std::abs((a >> 3) - (b >> 3)));
}

bool GivesMate(const TChessboard& after) {
  return IsCheckmate(after);
}

int BlackFigures(const TChessboard& b) {
  return b.counts[kCntBQ] + b.counts[kCntBR] + b.counts[kCntBB] + b.counts[kCntBN];
}

int FfmThreatPlies(uint8_t level) {
  switch (level) {
    case kFfmMate1:
    case kFfmMate1Plus:
      return 1;
    case kFfmMate2:
    case kFfmMate2Plus:
      return 3;
    case kFfmMate3:
      return 5;
    case kFfmMate4:
      return 7;
    case kFfmMate5:
      return 9;
    default:
      return 0;
  }
}

}  // namespace

THeuristicPolicy::THeuristicPolicy(const TSearchSettings& s) {
  if (s.heuristics) h_ = *s.heuristics;
  set_ = h_.set;
  if (set_) subKey_ = SubRegisterKey(set_, HeuristicParameterDigest(h_));
  if (set_ & SH_FINDFORCEDMATE) {
    threatPlies_ = FfmThreatPlies(h_.ffmLevel);
    ffmPlus_ = h_.ffmLevel == kFfmMate1Plus || h_.ffmLevel == kFfmMate2Plus;
    othersLate_ = h_.ffmWithOtherHeuristics < 0;
  }
}

std::vector<int> THeuristicPolicy::BlockedBlackFigures(const TChessboard& root) {
  std::vector<int> out;
  for (int sq = 0; sq < 64; ++sq) {
    const uint8_t c = root.board[sq];
    if (ColourOf(c) != kBlack || KindOf(c) == kKing) continue;
    TMove m[kMaxMoves];
    if (GenerateBlackPieceMoves(root, sq, m) == 0) out.push_back(sq);
  }
  return out;
}

int THeuristicPolicy::LeastValuableWhiteMan(const TChessboard& b) {
  static constexpr uint8_t kOrder[] = {WP, WN, WB, WR, WQ};
  for (uint8_t code : kOrder) {
    uint64_t men = b.occupied[0];
    while (men) {
      const int sq = PopLsb(men);
      if (b.board[sq] == code) return sq;
    }
  }
  return -1;
}

int THeuristicPolicy::BlockedBlackPawns(const TChessboard& b) const {
  int n = 0;
  for (int sq = 8; sq < 64; ++sq)
    if (b.board[sq] == BP && b.board[sq - 8] != 0) ++n;
  return n;
}

void THeuristicPolicy::Prepare(const TChessboard& root) {
  if (!set_) return;
  std::copy(root.counts, root.counts + kCountSlots, rootCounts_);
  rootBlackFigures_ = BlackFigures(root);
  rootBlackPawns_ = root.counts[kCntBP];
  rootWhiteKing_ = root.WhiteKingSquare();
  rootBlockedPawns_ = BlockedBlackPawns(root);
  rootHadMajor_ = root.counts[kCntWQ] + root.counts[kCntWR] > 0;
  rootWhitePieces_ = root.occupied[0];
  guards_.clear();
  if (set_ & SH_DONTLETFIGUREUNBLOCK) {
    std::vector<int> squares = h_.blockedSquares;
    if (h_.dlfuDynamic)
      for (int sq : BlockedBlackFigures(root))
        if (std::find(squares.begin(), squares.end(), sq) == squares.end()) squares.push_back(sq);
    for (int sq : squares)
      if (sq >= 0 && sq < 64 && ColourOf(root.board[sq]) == kBlack) guards_.push_back({sq, root.board[sq]});
  }
  zugzwangKnown_ = false;
  if ((set_ & SH_ZUGZWANG) && !h_.zugzwangMoves.empty()) {
    // The position to return to: the root with the given moves played.
    TChessboard line[2];
    line[0] = root;
    bool ok = true;
    for (const std::string& text : h_.zugzwangMoves) {
      try {
        const TMove m = ReadUserMove(line[0], text);
        PlayMove(line[0], line[1], m);
        line[1].previous = nullptr;
        line[0] = line[1];
      } catch (const std::exception&) {
        ok = false;
        break;
      }
    }
    if (ok) {
      std::copy(line[0].board, line[0].board + 64, zugzwangBoard_);
      zugzwangKnown_ = true;
    }
  }
}

int THeuristicPolicy::FreeSquaresAroundBlackKing(const TChessboard& b) const {
  const int bk = b.BlackKingSquare();
  uint64_t around = T.king[bk] & ~b.occupied[1];
  const uint64_t occ = (b.occupied[0] | b.occupied[1]) ^ Bit(bk);
  int free = 0;
  while (around)
    if (!detail::AttackedBy<kWhite>(b, PopLsb(around), occ)) ++free;
  return free;
}

// Dynamic relaxation of the edge rules: a White pawn about to promote, or
// enough Black men taken, changes the type of the position.
bool THeuristicPolicy::EdgeRelaxed(const TChessboard& b) const {
  if (h_.relaxOnAdvancedPawn) {
    uint64_t pawns = b.occupied[0];
    while (pawns) {
      const int sq = PopLsb(pawns);
      if (b.board[sq] == WP && (sq >> 3) >= 5) return true;
    }
  }
  if (h_.relaxOnFiguresCaptured > 0) {
    int taken = rootBlackFigures_ - BlackFigures(b);
    if (h_.relaxAlsoPawns) taken += rootBlackPawns_ - b.counts[kCntBP];
    if (taken >= h_.relaxOnFiguresCaptured) return true;
  }
  return false;
}

// Does the Black king stand (or has it just moved) where the edge rules of
// the set forbid? stack[q] has White to move.
bool THeuristicPolicy::EdgeBroken(const TChessboard* stack, int q) const {
  const TChessboard& b = stack[q];
  const int bk = b.BlackKingSquare();
  const bool moved = q > 0 && stack[q - 1].BlackKingSquare() != bk;
  const bool relaxed = (h_.relaxOnAdvancedPawn || h_.relaxOnFiguresCaptured > 0) && EdgeRelaxed(b);
  const uint64_t corner = h_.inclCorner ? kInnerCorners : 0;
  if ((set_ & SH_KEEPKINGONTHEEDGE) && !(relaxed && !h_.relaxExtEdgeOnly)) {
    if (h_.edgeStrict && h_.edgeAlmostStrict) {
      // The king may step only onto the edge, and only when it must.
      if (moved && !((kEdge | corner) >> bk & 1)) return true;
    } else if (h_.edgeStrict) {
      if (moved) return true;
    } else if (!((kEdge | corner) >> bk & 1)) {
      return true;
    }
  }
  if ((set_ & SH_KEEPKINGWITHINEXTEDGE) && !relaxed) {
    if (!((kEdge | kSecondRing | corner) >> bk & 1)) return true;
    // strict: once on the edge, the king stays there
    if (h_.extEdgeStrict && moved && (kEdge >> stack[q - 1].BlackKingSquare() & 1) && !(kEdge >> bk & 1))
      return true;
  }
  if ((set_ & SH_KEEPKINGNEARCORNER) && !relaxed && h_.cornerDistance != 0) {
    const int n = std::abs(h_.cornerDistance);
    const int dist = std::min({Distance(bk, kA1), Distance(bk, kH1), Distance(bk, kA8), Distance(bk, kH8)});
    if (dist > n) return true;
  }
  return false;
}

bool THeuristicPolicy::Violated(const TChessboard* stack, int p, int d) const {
  if (!set_ || p == 0) return false;
  if (othersLate_ && 2 * (stack[p].initialPlies - stack[p].remainingPlies) < stack[p].initialPlies)
    return false;
  const TChessboard& b = stack[p];
  const TChessboard& before = stack[p - 1];
  const TMove last = b.lastMove;
  const int bk = b.BlackKingSquare();
  const int wk = b.WhiteKingSquare();

  if (set_ & (SH_KEEPKINGONTHEEDGE | SH_KEEPKINGWITHINEXTEDGE | SH_KEEPKINGNEARCORNER)) {
    if (EdgeBroken(stack, p)) {
      // Deferred check: the line is doubtful only once the rule has been
      // broken at deferCheck White nodes in a row without a relaxing event.
      int run = 1;
      if (h_.deferCheck > 0)
        for (int q = p - 2; q >= 2 && run <= h_.deferCheck && EdgeBroken(stack, q); q -= 2) ++run;
      if (run > h_.deferCheck) return true;
    }
  }
  if ((set_ & SH_ASSERTBLACKKINGSURROUNDED) && FreeSquaresAroundBlackKing(b) > (h_.surroundedStrict ? 2 : 3))
    return true;
  // The White king must be able to come next to the Black one in the moves
  // left (before the mating move).
  if ((set_ & SH_AREKINGSNEAR) && Distance(wk, bk) - 2 > (d - 1) / 2) return true;
  if ((set_ & SH_SAVEQUEENROOK) && rootHadMajor_ && b.counts[kCntWQ] + b.counts[kCntWR] == 0) {
    bool promotion = false;
    for (int sq = 48; sq < 56; ++sq) promotion |= b.board[sq] == WP;
    if (!promotion) return true;
  }
  if ((set_ & SH_DONTLOSEANYFIGURES) && !last.IsNull()) {
    const uint8_t taken = before.board[last.to];
    if (ColourOf(taken) == kWhite) {
      if (KindOf(taken) != kPawn) return true;
      if (h_.pawnsMode == 1) return true;
      if (h_.pawnsMode == 2 && (last.to >> 3) >= 5) return true;
    }
  }
  if ((set_ & (SH_DONTLETPROMOTEDQUEENMOVE | SH_DONTLETPROMOTEDFIGUREMOVE)) && !last.IsNull() &&
      last.promotion) {
    const bool any = set_ & SH_DONTLETPROMOTEDFIGUREMOVE;
    if (any || (last.promotion & kKindMask) == kQueen) {
      // An en-prise promoted man is no danger yet, unless strict.
      const bool enPrise = IsSquareAttackedBy(b, last.to, kWhite);
      if (h_.promotedStrict || !enPrise) return true;
    }
  }
  if (set_ & SH_DONTLETBLACKQUEENCHECKTWICE) {
    int checks = 0;
    for (int q = p; q >= 1; q -= 2) {
      const TChessboard& x = stack[q];
      if (!x.lastMove.IsNull() && x.board[x.lastMove.to] == BQ && IsKingAttacked(x, kWhite) && ++checks >= 2)
        return true;
    }
  }
  for (const TGuard& g : guards_) {
    // The guarded man is gone from its neighbourhood without being taken.
    if ((T.king[g.square] | Bit(g.square)) & b.occupied[1]) {
      bool near = b.board[g.square] == g.code;
      uint64_t around = T.king[g.square] & b.occupied[1];
      while (!near && around) near = b.board[PopLsb(around)] == g.code;
      if (near) continue;
    }
    const uint8_t slot = CountSlotOf(g.code);
    if (slot != 0xFF && b.counts[slot] >= rootCounts_[slot]) return true;
  }
  if ((set_ & SH_DONTLEAVEMAINDIAGONAL) && h_.mainDiagonalSquare >= 0 && !last.IsNull() &&
      (kMainDiagonals >> last.from & 1) && !(kMainDiagonals >> last.to & 1) &&
      KindOf(b.board[last.to]) != kKing && KindOf(b.board[last.to]) != kPawn)
    return true;
  if ((set_ & SH_KEYLINE) && h_.keyLine >= 0) {
    // A White rook or queen keeps the key file.
    bool held = false;
    for (int r = 0; r < 8 && !held; ++r) {
      const uint8_t c = b.board[r * 8 + h_.keyLine];
      held = c == WR || c == WQ;
    }
    if (!held) return true;
  }
  if ((set_ & SH_KEYDIAGONAL) && h_.keyDiagonal[0] >= 0 && h_.keyDiagonal[1] >= 0) {
    uint64_t line = T.line[h_.keyDiagonal[0]][h_.keyDiagonal[1]] & b.occupied[0];
    bool held = false;
    while (line && !held) {
      const uint8_t c = b.board[PopLsb(line)];
      held = c == WB || c == WQ;
    }
    if (!held) return true;
  }
  if ((set_ & SH_KEYSQUARE) && h_.keySquare >= 0 && ColourOf(b.board[h_.keySquare]) != kWhite &&
      !IsSquareAttackedBy(b, h_.keySquare, kWhite))
    return true;
  if ((set_ & SH_USEBLOCKBLACKPAWNSLEVEL) && BlockedBlackPawns(b) < rootBlockedPawns_) return true;
  if ((set_ & SH_CAPTUREKNIGHT) && d <= 3 && b.counts[kCntBN]) return true;
  if ((set_ & SH_3MOVESTOMATE) && d == 5 && FreeSquaresAroundBlackKing(b) > 4) return true;
  if ((set_ & SH_SEASNAKE) && h_.seaSnakePendulum[0] >= 0 && p / 2 >= h_.seaSnakeAfter) {
    const uint8_t a = b.board[h_.seaSnakePendulum[0]];
    const uint8_t c = h_.seaSnakePendulum[1] >= 0 ? b.board[h_.seaSnakePendulum[1]] : 0;
    if (ColourOf(a) != kBlack && ColourOf(c) != kBlack) return true;
  }
  if ((set_ & SH_ZUGZWANG) && zugzwangKnown_ && p / 2 >= std::max(1, h_.zugzwangAfter)) {
    // White must be back in the zugzwang position, or one man away from it.
    int off = 0;
    for (int sq = 0; sq < 64 && off < 2; ++sq) {
      const bool w1 = ColourOf(b.board[sq]) == kWhite, w2 = ColourOf(zugzwangBoard_[sq]) == kWhite;
      if ((w1 || w2) && (w1 != w2 || b.board[sq] != zugzwangBoard_[sq])) ++off;
    }
    if (off >= 3) return true;
  }
  return false;
}

THeuristicPolicy::TWhiteVerdict THeuristicPolicy::WhiteMove(const TChessboard& b, const TMove& m,
                                                            const TChessboard& after, int k) const {
  using V = TWhiteVerdict;
  if (!(set_ & kWhiteMoveRules)) return V::kSearch;
  const uint8_t piece = b.board[m.from];
  const uint8_t kind = KindOf(piece);
  const bool capture = b.board[m.to] != 0 || m.enPassant;
  const bool check = IsKingAttacked(after, kBlack);
  bool cut = false;
  const bool others = !othersLate_ || 2 * (b.initialPlies - b.remainingPlies) >= b.initialPlies;
  if ((set_ & SH_DONTRECEDEBLACKKING) && kind == kKing) {
    const int bk = b.BlackKingSquare();
    cut |= Distance(m.to, bk) > Distance(m.from, bk);
  }
  if ((set_ & SH_DONTLEAVEMAINDIAGONAL) && kind == kBishop && (kMainDiagonals >> m.from & 1) &&
      !(kMainDiagonals >> m.to & 1))
    cut = true;
  if ((set_ & SH_SWEEPINGWHITEROOK) && kind == kRook && (m.from >> 3) != (m.to >> 3) && !capture && !check)
    cut = true;
  if ((set_ & SH_ONECOLORPLAYPOSSIBLE) && kind != kKing && !capture && !check) {
    const bool light = kLightSquares >> m.to & 1;
    if (h_.colourMode == 1 && !light) cut = true;
    if (h_.colourMode == 2 && light) cut = true;
    if (h_.colourMode == 3 || h_.colourMode == 0) {
      // Away from the Black bishop's squares.
      uint64_t bishops = b.occupied[1];
      while (bishops) {
        const int sq = PopLsb(bishops);
        if (b.board[sq] == BB && ((kLightSquares >> sq & 1) == light)) cut = true;
      }
    }
  }
  if ((set_ & SH_KEYWHITEFIGURE) && m.from == h_.keyWhiteFigure) cut = true;
  if ((set_ & SH_SINGLEQUEENMATE) && kind != kQueen) cut = true;
  if ((set_ & SH_ZUGZWANGTRIANGLES) && kind == kKing && Distance(m.to, rootWhiteKing_) > 1) cut = true;
  if ((set_ & SH_SEASNAKE) && kind == kKing && h_.seaSnakeApproach >= 0 && h_.seaSnakeTurnBack >= 0) {
    const int a = h_.seaSnakeApproach, t = h_.seaSnakeTurnBack;
    const bool onTriangle = m.to == a || m.to == t || (Distance(m.to, a) <= 1 && Distance(m.to, t) <= 1);
    if (!onTriangle && (b.initialPlies - b.remainingPlies) / 2 >= h_.seaSnakeAfter) cut = true;
  }
  if ((set_ & SH_SKIPWORSTWHITEMOVES) && kind != kKing && !capture && !check &&
      IsSquareAttackedBy(after, m.to, kBlack) && !IsSquareAttackedBy(after, m.to, kWhite))
    cut = true;
  // A rule never cuts the mating move.
  if (cut && others) return GivesMate(after) ? V::kSearch : V::kCut;

  if ((set_ & SH_FINDFORCEDMATE) && k >= 3) {
    // Checks and promotions are forcing; so is every answer to a check.
    if (check || m.promotion || IsKingAttacked(b, kWhite)) return V::kSearch;
    if (ffmPlus_ && capture && Distance(m.to, b.BlackKingSquare()) <= 1) return V::kSearch;
    if (h_.ffmLevel == kFfmCheckOnly || threatPlies_ == 0) return V::kCut;
    return V::kIfThreat;
  }
  return V::kSearch;
}

}  // namespace ostravel
