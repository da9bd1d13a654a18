// Fuzzes the ".cp" reader: every input is read to the end with each error
// reported, and whatever was read writes back to a canonical text that reads
// again to the same records and writes again to the same bytes.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "problems/cp_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 65536) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ostravel::TCollectionReadResult first = ostravel::ReadCollection(text);

  int lines = 1;
  for (char c : text) lines += c == '\n';
  int lastRecord = 0;
  for (const auto& e : first.errors) {
    if (e.message.empty() || e.line < 1 || e.line > lines || e.record < 0) __builtin_trap();
    if (e.record && e.record <= lastRecord) __builtin_trap();  // one error per record, in order
    if (e.record) lastRecord = e.record;
  }

  const std::string written = ostravel::WriteCollection(first.problems);
  const ostravel::TCollectionReadResult second = ostravel::ReadCollection(written);
  // The writer's only rewriting of what it was given is the move-count phrase.
  std::vector<ostravel::TProblem> expected = first.problems;
  for (auto& p : expected) p.description = ostravel::NormalizeMoveCountPhrases(p.description);
  if (!second.ok() || !(second.problems == expected)) __builtin_trap();
  if (ostravel::WriteCollection(second.problems) != written) __builtin_trap();

  for (const auto& p : first.problems) {
    (void)ostravel::FirstWhiteMoves(p, true);
    (void)ostravel::SortIndicationMoves(p);
  }
  return 0;
}
