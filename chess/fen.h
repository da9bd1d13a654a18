#pragma once
// FEN reading and writing.
#include <cstddef>
#include <string>
#include <string_view>

#include "chess/board.h"

namespace ostravel {

// Reads a FEN into `out`, whose context becomes `ctx` (filled with the initial
// board and the rights and e.p. square the text grants). The side field sets
// the plies: 1 for White to move, 2 for Black (callers set the stipulation's
// plies with SetRootPlies, keeping the parity). The halfmove and fullmove
// fields are optional and ignored. Returns false, leaving `out` unspecified,
// for malformed text; it does not validate (kings, checks): see
// ValidateAndRecount.
bool FenToBoard(const std::string& text, TChessboard& out, TTaskContext& ctx);

// Reads a FEN into a task context (initial board, rights, e.p. square) and the
// side to move; false for malformed text.
bool FenToTask(const std::string& text, TTaskContext& ctx, bool& whiteToMove);

// Longer text is no FEN (a FEN of any position is well below this).
inline constexpr std::size_t kMaxFenChars = 256;

// Writes the FEN of a position; with boardOnly only the piece placement.
std::string BoardToFen(const TChessboard& b, bool boardOnly = false);

// Bad input as shown in a message: at most maxChars characters, control
// characters escaped (\x0A), and the length of what was cut.
std::string TextForMessage(std::string_view text, std::size_t maxChars = 60);

}  // namespace ostravel
