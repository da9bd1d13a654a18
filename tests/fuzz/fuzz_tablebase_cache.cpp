// Fuzzes the ".lichess" cache reader: any bytes read to a prefix of whole
// records (or fail with a reason), and those records written again give back
// exactly the bytes they were read from.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tablebase/lichess_answer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 1 << 16) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::vector<ostravel::TCacheEntry> entries;
  std::string damage;
  const bool whole = ostravel::ReadCacheRecords(bytes, &entries, &damage);
  if (whole != damage.empty()) __builtin_trap();
  std::string again;
  for (const auto& e : entries)
    if (!ostravel::AppendCacheRecord(again, e.key, e.record)) __builtin_trap();
  // The reserved byte is written back as read, so the prefix is byte-exact.
  if (bytes.substr(0, again.size()) != again) __builtin_trap();
  if (whole && again.size() != size) __builtin_trap();
  return 0;
}
