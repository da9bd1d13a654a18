// Fuzzes the ".tmpReg" reader, through an open file as the program reads
// it and from memory: any input loads or fails with the reader's exception,
// and whatever was loaded saves to a stream that loads back to the same
// records (those the saver keeps: odd counts).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "chess/board.h"
#include "registers/register_file.h"
#include "registers/temporary_register.h"

namespace {

using ostravel::TAggregatedTemporaryChessboardRegister;

struct TRec {
  uint64_t key;
  uint8_t board[64];
  uint16_t first, second;
  friend bool operator==(const TRec&, const TRec&) = default;
  friend auto operator<=>(const TRec& a, const TRec& b) {
    if (a.key != b.key) return a.key <=> b.key;
    for (int i = 0; i < 64; ++i)
      if (a.board[i] != b.board[i]) return a.board[i] <=> b.board[i];
    if (a.first != b.first) return a.first <=> b.first;
    return a.second <=> b.second;
  }
};

std::vector<TRec> Saved(const TAggregatedTemporaryChessboardRegister& reg) {
  std::vector<TRec> out;
  reg.ForEachRecord([&](uint64_t key, const ostravel::TRegisterRecord& r) {
    const uint16_t n = r.nMovesMate > r.nMovesNoMate ? r.nMovesMate : r.nMovesNoMate;
    if (n % 2 == 1) {
      TRec t{key, {}, r.nMovesMate, r.nMovesNoMate};
      for (int i = 0; i < 64; ++i) t.board[i] = r.board[i];
      out.push_back(t);
    }
    return true;
  });
  std::sort(out.begin(), out.end());
  return out;
}

// Few buckets: every pass over the table is paid per input.
constexpr uint32_t kBuckets = 1024;

std::unique_ptr<TAggregatedTemporaryChessboardRegister> NewRegister(uint32_t limit) {
  auto r = std::make_unique<TAggregatedTemporaryChessboardRegister>(kBuckets, limit);
  r->SetStoreShortResults(true);
  return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 65536) return 0;
  // A limit keeps the register of a well-compressed input small.
  auto reg = NewRegister(20000);
  ostravel::TRegisterLoadStatistics stats;
  if (size > 0) {
    std::FILE* f = fmemopen(const_cast<uint8_t*>(data), size, "rb");
    if (!f) return 0;
    try {
      ostravel::LoadRegister(*reg, f, kBuckets, size, &stats);
    } catch (const ostravel::ChessException&) {
    }
    std::fclose(f);
  }
  auto mem = NewRegister(20000);
  try {
    ostravel::LoadRegisterFromMemory(*mem, data, size);
  } catch (const ostravel::ChessException&) {
  }
  if (stats.totalRecords < stats.exactMateRecords || stats.totalRecords < stats.subFirstRecords)
    __builtin_trap();
  if (reg->SubRegisterKeys().size() > 64) __builtin_trap();

  // A save writes a header per odd count below the largest: counts in the
  // ten thousands make streams of megabytes, slow to fuzz and no different.
  if (reg->MaxPlies() > 999) return 0;
  const std::vector<uint8_t> stream = ostravel::SaveRegisterToMemory(*reg);
  auto back = NewRegister(0);
  if (stream.size() >= 4) ostravel::LoadRegisterFromMemory(*back, stream.data(), stream.size());
  if (Saved(*back) != Saved(*reg)) __builtin_trap();
  return 0;
}
