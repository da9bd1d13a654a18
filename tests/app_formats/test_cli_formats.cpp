// The front ends for other tools, driven as their users drive them: the UCI
// dialogue through pipes, EPD batches, conversions and diagrams.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <thread>

#include "problems/cp_file.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

fs::path CliPath() {
  return test::CliProgramPath();
}

std::string ReadText(const fs::path& p) {
  return test::ReadTextFile(p);
}

// The program with pipes to its standard input and output, its settings in a
// fresh folder.
class TChild {
 public:
  explicit TChild(const std::vector<std::string>& args, const std::vector<std::string>& env = {}) {
    int in[2], out[2];
    if (pipe(in) != 0 || pipe(out) != 0) return;
    const std::string home = test::MakeOfflineHome();
    err_ = (fs::path(home) / "stderr").string();
    const std::string cli = CliPath().string();
    std::vector<char*> argv{const_cast<char*>(cli.c_str())};
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      dup2(in[0], 0);
      dup2(out[1], 1);
      const int err = open(err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      dup2(err, 2);
      for (int fd : {in[0], in[1], out[0], out[1], err}) close(fd);
      setenv("OSTRAVEL_HOME", home.c_str(), 1);
      for (const auto& e : env) putenv(const_cast<char*>(e.c_str()));
      execv(cli.c_str(), argv.data());
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    to_ = in[1];
    from_ = out[0];
  }
  ~TChild() {
    CloseInput();
    if (pid_ > 0 && !exited_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (from_ >= 0) close(from_);
  }

  void Send(const std::string& text) {
    const std::string line = text + "\n";
    ASSERT_EQ(write(to_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
  }
  void CloseInput() {
    if (to_ >= 0) close(to_);
    to_ = -1;
  }
  // The next line, or "<timeout>" after `limit`.
  std::string ReadLine(std::chrono::milliseconds limit = 20s) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (true) {
      const size_t nl = buf_.find('\n');
      if (nl != std::string::npos) {
        std::string line = buf_.substr(0, nl);
        buf_.erase(0, nl + 1);
        return line;
      }
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
      if (left.count() <= 0) return "<timeout>";
      pollfd p{from_, POLLIN, 0};
      if (poll(&p, 1, static_cast<int>(left.count())) <= 0) continue;
      char chunk[4096];
      const ssize_t n = read(from_, chunk, sizeof chunk);
      if (n <= 0) return "<eof>";
      buf_.append(chunk, static_cast<size_t>(n));
    }
  }
  // Lines up to and including the first that starts with `prefix`.
  std::vector<std::string> ReadUntil(const std::string& prefix, std::chrono::milliseconds limit = 20s) {
    std::vector<std::string> lines;
    while (true) {
      lines.push_back(ReadLine(limit));
      if (lines.back().rfind(prefix, 0) == 0 || lines.back() == "<timeout>" || lines.back() == "<eof>")
        return lines;
    }
  }
  std::string Stderr() const { return ReadText(err_); }
  int Wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    exited_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_ = -1;
  int to_ = -1, from_ = -1;
  bool exited_ = false;
  std::string buf_;
  std::string err_;
};

struct TRun {
  int code = -1;
  std::string out, err;
};

// Runs the program to its end with `input` on stdin.
TRun RunCli(const std::vector<std::string>& args, const std::string& input = {},
            const std::vector<std::string>& env = {}) {
  TChild c(args, env);
  if (!input.empty()) {
    // Write in a thread: a large input may fill the pipe before the program reads it.
    std::thread writer([&] {
      std::istringstream in(input);
      std::string line;
      while (std::getline(in, line)) c.Send(line);
      c.CloseInput();
    });
    TRun r;
    for (std::string l; (l = c.ReadLine(60s)) != "<eof>" && l != "<timeout>";) r.out += l + "\n";
    writer.join();
    r.code = c.Wait();
    r.err = c.Stderr();
    return r;
  }
  c.CloseInput();
  TRun r;
  for (std::string l; (l = c.ReadLine(60s)) != "<eof>" && l != "<timeout>";) r.out += l + "\n";
  r.code = c.Wait();
  r.err = c.Stderr();
  return r;
}

bool StartsWith(const std::string& s, const std::string& p) {
  return s.rfind(p, 0) == 0;
}

class CliFormats : public ::testing::Test {
 protected:
  void SetUp() override {
    if (CliPath().empty()) GTEST_SKIP() << "ostravel-cli is not built";
  }
};

// ---------------------------------------------------------------- UCI

TEST_F(CliFormats, UciGoMateReportsEveryKey) {
  TChild c({"uci"});
  c.Send("uci");
  const auto hello = c.ReadUntil("uciok");
  ASSERT_EQ(hello.back(), "uciok");
  std::set<std::string> options;
  for (const auto& l : hello)
    if (StartsWith(l, "option name ")) options.insert(l.substr(12, l.find(" type") - 12));
  EXPECT_EQ(options, (std::set<std::string>{"Threads", "Hash", "MultiPV", "UCI_ShowCurrLine"}));
  c.Send("setoption name Threads value 2");
  c.Send("setoption name Hash value 16");
  c.Send("setoption name MultiPV value 3");
  c.Send("setoption name UCI_ShowCurrLine value true");
  c.Send("isready");
  EXPECT_EQ(c.ReadLine(), "readyok");  // no complaint about an option came first

  // Two keys (vaeth-04): one multipv line each, bestmove the first.
  c.Send("position fen 8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1");
  c.Send("go mate 2");
  auto lines = c.ReadUntil("bestmove");
  std::set<std::string> keys;
  for (const auto& l : lines)
    if (l.find(" multipv ") != std::string::npos) {
      EXPECT_NE(l.find(" score mate 2 "), std::string::npos) << l;
      for (const char* field : {" depth ", " nodes ", " nps ", " time "})
        EXPECT_NE(l.find(field), std::string::npos) << l;
      const size_t pv = l.find(" pv ");
      ASSERT_NE(pv, std::string::npos) << l;
      std::istringstream moves(l.substr(pv + 4));
      std::vector<std::string> line{std::istream_iterator<std::string>(moves), {}};
      EXPECT_EQ(line.size(), 3u) << l;  // key, defence, mate
      keys.insert(line.front());
    }
  EXPECT_EQ(keys, (std::set<std::string>{"d1b3", "d1c2"}));
  ASSERT_TRUE(StartsWith(lines.back(), "bestmove "));
  EXPECT_TRUE(keys.count(lines.back().substr(9)));

  // Shorter mates are keys of "#N" too, with their own score.
  c.Send("position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
  c.Send("go mate 2");
  lines = c.ReadUntil("bestmove");
  bool mateIn1 = false;
  for (const auto& l : lines)
    mateIn1 |= l.find("score mate 1 ") != std::string::npos && l.find(" pv a1a8") != std::string::npos;
  EXPECT_TRUE(mateIn1);
  EXPECT_EQ(lines.back(), "bestmove a1a8");

  // No mate: said honestly.
  c.Send("position fen 8/8/8/8/8/8/8/k1K5 w - - 0 1");
  c.Send("go mate 2");
  lines = c.ReadUntil("bestmove");
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2], "info string no mate in 2");
  EXPECT_EQ(lines.back(), "bestmove 0000");

  // Black to move after moves from the start position: the fool's mate.
  c.Send("position startpos moves f2f3 e7e5 g2g4");
  c.Send("go mate 1");
  lines = c.ReadUntil("bestmove");
  EXPECT_EQ(lines.back(), "bestmove d8h4");
  EXPECT_NE(lines.front().find("score mate 1 "), std::string::npos) << lines.front();
  EXPECT_NE(lines.front().find(" pv d8h4"), std::string::npos) << lines.front();

  // The e.p. right that a move grants survives into the search (mt-001).
  c.Send("position fen 5K2/4p3/2qk4/2nP4/3r4/6B1/B7/3R4 b - - 0 1 moves e7e5");
  c.Send("go mate 1");
  lines = c.ReadUntil("bestmove");
  EXPECT_EQ(lines.back(), "bestmove d5e6");

  c.Send("position startpos moves e2e5");
  EXPECT_EQ(c.ReadLine(), "info string illegal move e2e5");
  c.Send("go mate 1");
  lines = c.ReadUntil("bestmove");
  EXPECT_EQ(lines.back(), "bestmove 0000");
  c.Send("quit");
  EXPECT_EQ(c.Wait(), 0);
}

TEST_F(CliFormats, UciAnswersWhileSearchingAndStops) {
  TChild c({"uci"});
  c.Send("setoption name UCI_ShowCurrLine value true");
  // No mate in 8 from the start position: a search far longer than the test.
  c.Send("position startpos");
  c.Send("go mate 8");
  std::this_thread::sleep_for(200ms);
  c.Send("isready");
  EXPECT_EQ(c.ReadLine(5s), "readyok");
  // Once a second the progress, and the first move of the line searched.
  std::vector<std::string> progress = c.ReadUntil("info currline ", 5s);
  ASSERT_TRUE(StartsWith(progress.back(), "info currline ")) << progress.back();
  EXPECT_EQ(progress.back().size(), 18u) << progress.back();  // one UCI move
  EXPECT_TRUE(StartsWith(progress.front(), "info depth 15 nodes ")) << progress.front();
  c.Send("stop");
  const auto lines = c.ReadUntil("bestmove", 10s);
  EXPECT_EQ(lines.back(), "bestmove 0000");
  bool said = false;
  for (const auto& l : lines) said |= l == "info string search stopped: no key found so far";
  EXPECT_TRUE(said);
  // Still serving after the stop.
  c.Send("isready");
  EXPECT_EQ(c.ReadLine(), "readyok");
  c.CloseInput();  // end of input ends the session like quit
  EXPECT_EQ(c.Wait(), 0);
}

TEST_F(CliFormats, UciInfiniteWaitsForStopAndMovetimeEnds) {
  TChild c({"uci"});
  c.Send("position fen 8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1");
  c.Send("go infinite");
  std::vector<std::string> multipv;
  std::string line;
  while ((line = c.ReadLine(10s)).find(" multipv 2 ") == std::string::npos) {
    ASSERT_FALSE(StartsWith(line, "bestmove")) << line;
    ASSERT_NE(line, "<timeout>");
  }
  EXPECT_NE(line.find("score mate 2"), std::string::npos);
  EXPECT_EQ(c.ReadLine(300ms), "<timeout>");  // the shortest mate is found, but no bestmove before stop
  c.Send("stop");
  EXPECT_TRUE(StartsWith(c.ReadLine(5s), "bestmove d1"));

  // Bare kings: no mate at any length; the time ends the search with a legal move.
  c.Send("position fen 8/8/8/8/8/8/8/k1K5 w - - 0 1");
  c.Send("go movetime 200");
  const auto lines = c.ReadUntil("bestmove", 10s);
  EXPECT_TRUE(StartsWith(lines.front(), "info depth 1 nodes ")) << lines.front();
  EXPECT_NE(lines.front().find("string no mate in 1"), std::string::npos);
  EXPECT_TRUE(StartsWith(lines.back(), "bestmove c1"));
  c.Send("quit");
  EXPECT_EQ(c.Wait(), 0);
}

TEST_F(CliFormats, UciDepthCountsPlies) {
  TChild c({"uci"});
  c.Send("position fen 8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1");
  // Two plies hold a mate in one only: this mate in two is beyond them.
  c.Send("go depth 2");
  std::vector<std::string> lines = c.ReadUntil("bestmove", 10s);
  EXPECT_EQ(lines.size(), 3u);
  EXPECT_NE(lines.front().find("info depth 1 "), std::string::npos) << lines.front();
  EXPECT_EQ(lines[lines.size() - 2], "info string no mate in 1");
  EXPECT_NE(lines.back(), "bestmove 0000");  // a legal move all the same
  c.Send("go depth 3");
  lines = c.ReadUntil("bestmove", 10s);
  EXPECT_NE(lines[lines.size() - 2].find("info depth 3 multipv 2 score mate 2 "), std::string::npos)
      << lines[lines.size() - 2];
  EXPECT_TRUE(StartsWith(lines.back(), "bestmove d1"));
  c.Send("quit");
  EXPECT_EQ(c.Wait(), 0);
}

// ---------------------------------------------------------------- EPD batches

TEST_F(CliFormats, EpdBatchReportsEachLineAndSums) {
  const std::string epd =
      "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - dm 2; bm Bb3; id \"two keys\";\n"
      "this line is broken\n"
      "6k1/5ppp/8/8/8/8/8/R5K1 w - - dm 2; id \"shorter\";\n"
      "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - dm 2; bm Qe6; id \"wrong bm\";\n"
      "8/8/8/8/8/8/8/k1K5 w - - dm 2; id \"no mate\";\n"
      "r5k1/8/8/8/8/8/5PPP/6K1 b - - dm 1; bm Ra1#; id \"black mates\";\n";
  const TRun r = RunCli({"solve", "--epd", "-", "--json-lines"}, epd);
  EXPECT_EQ(r.code, 2) << r.out;  // wrong claims outrank the broken line
  std::istringstream in(r.out);
  std::vector<nlohmann::json> objs;
  for (std::string l; std::getline(in, l);) objs.push_back(nlohmann::json::parse(l));
  ASSERT_EQ(objs.size(), 7u) << r.out;
  EXPECT_EQ(objs[0]["line"], 2);
  EXPECT_EQ(objs[0]["status"], "error");
  std::map<std::string, nlohmann::json> byId;
  for (const auto& o : objs)
    if (o.contains("id")) byId[o["id"]] = o;
  EXPECT_EQ(byId["two keys"]["status"], "solved");
  EXPECT_EQ(byId["two keys"]["keys"].size(), 2u);
  EXPECT_EQ(byId["shorter"]["status"], "shorter");
  EXPECT_EQ(byId["shorter"]["mate_in"], 1);
  EXPECT_EQ(byId["wrong bm"]["status"], "wrong_bm");
  EXPECT_EQ(byId["no mate"]["status"], "no_mate");
  EXPECT_EQ(byId["black mates"]["status"], "solved");
  EXPECT_EQ(byId["black mates"]["keys"], nlohmann::json::array({"a8a1"}));
  EXPECT_EQ(byId["black mates"]["keys_san"], nlohmann::json::array({"Ra1#"}));
  const auto& s = objs.back()["summary"];
  EXPECT_EQ(s["positions"], 6);
  EXPECT_EQ(s["solved"], 2);
  EXPECT_EQ(s["shorter"], 1);
  EXPECT_EQ(s["wrong_bm"], 1);
  EXPECT_EQ(s["no_mate"], 1);
  EXPECT_EQ(s["errors"], 1);

  // Text form; only confirmed claims and a broken line: bad input.
  const TRun t = RunCli({"solve", "--epd", "-"}, epd.substr(0, epd.find("6k1")));
  EXPECT_EQ(t.code, 1) << t.out;
  EXPECT_NE(t.out.find("line 1: two keys dm 2: solved, keys "), std::string::npos) << t.out;
  EXPECT_NE(t.out.find("line 2: error: "), std::string::npos) << t.out;
  EXPECT_NE(t.out.find("2 positions: 1 solved, 0 wrong bm, 0 shorter mate, 0 no mate, 1 errors; "),
            std::string::npos)
      << t.out;
}

TEST_F(CliFormats, SampleCollectionThroughEveryFormatAndTheSolverOnStdin) {
  const std::string sample = test::SourcePath("data/sample_problems.cp");
  const fs::path dir = test::MakeTempDir();
  const std::string inp = (dir / "s.inp").string(), epd = (dir / "s.epd").string(),
                    fen = (dir / "s.fen").string();
  EXPECT_EQ(RunCli({"convert", sample, inp}).code, 0);
  EXPECT_EQ(RunCli({"convert", sample, epd}).code, 0);
  EXPECT_EQ(RunCli({"convert", sample, fen}).code, 0);
  const std::string back1 = (dir / "1.cp").string(), back2 = (dir / "2.cp").string(),
                    back3 = (dir / "3.cp").string();
  EXPECT_EQ(RunCli({"convert", inp, back1}).code, 0);
  EXPECT_EQ(RunCli({"convert", epd, back2}).code, 0);
  EXPECT_EQ(RunCli({"convert", fen, back3, "--mate", "2"}).code, 0);
  const auto original = LoadCollectionFile(sample).problems;
  for (const std::string& f : {back1, back2, back3}) {
    const auto got = LoadCollectionFile(f).problems;
    ASSERT_EQ(got.size(), original.size()) << f;
    for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(got[i].Fen(), original[i].Fen()) << f << " " << i;
  }
  // The Popeye text as the problemists write it.
  const std::string text = ReadText(inp);
  EXPECT_NE(text.find("BeginProblem\n"), std::string::npos);
  EXPECT_NE(text.find("Stipulation #"), std::string::npos);

  // Nothing written when the input has an error; a Black-to-move problem
  // cannot become Popeye input.
  const std::string bad = (dir / "bad.inp").string();
  std::ofstream(bad) << "BeginProblem\nPieces White Ke1 Gra1 Black Ke8\nStipulation #2\nEndProblem\n";
  const TRun refused = RunCli({"convert", bad, (dir / "bad.cp").string()});
  EXPECT_EQ(refused.code, 1);
  EXPECT_FALSE(fs::exists(dir / "bad.cp"));
  const std::string black = (dir / "black.cp").string();
  std::ofstream(black) << "#2\n{\n  FEN: 8/3Q4/5k2/8/8/4B1P1/8/K2B4 b - - 0 1\n}\n";
  EXPECT_EQ(RunCli({"convert", black, (dir / "black.inp").string()}).code, 1);
  EXPECT_FALSE(fs::exists(dir / "black.inp"));

  // A collection on standard input, solved.
  const TRun solved = RunCli({"solve", "-", "--json", "--quiet"},
                             "#2\n{\n  D: test\n  FEN: 8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1\n}\n");
  ASSERT_EQ(solved.code, 0) << solved.out;
  const auto j = nlohmann::json::parse(solved.out);
  EXPECT_EQ(j["problems"][0]["solutions"].size(), 2u);
}

TEST_F(CliFormats, OutputIsWrittenSafelyThroughALink) {
  const std::string sample = test::SourcePath("data/sample_problems.cp");
  const fs::path dir = test::MakeTempDir();
  std::ofstream(dir / "real.fen") << "old\n";
  fs::create_symlink("real.fen", dir / "link.fen");
  ASSERT_EQ(RunCli({"convert", sample, (dir / "link.fen").string()}).code, 0);
  EXPECT_TRUE(fs::is_symlink(dir / "link.fen"));
  EXPECT_EQ(ReadText(dir / "real.fen").substr(0, 10), "B7/8/6R1/4");
  // A folder that does not exist: the reason is named, nothing is left behind.
  const TRun r = RunCli({"convert", sample, (dir / "none" / "x.fen").string()});
  EXPECT_EQ(r.code, 2);
  EXPECT_NE(r.err.find("x.fen: No such file or directory"), std::string::npos) << r.err;
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 2);
}

TEST_F(CliFormats, SolveReadsEveryFormatFromStdin) {
  const std::string inputs[] = {
      "BeginProblem\nPieces White Ka1 Qd7 Bd1 Be3 Pg3 Black Kf6\nStipulation #2\nEndProblem\n",
      "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - dm 2; id \"two keys\";\n",
      "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1 #2\n",
  };
  for (const std::string& in : inputs) {
    const TRun r = RunCli({"solve", "-", "--json", "--quiet"}, in);
    ASSERT_EQ(r.code, 0) << in << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["problems"][0]["solutions"].size(), 2u) << in;
  }
  // A broken line is reported, the rest solved.
  const TRun r = RunCli({"solve", "-", "--all", "--quiet"},
                        "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1\n6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1 #1\n");
  EXPECT_NE(r.err.find("ostravel-cli: -: line 1: "), std::string::npos) << r.err;
  EXPECT_NE(r.out.find("Ra1-a8"), std::string::npos) << r.out;
}

TEST_F(CliFormats, DiagramAsSvgAndPng) {
  const std::string sample = test::SourcePath("data/sample_problems.cp");
  const fs::path dir = test::MakeTempDir();
  const TRun svg = RunCli({"diagram", sample, "--problem", "2"});
  ASSERT_EQ(svg.code, 0);
  EXPECT_NE(svg.out.find("<svg "), std::string::npos);
  EXPECT_NE(svg.out.find("data-square=\"f8\""), std::string::npos);
  const fs::path png = dir / "d.png";
  // Under LeakSanitizer, fontconfig's process-long caches are not ours to report.
  const std::string lsan = "LSAN_OPTIONS=suppressions=" + test::SourcePath("tests/app_formats/lsan.supp");
  const TRun r = RunCli({"diagram", sample, "--problem", "2", "-o", png.string()}, {}, {lsan});
  if (r.err.find("no PNG output") != std::string::npos) GTEST_SKIP() << "built without PNG output";
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(ReadText(png).substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(RunCli({"diagram", sample, "--problem", "999"}).code, 1);
}

}  // namespace
}  // namespace ostravel
