#pragma once
// The node-search policy of a pass with special heuristics. It never leaves
// out a Black defence, so every mate it finds is a real mate and may go to
// the exact register; what it cuts is White's side (moves not searched,
// lines declared doubtful), and a White node that failed after a cut returns
// kResDoubtful, which only the heuristic sub-register keeps.
#include <cstdint>
#include <memory>
#include <vector>

#include "chess/board.h"
#include "engine/heuristics.h"
#include "engine/search_types.h"

namespace ostravel {

class THeuristicPolicy {
 public:
  static constexpr bool kMayCut = true;
  static constexpr bool kStats = false;

  explicit THeuristicPolicy(const TSearchSettings& s);

  // Takes what the rules compare with from the root of the search.
  void Prepare(const TChessboard& root);

  // White to move in stack[p] (Black has just moved), d plies left: does the
  // line break a rule? The caller still lets an immediate mate stand.
  bool Violated(const TChessboard* stack, int p, int d) const;

  enum class TWhiteVerdict : uint8_t { kSearch, kCut, kIfThreat };
  // White's move m from b, giving `after`, with bound k plies at b. kIfThreat:
  // searched only when it threatens mate within ThreatPlies() (FindForcedMate).
  TWhiteVerdict WhiteMove(const TChessboard& b, const TMove& m, const TChessboard& after, int k) const;
  int ThreatPlies() const { return threatPlies_; }
  // SH_REDUCTIONTOGLOBREGPOS: the line is doubtful when the position without
  // White's least valuable man (not the king) has no mate in the moves left
  // by the global register's answer; the searcher asks its probe.
  bool ReducesToStoredPosition() const { return set_ & SH_REDUCTIONTOGLOBREGPOS; }
  // The square of that man, -1 when White has none.
  static int LeastValuableWhiteMan(const TChessboard& b);

  static constexpr bool CutBlackDefence(const TChessboard&, const TMove&, int) { return false; }
  static constexpr uint8_t MateAfterDefenceCut() { return kResDoubtful; }

  // Key of the sub-register where this set's doubtful results live (0: the
  // set is empty and the search is exact).
  uint64_t SubKey() const { return subKey_; }
  const THeuristicState& State() const { return h_; }

  // Black figures blocked at the root (no move of their own), which the
  // figure-unblock rule guards when it may be applied dynamically.
  static std::vector<int> BlockedBlackFigures(const TChessboard& root);

 private:
  struct TGuard {
    int square;
    uint8_t code;
  };
  bool EdgeBroken(const TChessboard* stack, int q) const;
  bool EdgeRelaxed(const TChessboard& b) const;
  int FreeSquaresAroundBlackKing(const TChessboard& b) const;
  int BlockedBlackPawns(const TChessboard& b) const;

  THeuristicState h_;
  uint32_t set_ = 0;
  uint64_t subKey_ = 0;
  int threatPlies_ = 0;
  bool ffmPlus_ = false;
  // FindForcedMate "partially with other heuristics": the other rules wait
  // for the second half of the line.
  bool othersLate_ = false;
  // the root
  uint8_t rootCounts_[kCountSlots] = {};
  int rootBlackFigures_ = 0;
  int rootBlackPawns_ = 0;
  int rootWhiteKing_ = -1;
  int rootBlockedPawns_ = 0;
  bool rootHadMajor_ = false;
  std::vector<TGuard> guards_;  // figures not let unblock
  uint64_t rootWhitePieces_ = 0;
  uint64_t zugzwangWhite_[2] = {};  // White men of the zugzwang position: squares, and set when known
  uint8_t zugzwangBoard_[64] = {};
  bool zugzwangKnown_ = false;
};

}  // namespace ostravel
