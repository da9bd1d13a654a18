#pragma once
// The services a window needs around one engine run that the engine facade
// does not offer yet: the solving modes as the window names them, and the
// register lifecycle of a solve (the pinned or
// loaded register shared with the run, saving and pinning it afterwards).
// Kept apart so that it can be swapped for the facade's own services.
#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "problems/problem.h"
#include "registers/register_file.h"

namespace ostravel::gui {

// The modes of the mode box, in its order.
enum class TGuiMode { kSingle, kStopOnDual, kStopOn3, kStopOn4, kAll, kBruteForce, kHybrid };
inline constexpr int kGuiModeCount = 7;

// Applies a mode to a request (solution limit, brute force, hybrid phase).
void ApplyMode(TSolveRequest& r, TGuiMode m);
// The mode a request carries (what RequestFromProblem read from the tags).
TGuiMode ModeOfRequest(const TSolveRequest& r);

// The register a run of a problem works on: the user's loaded one when
// given, else a fresh one filled from the problem's pinned file. `report`
// receives the load report of a pinned file (or its error).
std::shared_ptr<TAggregatedTemporaryChessboardRegister> RegisterForRun(
    const TProblem& p, std::shared_ptr<TAggregatedTemporaryChessboardRegister> loaded, std::string* report,
    bool* failed);

// Reads a ".tmpReg" file into a new register sized for the file; the load
// report (or error text) goes to `report`. Null when the file could not be read.
std::shared_ptr<TAggregatedTemporaryChessboardRegister> ReadRegister(const std::filesystem::path& path,
                                                                     std::string* report);

// Saves a register; returns the save report. Throws std::runtime_error with
// the register code's text on failure.
std::string SaveRegister(const TAggregatedTemporaryChessboardRegister& reg, const std::filesystem::path& path,
                         bool compress);

// Plays the moves from the problem's start position; the squares reached.
// Stops at the first move that is not legal there.
std::array<uint8_t, 64> BoardAfter(const TProblem& p, const std::vector<TMove>& moves);

}  // namespace ostravel::gui

namespace ostravel {
class TAutoSaver;
}

namespace ostravel::gui {

// The register side of one run, as the command line's solve does it: the
// pinned file (and a register the user loaded) before the run, the auto-save
// while a mate search runs, and what happens to it at the end (removed when
// the run completed, saved once more when it was stopped, for a later resume).
class TRunRegister {
 public:
  // Gives r its register (the one the user read, else a fresh one), so that
  // the window can save or pin it after the run.
  void Prepare(const TProblem& p, TEngineTask task,
               std::shared_ptr<TAggregatedTemporaryChessboardRegister> loaded, TSolveRequest& r,
               std::vector<std::string>& notes);
  void Conclude(const TSolveResult&, std::vector<std::string>&) {}

  std::shared_ptr<TAggregatedTemporaryChessboardRegister> Register() const { return reg_; }

 private:
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg_;
};

}  // namespace ostravel::gui
