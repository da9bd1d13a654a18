#pragma once
// Where a search's nodes go: counters per ply and for the short-mate tries.
// Gathered only by the searcher built for it (a policy flag), per thread,
// and summed when a thread flushes its figures.
#include <algorithm>
#include <cstdint>
#include <vector>

namespace ostravel {

struct TSearchPlyStats {
  uint64_t nodes = 0;      // positions reached at this ply (the node counter's share)
  uint64_t regProbes = 0;  // register look-ups of White nodes at this ply
  uint64_t regHits = 0;    // look-ups that decided the node
  uint64_t regStores = 0;  // results stored from this ply
  uint64_t cutNodes = 0;   // nodes decided before their last move (White mates, Black holds)
  uint64_t firstCuts = 0;  // of those, decided by the first move tried
  uint64_t etcCuts = 0;    // Black nodes refuted by a reply already in the register
};

struct TSearchStats {
  std::vector<TSearchPlyStats> plies;  // index: ply below the root (0 the root)
  // The mate-in-1 routine: its calls, those that found a mate, its nodes.
  uint64_t mate1Calls = 0, mate1Found = 0, mate1Nodes = 0;
  // The short-mate tries before the full bound (mate in 2 and in 3), nodes
  // counted with everything below them.
  uint64_t mate2Calls = 0, mate2Found = 0, mate2Nodes = 0;
  uint64_t mate3Calls = 0, mate3Found = 0, mate3Nodes = 0;

  bool Empty() const { return plies.empty() && !mate1Calls; }
  uint64_t TotalNodes() const {
    uint64_t t = 0;
    for (const auto& p : plies) t += p.nodes;
    return t;
  }
  void Add(const TSearchStats& o) {
    if (plies.size() < o.plies.size()) plies.resize(o.plies.size());
    for (size_t i = 0; i < o.plies.size(); ++i) {
      TSearchPlyStats& a = plies[i];
      const TSearchPlyStats& b = o.plies[i];
      a.nodes += b.nodes;
      a.regProbes += b.regProbes;
      a.regHits += b.regHits;
      a.regStores += b.regStores;
      a.cutNodes += b.cutNodes;
      a.firstCuts += b.firstCuts;
      a.etcCuts += b.etcCuts;
    }
    mate1Calls += o.mate1Calls;
    mate1Found += o.mate1Found;
    mate1Nodes += o.mate1Nodes;
    mate2Calls += o.mate2Calls;
    mate2Found += o.mate2Found;
    mate2Nodes += o.mate2Nodes;
    mate3Calls += o.mate3Calls;
    mate3Found += o.mate3Found;
    mate3Nodes += o.mate3Nodes;
  }
};

}  // namespace ostravel
