#include "engine_adapter.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <stdexcept>

#include "config/settings.h"
#include "engine/autosave.h"
#include "engine/engine_texts.h"
#include "registers/register_file_pin.h"
#include "registers/temporary_register.h"

namespace ostravel::gui {

void ApplyMode(TSolveRequest& r, TGuiMode m) {
  r.bruteForce = false;
  r.hybridPhase = 0;
  switch (m) {
    case TGuiMode::kSingle:
      r.mode = SolutionMode::kSingle;
      break;
    case TGuiMode::kStopOnDual:
      r.mode = SolutionMode::kAtMost2;
      break;
    case TGuiMode::kStopOn3:
      r.mode = SolutionMode::kAtMost3;
      break;
    case TGuiMode::kStopOn4:
      r.mode = SolutionMode::kAtMost4;
      break;
    case TGuiMode::kAll:
      r.mode = SolutionMode::kAll;
      break;
    case TGuiMode::kBruteForce:
      r.mode = SolutionMode::kAll;
      r.bruteForce = true;
      break;
    case TGuiMode::kHybrid:
      // Phase 1 looks for one key, phase 2 for the duals.
      r.mode = SolutionMode::kSingle;
      r.hybridPhase = 1;
      break;
  }
}

TGuiMode ModeOfRequest(const TSolveRequest& r) {
  if (r.hybridPhase != 0) return TGuiMode::kHybrid;
  if (r.bruteForce) return TGuiMode::kBruteForce;
  switch (r.mode) {
    case SolutionMode::kSingle:
      return TGuiMode::kSingle;
    case SolutionMode::kAtMost2:
      return TGuiMode::kStopOnDual;
    case SolutionMode::kAtMost3:
      return TGuiMode::kStopOn3;
    case SolutionMode::kAtMost4:
      return TGuiMode::kStopOn4;
    case SolutionMode::kAll:
      break;
  }
  return TGuiMode::kAll;
}

std::shared_ptr<TAggregatedTemporaryChessboardRegister> ReadRegister(const std::filesystem::path& path,
                                                                     std::string* report) {
  std::error_code ec;
  const uint64_t bytes = std::filesystem::file_size(path, ec);
  auto reg = std::make_shared<TAggregatedTemporaryChessboardRegister>(
      LoadBucketCount(SizeFigureForFile(ec ? 0 : bytes), Settings().tempRegLimitMB), 0);
  const TRegisterReadResult r =
      ReadRegisterFile(*reg, path, reg->BucketCount(), RegisterReadOptionsFrom(Settings()));
  if (!r.completed) {
    if (report) *report = r.error;
    return nullptr;
  }
  if (report) *report = r.report;
  return reg;
}

std::string SaveRegister(const TAggregatedTemporaryChessboardRegister& reg, const std::filesystem::path& path,
                         bool compress) {
  TRegisterSaveOptions opt;
  opt.compress = compress;
  opt.limitMB = Settings().tempRegLimitMB;
  const TRegisterSaveResult r = SaveRegisterFile(reg, path, opt);
  std::string text;
  for (const auto& m : r.messages) text += (text.empty() ? "" : "\n") + m.text;
  if (r.status == 0) throw std::runtime_error(text.empty() ? std::string(kErrWriting) : text);
  return text.empty() ? SaveReportText(path.string(), r) : text;
}

std::array<uint8_t, 64> BoardAfter(const TProblem& p, const std::vector<TMove>& moves) {
  // The whole line stays linked: castling rights and the e.p. square are
  // derived from it.
  auto ctx = std::make_unique<TTaskContext>();
  std::vector<TChessboard> stack(moves.size() + 1);
  p.MakeRoot(stack[0], *ctx, false);
  size_t cur = 0;
  for (const TMove& m : moves) {
    if (!IsLegal(stack[cur], m)) break;
    PlayMove(stack[cur], stack[cur + 1], m);
    ++cur;
  }
  std::array<uint8_t, 64> out;
  std::copy(std::begin(stack[cur].board), std::end(stack[cur].board), out.begin());
  return out;
}

void TRunRegister::Prepare(const TProblem& p, TEngineTask task,
                           std::shared_ptr<TAggregatedTemporaryChessboardRegister> loaded, TSolveRequest& r,
                           std::vector<std::string>& notes) {
  (void)notes;
  // The run itself loads the pinned file into this register, auto-saves into
  // a slot of its own and clears or keeps the slot at its end.
  reg_ = loaded ? loaded : MakeRunRegister(p.moves, p.whiteToMove, r.registerLimitMB);
  r.reg = reg_;
  if (task != TEngineTask::kMate) r.autoSave.enabled = false;
}

}  // namespace ostravel::gui
