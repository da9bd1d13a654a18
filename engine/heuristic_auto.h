#pragma once
// `--heuristics auto`: an initial set of special heuristics chosen from the
// problem's position (the rule is in the README).
#include <string>

#include "engine/heuristics.h"

namespace ostravel {

struct TSolveRequest;

THeuristicState AutoHeuristics(const TSolveRequest& r);

// The proof-number pass that "auto" puts before pass 1 of a long problem:
// 30 s from #6 on, 50 s from #12 on, where the proofs are deeper and the
// heuristic passes rarely reach a key pass 0 has missed.
constexpr int kAutoProofSearchMinMoves = 6;
constexpr double kAutoProofSearchSeconds = 30;
constexpr int kAutoProofSearchDeepMoves = 12;
constexpr double kAutoProofSearchDeepSeconds = 50;
double AutoProofSearchSeconds(int moves);

// What a front end's heuristics option does to a request: "auto" chooses the
// set from the position, any other text is read by ApplyHeuristicText on top
// of what the request holds; the passes with heuristics are then relaxed step
// by step before the exact one. False with the message in *error for a text
// that cannot be read, the request then unchanged.
bool ApplyHeuristicsOption(TSolveRequest& r, const std::string& text, std::string* error = nullptr);

}  // namespace ostravel
