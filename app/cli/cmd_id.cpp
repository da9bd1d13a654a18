// ostravel-cli id: the position identifier of a position, and the piece
// placement an identifier stands for.
#include <cstdio>
#include <string>
#include <vector>

#include "chess/chessboard_id.h"
#include "chess/fen.h"
#include "command.h"

namespace ostravel::cli {
namespace {

constexpr const char* kHelp =
    "Usage: ostravel-cli id \"<FEN>\" [--five]\n"
    "       ostravel-cli id --reverse <identifier> [--five]\n"
    "\n"
    "Prints the position identifier of a position: its piece placement as a\n"
    "bit string (an empty square one 0 bit, a man a 1 bit and its four-bit\n"
    "figure index) in the six-bit text form (0-9 a-z A-Z ( )), or with --five\n"
    "in the five-bit form (0-9 a-v). Side to move and castling rights are not\n"
    "part of it. With --reverse, prints the piece placement of an identifier as\n"
    "the board part of a FEN.\n";

int Run(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  bool reverse = false, five = false;
  std::vector<std::string> rest;
  for (const std::string& a : args) {
    if (a == "--reverse")
      reverse = true;
    else if (a == "--five")
      five = true;
    else if (a.rfind("--", 0) == 0)
      return BadInput("unknown option " + a + " (see 'ostravel-cli id --help')");
    else
      rest.push_back(a);
  }
  if (rest.size() != 1) return BadInput("id takes one FEN or one identifier (see 'ostravel-cli id --help')");
  try {
    if (reverse) {
      TChessboard b;
      if (five)
        TChessboardId::Alphanum5ToBoard(rest[0], b.board);
      else
        TChessboardId::Alphanum6ToBoard(rest[0], b.board);
      std::printf("%s\n", BoardToFen(b, true).c_str());
      return kExitOk;
    }
    TTaskContext ctx;
    TChessboard b;
    if (!FenToBoard(rest[0], b, ctx)) return BadInput("not a FEN");
    const TChessboardId id(b);
    std::printf("%s\n", (five ? id.ToAlphanum5() : id.ToAlphanum6()).c_str());
  } catch (const ChessException& e) {
    return BadInput(e.what());
  }
  return kExitOk;
}

}  // namespace

OSTRAVEL_COMMAND("id", "position identifier of a position, or the placement of an identifier", Run);

}  // namespace ostravel::cli
