// The automatic save of a running analysis: its files and companion, the
// pending file that protects the previous save, the saver's thread, and the
// recovery of a run's slot after its process was killed.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "config/autosave_info.h"
#include "config/paths.h"
#include "config/settings.h"
#include "engine/analysis.h"
#include "engine/autosave.h"
#include "engine/solve_request.h"
#include "platform/forced_close.h"
#include "problems/cp_file.h"
#include "registers/register_file.h"
#include "registers/test_register_file_util.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// A process id that certainly ran no longer: a child that exited and was
// waited for.
long long EndedProcessId() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  int status = 0;
  ::waitpid(child, &status, 0);
  return child;
}

class AutoSave : public ::testing::Test {
 protected:
  void SetUp() override {
    problem.moves = 5;
    problem.description = "Zepler, 1935";
    ASSERT_TRUE(problem.SetFen("1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1"));
    for (uint32_t i = 1; i <= 2000; ++i)
      test::PutExact(*reg, i, static_cast<uint16_t>(5 + 2 * (i % 3)), i % 2 != 0);
  }

  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg = test::NewRegister();
  TProblem problem;
  fs::path dir = test::MakeTempDir();
  TAutoSavePaths paths = TAutoSavePaths::In(dir);
};

TEST_F(AutoSave, WritesRegisterProblemAndCompanion) {
  WriteAutoSave(*reg, problem, dir, 16);
  EXPECT_EQ(paths.registerFile, dir / "AutoSave.tmpReg");
  EXPECT_EQ(paths.infoFile, dir / "AutoSave.tmpReg.ini");
  EXPECT_FALSE(fs::exists(dir / "AutoSavePending.tmp"));
  auto back = test::NewRegister();
  ASSERT_TRUE(ReadRegisterFile(*back, paths.registerFile, kSmallRegisterBuckets).completed);
  EXPECT_EQ(test::Contents(*back), test::Contents(*reg));

  const TCollectionReadResult cp = LoadCollectionFile(dir / "AutoSave.cp");
  ASSERT_EQ(cp.problems.size(), 1u);
  EXPECT_EQ(cp.problems[0], problem);

  const TAutoSaveInfo info = ReadAutoSaveInfo(paths.registerFile.string());
  EXPECT_EQ(info.ProcessId, ::getpid());
  EXPECT_EQ(info.ProcessFileName, OwnExecutablePath());
  EXPECT_EQ(info.Description, "Zepler, 1935");
  // Ratios the caller does not give are not recorded.
  EXPECT_EQ(info.MaxMemRatioPerProblem, -1);
  EXPECT_EQ(info.MaxMemRatioForPrecalculatedData, -1);
  const TAutoSaveInfo given = CurrentAutoSaveInfo("Zepler, 1935", 15, 25);
  WriteAutoSave(*reg, problem, dir, 16, true, &given);
  EXPECT_EQ(ReadAutoSaveInfo(paths.registerFile.string()).MaxMemRatioPerProblem, 25);
  EXPECT_EQ(ReadAutoSaveInfo(paths.registerFile.string()).MaxMemRatioForPrecalculatedData, 15);
}

TEST_F(AutoSave, FailedSaveLeavesThePreviousOneIntact) {
  WriteAutoSave(*reg, problem, dir, 16);
  const std::vector<uint8_t> before = test::ReadBytes(paths.registerFile);
  test::PutExact(*reg, 9999, 9, true);
  fs::create_directory(paths.pendingFile);  // the pending file cannot be opened
  EXPECT_ANY_THROW(WriteAutoSave(*reg, problem, dir, 16));
  EXPECT_EQ(test::ReadBytes(paths.registerFile), before);
}

TEST_F(AutoSave, SaverSavesPeriodicallyUntilStopped) {
  TAutoSaver saver(reg, problem, 10ms, 16, dir);
  EXPECT_TRUE(saver.Running());
  for (int i = 0; i < 500 && saver.Saves() < 2; ++i) std::this_thread::sleep_for(10ms);
  EXPECT_GE(saver.Saves(), 2) << saver.LastError();
  saver.Stop();
  EXPECT_FALSE(saver.Running());
  const int saves = saver.Saves();
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(saver.Saves(), saves);
  // A stopped run still saves what it has on request.
  test::PutExact(*reg, 7777, 11, true);
  EXPECT_TRUE(saver.SaveNow());
  auto back = test::NewRegister();
  ASSERT_TRUE(ReadRegisterFile(*back, paths.registerFile, kSmallRegisterBuckets).completed);
  EXPECT_EQ(test::Contents(*back), test::Contents(*reg));
  // Finished normally: nothing left to recover.
  saver.Finish();
  EXPECT_FALSE(fs::exists(paths.registerFile));
  EXPECT_FALSE(fs::exists(paths.problemFile));
  EXPECT_FALSE(fs::exists(paths.infoFile));
}

