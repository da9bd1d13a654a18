// ostravel-cli uci: the engine speaks the UCI protocol on stdin/stdout, so
// that chess GUIs and scripts can ask it for mates.
//
// What "go" means here (a mate solver, not a game player):
//   go mate N        every key of "#N" (shorter mates included), one multipv
//                    line each with "score mate M" and its principal
//                    variation; "info string no mate in N" and "bestmove 0000"
//                    when there is none.
//   go movetime T    #1, #2, ... in turn until the shortest mate is found or T
//   go depth D       milliseconds have passed (depth: D plies as UCI counts,
//   go wtime ...     and a mate in N takes 2N-1, so up to #(D+1)/2); the keys
//   go               of the shortest mate are reported. wtime/btime give a
//                    twentieth of the side's time; plain "go" runs until a
//                    mate is found or "stop".
//   go infinite      as above, but the bestmove waits for "stop".
// Without a mate the bestmove is the first legal move (a GUI needs a move),
// or 0000 when there is none; "info string" says how far no mate exists.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <mutex>
#include <sstream>
#include <thread>

#include "chess/fen.h"
#include "chess/notation.h"
#include "command.h"
#include "config/settings.h"
#include "engine/engine.h"
#include "engine/shortest_mate.h"
#include "problems/epd.h"

namespace ostravel::cli {
namespace {

constexpr const char* kStartFen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
constexpr int kMaxIterMoves = kMaxStipulationMoves;  // "go infinite" deepens up to the longest stipulation

void Help() {
  std::printf(
      "Usage: ostravel-cli uci\n\n"
      "Speaks the UCI protocol on standard input and output, for chess GUIs and\n"
      "scripts: uci, isready, setoption, ucinewgame, position startpos|fen ... [moves\n"
      "...], go, stop, quit.\n\n"
      "  go mate N       every key of #N: one \"info ... multipv i score mate M ... pv\"\n"
      "                  line per key, then \"bestmove\" with the first key; without a\n"
      "                  mate \"info string no mate in N\" and \"bestmove 0000\"\n"
      "  go movetime T   searches #1, #2, ... until the shortest mate is found or T ms\n"
      "                  have passed (plain go: until found or stop)\n"
      "  go depth D      the same up to D plies: a mate in N takes 2N-1, so up to #(D+1)/2\n"
      "  go infinite     the same; the bestmove waits for \"stop\"\n"
      "Without a mate the bestmove is the first legal move (0000 when there is none).\n"
      "Positions with Black to move are solved for Black's mate.\n\n"
      "Options: Threads (search threads), Hash (temporary register, MB), MultiPV\n"
      "(accepted; every key always gets its own multipv line), UCI_ShowCurrLine\n"
      "(info currline once a second).\n");
}

// Output lines are whole and in order, whichever thread writes them.
class TOut {
 public:
  void Line(const std::string& s) {
    std::lock_guard<std::mutex> lock(mu_);
    std::fwrite(s.data(), 1, s.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
  }

 private:
  std::mutex mu_;
};

struct TGoParams {
  int mate = 0;          // go mate N
  int depth = 0;         // go depth D (plies)
  int64_t movetime = 0;  // ms; 0 none
  bool infinite = false;
};

struct TOptions {
  int threads = 1;
  uint64_t hashMB = 0;  // 0: the settings' budget
  int multiPv = 1;
  bool showCurrLine = false;
};

class TUciSession {
 public:
  int Run() {
    for (const std::string& w : LoadSettings()) std::fprintf(stderr, "Warning: %s\n", w.c_str());
    SetPosition(kStartFen, {});
    std::string line;
    while (std::getline(std::cin, line)) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      std::istringstream in(line);
      std::string cmd;
      in >> cmd;
      if (cmd == "uci") {
        out_.Line("id name Ostravel " OSTRAVEL_VERSION);
        out_.Line("id author the Ostravel developers");
        out_.Line("option name Threads type spin default 1 min 1 max 255");
        out_.Line("option name Hash type spin default " + std::to_string(DefaultHashMB()) +
                  " min 1 max 1048576");
        out_.Line("option name MultiPV type spin default 1 min 1 max 500");
        out_.Line("option name UCI_ShowCurrLine type check default false");
        out_.Line("uciok");
      } else if (cmd == "isready") {
        out_.Line("readyok");
      } else if (cmd == "setoption") {
        SetOption(line);
      } else if (cmd == "ucinewgame") {
        StopSearch();
      } else if (cmd == "position") {
        StopSearch();
        Position(in);
      } else if (cmd == "go") {
        StopSearch();
        Go(in);
      } else if (cmd == "stop") {
        StopSearch();
      } else if (cmd == "quit") {
        break;
      } else if (cmd == "debug" || cmd == "register" || cmd == "ponderhit" || cmd.empty()) {
        // Nothing to do for a solver.
      } else {
        out_.Line("info string unknown command " + cmd);
      }
    }
    StopSearch();
    return kExitOk;
  }

