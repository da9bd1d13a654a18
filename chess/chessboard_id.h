#pragma once
// The compact identifier of a piece placement: the squares 0..63 in order, an
// empty square as one 0 bit, a man as a 1 bit followed by its four-bit figure
// index (least significant bit first). At most 64 x 5 = 320 bits. Side to move
// and castling rights are not part of it.
//
// Text forms, the bit string cut into groups from bit 0 upwards, each group
// read least significant bit first, the last group padded with 0 bits:
//   ToAlphanum6: six bits a character, 0-9 a-z A-Z ( )   (values 0..63)
//   ToAlphanum5: five bits a character, 0-9 a-v          (values 0..31, the
//                first 32 characters of the six-bit alphabet)
//
// Reading an identifier back is strict, so that every accepted text is the
// exact text of one board: only the characters of the alphabet (case matters),
// the text must decode to exactly 64 squares and end in the character that
// holds the last bit of the 64th square, and the padding bits after it must
// be 0. Anything else is "Wrong chessboard id"; a figure index above 11 is
// "Unknown figure short code".
#include <cstdint>
#include <string>
#include <string_view>

#include "chess/board.h"

namespace ostravel {

class TChessboardId {
 public:
  static constexpr unsigned kBytes = 40;
  static constexpr unsigned kMaxBits = kBytes * 8;

  uint16_t m_nBits = 0;         // bits written so far
  uint8_t m_bits[kBytes] = {};  // bit k is bit (k mod 8) of byte k / 8

  TChessboardId() = default;
  // Identifier of a board; throws "Unknown figure code" for a byte that is not
  // a piece code.
  explicit TChessboardId(const uint8_t board[64]) { Build(board); }
  explicit TChessboardId(const TChessboard& b) { Build(b.board); }

  void Clear();
  void Build(const uint8_t board[64]);
  // Appends the low `count` bits of value, least significant first (0 bits
  // above the 32 of value); throws
  // "Exception in TChessboardId" when they do not fit.
  void AppendBits(unsigned value, unsigned count);
  bool Bit(unsigned k) const { return (m_bits[k >> 3] >> (k & 7)) & 1; }

  std::string ToAlphanum6() const;
  std::string ToAlphanum5() const;

  // The board the first m_nBits bits describe: the 64 squares, then nothing
  // but 0 bits (padding); throws as described above.
  void ToBoard(uint8_t board[64]) const;

  // Identifier of a text form (strict, see above): equal to the identifier of
  // the board the text describes.
  static TChessboardId FromAlphanum6(std::string_view text);
  static TChessboardId FromAlphanum5(std::string_view text);

  // Text form straight back to a board (strict, see above).
  static void Alphanum6ToBoard(std::string_view text, uint8_t board[64]);
  static void Alphanum5ToBoard(std::string_view text, uint8_t board[64]);

  friend bool operator==(const TChessboardId& a, const TChessboardId& b);
};
static_assert(sizeof(TChessboardId) == 42);

// Four-bit figure index of a piece code (0 white king .. 11 black knight);
// throws "Unknown figure code" for anything else.
unsigned FigureIndexOfCode(uint8_t code);
// Piece code of a figure index; throws "Unknown figure short code" above 11.
uint8_t CodeOfFigureIndex(unsigned index);

// Character of a six-bit value; throws "Error in ToAlphanum6" for 64 or more.
char Alphanum6Char(unsigned value);

}  // namespace ostravel
