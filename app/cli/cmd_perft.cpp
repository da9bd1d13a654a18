// ostravel-cli perft: counts the move tree of a position (the move generator's
// proof) and measures its speed.
#include <chrono>
#include <cstdio>
#include <string>

#include "chess/fen.h"
#include "chess/notation.h"
#include "chess/perft.h"
#include "command.h"

namespace ostravel::cli {
namespace {

constexpr const char* kStartFen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
constexpr const char* kKiwipete = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -";

void Help() {
  std::printf(
      "Usage: ostravel-cli perft \"<FEN>\" <depth> [--divide] [--make-leaves]\n"
      "       ostravel-cli perft --bench\n\n"
      "Counts the leaf nodes of the legal move tree to the given depth and prints the\n"
      "count, the seconds and the nodes per second. \"startpos\" stands for the initial\n"
      "position. The FEN's side to move, castling and en-passant fields are honoured.\n\n"
      "  --divide       print the count below each root move (UCI and full notation)\n"
      "  --make-leaves  make every leaf move instead of counting the last ply\n"
      "  --bench        single-threaded speed figures: start position depth 6 and\n"
      "                 Kiwipete depth 5, making leaves and with bulk counting\n");
}

struct Timed {
  uint64_t nodes;
  double seconds;
};

Timed Run(const TChessboard& b, int depth, PerftMode mode) {
  const auto t0 = std::chrono::steady_clock::now();
  const uint64_t n = Perft(b, depth, mode);
  const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  return {n, s};
}

bool Load(const std::string& text, TChessboard& b, TTaskContext& ctx, std::string& err) {
  const std::string fen = text == "startpos" ? kStartFen : text;
  if (!FenToBoard(fen, b, ctx)) {
    err = "invalid FEN: " + text;
    return false;
  }
  try {
    ValidateAndRecount(b);
  } catch (const ChessException& e) {
    err = e.what();
    return false;
  }
  return true;
}

int Bench() {
  struct Item {
    const char* name;
    const char* fen;
    int depth;
  } items[] = {{"start position", kStartFen, 6}, {"Kiwipete", kKiwipete, 5}};
  for (const auto& it : items) {
    TTaskContext ctx;
    TChessboard b;
    std::string err;
    if (!Load(it.fen, b, ctx, err)) return BadInput(err);
    for (PerftMode mode : {PerftMode::kMakeLeaves, PerftMode::kBulk}) {
      const Timed t = Run(b, it.depth, mode);
      std::printf("%-15s depth %d  %-12s %12llu nodes  %7.2f s  %7.1f M nodes/s\n", it.name, it.depth,
                  mode == PerftMode::kBulk ? "bulk" : "make-leaves", static_cast<unsigned long long>(t.nodes),
                  t.seconds, t.seconds > 0 ? t.nodes / t.seconds / 1e6 : 0.0);
      std::fflush(stdout);
    }
  }
  return kExitOk;
}

int RunPerft(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    Help();
    return kExitOk;
  }
  bool divide = false, makeLeaves = false, bench = false;
  std::vector<std::string> pos;
  for (const auto& a : args) {
    if (a == "--divide")
      divide = true;
    else if (a == "--make-leaves")
      makeLeaves = true;
    else if (a == "--bench")
      bench = true;
    else if (a.rfind("--", 0) == 0)
      return BadInput("perft: unknown option " + a);
    else
      pos.push_back(a);
  }
  if (bench) return Bench();
  if (pos.size() != 2) return BadInput("perft: expected \"<FEN>\" <depth> (see --help)");
  int depth = 0;
  try {
    size_t used = 0;
    depth = std::stoi(pos[1], &used);
    if (used != pos[1].size()) throw std::invalid_argument("depth");
  } catch (const std::exception&) {
    return BadInput("perft: depth must be a whole number: " + pos[1]);
  }
  if (depth < 1 || depth > 20) return BadInput("perft: depth must be from 1 to 20");
  TTaskContext ctx;
  TChessboard b;
  std::string err;
  if (!Load(pos[0], b, ctx, err)) return BadInput("perft: " + err);
  const PerftMode mode = makeLeaves ? PerftMode::kMakeLeaves : PerftMode::kBulk;
  const auto t0 = std::chrono::steady_clock::now();
  uint64_t total = 0;
  if (divide) {
    for (const auto& [m, n] : PerftDivide(b, depth, mode)) {
      std::printf("%-6s %-8s %llu\n", MoveToUci(m).c_str(), MoveToText(b, m).c_str(),
                  static_cast<unsigned long long>(n));
      total += n;
    }
  } else {
    total = Perft(b, depth, mode);
  }
  const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  std::printf("nodes %llu\nseconds %.3f\nnodes/s %.0f\n", static_cast<unsigned long long>(total), s,
              s > 0 ? total / s : 0.0);
  return kExitOk;
}

}  // namespace

OSTRAVEL_COMMAND("perft", "count the legal move tree of a position (move generator check, speed)", RunPerft);

}  // namespace ostravel::cli
