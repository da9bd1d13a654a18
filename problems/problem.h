#pragma once
// The problem record: a directmate "#n" with its position, description, tags,
// stored variants, sort indications and saved-register number.
//
// The position is kept as a value (the task context: initial board, root
// castling rights, root e.p. square) plus the side to move, so records copy
// and move freely; MakeRoot builds the TChessboard + TTaskContext pair a search
// starts from.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "chess/board.h"

namespace ostravel {

// Longest stipulation anything accepts: a record, a command, the engine. Its
// plies (2n, with Black to move) must fit the search's line of 250 positions,
// so a problem that loads is one that can be solved.
constexpr int kMaxStipulationMoves = 125;

// A named move line kept with a problem. A variant holds one or more lines of
// play, each a list of moves in full notation ("Qd1-h5", "d5:e6", "e7-e8Q",
// "0-0") starting with the move of the side to move in the problem's
// position. A solution with several keys is one variant with one line per key.
// An empty variant (no lines) records "no solution" when it is the main one.
struct TVariant {
  std::string name;
  std::vector<std::vector<std::string>> lines;

  friend bool operator==(const TVariant&, const TVariant&) = default;
};

struct TProblem {
  uint16_t moves = 2;     // stipulation n of "#n"
  TTaskContext position;  // initial board, root castling rights and e.p. square
  bool whiteToMove = true;
  std::string description;
  std::vector<std::string> tags;
  std::vector<TVariant> variants;      // the first one is the main variant
  std::string sortIndications;         // carried through unchanged
  std::optional<uint32_t> tmpRegFile;  // number of the saved temporary register file

  // Plies of the root: 2n - 1 with White to move, 2n with Black to move (so
  // that White still has n moves).
  uint16_t RootPlies() const { return static_cast<uint16_t>(whiteToMove ? 2 * moves - 1 : 2 * moves); }

  // Builds the root of a search: `ctx` receives the task context and `b` the
  // position, linked to it, with the stipulation's plies. With validate the
  // position is checked and recounted (throws ChessException with the model's
  // messages); without it only the derived fields are recomputed.
  void MakeRoot(TChessboard& b, TTaskContext& ctx, bool validate = true) const;

  // Replaces the position by a FEN's (side to move, rights and e.p. square
  // included). Returns false, leaving the record unchanged, for text that is
  // not a FEN.
  bool SetFen(const std::string& fen);
  // The FEN of the position as the writer stores it.
  std::string Fen() const;

  const TVariant* MainVariant() const { return variants.empty() ? nullptr : &variants.front(); }
  // Keeps the keys a search found, one line per key (no line: no key): as
  // the main variant "Main" when the problem has no variant yet, else as the
  // variant "Ostravel" (replaced when there), so that the composer's main
  // variant stays first.
  void StoreFoundKeys(const std::vector<std::string>& keyTexts);

  friend bool operator==(const TProblem& a, const TProblem& b);
};

// Castling rights that a bare board allows (king and rook on their initial
// squares), for positions given without a castling field.
uint8_t CastlingRightsOfBoard(const uint8_t board[64]);

// Plays one line of a variant from the problem's position, appending its
// moves to `out` as the move generator gives them (the en-passant byte, which
// the move maker sets, stays 0). Stops after `maxMoves` moves (all when negative). Returns
// false on the first text that is not a legal move of the position reached,
// with a message in `error` when given.
bool ParseVariantLine(const TProblem& p, const std::vector<std::string>& line, std::vector<TMove>& out,
                      std::string* error = nullptr, int maxMoves = -1);

// The first White moves of the main variant (allVariants false) or of every
// variant, in order and without repeats: the first move of each line, or the
// second when Black moves first. Lines that do not parse are skipped; the
// first such failure is described in `error` when given. Used to order the
// first ply of a search (UseMainVariantAsSortIndications).
std::vector<TMove> FirstWhiteMoves(const TProblem& p, bool allVariants, std::string* error = nullptr);

// The sort indications read as White moves of the start position in full
// notation, separated by blanks or commas; heuristic keywords of the same
// line (problems/indications.h) are left to the engine, other texts that are
// not moves of the position are skipped (and the first reported in `error`
// when given).
std::vector<TMove> SortIndicationMoves(const TProblem& p, std::string* error = nullptr);

}  // namespace ostravel
