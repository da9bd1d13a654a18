#pragma once
// EPD lines ("<board> <side> <castling> <e.p.> opcode operands; ..."), the
// standard algebraic move text they carry (bm), and the colour mirror that
// lets a "Black mates" position be solved as a White directmate.
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "chess/board.h"
#include "problems/problem.h"

namespace ostravel {

struct TEpdRecord {
  int line = 0;                 // 1-based line in the text read
  std::string fen;              // the four position fields with " 0 1" appended
  int dm = 0;                   // "dm N": the side to move mates in N (0: no dm)
  std::vector<std::string> bm;  // "bm" operands as written (SAN, full notation or UCI)
  std::string id;               // "id" operand, quotes removed
  std::vector<std::pair<std::string, std::string>> otherOps;  // other opcodes, operands as written
};

struct TEpdLineError {
  int line = 0;
  std::string message;
};

struct TEpdReadResult {
  std::vector<TEpdRecord> records;
  std::vector<TEpdLineError> errors;
};

// Reads one EPD line; false with a message for a line that is not EPD (the
// position fields are checked by the FEN reader, not for legality).
bool ParseEpdLine(std::string_view line, TEpdRecord& out, std::string& error);
// Every line of a text: blank lines and lines starting with '#' or '%' are
// skipped; a broken line is reported and the others are still read.
TEpdReadResult ReadEpd(std::string_view text);
// The EPD text of a record (opcodes dm, bm, id, then the others).
std::string WriteEpdLine(const TEpdRecord& r);

// Standard algebraic notation of a legal move of the side to move of `b`
// ("Nf3", "exd6", "e8=Q+", "O-O", "Raxd1#").
std::string MoveToSan(const TChessboard& b, const TMove& m);
// Reads a move of the side to move in SAN (check marks, "!"/"?" and "x"
// optional), full notation ("Qd1-h5") or UCI ("d1h5"); false when the text
// names no legal move of `b` or is ambiguous.
bool ParseAnyMove(const TChessboard& b, std::string_view text, TMove& out);

// A problem from an EPD record: the position, "dm" as the stipulation, "id"
// as the description and "bm" as the main variant (one line per move, in full
// notation). False with a message when the record cannot be carried: no dm,
// Black to move (a "#n" has White to move), an illegal position or a bm that
// is no legal move.
bool EpdToProblem(const TEpdRecord& r, TProblem& out, std::string& error);
// The EPD record of a problem: dm, the keys of the main variant as bm (SAN),
// the description as id. False with a message for Black to move.
bool ProblemToEpd(const TProblem& p, TEpdRecord& out, std::string& error);

// A FEN list: one position per line (blank lines and '#' comments skipped),
// each optionally followed by its stipulation "#n"; a line without one gets
// `defaultMoves`, or is an error when that is 0. Black to move is refused as
// for EPD.
struct TFenListReadResult {
  std::vector<TProblem> problems;
  std::vector<TEpdLineError> errors;
};
TFenListReadResult ReadFenList(std::string_view text, int defaultMoves = 0);
// One FEN per line; the stipulations are not written.
std::string WriteFenList(const std::vector<TProblem>& problems);

// The position with colours exchanged and the board turned over (a1 <-> a8):
// the side to move changes, and every mate of one side is a mate of the
// other in the mirror, move for move.
TTaskContext MirrorColours(const TTaskContext& ctx);
TMove MirrorMove(const TMove& m);

}  // namespace ostravel
