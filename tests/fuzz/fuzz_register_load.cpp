// Fuzzes the ".tmpReg" reader, through an open file as the program reads
// it and from memory: any input loads or fails with the reader's exception,
// and whatever was loaded saves to a stream that loads back to the same
// records (those the saver keeps: odd counts). Besides, the first bytes of an
// input choose bits to flip in a small saved register: the damaged file must
// be refused (or reported read with errors) or load exactly the register saved.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "chess/board.h"
#include "registers/lz4_container.h"
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

// A small register of sound records, saved plain and compressed.
struct TReference {
  std::unique_ptr<TAggregatedTemporaryChessboardRegister> reg;
  std::vector<uint8_t> plain;
  std::vector<uint8_t> compressed;
};

const TReference& Reference() {
  static const TReference ref = [] {
    TReference r;
    r.reg = NewRegister(0);
    for (uint32_t i = 0; i < 12; ++i) {
      uint8_t board[64] = {};
      board[4] = ostravel::WK;
      board[60] = ostravel::BK;
      board[16 + i] = ostravel::WQ;
      const uint32_t hash = ostravel::RegisterHash(board);
      if (i % 3 != 2) r.reg->Insert(static_cast<uint16_t>(2 * i + 1), board, hash, i % 3 == 0);
      if (i % 3 == 2)
        r.reg->InsertSub(0x0000000200000011, static_cast<uint16_t>(2 * i + 1), board, hash, true);
    }
    r.plain = ostravel::SaveRegisterToMemory(*r.reg);
    const ostravel::TByteBuffer c = ostravel::Lz4CompressContainer(r.plain.data(), r.plain.size(), 1);
    r.compressed.assign(c.data(), c.data() + c.size);
    return r;
  }();
  return ref;
}

// Flips the bits the input names (up to four, two bytes each) in one of the
// reference files and checks the invariant.
void CheckFlips(const uint8_t* data, size_t size) {
  if (size < 3) return;
  const TReference& ref = Reference();
  std::vector<uint8_t> bytes = (data[0] & 1) ? ref.compressed : ref.plain;
  for (size_t k = 1; k + 1 < size && k < 9; k += 2) {
    const size_t bit = (static_cast<size_t>(data[k]) << 8 | data[k + 1]) % (bytes.size() * 8);
    bytes[bit / 8] ^= static_cast<uint8_t>(1u << (bit % 8));
    if (size < 5) break;  // short inputs: one flip, the case every file must survive
  }
  auto reg = NewRegister(0);
  try {
    if (!ostravel::LoadRegisterFromMemory(*reg, bytes.data(), bytes.size())) return;
  } catch (const ostravel::ChessException&) {
    return;
  }
  if (bytes != ref.plain && bytes != ref.compressed && size < 5 && Saved(*reg) != Saved(*ref.reg))
    __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 65536) return 0;
  CheckFlips(data, size);
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
