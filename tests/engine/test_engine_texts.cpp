// The texts and decisions of an engine run that need no search: the settings
// summary, the pass plan, the progress figures, the defence headline.
#include <gtest/gtest.h>

#include <algorithm>

#include "engine/engine.h"
#include "engine/engine_texts.h"

namespace ostravel {
namespace {

bool Has(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(EngineTexts, EveryTextHasEnglishAndFallsBackFromOtherLanguages) {
  for (int i = 0; i < static_cast<int>(TEngineText::kCount); ++i) {
    const auto id = static_cast<TEngineText>(i);
    EXPECT_NE(std::string(EngineText(id, 1)), "") << i;
    EXPECT_NE(std::string(EngineText(id, 0)), "") << i;
    // No Ukrainian texts yet: English is shown.
    EXPECT_STREQ(EngineText(id, 2), EngineText(id, 1)) << i;
  }
  EXPECT_STREQ(EngineText(TEngineText::kThreat, 0), "grozi");
  EXPECT_STREQ(EngineText(TEngineText::kDefencesWord, 0), "Obrony:");
  EXPECT_STREQ(EngineText(TEngineText::kVariationsNotShown, 0), "... (dalsze warianty pomini\u0119te)");
  EXPECT_STREQ(EngineText(TEngineText::kFromTemporaryRegister, 0), "From temporary register");
  EXPECT_STREQ(EngineText(TEngineText::kBlackKingChecked, 1),
               "Black king cannot be checked in the mate task starting postition.");
  EXPECT_EQ(LanguageIdOf("pl"), 0);
  EXPECT_EQ(LanguageIdOf("EN"), 1);
  EXPECT_EQ(LanguageIdOf("uk"), 2);
  EXPECT_EQ(LanguageIdOf("de"), -1);
}

TEST(EngineTexts, MemoryFiguresSwitchToGigabytesAt1000MB) {
  EXPECT_EQ(MemoryText(0), "0MB");
  EXPECT_EQ(MemoryText(999), "999MB");
  EXPECT_EQ(MemoryText(1000), "1.0GB");
  EXPECT_EQ(MemoryText(2048), "2.0GB");
  EXPECT_EQ(MemoryText(1536), "1.5GB");
}

TEST(EngineTexts, HeuristicSetNames) {
  EXPECT_EQ(HeuristicSetNames(0, 1), "none");
  EXPECT_EQ(HeuristicSetNames(0, 0), "brak");
  EXPECT_EQ(HeuristicSetNames(0x5, 1), "SH_AREKINGSNEAR SH_KEEPKINGONTHEEDGE");
  EXPECT_EQ(HeuristicSetNames(0x80000000u, 1), "SH_ZUGZWANG");
  EXPECT_EQ(HeuristicSetNames(0x100, 1), "...");
  EXPECT_EQ(HeuristicSetNames(0x101, 1), "SH_AREKINGSNEAR ...");
}

// ---------------------------------------------------------------- summary

TEST(SettingsSummary, ShortMateDepthLine) {
  EXPECT_EQ(ShortMateDepthLine(0, 1),
            "* Default depth of search for short mate (typically #7, sometimes #6 or #8)");
  EXPECT_EQ(ShortMateDepthLine(-3, 1), ShortMateDepthLine(0, 1));
  EXPECT_EQ(ShortMateDepthLine(10, 1), "* Custom depth of search for short mate: #6");
  EXPECT_EQ(ShortMateDepthLine(1, 1), "* Custom depth of search for short mate: #1");
  EXPECT_EQ(ShortMateDepthLine(11, 1), "* Custom depth of search for short mate: #6");
}

TEST(SettingsSummary, ItemsInOrderForAPlainRun) {
  TSolveRequest r;
  r.mode = SolutionMode::kAtMost3;
  r.threads = 4;
  r.levels = 1;
  r.schedulerLevels = 0;
  r.customScheduler = false;
  const auto s = SettingsSummary(r, 0, 2);
  const std::vector<std::string> want = {
      "Main settings of current analysis",
      "* Search for no more than 3 solutions",
      // No heuristic pass runs, so quick mode has nothing to act on.
      "* Safe mode is on (implicit quick mode heuristics is off)",
      "* Default depth of search for short mate (typically #7, sometimes #6 or #8)",
      "* Threads = 4",
      "* Multithreading levels = 1",
      "* Scheduler is off",
      "* Custom scheduler is off",
      "* Initial set of heuristics: none",
  };
  EXPECT_EQ(s, want);
}

TEST(SettingsSummary, ThreadsLevelsSchedulerAndHeuristics) {
  TSolveRequest r;
  r.safeMode = true;
  r.threads = 3;
  r.forcedThreads = 4;
  r.levels = 2;
  r.schedulerLevels = 6;
  r.customScheduler = true;
  r.heuristics = 0x4;
  r.customShortMateDepth = 10;
  const auto s = SettingsSummary(r, 0, 16);
  EXPECT_TRUE(Has(s, "* Safe mode is on (implicit quick mode heuristics is off)"));
  EXPECT_TRUE(Has(s, "* Custom depth of search for short mate: #6"));
  EXPECT_TRUE(Has(s, "* Threads = 3 (but forced by engine to 4)"));
  EXPECT_TRUE(Has(s, "* Multithreading levels = 2"));
  EXPECT_TRUE(Has(s, "* Effective number of main threads = 12"));
  // The scheduler does not run, whatever its settings say.
  EXPECT_TRUE(Has(s, "* Scheduler is off"));
  EXPECT_TRUE(Has(s, "* Custom scheduler is off"));
  // The pool stops at the processors once the first level has its threads.
  EXPECT_TRUE(Has(SettingsSummary(r, 0, 2), "* Effective number of main threads = 4"));
  EXPECT_TRUE(Has(SettingsSummary(r, 0, 8), "* Effective number of main threads = 8"));
  EXPECT_TRUE(Has(s, "* Initial set of heuristics: SH_KEEPKINGONTHEEDGE"));
  // A forced count not above the request is not shown.
  r.forcedThreads = 2;
  EXPECT_TRUE(Has(SettingsSummary(r, 0, 2), "* Threads = 3"));
}

TEST(SettingsSummary, OneLevelHasNoEffectiveThreadsLine) {
  TSolveRequest r;
  r.threads = 8;
  r.levels = 1;
  for (const auto& line : SettingsSummary(r, 0, 2))
    EXPECT_EQ(line.find("Effective number"), std::string::npos);
}

TEST(SettingsSummary, HybridPhasesAndBruteForce) {
  TSolveRequest r;
  r.hybridPhase = 1;
  auto s = SettingsSummary(r, 1, 2);
  ASSERT_GE(s.size(), 3u);
  EXPECT_EQ(
      s[1],
      "* Hybrid brute force - first heuristical search for single solution, then brute force search for "
      "dual(s)");
  EXPECT_EQ(s[2],
            "  - now running the first (heuristical) phase of hybrid brute force (no solution found yet)");
  s = SettingsSummary(r, 2, 2);
  EXPECT_EQ(
      s[2],
      "  - now running the second (brute force) phase of hybrid brute force (at least one solution already "
      "found)");
  TSolveRequest b;
  b.bruteForce = true;
  b.heuristics = 0x4;
  EXPECT_TRUE(Has(SettingsSummary(b, 0, 2), "* Initial set of heuristics: none"));
}

TEST(SettingsSummary, EffectiveThreads) {
  EXPECT_EQ(EffectiveMainThreads(3, 0, 2, false), 9u);
  EXPECT_EQ(EffectiveMainThreads(3, 0, 2, true), 6u);
  EXPECT_EQ(EffectiveMainThreads(3, 4, 3, false), 36u);
  EXPECT_EQ(EffectiveMainThreads(5, 0, 1, true), 5u);
  // What runs: 4 x 2 levels on 2 processors is the first level's 4.
  EXPECT_EQ(RunningMainThreads(4, 0, 2, false, 2), 4u);
  EXPECT_EQ(RunningMainThreads(4, 0, 2, false, 6), 6u);
  EXPECT_EQ(RunningMainThreads(4, 0, 2, false, 64), 16u);
  EXPECT_EQ(RunningMainThreads(4, 0, 1, false, 64), 4u);
}

TEST(SettingsSummary, ModeStatusLine) {
  TSolveRequest r;
  r.heuristics = 0x4;
  EXPECT_EQ(ModeStatusLine(r), "> Quick Mode implicit heuristics ON (see Options)");
  EXPECT_TRUE(Has(SettingsSummary(r, 0, 2),
                  "* Quick mode implicit heuristics is on, but it does not affect second pass (without "
                  "heuristics), which is/will be run in safe mode"));
  // Without heuristics (none chosen, or brute force) nothing is quick.
  r.bruteForce = true;
  EXPECT_EQ(ModeStatusLine(r), "> Safe Mode (Quick Mode heuristics is OFF)");
  r.bruteForce = false;
  r.heuristics = 0;
  EXPECT_EQ(ModeStatusLine(r), "> Safe Mode (Quick Mode heuristics is OFF)");
  r.safeMode = true;
  EXPECT_EQ(ModeStatusLine(r), "> Safe Mode (Quick Mode heuristics is OFF)");
  r.safeModeForcedByEngine = true;
  EXPECT_EQ(ModeStatusLine(r), "> Safe Mode forced by engine");
}

TEST(RunTitle, MarksTheMode) {
  TSolveRequest r;
  r.title = "P";
  r.mode = SolutionMode::kAll;
  EXPECT_EQ(RunTitle(r), "P (AllSolutions)");
  r.mode = SolutionMode::kAtMost2;
  EXPECT_EQ(RunTitle(r), "P");
  r.bruteForce = true;
  EXPECT_EQ(RunTitle(r), "P (BruteForce)");
  r.hybridPhase = 1;
  EXPECT_EQ(RunTitle(r), "P (HybridBruteForce)");
}

// ---------------------------------------------------------------- passes

TEST(PassPlan, EmptyHeuristicSetRunsOneExactPass) {
  TSolveRequest r;
  std::vector<std::string> notes;
  const auto plan = PlanPasses(r, &notes);
  ASSERT_EQ(plan.size(), 1u);
  EXPECT_EQ(plan[0].kind, TPassKind::kWithHeuristics);
  EXPECT_EQ(plan[0].Name(), "1");
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0], EngineText(TEngineText::kNoteExactFirstPass, 1));
}

TEST(PassPlan, HeuristicsAreFollowedByTheSafePassWithout) {
  TSolveRequest r;
  r.heuristics = 0x4;
  r.mode = SolutionMode::kAtMost2;
  std::vector<std::string> notes;
  const auto plan = PlanPasses(r, &notes);
  ASSERT_EQ(plan.size(), 2u);
  EXPECT_EQ(plan[0].heuristics, 0x4u);
  EXPECT_EQ(plan[1].kind, TPassKind::kWithoutHeuristics);
  EXPECT_EQ(plan[1].Name(), "2");
  EXPECT_EQ(plan[1].heuristics, 0u);
  EXPECT_TRUE(plan[1].safeMode);
  EXPECT_EQ(plan[1].mode, SolutionMode::kAtMost2);
  // Relaxation is off: the note says there was one pass with heuristics.
  EXPECT_TRUE(Has(notes,
                  "\t* there was only one pass with heuristcs (relaxation of heuristics was switched off by "
                  "user's request)\n"));
}

// Pass 0 goes first when the request gives it time, never in a brute-force
// run, and its report never stands for a complete key set.
TEST(PassPlan, ProofNumberPassGoesFirst) {
  TSolveRequest r;
  r.heuristics = 0x4;
  r.proofSearchSeconds = 30;
  const auto plan = PlanPasses(r);
  ASSERT_EQ(plan.size(), 3u);
  EXPECT_EQ(plan[0].kind, TPassKind::kProofNumbers);
  EXPECT_EQ(plan[0].Name(), "0");
  EXPECT_EQ(plan[1].Name(), "1");
  EXPECT_EQ(plan[2].Name(), "2");
  TPassReport report;
  report.plan = plan[0];
  report.completed = true;
  EXPECT_FALSE(report.ProvesKeySetComplete());
  report.plan = plan[2];
  EXPECT_TRUE(report.ProvesKeySetComplete());
  TSolveResult res;
  res.passes.push_back(TPassReport{plan[0], true, true, 1, 0.5, 10});
  EXPECT_NE(
      EndText(r, res).find("pass 0: proof-number search for keys (proves keys, not that there is no other)"),
      std::string::npos)
      << EndText(r, res);
  r.bruteForce = true;
  EXPECT_EQ(PlanPasses(r).front().kind, TPassKind::kBruteForce);
}

TEST(PassPlan, SwitchedOffPassWithoutHeuristicsLeavesItsNotes) {
  TSolveRequest r;
  r.heuristics = 0x4;
  r.relaxation = true;
  r.passWithoutHeuristics = false;
  std::vector<std::string> notes;
  const auto plan = PlanPasses(r, &notes);
  // The edge rule relaxes once, to the ext.edge; no pass 2 follows.
  ASSERT_EQ(plan.size(), 2u);
  EXPECT_EQ(plan[1].Name(), "1b");
  EXPECT_EQ(plan[1].heuristics, SH_KEEPKINGWITHINEXTEDGE);
  EXPECT_TRUE(Has(notes, "\t* pass without heuristics has been skipped (on user's request)\n"));
  TSolveResult res;
  res.notes = notes;
  const std::string end = EndText(r, res);
  EXPECT_NE(
      end.find(
          "NOTE: Pass without heuristics is currently switched off (see heuristics selection dialog box)"),
      std::string::npos);
  EXPECT_NE(end.find("\t* pass without heuristics has been skipped (on user's request)"), std::string::npos);
}

TEST(PassPlan, BruteForceAndHybrid) {
  TSolveRequest b;
  b.bruteForce = true;
  b.heuristics = 0x4;
  auto plan = PlanPasses(b);
  ASSERT_EQ(plan.size(), 1u);
  EXPECT_EQ(plan[0].kind, TPassKind::kBruteForce);
  EXPECT_TRUE(plan[0].bruteForce);

  TSolveRequest h;
  h.hybridPhase = 1;
  h.mode = SolutionMode::kSingle;
  plan = PlanPasses(h);
  ASSERT_EQ(plan.size(), 2u);
  EXPECT_EQ(plan[0].kind, TPassKind::kHybridPhase1);
  EXPECT_EQ(plan[0].mode, SolutionMode::kSingle);
  EXPECT_FALSE(plan[0].bruteForce);
  EXPECT_EQ(plan[1].kind, TPassKind::kHybridPhase2);
  EXPECT_TRUE(plan[1].onlyAfterSolution);
  EXPECT_TRUE(plan[1].bruteForce);
  // Phase 2 looks for duals: a single-solution request asks for two.
  EXPECT_EQ(plan[1].mode, SolutionMode::kAtMost2);
  h.mode = SolutionMode::kAll;
  EXPECT_EQ(PlanPasses(h)[1].mode, SolutionMode::kAll);
}

// ---------------------------------------------------------------- progress

TEST(ProgressTexts, ProgressLine) {
  TProgressSnapshot s;
  s.pass = 1;
  s.percent = 12.345;
  s.nodes = 5000000000ull;
  s.currentLine = "1. Qd1-h5";
  EXPECT_EQ(ProgressLine(s), "Pass 1, 1. Qd1-h5 12.3% 5000000000");
  s.heuristics = 0x204;
  s.registerEntries = 120;
  s.registerHeuristicEntries = 20;
  s.pass = 2;
  s.currentLine.clear();
  EXPECT_EQ(ProgressLine(s), "Pass 2SH:204h,TR:120(20), 12.3% 5000000000");
}

TEST(ProgressTexts, DepthReport) {
  TProgressSnapshot s;
  s.depthMoves = 5;
  s.percent = 42.5;
  EXPECT_EQ(DepthReportLine(s), "Searching for #5: 42.50%");
  s.bruteForce = true;
  s.lowerBound = 4;
  EXPECT_EQ(DepthReportLine(s), "Searching for #5 (b) (of at least #4) : 42.50%");
}

// ---------------------------------------------------------------- defence headline

TDefenceResult Replies(std::initializer_list<int> mates, int shortMoves) {
  TDefenceResult d;
  d.shortMateMoves = shortMoves;
  int i = 0;
  for (int m : mates) {
    TDefenceReply r;
    r.text = std::string("m").append(std::to_string(i++));
    r.searched = true;
    r.mateIn = m;
    d.replies.push_back(r);
  }
  return d;
}

TEST(DefenceHeadline, NoReplyOrOneReply) {
  TDefenceResult d;
  ClassifyDefence(d);
  EXPECT_EQ(d.headline, TEngineText::kDefenceNoValidMove);
  d = Replies({0}, 2);
  ClassifyDefence(d);
  EXPECT_EQ(d.headline, TEngineText::kDefenceOnlyReply);
  EXPECT_EQ(d.best, std::vector<size_t>{0});
  d = Replies({3}, 2);
  ClassifyDefence(d);
  EXPECT_EQ(d.headline, TEngineText::kDefenceOnlyReplyNotDefence);
}

TEST(DefenceHeadline, OnlyReplyThatPreventsShortMate) {
  // Short mates are mates in at most 2: only the second reply escapes them.
  auto d = Replies({1, 0, 2}, 2);
  ClassifyDefence(d);
  EXPECT_EQ(d.headline, TEngineText::kDefenceOnlyReplyShort);
  EXPECT_EQ(d.best, std::vector<size_t>{1});
  d = Replies({1, 3, 2}, 2);
  ClassifyDefence(d);
  EXPECT_EQ(d.headline, TEngineText::kDefenceOnlyReplyShortNotDefence);
  EXPECT_EQ(d.best, std::vector<size_t>{1});
}

TEST(DefenceHeadline, RefutationsAndEquivalents) {
  auto d = Replies({0, 1, 0, 0}, 2);
  ClassifyDefence(d);
  EXPECT_EQ(d.headline, TEngineText::kDefenceRefuted);
  EXPECT_EQ(d.best, std::vector<size_t>{0});
  EXPECT_EQ(d.equivalent, (std::vector<size_t>{2, 3}));
}

TEST(DefenceHeadline, EveryReplyMatedNamesTheLongestResistance) {
  auto d = Replies({1, 3, 2, 3}, 0);
  ClassifyDefence(d);
  EXPECT_EQ(d.headline, TEngineText::kDefenceNone);
  EXPECT_EQ(d.best, std::vector<size_t>{1});
  EXPECT_EQ(d.equivalent, std::vector<size_t>{3});
  // Unsearched replies (a stopped run) take no part.
  d = Replies({1, 2, 0}, 0);
  d.replies[2].searched = false;
  ClassifyDefence(d);
  EXPECT_EQ(d.headline, TEngineText::kDefenceNone);
  EXPECT_EQ(d.best, std::vector<size_t>{1});
}

}  // namespace
}  // namespace ostravel
