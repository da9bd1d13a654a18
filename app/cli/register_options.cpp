#include "register_options.h"

#include <algorithm>
#include <exception>
#include <stdexcept>

#include "engine/analysis.h"

namespace ostravel::cli {

std::string TRegisterOptions::Consume(std::vector<std::string>& args) {
  std::vector<std::string> rest;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto value = [&](std::string& to) -> bool {
      if (i + 1 >= args.size() || args[i + 1].empty()) return false;
      to = args[++i];
      return true;
    };
    if (a == "--load-register") {
      if (!value(loadFile)) return "--load-register needs a file";
    } else if (a == "--save-register") {
      if (!value(saveFile)) return "--save-register needs a file";
    } else if (a == "--compress") {
      compress = true;
    } else if (a == "--limit-mb") {
      std::string v;
      if (!value(v)) return "--limit-mb needs a number of MB";
      try {
        std::size_t used = 0;
        const unsigned long long mb = std::stoull(v, &used);
        if (used != v.size() || mb == 0 || mb > (1ull << 40)) throw std::exception();
        limitMB = mb;
        limitGiven = true;
      } catch (const std::exception&) {
        return "--limit-mb needs a whole number of MB above 0, not " + v;
      }
    } else {
      rest.push_back(a);
    }
  }
  if ((compress || limitGiven) && saveFile.empty())
    return "--compress and --limit-mb go with --save-register";
  args.swap(rest);
  return {};
}

void TRegisterOptions::ApplyTo(TSolveRequest& r) const {
  if (!loadFile.empty()) r.registerFiles.loadFile = loadFile;
  if (!saveFile.empty()) r.registerFiles.saveFile = saveFile;
  r.registerFiles.compress = compress;
  if (limitGiven) r.registerFiles.saveLimitMB = limitMB;
}

const char* TRegisterOptions::HelpText() {
  return "  --load-register FILE  load a saved temporary register (.tmpReg) before the search\n"
         "  --save-register FILE  save the temporary register after the search\n"
         "  --compress            save it compressed (LZ4)\n"
         "  --limit-mb N          save at most N MB, the longest results first\n"
         "                        (default: the temporary register's memory limit)\n";
}

TRegisterSolve SolveOnRegister(std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg,
                               const TChessboard& root, int nMoves, const TSearchSettings& settings,
                               double stopAfterSeconds, std::atomic<bool>* interrupt, bool explain) {
  TRegisterSolve out;
  TSolveRequest r;
  r.problemId = 1;
  r.position = root.context ? *root.context : TTaskContext{};
  std::copy(std::begin(root.board), std::end(root.board), std::begin(r.position.initialBoard));
  r.whiteToMove = true;
  r.moves = nMoves;
  r.mode = settings.mode;
  r.threads = static_cast<uint8_t>(std::clamp(settings.threads, 1, 255));
  r.levels = static_cast<uint8_t>(std::clamp(settings.levels, 1, 64));
  r.sortIndications = settings.sortIndications;
  r.computeVariations = explain;
  r.reg = std::move(reg);
  TEngine engine;
  TRunWatch watch;
  watch.timeLimit = stopAfterSeconds;
  watch.stop = interrupt;
  const TRunOutcome run = RunAndWait(engine, r, TEngineTask::kAuxMate, {}, watch);
  if (!run.refusal.empty()) throw std::runtime_error(run.refusal);
  const TSolveResult& res = run.result;
  if (res.status == TRunStatus::kRefused || res.status == TRunStatus::kFailed)
    throw std::runtime_error(res.message);
  out.stopped = res.status == TRunStatus::kStopped;
  out.result = out.stopped ? kResEndOfDepth : res.solutions.empty() ? kResNoMate : kResMate;
  out.seconds = res.seconds;
  for (const TPassReport& p : res.passes) out.nodes += p.nodes;
  out.solutions = res.solutions;
  return out;
}

}  // namespace ostravel::cli
