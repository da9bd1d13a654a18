// The temporary register around a run: the register a request brings is the
// one searched, ClearRegisterOnStartSolving empties it, the auto-save writes
// it while the search runs, and the solving commands load, pin and save it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "config/paths.h"
#include "config/settings.h"
#include "engine/autosave.h"
#include "engine/engine_run.h"
#include "problems/problem.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* kNoSolution3 = "k7/P7/K7/5p2/8/7B/4p1P1/8 w - - 0 1";  // popeye-41, #3: none
constexpr const char* kMateIn5 = "1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1";      // #5: Bb4-c3
constexpr const char* kLong = "4k2K/3R1R2/8/8/8/8/8/6r1 w - - 0 1";          // mt-127, #8

// A fresh OSTRAVEL_HOME, so that nothing touches the real data folder.
fs::path FreshHome() {
  const fs::path home = test::MakeTempDir();
  setenv("OSTRAVEL_HOME", home.c_str(), 1);
  return home;
}

std::string ReadText(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

void WriteText(const fs::path& p, const std::string& text) {
  std::ofstream(p, std::ios::binary) << text;
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

TEST(RunRegister, AutoSaveWritesTheRunningSearchesRegister) {
  const fs::path home = FreshHome();
  const fs::path data = DataFolder();
  ASSERT_TRUE(data.string().starts_with(home.string()));
  TSolveRequest r = Request(kLong, 8);
  r.reg = MakeRunRegister(8);
  TProblem p;
  ASSERT_TRUE(p.SetFen(kLong));
  p.moves = 8;
  p.description = "auto-save wiring";
  // The settings count in minutes; the saver's own period is shorter here.
  TAutoSaver saver(r.reg, p, 40ms, 16);
  TEngine engine;
  ASSERT_EQ(engine.Start(r, {}), "");
  const TAutoSavePaths paths = TAutoSavePaths::In(data);
  for (int i = 0; i < 200 && saver.Saves() < 2; ++i) std::this_thread::sleep_for(20ms);
  engine.RequestStop();
  engine.Wait();
  ASSERT_GE(saver.Saves(), 2) << saver.LastError();
  saver.Stop();
  ASSERT_TRUE(saver.SaveNow()) << saver.LastError();

  EXPECT_TRUE(fs::exists(paths.registerFile));
  EXPECT_TRUE(fs::exists(paths.infoFile));
  EXPECT_FALSE(fs::exists(paths.pendingFile));
  EXPECT_NE(ReadText(paths.problemFile).find("auto-save wiring"), std::string::npos);
  EXPECT_NE(ReadText(paths.infoFile).find("[AutoSave]"), std::string::npos);
  // What was saved is what the search had proved.
  TAggregatedTemporaryChessboardRegister loaded(16384, 0);
  loaded.SetStoreShortResults(true);
  const TRegisterReadResult read = ReadRegisterFile(loaded, paths.registerFile, 16384);
  ASSERT_TRUE(read.completed) << read.error;
  EXPECT_GT(loaded.ElementCount(), 0u);
  EXPECT_LE(loaded.ElementCount(), r.reg->ElementCount());

  saver.Finish();
  EXPECT_FALSE(fs::exists(paths.registerFile));
  EXPECT_FALSE(fs::exists(paths.problemFile));
}

// ---------------------------------------------------------------- the commands

// The command-line program, built beside the test programs' folder.
fs::path CliPath() {
  std::error_code ec;
  const fs::path self = fs::read_symlink("/proc/self/exe", ec);
  if (ec) return {};
  const fs::path cli = self.parent_path().parent_path() / "ostravel-cli";
  return fs::exists(cli, ec) ? cli : fs::path();
}

struct TCliRun {
  int code = -1;
  std::string out, err;
  nlohmann::json Json() const { return nlohmann::json::parse(out); }
};

// Runs the program with args (OSTRAVEL_HOME as set). With interruptOn it
// sends one Ctrl-C once stdout shows that text and the search ran a moment.
TCliRun RunCli(const std::vector<std::string>& args, const std::string& interruptOn = {}) {
  const fs::path dir = test::MakeTempDir();
  const fs::path out = dir / "out", err = dir / "err";
  const std::string cli = CliPath().string();
  std::vector<char*> argv{const_cast<char*>(cli.c_str())};
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    if (!freopen(out.c_str(), "w", stdout) || !freopen(err.c_str(), "w", stderr)) _exit(127);
    execv(cli.c_str(), argv.data());
    _exit(127);
  }
  TCliRun r;
  if (pid < 0) return r;
  if (!interruptOn.empty()) {
    for (int i = 0; i < 500 && ReadText(out).find(interruptOn) == std::string::npos; ++i)
      std::this_thread::sleep_for(10ms);
    std::this_thread::sleep_for(300ms);
    kill(pid, SIGINT);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  r.out = ReadText(out);
  r.err = ReadText(err);
  return r;
}

class SolveCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    if (CliPath().empty()) GTEST_SKIP() << "ostravel-cli is not built";
    home_ = FreshHome();
  }
  fs::path home_;
};

