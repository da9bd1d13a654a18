// ostravel-cli tablebase: asks the online tablebase about one position and
// prints its answer, through the same table and cache file a solve uses.
#include <bit>
#include <cstdio>
#include <filesystem>

#include "chess/fen.h"
#include "chess/notation.h"
#include "command.h"
#include "config/paths.h"
#include "config/settings.h"
#include "tablebase/lichess_client.h"
#include "tablebase_options.h"

namespace ostravel::cli {
namespace {

void Help() {
  std::printf(
      "Usage: ostravel-cli tablebase \"<FEN>\" [--tablebase-url URL] [--no-cache]\n\n"
      "Asks the online tablebase (positions with at most 7 men, no castling rights)\n"
      "about a position and prints its value (wdl: 1 win, 0 draw, -1 loss for the side\n"
      "to move, -2 unknown), the distance to mate (dtm, plies) and to zeroing (dtz), and\n"
      "each move with the value of the position after it (for the opponent). The last\n"
      "line says where the answer came from: the cache, the service or neither.\n\n"
      "The answer is looked up in SavedTmpSyzygyData/<position id>.lichess in the data\n"
      "folder first and appended to it when the service gives it.\n\n"
      "  --tablebase-url URL     address of the service (default: the setting TablebaseUrl)\n"
      "  --no-cache              neither read nor write the cache file\n\n"
      "Exit codes: 0 an answer was found, 1 bad input, 2 no answer (no connection,\n"
      "an error of the service or an unusable answer).\n");
}

std::string Value(int v, int absent) {
  return v == absent ? "-" : std::to_string(v);
}

const char* WdlWord(int wdl) {
  switch (wdl) {
    case 1:
      return "win";
    case 0:
      return "draw";
    case -1:
      return "loss";
    default:
      return "unknown";
  }
}

int RunTablebase(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    Help();
    return kExitOk;
  }
  std::vector<std::string> rest = args;
  TTablebaseOptions tb;
  if (const std::string e = tb.Consume(rest); !e.empty()) return BadInput("tablebase: " + e);
  bool noCache = false;
  std::string fen;
  for (const std::string& a : rest) {
    if (a == "--no-cache")
      noCache = true;
    else if (a.rfind("--", 0) == 0 || !fen.empty())
      return BadInput("tablebase: unexpected argument " + a);
    else
      fen = a;
  }
  if (fen.empty()) return BadInput("tablebase: give a FEN (see --help)");
  TTaskContext ctx;
  TChessboard b;
  if (!FenToBoard(fen, b, ctx)) return BadInput("tablebase: invalid FEN: " + fen);
  try {
    ValidateAndRecount(b);
  } catch (const ChessException& e) {
    return BadInput(std::string("tablebase: ") + e.what());
  }
  for (const std::string& w : LoadSettings()) std::fprintf(stderr, "Warning: %s\n", w.c_str());
  const TSettings& s = Settings();
  const int men = std::popcount(b.occupied[0] | b.occupied[1]);
  if (men > kTablebaseMaxMen)
    return BadInput("tablebase: more than 7 men: the service does not know the position");

  const std::string query = LiChessFen(b);
  std::filesystem::path file;
  std::shared_ptr<const TLiChessInstanceLock> instance;
  if (!noCache) {
    instance = SharedLiChessInstanceLock(SavedTmpSyzygyFolder());
    file = LiChessCacheFile(SavedTmpSyzygyFolder(), b.board);
  }
  TLiChessTable table(file, !instance || !instance->First());
  for (const TLiChessReport& rep : table.Load(s.WarningOnLichessDataRepetition != 0))
    std::fprintf(stderr, "%s: %s\n", rep.Title(), rep.text.c_str());
  HTTPConnect conn(THttpOptions{tb.off ? std::string() : (tb.url.empty() ? s.TablebaseUrl : tb.url),
                                s.TablebaseConnectTimeoutMs, s.TablebaseTimeoutMs});
  CLiChessHTTP client(conn, s.LichessLevels);
  CLiChess rec;
  const TLiChessSource src = client.Lookup(query, table, [&](const CLiChess& r) { rec = r; });
  for (const TLiChessReport& rep : table.TakeReports())
    std::fprintf(stderr, "%s: %s\n", rep.Title(), rep.text.c_str());

  std::printf("FEN: %s\n", query.c_str());
  if (src != TLiChessSource::kNone) {
    std::printf("wdl: %d (%s for the side to move)\n", rec.wdl, WdlWord(rec.wdl));
    std::printf("dtm: %s\n", Value(rec.dtm, kDtmAbsent).c_str());
    std::printf("dtz: %s\n", Value(rec.dtz, kDtzUnknown).c_str());
    if (rec.moveCount < 0)
      std::printf("moves: (no usable list)\n");
    else
      std::printf("moves: %d\n", rec.moveCount);
    for (const TLiChessMove& m : rec.moves) {
      TMove mv{m.from, m.to, static_cast<uint8_t>(KindOf(m.promotion)), 0};
      TChessboard scratch;
      const std::string text =
          IsLegal(b, mv, scratch) ? MoveToText(b, mv) : MoveToUci(mv) + " (not legal here)";
      std::printf("  %-10s wdl %2d  dtm %6s  dtz %3s\n", text.c_str(), m.wdl,
                  Value(m.dtm, kDtmAbsent).c_str(), Value(m.dtz, kDtzUnknown).c_str());
    }
  }
  std::string why;
  if (src == TLiChessSource::kNone) {
    if (s.LichessLevels < 0)
      why = " (lookups are off: LichessLevels is negative)";
    else if (!conn.IsOpen())
      why = std::string(" (") + kNoInternetConnection + ")";
    else
      why = " (the service gave no usable answer)";
  }
  std::printf("Source: %s%s\n", SourceName(src), why.c_str());
  if (!file.empty() && src == TLiChessSource::kService && !table.ReadOnly())
    std::printf("Cache file: %s\n", file.c_str());
  return src == TLiChessSource::kNone ? kExitFailure : kExitOk;
}

}  // namespace

OSTRAVEL_COMMAND("tablebase", "ask the online tablebase about a position (with the answer cache)",
                 RunTablebase);

}  // namespace ostravel::cli
