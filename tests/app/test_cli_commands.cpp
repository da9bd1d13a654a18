// The command-line program, run as a user runs it: the solving commands load,
// pin and save the register, a stop by Ctrl-C, SIGTERM or SIGHUP keeps the
// run's auto-save for 'resume', and two runs never share an auto-save.
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

void WriteText(const fs::path& p, const std::string& text) {
  test::WriteTextFile(p, text);
}

// ---------------------------------------------------------------- the commands

// The command-line program, built beside the test programs' folder.
fs::path CliPath() {
  return test::CliProgramPath();
}

struct TCliRun {
  int code = -1;
  std::string out, err;
  nlohmann::json Json() const { return nlohmann::json::parse(out); }
};

// Runs the program with args (OSTRAVEL_HOME as set). With interruptOn it
// sends one signal (Ctrl-C by default) once stdout shows that text and the
// search ran a moment.
TCliRun RunCli(const std::vector<std::string>& args, const std::string& interruptOn = {}, int sig = SIGINT,
               int times = 1) {
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
    for (int i = 0; i < times; ++i) {
      if (i) std::this_thread::sleep_for(50ms);
      kill(pid, sig);
    }
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
  for (const char* flag :
       {"--load-register FILE", "--save-register FILE", "--compress", "--limit-mb N", "//@tmpreg="})
    EXPECT_NE(r.out.find(flag), std::string::npos) << flag;
}

// Node counts are compared: one thread makes them repeatable.
TEST_F(SolveCommand, SavedRegisterAnswersTheNextRun) {
  const std::string file = (home_ / "m5.tmpReg").string();
  const TCliRun first = RunCli({"solve", "--fen", kMateIn5, "--mate", "5", "--threads", "1", "--json",
                                "--save-register", file, "--compress", "--limit-mb", "4"});
  ASSERT_EQ(first.code, 0) << first.err;
  EXPECT_NE(first.err.find("File created: " + file), std::string::npos);  // beside the JSON, not in it
  ASSERT_TRUE(fs::exists(file));
  EXPECT_EQ(ReadText(file).substr(0, 4), "LZ4 ");

  const TCliRun second = RunCli(
      {"solve", "--fen", kMateIn5, "--mate", "5", "--threads", "1", "--json", "--load-register", file});
  ASSERT_EQ(second.code, 0) << second.err;
  EXPECT_NE(second.err.find("File has been read: " + file), std::string::npos);
  const auto a = first.Json(), b = second.Json();
  EXPECT_EQ(Keys(a), std::vector<std::string>{"Bb4-c3"});
  EXPECT_EQ(Keys(b), Keys(a));
  EXPECT_LT(b["nodes"].get<uint64_t>() * 10, a["nodes"].get<uint64_t>());

  // With ClearRegisterOnStartSolving the loaded data serve nothing, and the
  // load report says so.
  WriteText(home_ / "options.ini", "[chess]\nClearRegisterOnStartSolving=1\n");
  const TCliRun cleared = RunCli(
      {"solve", "--fen", kMateIn5, "--mate", "5", "--threads", "1", "--json", "--load-register", file});
  ASSERT_EQ(cleared.code, 0) << cleared.err;
  EXPECT_NE(cleared.err.find("Option to clear temporary data on start of analysis (first move) is on"),
            std::string::npos);
  EXPECT_EQ(cleared.Json()["nodes"], a["nodes"]);
}

TEST_F(SolveCommand, RegressNamesAFailingPositionByItsIdentifier) {
  // Rg6-e6 is the key; the second record stores a wrong one.
  const std::string body = "{\n  Description: r\n  FEN: B7/8/6R1/4k2p/3N3P/4K3/8/8 w - - 0 1\n}\n";
  WriteText(home_ / "reg.cp", "#1\n//!VARIANTS\n//!Main: Rg6-e6\n//!ENDVARIANTS\n" + body +
                                  "\n#1\n//!VARIANTS\n//!Main: Rg6-g8\n//!ENDVARIANTS\n" + body);
  const TCliRun r = RunCli({"regress", (home_ / "reg.cp").string(), "--threads", "1"});
  EXPECT_EQ(r.code, 2) << r.out << r.err;  // a wrong answer
  EXPECT_NE(r.out.find("PASS      1"), std::string::npos) << r.out;
  const size_t fail = r.out.find("FAIL      2");
  ASSERT_NE(fail, std::string::npos) << r.out;
  const std::string line = r.out.substr(fail, r.out.find('\n', fail) - fail);
  const size_t at = line.find("  id ");
  ASSERT_NE(at, std::string::npos) << line;
  // The identifier gives the board back.
  const TCliRun back = RunCli({"id", "--reverse", line.substr(at + 5)});
  EXPECT_NE(back.out.find("B7/8/6R1/4k2p/3N3P/4K3/8/8"), std::string::npos) << back.out << back.err;
  EXPECT_NE(r.out.find("1 passed, 1 failed"), std::string::npos);
}

