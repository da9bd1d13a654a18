#pragma once
// Text and JSON forms of solutions and engine runs, and the terminal adapter
// over the engine facade, shared by the solving commands.
#include <atomic>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "engine/analysis.h"
#include "engine/engine.h"
#include "engine/search_types.h"
#include "engine/solution_text.h"  // SolutionsText, the text form

namespace ostravel::cli {

nlohmann::json SolutionJson(const TSolution& s);

// "single", "2", "3", "4" or "all".
const char* ModeName(SolutionMode m);
// Reads a mode as the command line gives it ("single" or "1", "2", "3", "4", "all").
bool ParseModeName(const std::string& s, SolutionMode& m);

// The JSON of a finished run: the keys scripts rely on ("fen", "stipulation",
// "status", "message", "seconds", "nodes", "solutions") and the run's mode,
// passes, notes and end text.
nlohmann::json RunJson(const std::string& fen, const TSolveRequest& r, const TSolveResult& res,
                       const std::string& endText);

struct TCliRunOptions {
  bool progress = false;                   // the progress line on stderr (a terminal only)
  bool messages = true;                    // the summary and the run's notices on stdout
  double timeLimit = 0;                    // seconds; 0 none. Reaching it stops the run.
  std::atomic<bool>* interrupt = nullptr;  // raised by Ctrl-C: stops the run
  bool acceptThreadProposal = false;       // the answer to the engine's thread-count question
  std::FILE* registerOut = stdout;         // the register files' reports (stderr beside JSON)
  bool registerReports = true;             // print the load and save reports at all
};

// The progress line as the console shows it: padded and ended with '\r'.
std::string ConsoleProgressLine(const TProgressSnapshot& s);

// Runs one request on the engine and waits for its end, printing as the
// options say.
// The outcome's stoppedByFlag tells a stop by Ctrl-C.
TRunOutcome RunOnEngine(const TSolveRequest& r, TEngineTask task, const TCliRunOptions& opt);

}  // namespace ostravel::cli
