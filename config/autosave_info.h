#pragma once
// The companion of an auto-saved temporary register file: the register file's
// name with ".ini" appended, section "AutoSave". It tells a later instance
// what the analysis was and which process wrote it, so that a forced close
// can be recognised and the run resumed.
#include <string>

namespace ostravel {

inline constexpr const char* kAutoSaveSection = "AutoSave";
inline constexpr std::size_t kAutoSaveDescriptionMaxChars = 2047;

struct TAutoSaveInfo {
  std::string Description;
  // -1 when absent; otherwise they replace the current ratios for the resumed run.
  int MaxMemRatioForPrecalculatedData = -1;
  int MaxMemRatioPerProblem = -1;
  long long ProcessId = 0;
  std::string ProcessFileName;
};

std::string AutoSaveInfoPath(const std::string& registerFile);

// Defaults for a missing companion or missing keys. Throws
// std::runtime_error when the companion exists but cannot be read.
TAutoSaveInfo ReadAutoSaveInfo(const std::string& registerFile);
// Rewrites the keys, keeping any other line of an existing companion;
// atomic. Throws std::runtime_error on failure.
void WriteAutoSaveInfo(const std::string& registerFile, const TAutoSaveInfo& info);

}  // namespace ostravel
