#include "chess/chessboard_id.h"

#include <cstring>

namespace ostravel {

namespace {

constexpr uint8_t kCodeOfFigure[12] = {WK, BK, WP, BP, WQ, BQ, WR, BR, WB, BB, WN, BN};

// Figure index + 1 of each code, 0 for codes that are no figure.
struct FigureTable {
  uint8_t indexPlusOne[256] = {};
  constexpr FigureTable() {
    for (unsigned i = 0; i < 12; ++i) indexPlusOne[kCodeOfFigure[i]] = static_cast<uint8_t>(i + 1);
  }
};
constexpr FigureTable kFigures;

[[noreturn]] void WrongId() {
  throw ChessException("Wrong chessboard id");
}

// Value of a character of the six-bit alphabet, -1 outside it.
int Alphanum6Value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'z') return c - 87;
  if (c >= 'A' && c <= 'Z') return c - 29;
  if (c == '(') return 62;
  if (c == ')') return 63;
  return -1;
}

// The five-bit alphabet is the first 32 characters of the six-bit one.
int Alphanum5Value(char c) {
  const int v = Alphanum6Value(c);
  return v < 32 ? v : -1;
}

std::string ToText(const TChessboardId& id, unsigned width, const char* error) {
  if (id.m_nBits > TChessboardId::kMaxBits) throw ChessException(error);
  std::string text;
  text.reserve((id.m_nBits + width - 1) / width);
  for (unsigned start = 0; start < id.m_nBits; start += width) {
    unsigned v = 0;
    for (unsigned b = 0; b < width && start + b < id.m_nBits; ++b) v |= unsigned(id.Bit(start + b)) << b;
    if (width == 5 && v >= 32) throw ChessException(error);
    text += Alphanum6Char(v);
  }
  return text;
}

// Bit string of a text, its padding included.
TChessboardId FromText(std::string_view text, unsigned width, int (*value)(char)) {
  // A text may carry at most the capacity plus less than one character of padding.
  if (text.size() > (TChessboardId::kMaxBits + width - 1) / width) WrongId();
  TChessboardId id;
  for (char c : text) {
    const int v = value(c);
    if (v < 0) WrongId();
    const unsigned room = TChessboardId::kMaxBits - id.m_nBits;
    if (room < width) {
      // Last character of a full-capacity text: what does not fit is padding.
      if ((unsigned(v) >> room) != 0) WrongId();
      id.AppendBits(unsigned(v), room);
    } else {
      id.AppendBits(unsigned(v), width);
    }
  }
  return id;
}

// Decodes the 64 squares; returns the number of bits they take.
unsigned Decode(const TChessboardId& id, uint8_t board[64]) {
  const unsigned n = id.m_nBits;
  if (n > TChessboardId::kMaxBits) WrongId();
  unsigned k = 0;
  for (int sq = 0; sq < 64; ++sq) {
    if (k >= n) WrongId();
    if (!id.Bit(k++)) {
      board[sq] = 0;
      continue;
    }
    if (k + 4 > n) WrongId();
    unsigned fig = 0;
    for (unsigned b = 0; b < 4; ++b) fig |= unsigned(id.Bit(k++)) << b;
    board[sq] = CodeOfFigureIndex(fig);
  }
  for (unsigned t = k; t < n; ++t)
    if (id.Bit(t)) WrongId();
  return k;
}

void TextToBoard(std::string_view text, unsigned width, int (*value)(char), uint8_t board[64]) {
  const TChessboardId id = FromText(text, width, value);
  uint8_t out[64];
  const unsigned used = Decode(id, out);
  // Only the shortest text is accepted: no whole characters of padding.
  if (text.size() != (used + width - 1) / width) WrongId();
  std::memcpy(board, out, 64);
}

}  // namespace

unsigned FigureIndexOfCode(uint8_t code) {
  const uint8_t i = kFigures.indexPlusOne[code];
  if (i == 0) throw ChessException("Unknown figure code");
  return i - 1u;
}

uint8_t CodeOfFigureIndex(unsigned index) {
  if (index >= 12) throw ChessException("Unknown figure short code");
  return kCodeOfFigure[index];
}

char Alphanum6Char(unsigned v) {
  if (v < 10) return static_cast<char>('0' + v);
  if (v < 36) return static_cast<char>(v + 87);
  if (v < 62) return static_cast<char>(v + 29);
  if (v == 62) return '(';
  if (v == 63) return ')';
  throw ChessException("Error in ToAlphanum6");
}

void TChessboardId::Clear() {
  m_nBits = 0;
  std::memset(m_bits, 0, sizeof(m_bits));
}

void TChessboardId::AppendBits(unsigned value, unsigned count) {
  if (m_nBits > kMaxBits || count > kMaxBits - m_nBits) throw ChessException("Exception in TChessboardId");
  for (unsigned b = 0; b < count; ++b, ++m_nBits)
    if (b < 32 && ((value >> b) & 1)) m_bits[m_nBits >> 3] |= static_cast<uint8_t>(1u << (m_nBits & 7));
}

void TChessboardId::Build(const uint8_t board[64]) {
  Clear();
  for (int sq = 0; sq < 64; ++sq) {
    if (board[sq] == 0)
      AppendBits(0, 1);
    else
      AppendBits(1u | (FigureIndexOfCode(board[sq]) << 1), 5);
  }
}

std::string TChessboardId::ToAlphanum6() const {
  return ToText(*this, 6, "Error in ToAlphanum6");
}

std::string TChessboardId::ToAlphanum5() const {
  return ToText(*this, 5, "Error in ToAlphanum5");
}

void TChessboardId::ToBoard(uint8_t board[64]) const {
  uint8_t out[64];
  Decode(*this, out);
  std::memcpy(board, out, 64);
}

TChessboardId TChessboardId::FromAlphanum6(std::string_view text) {
  uint8_t board[64];
  Alphanum6ToBoard(text, board);
  return TChessboardId(board);
}

TChessboardId TChessboardId::FromAlphanum5(std::string_view text) {
  uint8_t board[64];
  Alphanum5ToBoard(text, board);
  return TChessboardId(board);
}

void TChessboardId::Alphanum6ToBoard(std::string_view text, uint8_t board[64]) {
  TextToBoard(text, 6, Alphanum6Value, board);
}

void TChessboardId::Alphanum5ToBoard(std::string_view text, uint8_t board[64]) {
  TextToBoard(text, 5, Alphanum5Value, board);
}

bool operator==(const TChessboardId& a, const TChessboardId& b) {
  if (a.m_nBits != b.m_nBits) return false;
  const unsigned n = a.m_nBits < TChessboardId::kMaxBits ? a.m_nBits : TChessboardId::kMaxBits;
  for (unsigned k = 0; k < n; ++k)
    if (a.Bit(k) != b.Bit(k)) return false;
  return true;
}

}  // namespace ostravel