TEST_F(AutoSave, SaverThatNeverSavedLeavesAnOlderAutoSaveAlone) {
  WriteAutoSave(*reg, problem, dir, 16);
  {
    TAutoSaver saver(reg, problem, std::chrono::hours(1), 16, dir);
    saver.Finish();
  }
  EXPECT_TRUE(fs::exists(paths.registerFile));
  TAutoSaver off(reg, problem, 0ms, 16, dir);
  EXPECT_FALSE(off.Running());

  // AutoSaveMinutes 0 switches the auto-save of a run off.
  TSettings s;
  TSolveRequest r;
  ApplySettings(r, s);
  EXPECT_TRUE(r.autoSave.enabled);
  s.AutoSaveMinutes = 0;
  ApplySettings(r, s);
  EXPECT_FALSE(r.autoSave.enabled);
}

// The scan the start-up runs: the runs' slots through the engine's list, the
// writer's process through the platform's test.
std::vector<TForcedCloseAutoSave> ForcedCloses(const fs::path& home) {
  TForcedCloseScan scan;
  scan.runSlots = UnheldAutoSaveSlots;
  return FindForcedCloseAutoSaves(home, scan);
}

// A run in a child process that claims a slot, saves into it and is killed:
// its slot is offered, Yes resumes it in place and removes it once complete.
TEST_F(AutoSave, SlotOfAKilledRunIsOfferedAndResumedInPlace) {
  const fs::path home = test::UseFreshHome();
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    auto slot = TAutoSaveSlot::Create(home, 7);
    WriteAutoSave(*reg, problem, slot->Folder(), 16);
    const char c = 1;
    if (::write(ready[1], &c, 1) != 1) ::_exit(1);
    for (;;) ::pause();
  }
  ASSERT_GT(child, 0);
  char c = 0;
  ASSERT_EQ(::read(ready[0], &c, 1), 1);
  ::close(ready[0]);
  ::close(ready[1]);
  EXPECT_TRUE(ForcedCloses(home).empty());  // its run still lives
  ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);

  // An old single auto-save of the data folder is still offered, after the slots.
  WriteAutoSave(*reg, problem, home, 16);
  TAutoSaveInfo old = ReadAutoSaveInfo(TAutoSavePaths::In(home).registerFile.string());
  old.ProcessId = EndedProcessId();
  WriteAutoSaveInfo(TAutoSavePaths::In(home).registerFile.string(), old);

  const auto found = ForcedCloses(home);
  ASSERT_EQ(found.size(), 2u);
  const auto slots = ListAutoSaves(home);
  ASSERT_EQ(slots.size(), 1u);
  EXPECT_EQ(found[0].slot, slots[0].id);
  EXPECT_EQ(found[0].registerFile, slots[0].paths.registerFile);
  EXPECT_EQ(found[0].problemFile, slots[0].paths.problemFile);
  EXPECT_EQ(found[0].info.ProcessId, child);
  EXPECT_TRUE(found[0].Resumable());
  EXPECT_EQ(found[1].slot, "");
  EXPECT_EQ(found[1].registerFile, home / "AutoSave.tmpReg");

  // Yes: the run continues in the slot and, complete, removes it.
  TResumeSource src;
  src.slot = found[0].slot;
  TResumePlan plan = PlanResume(src, TSettings{}, home);
  ASSERT_EQ(plan.error, "");
  EXPECT_EQ(plan.slot, found[0].slot);
  plan.request.computeVariations = false;
  TEngine engine;
  const TRunOutcome out = RunAndWait(engine, plan.request, TEngineTask::kMate, {}, {});
  ASSERT_EQ(out.result.status, TRunStatus::kCompleted) << out.result.message;
  EXPECT_EQ(out.result.autoSaveSlot, found[0].slot);
  EXPECT_TRUE(ListAutoSaves(home).empty());
  // The old file stays for its own answer.
  ASSERT_EQ(ForcedCloses(home).size(), 1u);
}

