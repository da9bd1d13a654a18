// 'ostravel-cli resume' without files: the auto-saves a forced close left are
// offered with the window's question, answered on a terminal or by --yes and
// --set-aside in scripts.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "config/autosave_info.h"
#include "engine/autosave.h"
#include "engine/solve_request.h"
#include "platform/texts.h"
#include "problems/problem.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMateIn5 = "1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1";  // #5: Bb4-c3

struct TRun {
  int code = -1;
  std::string out, err;
};

std::vector<char*> Argv(const std::string& cli, const std::vector<std::string>& args) {
  std::vector<char*> argv{const_cast<char*>(cli.c_str())};
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  return argv;
}

int ExitCode(pid_t pid) {
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Stdin is /dev/null: not a terminal, as in a script.
TRun RunScripted(const std::vector<std::string>& args) {
  const fs::path dir = test::MakeTempDir();
  const fs::path out = dir / "out", err = dir / "err";
  const std::string cli = test::CliProgramPath();
  auto argv = Argv(cli, args);
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (!freopen("/dev/null", "r", stdin) || !freopen(out.c_str(), "w", stdout) ||
        !freopen(err.c_str(), "w", stderr))
      _exit(127);
    execv(cli.c_str(), argv.data());
    _exit(127);
  }
  TRun r;
  r.code = ExitCode(pid);
  r.out = test::ReadTextFile(out);
  r.err = test::ReadTextFile(err);
  return r;
}

// On a terminal of its own, typing the answers given.
TRun RunOnTerminal(const std::vector<std::string>& args, const std::string& typed) {
  const std::string cli = test::CliProgramPath();
  auto argv = Argv(cli, args);
  int master = -1;
  const pid_t pid = ::forkpty(&master, nullptr, nullptr, nullptr);
  if (pid == 0) {
    execv(cli.c_str(), argv.data());
    _exit(127);
  }
  TRun r;
  if (pid < 0) return r;
  // The terminal keeps the answers until the program reads them.
  if (!typed.empty() && ::write(master, typed.data(), typed.size()) != static_cast<ssize_t>(typed.size()))
    ADD_FAILURE() << "cannot type the answers";
  char buf[4096];
  for (;;) {
    const ssize_t n = ::read(master, buf, sizeof buf);
    if (n <= 0) break;  // EIO once the program has ended
    r.out.append(buf, static_cast<size_t>(n));
  }
  ::close(master);
  r.code = ExitCode(pid);
  r.out.erase(std::remove(r.out.begin(), r.out.end(), '\r'), r.out.end());
  return r;
}

long long EndedProcessId() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ExitCode(child);
  return child;
}

class ResumeQuestion : public ::testing::Test {
 protected:
  void SetUp() override {
    if (test::CliProgramPath().empty()) GTEST_SKIP() << "ostravel-cli is not built";
    home_ = test::UseFreshHome();
  }

  // The auto-save of a run whose process died: a slot, or with slot false
  // the data folder's own file of older versions. Returns its register file.
  fs::path LeftByAForcedClose(uint32_t problemId, bool slot = true) {
    TProblem p;
    EXPECT_TRUE(p.SetFen(kMateIn5));
    p.moves = 5;
    p.description = "problem " + std::to_string(problemId);
    fs::path folder = home_;
    if (slot) {
      auto s = TAutoSaveSlot::Create(home_, problemId);
      folder = s->Folder();
    }
    WriteAutoSave(*MakeRunRegister(5), p, folder, 16);
    const fs::path reg = TAutoSavePaths::In(folder).registerFile;
    TAutoSaveInfo info = ReadAutoSaveInfo(reg.string());
    info.ProcessId = EndedProcessId();
    WriteAutoSaveInfo(reg.string(), info);
    // Slots made within the same second would tie on their age.
    fs::last_write_time(folder, fs::file_time_type::clock::now() - std::chrono::seconds(100 - problemId));
    return reg;
  }

  fs::path home_;
};

