#pragma once
// Indications kept for known compositions (UsePredefinedIndications): the
// heuristics and sort moves that suit each, keyed by the position
// identifier (TChessboardId::ToAlphanum6 of the start position).
#include <string>
#include <string_view>
#include <vector>

#include "chess/board.h"
#include "engine/heuristics.h"

namespace ostravel {

struct TProblem;

struct TPredefinedIndications {
  const char* positionId;
  const char* indications;  // keywords and sort moves, as on a "//@SortIndications: " line
};

// The whole table, for the tests and for marking known problems.
const std::vector<TPredefinedIndications>& PredefinedIndicationsTable();

// The indications of a position identifier; nullptr when it is not a known one.
const char* FindPredefinedIndications(std::string_view positionId);

// Adds the predefined indications of the problem's position: its keywords
// into s, its sort moves (moves of the problem's start position) appended to
// *sortMoves when given, without repeats. Returns false when the position is
// not a known one or on error; on error *error is set and s is unchanged.
bool ApplyPredefinedIndications(const TProblem& p, THeuristicState& s, std::vector<TMove>* sortMoves,
                                std::string* error);
// The same for one indication text of the table.
bool ApplyPredefinedIndicationText(const TProblem& p, const std::string& indications, THeuristicState& s,
                                   std::vector<TMove>* sortMoves, std::string* error);

}  // namespace ostravel