 private:
  static uint64_t DefaultHashMB() {
    const uint64_t mb = Settings().tempRegLimitMB;
    return std::max<uint64_t>(1, std::min<uint64_t>(mb, 1048576));
  }

  void SetOption(const std::string& line) {
    // setoption name <id> [value <x>]; the name may hold blanks.
    const size_t n = line.find(" name ");
    if (n == std::string::npos) return;
    const size_t v = line.find(" value ");
    std::string name = line.substr(n + 6, v == std::string::npos ? std::string::npos : v - n - 6);
    while (!name.empty() && name.back() == ' ') name.pop_back();
    const std::string value = v == std::string::npos ? "" : line.substr(v + 7);
    auto number = [&](long lo, long hi, long& out) {
      try {
        out = std::stol(value);
      } catch (const std::exception&) {
        return false;
      }
      return out >= lo && out <= hi;
    };
    long x = 0;
    if (name == "Threads") {
      if (number(1, 255, x)) opt_.threads = static_cast<int>(x);
    } else if (name == "Hash") {
      if (number(1, 1048576, x)) opt_.hashMB = static_cast<uint64_t>(x);
    } else if (name == "MultiPV") {
      if (number(1, 500, x)) opt_.multiPv = static_cast<int>(x);
    } else if (name == "UCI_ShowCurrLine") {
      opt_.showCurrLine = value == "true";
    } else {
      out_.Line("info string unknown option " + name);
      return;
    }
  }

  // Plays the moves from the FEN; false (with a message) when one is not legal.
  bool SetPosition(const std::string& fen, const std::vector<std::string>& moves) {
    valid_ = false;
    std::vector<TChessboard> stack(moves.size() + 1);
    TTaskContext ctx;
    if (!FenToBoard(fen, stack[0], ctx)) {
      error_ = "invalid FEN: " + fen;
      return false;
    }
    const bool white = stack[0].WhiteToMove();
    // Plies enough for the whole line, parity kept.
    SetRootPlies(stack[0], static_cast<uint16_t>(2 * moves.size() + (white ? 3 : 4)));
    try {
      ValidateAndRecount(stack[0]);
    } catch (const ChessException& e) {
      error_ = e.what();
      return false;
    }
    for (size_t i = 0; i < moves.size(); ++i) {
      TMove m;
      if (!ParseUciMove(stack[i], moves[i], m) || PlayMove(stack[i], stack[i + 1], m) < 1) {
        error_ = "illegal move " + moves[i];
        return false;
      }
    }
    const std::string finalFen = BoardToFen(stack.back());
    TTaskContext task;
    bool whiteToMove = true;
    if (!FenToTask(finalFen, task, whiteToMove)) {
      error_ = "invalid position " + finalFen;
      return false;
    }
    // The FEN writer's own e.p. test looks for a pawn of the side to move;
    // the right granted by the last move is what the search needs.
    task.rootEpSquare =
        static_cast<int8_t>(moves.empty() ? task.rootEpSquare : EnPassantTarget(stack.back()));
    TProblem p;
    p.position = task;
    p.whiteToMove = whiteToMove;
    fen_ = p.Fen();
    task_ = task;
    whiteToMove_ = whiteToMove;
    valid_ = true;
    return true;
  }

