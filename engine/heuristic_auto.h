#pragma once
// `--heuristics auto`: an initial set of special heuristics chosen from the
// problem's position (the rule is in the README).
#include <string>

#include "engine/heuristics.h"

namespace ostravel {

struct TSolveRequest;

THeuristicState AutoHeuristics(const TSolveRequest& r);

// What a front end's heuristics option does to a request: "auto" chooses the
// set from the position, any other text is read by ApplyHeuristicText on top
// of what the request holds; the passes with heuristics are then relaxed step
// by step before the exact one. False with the message in *error for a text
// that cannot be read, the request then unchanged.
bool ApplyHeuristicsOption(TSolveRequest& r, const std::string& text, std::string* error = nullptr);

}  // namespace ostravel