std::vector<std::string> Keys(const nlohmann::json& run) {
  std::vector<std::string> keys;
  for (const auto& s : run["solutions"]) keys.push_back(s["key"]);
  return keys;
}

TEST_F(SolveCommand, HelpListsTheRegisterFlags) {
  const TCliRun r = RunCli({"solve", "--help"});
  EXPECT_EQ(r.code, 0);
  for (const char* flag : {"--load-register FILE", "--save-register FILE", "--compress", "--limit-mb N", "//@tmpreg="})
    EXPECT_NE(r.out.find(flag), std::string::npos) << flag;
}

TEST_F(SolveCommand, SavedRegisterAnswersTheNextRun) {
  const std::string file = (home_ / "m5.tmpReg").string();
  const TCliRun first = RunCli({"solve", "--fen", kMateIn5, "--mate", "5", "--json", "--save-register", file,
                                "--compress", "--limit-mb", "4"});
  ASSERT_EQ(first.code, 0) << first.err;
  EXPECT_NE(first.err.find("File created: " + file), std::string::npos);  // beside the JSON, not in it
  ASSERT_TRUE(fs::exists(file));
  EXPECT_EQ(ReadText(file).substr(0, 4), "LZ4 ");

  const TCliRun second = RunCli({"solve", "--fen", kMateIn5, "--mate", "5", "--json", "--load-register", file});
  ASSERT_EQ(second.code, 0) << second.err;
  EXPECT_NE(second.err.find("File has been read: " + file), std::string::npos);
  const auto a = first.Json(), b = second.Json();
  EXPECT_EQ(Keys(a), std::vector<std::string>{"Bb4-c3"});
  EXPECT_EQ(Keys(b), Keys(a));
  EXPECT_LT(b["nodes"].get<uint64_t>() * 10, a["nodes"].get<uint64_t>());

  // With ClearRegisterOnStartSolving the loaded data serve nothing, and the
  // load report says so.
  WriteText(home_ / "options.ini", "[chess]\nClearRegisterOnStartSolving=1\n");
  const TCliRun cleared = RunCli({"solve", "--fen", kMateIn5, "--mate", "5", "--json", "--load-register", file});
  ASSERT_EQ(cleared.code, 0) << cleared.err;
  EXPECT_NE(cleared.err.find("Option to clear temporary data on start of analysis (first move) is on"),
            std::string::npos);
  EXPECT_EQ(cleared.Json()["nodes"], a["nodes"]);
}