  void Position(std::istringstream& in) {
    std::string word, fen;
    std::vector<std::string> moves;
    in >> word;
    if (word == "startpos") {
      fen = kStartFen;
      in >> word;
    } else if (word == "fen") {
      while (in >> word && word != "moves") fen += (fen.empty() ? "" : " ") + word;
    } else {
      out_.Line("info string position startpos|fen <FEN> [moves ...]");
      valid_ = false;
      error_ = "no position";
      return;
    }
    if (word == "moves")
      while (in >> word) moves.push_back(word);
    if (!SetPosition(fen, moves)) out_.Line("info string " + error_);
  }

  void Go(std::istringstream& in) {
    TGoParams g;
    std::string word;
    int64_t wtime = 0, btime = 0;
    while (in >> word) {
      int64_t v = 0;
      auto next = [&]() {
        std::string s;
        if (!(in >> s)) return false;
        try {
          v = std::stoll(s);
        } catch (const std::exception&) {
          return false;
        }
        return true;
      };
      if (word == "infinite") {
        g.infinite = true;
      } else if (word == "mate" && next()) {
        g.mate = static_cast<int>(std::clamp<int64_t>(v, 1, kMaxStipulationMoves));
      } else if (word == "depth" && next()) {
        g.depth = static_cast<int>(std::clamp<int64_t>(v, 1, 2 * kMaxIterMoves - 1));
      } else if (word == "movetime" && next()) {
        g.movetime = std::max<int64_t>(1, v);
      } else if (word == "wtime" && next()) {
        wtime = v;
      } else if (word == "btime" && next()) {
        btime = v;
      }
    }
    if (!g.movetime && !g.infinite && !g.mate) {
      const int64_t own = whiteToMove_ ? wtime : btime;
      if (own > 0) g.movetime = std::max<int64_t>(1, own / 20);
    }
    stop_ = false;
    job_ = TJob{opt_, fen_, error_, task_, whiteToMove_, valid_};
    worker_ = std::thread([this, g] { Search(g); });
  }

  void StopSearch() {
    if (!worker_.joinable()) return;
    stop_ = true;
    worker_.join();
  }

  // "info currline": the first move of the line being searched ("1. Qd1-h5").
  void CurrLine(const std::string& text, const TTaskContext& searched) {
    std::string t = text;
    const size_t dot = t.find(". ");
    if (dot != std::string::npos) t = t.substr(dot + 2);
    TChessboard root;
    ClearBoard(root);
    std::memcpy(root.board, searched.initialBoard, 64);
    root.context = &searched;
    root.previous = nullptr;
    SetRootPlies(root, 3);
    RecomputeDerived(root);
    TMove m;
    if (!t.empty() && ParseAnyMove(root, t, m))
      out_.Line("info currline " + MoveToUci(job_.white ? m : MirrorMove(m)));
  }