TEST_F(SolveCommand, PinnedProblemIsSolvedOnItsFile) {
  const fs::path pinned = home_ / "SavedTmpRegisterData" / "3.tmpReg";
  fs::create_directories(pinned.parent_path());
  const std::string body = std::string("{\n  Description: pin\n  FEN: ") + kMateIn5 + "\n}\n";
  WriteText(home_ / "plain.cp", "#5\n" + body);
  WriteText(home_ / "pinned.cp", "#5\n//@tmpreg=3\n" + body);

  const TCliRun plain = RunCli({"solve", (home_ / "plain.cp").string(), "--threads", "1", "--json",
                                "--save-register", pinned.string()});
  ASSERT_EQ(plain.code, 0) << plain.err;
  const TCliRun run = RunCli({"solve", (home_ / "pinned.cp").string(), "--threads", "1", "--json"});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.err.find("File has been read: " + pinned.string()), std::string::npos);
  const auto a = plain.Json()["problems"][0], b = run.Json()["problems"][0];
  EXPECT_EQ(Keys(b), Keys(a));
  EXPECT_LT(b["nodes"].get<uint64_t>() * 10, a["nodes"].get<uint64_t>());

  // A pin whose file is gone costs the head start only.
  fs::remove(pinned);
  const TCliRun missing = RunCli({"solve", (home_ / "pinned.cp").string(), "--threads", "1", "--json"});
  EXPECT_EQ(missing.code, 0);
  EXPECT_NE(missing.err.find("pinned register"), std::string::npos);
  EXPECT_EQ(missing.Json()["problems"][0]["nodes"], a["nodes"]);
}

TEST_F(SolveCommand, StoppedRunLeavesItsAutoSaveAndACompletedOneNone) {
  const TCliRun stopped = RunCli({"solve", "--fen", kLong, "--mate", "8", "--quiet"}, "Main settings");
  EXPECT_EQ(stopped.code, 130) << stopped.err;
  const auto slots = ListAutoSaves(home_);
  ASSERT_EQ(slots.size(), 1u);
  const TAutoSavePaths& paths = slots[0].paths;
  EXPECT_TRUE(slots[0].resumable);
  EXPECT_NE(stopped.out.find("Register auto-saved to " + paths.registerFile.string()), std::string::npos)
      << stopped.out << stopped.err;
  EXPECT_TRUE(fs::exists(paths.infoFile));
  EXPECT_NE(ReadText(paths.problemFile).find(kLong), std::string::npos);

  // A run that completes writes nothing and leaves the stopped run's
  // auto-save for 'resume'.
  const auto stamp = fs::last_write_time(paths.registerFile);
  const TCliRun done = RunCli({"solve", "--fen", kMateIn5, "--mate", "5", "--quiet"});
  EXPECT_EQ(done.code, 0) << done.err;
  EXPECT_EQ(done.out.find("auto-saved"), std::string::npos);
  ASSERT_EQ(ListAutoSaves(home_).size(), 1u);
  EXPECT_EQ(fs::last_write_time(paths.registerFile), stamp);

  // 'resume --list' names the slot; 'resume --run' continues it, on its
  // register, and removes it once the analysis is complete.
  const TCliRun list = RunCli({"resume", "--list"});
  EXPECT_EQ(list.code, 0);
  EXPECT_NE(list.out.find(slots[0].id), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("resumable"), std::string::npos) << list.out;
  const TCliRun unknown = RunCli({"resume", "--run", "no-such-run"});
  EXPECT_EQ(unknown.code, 1);
}

