#pragma once
// Helpers of the register file tests: registers filled with known records,
// and their contents as comparable values.
#include <algorithm>
#include <compare>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "registers/register_test_util.h"
#include "registers/temporary_register.h"

namespace ostravel::test {

// A distinct board of real pieces for each i (its FEN has no "E"): the two
// kings and i in base 6 over the third rank and beyond.
inline TBoardBytes PieceBoard(uint32_t i) {
  static constexpr uint8_t kCodes[6] = {0, WN, WB, WR, WQ, BN};
  TBoardBytes b{};
  b[4] = WK;
  b[60] = BK;
  for (int k = 0; k < 10; ++k, i /= 6) b[16 + k] = kCodes[i % 6];
  return b;
}

// One record of one part, ordered for comparisons.
struct TStoredRecord {
  uint64_t key;
  TBoardBytes board;
  uint16_t first, second;
  friend auto operator<=>(const TStoredRecord&, const TStoredRecord&) = default;
};

inline std::vector<TStoredRecord> Contents(const TAggregatedTemporaryChessboardRegister& reg) {
  std::vector<TStoredRecord> out;
  reg.ForEachRecord([&](uint64_t key, const TRegisterRecord& r) {
    TStoredRecord s{key, {}, r.nMovesMate, r.nMovesNoMate};
    std::copy(r.board, r.board + 64, s.board.begin());
    out.push_back(s);
    return true;
  });
  std::sort(out.begin(), out.end());
  return out;
}

inline void PutExact(TAggregatedTemporaryChessboardRegister& reg, uint32_t i, uint16_t n, bool mate) {
  const TBoardBytes b = PieceBoard(i);
  reg.Insert(n, b.data(), HashOf(b), mate);
}

inline void PutSub(TAggregatedTemporaryChessboardRegister& reg, uint64_t key, uint32_t i, uint16_t n,
                   bool doubtful) {
  const TBoardBytes b = PieceBoard(i);
  reg.InsertSub(key, n, b.data(), HashOf(b), doubtful);
}

inline std::vector<uint8_t> ReadBytes(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

inline void WriteBytes(const std::filesystem::path& p, const std::vector<uint8_t>& bytes) {
  std::ofstream out(p, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Stream pieces written by hand, as a file of another writer would hold them.
inline void AppendHeader(std::vector<uint8_t>& s, uint64_t key) {
  for (int i = 0; i < 4; ++i) s.push_back(0xFF);
  for (int i = 0; i < 8; ++i) s.push_back(static_cast<uint8_t>(key >> (8 * i)));
}

inline void AppendRecord(std::vector<uint8_t>& s, uint16_t first, uint16_t second, const TBoardBytes& board) {
  s.push_back(static_cast<uint8_t>(first));
  s.push_back(static_cast<uint8_t>(first >> 8));
  s.push_back(static_cast<uint8_t>(second));
  s.push_back(static_cast<uint8_t>(second >> 8));
  s.insert(s.end(), board.begin(), board.end());
}

inline std::unique_ptr<TAggregatedTemporaryChessboardRegister> NewRegister(uint32_t limit = 0) {
  auto r = std::make_unique<TAggregatedTemporaryChessboardRegister>(kSmallRegisterBuckets, limit);
  r->SetStoreShortResults(true);
  return r;
}

}  // namespace ostravel::test
