#include "engine/heuristics.h"
#include <cstdio>

namespace ostravel {

// Placeholder until the texts land: the search needs only the digest.
uint32_t HeuristicParameterDigest(const THeuristicState& s) {
  uint32_t h = 2166136261u;
  auto mix = [&h](uint64_t v) {
    for (int i = 0; i < 8; ++i) {
      h ^= static_cast<uint8_t>(v >> (8 * i));
      h *= 16777619u;
    }
  };
  mix(s.edgeStrict | s.edgeAlmostStrict << 1 | s.inclCorner << 2 | s.extEdgeStrict << 3);
  mix(static_cast<uint64_t>(s.relaxOnFiguresCaptured) | uint64_t{s.deferCheck} << 8);
  mix(static_cast<uint64_t>(s.cornerDistance));
  for (int sq : s.blockedSquares) mix(static_cast<uint64_t>(sq));
  mix(s.ffmLevel);
  return h;
}

}  // namespace ostravel

namespace ostravel {
std::string HeuristicSetText(const THeuristicState& s, bool, bool) {
  char b[32];
  std::snprintf(b, sizeof b, "SH:%xh", s.set);
  return b;
}
}  // namespace ostravel
namespace ostravel {
bool ApplyIndications(const std::string& text, THeuristicState& s, std::string*) {
  if (text.find("ExtEdge") != std::string::npos) s.set |= SH_KEEPKINGWITHINEXTEDGE;
  if (text.find("FFM") != std::string::npos) { s.set |= SH_FINDFORCEDMATE; s.ffmLevel = kFfmMate1; s.ffmRelaxations = 2; }
  if (text.find("FFM(0)") != std::string::npos) s.ffmLevel = kFfmCheckOnly;
  if (text.find("FFM(2)") != std::string::npos) s.ffmLevel = kFfmMate2;
  if (text.find("AssertBKS") != std::string::npos) s.set |= SH_ASSERTBLACKKINGSURROUNDED;
  if (text.find("Near") != std::string::npos) s.set |= SH_AREKINGSNEAR;
  if (text.find("Edge ") != std::string::npos) s.set |= SH_KEEPKINGONTHEEDGE;
  if (text.find("DontLetKingMove") != std::string::npos) { s.set |= SH_KEEPKINGONTHEEDGE; s.edgeStrict = true; }
  return true;
}
}  // namespace ostravel