TEST_F(AutoSave, ClaimedSlotNamesItsNewWriterAtOnce) {
  const fs::path home = test::UseFreshHome();
  std::string id;
  {
    auto slot = TAutoSaveSlot::Create(home, 3);
    id = slot->Id();
    WriteAutoSave(*reg, problem, slot->Folder(), 16);
  }
  const TAutoSavePaths slotPaths = ListAutoSaves(home).at(0).paths;
  TAutoSaveInfo info = ReadAutoSaveInfo(slotPaths.registerFile.string());
  info.ProcessId = EndedProcessId();
  info.ProcessFileName = "/opt/elsewhere/ostravel";
  info.MaxMemRatioPerProblem = 35;
  WriteAutoSaveInfo(slotPaths.registerFile.string(), info);
  ASSERT_EQ(ForcedCloses(home).size(), 1u);

  std::string why;
  auto claimed = TAutoSaveSlot::Claim(home, id, &why);
  ASSERT_NE(claimed, nullptr) << why;
  const TAutoSaveInfo back = ReadAutoSaveInfo(slotPaths.registerFile.string());
  EXPECT_EQ(back.ProcessId, ::getpid());
  EXPECT_EQ(back.ProcessFileName, OwnExecutablePath());
  EXPECT_EQ(back.Description, "Zepler, 1935");
  EXPECT_EQ(back.MaxMemRatioPerProblem, 35);
  // Released by a process that still runs: not taken for a forced close.
  claimed.reset();
  EXPECT_TRUE(ForcedCloses(home).empty());

  // A slot without any companion gets one.
  auto bare = TAutoSaveSlot::Create(home, 4);
  const std::string bareId = bare->Id();
  bare.reset();
  ASSERT_NE(TAutoSaveSlot::Claim(home, bareId, &why), nullptr) << why;
  EXPECT_EQ(ReadAutoSaveInfo((AutoSaveSlotsFolder(home) / bareId / "AutoSave.tmpReg").string()).ProcessId,
            ::getpid());
}

TEST_F(AutoSave, OldSingleAutoSaveMovesIntoASlotOfItsOwn) {
  const fs::path home = test::UseFreshHome();
  WriteAutoSave(*reg, problem, home, 16);
  const TAutoSavePaths old = TAutoSavePaths::In(home);
  const std::string id = AdoptAutoSave(home, old.registerFile, old.problemFile, 5);
  for (const fs::path& p : {old.registerFile, old.infoFile, old.problemFile})
    EXPECT_FALSE(fs::exists(p)) << p;
  const auto slots = ListAutoSaves(home);
  ASSERT_EQ(slots.size(), 1u);
  EXPECT_EQ(slots[0].id, id);
  EXPECT_TRUE(slots[0].resumable);
  EXPECT_EQ(slots[0].info.ProcessId, ::getpid());  // nobody else offers it meanwhile
  EXPECT_EQ(slots[0].info.Description, "Zepler, 1935");
  auto back = test::NewRegister();
  EXPECT_TRUE(ReadRegisterFile(*back, slots[0].paths.registerFile, kSmallRegisterBuckets).completed);

  // A register that cannot be moved leaves no slot behind.
  EXPECT_THROW(AdoptAutoSave(home, home / "AutoSave.tmpReg", home / "AutoSave.cp"), std::runtime_error);
  EXPECT_EQ(ListAutoSaves(home).size(), 1u);
}

TEST_F(AutoSave, CancelSetsASlotsRegisterAside) {
  const fs::path home = test::UseFreshHome();
  {
    auto slot = TAutoSaveSlot::Create(home, 5);
    WriteAutoSave(*reg, problem, slot->Folder(), 16);
  }
  const TAutoSavePaths slotPaths = ListAutoSaves(home).at(0).paths;
  TAutoSaveInfo info = ReadAutoSaveInfo(slotPaths.registerFile.string());
  info.ProcessId = EndedProcessId();
  WriteAutoSaveInfo(slotPaths.registerFile.string(), info);
  auto found = ForcedCloses(home);
  ASSERT_EQ(found.size(), 1u);
  fs::remove(slotPaths.problemFile);  // then only the information form is possible
  found = ForcedCloses(home);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_FALSE(found[0].Resumable());
  const fs::path aside = SetAsideForcedCloseAutoSave(found[0]);
  EXPECT_EQ(aside, slotPaths.registerFile.parent_path() / "AutoSave.BAK");
  EXPECT_TRUE(fs::exists(aside));
  EXPECT_TRUE(ForcedCloses(home).empty());
}

}  // namespace
}  // namespace ostravel
