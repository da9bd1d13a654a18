#include "engine/global_register_probe.h"

#include <algorithm>

#include "config/settings.h"
#include "precalc/position_type.h"

namespace ostravel {

std::unique_ptr<CGlobalRegisterProbe> OpenGlobalRegister() {
  std::filesystem::path folder;
  try {
    folder = GlobalRegisterFolder();
  } catch (const std::exception&) {
    return nullptr;
  }
  uint64_t budget = Settings().precalcLimitBytes;
  if (budget == 0) budget = uint64_t{1} << 30;
  auto store = std::make_shared<CPrecalcStore>(folder, static_cast<size_t>(budget));
  int maxMen = 0;
  for (const std::string& t : store->FileTypes()) maxMen = std::max(maxMen, static_cast<int>(t.size()));
  if (maxMen == 0) return nullptr;
  return std::make_unique<CGlobalRegisterProbe>(store, maxMen);
}

std::string GlobalRegisterNotice(const CGlobalRegisterProbe& probe) {
  std::string s;
  for (const std::string& t : probe.UsedTypes()) s += (s.empty() ? "" : ", ") + t;
  return "Global registers used: " + (s.empty() ? std::string("none") : s);
}

TProbeAnswer ProbeGlobalRegister(CPrecalcStore& store, const TChessboard& pos) {
  TProbeAnswer a;
  // The tables know neither castling nor e.p. captures: such positions are
  // searched, never answered.
  if (!pos.WhiteToMove() || CastlingRights(pos) != 0 || EnPassantTarget(pos) >= 0) return a;
  // Nor a board that no table can hold (an edited or damaged one).
  if (!PrecalcPositionError(pos.board).empty()) return a;
  uint8_t v = 0;
  if (store.Lookup(pos.board, v) != CPrecalcStore::TResult::kValue) return a;
  if (v == kPrecalcNoMate) {
    a.status = TProbeStatus::kNoMate;
  } else {
    a.status = TProbeStatus::kMate;
    a.mateInMoves = v;
  }
  return a;
}

CGlobalRegisterProbe::CGlobalRegisterProbe(const std::filesystem::path& folder, size_t memoryBudget,
                                           int maxMen)
    : store_(std::make_shared<CPrecalcStore>(folder, memoryBudget)), maxMen_(maxMen) {}

CGlobalRegisterProbe::CGlobalRegisterProbe(std::shared_ptr<CPrecalcStore> store, int maxMen)
    : store_(std::move(store)), maxMen_(maxMen) {}

TProbeAnswer CGlobalRegisterProbe::Probe(const TChessboard& pos, int plyFromRoot) {
  (void)plyFromRoot;
  return ProbeGlobalRegister(*store_, pos);
}

}  // namespace ostravel
