// The temporary register around a run: the register a request brings is the
// one searched, ClearRegisterOnStartSolving empties it, the files of the
// request are loaded and saved, and the auto-save writes the register while
// the search runs, into the run's own slot.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

#include "config/paths.h"
#include "config/settings.h"
#include "engine/analysis.h"
#include "engine/autosave.h"
#include "engine/engine.h"
#include "problems/problem.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* kNoSolution3 = "k7/P7/K7/5p2/8/7B/4p1P1/8 w - - 0 1";  // popeye-41, #3: none
constexpr const char* kMateIn5 = "1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1";       // #5: Bb4-c3
constexpr const char* kLong = "4k2K/3R1R2/8/8/8/8/8/6r1 w - - 0 1";          // mt-127, #8

// A fresh OSTRAVEL_HOME, so that nothing touches the real data folder.
fs::path FreshHome() {
  return test::UseFreshHome();
}

std::string ReadText(const fs::path& p) {
  return test::ReadTextFile(p);
}

TSolveResult SolveOnce(const TSolveRequest& r) {
  TEngine engine;
  EXPECT_EQ(engine.Start(r, {}), "");
  engine.Wait();
  return engine.Result();
}

TSolveRequest Request(const std::string& fen, int moves) {
  TSolveRequest r;
  EXPECT_TRUE(r.SetFen(fen));
  r.moves = moves;
  r.title = "wiring";
  r.problemId = 7101;
  r.computeVariations = false;
  return r;
}

// ---------------------------------------------------------------- engine side

TEST(RunRegister, SizedByTheRootPliesAndKeepsShortResults) {
  auto small = MakeRunRegister(2);
  EXPECT_EQ(small->BucketCount(), 16384u);
  EXPECT_TRUE(small->StoreShortResults());
  // #8 is 15 plies, the first size that takes the larger table.
  EXPECT_EQ(MakeRunRegister(7)->BucketCount(), 16384u);
  EXPECT_EQ(MakeRunRegister(8)->BucketCount(), 524288u);
  // With Black to move White still has n moves: 2n plies.
  EXPECT_EQ(MakeRunRegister(7, false)->BucketCount(), 16384u);
}

TEST(RunRegister, TheRequestsRegisterIsTheOneSearched) {
  TSolveRequest r = Request(kMateIn5, 5);
  r.reg = MakeRunRegister(5);
  const TSolveResult first = SolveOnce(r);
  ASSERT_EQ(first.solutions.size(), 1u);
  EXPECT_GT(r.reg->ElementCount(), 0u);
  const TSolveResult second = SolveOnce(r);
  ASSERT_EQ(second.solutions.size(), 1u);
  EXPECT_TRUE(second.solutions[0].key.SameAs(first.solutions[0].key));
  EXPECT_LT(second.nodes * 10, first.nodes);
}

TEST(RunRegister, ClearOnStartDropsWhatTheRegisterHeld) {
  TSettings s;
  TSolveRequest r = Request(kNoSolution3, 3);
  ApplySettings(r, s);
  EXPECT_FALSE(r.clearRegisterOnStart);
  s.ClearRegisterOnStartSolving = 1;
  ApplySettings(r, s);
  ASSERT_TRUE(r.clearRegisterOnStart);

  r.reg = MakeRunRegister(3);
  r.clearRegisterOnStart = false;
  ASSERT_TRUE(SolveOnce(r).solutions.empty());
  // Kept: the proof of the root answers the next run at once.
  EXPECT_TRUE(SolveOnce(r).fromRegister);
  // Cleared: the same proof has to be found again.
  r.clearRegisterOnStart = true;
  const TSolveResult cleared = SolveOnce(r);
  EXPECT_FALSE(cleared.fromRegister);
  EXPECT_GT(cleared.nodes, 0u);
  EXPECT_TRUE(cleared.solutions.empty());
  // A second phase of a hybrid run goes on with its first phase's results.
  r.hybridPhase = 2;
  const uint32_t before = r.reg->ElementCount();
  ASSERT_GT(before, 0u);
  SolveOnce(r);
  EXPECT_GE(r.reg->ElementCount(), before);
}

