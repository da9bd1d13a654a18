// Engine runs end to end through the facade: start-of-run checks, solution
// count modes, hybrid phases, the defence task, stop and the end texts.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>

#include "chess/fen.h"
#include "chess/notation.h"
#include "config/settings.h"
#include "engine/engine_run.h"
#include "engine/engine_texts.h"
#include "problems/problem.h"
#include "registers/temporary_register.h"

namespace ostravel {
namespace {

using namespace std::chrono_literals;

// Problems of the sample collection.
constexpr const char* kTwoMatesInOne = "k7/8/1K6/8/8/8/8/2RR4 w - - 0 1";        // Rc8#, Rd8#
constexpr const char* kFourKeys = "7B/5R2/3p3N/3P4/1K2k2r/4N3/4Q3/8 w - - 0 1";  // mt-010, #2
constexpr const char* kNoSolution = "8/8/8/8/8/8/8/k1K5 w - - 0 1";              // vaeth-01, #2
constexpr const char* kRepetition = "8/8/3K4/2R5/8/2Pk4/5Q2/8 w - - 0 1";        // vaeth-55, #3
constexpr const char* kLong = "4k2K/3R1R2/8/8/8/8/8/6r1 w - - 0 1";              // mt-127, #8

struct TCapture {
  std::mutex lock;
  std::vector<TEngineMessage> messages;
  std::vector<std::string> announced;
  TSolveResult result;
  std::string endText;
  int ends = 0;

