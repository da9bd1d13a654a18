#pragma once
// The defence task: Black to move, each of his replies searched for White's
// shortest mate within n, and the best defence named.
#include <cstddef>
#include <string>
#include <vector>

#include "chess/board.h"
#include "engine/engine_texts.h"

namespace ostravel {

// One reply of Black in the defence task.
struct TDefenceReply {
  TMove move{};
  std::string text;
  bool searched = false;
  int mateIn = 0;  // White's shortest mate after the reply, in moves; 0: none within n
};

struct TDefenceResult {
  std::vector<TDefenceReply> replies;  // every legal reply, in generation order
  int shortMateMoves = 0;              // a mate in at most this many moves counts as short
  TEngineText headline = TEngineText::kDefenceNoValidMove;
  std::vector<size_t> best;        // the reply (or replies) named under the headline
  std::vector<size_t> equivalent;  // further replies as good as the best
  uint32_t registerEntries = 0;    // positions after a reply kept in the defence register
};

// Chooses the headline and the named replies from the replies' values:
// "No valid move found" without replies; "The only reply..." forms for a
// single legal reply or a single reply that is not mated within the short-mate
// depth; otherwise the refutations ("Mate in the requested stipulation was
// refuted with:") or, when every reply is mated, the longest resistance ("Not
// found any defence against mate. The best looks:"). Unsearched replies are
// left out.
void ClassifyDefence(TDefenceResult& d);

}  // namespace ostravel
