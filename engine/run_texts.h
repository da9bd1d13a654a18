#pragma once
// The texts of a run, built from the request and the records: the settings
// summary, the mode's status line, the progress and depth lines, and the end
// text. A shell adds its own layout (padding, line ends) around them.
#include <cstdint>
#include <string>
#include <vector>

#include "engine/run_result.h"

namespace ostravel {

// The end text of a run (several lines, no final line end) and the title of
// the box that shows it ("Mate search result" or "Result of analysis").
std::string EndText(const TSolveRequest& r, const TSolveResult& res);
std::string ResultTitle(const TSolveRequest& r, const TSolveResult& res);

// The settings summary: "Main settings of current analysis" and one line per
// item, each saying what the run really does. Phase is the hybrid phase
// shown (0 none). processors: the count the thread pool is limited to.
std::vector<std::string> SettingsSummary(const TSolveRequest& r, int hybridPhase, int processors);
// "> Quick Mode implicit heuristics ON (see Options)" and its safe-mode forms.
std::string ModeStatusLine(const TSolveRequest& r);
// Quick mode changes a run only through its heuristic passes: off in safe
// mode and in a run whose initial set of heuristics is empty.
bool QuickModeActs(const TSolveRequest& r);
// The short-mate item ("#" and plies / 2 + 1 for a custom depth).
std::string ShortMateDepthLine(int16_t customPlies, int languageId);
// The first-level count (forced when greater) times, per further level, the
// thread count or 2 in a brute-force run.
uint64_t EffectiveMainThreads(int threads, int forcedThreads, int levels, bool bruteForce);
// The threads that really search: the levels' product, but no more than the
// processors once the first level has its own (the pool adds no more).
uint64_t RunningMainThreads(int threads, int forcedThreads, int levels, bool bruteForce, int processors);

// "Pass %d%s, %s%0.1f%% %lld": the pass, "SH:%xh" and ",TR:%d(%d)", the
// current line and the percentage, then the 64-bit progress counter. The
// console pads it and ends it with '\r'.
std::string ProgressLine(const TProgressSnapshot& s);
// "Searching for #%d%s: %0.2f%%" or "Searching for #%d%s (of at least #%d) : %0.2f%%".
std::string DepthReportLine(const TProgressSnapshot& s);

}  // namespace ostravel
