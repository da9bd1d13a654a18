// Fuzzes the reader of the Popeye input language: every input is read to the
// end, every problem it accepts is a valid "#n" that writes back to a text
// reading again to the same position, stipulation and description.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "problems/popeye_format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 65536) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ostravel::TPopeyeReadResult first = ostravel::ReadPopeye(text);
  for (const auto& e : first.errors)
    if (e.message.empty() || e.problem < 1) __builtin_trap();
  for (const auto& p : first.problems) {
    std::string out, error;
    if (!ostravel::WritePopeyeProblem(p, out, error)) __builtin_trap();
    const ostravel::TPopeyeReadResult again = ostravel::ReadPopeye(out);
    if (again.problems.size() != 1 || !again.errors.empty()) __builtin_trap();
    const ostravel::TProblem& q = again.problems[0];
    if (std::memcmp(q.position.initialBoard, p.position.initialBoard, 64) != 0 ||
        q.position.rootCastling != p.position.rootCastling ||
        q.position.rootEpSquare != p.position.rootEpSquare || q.moves != p.moves)
      __builtin_trap();
    // Line ends inside a description cannot come from the reader; the
    // placeholder "Sample" names no author and is not written.
    if (q.description != p.description && !(p.description == "Sample" && q.description.empty()))
      __builtin_trap();
  }
  return 0;
}