// A run with auto-save on: while it runs its slot is locked and written;
// nobody can claim it; stopped, it saves once more and the slot stays for a
// resume. A second run at the same time gets a slot of its own.
TEST(RunRegister, AutoSaveGoesToTheRunsOwnLockedSlot) {
  const fs::path home = FreshHome();
  TSolveRequest r = Request(kLong, 8);
  r.autoSave.enabled = true;
  r.autoSave.period = 40ms;  // the settings count in minutes
  r.autoSave.limitMB = 16;
  r.autoSave.folder = home.string();
  std::mutex m;
  std::vector<std::string> saved;
  TEngineCallbacks cb;
  cb.onEvent = [&](const TEngineEvent& e) {
    std::lock_guard<std::mutex> lk(m);
    if (e.kind == TEngineEvent::kAutoSaved) saved.push_back(e.text);
  };
  TEngine engine;
  ASSERT_EQ(engine.Start(r, cb), "");
  std::vector<TAutoSaveListing> slots;
  for (int i = 0; i < 300; ++i) {
    slots = ListAutoSaves(home);
    if (slots.size() == 1 && fs::exists(slots[0].paths.registerFile)) break;
    std::this_thread::sleep_for(20ms);
  }
  ASSERT_EQ(slots.size(), 1u);
  EXPECT_TRUE(slots[0].ownerRunning);
  EXPECT_FALSE(slots[0].resumable);
  std::string why;
  EXPECT_EQ(TAutoSaveSlot::Claim(home, slots[0].id, &why), nullptr);
  EXPECT_NE(why.find("still runs"), std::string::npos) << why;

  // A second run beside it: another slot, never the first one's files.
  TSolveRequest r2 = Request(kLong, 8);
  r2.problemId = 7102;
  r2.autoSave = r.autoSave;
  TEngine second;
  ASSERT_EQ(second.Start(r2, {}), "");
  for (int i = 0; i < 300 && ListAutoSaves(home).size() < 2; ++i) std::this_thread::sleep_for(10ms);
  EXPECT_EQ(ListAutoSaves(home).size(), 2u);
  second.RequestStop();
  second.Wait();
  EXPECT_NE(second.Result().autoSaveSlot, slots[0].id);

  engine.RequestStop();
  engine.Wait();
  const TSolveResult& res = engine.Result();
  EXPECT_EQ(res.status, TRunStatus::kStopped);
  EXPECT_TRUE(res.autoSaveKept);
  EXPECT_EQ(res.autoSaveSlot, slots[0].id);
  ASSERT_FALSE(saved.empty());
  EXPECT_EQ(saved.back(), slots[0].paths.registerFile.string());
  EXPECT_NE(ReadText(slots[0].paths.infoFile).find("[AutoSave]"), std::string::npos);
  EXPECT_FALSE(fs::exists(slots[0].paths.pendingFile));
  // What was saved is what the search had proved.
  TAggregatedTemporaryChessboardRegister loaded(16384, 0);
  loaded.SetStoreShortResults(true);
  const TRegisterReadResult read = ReadRegisterFile(loaded, slots[0].paths.registerFile, 16384);
  ASSERT_TRUE(read.completed) << read.error;
  EXPECT_GT(loaded.ElementCount(), 0u);
  // Its run has ended: the slot is free to resume now.
  for (const auto& l : ListAutoSaves(home)) {
    if (l.id == slots[0].id) {
      EXPECT_TRUE(l.resumable);
    }
  }
  EXPECT_NE(TAutoSaveSlot::Claim(home, slots[0].id, &why), nullptr) << why;
}

TEST(RunRegister, ACompletedRunRemovesItsSlotAndLeavesOthersAlone) {
  const fs::path home = FreshHome();
  TProblem p;
  ASSERT_TRUE(p.SetFen(kMateIn5));
  p.moves = 5;
  auto reg = MakeRunRegister(5);
  // An older slot whose run has ended.
  {
    auto old = TAutoSaveSlot::Create(home, 1);
    WriteAutoSave(*reg, p, old->Folder(), 16);
  }
  TSolveRequest r = Request(kMateIn5, 5);
  r.autoSave.enabled = true;
  r.autoSave.period = std::chrono::hours(1);
  r.autoSave.limitMB = 16;
  r.autoSave.folder = home.string();
  const TSolveResult res = SolveOnce(r);
  EXPECT_EQ(res.status, TRunStatus::kCompleted);
  EXPECT_FALSE(res.autoSaveKept);
  const auto slots = ListAutoSaves(home);
  ASSERT_EQ(slots.size(), 1u);
  EXPECT_TRUE(slots[0].resumable);
  EXPECT_NE(slots[0].id, res.autoSaveSlot);
}