  TEngineCallbacks Callbacks() {
    TEngineCallbacks cb;
    cb.onMessage = [this](const TEngineMessage& m) {
      std::lock_guard<std::mutex> lk(lock);
      messages.push_back(m);
    };
    cb.onSolution = [this](const TSolution& s) {
      std::lock_guard<std::mutex> lk(lock);
      announced.push_back(s.keyText);
    };
    cb.onEnd = [this](const TSolveResult& r, const std::string& text) {
      std::lock_guard<std::mutex> lk(lock);
      result = r;
      endText = text;
      ++ends;
    };
    return cb;
  }
  bool Said(const std::string& text) {
    std::lock_guard<std::mutex> lk(lock);
    for (const auto& m : messages)
      if (m.text.find(text) != std::string::npos) return true;
    return false;
  }
  int Count(TEngineMessage::Kind kind, const std::string& title) {
    std::lock_guard<std::mutex> lk(lock);
    int n = 0;
    for (const auto& m : messages) n += m.kind == kind && m.title == title;
    return n;
  }
};

TSolveRequest Request(const std::string& fen, int moves, SolutionMode mode = SolutionMode::kAll) {
  TSolveRequest r;
  EXPECT_TRUE(r.SetFen(fen)) << fen;
  r.moves = moves;
  r.mode = mode;
  r.title = "test";
  r.problemId = 7001;
  r.computeVariations = false;
  return r;
}

void Solve(const TSolveRequest& r, TCapture& cap, TEngineTask task = TEngineTask::kMate) {
  TEngine engine;
  ASSERT_EQ(engine.Start(r, cap.Callbacks(), task), "");
  engine.Wait();
  EXPECT_FALSE(engine.Running());
  EXPECT_EQ(cap.ends, 1);
}

std::set<std::string> Keys(const TSolveResult& r) {
  std::set<std::string> s;
  for (const auto& k : r.solutions) s.insert(MoveToUci(k.key));
  return s;
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// ---------------------------------------------------------------- start of a run

TEST(EngineStart, RefusesOtherProblemTypesAndTooManyThreads) {
  TEngine engine;
  TCapture cap;
  TSolveRequest r = Request(kFourKeys, 2);
  r.problemType = 2;
  EXPECT_EQ(engine.Start(r, cap.Callbacks()), "Only mate problems (type=1) supported currently.");
  r.problemType = kMateProblemType;
  r.threads = 2;
  r.levels = 15;
  EXPECT_EQ(engine.Start(r, cap.Callbacks()), "Too many threads and/or multithreading levels.");
  EXPECT_FALSE(engine.Running());
  EXPECT_EQ(cap.ends, 0);
}

TEST(EngineStart, CheckedKingsAreRefusedWithTheirTexts) {
  TCapture mate;
  // Black king on e8 attacked by the rook on e1, White to move.
  Solve(Request("4k3/8/8/8/8/8/8/K3R3 w - - 0 1", 2), mate);
  EXPECT_EQ(mate.result.status, TRunStatus::kRefused);
  EXPECT_EQ(mate.result.message, "Black king cannot be checked in the mate task starting postition.");
  EXPECT_EQ(mate.endText, mate.result.message);

  TCapture defence;
  Solve(Request("k3r3/8/8/8/8/8/8/4K3 b - - 0 1", 2), defence, TEngineTask::kDefence);
  EXPECT_EQ(defence.result.status, TRunStatus::kRefused);
  EXPECT_EQ(defence.result.message,
            "White king cannot be checked in the mate-defence task starting postition.");

  TCapture kings;
  Solve(Request("8/8/8/8/8/8/8/K7 w - - 0 1", 2), kings);
  EXPECT_EQ(kings.result.status, TRunStatus::kRefused);
  EXPECT_EQ(kings.result.message, "Illegal number of kings.");
}

TEST(EngineStart, StatusLinesSummaryAndPositionType) {
  TCapture cap;
  TSolveRequest r = Request(kFourKeys, 2);
  r.customShortMateDepth = 10;
  Solve(r, cap);
  {
    std::lock_guard<std::mutex> lk(cap.lock);
    ASSERT_FALSE(cap.messages.empty());
    EXPECT_EQ(cap.messages[0].kind, TEngineMessage::kStatus);
    EXPECT_EQ(cap.messages[0].text, "initial position check pending...");
  }
  EXPECT_TRUE(cap.Said("Initial position type check..."));
  EXPECT_TRUE(cap.Said("Main settings of current analysis\n* Search for all solutions"));
  EXPECT_TRUE(cap.Said("* Custom depth of search for short mate: #6"));
  EXPECT_EQ(cap.result.positionType, "KQRBNNPkrp");
  // No precalculated data in the test environment: the run says so and goes on.
  if (!cap.result.globalRegister) {
    EXPECT_TRUE(cap.Said("No global register found for position type KQRBNNPkrp"));
  }
  EXPECT_EQ(cap.result.status, TRunStatus::kCompleted);
}

// ---------------------------------------------------------------- solution-count modes

TEST(SolutionModes, SingleSolutionReportsExactlyOneMateInOne) {
  for (int threads : {1, 2}) {
    TCapture cap;
    TSolveRequest r = Request(kTwoMatesInOne, 1, SolutionMode::kSingle);
    r.threads = static_cast<uint8_t>(threads);
    Solve(r, cap);
    ASSERT_EQ(cap.result.status, TRunStatus::kCompleted);
    EXPECT_EQ(cap.result.solutionCount, 1);
    ASSERT_EQ(cap.result.solutions.size(), 1u);
    EXPECT_TRUE(cap.result.stoppedBySolutionLimit);
    EXPECT_FALSE(Contains(cap.endText, "More than one solution found"));
    EXPECT_TRUE(Contains(cap.endText, ">> #1: 1 solution(s) found of the problem test"));
  }
  TCapture all;
  Solve(Request(kTwoMatesInOne, 1), all);
  EXPECT_EQ(Keys(all.result), (std::set<std::string>{"c1c8", "d1d8"}));
  EXPECT_FALSE(all.result.stoppedBySolutionLimit);
  EXPECT_TRUE(Contains(all.endText, "More than one solution found: 2"));
}

TEST(SolutionModes, LimitsStopInOrderWithTheirTexts) {
  struct {
    SolutionMode mode;
    int want;
    const char* text;
  } cases[] = {
      {SolutionMode::kAtMost2, 2, "Search for solutions has been stopped after detection of dual."},
      {SolutionMode::kAtMost3, 3, "Search for solutions has been stopped after finding 3 solutions"},
      {SolutionMode::kAtMost4, 4, "Search for solutions has been stopped after finding 4 solutions"},
  };
  for (const auto& c : cases) {
    TCapture cap;
    Solve(Request(kFourKeys, 2, c.mode), cap);
    EXPECT_EQ(cap.result.solutionCount, c.want);
    EXPECT_TRUE(cap.result.stoppedBySolutionLimit);
    EXPECT_TRUE(Contains(cap.endText, c.text)) << cap.endText;
    EXPECT_TRUE(Contains(cap.endText, "More than one solution found: " + std::to_string(c.want)));
    // The search never announced a solution beyond the limit.
    std::lock_guard<std::mutex> lk(cap.lock);
    EXPECT_EQ(static_cast<int>(cap.announced.size()), c.want);
  }
  TCapture all;
  Solve(Request(kFourKeys, 2), all);
  EXPECT_EQ(Keys(all.result), (std::set<std::string>{"b4c3", "b4c4", "e3g4", "f7g7"}));
  EXPECT_FALSE(all.result.stoppedBySolutionLimit);
  EXPECT_FALSE(Contains(all.endText, "has been stopped after"));
}

TEST(SolutionModes, NoSolutionTexts) {
  TCapture cap;
  Solve(Request(kNoSolution, 2), cap);
  EXPECT_EQ(cap.result.status, TRunStatus::kCompleted);
  EXPECT_TRUE(cap.result.solutions.empty());
  EXPECT_TRUE(Contains(cap.endText, "Engine has completed: test (AllSolutions)"));
  EXPECT_TRUE(
      Contains(cap.endText, "Thread solving problem test (AllSolutions) has completed successfully."));
  EXPECT_TRUE(Contains(cap.endText, ">> #2: No solution found of the problem test"));
  EXPECT_TRUE(Contains(cap.endText, "Not found any solutions for #2"));
  EXPECT_TRUE(Contains(cap.endText, "No solution found ("));
  EXPECT_TRUE(Contains(cap.endText, "sec.)"));
}

// ---------------------------------------------------------------- passes

TEST(Passes, ExactFirstPassIsNotRepeated) {
  TCapture cap;
  Solve(Request(kFourKeys, 2), cap);
  ASSERT_EQ(cap.result.passes.size(), 1u);
  EXPECT_TRUE(cap.result.passes[0].completed);
  EXPECT_TRUE(Contains(cap.endText, "pass 1: exact search"));
  EXPECT_TRUE(Contains(cap.endText, "the pass without heuristics was not repeated"));
}

TEST(Passes, HeuristicPassIsFollowedByThePassWithout) {
  TCapture cap;
  TSolveRequest r = Request(kFourKeys, 2);
  r.heuristics = 0x4;
  Solve(r, cap);
  ASSERT_EQ(cap.result.passes.size(), 2u);
  EXPECT_EQ(cap.result.passes[0].plan.heuristics, 0x4u);
  EXPECT_EQ(cap.result.passes[1].plan.kind, TPassKind::kWithoutHeuristics);
  EXPECT_TRUE(cap.result.passes[1].completed);
  // Keys found in the first pass stay; the second adds none twice.
  EXPECT_EQ(cap.result.solutionCount, 4);
  EXPECT_EQ(Keys(cap.result).size(), 4u);
  EXPECT_TRUE(Contains(cap.endText, "pass 2: search without heuristics (safe mode)"));
  EXPECT_TRUE(Contains(cap.endText, "there was only one pass with heuristcs"));
}

TEST(Passes, BruteForceRaisesTheGlobalFlagWhileItRuns) {
  TSolveRequest r = Request(kFourKeys, 2);
  r.bruteForce = true;
  std::atomic<int> seenOn{0};
  TCapture cap;
  TEngineCallbacks cb = cap.Callbacks();
  cb.onSolution = [&](const TSolution&) { seenOn += g_bBruteForce.load() ? 1 : 0; };
  TEngine engine;
  ASSERT_EQ(engine.Start(r, cb), "");
  engine.Wait();
  EXPECT_EQ(seenOn.load(), 4);
  EXPECT_FALSE(g_bBruteForce.load());
  ASSERT_EQ(cap.result.passes.size(), 1u);
  EXPECT_EQ(cap.result.passes[0].plan.kind, TPassKind::kBruteForce);
  EXPECT_TRUE(Contains(cap.endText, "Engine has completed: test (BruteForce)"));
}

TEST(Passes, HybridWithoutSolutionNeverEntersPhase2) {
  TCapture cap;
  TSolveRequest r = Request(kNoSolution, 2);
  r.hybridPhase = 1;
  Solve(r, cap);
  ASSERT_EQ(cap.result.passes.size(), 1u);
  EXPECT_EQ(cap.result.passes[0].plan.kind, TPassKind::kHybridPhase1);
  EXPECT_FALSE(cap.Said("now running the second (brute force) phase"));
  EXPECT_TRUE(cap.Said("now running the first (heuristical) phase"));
  EXPECT_TRUE(Contains(cap.endText, "Engine has completed: test (HybridBruteForce)"));
  EXPECT_TRUE(Contains(cap.endText, "second (brute force) phase was not needed"));
}

TEST(Passes, HybridFindsOneThenTheDuals) {
  TCapture cap;
  TSolveRequest r = Request(kFourKeys, 2);
  r.hybridPhase = 1;
  Solve(r, cap);
  ASSERT_EQ(cap.result.passes.size(), 2u);
  EXPECT_EQ(cap.result.passes[0].solutionsAfter, 1);
  EXPECT_EQ(cap.result.passes[1].plan.kind, TPassKind::kHybridPhase2);
  EXPECT_EQ(Keys(cap.result).size(), 4u);
  EXPECT_TRUE(cap.Said("now running the second (brute force) phase of hybrid brute force"));
  // A single-solution hybrid run looks for one dual in phase 2.
  TCapture one;
  r.mode = SolutionMode::kSingle;
  Solve(r, one);
  EXPECT_EQ(one.result.solutionCount, 2);
  EXPECT_TRUE(Contains(one.endText, "Search for solutions has been stopped after detection of dual."));
}

TEST(Passes, RepetitionIsShownOncePerRun) {
  // Lines are cut at a repeated position only in passes with heuristics
  // (quick mode); this set cuts nothing else here, there being no Black knight.
  TCapture cap;
  TSolveRequest r = Request(kRepetition, 3);
  r.heuristics = SH_CAPTUREKNIGHT;
  Solve(r, cap);
  ASSERT_EQ(cap.result.passes.size(), 2u);
  EXPECT_EQ(Keys(cap.result), std::set<std::string>{"d6d7"});
  EXPECT_TRUE(cap.result.repetitionDetected);
  EXPECT_EQ(cap.Count(TEngineMessage::kWarning, "Position repetition"), 1);
  EXPECT_TRUE(
      cap.Said("Program detected position repetition\nFor optimization reasons every postion repetition"));
}

TEST(Passes, ARegisterSharedWithAnEarlierRunAnswersWithoutSearch) {
  TSolveRequest r = Request("k7/P7/K7/5p2/8/7B/4p1P1/8 w - - 0 1", 3);  // popeye-41: no solution
  r.reg = std::make_shared<TAggregatedTemporaryChessboardRegister>(16384, 0);
  TCapture first, second;
  Solve(r, first);
  EXPECT_TRUE(first.result.solutions.empty());
  EXPECT_FALSE(first.result.fromRegister);
  Solve(r, second);
  EXPECT_TRUE(second.result.fromRegister);
  EXPECT_EQ(second.result.nodes, 0u);
  EXPECT_TRUE(Contains(second.endText, "No solution found of the problem test (from register)"));
  EXPECT_TRUE(second.Said("From temporary register"));
  EXPECT_FALSE(first.Said("From temporary register"));
}

TEST(Passes, ThreatsAndVariationsComeWithTheKeys) {
  TCapture cap;
  TSolveRequest r = Request(kFourKeys, 2);
  r.computeVariations = true;
  Solve(r, cap);
  bool threat = false;
  for (const auto& s : cap.result.solutions)
    if (s.keyText == "Kb4-c3") threat = !s.threat.empty();
  EXPECT_TRUE(threat);
}

TEST(Passes, AuxiliaryMateSearchIsOnePlainSearch) {
  TCapture cap;
  Solve(Request(kFourKeys, 2), cap, TEngineTask::kAuxMate);
  EXPECT_EQ(cap.result.solutionCount, 4);
  EXPECT_EQ(cap.result.passes.size(), 1u);
  EXPECT_FALSE(cap.Said("Main settings of current analysis"));
  EXPECT_EQ(g_nEngineThreadProcAuxMatePending.load(), 0);
}

TEST(RootRestriction, OnlyTheMarkedMenMove) {
  // mt-010's keys: Ne3-g4, Kb4-c3, Kb4-c4 and Rf7-g7.
  TCapture cap;
  TSolveRequest r = Request(kFourKeys, 2);
  r.restriction = -1;
  r.markedSquares = uint64_t{1} << SquareOf(4, 2) | uint64_t{1} << SquareOf(1, 3);  // e3, b4
  Solve(r, cap);
  EXPECT_EQ(Keys(cap.result), (std::set<std::string>{"e3g4", "b4c3", "b4c4"}));
  // Marks without a restriction change nothing.
  TCapture all;
  r.restriction = 0;
  Solve(r, all);
  EXPECT_EQ(Keys(all.result).size(), 4u);
  // Only Black men marked: refused, not "no solution".
  TCapture none;
  r.restriction = -1;
  r.markedSquares = uint64_t{1} << SquareOf(4, 3);  // e4, the black king
  Solve(r, none);
  EXPECT_EQ(none.result.status, TRunStatus::kRefused);
}

// ---------------------------------------------------------------- defence task

TEST(DefenceTask, HeadlinesOnRealPositions) {
  struct {
    const char* fen;
    int moves;
    TEngineText headline;
    size_t replies;
  } cases[] = {
      {"8/8/8/8/8/8/8/k1K5 b - - 0 1", 2, TEngineText::kDefenceOnlyReply, 1},
      {"8/3Q4/5k2/5B2/8/6N1/4N3/K1B5 b - - 0 1", 1, TEngineText::kDefenceOnlyReplyNotDefence, 1},
      {"k7/2Q5/1K6/8/8/8/8/8 b - - 0 1", 2, TEngineText::kDefenceNoValidMove, 0},
      {"7k/5ppp/8/8/8/8/8/R5K1 b - - 0 1", 1, TEngineText::kDefenceRefuted, 7},
      {"8/3Q4/5k2/8/8/1B2B1P1/8/K7 b - - 0 1", 1, TEngineText::kDefenceNone, 2},
  };
  for (const auto& c : cases) {
    TCapture cap;
    Solve(Request(c.fen, c.moves), cap, TEngineTask::kDefence);
    ASSERT_EQ(cap.result.status, TRunStatus::kCompleted) << c.fen << cap.result.message;
    EXPECT_EQ(cap.result.defence.replies.size(), c.replies) << c.fen;
    // Every reply's position is proved once and kept in the defence register,
    // but for those with an e.p. right, which the board alone does not show.
    size_t doubleSteps = 0;
    for (const auto& reply : cap.result.defence.replies)
      doubleSteps += reply.move.from - reply.move.to == 16 && reply.text[0] >= 'a';
    EXPECT_EQ(cap.result.defence.registerEntries, c.replies - doubleSteps) << c.fen;
    EXPECT_EQ(cap.result.defence.headline, c.headline) << c.fen << "\n" << cap.endText;
    EXPECT_TRUE(Contains(cap.endText, EngineText(c.headline, 1))) << cap.endText;
    EXPECT_TRUE(Contains(cap.endText,
                         "Thread looking for black's defence in problem test has completed successfully."));
  }
}

TEST(DefenceTask, RefutationsListsAndEquivalents) {
  TCapture cap;
  Solve(Request("7k/5ppp/8/8/8/8/8/R5K1 b - - 0 1", 1), cap, TEngineTask::kDefence);
  const auto& d = cap.result.defence;
  std::set<std::string> refutations;
  for (size_t i : d.best) refutations.insert(d.replies[i].text);
  for (size_t i : d.equivalent) refutations.insert(d.replies[i].text);
  EXPECT_EQ(refutations, (std::set<std::string>{"g7-g6", "g7-g5", "h7-h6", "h7-h5"}));
  EXPECT_TRUE(Contains(cap.endText,
                       "Mate in the requested stipulation was refuted with:\nDefence:\n   1...g7-g6 "
                       "(no mate in 1) Last move, no mate."));
  EXPECT_TRUE(Contains(cap.endText, "\nEquivalent moves:"));
  EXPECT_TRUE(Contains(cap.endText, "The following moves have been found:"));
  EXPECT_TRUE(Contains(cap.endText, "1...Kh8-g8 (mate in 1)"));
  EXPECT_FALSE(Contains(cap.endText, "1...Kh8-g8 (mate in 1) Last"));
  EXPECT_EQ(ResultTitle(Request(kNoSolution, 1), cap.result), "Result of analysis");
}

TEST(DefenceTask, MateTaskPositionIsRefused) {
  TCapture cap;
  Solve(Request(kFourKeys, 2), cap, TEngineTask::kDefence);
  EXPECT_EQ(cap.result.status, TRunStatus::kRefused);
  EXPECT_EQ(cap.result.message, "The mate-defence task needs Black to move.");
}

// ---------------------------------------------------------------- stop

TEST(Stop, StopDuringALongSearchReturnsPromptly) {
  TCapture cap;
  TSolveRequest r = Request(kLong, 8);
  TEngine engine;
  ASSERT_EQ(engine.Start(r, cap.Callbacks()), "");
  std::this_thread::sleep_for(300ms);
  ASSERT_TRUE(engine.Running());
  EXPECT_TRUE(g_bEngineThreadProcRunning.load());
  const TProgressSnapshot s = engine.Snapshot();
  EXPECT_EQ(s.state, TRunState::kRunning);
  EXPECT_EQ(s.pass, 1);
  EXPECT_GT(s.nodes, 0u);
  const auto t0 = std::chrono::steady_clock::now();
  engine.RequestStop();
  engine.Wait();
  EXPECT_LT(std::chrono::steady_clock::now() - t0, 5s);
  EXPECT_EQ(cap.result.status, TRunStatus::kStopped);
  EXPECT_TRUE(cap.result.stoppedByUser);
  EXPECT_EQ(cap.result.message, "Analysis stopped by user");
  EXPECT_TRUE(Contains(cap.endText, "Engine stopped: test (AllSolutions)"));
  EXPECT_TRUE(Contains(cap.endText, "(stopped by user)"));
  EXPECT_FALSE(Contains(cap.endText, "has completed successfully"));
  EXPECT_FALSE(g_bEngineThreadProcRunning.load());
  EXPECT_FALSE(g_bStopPending.load());
}

TEST(Stop, PartialResultsSurviveAStop) {
  // The key is tried first, so it is found early; the stop comes while the
  // other candidates are still being refuted.
  TSolveRequest r = Request(kLong, 8);
  TChessboard root;
  TTaskContext ctx;
  TProblem p;
  p.position = r.position;
  p.moves = 8;
  p.MakeRoot(root, ctx);
  TMove key;
  ASSERT_TRUE(ParseFullMove(root, "Rd7-e7", key));
  r.sortIndications = {key};
  std::atomic<bool> found{false};
  TCapture cap;
  TEngineCallbacks cb = cap.Callbacks();
  cb.onSolution = [&](const TSolution&) { found = true; };
  TEngine engine;
  ASSERT_EQ(engine.Start(r, cb), "");
  while (engine.Running() && !found.load()) std::this_thread::sleep_for(1ms);
  engine.RequestStop();
  engine.Wait();
  ASSERT_TRUE(found.load());
  if (cap.result.status == TRunStatus::kCompleted) GTEST_SKIP() << "the search ended before the stop arrived";
  EXPECT_EQ(cap.result.status, TRunStatus::kStopped);
  ASSERT_EQ(cap.result.solutions.size(), 1u);
  EXPECT_EQ(cap.result.solutions[0].keyText, "Rd7-e7");
  EXPECT_TRUE(Contains(cap.endText, ">> #8: 1 solution(s) found of the problem test (stopped by user)"));
}

TEST(Stop, TheGlobalStopPathStopsTheRunWithThatId) {
  TCapture cap;
  TSolveRequest r = Request(kLong, 8);
  r.problemId = 4242;
  TEngine engine;
  ASSERT_EQ(engine.Start(r, cap.Callbacks()), "");
  std::this_thread::sleep_for(100ms);
  {
    std::lock_guard<std::mutex> lk(EngineIdsLock());
    EXPECT_TRUE(setRunningProblemsIds.count(4242));
  }
  RequestStopOfProblem(4243);  // not running: ignored
  EXPECT_FALSE(g_bStopPending.load());
  RequestStopOfProblem(4242);
  EXPECT_TRUE(g_bStopPending.load());
  engine.Wait();
  EXPECT_EQ(cap.result.status, TRunStatus::kStopped);
  std::lock_guard<std::mutex> lk(EngineIdsLock());
  EXPECT_FALSE(setRunningProblemsIds.count(4242));
  EXPECT_TRUE(setProblemsBeingStoppedIds.empty());
  EXPECT_FALSE(g_bStopPending.load());
}

TEST(Stop, TooManyProblemsAtTheSameTime) {
  std::vector<std::unique_ptr<TEngine>> engines;
  std::vector<std::unique_ptr<TCapture>> caps;
  for (size_t i = 0; i < kMaxProblemsSolvedAtOnce; ++i) {
    engines.push_back(std::make_unique<TEngine>());
    caps.push_back(std::make_unique<TCapture>());
    TSolveRequest r = Request(kLong, 8);
    r.problemId = 100 + static_cast<uint32_t>(i);
    ASSERT_EQ(engines.back()->Start(r, caps.back()->Callbacks()), "");
  }
  TEngine extra;
  TCapture cap;
  TSolveRequest r = Request(kFourKeys, 2);
  r.problemId = 999;
  EXPECT_EQ(extra.Start(r, cap.Callbacks()), "Too many problems being solved at the same time.");
  for (auto& e : engines) e->RequestStop();
  for (auto& e : engines) e->Wait();
  EXPECT_EQ(extra.Start(r, cap.Callbacks()), "");
  extra.Wait();
  EXPECT_EQ(cap.result.status, TRunStatus::kCompleted);
}

TEST(Stop, AProblemAlreadyRunningTakesNoSecondSlot) {
  TEngine a, b;
  TCapture ca, cb;
  TSolveRequest r = Request(kLong, 8);
  r.problemId = 31;
  ASSERT_EQ(a.Start(r, ca.Callbacks()), "");
  EXPECT_EQ(b.Start(r, cb.Callbacks()), "Too many problems being solved at the same time.");
  a.RequestStop();
  a.Wait();
}

// ---------------------------------------------------------------- requests from problems

TEST(Requests, FromAProblemRecord) {
  TProblem p;
  ASSERT_TRUE(p.SetFen(kFourKeys));
  p.moves = 2;
  p.description = "mt-010";
  p.tags = {"several keys", "stopondual"};
  p.variants = {TVariant{"Main", {{"Rf7-g7"}, {"Ne3-g4"}}}};
  p.sortIndications = "Kb4-c4";
  TSettings s;
  s.UseMainVariantAsSortIndications = 0;
  s.QuickMode = 0;
  s.LanguageId = 0;
  TSolveRequest r = RequestFromProblem(p, s, 5);
  EXPECT_EQ(r.problemId, 5u);
  EXPECT_EQ(r.title, "mt-010");
  EXPECT_EQ(r.moves, 2);
  EXPECT_EQ(r.mode, SolutionMode::kAtMost2);
  EXPECT_TRUE(r.safeMode);
  EXPECT_EQ(r.languageId, 0);
  ASSERT_EQ(r.sortIndications.size(), 1u);
  EXPECT_EQ(MoveToUci(r.sortIndications[0]), "b4c4");
  s.UseMainVariantAsSortIndications = 2;
  r = RequestFromProblem(p, s, 5);
  std::vector<std::string> order;
  for (const TMove& m : r.sortIndications) order.push_back(MoveToUci(m));
  EXPECT_EQ(order, (std::vector<std::string>{"b4c4", "f7g7", "e3g4"}));
  p.tags = {"HybridBruteForce"};
  EXPECT_EQ(RequestFromProblem(p, s, 5).hybridPhase, 1);
}

TEST(Requests, SortIndicationsOrderTheFirstPly) {
  TSolveRequest r = Request(kFourKeys, 2, SolutionMode::kSingle);
  TChessboard root;
  TTaskContext ctx;
  TProblem p;
  p.position = r.position;
  p.MakeRoot(root, ctx);
  TMove m;
  ASSERT_TRUE(ParseFullMove(root, "Rf7-g7", m));
  r.sortIndications = {m};
  TCapture cap;
  Solve(r, cap);
  ASSERT_EQ(cap.result.solutions.size(), 1u);
  EXPECT_EQ(cap.result.solutions[0].keyText, "Rf7-g7");
}

TEST(Requests, AMistypedSortIndicationIsNamed) {
  TProblem p;
  TSolveRequest base = Request(kFourKeys, 2);
  p.position = base.position;
  p.whiteToMove = true;
  p.moves = 2;
  p.sortIndications = "Rf7-g7 Ng4";
  TSolveRequest r = RequestFromProblem(p, TSettings{}, 7002);
  r.computeVariations = false;
  TCapture cap;
  Solve(r, cap);
  EXPECT_TRUE(cap.Said("Sort indications: Ng4: Short notation not supported."));
  EXPECT_EQ(Keys(cap.result).size(), 4u);
}

TEST(Requests, PolishEndTexts) {
  TCapture cap;
  TSolveRequest r = Request(kNoSolution, 2);
  r.languageId = 0;
  Solve(r, cap);
  EXPECT_TRUE(Contains(cap.endText, "Silnik zako\u0144czy\u0142 prac\u0119: test (AllSolutions)"));
  EXPECT_TRUE(Contains(cap.endText, "Nie znaleziono \u017cadnych rozwi\u0105za\u0144 dla #2"));
}

// Keys are reported in the root's move order whatever thread found them
// first, so a problem prints the same text on every run.
TEST(SolutionModes, KeysComeInTheRootsMoveOrderAtEveryThreadCount) {
  const std::string fen = "k7/1pRN1p2/p3r2p/Q2N2p1/3PPP2/8/5P1P/R5K1 w - - 0 1";  // mt-041, #3, eight keys
  TTaskContext ctx;
  TChessboard root;
  ASSERT_TRUE(FenToBoard(fen, root, ctx));
  ValidateAndRecount(root);
  TMove legal[kMaxMoves];
  const int n = GenerateLegalMoves(root, legal);
  for (int threads : {1, 2, 4}) {
    for (int run = 0; run < 3; ++run) {
      TSolveRequest r = Request(fen, 3);
      r.threads = static_cast<uint8_t>(threads);
      TCapture cap;
      Solve(r, cap);
      ASSERT_EQ(cap.result.solutions.size(), 8u);
      int last = -1;
      for (const TSolution& s : cap.result.solutions) {
        const int at = static_cast<int>(
            std::find_if(legal, legal + n, [&](const TMove& m) { return m.SameAs(s.key); }) - legal);
        EXPECT_GT(at, last) << threads << " threads: " << MoveToUci(s.key);
        last = at;
      }
    }
  }
}

}  // namespace
}  // namespace ostravel
