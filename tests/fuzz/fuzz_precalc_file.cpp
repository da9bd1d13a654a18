// Fuzzes the reader of precalculated data files: any input is accepted or
// refused with the reader's exception, never read out of bounds; a file that
// is accepted unpacks each block to its size or refuses it, and what unpacks
// packs again to a file that reads back the same values.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "precalc/precalc_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace ostravel;
  std::vector<uint8_t> bytes(data, data + size);
  try {
    CPrecalcFile f(bytes, "fuzz");
    // Bound the work: a header may claim a huge table.
    if (f.Summary().entries > (1u << 22)) return 0;
    std::vector<uint8_t> values;
    try {
      values = f.UnpackAll();
    } catch (const PrecalcFileError&) {
      return 0;
    }
    CPrecalcFile again(PackPrecalc(f.Summary().type, values, f.BlockEntries()), "again", f.Summary().type,
                       values.size());
    if (again.UnpackAll() != values) __builtin_trap();
  } catch (const PrecalcFileError&) {
  }
  return 0;
}
