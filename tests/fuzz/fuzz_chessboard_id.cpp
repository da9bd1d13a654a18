// Fuzzes the reverse conversion of position identifiers: any bytes, as either
// text form or as a raw identifier record, must be rejected with
// ChessException or decode to a board whose identifier gives them back.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "chess/chessboard_id.h"

using ostravel::ChessException;
using ostravel::TChessboardId;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  uint8_t board[64];

  try {
    TChessboardId::Alphanum6ToBoard(text, board);
    if (TChessboardId(board).ToAlphanum6() != text) std::abort();  // accepted text is canonical
  } catch (const ChessException&) {
  }
  try {
    TChessboardId::Alphanum5ToBoard(text, board);
    if (TChessboardId(board).ToAlphanum5() != text) std::abort();
  } catch (const ChessException&) {
  }

  // The same bytes as a raw record: bit count, then up to 40 bytes of bits.
  if (size >= 2) {
    TChessboardId id;
    std::memcpy(&id.m_nBits, data, 2);
    std::memcpy(id.m_bits, data + 2, size - 2 < sizeof(id.m_bits) ? size - 2 : sizeof(id.m_bits));
    try {
      (void)id.ToAlphanum6();
      (void)id.ToAlphanum5();
    } catch (const ChessException&) {
    }
    try {
      id.ToBoard(board);
      const TChessboardId rebuilt(board);
      if (rebuilt.m_nBits > id.m_nBits) std::abort();
      for (unsigned k = 0; k < rebuilt.m_nBits; ++k)
        if (rebuilt.Bit(k) != id.Bit(k)) std::abort();
    } catch (const ChessException&) {
    }
  }
  return 0;
}
