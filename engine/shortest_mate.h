#pragma once
// The shortest mate of a position, found by deepening: exact searches for
// every key of #from, #from+1, ... up to #to, stopping at the first length
// that has a mate. The runs share one register within a memory budget, so
// what #k proved serves #k+1. This is what an engine protocol's "go" needs;
// printing its lines is the front end's.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "problems/problem.h"

namespace ostravel {

// Depth of a variation tree in White moves.
int TreeDepth(const std::vector<TVariation>& vs);
// The key and the longest resistance below it: key, Black's move, White's
// answer, ... (the first of equally long ones).
std::vector<TMove> PrincipalVariation(const TSolution& s);

struct TShortestMateOptions {
  int fromMoves = 1;
  int toMoves = kMaxStipulationMoves;
  // The shared register's budget; 0: the default share of memory. A single
  // length (from == to) runs on a register of this budget, or on the run's
  // own when 0.
  uint64_t registerMB = 0;
  const std::atomic<bool>* stop = nullptr;  // raised: the search ends with what it found
  double timeLimit = 0;                     // seconds for the whole search; 0 none
  // Every tick of a run, on the caller's thread: the length searched, the
  // engine (for its snapshot) and the nodes of the earlier lengths.
  std::function<void(int moves, TEngine& engine, uint64_t nodesBefore)> onTick;
  // A length proved to have no mate; nodes so far.
  std::function<void(int moves, uint64_t nodes)> onNoMate;
  std::chrono::milliseconds tick{20};
};

struct TShortestMateResult {
  std::vector<TSolution> keys;  // the keys found, shortest mate first
  int noMateIn = 0;             // no mate in this many moves is proved
  bool stopped = false;         // the stop flag or the time limit ended the search
  std::string error;            // a run was refused or failed (its text)
  uint64_t nodes = 0;
};

// Deepens on the request's position (White to move; mode, length and
// register are set here, the rest is the caller's).
TShortestMateResult FindShortestMate(const TSolveRequest& base, const TShortestMateOptions& o);

}  // namespace ostravel
