#pragma once
// Best-first proof of directmate keys: a depth-bounded proof-number search
// (df-pn) over the AND/OR tree of "White mates in at most d moves".
//
// The iterative search proves a long mate by refuting every White move at
// every depth; a proof-number search follows the lines where Black has the
// fewest replies and proves a mate of twenty moves while the iterative search
// is still at eight. What it proves is exact: every Black move is answered.
// Its table is a hash table, though, so a key is reported only after its
// proof tree has been walked again with real boards (VerifyKey), every Black
// defence generated and every line ending in checkmate. A move it fails to
// prove is no evidence of anything: "no further key" is left to the exact
// search.
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "chess/board.h"

namespace ostravel {

struct TProofSearchOptions {
  // When the search gives up (the keys proved by then are kept).
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
  // Asked now and then: true gives up.
  std::function<bool()> stopWanted;
  // Size of the proof-number table (rounded down to a power of two).
  std::size_t tableMB = 64;
  // A child is searched until its numbers pass its best sibling's by
  // 1/slack: 2 suits the long endings best, 4 some of them better, so two
  // threads search with one each.
  int slack = 2;
  // Stop after this many keys (0: look for all of them).
  int keyLimit = 0;
  // Called with each key as soon as its proof has been checked.
  std::function<void(const TMove&)> onKey;
  // Called from the search now and then with the nodes searched so far.
  std::function<void(uint64_t)> onProgress;
};

struct TProofSearchResult {
  std::vector<TMove> keys;  // proved and checked, in the order found
  // Every root move was decided (proved or refuted) within the bound; the
  // refutations rest on the hash table, so this is not a proof of "no key".
  bool allDecided = false;
  uint64_t nodes = 0;
};

class TProofSearch {
 public:
  explicit TProofSearch(const TProofSearchOptions& options);
  ~TProofSearch();
  TProofSearch(const TProofSearch&) = delete;
  TProofSearch& operator=(const TProofSearch&) = delete;

  // The keys of "#nMoves" from `root` (White to move), as many as the time
  // allows.
  TProofSearchResult Run(const TChessboard& root, int nMoves);

  // Checks a proof without trusting the table's word for any position: true
  // when White, after playing `key` from `root`, mates in at most nMoves - 1
  // further moves against every defence. Parts of the proof the table has
  // lost are searched again (until the deadline).
  bool VerifyKey(const TChessboard& root, const TMove& key, int nMoves);

  uint64_t Nodes() const;

 private:
  struct TImpl;
  std::unique_ptr<TImpl> impl_;
};

}  // namespace ostravel
