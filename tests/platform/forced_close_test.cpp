#include "platform/forced_close.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "config/paths.h"
#include "platform/process.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

// A child that runs until killed; its pid is a live process of this program.
pid_t StartSleeper() {
  const pid_t pid = ::fork();
  if (pid == 0) {
    for (;;) ::pause();
  }
  return pid;
}

void Reap(pid_t pid) {
  int status = 0;
  ::waitpid(pid, &status, 0);
}

void MakeAutoSave(const fs::path& reg, long long pid, const std::string& exe, bool withProblem = true) {
  std::ofstream(reg, std::ios::binary) << std::string(80, '\x01');
  if (withProblem) std::ofstream(AutoSaveProblemFileOf(reg)) << "8/8/8/8/8/8/8/K1k5 w - - 0 1\n";
  TAutoSaveInfo info;
  info.Description = "Loyd 1859";
  info.MaxMemRatioPerProblem = 35;
  info.ProcessId = pid;
  info.ProcessFileName = exe;
  WriteAutoSaveInfo(reg.string(), info);
}

TEST(ProcessTest, RunningProcessIsToldByIdAndProgram) {
  const std::string self = OwnExecutablePath();
  ASSERT_FALSE(self.empty());
  EXPECT_TRUE(ProcessRunning(::getpid(), self));
  EXPECT_TRUE(ProcessRunning(::getpid(), fs::path(self).filename().string()));  // a bare name
  EXPECT_TRUE(ProcessRunning(::getpid(), ""));
  EXPECT_FALSE(ProcessRunning(::getpid(), "/usr/bin/some-other-program"));  // the id was reused
  EXPECT_FALSE(ProcessRunning(0, self));
  EXPECT_FALSE(ProcessRunning(-5, self));
  EXPECT_FALSE(ProcessRunning(1LL << 40, self));

  const pid_t child = StartSleeper();
  ASSERT_GT(child, 0);
  EXPECT_TRUE(ProcessRunning(child, self));
  ::kill(child, SIGKILL);
  // Killed but not yet reaped: a zombie has ended.
  for (int i = 0; i < 200 && ProcessRunning(child, self); ++i) ::usleep(5000);
  EXPECT_FALSE(ProcessRunning(child, self));
  Reap(child);
  EXPECT_FALSE(ProcessRunning(child, self));
}

// In a child, so the test program keeps its priority. Exit code 0: lowered
// to nice 5 and never raised back from a lower priority.
TEST(ProcessTest, PriorityIsLoweredButNeverRaised) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    errno = 0;
    const int before = ::getpriority(PRIO_PROCESS, 0);
    if (!LowerProcessPriority()) ::_exit(1);
    const int lowered = ::getpriority(PRIO_PROCESS, 0);
    if (lowered != std::max(before, 5)) ::_exit(2);
    if (::setpriority(PRIO_PROCESS, 0, 12) != 0) ::_exit(3);
    if (!LowerProcessPriority() || ::getpriority(PRIO_PROCESS, 0) != 12) ::_exit(4);
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(ForcedCloseTest, FindsOnlyAutoSavesWhoseWriterIsGone) {
  const fs::path dir = test::MakeTempDir();
  const std::string self = OwnExecutablePath();
  const pid_t writer = StartSleeper();
  ASSERT_GT(writer, 0);

  MakeAutoSave(dir / "AutoSave.tmpReg", writer, self);
  MakeAutoSave(dir / "AutoSave-2.tmpReg", ::getpid(), self);            // this process: still running
  MakeAutoSave(dir / "AutoSave-3.tmpReg", ::getpid(), "other", false);  // reused id, problem missing
  MakeAutoSave(dir / "Manual.tmpReg", 999999999, self);                 // not an auto-save name
  std::ofstream(dir / "AutoSave-4.tmpReg") << "no companion";           // nothing to tell the writer by
  std::ofstream(dir / "AutoSave-5.tmpReg.ini") << "[AutoSave]\nProcessId=1\n";  // companion alone

  auto found = FindForcedCloseAutoSaves(dir);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].registerFile, dir / "AutoSave-3.tmpReg");
  EXPECT_FALSE(found[0].Resumable());

  ::kill(writer, SIGKILL);
  Reap(writer);
  found = FindForcedCloseAutoSaves(dir);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].registerFile, dir / "AutoSave-3.tmpReg");
  EXPECT_EQ(found[1].registerFile, dir / "AutoSave.tmpReg");
  EXPECT_EQ(found[1].companionFile, dir / "AutoSave.tmpReg.ini");
  EXPECT_EQ(found[1].problemFile, dir / "AutoSave.cp");
  EXPECT_TRUE(found[1].Resumable());
  EXPECT_EQ(found[1].info.Description, "Loyd 1859");
  EXPECT_EQ(found[1].info.ProcessId, writer);

  // Explicit names and another naming rule.
  TForcedCloseScan scan;
  scan.isRegisterName = [](const std::string& n) { return n == "Manual.tmpReg"; };
  EXPECT_EQ(FindForcedCloseAutoSaves(dir, scan).size(), 1u);
  EXPECT_EQ(CheckForcedCloseAutoSaves({dir / "AutoSave.tmpReg", dir / "AutoSave-2.tmpReg"}).size(), 1u);
  EXPECT_TRUE(FindForcedCloseAutoSaves(dir / "missing").empty());
}

TEST(ForcedCloseTest, CancelSetsTheFileAsideWithoutOverwriting) {
  const fs::path dir = test::MakeTempDir();
  const fs::path reg = dir / "AutoSave.tmpReg";
  for (int round = 1; round <= 2; ++round) {
    MakeAutoSave(reg, 999999999, "ostravel");
    auto found = FindForcedCloseAutoSaves(dir);
    ASSERT_EQ(found.size(), 1u);
    const fs::path aside = SetAsideForcedCloseAutoSave(found[0]);
    EXPECT_EQ(aside, dir / (round == 1 ? "AutoSave.BAK" : "AutoSave.2.BAK"));
    EXPECT_TRUE(fs::exists(aside));
    EXPECT_TRUE(fs::exists(aside.string() + ".ini"));
    EXPECT_FALSE(fs::exists(reg));
    EXPECT_TRUE(FindForcedCloseAutoSaves(dir).empty());
  }
  EXPECT_EQ(fs::file_size(dir / "AutoSave.BAK"), 80u);
}

}  // namespace
}  // namespace ostravel