  void Search(TGoParams g) {
    const auto t0 = std::chrono::steady_clock::now();
    auto elapsedMs = [&] {
      return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0)
          .count();
    };
    // "info depth D nodes N nps R time T" of a mate length (depth in plies).
    auto infoHead = [&](int moves, uint64_t nodes) {
      const int64_t ms = elapsedMs();
      return "info depth " + std::to_string(2 * moves - 1) + " nodes " + std::to_string(nodes) + " nps " +
             std::to_string(ms ? nodes * 1000 / static_cast<uint64_t>(ms) : 0) + " time " +
             std::to_string(ms);
    };
    std::string best = "0000";
    if (!job_.valid) {
      out_.Line("info string no valid position: " + job_.error);
    } else {
      TShortestMateOptions so;
      so.fromMoves = g.mate ? g.mate : 1;
      so.toMoves = g.mate ? g.mate : (g.depth ? (g.depth + 1) / 2 : kMaxIterMoves);
      so.registerMB = job_.opt.hashMB;
      so.stop = &stop_;
      so.timeLimit = static_cast<double>(g.movetime) / 1000;
      TSolveRequest r;
      r.position = job_.white ? job_.task : MirrorColours(job_.task);
      r.whiteToMove = true;
      ApplySettings(r, Settings());
      r.threads = static_cast<uint8_t>(job_.opt.threads);
      r.computeVariations = true;  // for the principal variations
      r.problemId = 1;
      r.title = job_.fen;
      int lastMoves = 0;
      auto lastInfo = std::chrono::steady_clock::now();
      so.onTick = [&](int moves, TEngine& engine, uint64_t nodesBefore) {
        const auto now = std::chrono::steady_clock::now();
        if (moves != lastMoves) {
          lastMoves = moves;
          lastInfo = now;
        }
        if (now - lastInfo < std::chrono::seconds(1)) return;
        lastInfo = now;
        const TProgressSnapshot s = engine.Snapshot();
        const uint64_t nodes = nodesBefore + s.nodes;
        out_.Line(infoHead(moves, nodes));
        if (job_.opt.showCurrLine) CurrLine(s.currentLine, r.position);
      };
      if (!g.mate)
        so.onNoMate = [&](int moves, uint64_t nodes) {
          out_.Line(infoHead(moves, nodes) + " string no mate in " + std::to_string(moves));
        };
      const TShortestMateResult found = FindShortestMate(r, so);
      if (!found.error.empty()) out_.Line("info string " + found.error);
      const std::vector<TSolution>& keys = found.keys;
      const uint64_t nodes = found.nodes;
      const bool stopped = found.stopped, refused = !found.error.empty();
      const int reached = found.noMateIn;
      const int64_t ms = elapsedMs();
      for (size_t i = 0; i < keys.size(); ++i) {
        std::string pv;
        for (const TMove& m : PrincipalVariation(keys[i])) {
          pv += ' ';
          pv += MoveToUci(job_.white ? m : MirrorMove(m));
        }
        out_.Line("info depth " + std::to_string(2 * keys[i].mateIn - 1) + " multipv " +
                  std::to_string(i + 1) + " score mate " + std::to_string(keys[i].mateIn) + " nodes " +
                  std::to_string(nodes) + " nps " +
                  std::to_string(ms ? nodes * 1000 / static_cast<uint64_t>(ms) : 0) + " time " +
                  std::to_string(ms) + " pv" + pv);
      }
      if (!keys.empty()) {
        best = MoveToUci(job_.white ? keys.front().key : MirrorMove(keys.front().key));
        if (stopped) out_.Line("info string search stopped: the keys found so far");
      } else if (!refused) {
        if (g.mate && !stopped)
          out_.Line("info string no mate in " + std::to_string(g.mate));
        else if (stopped && !reached)
          out_.Line("info string search stopped: no key found so far");
        else
          out_.Line("info string " + std::string(stopped ? "search stopped: " : "") + "no mate in " +
                    std::to_string(reached));
        // A GUI needs a move; a mate search without a mate has none to offer.
        if (!g.mate) best = FirstLegalMove();
      }
    }
    // "go infinite" reports its bestmove only when told to stop.
    while (g.infinite && !stop_) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    out_.Line("bestmove " + best);
  }

  std::string FirstLegalMove() const {
    TChessboard b;
    TTaskContext ctx;
    if (!FenToBoard(job_.fen, b, ctx)) return "0000";
    try {
      ValidateAndRecount(b);
    } catch (const ChessException&) {
      return "0000";
    }
    TMove moves[kMaxMoves];
    return GenerateLegalMoves(b, moves) > 0 ? MoveToUci(moves[0]) : "0000";
  }

  TOut out_;
  TOptions opt_;
  std::string fen_, error_;
  TTaskContext task_{};
  bool whiteToMove_ = true;
  bool valid_ = false;
  std::atomic<bool> stop_{false};
  std::thread worker_;
  // What a search works on, copied at "go" so that commands read meanwhile
  // do not touch it.
  struct TJob {
    TOptions opt;
    std::string fen, error;
    TTaskContext task{};
    bool white = true;
    bool valid = false;
  } job_;
};

int RunUci(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    Help();
    return kExitOk;
  }
  if (!args.empty()) return BadInput("uci: takes no arguments (see --help)");
  TUciSession session;
  return session.Run();
}

}  // namespace

OSTRAVEL_COMMAND("uci", "speak the UCI protocol on stdin/stdout (go mate N: every key)", RunUci);

}  // namespace ostravel::cli