TEST_F(ResumeQuestion, ScriptsResumeTheNewestOrSetEverythingAside) {
  const fs::path older = LeftByAForcedClose(1);
  const fs::path newer = LeftByAForcedClose(2);

  // No option and no terminal: the newest is resumed, completes and is gone.
  const TRun plain = RunScripted({"resume"});
  ASSERT_EQ(plain.code, 0) << plain.out << plain.err;
  EXPECT_NE(plain.out.find("Resuming #5: problem 2"), std::string::npos) << plain.out;
  EXPECT_FALSE(fs::exists(newer.parent_path()));
  EXPECT_TRUE(fs::exists(older));

  const TRun yes = RunScripted({"resume", "--yes"});
  ASSERT_EQ(yes.code, 0) << yes.out << yes.err;
  EXPECT_NE(yes.out.find("Resuming #5: problem 1"), std::string::npos) << yes.out;
  EXPECT_FALSE(fs::exists(older.parent_path()));

  // --set-aside renames each register to .BAK, a slot's and an old file alike.
  const fs::path slotReg = LeftByAForcedClose(3);
  const fs::path oldReg = LeftByAForcedClose(4, false);
  const TRun aside = RunScripted({"resume", "--set-aside"});
  ASSERT_EQ(aside.code, 0) << aside.out << aside.err;
  EXPECT_NE(aside.out.find("Set aside as " + (slotReg.parent_path() / "AutoSave.BAK").string()),
            std::string::npos)
      << aside.out;
  EXPECT_TRUE(fs::exists(home_ / "AutoSave.BAK"));
  EXPECT_FALSE(fs::exists(slotReg));
  EXPECT_FALSE(fs::exists(oldReg));
  EXPECT_EQ(RunScripted({"resume", "--set-aside"}).out, "No auto-save was left by a forced close.\n");

  EXPECT_EQ(RunScripted({"resume", "--yes", "--set-aside"}).code, 1);
  EXPECT_EQ(RunScripted({"resume", "--yes", "--run", "x"}).code, 1);
  EXPECT_NE(RunScripted({"resume", "--help"}).out.find("--set-aside"), std::string::npos);
}

TEST_F(ResumeQuestion, TerminalAsksAsTheWindowDoes) {
  const fs::path reg = LeftByAForcedClose(1);
  const std::string question = ForcedCloseQuestionMessage(reg.string(), 1);

  // No: left for later.
  const TRun no = RunOnTerminal({"resume"}, "n\n");
  EXPECT_EQ(no.code, 0) << no.out;
  EXPECT_NE(no.out.find(question), std::string::npos) << no.out;
  EXPECT_NE(no.out.find("[y/n/c]"), std::string::npos);
  EXPECT_NE(no.out.find("Nothing resumed."), std::string::npos);
  EXPECT_TRUE(fs::exists(reg));

  // An answer it does not know is asked again; Yes resumes in the slot.
  const TRun yes = RunOnTerminal({"resume"}, "maybe\ny\n");
  EXPECT_EQ(yes.code, 0) << yes.out;
  EXPECT_NE(yes.out.find("Resuming #5: problem 1"), std::string::npos) << yes.out;
  EXPECT_FALSE(fs::exists(reg.parent_path()));

  // Cancel sets it aside; an auto-save without its problem gets the note only.
  const fs::path cancelled = LeftByAForcedClose(2);
  const fs::path lost = LeftByAForcedClose(3);
  fs::remove(TAutoSavePaths::In(lost.parent_path()).problemFile);
  const TRun cancel = RunOnTerminal({"resume"}, "c\n");
  EXPECT_EQ(cancel.code, 0) << cancel.out;
  EXPECT_NE(cancel.out.find(ForcedCloseInformationMessage(lost.string(), 1)), std::string::npos)
      << cancel.out;
  EXPECT_EQ(cancel.out.find(ForcedCloseQuestionMessage(lost.string(), 1)), std::string::npos);
  EXPECT_TRUE(fs::exists(cancelled.parent_path() / "AutoSave.BAK"));
  EXPECT_FALSE(fs::exists(cancelled));
}

TEST_F(ResumeQuestion, OldSingleAutoSaveIsResumedAndRemovedWhenComplete) {
  const fs::path reg = LeftByAForcedClose(1, false);
  const TRun r = RunScripted({"resume", "--yes"});
  ASSERT_EQ(r.code, 0) << r.out << r.err;
  // It moved into a slot of its own, which the completed run removed.
  EXPECT_NE(r.out.find("Resuming #5: problem 1 from " + AutoSaveSlotsFolder(home_).string()),
            std::string::npos)
      << r.out;
  EXPECT_FALSE(fs::exists(reg));
  EXPECT_FALSE(fs::exists(AutoSaveInfoPath(reg.string())));
  EXPECT_FALSE(fs::exists(home_ / "AutoSave.cp"));
  EXPECT_TRUE(ListAutoSaves(home_).empty());
}

}  // namespace
}  // namespace ostravel
