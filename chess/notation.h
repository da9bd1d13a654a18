#pragma once
// Move notation: the full notation of solutions ("Qd1-h5", "d5:e6", "e7-e8Q",
// "0-0"), the plain log form ("d1-h5"), UCI text ("d1h5") and the readers of
// move text.
#include <functional>
#include <string>

#include "chess/board.h"

namespace ostravel {

// Full notation of a move given the moving piece's code and whether it captures.
std::string MoveToText(const TMove& m, uint8_t pieceCode, bool capture);
// Full notation of a move of the side to move in `before`.
std::string MoveToText(const TChessboard& before, const TMove& m);
// Plain log form "%c%d-%c%d" with an upper-case promotion letter, no line end.
std::string MoveToPlainText(const TMove& m);
// UCI form: "e2e4", "e7e8q", castling as the king's move "e1g1".
std::string MoveToUci(const TMove& m);

// Parses the full description of a move of the side to move of `b`
// ("Ng1-f3", "e2-e4", "e7-e8Q", "d5:e6", "0-0", "0-0-0"). Returns false for
// text that is not a move description of the position (quiet failure); throws
// ChessException("Invalid move in MakeMove() : <text>") for a well-formed
// move that is not legal.
bool ParseFullMove(const TChessboard& b, const char* text, TMove& out);

// The text move maker: parses as above and plays the move into `slot`
// (copy-make). Returns the new position (== &slot) or nullptr on quiet
// failure; on success calls onMove(move, -1) when given.
const TChessboard* MakeMoveFromText(const TChessboard& b, const char* text, TChessboard& slot,
                                    const std::function<void(const TMove&, int)>& onMove = {});

// Checks the syntax of a full move description, throwing ChessException with
// "Empty string", "Improper string length" or "Improper full description of move".
void CheckFullMoveSyntax(const std::string& text);

// The move-input reader of a front end: a move of the side to move of `b`
// typed by the user in full notation ("Ng1-f3", "e2-e4", "e7-e8Q", "0-0"),
// with a trailing check or comment mark allowed, or in UCI form ("g1f3").
// Throws ChessException with "Empty string", "Short notation not supported."
// (one square only, as in "Nf3"), "Improper move description" (text that is
// no move) or "Illegal move" (a well-formed move the position does not allow).
TMove ReadUserMove(const TChessboard& b, const std::string& text);

// Parses a UCI move ("e2e4", "e7e8q") against the legal moves of `b`.
bool ParseUciMove(const TChessboard& b, const std::string& text, TMove& out);

}  // namespace ostravel
