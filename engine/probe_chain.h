#pragma once
// Several sources of exact answers asked in turn: precalculated data first
// (local and cheap), then a tablebase. The first source that knows a position
// answers it.
#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include "engine/position_probe.h"

namespace ostravel {

struct TSolveRequest;
class TTablebaseSession;

class TProbeChain final : public IPositionProbe {
 public:
  void Add(IPositionProbe* p) {
    if (!p) return;
    probes_.push_back(p);
    maxMen_ = std::max(maxMen_, p->MaxMen());
  }
  // The probe to hand to a search: null for none, the only one, or the chain.
  IPositionProbe* Get() { return probes_.empty() ? nullptr : probes_.size() == 1 ? probes_[0] : this; }

  TProbeAnswer Probe(const TChessboard& pos, int plyFromRoot) override {
    const int men = Men(pos);
    for (IPositionProbe* p : probes_) {
      if (men > p->MaxMen()) continue;
      const TProbeAnswer a = p->Probe(pos, plyFromRoot);
      if (a.status != TProbeStatus::kUnknown) return a;
    }
    return {};
  }
  int MovesWithoutMate(const TChessboard& pos, int plyFromRoot, TMove* out, int capacity) override {
    const int men = Men(pos);
    for (IPositionProbe* p : probes_) {
      if (men > p->MaxMen()) continue;
      if (const int n = p->MovesWithoutMate(pos, plyFromRoot, out, capacity)) return n;
    }
    return 0;
  }
  int MaxMen() const override { return maxMen_; }

 private:
  static int Men(const TChessboard& pos) { return std::popcount(pos.occupied[0] | pos.occupied[1]); }
  std::vector<IPositionProbe*> probes_;
  int maxMen_ = 0;
};

// The probes of one problem's run, as every front end gives them: into chain
// (which must outlive the run) the global register first, then the problem's
// table of the tablebase session; r gets the chain's probe. Either source may
// be null. The table's reports go to notes.
void AttachProbes(TProbeChain& chain, TSolveRequest& r, IPositionProbe* globalRegister,
                  TTablebaseSession* tablebase, std::vector<std::string>* notes);

}  // namespace ostravel