TEST_F(SolveCommand, PinnedProblemIsSolvedOnItsFile) {
  const fs::path pinned = home_ / "SavedTmpRegisterData" / "3.tmpReg";
  fs::create_directories(pinned.parent_path());
  const std::string body = std::string("{\n  Description: pin\n  FEN: ") + kMateIn5 + "\n}\n";
  WriteText(home_ / "plain.cp", "#5\n" + body);
  WriteText(home_ / "pinned.cp", "#5\n//@tmpreg=3\n" + body);

  const TCliRun plain =
      RunCli({"solve", (home_ / "plain.cp").string(), "--json", "--save-register", pinned.string()});
  ASSERT_EQ(plain.code, 0) << plain.err;
  const TCliRun run = RunCli({"solve", (home_ / "pinned.cp").string(), "--json"});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.err.find("File has been read: " + pinned.string()), std::string::npos);
  const auto a = plain.Json()["problems"][0], b = run.Json()["problems"][0];
  EXPECT_EQ(Keys(b), Keys(a));
  EXPECT_LT(b["nodes"].get<uint64_t>() * 10, a["nodes"].get<uint64_t>());

  // A pin whose file is gone costs the head start only.
  fs::remove(pinned);
  const TCliRun missing = RunCli({"solve", (home_ / "pinned.cp").string(), "--json"});
  EXPECT_EQ(missing.code, 0);
  EXPECT_NE(missing.err.find("pinned register"), std::string::npos);
  EXPECT_EQ(missing.Json()["problems"][0]["nodes"], a["nodes"]);
}

TEST_F(SolveCommand, StoppedRunLeavesItsAutoSaveAndACompletedOneNone) {
  const TAutoSavePaths paths = TAutoSavePaths::In(home_);
  const TCliRun stopped = RunCli({"solve", "--fen", kLong, "--mate", "8", "--quiet"}, "Main settings");
  EXPECT_EQ(stopped.code, 130) << stopped.err;
  EXPECT_NE(stopped.out.find("Register auto-saved to " + paths.registerFile.string()), std::string::npos)
      << stopped.out << stopped.err;
  EXPECT_TRUE(fs::exists(paths.registerFile));
  EXPECT_TRUE(fs::exists(paths.infoFile));
  EXPECT_NE(ReadText(paths.problemFile).find(kLong), std::string::npos);

  // A run that completes before its first period writes nothing and leaves
  // the stopped run's auto-save for 'resume'.
  const auto stamp = fs::last_write_time(paths.registerFile);
  const TCliRun done = RunCli({"solve", "--fen", kMateIn5, "--mate", "5", "--quiet"});
  EXPECT_EQ(done.code, 0) << done.err;
  EXPECT_EQ(done.out.find("auto-saved"), std::string::npos);
  ASSERT_TRUE(fs::exists(paths.registerFile));
  EXPECT_EQ(fs::last_write_time(paths.registerFile), stamp);
}

TEST_F(SolveCommand, RegisterFlagsThatCannotWork) {
  WriteText(home_ / "two.cp", std::string("#5\n{\n  FEN: ") + kMateIn5 + "\n}\n#3\n{\n  FEN: " + kNoSolution3 +
                                  "\n}\n");
  struct TCase {
    std::vector<std::string> args;
    std::string message;
  };
  const std::vector<TCase> cases = {
      {{"solve", "--fen", kMateIn5, "--mate", "5", "--compress"}, "go with --save-register"},
      {{"solve", "--fen", kMateIn5, "--mate", "5", "--save-register", "x", "--limit-mb", "0"}, "--limit-mb"},
      {{"solve", "--fen", kMateIn5, "--mate", "5", "--load-register", (home_ / "none.tmpReg").string()},
       "Error opening file "},
      {{"solve", (home_ / "two.cp").string(), "--all", "--save-register", (home_ / "x.tmpReg").string()},
       "one problem"},
  };
  for (const TCase& c : cases) {
    const TCliRun r = RunCli(c.args);
    EXPECT_EQ(r.code, 1) << c.message;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
  }
  EXPECT_FALSE(fs::exists(home_ / "x.tmpReg"));
}

}  // namespace
}  // namespace ostravel