// SIGTERM (a shutdown) and SIGHUP (a closed terminal) stop the run as Ctrl-C
// does: the partial result is printed and the register saved for 'resume'.
TEST_F(SolveCommand, TermAndHangUpSaveLikeCtrlC) {
  for (const int sig : {SIGTERM, SIGHUP}) {
    const fs::path home = FreshHome();
    const TCliRun r = RunCli({"solve", "--fen", kLong, "--mate", "8", "--quiet"}, "Main settings", sig);
    EXPECT_EQ(r.code, 128 + sig) << r.err;
    EXPECT_NE(r.out.find("Analysis stopped by user"), std::string::npos) << r.out;
    const auto slots = ListAutoSaves(home);
    ASSERT_EQ(slots.size(), 1u) << sig;
    EXPECT_TRUE(slots[0].resumable);
    EXPECT_NE(r.out.find("Register auto-saved to " + slots[0].paths.registerFile.string()),
              std::string::npos);
  }
}

// mt-142 (#11, key Kc1): pass 1 and its relaxations run with the auto set,
// the ext.edge pass finds the key, it is proved at once, and pass 2 proves
// the key set complete. The passes are named and carry their set text.
TEST_F(SolveCommand, HeuristicPassesNameTheirSetsAndTheKeysTheyFound) {
  // Without pass 0, which would find the key first.
  const TCliRun r =
      RunCli({"solve", "--fen", "8/p7/N7/8/8/p7/8/k2K4 w - - 0 1", "--mate", "11", "--heuristics", "auto",
              "--proof-search", "0", "--json", "--no-variations", "--threads", "1"});
  ASSERT_EQ(r.code, 0) << r.err;
  const nlohmann::json j = r.Json();
  const auto& passes = j["passes"];
  ASSERT_GE(passes.size(), 2u);
  EXPECT_EQ(passes.front()["pass"], "1");
  EXPECT_NE(passes.front()["heuristic_set"].get<std::string>().find("SH_FINDFORCEDMATE(CheckOnly)"),
            std::string::npos);
  EXPECT_EQ(passes.back()["pass"], "2");
  EXPECT_EQ(passes.back()["heuristic_set"], "");
  EXPECT_TRUE(passes.back()["completed"]);
  ASSERT_EQ(j["solutions"].size(), 1u);
  const auto& key = j["solutions"][0];
  EXPECT_EQ(key["key"], "Kd1-c1");
  EXPECT_TRUE(key["confirmed"]);
  const std::string pass = key["found_in_pass"];
  EXPECT_TRUE(pass.size() == 2 && pass[0] == '1') << pass;  // a heuristic pass, not pass 2
  EXPECT_TRUE(j["key_set_complete"]);
}

// Pass 0 on the command line: it comes first and names the keys it proved
// (here a castling key); the key set is complete because the exact pass
// after it ran to its end.
TEST_F(SolveCommand, ProofNumberPassComesFirst) {
  const std::string fen = "8/2Pp4/8/N1P5/4p3/P1k5/8/R3K3 w Q - 0 1";
  const TCliRun r = RunCli({"solve", "--fen", fen, "--mate", "3", "--proof-search", "20", "--json",
                            "--no-variations", "--threads", "1"});
  ASSERT_EQ(r.code, 0) << r.err;
  const nlohmann::json j = r.Json();
  ASSERT_GE(j["passes"].size(), 2u);
  EXPECT_EQ(j["passes"][0]["pass"], "0");
  EXPECT_EQ(j["passes"][0]["kind"], "proof numbers");
  EXPECT_EQ(j["passes"][1]["pass"], "1");
  ASSERT_EQ(j["solutions"].size(), 1u);
  EXPECT_EQ(j["solutions"][0]["found_in_pass"], "0");
  EXPECT_TRUE(j["solutions"][0]["confirmed"]);
  EXPECT_TRUE(j["key_set_complete"]);

  // auto adds it from #6 on, longer from #12, and the relaxation path shows it first.
  const TCliRun shown = RunCli({"solve", "--fen", "4Bk2/7K/4R3/3n4/8/8/8/8 w - - 0 1", "--mate", "12",
                                "--heuristics", "auto", "--show-relaxation"});
  EXPECT_EQ(shown.code, 0) << shown.err;
  EXPECT_EQ(shown.out.rfind("Pass 0: proof-number search for keys, at most 50 s\nPass 1: ", 0), 0u)
      << shown.out;
  const TCliRun shorter = RunCli({"solve", "--fen", "4Bk2/7K/4R3/3n4/8/8/8/8 w - - 0 1", "--mate", "11",
                                  "--heuristics", "auto", "--show-relaxation"});
  EXPECT_EQ(shorter.out.rfind("Pass 0: proof-number search for keys, at most 30 s\nPass 1: ", 0), 0u)
      << shorter.out;

  const TCliRun bad = RunCli({"solve", "--fen", fen, "--mate", "3", "--proof-search", "soon"});
  EXPECT_EQ(bad.code, 1);
  EXPECT_NE(bad.err.find("--proof-search needs seconds"), std::string::npos) << bad.err;
}

