#pragma once
// The online tablebase as a source of exact knowledge for the search.
//
// How its answers are read, so that they stay exact for a problem (where no
// fifty-move rule applies and only a forced mate counts):
// - a draw or a loss for White (a blessed loss included) means White can
//   never force mate: the position, and every White move from it, is "no
//   mate"; a move whose resulting position is a draw or a win for Black
//   cannot lead to mate;
// - a win for White (a cursed win included: the fifty-move rule does not
//   bind a problem) proves mate but not its length;
// - the length comes only from the distance to mate (plies, signed from the
//   side to move, from tables that ignore the fifty-move rule), never from
//   the distance to zeroing. The shortest mate is one ply more than the
//   smallest distance among the moves into a lost position for Black, and is
//   used only when every legal move is in the answer with a known value and
//   the distances have the parity of a mate; otherwise a mate's length stays
//   unknown.
#include "engine/position_probe.h"
#include "tablebase/lichess_client.h"

namespace ostravel {

class TTablebaseProbe : public IPositionProbe {
 public:
  // Lookups go through the client (its LichessLevels limits them to the
  // White nodes of the first levels) into the problem's table.
  TTablebaseProbe(CLiChessHTTP& client, TLiChessTable& table) : client_(client), table_(table) {}

  TProbeAnswer Probe(const TChessboard& pos, int plyFromRoot) override;
  int MovesWithoutMate(const TChessboard& pos, int plyFromRoot, TMove* out, int capacity) override;
  int MaxMen() const override { return kTablebaseMaxMen; }

  // The reading above, on an answer already at hand (White to move in pos).
  static TProbeAnswer Verdict(const TChessboard& pos, const CLiChess& rec);
  static int MovesWithoutMate(const TChessboard& pos, const CLiChess& rec, TMove* out, int capacity);

  // Answers the search received (from the table or the service).
  long Answers() const { return answers_.load(std::memory_order_relaxed); }

 private:
  bool Ask(const TChessboard& pos, int plyFromRoot, CLiChess* rec);

  CLiChessHTTP& client_;
  TLiChessTable& table_;
  std::atomic<long> answers_{0};
};

}  // namespace ostravel
