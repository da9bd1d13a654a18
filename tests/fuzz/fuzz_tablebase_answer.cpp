// Fuzzes the reader of the tablebase's answers: any text gives a record whose
// fields stay in their ranges, and a record with a usable move list writes a
// cache record that reads back to the same record.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tablebase/lichess_answer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 1 << 16) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ostravel::CLiChess r = ostravel::ParseLiChessAnswer(text);
  if (r.wdl < -2 || r.wdl > 1 || r.moveCount < -1 || r.moveCount > ostravel::kMaxAnswerMoves)
    __builtin_trap();
  if (r.moves.size() != static_cast<size_t>(r.moveCount < 0 ? 0 : r.moveCount)) __builtin_trap();
  for (const auto& m : r.moves)
    if (m.from > 63 || m.to > 63 || m.wdl < -2 || m.wdl > 1) __builtin_trap();
  std::string bytes;
  if (!ostravel::AppendCacheRecord(bytes, "k_w", r)) __builtin_trap();
  std::vector<ostravel::TCacheEntry> back;
  std::string damage;
  if (!ostravel::ReadCacheRecords(bytes, &back, &damage) || back.size() != 1 || !(back[0].record == r))
    __builtin_trap();
  return 0;
}