// Resume takes the slot whose run has ended, loads its register, saves into
// the same slot while it runs and removes it once the analysis is complete.
TEST(RunRegister, ResumeContinuesAFreeSlotAndRemovesItWhenDone) {
  const fs::path home = FreshHome();
  TProblem p;
  ASSERT_TRUE(p.SetFen(kMateIn5));
  p.moves = 5;
  p.description = "resumed";
  TSolveRequest first = Request(kMateIn5, 5);
  first.reg = MakeRunRegister(5);
  // Only the key search is compared: the explanation is not what a register saves.
  first.computeVariations = false;
  const TSolveResult before = SolveOnce(first);
  std::string id;
  {
    auto slot = TAutoSaveSlot::Create(home, 9);
    id = slot->Id();
    WriteAutoSave(*first.reg, p, slot->Folder(), 16);
    // While its owner lives it is not offered.
    TResumeSource src;
    src.slot = id;
    EXPECT_NE(PlanResume(src, TSettings{}, home).error.find("still runs"), std::string::npos);
  }
  TResumeSource src;  // no slot named: the only free one
  TResumePlan plan = PlanResume(src, TSettings{}, home);
  ASSERT_EQ(plan.error, "");
  EXPECT_EQ(plan.slot, id);
  EXPECT_EQ(plan.problem.description, "resumed");
  plan.request.autoSave.folder = home.string();
  plan.request.computeVariations = false;
  TEngine engine;
  const TRunOutcome out = RunAndWait(engine, plan.request, TEngineTask::kMate, {}, {});
  ASSERT_EQ(out.result.status, TRunStatus::kCompleted) << out.result.message;
  ASSERT_EQ(out.result.solutions.size(), 1u);
  EXPECT_LT(out.result.nodes * 10, before.nodes);  // the saved register answered
  EXPECT_TRUE(ListAutoSaves(home).empty());
}

TEST(RunRegister, FilesOfTheRequestAreLoadedAndSaved) {
  const fs::path home = FreshHome();
  TSolveRequest r = Request(kMateIn5, 5);
  r.registerFiles.saveFile = (home / "m5.tmpReg").string();
  std::vector<TEngineEvent> events;
  std::mutex m;
  TEngineCallbacks cb;
  cb.onEvent = [&](const TEngineEvent& e) {
    std::lock_guard<std::mutex> lk(m);
    events.push_back(e);
  };
  TEngine engine;
  ASSERT_EQ(engine.Start(r, cb), "");
  engine.Wait();
  const TSolveResult first = engine.Result();
  ASSERT_TRUE(first.registerSaved) << first.registerError;
  ASSERT_TRUE(fs::exists(r.registerFiles.saveFile));
  EXPECT_TRUE(std::any_of(events.begin(), events.end(), [](const TEngineEvent& e) {
    return e.kind == TEngineEvent::kRegisterSaved && e.text.find("File created: ") != std::string::npos;
  }));

  // Loaded, the file answers the same search at a fraction of the cost.
  TSolveRequest again = Request(kMateIn5, 5);
  again.registerFiles.loadFile = r.registerFiles.saveFile;
  const TSolveResult second = SolveOnce(again);
  ASSERT_EQ(second.solutions.size(), 1u);
  EXPECT_LT(second.nodes * 10, first.nodes);

  // A missing pinned file costs the head start; a missing file to load refuses the run.
  TSolveRequest pinned = Request(kMateIn5, 5);
  pinned.registerFiles.pinnedFile = (home / "gone.tmpReg").string();
  EXPECT_EQ(SolveOnce(pinned).status, TRunStatus::kCompleted);
  TSolveRequest missing = Request(kMateIn5, 5);
  missing.registerFiles.loadFile = (home / "gone.tmpReg").string();
  const TSolveResult refused = SolveOnce(missing);
  EXPECT_EQ(refused.status, TRunStatus::kRefused);
  EXPECT_NE(refused.message.find("Error opening file "), std::string::npos) << refused.message;
}

// The one stipulation limit: #125 runs (a lone White king, which cannot
// mate, ends at once), #126 and #0 are refused with the range, never a
// search that fails half-way.
TEST(RunLimits, StipulationRangeIsTheSameEverywhere) {
  const std::string noMoves = "k7/8/8/8/8/8/p7/K7 w - - 0 1";
  TSolveResult r = SolveOnce(Request(noMoves, kMaxStipulationMoves));
  EXPECT_EQ(r.status, TRunStatus::kCompleted) << r.message;
  EXPECT_TRUE(r.solutions.empty());
  for (int n : {0, kMaxStipulationMoves + 1, 32767}) {
    TEngine engine;
    const std::string refusal = engine.Start(Request(noMoves, n), {});
    if (refusal.empty()) {
      engine.Wait();
      r = engine.Result();
      EXPECT_EQ(r.status, TRunStatus::kRefused) << n;
      EXPECT_EQ(r.message, "Stipulation #" + std::to_string(n) + " is out of range: #1 to #125");
    }
  }
}

}  // namespace
}  // namespace ostravel
