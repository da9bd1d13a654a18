#pragma once
// `--heuristics auto`: an initial set of special heuristics chosen from the
// problem's position (the rule is in the README).
#include "engine/heuristics.h"

namespace ostravel {

struct TSolveRequest;

THeuristicState AutoHeuristics(const TSolveRequest& r);

}  // namespace ostravel
