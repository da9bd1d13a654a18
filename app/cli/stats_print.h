#pragma once
// Prints the search's counters (--stats of bench and solve).
#include <cstdio>

#include "engine/search_stats.h"

namespace ostravel::cli {

inline void PrintSearchStats(const TSearchStats& s, FILE* out = stdout) {
  auto pct = [](uint64_t a, uint64_t b) {
    return b ? 100.0 * static_cast<double>(a) / static_cast<double>(b) : 0.0;
  };
  const uint64_t total = s.TotalNodes();
  std::fprintf(out, "  %4s %14s %6s %12s %12s %12s %12s %12s %6s\n", "ply", "nodes", "%", "reg probes",
               "reg hits", "reg stores", "cut nodes", "etc cuts", "1st%");
  for (size_t i = 0; i < s.plies.size(); ++i) {
    const TSearchPlyStats& p = s.plies[i];
    std::fprintf(out, "  %4zu %14llu %6.2f %12llu %12llu %12llu %12llu %12llu %6.1f\n", i,
                 static_cast<unsigned long long>(p.nodes), pct(p.nodes, total),
                 static_cast<unsigned long long>(p.regProbes), static_cast<unsigned long long>(p.regHits),
                 static_cast<unsigned long long>(p.regStores), static_cast<unsigned long long>(p.cutNodes),
                 static_cast<unsigned long long>(p.etcCuts), pct(p.firstCuts, p.cutNodes));
  }
  std::fprintf(out, "  total nodes %llu\n", static_cast<unsigned long long>(total));
  auto routine = [&](const char* name, uint64_t calls, uint64_t found, uint64_t nodes) {
    std::fprintf(out, "  %s: %llu calls, %llu mates, %llu nodes (%.2f%% of all)\n", name,
                 static_cast<unsigned long long>(calls), static_cast<unsigned long long>(found),
                 static_cast<unsigned long long>(nodes), pct(nodes, total));
  };
  routine("mate in 1", s.mate1Calls, s.mate1Found, s.mate1Nodes);
  routine("mate in 2 tries (nodes below included)", s.mate2Calls, s.mate2Found, s.mate2Nodes);
  routine("mate in 3 tries (nodes below included)", s.mate3Calls, s.mate3Found, s.mate3Nodes);
}

}  // namespace ostravel::cli
