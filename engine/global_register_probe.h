#pragma once
// The global register as a source of exact answers for the search: a White
// node whose material is a stored position type is answered from the
// precalculated data (mate in k, or no mate) instead of being searched.
#include <memory>
#include <string>
#include <vector>

#include "engine/position_probe.h"
#include "precalc/precalc_store.h"

namespace ostravel {

class CGlobalRegisterProbe final : public IPositionProbe {
 public:
  // Reads the data of `folder` within `memoryBudget` bytes; `maxMen` bounds the
  // material asked about (no stored type is larger than five men).
  CGlobalRegisterProbe(const std::filesystem::path& folder, size_t memoryBudget, int maxMen = 5);
  explicit CGlobalRegisterProbe(std::shared_ptr<CPrecalcStore> store, int maxMen = 5);

  TProbeAnswer Probe(const TChessboard& pos, int plyFromRoot) override;
  int MaxMen() const override { return maxMen_; }

  // Types that answered at least one probe, in first-use order.
  std::vector<std::string> UsedTypes() const { return store_->UsedTypes(); }
  CPrecalcStore& Store() { return *store_; }

 private:
  std::shared_ptr<CPrecalcStore> store_;
  int maxMen_;
  // Materials with a file, sorted: most probes are of a material without
  // data, and the count slots answer that without a look at the board.
  std::vector<uint64_t> materials_;
  void ListMaterials();
};

// A material as one number: the men of each count slot, four bits a slot.
uint64_t MaterialKey(const uint8_t counts[kCountSlots]);

// The global register of the data folder (PrecalcPath, else CustomPrecalc)
// within the precalculated-data memory limit of the settings; null when the
// folder holds no data. MaxMen is the size of the largest stored type.
std::unique_ptr<CGlobalRegisterProbe> OpenGlobalRegister();

// "Global registers used: KQk, KRk" (or "Global registers used: none").
std::string GlobalRegisterNotice(const CGlobalRegisterProbe& probe);

// Answer for a position from a store, whatever the side to move's rights:
// unknown with castling rights, an e.p. capture possible, Black to move, or a
// type without data.
TProbeAnswer ProbeGlobalRegister(CPrecalcStore& store, const TChessboard& pos);

}  // namespace ostravel
