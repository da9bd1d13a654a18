#include "engine/solution_text.h"

#include "engine/engine_texts.h"

namespace ostravel {

namespace {

void VariationText(const std::vector<TVariation>& vs, int blackMoveNo, int indent, std::string& out) {
  for (const auto& v : vs) {
    out += std::string(static_cast<size_t>(indent), ' ');
    const std::string mate = v.mate ? "#" : "";
    const std::string white = std::to_string(blackMoveNo + 1) + ".";
    out += std::to_string(blackMoveNo) + "..." + v.blackText + " " + white + v.whiteText + mate;
    // A dual: White's other answers that are as quick, on the same line.
    for (const std::string& d : v.dualTexts) out += ", " + white + d + mate;
    if (!v.dualTexts.empty()) out += "  (dual)";
    out += "\n";
    VariationText(v.next, blackMoveNo + 1, indent + 3, out);
  }
}

}  // namespace

std::vector<std::string> ProvedKeyTexts(const std::vector<TSolution>& solutions) {
  std::vector<std::string> keys;
  for (const auto& s : solutions)
    if (s.confirmed) keys.push_back(s.keyText);
  return keys;
}

std::string SolutionsText(const std::vector<TSolution>& solutions, int languageId) {
  const std::string threat = EngineText(TEngineText::kThreat, languageId);
  const std::string zugzwang = EngineText(TEngineText::kZugzwang, languageId);
  // "(mate in %d)", in the run's language.
  const auto mateIn = [&](int n) {
    return "  (" + EngineFormat(EngineText(TEngineText::kDefenceMateIn, languageId), n) + ")";
  };
  std::string out;
  for (const auto& s : solutions) {
    if (!s.confirmed) {
      // Found under heuristics and not proved by the exact search: no solution.
      out += "1." + s.keyText + "? (candidate of pass " + s.foundInPass + ", not proved)\n";
      continue;
    }
    out += "1." + s.keyText + "!";
    if (s.mateIn) out += mateIn(s.mateIn);
    out += "\n";
    if (s.keyChecks) {
      // A checking key has no threat.
    } else if (s.threat.empty()) {
      out += "   " + zugzwang + "\n";
    } else {
      out += "   " + threat;
      for (size_t i = 0; i < s.threat.size(); ++i) out += (i ? ", 2." : " 2.") + s.threat[i];
      if (s.threatIn) out += mateIn(s.threatIn);
      out += "\n";
    }
    VariationText(s.variations, 1, 3, out);
    if (s.variationsTruncated)
      out += std::string("   ") + EngineText(TEngineText::kVariationsNotShown, languageId) + "\n";
  }
  return out;
}

}  // namespace ostravel
