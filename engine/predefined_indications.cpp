#include "engine/predefined_indications.h"

#include <algorithm>

#include "chess/chessboard_id.h"
#include "problems/problem.h"

namespace ostravel {

const std::vector<TPredefinedIndications>& PredefinedIndicationsTable() {
  // Miniatures whose black king is driven along the edge and mated there.
  static const std::vector<TPredefinedIndications> table = {
      {"000000g0g3dU16", "ExtEdge"},         // 1r5k/R3R3/K7/8/8/8/8/8 w, #6
      {"00wawj50006200", "ExtEdge"},         // 8/1k1K4/8/8/1pN5/1N6/8/8 w, #6
      {"6gE1QM30000000", "ExtEdge"},         // 8/8/8/8/8/2r5/6R1/1k4KR w, #9
      {"ww100e0l000w30", "ExtEdge Kf1-f2"},  // 8/7p/8/8/6N1/7p/8/5K1k w, #9
      {"34M107000E100wb", "ExtEdge"},        // 7n/8/1R6/8/8/2p5/p7/k3K3 w, #16
  };
  return table;
}

const char* FindPredefinedIndications(std::string_view positionId) {
  for (const TPredefinedIndications& e : PredefinedIndicationsTable())
    if (positionId == e.positionId) return e.indications;
  return nullptr;
}

bool ApplyPredefinedIndications(const TProblem& p, THeuristicState& s, std::vector<TMove>* sortMoves,
                                std::string* error) {
  std::string id;
  try {
    id = TChessboardId(p.position.initialBoard).ToAlphanum6();
  } catch (const ChessException&) {
    return false;  // no position of a known composition
  }
  const char* indications = FindPredefinedIndications(id);
  return indications && ApplyPredefinedIndicationText(p, indications, s, sortMoves, error);
}

bool ApplyPredefinedIndicationText(const TProblem& p, const std::string& indications, THeuristicState& s,
                                   std::vector<TMove>* sortMoves, std::string* error) {
  THeuristicState next = s;
  std::string reason;
  if (!ApplyIndications(indications, next, &reason)) {
    if (error) *error = "Error occurred in ApplyPredefinedAdditionalHeuristics() : " + reason;
    return false;
  }
  TProblem withIndications = p;
  withIndications.sortIndications = indications;
  std::string moveError;
  const std::vector<TMove> moves = SortIndicationMoves(withIndications, &moveError);
  if (!moveError.empty()) {
    if (error) *error = "Error in predefined sort indications.";
    return false;
  }
  if (sortMoves)
    for (const TMove& m : moves)
      if (std::find(sortMoves->begin(), sortMoves->end(), m) == sortMoves->end()) sortMoves->push_back(m);
  s = std::move(next);
  return true;
}

}  // namespace ostravel
