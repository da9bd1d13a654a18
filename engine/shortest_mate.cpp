#include "engine/shortest_mate.h"

#include <algorithm>

#include "engine/analysis.h"

namespace ostravel {

int TreeDepth(const std::vector<TVariation>& vs) {
  int best = 0;
  for (const auto& v : vs) best = std::max(best, 1 + TreeDepth(v.next));
  return best;
}

std::vector<TMove> PrincipalVariation(const TSolution& s) {
  std::vector<TMove> pv{s.key};
  const std::vector<TVariation>* level = &s.variations;
  while (!level->empty()) {
    const TVariation* best = &level->front();
    int bestDepth = -1;
    for (const auto& v : *level) {
      const int d = TreeDepth(v.next);
      if (d > bestDepth) {
        bestDepth = d;
        best = &v;
      }
    }
    pv.push_back(best->black);
    pv.push_back(best->white);
    level = &best->next;
  }
  return pv;
}

TShortestMateResult FindShortestMate(const TSolveRequest& base, const TShortestMateOptions& o) {
  TShortestMateResult out;
  const auto t0 = std::chrono::steady_clock::now();
  auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(); };
  // The lengths share one register: what #k proved serves #k+1. Sized as a
  // run of eight moves: deeper runs still fit their budget, shallow ones do
  // not pay for a huge table.
  const bool deepening = o.fromMoves != o.toMoves;
  const auto shared = deepening ? MakeRunRegister(8, true, o.registerMB) : nullptr;
  for (int k = o.fromMoves; k <= o.toMoves; ++k) {
    const double left = o.timeLimit > 0 ? o.timeLimit - elapsed() : 0;
    if ((o.stop && o.stop->load()) || (o.timeLimit > 0 && left <= 0)) {
      out.stopped = true;
      break;
    }
    TSolveRequest r = base;
    r.moves = k;
    r.mode = SolutionMode::kAll;
    r.reg = shared;
    if (!shared && o.registerMB) r.reg = MakeRunRegister(k, true, o.registerMB);
    r.clearRegisterOnStart = false;  // the register is this search's own, shared by its lengths
    TRunWatch watch;
    watch.stop = o.stop;
    watch.timeLimit = left;
    watch.tick = o.tick;
    const uint64_t before = out.nodes;
    if (o.onTick) watch.onTick = [&](TEngine& e) { o.onTick(k, e, before); };
    const TRunOutcome run = RunMateOnFreshEngine(r, watch);
    out.error = RunError(run);
    if (!out.error.empty()) break;
    const TSolveResult& res = run.result;
    out.nodes += res.nodes;
    out.stopped = run.stoppedByFlag || run.timedOut || res.status == TRunStatus::kStopped;
    if (!res.solutions.empty()) {
      out.keys = res.solutions;
      break;
    }
    if (out.stopped) break;
    out.noMateIn = k;
    if (o.onNoMate) o.onNoMate(k, out.nodes);
  }
  std::stable_sort(out.keys.begin(), out.keys.end(),
                   [](const TSolution& a, const TSolution& b) { return a.mateIn < b.mateIn; });
  return out;
}

}  // namespace ostravel
