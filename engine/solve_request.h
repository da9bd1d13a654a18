#pragma once
// The solve request: everything a run needs, copied in before it starts, so
// that nothing the run does depends on process-wide settings changing under
// it. The builders below fill it from the settings and from a problem record.
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "chess/board.h"
#include "engine/position_probe.h"
#include "engine/search_types.h"
#include "registers/register_file.h"

namespace ostravel {

class TAggregatedTemporaryChessboardRegister;
struct TProblem;
struct TSettings;

// Problem type of a directmate; the only one solved.
constexpr uint8_t kMateProblemType = 1;

enum class TEngineTask : uint8_t {
  kMate,     // EngineThreadProc: the keys of "#n"
  kDefence,  // EngineThreadProc_BlackMoves: Black to move, his best defence against "#n"
  kAuxMate,  // EngineThreadProc_AuxMate: one plain search, no summary or passes
};

// The register files around a run. The pinned file is loaded first, the
// load file is merged into it, and the save file is written after the run.
struct TRunRegisterFiles {
  std::string
      pinnedFile;  // the problem's "//@tmpreg=" file (resolved); a missing one costs the head start only
  std::string loadFile;  // a failure to load it refuses the run
  std::string saveFile;
  bool compress = false;
  uint64_t saveLimitMB = 0;          // 0: the register's memory limit
  TRegisterReadOptions readOptions;  // the load log and notes, from the settings

  bool Any() const { return !pinnedFile.empty() || !loadFile.empty() || !saveFile.empty(); }
};

// The auto-save of a mate search: its register every period into the run's
// own slot, once more when the run is stopped (for a later resume), and
// removed when the run completes.
struct TRunAutoSave {
  bool enabled = false;
  std::chrono::milliseconds period{0};
  uint64_t limitMB = 0;
  std::string folder;  // the folder holding the slots (the data folder)
  std::string slot;    // the slot to write; empty: a new one named after the run
  bool compress = true;
  // The memory ratios recorded beside the save (a resume runs with them); -1: not recorded.
  int maxMemRatioForPrecalculatedData = -1;
  int maxMemRatioPerProblem = -1;
};

struct TSolveRequest {
  uint32_t problemId = 0;
  uint8_t problemType = kMateProblemType;
  std::string title;  // the problem's title in the end texts

  TTaskContext position{};  // initial board, root castling rights and e.p. square
  bool whiteToMove = true;
  int moves = 2;  // n of "#n"

  SolutionMode mode = SolutionMode::kAll;
  bool bruteForce = false;
  uint8_t hybridPhase = 0;  // 0 no hybrid run; 1 a hybrid run from its first phase; 2 its second phase only
  bool safeMode = false;    // the user chose safe mode (QuickMode off)
  bool safeModeForcedByEngine = false;
  int16_t customShortMateDepth = 0;  // plies; below 1 the default
  uint8_t threads = 1;
  uint8_t forcedThreads = 0;  // effective when greater than threads
  uint8_t levels = 1;
  bool letTwoThreadsShareAMove = true;  // LetAnalyzeTheSameMoveInTwoThreads
  uint8_t schedulerLevels = 0;          // 0 = scheduler off
  bool customScheduler = false;
  uint32_t heuristics = 0;  // initial set of special heuristics (mask only; see heuristicState)
  // The initial set with its parameters; when its set is 0, `heuristics`
  // alone gives the set (with default parameters).
  THeuristicState heuristicState;
  bool relaxation = false;  // further passes with relaxed heuristics
  // Seconds of the proof-number pass (pass 0) before pass 1; 0: none. It
  // stops sooner once every first move is decided.
  double proofSearchSeconds = 0;
  bool relaxationLog = false;  // TryRelaxSpecialHeuristicsLog: each step into TryRelaxSpecialHeuristics.log
  bool passWithoutHeuristics = true;
  std::vector<TMove> sortIndications;        // root moves to try first, in order
  std::string sortIndicationError;           // why an indication of the problem was left out
  std::vector<std::string> indicationNotes;  // heuristic indications refused (the record's, predefined)
  // Negative: the root moves only the men whose squares are marked (bit i
  // for square i, a1 = 0); the other moves are not tried as keys at all.
  int restriction = 0;
  uint64_t markedSquares = 0;
  // Not empty: the root tries only these moves as keys (one unit of a run
  // split over several processes); everything else is unchanged.
  std::vector<TMove> rootMoves;

