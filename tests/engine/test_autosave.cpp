// The automatic save of a running analysis: its files and companion, the
// pending file that protects the previous save, the saver's thread, and the
// test of a writer closed forcibly.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "config/autosave_info.h"
#include "config/settings.h"
#include "engine/autosave.h"
#include "engine/solve_request.h"
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
  EXPECT_EQ(info.ProcessFileName, CurrentExecutablePath());
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

TEST(ForcedClose, WriterIsKnownByItsProcessIdAndExecutable) {
  const long long self = ::getpid();
  EXPECT_TRUE(WriterProcessRunning(self, CurrentExecutablePath()));
  EXPECT_TRUE(WriterProcessRunning(self, fs::path(CurrentExecutablePath()).filename().string()));
  EXPECT_TRUE(WriterProcessRunning(self, ""));                     // nothing to compare: taken as the writer
  EXPECT_FALSE(WriterProcessRunning(self, "/opt/other/program"));  // the id was reused
  EXPECT_FALSE(WriterProcessRunning(EndedProcessId(), CurrentExecutablePath()));
  EXPECT_FALSE(WriterProcessRunning(0, "x"));
  EXPECT_FALSE(WriterProcessRunning(-5, "x"));

  // A child that has ended but was not waited for yet.
  const pid_t zombie = ::fork();
  if (zombie == 0) ::_exit(0);
  std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(WriterProcessRunning(zombie, CurrentExecutablePath()));
  int status = 0;
  ::waitpid(zombie, &status, 0);
}

TEST_F(AutoSave, ForcedCloseIsFoundOnlyWhenTheWriterIsGone) {
  WriteAutoSave(*reg, problem, dir, 16);
  EXPECT_FALSE(FindForcedCloseAutoSave(dir).has_value());  // written by this running process

  TAutoSaveInfo info = ReadAutoSaveInfo(paths.registerFile.string());
  info.ProcessId = EndedProcessId();
  WriteAutoSaveInfo(paths.registerFile.string(), info);
  const auto found = FindForcedCloseAutoSave(dir);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->paths.registerFile, paths.registerFile);
  EXPECT_EQ(found->paths.problemFile, paths.problemFile);
  EXPECT_EQ(found->info.Description, "Zepler, 1935");
  EXPECT_NE(ForcedCloseQuestionText(paths.registerFile).find("file\n" + paths.registerFile.string() + "\n"),
            std::string::npos);

  fs::remove(paths.problemFile);  // nothing to resume without the problem
  EXPECT_FALSE(FindForcedCloseAutoSave(dir).has_value());
}

}  // namespace
}  // namespace ostravel
