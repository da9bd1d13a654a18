// Fuzzes the EPD reader and the move reader behind "bm": every line is read
// or reported, and an accepted record writes back to a line that reads again
// to the same position and opcodes.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "problems/epd.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 65536) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ostravel::TEpdReadResult first = ostravel::ReadEpd(text);
  for (const auto& e : first.errors)
    if (e.message.empty() || e.line < 1) __builtin_trap();
  for (const auto& r : first.records) {
    const std::string line = ostravel::WriteEpdLine(r);
    ostravel::TEpdRecord again;
    std::string error;
    if (!ostravel::ParseEpdLine(line, again, error)) __builtin_trap();
    if (again.dm != r.dm || again.bm != r.bm) __builtin_trap();
    ostravel::TProblem p;
    (void)ostravel::EpdToProblem(r, p, error);  // may refuse, must not fail otherwise
  }
  return 0;
}
