#pragma once
// A mate run split into units: the root's candidate moves, each solved as a
// run of its own (TSolveRequest::rootMoves), whose keys are put back together
// as one run would show them. Units can be solved in other processes; their
// keys travel in the text form below.
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/search_types.h"
#include "engine/solve_request.h"

namespace ostravel {

class TAggregatedTemporaryChessboardRegister;

// The root's candidate keys in the order a run tries them: the legal moves
// (of the marked men only under a restriction), the sort indications first.
// Empty when the request's position is not a valid root.
std::vector<TMove> RootWorkUnits(const TSolveRequest& r);

// Puts keys into the order of the root's legal moves, the order every run
// prints them in, whichever thread or rank found them first.
void SortKeysInRootOrder(const TChessboard& root, std::vector<TSolution>& keys);

// The keys of the units as one run reports them: each key once, in the
// root's move order.
std::vector<TSolution> MergeUnitSolutions(const TSolveRequest& r,
                                          const std::vector<std::vector<TSolution>>& units);

// A self-contained text of keys with their threats and variations, and its
// reading (false for a text that is cut or damaged).
std::string SerializeSolutions(const std::vector<TSolution>& solutions);
bool DeserializeSolutions(const std::string& text, std::vector<TSolution>& out);

// The proved bounds one process shares with the others solving the same
// problem: the exact part's mate and no-mate counts of at least minPlies
// plies (shorter ones are cheaper to find again than to carry), each sent
// once unless it improves. A batch is a run of 68-byte register records.
class TSharedBounds {
 public:
  explicit TSharedBounds(int minPlies) : minPlies_(minPlies) {}
  // The records of reg worth sending that this process has neither sent nor
  // received with bounds as good.
  std::string NewBatch(const TAggregatedTemporaryChessboardRegister& reg);
  // Merges a batch from another process into reg. Returns the records merged,
  // or -1 for a damaged batch (its possible records are merged all the same).
  long Merge(TAggregatedTemporaryChessboardRegister& reg, const std::string& batch);
  int MinPlies() const { return minPlies_; }

 private:
  // Remembers the better bounds of a board; true when they improve on what was known.
  bool Note(const uint8_t* board, uint16_t mate, uint16_t noMate);

  int minPlies_;
  // By a 64-bit digest of the board: a collision only keeps a record home.
  std::unordered_map<uint64_t, std::pair<uint16_t, uint16_t>> known_;
};

}  // namespace ostravel