  // Template-family parameters of the search.
  int lookForQuickerMateDepth = 0;
  uint8_t verifyHeuristics = 0;
  uint8_t allowExceptions = 0;
  bool collectStats = false;  // fill TSolveResult::stats (a slower build of the same search)

  bool computeVariations = true;
  bool showDuals = true;  // every quickest White answer in the variations (false: one per defence)
  int languageId = 1;
  bool logMoves = false;
  std::string logPath;  // empty: SearchLogPath
  // A register shared with earlier runs (a resumed search, a loaded or pinned
  // file, one that is saved afterwards); null: the run makes its own.
  // MakeRunRegister sizes one as the run would.
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg;
  // ClearRegisterOnStartSolving: the shared register's contents are dropped
  // when the analysis starts, so a loaded file only serves a later run.
  bool clearRegisterOnStart = false;

  // Memory and folders, copied from the settings by ApplySettings.
  uint64_t registerLimitMB = 0;  // the temporary register's budget; 0: the default share of memory
  std::string dataFolder;        // the search log's folder; empty: the data folder
  std::string precalcFolder;     // the global register's folder; empty: the default one

  TRunRegisterFiles registerFiles;
  TRunAutoSave autoSave;
  // Exact answers for positions below the root (a tablebase, precalculated
  // data); null: none. Owned by the caller and outliving the run.
  IPositionProbe* probe = nullptr;
  // The problem record saved beside the register (auto-save); null: one made
  // from the request by ProblemOfRequest.
  std::shared_ptr<const TProblem> problem;

  // Sets the position from a FEN (side to move included); false for text that
  // is not a FEN.
  bool SetFen(const std::string& fen);
};

// The settings that shape a request: safe mode (QuickMode), the
// multithreading levels and LetAnalyzeTheSameMoveInTwoThreads, the scheduler,
// the language, move logging, ClearRegisterOnStartSolving, the register's
// memory, the folders and the auto-save (AutoSaveMinutes, AutoSaveMB).
void ApplySettings(TSolveRequest& r, const TSettings& s);

// The register budget a request without one uses: the default share of the
// physical memory.
uint64_t DefaultRegisterLimitMB();

// A register for a request's reg: bucket count by the root's plies (2n - 1,
// or 2n with Black to move) and the memory given (0: the default), element
// limit from the same memory, and results below 4 plies kept, as the search's
// own would be.
std::shared_ptr<TAggregatedTemporaryChessboardRegister> MakeRunRegister(int moves, bool whiteToMove = true,
                                                                        uint64_t limitMB = 0);

// A request for a problem of a collection: its position, stipulation and
// The initial heuristic state of a request: heuristicState, or the mask of
// `heuristics` with default parameters.
THeuristicState RequestHeuristics(const TSolveRequest& r);

// sort indications (the record's own, then the first moves of the main
// variant or of all variants when UseMainVariantAsSortIndications is 1 or 2),
// the mode its tags name ("AllSolutions", "StopOnDual", "StopOn3Sol",
// "StopOn4Sol", "SingleSolution", "BruteForce", "HybridBruteForce") and its
// pinned register file.
TSolveRequest RequestFromProblem(const TProblem& p, const TSettings& s, uint32_t problemId);

// The problem record of a request: its own when it has one, else its
// position and stipulation under its title.
TProblem ProblemOfRequest(const TSolveRequest& r);

// The run's title: the request's title marked "(HybridBruteForce)",
// "(BruteForce)" or "(AllSolutions)".
std::string RunTitle(const TSolveRequest& r);
// Path of the search log (LogMoves) of a run: the problem's name with ".log"
// in the request's data folder.
std::string SearchLogPath(const TSolveRequest& r);

}  // namespace ostravel