// What a user types: the relaxation is shown without a search, and a word
// that is no heuristic is refused with its name.
TEST_F(SolveCommand, HeuristicTextShownOrRefused) {
  const std::string fen = "4Bk2/7K/4R3/3n4/8/8/8/8 w - - 0 1";
  const TCliRun shown = RunCli({"solve", "--fen", fen, "--mate", "12", "--heuristics",
                                "SH_KEEPKINGONTHEEDGE FFM(#1)", "--show-relaxation"});
  EXPECT_EQ(shown.code, 0) << shown.err;
  EXPECT_NE(shown.out.find("Pass 1: SH_KEEPKINGONTHEEDGE, SH_FINDFORCEDMATE(#1)\n"), std::string::npos)
      << shown.out;
  EXPECT_NE(shown.out.find("Pass 2: no special heuristics (safe mode)"), std::string::npos) << shown.out;
  const TCliRun refused = RunCli({"solve", "--fen", fen, "--mate", "12", "--heuristics", "Edge"});
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.err.find("unknown heuristic \"Edge\""), std::string::npos) << refused.err;
}

// `timeout` sends its signal to the child and to the child's process group,
// so the run gets it twice within moments: that is one stop, and the partial
// result is printed, not lost to the forced exit of a later second Ctrl-C.
TEST_F(SolveCommand, TheSameStopSentTwiceWithinMomentsIsOneStop) {
  const TCliRun r = RunCli({"solve", "--fen", kLong, "--mate", "8", "--quiet"}, "Main settings", SIGTERM, 2);
  EXPECT_EQ(r.code, 143) << r.err;
  EXPECT_NE(r.out.find("Analysis stopped by user"), std::string::npos) << r.out;
}

// Two runs at once each keep their own auto-save: stopping one never touches
// the other's slot, and the live one cannot be resumed from under it.
TEST_F(SolveCommand, TwoRunsNeverShareAnAutoSave) {
  const TCliRun a = RunCli({"solve", "--fen", kLong, "--mate", "8", "--quiet"}, "Main settings");
  const TCliRun b = RunCli({"solve", "--fen", kLong, "--mate", "8", "--quiet"}, "Main settings");
  EXPECT_EQ(a.code, 130);
  EXPECT_EQ(b.code, 130);
  const auto slots = ListAutoSaves(home_);
  ASSERT_EQ(slots.size(), 2u);
  EXPECT_NE(slots[0].id, slots[1].id);
  for (const auto& s : slots) EXPECT_TRUE(s.resumable) << s.id;

  // A slot held by a live run (here: this process) is refused by resume.
  std::string why;
  auto held = TAutoSaveSlot::Claim(home_, slots[0].id, &why);
  ASSERT_NE(held, nullptr) << why;
  const TCliRun busy = RunCli({"resume", "--run", slots[0].id});
  EXPECT_EQ(busy.code, 1);
  EXPECT_NE(busy.err.find("still runs"), std::string::npos) << busy.err;
}

