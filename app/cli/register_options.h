#pragma once
// The temporary-register flags of the solving commands:
//   --load-register FILE   load a ".tmpReg" into the register before the search
//   --save-register FILE   save the register after the search
//   --compress             ... in the LZ4 container
//   --limit-mb N           ... at most N MB (the longest results first)
// A command takes them out of its argument list with Consume and hands them
// to its request with ApplyTo; the engine loads and saves the files.
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "chess/board.h"
#include "engine/engine.h"
#include "engine/search_types.h"

namespace ostravel {
class TAggregatedTemporaryChessboardRegister;
}

namespace ostravel::cli {

struct TRegisterOptions {
  std::string loadFile;
  std::string saveFile;
  bool compress = false;
  uint64_t limitMB = 0;  // 0: the settings' temporary register limit
  bool limitGiven = false;

  bool Any() const { return !loadFile.empty() || !saveFile.empty(); }

  // Removes the flags above (and their values) from args, wherever they
  // stand. Returns an empty string, or what is wrong with them.
  std::string Consume(std::vector<std::string>& args);

  // The files into the request (a file to load adds to what it has already).
  void ApplyTo(TSolveRequest& r) const;

  // Lines for a command's --help.
  static const char* HelpText();
};

// A search on a given register, through the engine (register bench-resume).
struct TRegisterSolve {
  uint8_t result = 0;  // of FindForcedMate
  bool stopped = false;
  double seconds = 0;
  uint64_t nodes = 0;
  std::vector<TSolution> solutions;
};

// Solves root (White to move) for mate in nMoves on reg,
// stopping after stopAfterSeconds (0: never) or when *interrupt is raised.
// With explain, the threats and variations of the keys are filled in.
TRegisterSolve SolveOnRegister(std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg,
                               const TChessboard& root, int nMoves, const TSearchSettings& settings,
                               double stopAfterSeconds, std::atomic<bool>* interrupt, bool explain);

}  // namespace ostravel::cli
