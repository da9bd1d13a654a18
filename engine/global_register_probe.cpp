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

uint64_t MaterialKey(const uint8_t counts[kCountSlots]) {
  uint64_t key = 0;
  for (int i = 0; i < kCountSlots; ++i) key |= uint64_t{std::min<uint8_t>(counts[i], 15)} << (4 * i);
  return key;
}

CGlobalRegisterProbe::CGlobalRegisterProbe(const std::filesystem::path& folder, size_t memoryBudget,
                                           int maxMen)
    : store_(std::make_shared<CPrecalcStore>(folder, memoryBudget)), maxMen_(maxMen) {
  ListMaterials();
}

CGlobalRegisterProbe::CGlobalRegisterProbe(std::shared_ptr<CPrecalcStore> store, int maxMen)
    : store_(std::move(store)), maxMen_(maxMen) {
  ListMaterials();
}

void CGlobalRegisterProbe::ListMaterials() {
  for (const std::string& type : store_->FileTypes()) {
    uint8_t counts[kCountSlots] = {};
    bool ok = true;
    for (char c : type) {
      const uint8_t kind = KindFromLetter(c);
      if (!kind) ok = false;
      if (!kind || kind == kKing) continue;
      const uint8_t slot = CountSlotOf(static_cast<uint8_t>((c >= 'a' ? kBlack : kWhite) | kind));
      if (slot < kCountSlots) ++counts[slot];
    }
    if (ok) materials_.push_back(MaterialKey(counts));
  }
  std::sort(materials_.begin(), materials_.end());
}

TProbeAnswer CGlobalRegisterProbe::Probe(const TChessboard& pos, int plyFromRoot) {
  (void)plyFromRoot;
  const uint64_t key = MaterialKey(pos.counts);
  // White with the king alone is answered without data (never a mate).
  const bool whiteBare = (pos.occupied[0] & (pos.occupied[0] - 1)) == 0;
  if (!whiteBare && !std::binary_search(materials_.begin(), materials_.end(), key)) return {};
  return ProbeGlobalRegister(*store_, pos);
}

}  // namespace ostravel
