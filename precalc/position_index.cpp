#include "precalc/position_index.h"

#include <cstring>

#include "precalc/position_type.h"

namespace ostravel {

namespace {

uint8_t CodeOfLetter(char c) {
  const uint8_t colour = (c >= 'a' && c <= 'z') ? kBlack : kWhite;
  return colour | KindFromLetter(c);
}

}  // namespace

CPositionTypeIndex::CPositionTypeIndex(const std::string& type) : m_type(CanonicalPosType(type)) {
  std::memset(m_groupOfCode, kForeignGroup, sizeof(m_groupOfCode));
  for (size_t i = 0; i < m_type.size();) {
    size_t j = i;
    while (j < m_type.size() && m_type[j] == m_type[i]) ++j;
    TPosTypeGroup g;
    g.code = CodeOfLetter(m_type[i]);
    const size_t men = j - i;
    if (men > kMaxMappedMen)
      throw ChessException("No index for " + std::to_string(men) + " identical men in position type " +
                           m_type);
    g.men = static_cast<uint8_t>(men);
    const bool pawns = KindOf(g.code) == kPawn;
    g.firstSquare = pawns ? 8 : 0;
    g.size = Binomial(pawns ? 48 : 64, g.men);
    m_groupOfCode[g.code] = static_cast<uint8_t>(m_groups.size());
    m_groups.push_back(g);
    i = j;
  }
  // Strides from the last group (least significant) up; the side to move
  // doubles the range, which must still fit 64 bits.
  uint64_t stride = 1;
  for (size_t g = m_groups.size(); g-- > 0;) {
    m_groups[g].stride = stride;
    if (__builtin_mul_overflow(stride, m_groups[g].size, &stride))
      throw ChessException("Position type " + m_type + " has too many positions to index");
  }
  uint64_t both;
  if (__builtin_mul_overflow(stride, uint64_t{2}, &both))
    throw ChessException("Position type " + m_type + " has too many positions to index");
  m_placements = stride;
  // Only now, for a type that can be indexed, build the tables it needs.
  for (TPosTypeGroup& g : m_groups)
    if (g.men > 1) g.mapping = CombinationMapping(g.men, KindOf(g.code) == kPawn);
}

bool CPositionTypeIndex::IndexOf(const uint8_t board[64], uint64_t occupied, bool whiteToMove,
                                 uint64_t& index) const {
  // Squares collected per group without branches: men of other types land in
  // a group of their own, the check comes once at the end.
  unsigned char squares[kMaxGroups + 1][64];
  uint8_t seen[kMaxGroups + 1] = {};
  for (uint64_t occ = occupied; occ; occ &= occ - 1) {
    const int sq = __builtin_ctzll(occ);
    const uint8_t g = m_groupOfCode[board[sq]];
    squares[g][seen[g]++] = static_cast<unsigned char>(sq);
  }
  if (seen[kForeignGroup] != 0) return false;
  uint64_t result = whiteToMove ? 0 : m_placements;
  for (size_t g = 0; g < m_groups.size(); ++g) {
    const TPosTypeGroup& grp = m_groups[g];
    if (seen[g] != grp.men) return false;
    uint64_t digit;
    if (grp.men == 1) {
      digit = static_cast<unsigned>(squares[g][0]) - grp.firstSquare;
      if (digit >= grp.size) return false;  // pawn on the 1st or 8th rank
    } else {
      if (grp.firstSquare != 0 &&
          (squares[g][0] < grp.firstSquare || squares[g][grp.men - 1] >= grp.firstSquare + 48))
        return false;
      digit = grp.mapping->GetIndexOfCombination(squares[g]);
    }
    result += digit * grp.stride;
  }
  index = result;
  return true;
}

bool CPositionTypeIndex::IndexOf(const uint8_t board[64], bool whiteToMove, uint64_t& index) const {
  uint64_t occupied = 0;
  for (int sq = 0; sq < 64; ++sq) occupied |= uint64_t{board[sq] != 0} << sq;
  return IndexOf(board, occupied, whiteToMove, index);
}

bool CPositionTypeIndex::PositionAt(uint64_t index, uint8_t board[64], bool& whiteToMove) const {
  if (index >= Size()) return false;
  whiteToMove = index < m_placements;
  if (!whiteToMove) index -= m_placements;
  std::memset(board, 0, 64);
  for (const TPosTypeGroup& grp : m_groups) {
    const uint64_t digit = index / grp.stride;
    index -= digit * grp.stride;
    if (grp.men == 1) {
      const unsigned sq = static_cast<unsigned>(digit) + grp.firstSquare;
      if (board[sq] != 0) return false;
      board[sq] = grp.code;
    } else {
      const unsigned char* c = grp.mapping->GetCombination(digit);
      for (unsigned i = 0; i < grp.men; ++i) {
        if (board[c[i]] != 0) return false;
        board[c[i]] = grp.code;
      }
    }
  }
  return true;
}

bool CPositionTypeIndex::PositionAt(uint64_t index, TChessboard& out, TTaskContext& ctx) const {
  ClearBoard(out);
  bool white = true;
  if (!PositionAt(index, out.board, white)) return false;
  std::memcpy(ctx.initialBoard, out.board, 64);
  ctx.rootCastling = 0;
  ctx.rootEpSquare = -1;
  out.context = &ctx;
  SetRootPlies(out, white ? 1 : 2);
  RecomputeDerived(out);
  return true;
}

std::optional<uint64_t> CPositionTypeIndex::NextIndex(uint64_t index) const {
  uint8_t board[64];
  bool white;
  for (uint64_t i = index + 1; i < Size() && i != 0; ++i)
    if (PositionAt(i, board, white)) return i;
  return std::nullopt;
}

}  // namespace ostravel
