#pragma once
// The dense index of a position within its position type.
//
// Layout. The men of a type form groups of identical men (same kind and
// colour) in the canonical order of the type text (K Q R B N P k q r b n p).
// Each group has a digit: the square minus B for a single man, otherwise its
// combination index (combination_mapping.h); pieces range
// over the 64 squares (B = 0), pawns over the 48 squares of ranks 2 to 7
// (B = 8). The digits form a mixed-radix number, the first group most
// significant, and the side to move sits above them all:
//
//   index = side * placements + (((d0 * size1 + d1) * size2 + d2) ...)
//   side  = 0 White to move, 1 Black to move
//
// so the White-to-move positions of a type are the prefix [0, placements) of
// its range and a data set for White to move alone is addressed by the same
// numbers. There is no symmetry reduction: the mapping is kept a plain
// bijection between indices and placements (pawns break the symmetries
// anyway, and one index per placement keeps the "next position" walk and the
// register addressing trivial).
//
// An index whose groups would share a square addresses no position: the
// reverse mapping answers false ("no position"). Chess legality (kings in
// contact, the side not to move in check) is not the index's business; the
// caller validates what it gets back.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "chess/board.h"
#include "precalc/combination_mapping.h"

namespace ostravel {

// One group of identical men of a type.
struct TPosTypeGroup {
  uint8_t code = 0;                                              // piece code of the men
  uint8_t men = 0;                                               // how many (1..5)
  uint8_t firstSquare = 0;                                       // B: 0 for pieces, 8 for pawns
  uint64_t size = 0;                                             // placements of the group alone
  uint64_t stride = 0;                                           // weight of the group's digit in the index
  const CMappingCombinationIndexIntoSetBase* mapping = nullptr;  // null for one man
};

class CPositionTypeIndex {
 public:
  // Builds the layout of a type (letters in any order). Throws ChessException
  // for a text that is not a type, a group of more than five identical men, or
  // a type whose range does not fit 64 bits. Builds the combination tables the
  // type needs on first use.
  explicit CPositionTypeIndex(const std::string& type);

  const std::string& Type() const { return m_type; }  // canonical text
  const std::vector<TPosTypeGroup>& Groups() const { return m_groups; }
  // Placements of the men (positions per side to move).
  uint64_t PlacementCount() const { return m_placements; }
  // Size of the index range: both sides to move.
  uint64_t Size() const { return 2 * m_placements; }

  // Index of a position. False when its material is not this type, or a pawn
  // stands on the 1st or 8th rank (no index addresses it).
  bool IndexOf(const uint8_t board[64], bool whiteToMove, uint64_t& index) const;
  // Reads only the squares set in `occupied` (which must be exactly the
  // non-empty squares); the record form uses its occupancy masks this way.
  bool IndexOf(const uint8_t board[64], uint64_t occupied, bool whiteToMove, uint64_t& index) const;
  bool IndexOf(const TChessboard& b, uint64_t& index) const {
    return IndexOf(b.board, b.occupied[0] | b.occupied[1], b.WhiteToMove(), index);
  }

  // Placement of an index. False (board unspecified) when index >= Size() or
  // two men of the index would share a square.
  bool PositionAt(uint64_t index, uint8_t board[64], bool& whiteToMove) const;
  // The same as a position record ready for FEN output or validation: root
  // plies 1 (White) or 2 (Black), derived fields recomputed, `ctx` as its task
  // with no castling rights and no en-passant square. Not validated.
  bool PositionAt(uint64_t index, TChessboard& out, TTaskContext& ctx) const;

  // The first index above `index` that addresses a position, if any.
  std::optional<uint64_t> NextIndex(uint64_t index) const;

 private:
  std::string m_type;
  std::vector<TPosTypeGroup> m_groups;
  uint64_t m_placements = 1;
  static constexpr unsigned kMaxGroups = 12;            // six kinds of two colours
  static constexpr uint8_t kForeignGroup = kMaxGroups;  // codes of men not in the type
  uint8_t m_groupOfCode[256];  // group number of a piece code, kForeignGroup when not in the type
};

}  // namespace ostravel