TEST_F(SolveCommand, RegisterFlagsThatCannotWork) {
  WriteText(home_ / "two.cp",
            std::string("#5\n{\n  FEN: ") + kMateIn5 + "\n}\n#3\n{\n  FEN: " + kNoSolution3 + "\n}\n");
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

// Under --json a refused input still gives one JSON object on stdout, with
// status "error", the message and exit code 1; a refused position prints its
// run object only, never a second one.
TEST_F(SolveCommand, JsonReportsEveryRefusal) {
  WriteText(home_ / "empty.cp", "");
  const std::vector<std::vector<std::string>> refused = {
      {"solve", "--fen", "bad fen", "--mate", "2", "--json"},
      {"solve", "--fen", kMateIn5, "--mate", "500", "--json"},
      {"solve", "--json", "--fen", kMateIn5},
      {"solve", home_.string(), "--json"},
      {"solve", (home_ / "empty.cp").string(), "--json"},
      {"solve", (home_ / "missing.cp").string(), "--json"},
      {"solve", "--fen", kMateIn5, "--mate", "5", "--json", "--load-register",
       (home_ / "none.tmpReg").string()},
      {"solve", "--fen", "kK6/8/8/8/8/8/8/8 w - - 0 1", "--mate", "2", "--json"},
      {"solve", "--epd", (home_ / "missing.epd").string(), "--json-lines"},
  };
  for (const auto& args : refused) {
    const TCliRun r = RunCli(args);
    const std::string what = args[1] + " " + args[2];
    EXPECT_EQ(r.code, 1) << what;
    nlohmann::json j;
    ASSERT_NO_THROW(j = r.Json()) << what << "\n" << r.out;
    EXPECT_EQ(j["status"], "error") << what;
    EXPECT_FALSE(j.value("message", std::string()).empty()) << what;
  }
  // Without --json stdout stays empty.
  EXPECT_TRUE(RunCli({"solve", "--fen", "bad fen", "--mate", "2"}).out.empty());
}

// A variation with two quickest answers shows both, marked, in the text and
// the JSON; --no-duals keeps one per defence.
TEST_F(SolveCommand, DualsAreShownUnlessSwitchedOff) {
  const char* fen = "4K3/8/4k3/2PpppP1/8/2P1Q1P1/4B3/8 w - - 0 1";  // 1...d4 2.Bc4#, 2.Qc6#
  const TCliRun text = RunCli({"solve", "--fen", fen, "--mate", "2", "--quiet"});
  EXPECT_EQ(text.code, 0);
  EXPECT_NE(text.out.find("1...d5-d4 2.Be2-c4#, 2.Qe4-c6#  (dual)"), std::string::npos) << text.out;
  const TCliRun plain = RunCli({"solve", "--fen", fen, "--mate", "2", "--quiet", "--no-duals"});
  EXPECT_EQ(plain.out.find("(dual)"), std::string::npos) << plain.out;
  EXPECT_NE(plain.out.find("1...d5-d4 2.Be2-c4#\n"), std::string::npos) << plain.out;

  const nlohmann::json j = RunCli({"solve", "--fen", fen, "--mate", "2", "--json"}).Json();
  bool seen = false;
  for (const auto& v : j["solutions"][0]["variations"])
    if (v["black_uci"] == "d5d4") {
      seen = true;
      EXPECT_TRUE(v["dual"].get<bool>());
      ASSERT_EQ(v["duals"].size(), 1u);
      EXPECT_EQ(v["duals"][0]["white_uci"], "e4c6");
    }
  EXPECT_TRUE(seen);
}

// The result texts follow --lang: "(mate in 3)" in English, "(mat w 3)" in
// Polish, with the threat word of the same language.
TEST_F(SolveCommand, ResultTextsFollowTheLanguage) {
  const char* fen = "8/2P5/8/8/8/8/N7/k1K5 w - - 0 1";
  const TCliRun en =
      RunCli({"solve", "--fen", fen, "--mate", "3", "--quiet", "--no-variations", "--lang", "en"});
  EXPECT_NE(en.out.find("1.c7-c8R!  (mate in 3)\n   threat: 2.Kc1-c2  (mate in 2)"), std::string::npos)
      << en.out;
  const TCliRun pl =
      RunCli({"solve", "--fen", fen, "--mate", "3", "--quiet", "--no-variations", "--lang", "pl"});
  EXPECT_NE(pl.out.find("1.c7-c8R!  (mat w 3)\n   grozi 2.Kc1-c2  (mat w 2)"), std::string::npos) << pl.out;
}

}  // namespace
}  // namespace ostravel
