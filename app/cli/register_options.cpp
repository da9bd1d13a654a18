#include "register_options.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "config/settings.h"
#include "engine/mate_search.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"

namespace ostravel::cli {

namespace {

void PrintMessages(const std::vector<TUserMessage>& messages, std::FILE* out) {
  for (const TUserMessage& m : messages) std::fprintf(out, "%s\n", m.text.c_str());
}

}  // namespace

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

bool TRegisterOptions::LoadInto(TAggregatedTemporaryChessboardRegister& reg, std::FILE* out) const {
  if (loadFile.empty()) return true;
  const TRegisterReadResult r = ReadRegisterFile(reg, loadFile, reg.BucketCount());
  if (!r.completed) {
    std::fprintf(stderr, "ostravel-cli: %s\n", r.error.c_str());
    return false;
  }
  std::fprintf(out, "%s\n", r.report.c_str());
  return true;
}

bool TRegisterOptions::SaveFrom(const TAggregatedTemporaryChessboardRegister& reg, std::FILE* out) const {
  if (saveFile.empty()) return true;
  TRegisterSaveOptions opt;
  opt.compress = compress;
  opt.limitMB = limitGiven ? limitMB : Settings().tempRegLimitMB;
  try {
    const TRegisterSaveResult r = SaveRegisterFile(reg, saveFile, opt);
    if (r.status == 0) {
      PrintMessages(r.messages, stderr);
      return false;
    }
    PrintMessages(r.messages, out);
    return true;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ostravel-cli: %s\n", e.what());
    return false;
  }
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
  TMateSearch search(settings, std::move(reg));
  std::mutex m;
  std::condition_variable cv;
  bool done = false;
  const auto t0 = std::chrono::steady_clock::now();
  std::thread worker([&] {
    out.result = search.FindForcedMate(root, nMoves);
    std::lock_guard<std::mutex> lk(m);
    done = true;
    cv.notify_all();
  });
  {
    std::unique_lock<std::mutex> lk(m);
    while (!done) {
      cv.wait_for(lk, std::chrono::milliseconds(5));
      const double el = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
      if ((stopAfterSeconds > 0 && el >= stopAfterSeconds) || (interrupt && interrupt->load()))
        search.RequestStop();
    }
  }
  worker.join();
  out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  out.stopped = out.result == kResEndOfDepth;
  out.nodes = search.Nodes();
  if (explain && !out.stopped) search.Explain(root, nMoves);
  out.solutions = search.Solutions();
  return out;
}

}  // namespace ostravel::cli
