// ostravel-cli postype: the position type of a position and its index within
// the type, or the position at an index of a type.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "chess/fen.h"
#include "command.h"
#include "precalc/position_index.h"
#include "precalc/position_type.h"

namespace ostravel::cli {
namespace {

constexpr const char* kHelp =
    "Usage: ostravel-cli postype \"<FEN>\"\n"
    "       ostravel-cli postype --type <type> --index <N> [--next]\n"
    "\n"
    "With a FEN, prints the position type (its men as letters: White king,\n"
    "queens, rooks, bishops, knights, pawns, then Black likewise, e.g. KRPkp),\n"
    "the index of the position within its type and the size of the type's\n"
    "index range. Index layout: side to move (0 White, 1 Black) above the\n"
    "groups of identical men, the first group most significant; each group is\n"
    "its square (one man) or its combination index (2 to 5 men); pawns count\n"
    "only squares a2..h7. No symmetry reduction.\n"
    "\n"
    "With --type and --index, prints the position at that index as FEN (no\n"
    "castling rights, not checked for legality). An index whose men would\n"
    "share a square addresses no position: that is reported as bad input with\n"
    "the next index that does. --next prints the next position after N instead.\n";

bool ParseIndex(const std::string& text, uint64_t& out) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return false;
  errno = 0;
  char* end = nullptr;
  const unsigned long long v = std::strtoull(text.c_str(), &end, 10);
  if (errno == ERANGE || *end != '\0') return false;
  out = v;
  return true;
}

int ShowFen(const std::string& fen) {
  TTaskContext ctx;
  TChessboard b;
  if (!FenToBoard(fen, b, ctx)) return BadInput("not a FEN: " + TextForMessage(fen));
  try {
    TChessboard check = b;
    ValidateAndRecount(check);
  } catch (const ChessException& e) {
    return BadInput(std::string("not a position: ") + e.what());
  }
  const std::string type = PositionType(b);
  std::printf("type: %s\n", type.c_str());
  try {
    const CPositionTypeIndex index(type);
    uint64_t i = 0;
    if (!index.IndexOf(b, i)) {
      std::printf("index: none (a pawn on the 1st or 8th rank)\n");
    } else {
      std::printf("index: %llu\n", static_cast<unsigned long long>(i));
    }
    std::printf("size: %llu\n", static_cast<unsigned long long>(index.Size()));
  } catch (const ChessException& e) {
    std::printf("index: none (%s)\nsize: none\n", e.what());
  }
  return kExitOk;
}

int ShowIndex(const std::string& typeText, const std::string& indexText, bool next) {
  uint64_t i = 0;
  if (!ParseIndex(indexText, i)) return BadInput("index is not a number: " + TextForMessage(indexText));
  std::optional<CPositionTypeIndex> index;
  try {
    index.emplace(typeText);
  } catch (const ChessException& e) {
    return BadInput(e.what());
  }
  // Every position has both kings; a type without them names no position.
  if (std::count(index->Type().begin(), index->Type().end(), 'K') != 1 ||
      std::count(index->Type().begin(), index->Type().end(), 'k') != 1)
    return BadInput("a position type holds one white king and one black king (K and k): \"" +
                    TextForMessage(typeText) + "\"");
  if (i >= index->Size())
    return BadInput("index " + indexText + " is outside 0.." + std::to_string(index->Size() - 1) +
                    " of type " + index->Type());
  if (next) {
    const std::optional<uint64_t> n = index->NextIndex(i);
    if (!n) return BadInput("no position of type " + index->Type() + " after index " + indexText);
    i = *n;
  }
  TTaskContext ctx;
  TChessboard b;
  if (!index->PositionAt(i, b, ctx)) {
    const std::optional<uint64_t> n = index->NextIndex(i);
    return BadInput("index " + indexText + " of type " + index->Type() +
                    " addresses no position (two men on one square)" +
                    (n ? "; the next position is at index " + std::to_string(*n) : std::string()));
  }
  if (next) std::printf("index: %llu\n", static_cast<unsigned long long>(i));
  std::printf("%s\n", BoardToFen(b).c_str());
  return kExitOk;
}

int RunPostype(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (args.empty()) return BadInput("postype needs a FEN, or --type and --index (see --help)");
  if (args[0].rfind("--", 0) != 0) {
    // A FEN given without quotes arrives in pieces.
    std::string fen;
    for (const std::string& a : args) fen += (fen.empty() ? "" : " ") + a;
    return ShowFen(fen);
  }
  std::string type, index;
  bool haveType = false, haveIndex = false, next = false;
  for (size_t k = 0; k < args.size(); ++k) {
    if (args[k] == "--next") {
      next = true;
    } else if ((args[k] == "--type" || args[k] == "--index") && k + 1 < args.size()) {
      (args[k] == "--type" ? type : index) = args[k + 1];
      (args[k] == "--type" ? haveType : haveIndex) = true;
      ++k;
    } else {
      return BadInput("unexpected argument: " + args[k]);
    }
  }
  if (!haveType || !haveIndex) return BadInput("--type and --index go together");
  return ShowIndex(type, index, next);
}

}  // namespace

OSTRAVEL_COMMAND("postype", "position type of a FEN and its index, or the position at an index", RunPostype);

}  // namespace ostravel::cli
