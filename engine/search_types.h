#pragma once
// Result codes, solutions and the request of one mate search.
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "chess/board.h"
#include "engine/heuristics.h"
#include "engine/position_probe.h"

namespace ostravel {

class IPositionProbe;

// Search result codes, one byte, as returned by every node.
constexpr uint8_t kResNoMate = 0;
constexpr uint8_t kResMate = 1;
constexpr uint8_t kResEndOfDepth = 252;  // depth limit reached without a decision (also: stopped)
constexpr uint8_t kResRepetition = 253;  // a position repeated in the line: a defence that holds
constexpr uint8_t kResDoubtful = 255;    // reached under heuristics: not a proof of "no mate"

// Log word of a result code ("result error" for anything outside the table).
const char* ResultWord(uint8_t code);

// How many solutions a run looks for.
enum class SolutionMode : uint8_t { kSingle, kAtMost2, kAtMost3, kAtMost4, kAll };

// Solution limit of a mode (0 = no limit).
int SolutionLimit(SolutionMode m);

// One line of play below a key: a Black defence and White's answer, with the
// lines that follow. The last White move of a line mates.
struct TVariation {
  TMove black{};
  std::string blackText;
  TMove white{};
  std::string whiteText;
  bool mate = false;  // the White move mates at once
  // Duals: White's other moves that mate (or go on to mate) as quickly as
  // `white`, first moves only; empty when White's answer is unique or duals
  // were not asked for.
  std::vector<TMove> duals;
  std::vector<std::string> dualTexts;
  std::vector<TVariation> next;
};

struct TSolution {
  TMove key{};
  std::string keyText;              // full notation, e.g. "Qd1-h5"
  int mateIn = 0;                   // shortest mate found for this key, in moves
  bool keyChecks = false;           // the key gives check (no threat then)
  std::vector<std::string> threat;  // first moves of the shortest threat; empty: zugzwang (or check)
  int threatIn = 0;                 // length of the threat mate, in moves (0: none)
  std::vector<TVariation> variations;
  bool variationsTruncated = false;
  // The pass that found the key ("1", "1b", "2"), and whether an exact search
  // of the key proved it. A key found under heuristics is a candidate until
  // then, never a solution.
  std::string foundInPass;
  bool confirmed = true;
};

// Fixed settings of a run of the search (the template family's parameters
// among them).
struct TSearchSettings {
  SolutionMode mode = SolutionMode::kAll;
  int lookForQuickerMateDepth = 0;   // 0..9 moves; 0 = default short-mate depth
  uint8_t verifyHeuristics = 0;      // 0, 1 or 255
  uint8_t allowExceptions = 0;       // 0 or 1 (heuristic exceptions allowed)
  int16_t customShortMateDepth = 0;  // plies; below 1 = default
  // A position that repeats one of its line ends the line as a defence that
  // holds (code 253). The depth bound ends every line anyway, and a failure
  // that a repetition took part in depends on the line, so it cannot be
  // stored: on king walks that costs a hundredfold. Off in the exact search,
  // where every result is then a function of the position and the bound alone.
  bool cutRepetitions = false;
  bool storeShortResults = true;  // let the register hold counts below 4 plies (mate in 2)
  bool smallRegister = false;     // always size the register for a small search
  bool bruteForce = true;         // no special heuristics
  // The special heuristics of a pass; null or an empty set: the exact search.
  std::shared_ptr<const THeuristicState> heuristics;
  int threads = 1;
  int levels = 1;                       // multithreading levels (1..64)
  bool letTwoThreadsShareAMove = true;  // LetAnalyzeTheSameMoveInTwoThreads
  bool computeVariations = true;
  bool showDuals = true;        // list every quickest White answer of a variation
  int maxVariationNodes = 600;  // cap on the printed solution tree per key
  bool logMoves = false;
  bool logAppend = false;              // a later search of the run: the log goes on
  std::string logPath;                 // search log file (LogMoves)
  std::vector<TMove> sortIndications;  // root moves to try first, in order
  uint64_t rootPieces = 0;             // not 0: only the men on these squares move at the root
  std::vector<TMove> rootMoves;        // not empty: only these moves are tried at the root
  // Exact knowledge asked at White nodes below the root (a tablebase,
  // precalculated data); null: none. Not owned; outlives the search.
  IPositionProbe* probe = nullptr;
  // Memory allowed to a register the search makes for itself, in MB; 0: no
  // cap on its records, and the middle size for long problems. A search given
  // a register by its caller ignores it.
  uint64_t tempRegLimitMB = 0;
  // Count where the nodes go (TMateSearch::Stats); the same search otherwise.
  bool collectStats = false;
};

}  // namespace ostravel
