#pragma once
// Checking the claims of one EPD record: the position is solved for every
// key of its "dm N" (Black to move is solved as White's mate with colours
// exchanged) and the outcome says whether dm is the shortest mate and every
// bm a key. Printing the outcome is the front end's.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/analysis.h"
#include "problems/epd.h"

namespace ostravel {

struct TSettings;

// What one record came to.
enum class TEpdOutcome { kSolved, kShorter, kWrongBm, kNoMate, kError, kStopped };
// "solved", "shorter", "wrong_bm", "no_mate", "error", "stopped".
const char* EpdOutcomeName(TEpdOutcome o);

struct TEpdCheckOptions {
  const TSettings* settings = nullptr;  // applied to the request; null: the program's settings
  int threads = 1;
  int defaultMoves = 0;  // the stipulation of records without dm (0: such a record is an error)
  TRunWatch watch;       // stop flag, time limit, pause and tick of the default run
};

struct TEpdCheck {
  TEpdOutcome outcome = TEpdOutcome::kError;
  std::string message;               // why it is an error or stopped; empty otherwise
  int dm = 0;                        // the stipulation checked
  std::vector<std::string> keysSan;  // as moves of the record's position
  std::vector<std::string> keysUci;
  std::vector<std::string> bmUci;  // the bm moves read
  int mateIn = 0;                  // the shortest mate found; 0 none
  double seconds = 0;
  uint64_t nodes = 0;
  bool stoppedByFlag = false;  // the watch's stop flag ended it
};

// Runs a request (the mate search of the record) and returns its outcome.
// The default runs it on a fresh TEngine through RunAndWait with the
// options' watch, declining the engine's thread proposal.
using TEpdRunner = std::function<TRunOutcome(const TSolveRequest&)>;

TEpdCheck CheckEpdRecord(const TEpdRecord& rec, const TEpdCheckOptions& o, const TEpdRunner& run = {});

}  // namespace ostravel
