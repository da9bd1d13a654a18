#pragma once
// The temporary-register flags of the solving commands:
//   --load-register FILE   load a ".tmpReg" into the register before the search
//   --save-register FILE   save the register after the search
//   --compress             ... in the LZ4 container
//   --limit-mb N           ... at most N MB (the longest results first)
// A command takes them out of its argument list with Consume, calls LoadInto
// before its search and SaveFrom after it.
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "chess/board.h"
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

  // Before the search: loads loadFile (when given) into reg, keeping reg's
  // bucket count, and prints the load report to out. On a bad file the error
  // goes to stderr and false comes back; the records read before the fault
  // stay in reg.
  bool LoadInto(TAggregatedTemporaryChessboardRegister& reg, std::FILE* out = stdout) const;
  // After the search: saves reg to saveFile (when given) and prints the
  // report to out. False, with the error on stderr, when it failed.
  bool SaveFrom(const TAggregatedTemporaryChessboardRegister& reg, std::FILE* out = stdout) const;

  // Lines for a command's --help.
  static const char* HelpText();
};

// A search on a given register (the register a resumed analysis loaded).
struct TRegisterSolve {
  uint8_t result = 0;  // of FindForcedMate
  bool stopped = false;
  double seconds = 0;
  uint64_t nodes = 0;
  std::vector<TSolution> solutions;
};

// Solves root (White to move) for mate in nMoves with TMateSearch on reg,
// stopping after stopAfterSeconds (0: never) or when *interrupt is raised.
// With explain, the threats and variations of the keys are filled in.
TRegisterSolve SolveOnRegister(std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg,
                               const TChessboard& root, int nMoves, const TSearchSettings& settings,
                               double stopAfterSeconds, std::atomic<bool>* interrupt, bool explain);

}  // namespace ostravel::cli
