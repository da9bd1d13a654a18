#include "precalc/position_type.h"

#include <system_error>

namespace ostravel {

namespace {

// Piece codes in the canonical order of a type text, with their letters.
constexpr uint8_t kTypeOrder[12] = {WK, WQ, WR, WB, WN, WP, BK, BQ, BR, BB, BN, BP};
constexpr char kTypeLetters[13] = "KQRBNPkqrbnp";

int TypeOrderOfLetter(char c) {
  for (int i = 0; i < 12; ++i)
    if (kTypeLetters[i] == c) return i;
  return -1;
}

// Place of each piece code in the canonical order; 12 for empty squares and
// bytes that are no piece.
struct TypeSlots {
  uint8_t slot[256] = {};
  constexpr TypeSlots() {
    for (auto& s : slot) s = 12;
    for (int i = 0; i < 12; ++i) slot[kTypeOrder[i]] = static_cast<uint8_t>(i);
  }
};
constexpr TypeSlots kSlots;

// Counting only the occupied squares avoids a long chain of increments of the
// empty-square counter.
std::string TypeOfOccupied(const uint8_t board[64], uint64_t occupied) {
  uint8_t count[13] = {};
  for (; occupied; occupied &= occupied - 1) ++count[kSlots.slot[board[__builtin_ctzll(occupied)]]];
  std::string type;  // short types stay in the string's own buffer
  for (int i = 0; i < 12; ++i) type.append(count[i], kTypeLetters[i]);
  return type;
}

}  // namespace

std::string PrecalcPositionError(const uint8_t board[64]) {
  int whiteKings = 0, blackKings = 0;
  for (int sq = 0; sq < 64; ++sq) {
    whiteKings += board[sq] == WK;
    blackKings += board[sq] == BK;
  }
  if (whiteKings != 1 || blackKings != 1) return "Improper number of kings";
  // A pawn on its own promotion rank would have promoted.
  for (int f = 0; f < 8; ++f)
    if (board[56 + f] == WP || board[f] == BP) return "Improper number of pawns on promotion square";
  for (int f = 0; f < 8; ++f)
    if (board[f] == WP) return "White pawn cannot be located on first line";
  for (int f = 0; f < 8; ++f)
    if (board[56 + f] == BP) return "Black pawn cannot be located on 8th line";
  return {};
}

std::string PositionType(const uint8_t board[64]) {
  uint64_t occupied = 0;
  for (int sq = 0; sq < 64; ++sq) occupied |= uint64_t{board[sq] != 0} << sq;
  return TypeOfOccupied(board, occupied);
}

std::string PositionType(const TChessboard& b) {
  return TypeOfOccupied(b.board, b.occupied[0] | b.occupied[1]);
}

std::string CanonicalPosType(const std::string& text) {
  int count[12] = {};
  for (char c : text) {
    const int i = TypeOrderOfLetter(c);
    if (i < 0) throw ChessException("Invalid position type: " + text);
    ++count[i];
  }
  std::string type;
  for (int i = 0; i < 12; ++i) type.append(count[i], kTypeLetters[i]);
  return type;
}

bool PosTypeWithPawns(const std::string& type) {
  return type.find_first_of("Pp") != std::string::npos;
}

std::string RemoveFromPosType(const std::string& type, char letter) {
  const size_t at = type.find(letter);
  if (at == std::string::npos)
    throw ChessException("Error in RemoveFromPosType: pos.type " + type + " does not contain " +
                         std::string(1, letter));
  std::string out = type;
  out.erase(at, 1);
  return out;
}

int64_t GetIndexToRemoveToObtainOtherPosType(const std::string& a, const std::string& b) {
  if (a.size() != b.size() + 1)
    throw ChessException("Error in GetIndexToRemoveToObtainOtherPosType: " + a + " and " + b +
                         " passed to function");
  // Cutting (not removing one letter) is what the callers rely on: only b = a
  // minus its last letter matches.
  for (size_t i = 0; i < a.size(); ++i)
    if (a.substr(0, i) == b) return static_cast<int64_t>(i);
  return -1;
}

bool HasGlobalRegisterData(const std::string& type, const std::filesystem::path& folder) {
  std::error_code ec;
  for (const char* ext : {".precalc.lz4", ".precalc"})
    if (std::filesystem::is_regular_file(folder / (type + ext), ec)) return true;
  return false;
}

bool HasGlobalRegisterData(const std::string& type) {
  try {
    return HasGlobalRegisterData(type, GlobalRegisterFolder());
  } catch (const std::filesystem::filesystem_error&) {
    return false;  // no usable data folder: no data either
  }
}

}  // namespace ostravel
